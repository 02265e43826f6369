#include "Matte.h"

#include <algorithm>
#include <cmath>
#include <random>

// Slices are 128 samples wide and 16 high.
std::vector<std::uint16_t> mattePlane(Matte const& matte, std::uint32_t width, std::uint32_t height) {
    constexpr std::uint32_t kSliceWidth = 128;
    const std::uint32_t slicesPerRow = (width + kSliceWidth - 1) / kSliceWidth;
    std::mt19937 random(20);
    std::normal_distribution<double> normal;
    std::vector<std::uint16_t> samples;
    for (std::uint32_t y = 0; y < height; ++y) {
        for (std::uint32_t x = 0; x < width; ++x) {
            const std::uint32_t slice = y / 16 * slicesPerRow + x / kSliceWidth;
            double value = matte.grain == 0 ? 1.0 : 0.5 + matte.grain * normal(random);
            if (matte.hasSoftEdge && slice % 5 == 0)
                value = static_cast<double>(x % kSliceWidth) / kSliceWidth;
            samples.push_back(static_cast<std::uint16_t>(std::lround(65535 * std::clamp(value, 0.0, 1.0))));
        }
    }
    return samples;
}
