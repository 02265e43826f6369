#include "SlowWriter.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <stdexcept>

namespace {

// Truncates towards zero; what 32 bits cannot hold becomes the nearer end of their range.
std::int64_t truncated(float value) {
    constexpr double lowest = std::numeric_limits<std::int32_t>::min();
    constexpr double highest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int64_t>(std::clamp(static_cast<double>(value), lowest, highest));
}

void setMatrix(SlowLevels& levels, std::uint32_t matrix_coefficients, std::uint32_t frameHeight) {
    std::uint32_t matrix = matrix_coefficients;
    if (matrix != 1 && matrix != 6 && matrix != 9)
        matrix = frameHeight > 576 ? 1 : 6;
    const double kr = matrix == 1 ? 0.2126 : matrix == 6 ? 0.299 : 0.2627;
    const double kg = matrix == 1 ? 0.7152 : matrix == 6 ? 0.587 : 0.678;
    const double kb = matrix == 1 ? 0.0722 : matrix == 6 ? 0.114 : 0.0593;
    levels.cbToGreen = static_cast<float>(-2.0 * (1 - kb) * kb / kg);
    levels.cbToBlue = static_cast<float>((1 - kb) * 2.0);
    levels.crToRed = static_cast<float>(2.0 * (1 - kr));
    levels.crToGreen = static_cast<float>(-2.0 * (1 - kr) * kr / kg);
}

// The part of a macroblock that lies inside the picture, as the four quadrants see it.
struct Bounds {
    std::uint32_t leftWidth, rightWidth, topHeight, bottomHeight;
};

Bounds boundsOf(SlowSlice const& slice, std::uint32_t mb, std::uint32_t mbSize) {
    const std::uint32_t half = mbSize / 2;
    const std::uint32_t columns = std::min(mbSize, slice.width - mb * mbSize);
    Bounds bounds{};
    bounds.leftWidth = std::min(columns, half);
    bounds.rightWidth = columns - bounds.leftWidth;
    bounds.topHeight = std::min(slice.height, half);
    bounds.bottomHeight = slice.height - bounds.topHeight;
    return bounds;
}

} // namespace

SlowLevels slowLevels(SlowFrameHeader const& header, DecodeRequest const& request) {
    SlowLevels levels;
    switch (request.bitDepth) {
    case 8:
        levels.maxValue = 255;
        break;
    case 10:
        levels.maxValue = 1023;
        break;
    case 15:
        levels.maxValue = 32768;
        break;
    case 16:
        levels.maxValue = 65535;
        break;
    default:
        throw std::runtime_error("Unsupported bit depth in PixelBuffer");
    }
    const double maximum = levels.maxValue;
    levels.alpha8Scale = static_cast<float>(maximum) / 255.0f;
    levels.alpha16Scale = static_cast<float>(maximum) / 65535.0f;
    levels.sampleScale = static_cast<float>(0.001953125 * (1.0 + maximum));
    if (request.colorCoding == 1)
        levels.rgbScale = static_cast<float>(maximum);
    if (request.colorCoding == 2) {
        levels.rgbScale = static_cast<float>(0.85546875 * (1.0 + maximum));
        levels.rgbOffset = static_cast<float>(0.0625 * (1.0 + maximum));
    }
    if (request.colorCoding != 0)
        setMatrix(levels, header.matrix_coefficients, header.vertical_size);
    return levels;
}

SlowWriter::SlowWriter(SlowFrameHeader const& header, DecodeRequest const& request, SlowSlice const& slice,
                       SlowCanvas& canvas)
    : m_request(request),
      m_slice(slice),
      m_canvas(canvas),
      m_levels(slowLevels(header, request)),
      m_kind(!header.is444()                  ? Kind::C422
             : header.alpha_channel_type == 0 ? Kind::C444
                                              : Kind::C4444),
      m_samplesPerPixel(header.samplesPerPixel()),
      m_alphaDepth(header.alpha_channel_type == 2 ? 16 : 8),
      m_mbSize(16u >> request.downSampleFactor) {}

