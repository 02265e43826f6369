#include "BenchFrames.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <random>
#include <tuple>

#include "FrameEncoder.h"
#include "RaveloDecoderInterface.h"

namespace {

// Random values on a grid, read between its points by linear interpolation.
class NoiseGrid {
public:
    NoiseGrid(std::uint32_t width, std::uint32_t height, std::uint32_t spacing, std::mt19937& random)
        : m_spacing(spacing), m_columns(width / spacing + 2), m_values(m_columns * (height / spacing + 2)) {
        for (float& value : m_values)
            value = static_cast<float>(random() % 2001) / 1000.0f - 1.0f;
    }

    float at(std::uint32_t x, std::uint32_t y) const {
        const float* const corner = m_values.data() + m_columns * (y / m_spacing) + x / m_spacing;
        const float right = static_cast<float>(x % m_spacing) / static_cast<float>(m_spacing);
        const float down = static_cast<float>(y % m_spacing) / static_cast<float>(m_spacing);
        const float top = corner[0] + right * (corner[1] - corner[0]);
        const float bottom = corner[m_columns] + right * (corner[m_columns + 1] - corner[m_columns]);
        return top + down * (bottom - top);
    }

private:
    std::uint32_t m_spacing;
    std::size_t m_columns;
    std::vector<float> m_values;
};

std::vector<std::uint16_t> noisePlane(std::uint32_t width, std::uint32_t height, float amplitude,
                                      std::mt19937& random) {
    std::vector<float> sums(std::size_t{width} * height, 512.0f);
    // Natural pictures have amplitudes in proportion to the scale of the detail.
    for (std::uint32_t spacing = 1; spacing <= 256; spacing *= 2) {
        const NoiseGrid grid(width, height, spacing, random);
        const float weight = amplitude * std::sqrt(static_cast<float>(spacing) / 256.0f);
        for (std::uint32_t y = 0; y < height; ++y)
            for (std::uint32_t x = 0; x < width; ++x)
                sums[std::size_t{width} * y + x] += weight * grid.at(x, y);
    }
    std::vector<std::uint16_t> plane(sums.size());
    std::transform(sums.begin(), sums.end(), plane.begin(),
                   [](float sum) { return static_cast<std::uint16_t>(std::clamp(sum, 64.0f, 940.0f)); });
    return plane;
}

} // namespace

SourcePicture benchPicture(std::uint32_t width, std::uint32_t height, ChromaFormat chromaFormat) {
    std::mt19937 random(20);
    SourcePicture picture;
    picture.width = width;
    picture.height = height;
    picture.chromaFormat = chromaFormat;
    picture.bitDepth = 10;
    picture.y = noisePlane(width, height, 300.0f, random);
    picture.cb = noisePlane(picture.chromaWidth(), height, 100.0f, random);
    picture.cr = noisePlane(picture.chromaWidth(), height, 100.0f, random);
    return picture;
}

std::vector<std::uint8_t> benchFrame(std::uint32_t width, std::uint32_t height, ChromaFormat chromaFormat,
                                     double bitsPerPixel) {
    static std::map<std::tuple<std::uint32_t, std::uint32_t, ChromaFormat, double>, std::vector<std::uint8_t>> s_frames;
    std::vector<std::uint8_t>& frame = s_frames[{width, height, chromaFormat, bitsPerPixel}];
    if (frame.empty()) {
        EncoderSettings settings;
        settings.bitsPerPixel = bitsPerPixel;
        frame = encodeFrame(benchPicture(width, height, chromaFormat), settings).bytes;
    }
    return frame;
}

std::vector<OptimizationTarget> runnableTargets() {
    if (RaveloDecoderInterface::GetMaxOptType() == 0)
        return {OptimizationTarget::Baseline};
    return {OptimizationTarget::Baseline, OptimizationTarget::AVX2};
}

std::string nameOf(OptimizationTarget target) {
    return target == OptimizationTarget::AVX2 ? "avx2" : "baseline";
}
