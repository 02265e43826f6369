#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "OptimizationTarget.h"
#include "PixelBuffer.h"
#include "Random.h"
#include "SliceMacroblockWriter.h"

// Drives the writers alone: blocks made by hand go in, and the bytes that come out lie between guard bytes.

// The blocks of one macroblock. Reduced blocks hold integers.
struct MacroblockBlocks {
    float y[4][8][8] = {};
    float cb[4][8][8] = {};
    float cr[4][8][8] = {};

    // Every sample of a component gets one value.
    static MacroblockBlocks flat(float y, float cb, float cr);
};

enum class WriterKind { C422, C444, C4444 };

// What a writer is given, and what it writes.
struct WriterCase {
    OptimizationTarget target = OptimizationTarget::Baseline;
    WriterKind kind = WriterKind::C422;
    std::uint32_t bitDepth = 8;
    std::uint32_t colorCoding = 0;
    std::uint32_t matrix_coefficients = 1;
    std::uint32_t downSampleFactor = 0;
    std::uint32_t width = 16; // pixels of the slice
    std::uint32_t height = 16;
    std::uint32_t sliceMbs = 1;
    std::uint32_t alphaDepth = 8;
    bool upwards = false; // a negative stride
    // Through reconstructBlock16s, whose full-size blocks hold integers.
    bool integerBlocks = false;

    std::uint32_t samplesPerPixel() const { return kind == WriterKind::C422 ? 2 : 4; }
    std::uint32_t bytesPerSample() const { return bitDepth > 8 ? 2 : 1; }
    std::uint32_t blockSize() const { return bitDepth > 8 ? 8 : 8u >> downSampleFactor; }
    std::uint32_t mbSize() const { return 16u >> downSampleFactor; }
};

// The output of a slice in memory of an odd address, with a margin on all sides. Every byte starts with a value that
// identifies its place.
class WriterOutput {
public:
    explicit WriterOutput(WriterCase const& c);

    std::uint8_t* pixels() { return m_bytes.data() + m_firstPixel; }
    std::int64_t lineStride() const { return m_lineStride; }
    std::int64_t lowestOffset() const { return -static_cast<std::int64_t>(m_firstPixel); }
    std::vector<std::uint8_t> const& bytes() const { return m_bytes; }

    // Sample `index` of a line, counted from the slice's first.
    std::uint32_t at(std::uint32_t line, std::uint32_t index) const;
    bool isUntouched(std::uint32_t line, std::uint32_t index) const;
    std::vector<std::uint32_t> samples(std::uint32_t line, std::uint32_t first, std::uint32_t count) const;

private:
    std::size_t byteOffset(std::uint32_t line, std::uint32_t index) const;
    static std::uint8_t fillAt(std::size_t index) { return static_cast<std::uint8_t>(0x35 + index * 0x9D); }

    std::uint32_t m_bytesPerSample;
    std::int64_t m_lineStride;
    std::size_t m_firstPixel;
    std::vector<std::uint8_t> m_bytes;
};

PixelBuffer pixelBufferOf(WriterCase const& c, WriterOutput& output);

template <OptimizationTarget target>
std::unique_ptr<SliceMacroblockWriter<target, float>> makeWriter(WriterCase const& c, PixelBuffer const& buffer);

// Builds the writer and hands it all macroblocks of a slice. `alpha` has 16 * sliceMbs samples a row at full size.
void write(WriterCase const& c, std::vector<MacroblockBlocks> const& macroblocks,
           std::vector<std::uint16_t> const& alpha, WriterOutput& output);

WriterOutput written(WriterCase const& c, std::vector<MacroblockBlocks> const& macroblocks,
                     std::vector<std::uint16_t> const& alpha = {});
WriterOutput written(WriterCase const& c, MacroblockBlocks const& blocks, std::vector<std::uint16_t> const& alpha = {});

// Writes with the writer and with the slow model and compares all bytes, the margins included.
testing::AssertionResult writesLikeModel(WriterCase const& c, std::vector<MacroblockBlocks> const& macroblocks,
                                         std::vector<std::uint16_t> const& alpha);

// How the samples of random macroblocks look.
enum class SampleRange {
    Legal,   // within black and white, and a little beyond
    Edges,   // around the ends of the code range, where codes clamp
    Far,     // codes far beyond 16 bits
    Extreme, // codes beyond the range of 32-bit integers
};
std::vector<MacroblockBlocks> randomMacroblocks(Random& random, SampleRange range, WriterCase const& c);
std::vector<std::uint16_t> randomAlpha(Random& random, WriterCase const& c);

// Compares random macroblocks of every range, width and height with the model, in all forms of one kind of writer.
void checkEveryForm(OptimizationTarget target, WriterKind kind, std::uint32_t downSampleFactor, Random& random);

// Hands over full-size blocks of integers in all forms of one kind of writer, of every width. At 8 bits they give the
// codes of floats. Above, AVX2 leaves its groups of eight pixels as they are, and the rest has the codes of floats.
void checkIntegerBlocks(OptimizationTarget target, WriterKind kind, Random& random);
