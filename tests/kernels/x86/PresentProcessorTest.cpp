#include <cstdint>

#include <gtest/gtest.h>

#include "KernelTestSupport.h"
#include "ProcessorDispatch.h"
#include "ProcessorFeatures.h"

TEST(PresentProcessorTest, IsSeenAsTheCompilersRuntimeSeesIt) {
    const std::uint64_t features = featuresFrom(cpuidSnapshot());
    const auto has = [=](std::uint64_t feature) { return (features & feature) != 0; };
    EXPECT_EQ(has(kFeatureSse2), __builtin_cpu_supports("sse2") != 0);
    EXPECT_EQ(has(kFeatureSse3), __builtin_cpu_supports("sse3") != 0);
    EXPECT_EQ(has(kFeatureSsse3), __builtin_cpu_supports("ssse3") != 0);
    EXPECT_EQ(has(kFeatureSse41), __builtin_cpu_supports("sse4.1") != 0);
    EXPECT_EQ(has(kFeatureSse42), __builtin_cpu_supports("sse4.2") != 0);
    EXPECT_EQ(has(kFeatureAvx) && has(kFeatureAvxState), __builtin_cpu_supports("avx") != 0);
    EXPECT_EQ(has(kFeatureAvx512F), __builtin_cpu_supports("avx512f") != 0);
    const bool avx2WithAll = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma") &&
                             __builtin_cpu_supports("bmi") && __builtin_cpu_supports("bmi2");
    EXPECT_EQ(has(kFeatureAvx2) && has(kFeatureAvxState), avx2WithAll);
}

TEST(PresentProcessorTest, SafeInitLeavesTheArgumentRegistersOfItsCallerAlone) {
    const DispatchStateKeeper keeper;
    ippJumpIndexForMergedLibs = kVariantNotChosen;
    const auto argument = [](unsigned int i) { return 0x0123456789ABCDEFu * (2 * i + 1); };
    std::uint64_t first = argument(0);
    std::uint64_t second = argument(1);
    std::uint64_t third = argument(2);
    std::uint64_t fourth = argument(3);
    register std::uint64_t fifth __asm__("r8") = argument(4);
    register std::uint64_t sixth __asm__("r9") = argument(5);
    register void (*call)() __asm__("r12") = ippSafeInit;
    // The stack is moved past what this function may keep below its pointer, and to the boundary of a call.
    __asm__ volatile("movq %%rsp, %%rbx\n\t"
                     "subq $128, %%rsp\n\t"
                     "andq $-16, %%rsp\n\t"
                     "call *%[call]\n\t"
                     "movq %%rbx, %%rsp"
                     : "+D"(first), "+S"(second), "+d"(third), "+c"(fourth), "+r"(fifth), "+r"(sixth)
                     : [call] "r"(call)
                     : "rax", "rbx", "r10", "r11", "xmm0", "xmm1", "xmm2", "xmm3", "xmm4", "xmm5", "xmm6", "xmm7",
                       "xmm8", "xmm9", "xmm10", "xmm11", "xmm12", "xmm13", "xmm14", "xmm15", "cc", "memory");
    const std::uint64_t found[] = {first, second, third, fourth, fifth, sixth};
    for (unsigned int i = 0; i < 6; ++i)
        EXPECT_EQ(found[i], argument(i)) << "argument " << i;
    EXPECT_GE(ippJumpIndexForMergedLibs, 0);
}
