#include "DctTables.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <numbers>

namespace {

double w(int k) {
    return k == 0 ? 1.0 : std::numbers::sqrt2 * std::cos(k * std::numbers::pi / 16.0);
}

// The row factors of rows 0 to 3; the others mirror them.
double rowFactor(int row) {
    return w(row);
}

FullRowTable const& fullTable(int row) {
    const FullRowTable* const tables[4] = {&tab_i_04, &tab_i_17, &tab_i_26, &tab_i_35};
    return *tables[row];
}

HalfRowTable const& halfTable(int row) {
    const HalfRowTable* const tables[4] = {&tab_i4_04, &tab_i4_17, &tab_i4_26, &tab_i4_35};
    return *tables[row];
}

} // namespace

TEST(DctTablesTest, FullRowTablesAreTheRoundedBasisTimesTheRowFactor) {
    const int source[4][2] = {{0, 2}, {4, 6}, {1, 3}, {5, 7}};
    for (int row = 0; row < 4; ++row) {
        for (int group = 0; group < 4; ++group) {
            for (int sample = 0; sample < 4; ++sample) {
                for (int member = 0; member < 2; ++member) {
                    const int k = source[group][member];
                    const double cosine =
                        k == 0 ? 1.0 : std::numbers::sqrt2 * std::cos((2 * sample + 1) * k * std::numbers::pi / 16.0);
                    EXPECT_EQ(fullTable(row).value[8 * group + 2 * sample + member],
                              std::lround(16384.0 * rowFactor(row) * cosine))
                        << "row " << row << ", source " << k << ", sample " << sample;
                }
            }
        }
    }
}

TEST(DctTablesTest, HalfRowTablesAreMeansOfNeighbouringBasisValues) {
    // Values 0 to 7 weigh x0, x2, x0, x2, x1, x3, x1, x3; values 8 to 15 the frequencies four above.
    const int frequency[8] = {0, 2, 0, 2, 1, 3, 1, 3};
    const int output[8] = {0, 0, 1, 1, 0, 0, 1, 1};
    for (int row = 0; row < 4; ++row) {
        for (int i = 0; i < 16; ++i) {
            const int k = frequency[i % 8] + (i < 8 ? 0 : 4);
            const int left = 2 * output[i % 8];
            const auto basis = [=](int sample) {
                return k == 0 ? 1.0 : std::numbers::sqrt2 * std::cos((2 * sample + 1) * k * std::numbers::pi / 16.0);
            };
            const double mean = (basis(left) + basis(left + 1)) / 2.0;
            EXPECT_EQ(halfTable(row).value[i], std::lround(16384.0 * rowFactor(row) * mean))
                << "row " << row << ", value " << i;
        }
    }
}

TEST(DctTablesTest, QuarterRowTablesAreMeansOverFourSamples) {
    const QuarterRowTable* const tables[3] = {&tab_i2_04, &tab_i2_17, &tab_i2_35};
    const int rows[3] = {0, 1, 3};
    for (int table = 0; table < 3; ++table) {
        const auto weight = [&](int k) {
            double sum = 0.0;
            for (int sample = 0; sample < 4; ++sample)
                sum += k == 0 ? 1.0 : std::numbers::sqrt2 * std::cos((2 * sample + 1) * k * std::numbers::pi / 16.0);
            return std::lround(16384.0 * rowFactor(rows[table]) * std::abs(sum / 4.0));
        };
        EXPECT_EQ(tables[table]->a0, weight(0));
        EXPECT_EQ(tables[table]->a1, weight(1));
        EXPECT_EQ(tables[table]->a3, weight(3));
        EXPECT_EQ(tables[table]->a5, weight(5));
        EXPECT_EQ(tables[table]->a7, weight(7));
    }
}

TEST(DctTablesTest, ScaleTableIsTheRoundedProductOfBothFactors) {
    const double k[8] = {1.0, w(1), w(2), w(3), 1.0, w(3), w(2), w(1)};
    for (int row = 0; row < 4; ++row) {
        for (int column = 0; column < 8; ++column)
            EXPECT_EQ(tab_scale[row][column], static_cast<float>(k[row] * k[column] / 8.0)) << row << ", " << column;
    }
}

TEST(DctTablesTest, FloatFactorsAreRoundedToSinglePrecision) {
    EXPECT_EQ(c_tg_1_16, static_cast<float>(std::tan(std::numbers::pi / 16)));
    EXPECT_EQ(c_tg_2_16, static_cast<float>(std::tan(2 * std::numbers::pi / 16)));
    EXPECT_EQ(c_tg_3_16, static_cast<float>(std::tan(3 * std::numbers::pi / 16)));
    EXPECT_EQ(c_cos_4_16, static_cast<float>(std::cos(std::numbers::pi / 4)));
}

TEST(DctTablesTest, IntegerFactorsAreInUnitsOf65536thsAndTwoAreStoredLessOne) {
    EXPECT_EQ(tg_1_16, std::lround(65536 * std::tan(std::numbers::pi / 16)));
    EXPECT_EQ(tg_2_16, std::lround(65536 * std::tan(2 * std::numbers::pi / 16)));
    EXPECT_EQ(tg_3_16, std::lround(65536 * (std::tan(3 * std::numbers::pi / 16) - 1)));
    EXPECT_EQ(cos_4_16, std::lround(65536 * (std::cos(std::numbers::pi / 4) - 1)));
}
