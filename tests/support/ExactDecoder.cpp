#include "ExactDecoder.h"

#include <array>
#include <cmath>
#include <numbers>
#include <vector>

#include "SlowScan.h"
#include "SlowTransforms.h"
#include "SlowWriter.h"

namespace {

// The share of the magnitudes that n roundings can make.
double roundings(int n) {
    const double nu = n * std::ldexp(1.0, -24);
    return nu / (1 - nu);
}

// On the longest way through the transform: 2 products of dequantisation; 2 for the scale (constant and product); and
// in each dimension 8, by way of x7 t1 (2), C, U, U + V (1 each), the factor c4 (2) and the last sum (1).
constexpr int kTransformRoundings = 2 + 2 + 2 * 8;
// s + 256, the product with the scale, which is exact as a constant at every depth, and the sum with 0.5.
constexpr int kEncodeRoundings = 3;
// On the longest way through the colour arithmetic: the normalisation of a chroma sample (1), its factor (2), two sums,
// the gain (2), the sums with the offset, which is exact, and with 0.5 (1 each).
constexpr int kColourRoundings = 1 + 2 + 2 + 2 + 2;

// One dimension of the float transform over magnitudes: every difference is a sum.
void magnitudes1d(double* x, int step) {
    const double t1 = std::tan(std::numbers::pi / 16);
    const double t2 = std::tan(2 * std::numbers::pi / 16);
    const double t3 = std::tan(3 * std::numbers::pi / 16);
    const double c4 = std::numbers::sqrt2 / 2;
    const double a = x[3 * step] + x[5 * step] * t3;
    const double b = x[5 * step] + x[3 * step] * t3;
    const double c = x[step] + x[7 * step] * t1;
    const double d = x[step] * t1 + x[7 * step];
    const double outer = a + c + x[0] + x[4 * step];
    const double inner = (c + a + d + b) * c4 + x[0] + x[4 * step];
    const double e = x[2 * step] + x[6 * step] * t2;
    const double g = x[2 * step] * t2 + x[6 * step];
    const double y[4] = {outer + e, inner + g, inner + g, b + d + x[0] + x[4 * step] + e};
    for (int i = 0; i < 4; ++i) {
        x[i * step] = y[i];
        x[(7 - i) * step] = y[i];
    }
}

std::array<double, 64> transformMagnitudes(std::array<double, 64> x) {
    auto k = [](std::size_t i) {
        const std::size_t folded = i <= 4 ? i : 8 - i;
        const double angle = static_cast<double>(folded) * std::numbers::pi / 16;
        return folded % 4 == 0 ? 1.0 : std::numbers::sqrt2 * std::cos(angle);
    };
    for (std::size_t i = 0; i < 64; ++i)
        x[i] = std::abs(x[i]) * k(i / 8) * k(i % 8) / 8;
    for (int row = 0; row < 8; ++row)
        magnitudes1d(&x[static_cast<std::size_t>(row * 8)], 1);
    for (int column = 0; column < 8; ++column)
        magnitudes1d(&x[static_cast<std::size_t>(column)], 8);
    return x;
}

struct ExactBlock {
    std::array<double, 64> samples;
    std::array<double, 64> errors;
};

ExactBlock exactBlock(const std::int16_t* coefficients, std::uint32_t quantization_index, bool isInterlaced,
                      std::array<std::uint8_t, 64> const& matrix) {
    const double q = quantization_index <= 128 ? quantization_index : 4 * quantization_index - 384;
    std::array<double, 64> x{};
    for (std::uint32_t position = 0; position < 64; ++position) {
        const std::uint32_t scanIndex =
            isInterlaced ? slowInterlacedPattern(position) : kSlowProgressivePattern[position];
        x[position] = coefficients[scanIndex] * q * matrix[position] / 8;
    }
    ExactBlock block{exactInverse(x), transformMagnitudes(x)};
    for (double& error : block.errors)
        error *= roundings(kTransformRoundings);
    return block;
}

// A sample and how far the float transform can be away from it.
struct ExactSample {
    double value;
    double error;
};

ExactCode encoded(ExactSample s, double sampleScale) {
    const double magnitude = (std::abs(s.value) + s.error + 256) * sampleScale + 0.5;
    return {(s.value + 256) * sampleScale + 0.5, s.error * sampleScale + roundings(kEncodeRoundings) * magnitude};
}

class ExactColour {
public:
    ExactColour(SlowFrameHeader const& header, DecodeRequest const& request) {
        const double maximum = slowLevels(header, request).maxValue;
        m_gain = request.colorCoding == 1 ? maximum : request.colorCoding == 2 ? 0.85546875 * (1 + maximum) : 0;
        m_offset = request.colorCoding == 2 ? 0.0625 * (1 + maximum) : 0;
        std::uint32_t matrix = header.matrix_coefficients;
        if (matrix != 1 && matrix != 6 && matrix != 9)
            matrix = header.vertical_size > 576 ? 1 : 6;
        const double kr = matrix == 1 ? 0.2126 : matrix == 6 ? 0.299 : 0.2627;
        const double kg = matrix == 1 ? 0.7152 : matrix == 6 ? 0.587 : 0.678;
        const double kb = matrix == 1 ? 0.0722 : matrix == 6 ? 0.114 : 0.0593;
        m_factors = {{{0, 2 * (1 - kr)}, {-2 * (1 - kb) * kb / kg, -2 * (1 - kr) * kr / kg}, {2 * (1 - kb), 0}}};
    }

