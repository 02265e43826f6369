#include "Photograph.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

#include "Files.h"

namespace {

struct TurboJpegCloser {
    void operator()(void* handle) const { tjDestroy(handle); }
};

// One output position's share of the input along one axis: positions [first, first + weights.size()).
struct Coverage {
    std::uint32_t first = 0;
    std::vector<float> weights; // their sum is 1
};

std::vector<Coverage> coverages(double begin, double length, std::uint32_t numOutputs) {
    std::vector<Coverage> result(numOutputs);
    const double step = length / numOutputs;
    for (std::uint32_t i = 0; i < numOutputs; ++i) {
        const double from = begin + i * step;
        const double to = std::min(from + step, begin + length);
        result[i].first = static_cast<std::uint32_t>(from);
        const auto pastLast = static_cast<std::uint32_t>(std::ceil(to - 1e-9));
        for (std::uint32_t position = result[i].first; position < pastLast; ++position) {
            const double covered = std::min(to, position + 1.0) - std::max(from, double{1} * position);
            result[i].weights.push_back(static_cast<float>(covered / (to - from)));
        }
    }
    return result;
}

// Brings the rows of the input to the output's width, for the lines that `rows` names.
std::vector<float> scaledRow(Photograph const& photograph, std::uint32_t line, std::vector<Coverage> const& columns) {
    std::vector<float> row(3 * columns.size(), 0.0f);
    const float* source = photograph.samples.data() + std::size_t{3} * photograph.width * line;
    for (std::size_t x = 0; x < columns.size(); ++x)
        for (std::size_t i = 0; i < columns[x].weights.size(); ++i)
            for (std::size_t channel = 0; channel < 3; ++channel)
                row[3 * x + channel] += columns[x].weights[i] * source[3 * (columns[x].first + i) + channel];
    return row;
}

std::uint16_t codeOf(double value) {
    return static_cast<std::uint16_t>(std::clamp(std::lround(value), 0L, 1023L));
}

} // namespace

Photograph readPhotograph(std::filesystem::path const& file) {
    const std::vector<std::uint8_t> bytes = readFile(file);
    const std::unique_ptr<void, TurboJpegCloser> decompressor(tjInitDecompress());
    int width = 0;
    int height = 0;
    int subsampling = 0;
    int colorspace = 0;
    if (tjDecompressHeader3(decompressor.get(), bytes.data(), bytes.size(), &width, &height, &subsampling,
                            &colorspace) != 0)
        throw std::runtime_error(file.string() + ": " + tjGetErrorStr2(decompressor.get()));
    std::vector<std::uint8_t> pixels(std::size_t{3} * static_cast<std::size_t>(width) *
                                     static_cast<std::size_t>(height));
    if (tjDecompress2(decompressor.get(), bytes.data(), bytes.size(), pixels.data(), width, 0, height, TJPF_RGB, 0) !=
        0)
        throw std::runtime_error(file.string() + ": " + tjGetErrorStr2(decompressor.get()));
    Photograph photograph{static_cast<std::uint32_t>(width), static_cast<std::uint32_t>(height), {}};
    photograph.samples.assign(pixels.begin(), pixels.end());
    return photograph;
}

Photograph scaledDown(Photograph const& photograph, std::uint32_t width, std::uint32_t height) {
    const double scale = std::min(double{1} * photograph.width / width, double{1} * photograph.height / height);
    if (scale < 1)
        throw std::runtime_error("the photograph is smaller than the picture that is wanted of it");
    const std::vector<Coverage> columns = coverages((photograph.width - scale * width) / 2, scale * width, width);
    const std::vector<Coverage> rows = coverages((photograph.height - scale * height) / 2, scale * height, height);
    Photograph result{width, height, std::vector<float>(std::size_t{3} * width * height, 0.0f)};
    for (std::uint32_t y = 0; y < height; ++y) {
        float* target = result.samples.data() + std::size_t{3} * width * y;
        for (std::size_t i = 0; i < rows[y].weights.size(); ++i) {
            const std::vector<float> row =
                scaledRow(photograph, rows[y].first + static_cast<std::uint32_t>(i), columns);
            for (std::size_t x = 0; x < row.size(); ++x)
                target[x] += rows[y].weights[i] * row[x];
        }
    }
    return result;
}

Photograph mirrored(Photograph const& photograph) {
    const std::size_t width = photograph.width;
    const std::size_t height = photograph.height;
    Photograph result{2 * photograph.width, 2 * photograph.height, std::vector<float>(12 * width * height)};
    for (std::size_t y = 0; y < 2 * height; ++y) {
        const float* source = photograph.samples.data() + 3 * width * (y < height ? y : 2 * height - 1 - y);
        float* target = result.samples.data() + 6 * width * y;
        for (std::size_t x = 0; x < 2 * width; ++x)
            for (std::size_t channel = 0; channel < 3; ++channel)
                target[3 * x + channel] = source[3 * (x < width ? x : 2 * width - 1 - x) + channel];
    }
    return result;
}

SourcePicture videoPicture(Photograph const& photograph, ChromaFormat chromaFormat) {
    SourcePicture picture;
    picture.width = photograph.width;
    picture.height = photograph.height;
    picture.chromaFormat = chromaFormat;
    picture.bitDepth = 10;
    const std::size_t numPixels = std::size_t{picture.width} * picture.height;
    picture.y.reserve(numPixels);
    std::vector<double> cb;
    std::vector<double> cr;
    for (std::size_t i = 0; i < numPixels; ++i) {
        const double red = photograph.samples[3 * i] / 255.0;
        const double green = photograph.samples[3 * i + 1] / 255.0;
        const double blue = photograph.samples[3 * i + 2] / 255.0;
        const double luma = 0.2126 * red + 0.7152 * green + 0.0722 * blue;
        picture.y.push_back(codeOf(64 + 876 * luma));
        cb.push_back(512 + 896 * (blue - luma) / (2 * (1 - 0.0722)));
        cr.push_back(512 + 896 * (red - luma) / (2 * (1 - 0.2126)));
    }
    const bool isFullChroma = chromaFormat == ChromaFormat::C444;
    for (std::size_t y = 0; y < picture.height; ++y) {
        for (std::size_t x = 0; x < picture.chromaWidth(); ++x) {
            const std::size_t left = y * picture.width + (isFullChroma ? x : 2 * x);
            const std::size_t right = isFullChroma || 2 * x + 1 == picture.width ? left : left + 1;
            picture.cb.push_back(codeOf((cb[left] + cb[right]) / 2));
            picture.cr.push_back(codeOf((cr[left] + cr[right]) / 2));
        }
    }
    return picture;
}
