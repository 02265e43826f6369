#include "TestPictures.h"

#include <cmath>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include "Random.h"
#include "RaveloDecoderInterface.h"

std::vector<OptimizationTarget> runnableTargets() {
    std::vector<OptimizationTarget> targets = {OptimizationTarget::Baseline};
    if (RaveloDecoderInterface::GetMaxOptType() == 1)
        targets.push_back(OptimizationTarget::AVX2);
    return targets;
}

DecodedPicture decoded(std::vector<std::uint8_t> const& frame, SourcePicture const& picture, std::uint32_t bitDepth,
                       OptimizationTarget target) {
    DecodedPicture result;
    result.samplesPerLine = std::size_t{picture.width} * (picture.chromaFormat == ChromaFormat::C444 ? 4 : 2);
    const std::size_t sampleBytes = bitDepth > 8 ? 2 : 1;
    const std::size_t numSamples = result.samplesPerLine * picture.height;
    // Both bytes of an untouched wide sample are written, and the narrow form below reads it the same way.
    std::vector<std::uint8_t> bytes(numSamples * sampleBytes);
    result.samples.assign(numSamples, DecodedPicture::kUntouched);
    if (sampleBytes == 2)
        std::memcpy(bytes.data(), result.samples.data(), bytes.size());
    else
        std::memset(bytes.data(), DecodedPicture::kUntouched, bytes.size());
    const int returned = RaveloDecoderInterface::DecompressFrameFromBits(
        frame.data(), frame.size(), 0, ColorCoding_YCbCr, bitDepth, bytes.data(),
        static_cast<std::int64_t>(result.samplesPerLine * sampleBytes), target);
    if (returned != 1)
        throw std::runtime_error("the decode call did not return 1");
    if (sampleBytes == 2)
        std::memcpy(result.samples.data(), bytes.data(), bytes.size());
    else
        result.samples.assign(bytes.begin(), bytes.end());
    return result;
}

DecodedPicture interleaved(SourcePicture const& picture, std::uint16_t opaqueAlpha) {
    DecodedPicture result;
    result.samplesPerLine = std::size_t{picture.width} * (picture.chromaFormat == ChromaFormat::C444 ? 4 : 2);
    for (std::size_t line = 0; line < picture.height; ++line) {
        for (std::size_t x = 0; x < picture.width; ++x) {
            const std::size_t i = line * picture.width + x;
            if (picture.chromaFormat == ChromaFormat::C444) {
                const std::uint16_t alpha = picture.alphaBits == 0 ? opaqueAlpha : picture.alpha[i];
                result.samples.insert(result.samples.end(), {alpha, picture.y[i], picture.cb[i], picture.cr[i]});
            } else {
                const std::size_t c = line * picture.chromaWidth() + x / 2;
                result.samples.insert(result.samples.end(), {x % 2 == 0 ? picture.cb[c] : picture.cr[c], picture.y[i]});
            }
        }
    }
    return result;
}

SourcePicture emptyPicture(std::uint32_t width, std::uint32_t height, ChromaFormat chromaFormat, std::uint32_t bitDepth,
                           std::uint32_t alphaBits) {
    SourcePicture picture;
    picture.width = width;
    picture.height = height;
    picture.chromaFormat = chromaFormat;
    picture.bitDepth = bitDepth;
    picture.alphaBits = alphaBits;
    picture.y.resize(std::size_t{width} * height);
    picture.cb.resize(std::size_t{picture.chromaWidth()} * height);
    picture.cr = picture.cb;
    if (alphaBits != 0)
        picture.alpha.resize(picture.y.size());
    return picture;
}

SourcePicture noisePicture(SourcePicture form, Random& random) {
    for (std::vector<std::uint16_t>* plane : {&form.y, &form.cb, &form.cr})
        for (std::uint16_t& sample : *plane)
            sample = static_cast<std::uint16_t>(randomBelow(random, 1u << form.bitDepth));
    for (std::uint16_t& sample : form.alpha)
        sample = static_cast<std::uint16_t>(randomBelow(random, 1u << form.alphaBits));
    return form;
}

namespace {

void drawWaves(std::vector<std::uint16_t>& plane, std::size_t width, std::uint32_t bitDepth, double phase,
               Random& random) {
    const double range = static_cast<double>(1u << bitDepth);
    for (std::size_t i = 0; i < plane.size(); ++i) {
        const double x = static_cast<double>(i % width);
        const double y = static_cast<double>(i / width);
        double value = 0.5;
        for (int octave = 0; octave < 6; ++octave) {
            const double frequency = 0.02 * std::pow(2, octave);
            value += 0.2 * std::pow(0.55, octave) * std::sin(frequency * x + phase) * std::cos(frequency * y - phase);
        }
        value += 0.01 * (randomBelow(random, 1000) / 500.0 - 1);
        plane[i] = static_cast<std::uint16_t>(std::fmin(range - 1, std::fmax(0, value * range)));
    }
}

} // namespace

SourcePicture wavePicture(SourcePicture form, Random& random) {
    drawWaves(form.y, form.width, form.bitDepth, 0.3, random);
    drawWaves(form.cb, form.chromaWidth(), form.bitDepth, 1.1, random);
    drawWaves(form.cr, form.chromaWidth(), form.bitDepth, 2.7, random);
    if (form.alphaBits != 0)
        drawWaves(form.alpha, form.width, form.alphaBits, 4.2, random);
    return form;
}

std::string describe(SourcePicture const& picture) {
    std::ostringstream text;
    text << picture.width << "x" << picture.height << " chroma " << static_cast<int>(picture.chromaFormat) << " depth "
         << picture.bitDepth << " alpha " << picture.alphaBits;
    return text.str();
}
