#include "OutputForm.h"

#include <atomic>

#include "ProcessorTuning.h"

namespace {

BlockPart blockPartOf(PixelBuffer const& buffer) {
    if (buffer.downSampleFactor > 3)
        return BlockPart::None;
    if (buffer.bitDepth > 8)
        return BlockPart::Whole;
    constexpr BlockPart kParts[] = {BlockPart::Whole, BlockPart::Corner4x4, BlockPart::Corner2x2, BlockPart::Dc};
    return kParts[buffer.downSampleFactor];
}

std::uint32_t coefficientsOf(BlockPart part) {
    switch (part) {
    case BlockPart::Whole:
        return 64;
    case BlockPart::Corner4x4:
        return 16;
    case BlockPart::Corner2x2:
        return 4;
    case BlockPart::Dc:
    case BlockPart::None:
        break;
    }
    return 1;
}

std::atomic<bool> s_isForced{false};
std::atomic<std::uint64_t> s_forced{0};

std::optional<std::uint64_t> forcedLeastStreamedBytes() {
    if (!s_isForced.load(std::memory_order_relaxed))
        return std::nullopt;
    return s_forced.load(std::memory_order_relaxed);
}

bool isLarge(std::uint64_t bytesPerLine, PixelBuffer const& buffer) {
    const auto isAtLeast = [&](std::uint64_t numBytes) {
        return buffer.frameHeight != 0 && bytesPerLine >= numBytes / buffer.frameHeight;
    };
    if (const std::optional<std::uint64_t> forced = forcedLeastStreamedBytes())
        return isAtLeast(*forced);
    // Small pictures do not wait for the processor to be asked.
    if (!isAtLeast(ProcessorTuning::kLeastOfAll))
        return false;
    ProcessorTuning const& tuning = processorTuning();
    return isAtLeast(buffer.samplesPerPixel == 4 ? tuning.leastStreamed444 : tuning.leastStreamed422);
}

// Whether the vector forms of 16-bit samples may stream: every macroblock row that they write consists of whole cache
// lines, and the picture is large. The slices of a picture begin at multiples of a cache line, as the picture does.
bool canStream(PixelBuffer const& buffer) {
    const std::uint64_t stride = static_cast<std::uint64_t>(buffer.lineStride);
    const std::uint64_t magnitude = buffer.lineStride < 0 ? 0 - stride : stride;
    const bool isAligned = (reinterpret_cast<std::uintptr_t>(buffer.pixels) | magnitude) % kCacheLineBytes == 0;
    const bool isDeep = buffer.bitDepth > 8 && buffer.downSampleFactor == 0;
    return isAligned && isDeep && isLarge(magnitude, buffer);
}

} // namespace

OutputForm::OutputForm(PixelBuffer const& buffer)
    : mbSize(mbSizeAt(buffer.downSampleFactor)),
      bytesPerSample(::bytesPerSample(buffer.bitDepth)),
      bytesPerPixel(buffer.samplesPerPixel * bytesPerSample),
      is444(buffer.samplesPerPixel == 4),
      chromaBlocksPerMb(is444 ? 4 : 2),
      blockPart(blockPartOf(buffer)),
      keptCoefficients(coefficientsOf(blockPart)),
      streams(canStream(buffer)),
      levels(outputLevels(buffer)) {}

std::optional<std::uint64_t> forceLeastStreamedBytes(std::optional<std::uint64_t> numBytes) {
    const std::optional<std::uint64_t> before = forcedLeastStreamedBytes();
    s_forced.store(numBytes.value_or(0), std::memory_order_relaxed);
    s_isForced.store(numBytes.has_value(), std::memory_order_relaxed);
    return before;
}
