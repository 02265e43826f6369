#include "SourceConversion.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <utility>
#include <vector>

#include "ChromaColumns.h"
#include "ChromaResampling.h"
#include "ColorMatrix.h"
#include "Interrupt.h"

namespace {

constexpr std::uint32_t kWorkingBits = 16;
constexpr float kWorkingSteps = 65536.0f;

std::uint16_t workingCode(float code) {
    return static_cast<std::uint16_t>(std::clamp(std::floor(code + 0.5f), 0.0f, 65535.0f));
}

// Calls convert(i) for every sample. A signal ends it, since a large picture takes long.
template <typename Convert>
void convertSamples(std::size_t numSamples, Convert const& convert) {
    constexpr std::size_t kSamplesBetweenLooks = 1 << 16;
    for (std::size_t i = 0; i < numSamples;) {
        throwIfInterrupted();
        for (const std::size_t end = std::min(numSamples, i + kSamplesBetweenLooks); i < end; ++i)
            convert(i);
    }
}

void convertRgb(InputPicture const& picture, std::uint32_t matrix_coefficients, SourcePicture& source) {
    const ColorMatrix matrix(lumaWeights(matrix_coefficients, picture.height));
    const StudioRange range(kWorkingSteps);
    const float scale = 1.0f / static_cast<float>(picture.maxValue);
    const std::size_t numPixels = picture.numPixels();
    for (auto* plane : {&source.y, &source.cb, &source.cr})
        plane->resize(numPixels);
    convertSamples(numPixels, [&](std::size_t i) {
        const ColorMatrix::Triple sample = matrix.toYCbCr(static_cast<float>(picture.planes[0][i]) * scale,
                                                          static_cast<float>(picture.planes[1][i]) * scale,
                                                          static_cast<float>(picture.planes[2][i]) * scale);
        source.y[i] = workingCode(range.codeOfLuma(sample.first));
        source.cb[i] = workingCode(range.codeOfChroma(sample.second));
        source.cr[i] = workingCode(range.codeOfChroma(sample.third));
    });
    source.bitDepth = kWorkingBits;
}

// Converts full-range luma, and chroma around the middle code, to studio range.
void convertFullRange(InputPicture const& picture, SourcePicture& source) {
    const StudioRange range(kWorkingSteps);
    const float maximum = static_cast<float>(picture.maxValue);
    const float middle = static_cast<float>((picture.maxValue + 1) / 2);
    source.y.resize(picture.planes[0].size());
    convertSamples(source.y.size(), [&](std::size_t i) {
        source.y[i] = workingCode(range.codeOfLuma(static_cast<float>(picture.planes[0][i]) / maximum));
    });
    for (std::size_t c = 1; c < 3; ++c) {
        std::vector<std::uint16_t>& plane = c == 1 ? source.cb : source.cr;
        plane.resize(picture.planes[c].size());
        convertSamples(plane.size(), [&](std::size_t i) {
            plane[i] = workingCode(range.codeOfChroma((static_cast<float>(picture.planes[c][i]) - middle) / maximum));
        });
    }
    source.bitDepth = kWorkingBits;
}

void convertComponents(InputPicture const& picture, SourceForm const& form, SourcePicture& source) {
    if (picture.model == ColorModel::Rgb) {
        convertRgb(picture, form.matrix_coefficients, source);
    } else if (picture.fullRange) {
        convertFullRange(picture, source);
    } else {
        source.bitDepth = static_cast<std::uint32_t>(std::bit_width(picture.maxValue));
        source.y = picture.planes[0];
        source.cb = picture.planes[1];
        source.cr = picture.planes[2];
    }
}

std::vector<std::uint16_t> layOut(std::vector<std::uint16_t> plane, InputPicture const& picture, ChromaFormat wanted) {
    const bool interlaced = picture.fieldOrder == FieldOrder::TopFirst || picture.fieldOrder == FieldOrder::BottomFirst;
    const std::uint32_t width = picture.chromaWidth();
    if (picture.chroma == ChromaLayout::C420Centred)
        plane = coSitedColumns(plane, width);
    if (picture.chroma == ChromaLayout::C420Centred || picture.chroma == ChromaLayout::C420CoSited)
        plane = allLines(plane, width, picture.height, interlaced);
    const bool isFull = picture.chroma == ChromaLayout::C444;
    if (isFull && wanted == ChromaFormat::C422)
        return halfColumns(plane, picture.width, picture.height);
    if (!isFull && wanted == ChromaFormat::C444)
        return allColumns(plane, picture.width, picture.height);
    return plane;
}

std::vector<std::uint16_t> alphaOf(InputPicture const& picture, std::uint32_t alphaBits) {
    const std::uint32_t maximum = (1u << alphaBits) - 1;
    if (!picture.hasAlpha())
        return std::vector<std::uint16_t>(picture.numPixels(), static_cast<std::uint16_t>(maximum));
    std::vector<std::uint16_t> alpha(picture.alpha.size());
    std::transform(picture.alpha.begin(), picture.alpha.end(), alpha.begin(), [&](std::uint32_t code) {
        return static_cast<std::uint16_t>((code * maximum + picture.alphaMaxValue / 2) / picture.alphaMaxValue);
    });
    return alpha;
}

} // namespace

SourcePicture sourcePictureOf(InputPicture const& picture, SourceForm const& form) {
    SourcePicture source;
    source.width = picture.width;
    source.height = picture.height;
    source.chromaFormat = form.chromaFormat;
    convertComponents(picture, form, source);
    if (picture.model == ColorModel::Gray) {
        const auto middle = static_cast<std::uint16_t>(1u << (source.bitDepth - 1));
        source.cb.assign(std::size_t{source.chromaWidth()} * source.height, middle);
        source.cr = source.cb;
    } else {
        source.cb = layOut(std::move(source.cb), picture, form.chromaFormat);
        source.cr = layOut(std::move(source.cr), picture, form.chromaFormat);
    }
    source.alphaBits = form.alphaBits;
    if (form.alphaBits != 0)
        source.alpha = alphaOf(picture, form.alphaBits);
    return source;
}
