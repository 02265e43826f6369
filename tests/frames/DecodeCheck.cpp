#include "DecodeCheck.h"

#include <algorithm>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "RaveloDecoderInterface.h"

namespace {

constexpr std::int64_t kGuardBytes = 512;

// Says what is different, from the first byte that is.
testing::AssertionResult compareBuffers(OutputBuffer const& output, SlowCanvas const& canvas,
                                        DecodeRequest const& request) {
    std::uint64_t numWrong = 0;
    std::int64_t firstWrong = 0;
    for (std::uint64_t i = 0; i < canvas.size(); ++i) {
        const std::int64_t offset = canvas.lowestOffset() + static_cast<std::int64_t>(i);
        if (canvas.allows(offset, output.bytes()[i]))
            continue;
        if (numWrong++ == 0)
            firstWrong = offset;
    }
    if (numWrong == 0)
        return testing::AssertionSuccess();
    const std::uint64_t index = static_cast<std::uint64_t>(firstWrong - canvas.lowestOffset());
    const std::int64_t stride = request.lineStride == 0 ? 1 : request.lineStride;
    return testing::AssertionFailure() << numWrong << " bytes differ, the first at offset " << firstWrong << " (line "
                                       << firstWrong / stride << ", byte " << firstWrong % stride
                                       << "): " << int{output.bytes()[index]} << " instead of "
                                       << int{canvas.bytes()[index]}
                                       << (canvas.isWritten(firstWrong) ? "" : ", where nothing may be written") << "; "
                                       << describe(request);
}

} // namespace

OutputBuffer::OutputBuffer(std::int64_t lowestOffset, std::uint64_t numBytes)
    : m_lowestOffset(lowestOffset), m_bytes(numBytes) {
    for (std::uint64_t i = 0; i < numBytes; ++i)
        m_bytes[i] = fillAt(i);
}

std::uint16_t OutputBuffer::sample16At(std::int64_t offset) const {
    std::uint16_t sample = 0;
    std::memcpy(&sample, &m_bytes[static_cast<std::size_t>(offset - m_lowestOffset)], sizeof(sample));
    return sample;
}

bool OutputBuffer::isUntouched(std::int64_t offset) const {
    return at(offset) == fillAt(static_cast<std::uint64_t>(offset - m_lowestOffset));
}

OutputBuffer bufferFor(std::span<const std::uint8_t> frame, DecodeRequest const& request) {
    const SlowFrameHeader header = slowParseHeader(frame);
    const std::int64_t stride = std::abs(request.lineStride);
    // Lines of whole macroblocks, fields included, and after them the widest overhang: that of full-size macroblocks
    // written at places of a reduced picture.
    const std::int64_t numLines = (std::int64_t{header.vertical_size} >> request.downSampleFactor) + 20;
    const std::int64_t overhang = 16 * (std::int64_t{header.horizontal_size} + 128);
    const std::int64_t numBytes = stride * numLines + overhang;
    const std::int64_t lowest = (request.lineStride < 0 ? -stride * numLines : 0) - kGuardBytes;
    return OutputBuffer(lowest, static_cast<std::uint64_t>(numBytes + 2 * kGuardBytes));
}

int decode(std::span<const std::uint8_t> frame, DecodeRequest const& request, OutputBuffer& output,
           Variant const& variant) {
    const SelectedVariant selected(variant);
    const GuardedBytes input(frame);
    return RaveloDecoderInterface::DecompressFrameFromBits(
        input.data(), frame.size(), request.downSampleFactor, static_cast<ColorCoding>(request.colorCoding),
        request.bitDepth, output.pixels(), request.lineStride, request.target);
}

OutputBuffer decoded(std::span<const std::uint8_t> frame, DecodeRequest const& request) {
    OutputBuffer output = bufferFor(frame, request);
    EXPECT_EQ(decode(frame, request, output), 1);
    return output;
}

std::string failureOf(std::span<const std::uint8_t> frame, DecodeRequest const& request, OutputBuffer& output) {
    try {
        decode(frame, request, output);
    } catch (std::runtime_error const& error) {
        return error.what();
    }
    return "";
}

testing::AssertionResult decodesLikeModel(std::span<const std::uint8_t> frame, DecodeRequest const& request,
                                          Variant const& variant) {
    OutputBuffer output = bufferFor(frame, request);
    SlowCanvas canvas(output.lowestOffset(), output.bytes());
    slowDecode(frame, request, canvas);
    if (canvas.numStoresOutside() != 0)
        return testing::AssertionFailure() << "the test's own buffer is too small; " << describe(request);
    if (decode(frame, request, output, variant) != 1)
        return testing::AssertionFailure() << "the call does not return 1; " << describe(request);
    return compareBuffers(output, canvas, request);
}

std::int64_t leastStride(std::span<const std::uint8_t> frame, DecodeRequest const& request) {
    return static_cast<std::int64_t>(slowLineBytes(slowParseHeader(frame), request));
}

std::int64_t safeStride(std::span<const std::uint8_t> frame, DecodeRequest const& request) {
    const SlowFrameHeader header = slowParseHeader(frame);
    const std::int64_t widthInMb = (std::int64_t{header.horizontal_size} + 15) / 16;
    const std::int64_t bytesPerPixel = header.samplesPerPixel() * (request.bitDepth > 8 ? 2 : 1);
    return std::max(leastStride(frame, request), widthInMb * (16 >> request.downSampleFactor) * bytesPerPixel);
}

std::vector<OptimizationTarget> runnableTargets() {
    if (RaveloDecoderInterface::GetMaxOptType() == 0)
        return {OptimizationTarget::Baseline};
    return {OptimizationTarget::Baseline, OptimizationTarget::AVX2};
}

const char* nameOf(OptimizationTarget target) {
    return target == OptimizationTarget::AVX2 ? "AVX2" : "Baseline";
}

std::string describe(DecodeRequest const& request) {
    std::ostringstream text;
    text << "downSampleFactor " << request.downSampleFactor << " colorCoding " << request.colorCoding << " bitDepth "
         << request.bitDepth << " stride " << request.lineStride << " " << nameOf(request.target);
    return text.str();
}
