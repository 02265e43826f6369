#pragma once

#include "PixelRows.h"
#include "SliceMacroblockWriter.h"

// a * b + c as a target computes it: AVX2 rounds once, Baseline after each step.
template <OptimizationTarget target>
static inline float multiplyAdd(float a, float b, float c) {
    if (target == OptimizationTarget::AVX2)
        return __builtin_fmaf(a, b, c);
    return a * b + c;
}

// Cut towards zero; beyond the range of 32 bits the nearer end.
static inline std::int32_t truncatedToInt(float x) {
    if (x >= 2147483648.0f)
        return 2147483647;
    if (x < -2147483648.0f)
        return -2147483647 - 1;
    return static_cast<std::int32_t>(x);
}

// Whether the vector forms of 16-bit samples may stream: every macroblock row that they write is made of whole cache
// lines, and the picture is large.
static inline bool canStream(PixelBuffer const& buffer) {
    const std::uint64_t stride = static_cast<std::uint64_t>(buffer.lineStride);
    const std::uint64_t magnitude = buffer.lineStride < 0 ? 0 - stride : stride;
    const bool isAligned = (reinterpret_cast<std::uintptr_t>(buffer.pixels) | magnitude) % kCacheLineBytes == 0;
    const bool isLarge = buffer.frameHeight != 0 && magnitude >= kLeastStreamedBytes / buffer.frameHeight;
    return isAligned && isLarge && buffer.bitDepth > 8 && buffer.downSampleFactor == 0;
}

template <OptimizationTarget target, class Real>
SliceMacroblockWriter<target, Real>::SliceMacroblockWriter(PixelBuffer const& pixelBuffer)
    : SliceMacroblockWriter(pixelBuffer, outputLevels(pixelBuffer)) {}

template <OptimizationTarget target, class Real>
SliceMacroblockWriter<target, Real>::SliceMacroblockWriter(PixelBuffer const& pixelBuffer, OutputLevels const& levels)
    : m_pixelBuffer(pixelBuffer),
      m_minValue(levels.minValue),
      m_maxValue(levels.maxValue),
      m_alpha8Scale(levels.alpha8Scale),
      m_alpha16Scale(levels.alpha16Scale),
      m_sampleScale(levels.sampleScale),
      m_cbToGreen(levels.cbToGreen),
      m_cbToBlue(levels.cbToBlue),
      m_crToRed(levels.crToRed),
      m_crToGreen(levels.crToGreen),
      m_rgbScale(levels.rgbScale),
      m_rgbOffset(levels.rgbOffset),
      m_streams(canStream(pixelBuffer)) {}

template <OptimizationTarget target, class Real>
SliceMacroblockWriter<target, Real>::~SliceMacroblockWriter() = default;

template <OptimizationTarget target, class Real>
bool SliceMacroblockWriter<target, Real>::readsAlpha() const {
    return false;
}

template <OptimizationTarget target, class Real>
void SliceMacroblockWriter<target, Real>::setBlockBounds(unsigned int mb, unsigned int& leftWidth,
                                                         unsigned int& rightWidth, unsigned int& topHeight,
                                                         unsigned int& bottomHeight) const {
    const unsigned int mbSize = m_pixelBuffer.downSampleFactor < 5 ? 16u >> m_pixelBuffer.downSampleFactor : 0;
    const unsigned int half = mbSize >> 1;
    const unsigned int behind = static_cast<unsigned int>(m_pixelBuffer.width) - mb * mbSize;
    const unsigned int available = behind < mbSize ? behind : mbSize;
    const unsigned int height = static_cast<unsigned int>(m_pixelBuffer.height);
    leftWidth = available > half ? half : available;
    rightWidth = available - leftWidth;
    topHeight = height > half ? half : height;
    bottomHeight = height - topHeight;
}

template <OptimizationTarget target, class Real>
OutputLevels SliceMacroblockWriter<target, Real>::levels() const {
    return {m_minValue, m_maxValue, m_alpha8Scale, m_alpha16Scale, m_sampleScale, m_cbToGreen,
            m_cbToBlue, m_crToRed,  m_crToGreen,   m_rgbScale,     m_rgbOffset};
}

template <OptimizationTarget target, class Real>
std::int32_t SliceMacroblockWriter<target, Real>::round(Real x) {
    return truncatedToInt(__builtin_floorf(x + 0.5f));
}

template <OptimizationTarget target, class Real>
std::int32_t SliceMacroblockWriter<target, Real>::clamp(std::int32_t code) const {
    if (code < m_minValue)
        return m_minValue;
    return code < m_maxValue ? code : m_maxValue;
}

template <OptimizationTarget target, class Real>
std::int32_t SliceMacroblockWriter<target, Real>::unclampedCode(Real sample) const {
    // A value below 0 can only end at 0, so cutting towards zero serves as well as the floor.
    return truncatedToInt(multiplyAdd<target>(sample + 256.0f, m_sampleScale, 0.5f));
}

template <OptimizationTarget target, class Real>
typename SliceMacroblockWriter<target, Real>::ColorCodes
SliceMacroblockWriter<target, Real>::convertToRGB(Real y, Real cb, Real cr) const {
    // Luma runs over 438 steps from -224, chroma over 224 steps either side of 0.
    const Real normalY = static_cast<Real>((static_cast<double>(y) + 224.0) / 438.0);
    const Real normalCb = cb / 448.0f;
    const Real normalCr = cr / 448.0f;
    const Real red = multiplyAdd<target>(m_crToRed, normalCr, normalY);
    const Real green = multiplyAdd<target>(m_crToGreen, normalCr, multiplyAdd<target>(m_cbToGreen, normalCb, normalY));
    const Real blue = multiplyAdd<target>(m_cbToBlue, normalCb, normalY);
    return {truncatedToInt(((red * m_rgbScale) + m_rgbOffset) + 0.5f),
            truncatedToInt(((green * m_rgbScale) + m_rgbOffset) + 0.5f),
            truncatedToInt(((blue * m_rgbScale) + m_rgbOffset) + 0.5f)};
}

template <OptimizationTarget target, class Real>
typename SliceMacroblockWriter<target, Real>::ColorCodes
SliceMacroblockWriter<target, Real>::convertToRGBByReciprocals(Real y, Real cb, Real cr) const {
    constexpr Real kLumaReciprocal = 1.0f / 438.0f;
    constexpr Real kChromaReciprocal = 1.0f / 448.0f;
    const Real normalY = (y + 224.0f) * kLumaReciprocal;
    const Real normalCb = cb * kChromaReciprocal;
    const Real normalCr = cr * kChromaReciprocal;
    const Real red = multiplyAdd<target>(m_crToRed, normalCr, normalY);
    const Real green = multiplyAdd<target>(m_crToGreen, normalCr, multiplyAdd<target>(m_cbToGreen, normalCb, normalY));
    const Real blue = multiplyAdd<target>(m_cbToBlue, normalCb, normalY);
    return {truncatedToInt(multiplyAdd<target>(red, m_rgbScale, m_rgbOffset) + 0.5f),
            truncatedToInt(multiplyAdd<target>(green, m_rgbScale, m_rgbOffset) + 0.5f),
            truncatedToInt(multiplyAdd<target>(blue, m_rgbScale, m_rgbOffset) + 0.5f)};
}
