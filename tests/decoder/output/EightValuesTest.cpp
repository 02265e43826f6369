#include <bit>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderAccess.h"
#include "DecoderTargets.h"
#include "Random.h"
#include "SlowForms.h"
#include "TargetSupport.h"

namespace {

// The values around which the result changes: halfway between two neighbouring halves, and the halves themselves, each
// with the floats beside it; and of each exponent a few.
std::vector<float> criticalFloats() {
    std::vector<float> values;
    const auto add = [&values](float value) {
        for (const float near : {std::nextafterf(value, 0.0f), value, std::nextafterf(value, 1e9f)}) {
            values.push_back(near);
            values.push_back(-near);
        }
    };
    for (std::uint32_t half = 0; half < 0x7C00; ++half) {
        const int exponent = static_cast<int>(half >> 10);
        const auto mantissa = static_cast<float>(exponent == 0 ? half : (half & 1023) + 1024);
        const int scale = (exponent == 0 ? 1 : exponent) - 25;
        add(std::ldexp(mantissa, scale));
        add(std::ldexp(mantissa + 0.5f, scale));
    }
    Random random = seeded(1);
    for (std::uint32_t exponent = 0; exponent < 255; ++exponent)
        for (int i = 0; i < 64; ++i)
            add(std::bit_cast<float>(exponent << 23 | randomBelow(random, 1u << 23)));
    while (values.size() % 8 != 0)
        values.push_back(0);
    return values;
}

// Several modes, since hosts may have chosen one.
class RoundingMode {
public:
    explicit RoundingMode(int mode) { std::fesetround(mode); }
    ~RoundingMode() { std::fesetround(FE_TONEAREST); }
    RoundingMode(RoundingMode const&) = delete;
    RoundingMode& operator=(RoundingMode const&) = delete;
};

template <OptimizationTarget target>
std::vector<std::uint16_t> halvesOf(std::vector<float> const& values, bool byInstruction, int mode) {
    std::vector<std::uint16_t> halves(values.size());
    const RoundingMode rounding(mode);
    for (std::size_t i = 0; i < values.size(); i += 8)
        convertToHalves<target>(&values[i], byInstruction, &halves[i]);
    return halves;
}

} // namespace

template <class On>
class EightValuesTest : public TargetTest<On> {};

TYPED_TEST_SUITE(EightValuesTest, BothTargets, TargetNames);

TYPED_TEST(EightValuesTest, HalvesAreTheNearestOnesInEveryRoundingMode) {
    const std::vector<float> values = criticalFloats();
    for (const int mode : {FE_TONEAREST, FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
        const auto halves = halvesOf<TestFixture::target>(values, false, mode);
        for (std::size_t i = 0; i < values.size(); ++i)
            ASSERT_EQ(halves[i], slowHalf(values[i])) << values[i] << " in mode " << mode;
    }
}

TYPED_TEST(EightValuesTest, TheInstructionGivesTheSameHalves) {
    if (!hasHalfConversion(cpuidSnapshot()))
        GTEST_SKIP() << "the processor has no such instruction";
    const std::vector<float> values = criticalFloats();
    EXPECT_EQ(halvesOf<TestFixture::target>(values, true, FE_UPWARD),
              halvesOf<TestFixture::target>(values, false, FE_TONEAREST));
}
