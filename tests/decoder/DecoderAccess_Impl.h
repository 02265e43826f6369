#pragma once

#include "BlockGather.h"
#include "CornerDequantization.h"
#include "DecoderAccess.h"
#include "EightValues.h"
#include "ThreeStreamScan.h"
#include "VLCStream_Impl.h"

template <OptimizationTarget target>
class BitReader<target>::Stream : public VLCStream<target> {
public:
    using VLCStream<target>::VLCStream;
    using VLCStream<target>::peekBits32;
    using VLCStream<target>::m_bitBuffer;
    using VLCStream<target>::m_bitCount;
    using VLCStream<target>::m_bitstream;
};

template <OptimizationTarget target>
BitReader<target>::BitReader(Bitstream const& range) : m_stream(std::make_unique<Stream>(range)) {}

template <OptimizationTarget target>
BitReader<target>::~BitReader() = default;

template <OptimizationTarget target>
unsigned int BitReader<target>::getBits(unsigned int n) {
    return m_stream->getBits(n);
}

template <OptimizationTarget target>
std::uint32_t BitReader<target>::peekBits32() const {
    return m_stream->peekBits32();
}

template <OptimizationTarget target>
bool BitReader<target>::readPastEnd() const {
    return m_stream->readPastEnd();
}

template <OptimizationTarget target>
bool BitReader<target>::invalidCode() const {
    return m_stream->invalidCode();
}

template <OptimizationTarget target>
std::uint64_t BitReader<target>::bitBuffer() const {
    return m_stream->m_bitBuffer;
}

template <OptimizationTarget target>
std::uint64_t BitReader<target>::bitCount() const {
    return m_stream->m_bitCount;
}

template <OptimizationTarget target>
std::uint64_t BitReader<target>::bytesLeft() const {
    return m_stream->m_bitstream.size;
}

template <OptimizationTarget target>
void gatherCorners(int size, ComponentScan const& scan, const std::uint32_t* pattern, std::int16_t* blocks) {
    if (size == 8)
        gatherBlocks<target, 8>(scan, pattern, blocks);
    else if (size == 4)
        gatherBlocks<target, 4>(scan, pattern, blocks);
    else
        gatherBlocks<target, 2>(scan, pattern, blocks);
}

template <OptimizationTarget target>
void gatherCornersPlainly(int size, ComponentScan const& scan, const std::uint32_t* pattern, std::int16_t* blocks) {
    if (size == 8)
        gatherBlocksPlainly<target, 8>(scan, pattern, blocks);
    else if (size == 4)
        gatherBlocksPlainly<target, 4>(scan, pattern, blocks);
    else
        gatherBlocksPlainly<target, 2>(scan, pattern, blocks);
}

template <OptimizationTarget target>
void dequantizeCornersOfSize(int size, std::int16_t* corners, const float* matrix, std::uint32_t numBlocks) {
    if (size == 4)
        dequantizeCorners<target, 4>(corners, matrix, numBlocks);
    else
        dequantizeCorners<target, 2>(corners, matrix, numBlocks);
}

template <OptimizationTarget target>
void scanThreeStreams(ThreeRanges const& ranges) {
    ThreeStreamScan<target> scan{};
    for (int i = 0; i < 3; ++i) {
        scan.ranges[i] = {ranges.bits[i], ranges.sizes[i]};
        scan.coefficients[i] = ranges.coefficients[i];
        scan.numBlocks[i] = ranges.numBlocks[i];
        scan.log2NumBlocks[i] = ranges.log2NumBlocks[i];
    }
    scan.run();
}

template <OptimizationTarget target>
void convertToHalves(const float* values, bool byInstruction, std::uint16_t* halves) {
    const auto codes = EightInts<target>::halves(EightFloats<target>::load(values), byInstruction);
    std::uint8_t pixels[8 * 8];
    EightInts<target>::storeDeepPixels(pixels, codes, codes, codes, codes, false);
    for (int i = 0; i < 8; ++i)
        __builtin_memcpy(halves + i, pixels + 8 * i, sizeof *halves);
}
