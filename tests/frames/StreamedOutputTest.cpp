// Pictures of 16-bit samples that count as large go past the caches where the output is aligned to cache lines. What
// arrives must be what an output without alignment gets.

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "ForcedStreaming.h"
#include "FrameEncoder.h"
#include "OutputForm.h"
#include "RaveloDecoderInterface.h"

namespace {

constexpr std::uint32_t kWidth = 1016; // the last macroblock of a row is clipped
constexpr std::uint32_t kHeight = 520;

struct Case {
    ChromaFormat format;
    std::uint32_t alphaBits;
    ColorCoding coding;
    std::uint32_t interlace_mode;
};

std::vector<std::uint8_t> noiseFrame(Case const& c) {
    std::mt19937 random(4711);
    SourcePicture picture;
    picture.width = kWidth;
    picture.height = kHeight;
    picture.chromaFormat = c.format;
    picture.y.resize(std::size_t{kWidth} * kHeight);
    picture.cb.resize(std::size_t{picture.chromaWidth()} * kHeight);
    picture.cr = picture.cb;
    picture.alphaBits = c.alphaBits;
    picture.alpha.resize(c.alphaBits == 0 ? 0 : picture.y.size());
    for (auto* plane : {&picture.y, &picture.cb, &picture.cr, &picture.alpha})
        for (std::uint16_t& sample : *plane)
            sample = static_cast<std::uint16_t>(random() & 0xFF);
    EncoderSettings settings;
    settings.interlace_mode = c.interlace_mode;
    settings.quantization_index = 16;
    return encodeFrame(picture, settings).bytes;
}

// A buffer whose first byte is `offset` bytes after the start of a cache line.
class Output {
public:
    Output(std::size_t bytes, std::size_t offset)
        : m_memory(static_cast<std::uint8_t*>(std::aligned_alloc(kCacheLineBytes, bytes + 2 * kCacheLineBytes))),
          m_first(m_memory.get() + offset) {
        std::memset(m_first, 0xA5, bytes);
    }
    std::uint8_t* first() { return m_first; }

private:
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };
    std::unique_ptr<std::uint8_t, Free> m_memory;
    std::uint8_t* m_first;
};

class StreamedOutputTest : public testing::TestWithParam<Case> {};

TEST_P(StreamedOutputTest, EqualsOutputOfAnyOtherAlignment) {
    const std::vector<std::uint8_t> frame = noiseFrame(GetParam());
    const std::size_t stride = (std::size_t{kWidth} * 8 + 63) / 64 * 64;
    const std::size_t bytes = stride * kHeight;
    const ForcedStreaming large(bytes);
    for (const auto target : {OptimizationTarget::Baseline, OptimizationTarget::AVX2}) {
        for (const bool isUpsideDown : {false, true}) {
            Output aligned(bytes, 0);
            Output unaligned(bytes, 2);
            for (Output* output : {&aligned, &unaligned}) {
                std::uint8_t* top = output->first() + (isUpsideDown ? bytes - stride : 0);
                const auto lineStride = static_cast<std::int64_t>(stride);
                RaveloDecoderInterface::DecompressFrameFromBits(frame.data(), frame.size(), 0, GetParam().coding, 16,
                                                                top, isUpsideDown ? -lineStride : lineStride, target);
            }
            EXPECT_EQ(std::memcmp(aligned.first(), unaligned.first(), bytes), 0)
                << "target " << static_cast<int>(target) << (isUpsideDown ? " upside down" : "");
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Formats, StreamedOutputTest,
                         testing::Values(Case{ChromaFormat::C422, 0, ColorCoding_YCbCr, 0},
                                         Case{ChromaFormat::C422, 0, ColorCoding_YCbCr, 1},
                                         Case{ChromaFormat::C444, 0, ColorCoding_RGBFull, 0},
                                         Case{ChromaFormat::C444, 16, ColorCoding_YCbCr, 0}));

} // namespace
