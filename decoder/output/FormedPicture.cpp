#include "FormedPicture.h"

#include "OutputLevels.h"

namespace {

// The value of white, and what is added to codes so that they are rounded when they are cut.
struct White {
    double value;
    double rounding;
};

White whiteOf(PixelForm form, std::uint32_t bitDepth) {
    if (form == PixelForm::RgbaHalf)
        return {1.0, 0.0};
    return {bitDepth > 8 ? 65535.0 : 255.0, 0.5};
}

// Luma from black to white takes 438 steps from -224 up; chroma reaches from -1/2 to 1/2 in 448 steps.
RgbFactors rgbFactors(PixelBuffer const& buffer, White const& white, bool isSumOfTwo) {
    const LumaWeights weights = lumaWeights(buffer.matrix_coefficients, buffer.frameHeight);
    const double chroma = white.value / (isSumOfTwo ? 896.0 : 448.0);
    RgbFactors factors;
    factors.luma = white.value / 438.0;
    factors.offset = white.value * 224.0 / 438.0 + white.rounding;
    factors.crToRed = 2.0 * (1 - weights.red) * chroma;
    factors.cbToGreen = -2.0 * (1 - weights.blue) * weights.blue / weights.green * chroma;
    factors.crToGreen = -2.0 * (1 - weights.red) * weights.red / weights.green * chroma;
    factors.cbToBlue = 2.0 * (1 - weights.blue) * chroma;
    return factors;
}

bool samplesAreTaken(PixelForm form, std::uint32_t downSampleFactor) {
    return form != PixelForm::Coded && (form != PixelForm::Planar || downSampleFactor != 0);
}

// As the writers' forms of coded pixels: a picture that does not stay in a core's caches anyway, in whole cache lines.
bool canStream(PictureOutput const& output, std::uint32_t numPlanes) {
    std::uint64_t bytesPerLine = 0;
    bool isAligned = true;
    for (std::uint32_t i = 0; i < numPlanes; ++i) {
        OutputPlane const& plane = output.planes[i];
        const auto stride = static_cast<std::uint64_t>(plane.lineStride);
        const std::uint64_t magnitude = plane.lineStride < 0 ? 0 - stride : stride;
        isAligned = isAligned && (reinterpret_cast<std::uintptr_t>(plane.pixels) | magnitude) % kCacheLineBytes == 0;
        bytesPerLine += magnitude;
    }
    const std::uint32_t height = output.region.height;
    return isAligned && height != 0 && bytesPerLine >= kLeastStreamedFormBytes / height;
}

} // namespace

FormedPicture::FormedPicture(PictureOutput const& pictureOutput, PixelBuffer const& buffer, std::uint32_t alphaBits)
    : output(pictureOutput),
      width(buffer.width),
      mbSize(mbSizeAt(buffer.downSampleFactor)),
      codedBytesPerSample(bytesPerSample(buffer.bitDepth)),
      codedBytesPerPixel(buffer.samplesPerPixel * codedBytesPerSample),
      is444(buffer.samplesPerPixel == 4),
      hasAlpha(alphaBits != 0),
      takesSamples(samplesAreTaken(pictureOutput.form, buffer.downSampleFactor)),
      takesPlanes(output.form == PixelForm::Planar && !takesSamples && !is444),
      isDeep(buffer.bitDepth > 8),
      streams((takesSamples || takesPlanes) && (output.form != PixelForm::Planar || isDeep) &&
              canStream(pictureOutput, numPlanes())) {
    const White white = whiteOf(output.form, buffer.bitDepth);
    rgb = rgbFactors(buffer, white, !is444);
    greatestAlpha = alphaBits == 16 ? 65535.0f : 255.0f;
    alphaScale = static_cast<float>(white.value / static_cast<double>(greatestAlpha));
}

std::uint32_t FormedPicture::bytesPerTwoPixels(std::uint32_t plane) const {
    if (output.form == PixelForm::Planar)
        return (isDeep ? 4u : 2u) / (!is444 && (plane == 1 || plane == 2) ? 2u : 1u);
    if (output.form == PixelForm::Coded)
        return 2 * codedBytesPerPixel;
    return isDeep || output.form == PixelForm::RgbaHalf ? 16 : 8;
}
