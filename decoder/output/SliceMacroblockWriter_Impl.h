#pragma once

#include "SliceMacroblockWriter.h"
#include "Targets.h"

// a * b + c as a target computes it: AVX2 rounds once, Baseline after each step.
template <OptimizationTarget target>
static inline float multiplyAdd(float a, float b, float c) {
    if (kHasVectorForms<target>)
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

// The least code if the argument is below it, else the lesser of the argument and the greatest code.
static inline std::int32_t limitedCode(OutputLevels const& levels, std::int32_t code) {
    if (code < levels.minValue)
        return levels.minValue;
    return code < levels.maxValue ? code : levels.maxValue;
}

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
    const unsigned int mbSize = m_form.mbSize;
    const unsigned int half = mbSize >> 1;
    const unsigned int left = static_cast<unsigned int>(m_pixelBuffer.width) - mb * mbSize;
    const unsigned int available = left < mbSize ? left : mbSize;
    const unsigned int height = static_cast<unsigned int>(m_pixelBuffer.height);
    leftWidth = available > half ? half : available;
    rightWidth = available - leftWidth;
    topHeight = height > half ? half : height;
    bottomHeight = height - topHeight;
}

template <OptimizationTarget target, class Real>
std::int32_t SliceMacroblockWriter<target, Real>::round(Real x) {
    return truncatedToInt(__builtin_floorf(x + 0.5f));
}

template <OptimizationTarget target, class Real>
std::int32_t SliceMacroblockWriter<target, Real>::clamp(std::int32_t code) const {
    return limitedCode(levels(), code);
}

template <OptimizationTarget target, class Real>
std::int32_t SliceMacroblockWriter<target, Real>::unclampedCode(Real sample) const {
    // A value below 0 can only end at 0, so cutting towards zero serves as well as the floor.
    return truncatedToInt(multiplyAdd<target>(sample + 256.0f, levels().sampleScale, 0.5f));
}

// Red, green and blue of samples that are normalised: luma from 0 to 1, chroma from -1/2 to 1/2.
struct NormalRgb {
    float red, green, blue;
};

template <OptimizationTarget target>
static inline NormalRgb normalRgb(OutputLevels const& levels, float y, float cb, float cr) {
    return {
        multiplyAdd<target>(levels.crToRed, cr, y),
        multiplyAdd<target>(levels.crToGreen, cr, multiplyAdd<target>(levels.cbToGreen, cb, y)),
        multiplyAdd<target>(levels.cbToBlue, cb, y),
    };
}

template <OptimizationTarget target, class Real>
typename SliceMacroblockWriter<target, Real>::ColorCodes
SliceMacroblockWriter<target, Real>::convertToRGB(Real y, Real cb, Real cr) const {
    // Luma runs over 438 steps from -224, chroma over 224 steps either side of 0.
    const Real normalY = static_cast<Real>((static_cast<double>(y) + 224.0) / 438.0);
    const NormalRgb rgb = normalRgb<target>(levels(), normalY, cb / 448.0f, cr / 448.0f);
    const auto code = [this](Real color) {
        return truncatedToInt(((color * levels().rgbScale) + levels().rgbOffset) + 0.5f);
    };
    return {code(rgb.red), code(rgb.green), code(rgb.blue)};
}

template <OptimizationTarget target, class Real>
typename SliceMacroblockWriter<target, Real>::ColorCodes
SliceMacroblockWriter<target, Real>::convertToRGBByReciprocals(Real y, Real cb, Real cr) const {
    constexpr Real kLumaReciprocal = 1.0f / 438.0f;
    constexpr Real kChromaReciprocal = 1.0f / 448.0f;
    const NormalRgb rgb =
        normalRgb<target>(levels(), (y + 224.0f) * kLumaReciprocal, cb * kChromaReciprocal, cr * kChromaReciprocal);
    const auto code = [this](Real color) {
        return truncatedToInt(multiplyAdd<target>(color, levels().rgbScale, levels().rgbOffset) + 0.5f);
    };
    return {code(rgb.red), code(rgb.green), code(rgb.blue)};
}
