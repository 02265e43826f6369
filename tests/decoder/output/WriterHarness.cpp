#include "WriterHarness.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "DecoderTargets.h"
#include "PixelBuffer.h"
#include "Random.h"
#include "Slice422MacroblockWriter.h"
#include "Slice4444MacroblockWriter.h"
#include "Slice444MacroblockWriter.h"
#include "SlowWriter.h"

namespace {

constexpr std::uint32_t kMarginLines = 2;
constexpr std::uint32_t kMarginBytes = 40;

// Blocks of 16-bit integers, as the reduced operations take them.
template <int size>
struct IntegerBlocks {
    explicit IntegerBlocks(const float (*blocks)[8][8]) {
        for (int block = 0; block < 4; ++block)
            for (int row = 0; row < size; ++row)
                for (int column = 0; column < size; ++column)
                    values[block][row][column] = static_cast<std::int16_t>(blocks[block][row][column]);
    }
    std::int16_t values[4][size][size];
};

template <OptimizationTarget target>
void writeMacroblock(SliceMacroblockWriter<target, float> const& writer, WriterCase const& c, unsigned int mb,
                     MacroblockBlocks const& blocks, std::uint16_t const* alpha) {
    if (c.integerBlocks) {
        const IntegerBlocks<8> y(blocks.y), cb(blocks.cb), cr(blocks.cr);
        writer.reconstructBlock16s(mb, y.values, cb.values, cr.values, alpha);
    } else if (c.downSampleFactor == 0 || c.bitDepth > 8) {
        writer(mb, blocks.y, blocks.cb, blocks.cr, alpha);
    } else if (c.downSampleFactor == 1) {
        const IntegerBlocks<4> y(blocks.y), cb(blocks.cb), cr(blocks.cr);
        writer.reconstructBlock16s_Half(mb, y.values, cb.values, cr.values, alpha);
    } else if (c.downSampleFactor == 2) {
        const IntegerBlocks<2> y(blocks.y), cb(blocks.cb), cr(blocks.cr);
        writer.reconstructBlock16s_Quarter(mb, y.values, cb.values, cr.values, alpha);
    } else {
        const IntegerBlocks<1> y(blocks.y), cb(blocks.cb), cr(blocks.cr);
        writer.reconstructBlock16s_Eighth(mb, y.values[0][0], cb.values[0][0], cr.values[0][0], alpha);
    }
}

template <OptimizationTarget target>
void writeAll(WriterCase const& c, std::vector<MacroblockBlocks> const& macroblocks,
              std::vector<std::uint16_t> const& alpha, WriterOutput& output) {
    const auto writer = makeWriter<target>(c, pixelBufferOf(c, output));
    for (unsigned int mb = 0; mb < macroblocks.size(); ++mb)
        writeMacroblock<target>(*writer, c, mb, macroblocks[mb], alpha.empty() ? nullptr : alpha.data());
}

SlowBlock slowBlock(const float (*block)[8], int size) {
    SlowBlock slow;
    slow.side = size;
    for (int row = 0; row < size; ++row)
        for (int column = 0; column < size; ++column)
            slow.samples[static_cast<std::size_t>(row * size + column)] = block[row][column];
    return slow;
}

SlowMacroblock slowMacroblock(WriterCase const& c, MacroblockBlocks const& blocks) {
    SlowMacroblock slow;
    const int size = static_cast<int>(c.blockSize());
    for (int block = 0; block < 4; ++block) {
        slow.y.push_back(slowBlock(blocks.y[block], size));
        if (block >= 2 && c.kind == WriterKind::C422)
            continue;
        slow.cb.push_back(slowBlock(blocks.cb[block], size));
        slow.cr.push_back(slowBlock(blocks.cr[block], size));
    }
    return slow;
}

float randomSample(Random& random, SampleRange range) {
    const float unit = static_cast<float>(static_cast<int>(random() & 0xFFFFFF) - 0x800000) / 8388608.0f;
    switch (range) {
    case SampleRange::Legal:
        return unit * 270.0f;
    case SampleRange::Edges:
        return (randomBelow(random, 2) == 0 ? -256.0f : 256.0f) + unit * 4.0f;
    case SampleRange::Far:
        return unit * 300000.0f;
    case SampleRange::Extreme:
        return unit * std::ldexp(1.0f, static_cast<int>(randomBelow(random, 60)));
    }
    return 0;
}

} // namespace