    // `channel` 0 is red, 1 green, 2 blue.
    ExactCode code(std::size_t channel, ExactSample y, ExactSample cb, ExactSample cr) const {
        const double ofCb = m_factors[channel][0] / 448;
        const double ofCr = m_factors[channel][1] / 448;
        const double sum = (y.value + 224) / 438 + ofCb * cb.value + ofCr * cr.value;
        const double sumError = y.error / 438 + std::abs(ofCb) * cb.error + std::abs(ofCr) * cr.error;
        const double sumMagnitude =
            std::abs(y.value + 224) / 438 + std::abs(ofCb * cb.value) + std::abs(ofCr * cr.value) + sumError;
        const double magnitude = sumMagnitude * m_gain + m_offset + 0.5;
        return {sum * m_gain + m_offset + 0.5, sumError * m_gain + roundings(kColourRoundings) * magnitude};
    }

private:
    double m_gain = 0;
    double m_offset = 0;
    std::array<std::array<double, 2>, 3> m_factors{}; // of Cb and of Cr
};

class ExactSlice {
public:
    ExactSlice(SlowFrameHeader const& header, DecodeRequest const& request, SlowSlice const& slice)
        : m_header(header),
          m_request(request),
          m_slice(slice),
          m_colour(header, request),
          m_sampleScale((1.0 + slowLevels(header, request).maxValue) / 512) {
        const std::pair<std::vector<std::int16_t> const*, std::array<std::uint8_t, 64> const*> sources[3] = {
            {&slice.y, &header.luma_quant}, {&slice.cb, &header.chroma_quant}, {&slice.cr, &header.chroma_quant}};
        for (std::size_t component = 0; component < 3; ++component) {
            for (std::size_t i = 0; i < sources[component].first->size(); i += 64)
                m_blocks[component].push_back(exactBlock(&(*sources[component].first)[i], slice.quantization_index,
                                                         header.interlace_mode != 0, *sources[component].second));
        }
    }

    void visit(ExactCodeVisitor const& visitor) const {
        for (std::uint32_t line = 0; line < m_slice.height; ++line) {
            for (std::uint32_t x = 0; x < m_slice.width; ++x)
                visitPixel(line, x, visitor);
        }
    }

private:
    void visitPixel(std::uint32_t line, std::uint32_t x, ExactCodeVisitor const& visitor) const {
        const std::int64_t bytesPerSample = m_request.bitDepth > 8 ? 2 : 1;
        const std::int64_t offset =
            m_slice.origin + line * m_slice.lineStride + std::int64_t{x} * m_header.samplesPerPixel() * bytesPerSample;
        const ExactSample y = luma(line, x);
        if (!m_header.is444()) {
            visitor(offset, encoded(chroma422(x % 2 == 0 ? 1 : 2, line, x), m_sampleScale));
            visitor(offset + bytesPerSample, encoded(y, m_sampleScale));
            return;
        }
        const ExactSample samples[3] = {y, chroma444(1, line, x), chroma444(2, line, x)};
        for (std::size_t i = 0; i < 3; ++i) {
            const ExactCode code = m_request.colorCoding == 0 ? encoded(samples[i], m_sampleScale)
                                                              : m_colour.code(i, samples[0], samples[1], samples[2]);
            visitor(offset + static_cast<std::int64_t>(1 + i) * bytesPerSample, code);
        }
    }

    ExactSample sampleOf(std::size_t component, std::size_t block, std::uint32_t row, std::uint32_t column) const {
        ExactBlock const& source = m_blocks[component][block];
        return {source.samples[row * 8 + column], source.errors[row * 8 + column]};
    }
    ExactSample luma(std::uint32_t line, std::uint32_t x) const {
        return sampleOf(0, x / 16 * 4 + line / 8 * 2 + x % 16 / 8, line % 8, x % 8);
    }
    ExactSample chroma444(std::size_t component, std::uint32_t line, std::uint32_t x) const {
        return sampleOf(component, x / 16 * 4 + x % 16 / 8 * 2 + line / 8, line % 8, x % 8);
    }
    ExactSample chroma422(std::size_t component, std::uint32_t line, std::uint32_t x) const {
        return sampleOf(component, x / 16 * 2 + line / 8, line % 8, x % 16 / 2);
    }

    SlowFrameHeader const& m_header;
    DecodeRequest const& m_request;
    SlowSlice const& m_slice;
    ExactColour m_colour;
    double m_sampleScale;
    std::vector<ExactBlock> m_blocks[3];
};

} // namespace

void visitExactCodes(SlowFrame const& frame, DecodeRequest const& request, ExactCodeVisitor const& visit) {
    for (SlowSlice const& slice : frame.slices) {
        if (slice.ok && !slice.open)
            ExactSlice(frame.header, request, slice).visit(visit);
    }
}
