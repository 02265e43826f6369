#include "OutputLevels.h"

#include <stdexcept>

namespace {

void setMatrix(OutputLevels& levels, LumaWeights const& weights) {
    const double kr = weights.red;
    const double kg = weights.green;
    const double kb = weights.blue;
    levels.cbToGreen = static_cast<float>(-2.0 * (1 - kb) * kb / kg);
    levels.cbToBlue = static_cast<float>((1 - kb) * 2.0);
    levels.crToRed = static_cast<float>(2.0 * (1 - kr));
    levels.crToGreen = static_cast<float>(-2.0 * (1 - kr) * kr / kg);
}

} // namespace

std::int32_t maximumCode(std::uint32_t bitDepth) {
    if (!isBitDepth(bitDepth))
        throw std::runtime_error("Unsupported bit depth in PixelBuffer");
    return static_cast<std::int32_t>(greatestCode(bitDepth));
}

OutputLevels outputLevels(PixelBuffer const& buffer) {
    OutputLevels levels{};
    levels.maxValue = maximumCode(buffer.bitDepth);
    const double maximum = levels.maxValue;
    levels.alpha8Scale = static_cast<float>(levels.maxValue) / 255.0f;
    levels.alpha16Scale = static_cast<float>(levels.maxValue) / 65535.0f;
    levels.sampleScale = static_cast<float>(0.001953125 * (1.0 + maximum));
    if (buffer.colorCoding == ColorCoding_YCbCr)
        return levels;
    setMatrix(levels, lumaWeights(buffer.matrix_coefficients, buffer.frameHeight));
    if (buffer.colorCoding == ColorCoding_RGBFull) {
        levels.rgbScale = static_cast<float>(maximum);
    } else if (buffer.colorCoding == ColorCoding_RGBVideo) {
        levels.rgbScale = static_cast<float>(0.85546875 * (1 + maximum));
        levels.rgbOffset = static_cast<float>(0.0625 * (1 + maximum));
    }
    return levels;
}