MacroblockBlocks MacroblockBlocks::flat(float yValue, float cbValue, float crValue) {
    MacroblockBlocks blocks;
    std::fill_n(blocks.y[0][0], 256, yValue);
    std::fill_n(blocks.cb[0][0], 256, cbValue);
    std::fill_n(blocks.cr[0][0], 256, crValue);
    return blocks;
}

WriterOutput::WriterOutput(WriterCase const& c) : m_bytesPerSample(c.bytesPerSample()) {
    // Full-size blocks at a reduced size are written 16 pixels apart.
    const std::uint32_t widthOfSlice = 16 * c.sliceMbs;
    const std::uint64_t stride = widthOfSlice * c.samplesPerPixel() * m_bytesPerSample + 2 * kMarginBytes + 1;
    const std::uint64_t lines = 16 + 2 * kMarginLines;
    m_lineStride = c.upwards ? -static_cast<std::int64_t>(stride) : static_cast<std::int64_t>(stride);
    m_bytes.resize(stride * lines);
    m_firstPixel = stride * (c.upwards ? lines - kMarginLines - 1 : kMarginLines) + kMarginBytes + 1;
    for (std::size_t i = 0; i < m_bytes.size(); ++i)
        m_bytes[i] = fillAt(i);
}

std::size_t WriterOutput::byteOffset(std::uint32_t line, std::uint32_t index) const {
    return static_cast<std::size_t>(static_cast<std::int64_t>(m_firstPixel) + line * m_lineStride) +
           index * m_bytesPerSample;
}

std::uint32_t WriterOutput::at(std::uint32_t line, std::uint32_t index) const {
    const std::size_t offset = byteOffset(line, index);
    if (m_bytesPerSample == 1)
        return m_bytes.at(offset);
    std::uint16_t sample;
    std::memcpy(&sample, &m_bytes.at(offset), sizeof sample);
    return sample;
}

bool WriterOutput::isUntouched(std::uint32_t line, std::uint32_t index) const {
    const std::size_t offset = byteOffset(line, index);
    for (std::size_t i = offset; i < offset + m_bytesPerSample; ++i) {
        if (m_bytes.at(i) != fillAt(i))
            return false;
    }
    return true;
}

std::vector<std::uint32_t> WriterOutput::samples(std::uint32_t line, std::uint32_t first, std::uint32_t count) const {
    std::vector<std::uint32_t> result;
    for (std::uint32_t i = first; i < first + count; ++i)
        result.push_back(at(line, i));
    return result;
}

PixelBuffer pixelBufferOf(WriterCase const& c, WriterOutput& output) {
    PixelBuffer buffer;
    buffer.width = c.width;
    buffer.height = c.height;
    buffer.frameHeight = 1080;
    buffer.pixels = output.pixels();
    buffer.lineStride = output.lineStride();
    buffer.downSampleFactor = c.downSampleFactor;
    buffer.colorCoding = static_cast<ColorCoding>(c.colorCoding);
    buffer.matrix_coefficients = c.matrix_coefficients;
    buffer.samplesPerPixel = c.samplesPerPixel();
    buffer.bitDepth = c.bitDepth;
    return buffer;
}

template <OptimizationTarget target>
std::unique_ptr<SliceMacroblockWriter<target, float>> makeWriter(WriterCase const& c, PixelBuffer const& buffer) {
    switch (c.kind) {
    case WriterKind::C422:
        return std::make_unique<Slice422MacroblockWriter<target, float>>(buffer);
    case WriterKind::C444:
        return std::make_unique<Slice444MacroblockWriter<target, float>>(buffer);
    case WriterKind::C4444:
        return std::make_unique<Slice4444MacroblockWriter<target, float>>(buffer, c.alphaDepth,
                                                                          std::uint64_t{c.mbSize()} * c.sliceMbs);
    }
    return nullptr;
}

#define RAVELO_WRITER_INSTANCE(which)                                                                                  \
    template std::unique_ptr<SliceMacroblockWriter<which, float>> makeWriter<which>(WriterCase const&,                 \
                                                                                    PixelBuffer const&);
