#pragma once

#include <cstdint>

#include "PixelBuffer.h"

// The matrix_coefficients that fit an RGB picture of this height.
std::uint32_t defaultMatrixCoefficients(std::uint32_t frameHeight);

// The conversion between R'G'B' and Y'CbCr. R, G, B and Y are in [0, 1], Cb and Cr in [-0.5, 0.5].
class ColorMatrix {
public:
    explicit ColorMatrix(LumaWeights const& weights);

    struct Triple {
        float first;  // R or Y
        float second; // G or Cb
        float third;  // B or Cr
    };

    Triple toRgb(float y, float cb, float cr) const {
        return {y + m_crToRed * cr, y + m_cbToGreen * cb + m_crToGreen * cr, y + m_cbToBlue * cb};
    }

    Triple toYCbCr(float red, float green, float blue) const {
        const float y = m_red * red + m_green * green + m_blue * blue;
        return {y, (blue - y) / m_cbToBlue, (red - y) / m_crToRed};
    }

private:
    float m_red, m_green, m_blue;
    float m_crToRed, m_crToGreen, m_cbToGreen, m_cbToBlue;
};

// The codes of studio range in a scale of `steps` codes (256 at 8 bits): black is 16/256 and white 235/256 of it, and
// chroma extends 112/256 to either side of the middle.
class StudioRange {
public:
    explicit StudioRange(float steps) : m_steps(steps) {}

    float lumaOf(float code) const { return (code / m_steps - 16.0f / 256) * (256.0f / 219); }
    float chromaOf(float code) const { return (code / m_steps - 128.0f / 256) * (256.0f / 224); }
    float codeOfLuma(float y) const { return (y * (219.0f / 256) + 16.0f / 256) * m_steps; }
    float codeOfChroma(float c) const { return (c * (224.0f / 256) + 128.0f / 256) * m_steps; }

private:
    float m_steps;
};