void SlowWriter::write(std::uint32_t mb, SlowMacroblock const& macroblock) {
    const int side = macroblock.y[0].side;
    if (m_kind == Kind::C422 && side == 1) {
        writeEighth422(mb, macroblock);
        return;
    }
    const Bounds bounds = boundsOf(m_slice, mb, m_mbSize);
    // Macroblocks follow each other by the width of their blocks, which is that of the output except where blocks of
    // full size are written into a reduced picture.
    const std::int64_t pixelBytes = m_samplesPerPixel * bytesPerSample();
    const std::int64_t mbOrigin = m_slice.origin + std::int64_t{mb} * 2 * side * pixelBytes;
    const std::uint64_t alphaPitch = std::uint64_t{m_mbSize} * m_slice.sliceMbs;
    const std::uint32_t numLines = bounds.topHeight + bounds.bottomHeight;
    for (std::uint32_t i = 0; i < numLines; ++i) {
        // Reduced lines are written from lower to higher addresses.
        const std::uint32_t line = side < 8 && m_slice.lineStride < 0 ? numLines - 1 - i : i;
        const bool isBottom = line >= bounds.topHeight;
        const int row = static_cast<int>(isBottom ? line - bounds.topHeight : line);
        for (const bool isRight : {false, true}) {
            Place place;
            place.partWidth = isRight ? bounds.rightWidth : bounds.leftWidth;
            place.side = side;
            place.offset = mbOrigin + line * m_slice.lineStride + (isRight ? bounds.leftWidth * pixelBytes : 0);
            place.alphaIndex = mb * 16 + line * alphaPitch + (isRight ? 8 : 0);
            SlowBlock const& y = macroblock.y[(isBottom ? 2u : 0u) + (isRight ? 1u : 0u)];
            if (m_kind == Kind::C422) {
                const std::size_t chroma = isBottom ? 1 : 0;
                writePart422(place, y, macroblock.cb[chroma], macroblock.cr[chroma], row, isRight ? side / 2 : 0);
            } else {
                const std::size_t chroma = (isRight ? 2u : 0u) + (isBottom ? 1u : 0u);
                writePart444(place, y, macroblock.cb[chroma], macroblock.cr[chroma], row);
            }
        }
    }
}

void SlowWriter::writePart422(Place place, SlowBlock const& y, SlowBlock const& cb, SlowBlock const& cr, int row,
                              int chroma0) {
    for (std::uint32_t x = 0; x < place.partWidth; ++x) {
        const int column = static_cast<int>(x);
        SlowBlock const& chroma = x % 2 == 0 ? cb : cr;
        store(place.offset, finished(encodedSample(chroma.at(row, chroma0 + column / 2)), false));
        store(place.offset + bytesPerSample(), finished(encodedSample(y.at(row, column)), false));
        place.offset += 2 * bytesPerSample();
    }
}

// Four bytes a line whatever the width, the first line whatever the height, and the first block's Cr in both lines.
void SlowWriter::writeEighth422(std::uint32_t mb, SlowMacroblock const& macroblock) {
    const std::uint32_t numLines = m_slice.height > 1 ? 2 : 1;
    for (std::uint32_t index = 0; index < numLines; ++index) {
        const std::uint32_t line = m_slice.lineStride < 0 ? numLines - 1 - index : index;
        const float samples[4] = {macroblock.cb[line].samples[0], macroblock.y[2 * line].samples[0],
                                  macroblock.cr[0].samples[0], macroblock.y[2 * line + 1].samples[0]};
        const std::int64_t start = m_slice.origin + std::int64_t{mb} * 4 + line * m_slice.lineStride;
        for (int i = 0; i < 4; ++i)
            store(start + i, finished(encodedSample(samples[i]), false));
    }
}

void SlowWriter::writePart444(Place place, SlowBlock const& y, SlowBlock const& cb, SlowBlock const& cr, int row) {
    for (place.x = 0; place.x < place.partWidth; ++place.x) {
        const int column = static_cast<int>(place.x);
        writePixel444(place, {y.at(row, column), cb.at(row, column), cr.at(row, column)});
        place.offset += 4 * bytesPerSample();
        ++place.alphaIndex;
    }
}

void SlowWriter::writePixel444(Place const& place, Sample3 const& samples) {
    std::array<float, 3> codes = {encodedSample(samples.y), encodedSample(samples.cb), encodedSample(samples.cr)};
    if (isRgb())
        codes = usesVectorRgb(place) ? rgbVector(samples) : rgbScalar(samples);
    // Groups of eight pack bytes by way of signed 16 bits, so that codes from 32768 up come out as 0.
    const bool wrapsThrough16Bits = isGroup(place) && place.side == 8 && m_request.bitDepth == 8;
    store(place.offset, alphaCode(place));
    for (int i = 0; i < 3; ++i)
        store(place.offset + (1 + i) * bytesPerSample(),
              finished(codes[static_cast<std::size_t>(i)], wrapsThrough16Bits));
}

