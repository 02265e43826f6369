#include "ForwardDct.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>

#include <gtest/gtest.h>

#include "Random.h"

namespace {

using Block = std::array<float, 64>;

double basis(int frequency, int position) {
    const double scale = frequency == 0 ? std::sqrt(0.125) : 0.5;
    return scale * std::cos((2 * position + 1) * frequency * std::numbers::pi / 16);
}

double exactCoefficient(Block const& samples, int u, int v) {
    double sum = 0;
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            sum += static_cast<double>(samples[8 * y + x]) * basis(u, y) * basis(v, x);
    return sum;
}

// The transform of the columns of a block, and then of its rows.
Block transformed(Block const& samples) {
    float values[8][8];
    for (std::size_t i = 0; i < 64; ++i)
        values[i / 8][i % 8] = samples[i];
    forwardDct(values, 8);
    float exchanged[8][8];
    for (std::size_t i = 0; i < 64; ++i)
        exchanged[i % 8][i / 8] = values[i / 8][i % 8];
    forwardDct(exchanged, 8);
    Block coefficients{};
    for (std::size_t i = 0; i < 64; ++i)
        coefficients[i] = exchanged[i % 8][i / 8];
    return coefficients;
}

} // namespace

TEST(ForwardDctTest, AFlatBlockHasEightTimesItsValueAsDcAndNothingElse) {
    Block samples{};
    samples.fill(-256);
    const Block coefficients = transformed(samples);
    EXPECT_NEAR(coefficients[0], -2048, 0.001);
    for (std::size_t i = 1; i < 64; ++i)
        EXPECT_NEAR(coefficients[i], 0, 0.001) << i;
}

TEST(ForwardDctTest, RowsAreVerticalFrequencies) {
    Block samples{};
    for (int y = 0; y < 8; ++y)
        for (int x = 0; x < 8; ++x)
            samples[8 * y + x] = static_cast<float>(100 * basis(3, y));
    const Block coefficients = transformed(samples);
    EXPECT_NEAR(coefficients[8 * 3], 100 * std::sqrt(8), 0.001);
    EXPECT_NEAR(coefficients[3], 0, 0.001);
}

// Samples reach 256, so sums stay below 1024 after the column pass and below 2048 after the row pass. Each pass
// rounds no more than eight products and seven sums; errors of the first grow by at most the square root of 8 in the
// second. The basis itself has errors, at most 2^-24 of each value, in both passes.
TEST(ForwardDctTest, DiffersFromTheExactTransformByRoundingOnly) {
    const double bound = 15 * 0x1p-15 * std::sqrt(8) + 15 * 0x1p-14 + 2 * 2048 * 0x1p-24;
    Random random = seeded(501);
    for (int round = 0; round < 200; ++round) {
        Block samples{};
        for (float& sample : samples)
            sample = static_cast<float>(randomBelow(random, 65536)) / 128 - 256;
        const Block coefficients = transformed(samples);
        for (int u = 0; u < 8; ++u)
            for (int v = 0; v < 8; ++v)
                ASSERT_NEAR(coefficients[8 * u + v], exactCoefficient(samples, u, v), bound);
    }
}

TEST(ForwardDctTest, ColumnsDoNotDependOnEachOther) {
    Random random = seeded(502);
    float values[8][13], alone[8][1];
    for (auto& row : values)
        for (float& value : row)
            value = static_cast<float>(randomBelow(random, 512)) - 256;
    for (int k = 0; k < 8; ++k)
        alone[k][0] = values[k][11];
    const float after = values[3][12];
    forwardDct(values, 12);
    forwardDct(alone, 1);
    for (int k = 0; k < 8; ++k)
        EXPECT_EQ(values[k][11], alone[k][0]) << k;
    EXPECT_EQ(values[3][12], after);
}
