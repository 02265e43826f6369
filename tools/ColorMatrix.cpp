#include "ColorMatrix.h"

namespace {

constexpr LumaCoefficients kBt709 = {0.2126, 0.7152, 0.0722};
constexpr LumaCoefficients kBt601 = {0.299, 0.587, 0.114};
constexpr LumaCoefficients kBt2020 = {0.2627, 0.678, 0.0593};

// The most lines of standard definition.
constexpr std::uint32_t kMaxStandardDefinitionHeight = 576;

} // namespace

LumaCoefficients lumaCoefficients(std::uint32_t matrix_coefficients, std::uint32_t frameHeight) {
    switch (matrix_coefficients) {
    case 1:
        return kBt709;
    case 6:
        return kBt601;
    case 9:
        return kBt2020;
    default:
        return frameHeight > kMaxStandardDefinitionHeight ? kBt709 : kBt601;
    }
}

std::uint32_t defaultMatrixCoefficients(std::uint32_t frameHeight) {
    return frameHeight > kMaxStandardDefinitionHeight ? 1 : 6;
}

ColorMatrix::ColorMatrix(LumaCoefficients const& coefficients)
    : m_red(static_cast<float>(coefficients.red)),
      m_green(static_cast<float>(coefficients.green)),
      m_blue(static_cast<float>(coefficients.blue)),
      m_crToRed(static_cast<float>(2 * (1 - coefficients.red))),
      m_crToGreen(static_cast<float>(-2 * (1 - coefficients.red) * coefficients.red / coefficients.green)),
      m_cbToGreen(static_cast<float>(-2 * (1 - coefficients.blue) * coefficients.blue / coefficients.green)),
      m_cbToBlue(static_cast<float>(2 * (1 - coefficients.blue))) {}
