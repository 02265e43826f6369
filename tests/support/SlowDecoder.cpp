#include "SlowDecoder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

#include "SlowScan.h"
#include "SlowTransforms.h"
#include "SlowWriter.h"

namespace {

// One component of one macroblock, from its coefficients to its blocks of samples.
class Reconstruction {
public:
    Reconstruction(SlowFrameHeader const& header, DecodeRequest const& request, SlowSlice const& slice)
        : m_header(header), m_request(request), m_slice(slice), m_chromaBlocksPerMb(header.is444() ? 4 : 2) {
        const std::uint32_t index = slice.quantization_index;
        m_qScale = static_cast<float>(index <= 128 ? index : 4 * index - 384);
    }

    SlowMacroblock macroblock(std::uint32_t mb) const {
        return {component(m_slice.y, mb, 4, m_header.luma_quant),
                component(m_slice.cb, mb, m_chromaBlocksPerMb, m_header.chroma_quant),
                component(m_slice.cr, mb, m_chromaBlocksPerMb, m_header.chroma_quant)};
    }

private:
    using Matrix = std::array<std::uint8_t, 64>;

    std::vector<SlowBlock> component(std::vector<std::int16_t> const& coefficients, std::uint32_t mb,
                                     std::uint32_t numBlocks, Matrix const& matrix) const {
        std::vector<SlowBlock> blocks;
        for (std::uint32_t i = 0; i < numBlocks; ++i)
            blocks.push_back(block(coefficients, mb * numBlocks + i, numBlocks, matrix));
        return blocks;
    }

    SlowBlock block(std::vector<std::int16_t> const& coefficients, std::uint32_t index, std::uint32_t numBlocks,
                    Matrix const& matrix) const {
        if (slowUsesFloatPath(m_request))
            return fullBlock(&coefficients[std::size_t{index} * 64], matrix);
        if (m_request.downSampleFactor == 3)
            return eighthBlock(coefficients[index], numBlocks, matrix);
        const int side = 8 >> m_request.downSampleFactor;
        return reducedBlock(&coefficients[std::size_t{index} * static_cast<std::size_t>(side * side)], side, matrix);
    }

    float dequantised(const std::int16_t* coefficients, std::uint32_t position, Matrix const& matrix) const {
        const std::uint32_t scanIndex =
            m_header.interlace_mode != 0 ? slowInterlacedPattern(position) : kSlowProgressivePattern[position];
        const float scaled = static_cast<float>(coefficients[scanIndex]) * m_qScale;
        return scaled * (static_cast<float>(matrix[position]) * 0.125f);
    }

    SlowBlock fullBlock(const std::int16_t* coefficients, Matrix const& matrix) const {
        std::array<float, 64> x{};
        for (std::uint32_t position = 0; position < 64; ++position)
            x[position] = dequantised(coefficients, position, matrix);
        return {8, slowInverse32f(x)};
    }

    SlowBlock reducedBlock(const std::int16_t* coefficients, int side, Matrix const& matrix) const {
        std::array<std::int16_t, 64> x{};
        for (int row = 0; row < side; ++row) {
            for (int column = 0; column < side; ++column) {
                const std::size_t position = static_cast<std::size_t>(row * 8 + column);
                x[position] = to16Bits(dequantised(coefficients, static_cast<std::uint32_t>(position), matrix));
            }
        }
        SlowBlock result{side, {}};
        if (side == 4)
            std::ranges::copy(slowInverse16sTo4x4(x), result.samples.begin());
        else
            std::ranges::copy(slowInverse16sTo2x2(x), result.samples.begin());
        return result;
    }

    // The one difference between the targets on the way into the reduced transforms.
    std::int16_t to16Bits(float x) const {
        if (m_request.target == OptimizationTarget::AVX2)
            return static_cast<std::int16_t>(std::clamp(std::nearbyint(x), -32768.0f, 32767.0f));
        return static_cast<std::int16_t>(static_cast<std::int32_t>(x) & 0xFFFF);
    }

