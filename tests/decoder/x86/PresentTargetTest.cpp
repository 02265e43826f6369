#include <cpuid.h>

#include <gtest/gtest.h>

#include "RaveloDecoderInterface.h"

namespace {

// The features of the test, one by one: register words of the leaves 1, 7 and 0x80000001, and the state that the
// operating system has enabled.
bool hasEveryFeature() {
    unsigned int eax = 0, unused = 0, basic = 0, structured = 0, extended = 0;
    __get_cpuid_count(1, 0, &eax, &unused, &basic, &unused);
    __get_cpuid_count(7, 0, &eax, &structured, &unused, &unused);
    __get_cpuid_count(0x80000001, 0, &eax, &unused, &extended, &unused);
    const auto has = [](unsigned int word, int bit) { return (word >> bit & 1) != 0; };
    if (!has(basic, 27)) // OSXSAVE; without it the state cannot be asked for
        return false;
    unsigned int state = 0;
    __asm__ volatile("xgetbv" : "=a"(state), "=d"(unused) : "c"(0));
    return has(basic, 23) && has(extended, 5) && has(structured, 3) && has(structured, 8) && has(basic, 28) &&
           has(basic, 12) && has(structured, 5) && has(state, 1) && has(state, 2);
}

} // namespace

TEST(PresentTargetTest, GetMaxOptTypeIsOneExactlyWhereAllFeaturesAndTheWideRegistersAreThere) {
    EXPECT_EQ(RaveloDecoderInterface::GetMaxOptType(), hasEveryFeature() ? 1 : 0);
}