RAVELO_FOR_EACH_TARGET(RAVELO_WRITER_INSTANCE)

void write(WriterCase const& c, std::vector<MacroblockBlocks> const& macroblocks,
           std::vector<std::uint16_t> const& alpha, WriterOutput& output) {
#define RAVELO_WRITE_IF_CHOSEN(which)                                                                                  \
    if (c.target == (which))                                                                                           \
        writeAll<which>(c, macroblocks, alpha, output);
    RAVELO_FOR_EACH_TARGET(RAVELO_WRITE_IF_CHOSEN)
}

WriterOutput written(WriterCase const& c, std::vector<MacroblockBlocks> const& macroblocks,
                     std::vector<std::uint16_t> const& alpha) {
    WriterOutput output(c);
    write(c, macroblocks, alpha, output);
    return output;
}

WriterOutput written(WriterCase const& c, MacroblockBlocks const& blocks, std::vector<std::uint16_t> const& alpha) {
    return written(c, std::vector<MacroblockBlocks>{blocks}, alpha);
}

testing::AssertionResult writesLikeModel(WriterCase const& c, std::vector<MacroblockBlocks> const& macroblocks,
                                         std::vector<std::uint16_t> const& alpha) {
    WriterOutput output(c);
    SlowFrameHeader header;
    header.vertical_size = 1080;
    header.chroma_format = c.kind == WriterKind::C422 ? 2 : 3;
    header.matrix_coefficients = c.matrix_coefficients;
    header.alpha_channel_type = c.kind == WriterKind::C4444 ? (c.alphaDepth == 16 ? 2 : 1) : 0;
    const DecodeRequest request = {c.downSampleFactor, c.colorCoding, c.bitDepth, output.lineStride(), c.target};
    SlowSlice slice;
    slice.sliceMbs = c.sliceMbs;
    slice.width = c.width;
    slice.height = c.height;
    slice.lineStride = output.lineStride();
    slice.alpha = alpha;
    SlowCanvas canvas(output.lowestOffset(), output.bytes());
    SlowWriter model(header, request, slice, canvas);
    for (std::uint32_t mb = 0; mb < macroblocks.size(); ++mb)
        model.write(mb, slowMacroblock(c, macroblocks[mb]));
    if (canvas.numStoresOutside() != 0)
        return testing::AssertionFailure() << "The output has no room for all pixels.";

    write(c, macroblocks, alpha, output);
    for (std::size_t i = 0; i < output.bytes().size(); ++i) {
        if (output.bytes()[i] == canvas.bytes()[i])
            continue;
        const std::int64_t offset = static_cast<std::int64_t>(i) + output.lowestOffset();
        return testing::AssertionFailure()
               << "offset " << offset << " (stride " << output.lineStride() << "): " << int{output.bytes()[i]}
               << " instead of " << int{canvas.bytes()[i]} << "; " << c.bitDepth << " bits, coding " << c.colorCoding
               << ", matrix " << c.matrix_coefficients << ", reduction " << c.downSampleFactor << ", " << c.width << "x"
               << c.height << " of " << c.sliceMbs << " macroblocks, alpha depth " << c.alphaDepth;
    }
    return testing::AssertionSuccess();
}

std::vector<MacroblockBlocks> randomMacroblocks(Random& random, SampleRange range, WriterCase const& c) {
    std::vector<MacroblockBlocks> macroblocks(c.sliceMbs);
    const bool areIntegers = c.integerBlocks || c.blockSize() < 8;
    for (MacroblockBlocks& blocks : macroblocks) {
        for (float* component : {blocks.y[0][0], blocks.cb[0][0], blocks.cr[0][0]}) {
            for (int i = 0; i < 256; ++i) {
                const float sample = randomSample(random, range);
                component[i] = areIntegers ? std::trunc(std::clamp(sample, -32768.0f, 32767.0f)) : sample;
            }
        }
    }
    return macroblocks;
}

