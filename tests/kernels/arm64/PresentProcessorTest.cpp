#include <cstdint>

#include <gtest/gtest.h>

#include "KernelTestSupport.h"
#include "ProcessorDispatch.h"
#include "ProcessorFeatures.h"

TEST(PresentProcessorTest, IsSeenAsOneOfClassY8) {
    const CpuidSnapshot snapshot = cpuidSnapshot();
    EXPECT_EQ(featuresFrom(snapshot), 0xDFu);
    EXPECT_FALSE(isGenuineIntel(snapshot));
    EXPECT_EQ(snapshot.leaf7.ebx, 0u);
    EXPECT_EQ(snapshot.xcr0, 0u);
}

TEST(PresentProcessorTest, EverySlotOfEveryTableIsY8) {
    KernelVariant const& y8 = kKernelVariants[kVariantY8];
    for (KernelVariant const& variant : kKernelVariants) {
        EXPECT_EQ(variant.inverse8x8Float, y8.inverse8x8Float) << variant.name;
        EXPECT_EQ(variant.inverse8x8Blocks, y8.inverse8x8Blocks) << variant.name;
        EXPECT_EQ(variant.inverse4x4Corners, y8.inverse4x4Corners) << variant.name;
        EXPECT_FALSE(variant.isFused) << variant.name;
    }
}

TEST(PresentProcessorTest, SafeInitLeavesTheArgumentRegistersOfItsCallerAlone) {
    const DispatchStateKeeper keeper;
    ippJumpIndexForMergedLibs = kVariantNotChosen;
    // Eight arguments and the address of a result, which is the ninth.
    std::uint64_t values[9];
    for (unsigned int i = 0; i < 9; ++i)
        values[i] = 0x0123456789ABCDEFu * (2 * i + 1);
    void (*const call)() = ippSafeInit;
    __asm__ volatile("mov x19, %[values]\n\t"
                     "mov x20, %[call]\n\t"
                     "ldp x0, x1, [x19]\n\t"
                     "ldp x2, x3, [x19, #16]\n\t"
                     "ldp x4, x5, [x19, #32]\n\t"
                     "ldp x6, x7, [x19, #48]\n\t"
                     "ldr x8, [x19, #64]\n\t"
                     "blr x20\n\t"
                     "stp x0, x1, [x19]\n\t"
                     "stp x2, x3, [x19, #16]\n\t"
                     "stp x4, x5, [x19, #32]\n\t"
                     "stp x6, x7, [x19, #48]\n\t"
                     "str x8, [x19, #64]"
                     :
                     : [values] "r"(values), [call] "r"(call)
                     : "x0", "x1", "x2", "x3", "x4", "x5", "x6", "x7", "x8", "x9", "x10", "x11", "x12", "x13", "x14",
                       "x15", "x16", "x17", "x18", "x19", "x20", "x30", "v0", "v1", "v2", "v3", "v4", "v5", "v6", "v7",
                       "v16", "v17", "v18", "v19", "v20", "v21", "v22", "v23", "v24", "v25", "v26", "v27", "v28", "v29",
                       "v30", "v31", "cc", "memory");
    for (unsigned int i = 0; i < 9; ++i)
        EXPECT_EQ(values[i], 0x0123456789ABCDEFu * (2 * i + 1)) << "argument " << i;
    EXPECT_EQ(ippJumpIndexForMergedLibs, kVariantY8);
}