    // The DC alone. A component of four blocks multiplies the two scales first, one of two blocks in the common order.
    SlowBlock eighthBlock(std::int16_t coefficient, std::uint32_t numBlocks, Matrix const& matrix) const {
        const float m = static_cast<float>(matrix[0]) * 0.125f;
        const float c = static_cast<float>(coefficient);
        float x = 0;
        if (numBlocks == 4) {
            const float t = m_qScale * m;
            x = c * t;
        } else {
            const float scaled = c * m_qScale;
            x = scaled * m;
        }
        const std::int16_t v = static_cast<std::int16_t>(static_cast<std::int32_t>(x) & 0xFFFF);
        SlowBlock result{1, {}};
        result.samples[0] = static_cast<float>((v + 4) >> 3);
        return result;
    }

    SlowFrameHeader const& m_header;
    DecodeRequest const& m_request;
    SlowSlice const& m_slice;
    std::uint32_t m_chromaBlocksPerMb;
    float m_qScale = 0;
};

void checkRequest(SlowFrameHeader const& header, DecodeRequest const& request) {
    if (request.colorCoding != 0 && header.chroma_format == 2)
        throw std::runtime_error("RGB output for 4:2:2 frames is not supported by Ravelo decoder.");
    const std::int64_t stride = request.lineStride;
    const bool hasMagnitude = stride != std::numeric_limits<std::int64_t>::min();
    if (!hasMagnitude || static_cast<std::uint64_t>(std::abs(stride)) < slowLineBytes(header, request))
        throw std::runtime_error("Ravelo decoder: insufficient line stride given.");
}

// A slice whose samples are open may leave anything in the bytes that it is allowed to write.
void openSlice(SlowFrameHeader const& header, DecodeRequest const& request, SlowSlice const& slice,
               SlowCanvas& canvas) {
    std::uint32_t columns = slice.sliceMbs * (16u >> request.downSampleFactor);
    std::uint32_t lines = slice.height;
    if (!header.is444() && request.downSampleFactor == 3 && request.bitDepth == 8)
        lines = std::max(lines, 1u);
    else
        columns = std::min(columns, slice.width);
    const std::int64_t lineBytes = std::int64_t{columns} * header.samplesPerPixel() * (request.bitDepth > 8 ? 2 : 1);
    for (std::uint32_t line = 0; line < lines; ++line) {
        for (std::int64_t i = 0; i < lineBytes; ++i)
            canvas.storeAnything(slice.origin + line * slice.lineStride + i);
    }
}

} // namespace

SlowDecodeReport slowDecode(std::span<const std::uint8_t> bytes, DecodeRequest const& request, SlowCanvas& canvas) {
    checkRequest(slowParseHeader(bytes), request);
    SlowDecodeReport report;
    report.frame = slowParseFrame(bytes, request);
    SlowFrameHeader const& header = report.frame.header;
    for (std::size_t i = 0; i < report.frame.slices.size(); ++i) {
        SlowSlice const& slice = report.frame.slices[i];
        canvas.beginSlice(slice.pictureIndex, static_cast<std::uint32_t>(i));
        // A slice makes its writer before it looks at its data, so that a wrong depth fails in every slice.
        SlowWriter writer(header, request, slice, canvas);
        if (slice.open) {
            report.open = true;
            openSlice(header, request, slice, canvas);
            continue;
        }
        if (!slice.ok || (request.downSampleFactor > 3 && request.bitDepth <= 8))
            continue;
        const Reconstruction reconstruction(header, request, slice);
        // Reduced macroblocks are written from the right, so that the picture's pixels come after those beyond its
        // edge.
        const bool fromTheRight = request.downSampleFactor != 0 && request.bitDepth <= 8;
        for (std::uint32_t number = 0; number < slice.sliceMbs; ++number) {
            const std::uint32_t mb = fromTheRight ? slice.sliceMbs - 1 - number : number;
            writer.write(mb, reconstruction.macroblock(mb));
        }
    }
    return report;
}

std::vector<SlowMacroblock> slowSamples(SlowFrameHeader const& header, DecodeRequest const& request,
                                        SlowSlice const& slice) {
    const Reconstruction reconstruction(header, request, slice);
    std::vector<SlowMacroblock> macroblocks;
    for (std::uint32_t mb = 0; mb < slice.sliceMbs; ++mb)
        macroblocks.push_back(reconstruction.macroblock(mb));
    return macroblocks;
}
