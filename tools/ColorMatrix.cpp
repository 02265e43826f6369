#include "ColorMatrix.h"

std::uint32_t defaultMatrixCoefficients(std::uint32_t frameHeight) {
    return frameHeight > kMostLinesOfStandardDefinition ? 1 : 6;
}

ColorMatrix::ColorMatrix(LumaWeights const& weights)
    : m_red(static_cast<float>(weights.red)),
      m_green(static_cast<float>(weights.green)),
      m_blue(static_cast<float>(weights.blue)),
      m_crToRed(static_cast<float>(2 * (1 - weights.red))),
      m_crToGreen(static_cast<float>(-2 * (1 - weights.red) * weights.red / weights.green)),
      m_cbToGreen(static_cast<float>(-2 * (1 - weights.blue) * weights.blue / weights.green)),
      m_cbToBlue(static_cast<float>(2 * (1 - weights.blue))) {}