void SlowWriter::store(std::int64_t offset, std::int64_t code) {
    if (bytesPerSample() == 1)
        m_canvas.store8(offset, static_cast<std::uint8_t>(code & 0xFF));
    else
        m_canvas.store16(offset, static_cast<std::uint16_t>(code & 0xFFFF));
}

// The second target takes whole groups of pixels: eight at full size, four at half size, two at quarter size. Their
// size is that of a row of the block, so a part holds one group or none.
bool SlowWriter::isGroup(Place const& place) const {
    const std::uint32_t groupSize = static_cast<std::uint32_t>(place.side);
    return isAvx2() && groupSize > 1 && place.x < place.partWidth / groupSize * groupSize;
}

bool SlowWriter::usesVectorRgb(Place const& place) const {
    if (!isAvx2())
        return false;
    if (m_kind == Kind::C444 && m_request.bitDepth == 8)
        return true;
    // With an alpha plane, quarter size and eighth size have no vector form.
    return isGroup(place) && place.side >= 4;
}

std::int64_t SlowWriter::alphaCode(Place const& place) const {
    if (m_kind == Kind::C444)
        return m_levels.maxValue;
    if (place.side == 8) {
        const std::uint16_t a = m_slice.alpha.at(place.alphaIndex);
        return isGroup(place) ? groupAlphaCode(a) : scalarAlphaCode(a);
    }
    // Reduced sizes do not look at the plane.
    return place.side == 4 && isGroup(place) && m_alphaDepth == 16 ? 127 : 255;
}

std::int64_t SlowWriter::groupAlphaCode(std::uint16_t a) const {
    const float scale = m_alphaDepth == 16 ? m_levels.alpha16Scale : m_levels.alpha8Scale;
    const std::int64_t code = std::min<std::int64_t>(truncated(std::fma(static_cast<float>(a), scale, 0.5f)), 65535);
    return m_request.bitDepth == 8 ? code : std::min<std::int64_t>(code, m_levels.maxValue);
}

std::int64_t SlowWriter::scalarAlphaCode(std::uint16_t a) const {
    const std::uint32_t product = std::uint32_t{a} * static_cast<std::uint32_t>(m_levels.maxValue);
    return static_cast<std::int32_t>(product) / (m_alphaDepth == 16 ? 65535 : 255);
}

float SlowWriter::encodedSample(float s) const {
    if (isAvx2())
        return std::fma(s + 256.0f, m_levels.sampleScale, 0.5f);
    const float scaled = (s + 256.0f) * m_levels.sampleScale;
    return scaled + 0.5f;
}

std::array<float, 3> SlowWriter::combined(float y, float cb, float cr) const {
    if (isAvx2())
        return {std::fma(m_levels.crToRed, cr, y),
                std::fma(m_levels.crToGreen, cr, std::fma(m_levels.cbToGreen, cb, y)),
                std::fma(m_levels.cbToBlue, cb, y)};
    const float green = y + m_levels.cbToGreen * cb;
    return {y + m_levels.crToRed * cr, green + m_levels.crToGreen * cr, y + m_levels.cbToBlue * cb};
}

std::array<float, 3> SlowWriter::rgbVector(Sample3 const& samples) const {
    const float perLuma = static_cast<float>(1.0 / 438.0);
    const float perChroma = static_cast<float>(1.0 / 448.0);
    const float y = (samples.y + 224.0f) * perLuma;
    std::array<float, 3> codes = combined(y, samples.cb * perChroma, samples.cr * perChroma);
    for (float& code : codes)
        code = std::fma(code, m_levels.rgbScale, m_levels.rgbOffset) + 0.5f;
    return codes;
}

std::array<float, 3> SlowWriter::rgbScalar(Sample3 const& samples) const {
    const float y = static_cast<float>((static_cast<double>(samples.y) + 224.0) / 438.0);
    std::array<float, 3> codes = combined(y, samples.cb / 448.0f, samples.cr / 448.0f);
    for (float& code : codes) {
        const float scaled = code * m_levels.rgbScale;
        const float raised = scaled + m_levels.rgbOffset;
        code = raised + 0.5f;
    }
    return codes;
}

std::int64_t SlowWriter::finished(float code, bool wrapsThrough16Bits) const {
    const std::int64_t value = truncated(code);
    if (wrapsThrough16Bits && value >= 32768)
        return 0;
    return std::clamp<std::int64_t>(value, 0, m_levels.maxValue);
}