std::vector<std::uint16_t> randomAlpha(Random& random, WriterCase const& c) {
    std::vector<std::uint16_t> alpha(std::size_t{c.sliceMbs} * 256);
    const std::uint32_t mask = c.alphaDepth == 8 && randomBelow(random, 3) != 0 ? 0xFF : 0xFFFF;
    for (std::uint16_t& sample : alpha)
        sample = static_cast<std::uint16_t>(random() & mask);
    return alpha;
}

void checkEveryForm(OptimizationTarget target, WriterKind kind, std::uint32_t downSampleFactor, Random& random) {
    constexpr std::uint32_t matrices[4] = {1, 6, 9, 2};
    for (const std::uint32_t bitDepth : kBitDepths) {
        for (std::uint32_t coding = 0; coding < (kind == WriterKind::C422 ? 1u : 4u); ++coding) {
            for (const std::uint32_t alphaDepth : {8u, 16u}) {
                if (alphaDepth == 16 && kind != WriterKind::C4444)
                    continue;
                for (const SampleRange range :
                     {SampleRange::Legal, SampleRange::Edges, SampleRange::Far, SampleRange::Extreme}) {
                    WriterCase c;
                    c.target = target;
                    c.kind = kind;
                    c.bitDepth = bitDepth;
                    c.colorCoding = coding;
                    c.downSampleFactor = downSampleFactor;
                    c.alphaDepth = alphaDepth;
                    const std::uint32_t mbSize = c.mbSize();
                    for (c.width = 1; c.width <= 2 * mbSize; ++c.width) {
                        c.sliceMbs = c.width <= mbSize ? 1 : 2;
                        c.height = c.width % 3 == 0 ? mbSize : 1 + randomBelow(random, mbSize);
                        c.upwards = randomBelow(random, 2) == 0;
                        c.matrix_coefficients = matrices[randomBelow(random, 4)];
                        ASSERT_TRUE(writesLikeModel(c, randomMacroblocks(random, range, c), randomAlpha(random, c)));
                    }
                }
            }
        }
    }
}

namespace {

void checkDeepIntegerBlocks(WriterCase c, std::vector<MacroblockBlocks> const& blocks,
                            std::vector<std::uint16_t> const& alpha) {
    const WriterOutput ofIntegers = written(c, blocks, alpha);
    c.integerBlocks = false;
    const WriterOutput ofFloats = written(c, blocks, alpha);
    const std::uint32_t samples = c.samplesPerPixel();
    for (std::uint32_t line = 0; line < c.height; ++line) {
        for (std::uint32_t i = 0; i < c.width * samples; ++i) {
            const bool isInGroup = i / samples / 8 * 8 + 8 <= c.width;
            if (c.target == OptimizationTarget::AVX2 && isInGroup)
                ASSERT_TRUE(ofIntegers.isUntouched(line, i))
                    << c.bitDepth << " bits, line " << line << ", sample " << i;
            else
                ASSERT_EQ(ofIntegers.at(line, i), ofFloats.at(line, i))
                    << c.bitDepth << " bits, coding " << c.colorCoding << ", line " << line << ", sample " << i;
        }
        ASSERT_TRUE(ofIntegers.isUntouched(line, c.width * samples));
    }
}

} // namespace

void checkIntegerBlocks(OptimizationTarget target, WriterKind kind, Random& random) {
    WriterCase c;
    c.target = target;
    c.kind = kind;
    for (const std::uint32_t bitDepth : kBitDepths) {
        c.bitDepth = bitDepth;
        for (c.width = 1; c.width <= 32; ++c.width) {
            c.sliceMbs = (c.width + 15) / 16;
            c.height = 1 + randomBelow(random, 16);
            c.colorCoding = kind == WriterKind::C422 ? 0 : randomBelow(random, 4);
            c.alphaDepth = kind == WriterKind::C4444 && randomBelow(random, 2) == 0 ? 16 : 8;
            c.integerBlocks = true;
            for (const SampleRange range : {SampleRange::Legal, SampleRange::Far}) {
                const auto blocks = randomMacroblocks(random, range, c);
                const auto alpha = randomAlpha(random, c);
                if (bitDepth == 8)
                    ASSERT_TRUE(writesLikeModel(c, blocks, alpha));
                else
                    ASSERT_NO_FATAL_FAILURE(checkDeepIntegerBlocks(c, blocks, alpha));
            }
        }
    }
}
