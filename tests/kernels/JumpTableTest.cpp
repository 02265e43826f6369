#include "JumpTable.h"

#include <gtest/gtest.h>

#include <barrier>
#include <thread>

#include "BlockTransforms.h"
#include "InverseDct.h"
#include "KernelTestSupport.h"

namespace {

constexpr int kNumThreads = 32;

int atMinusOne() {
    return -1;
}
int atZero() {
    return 0;
}
int atOne() {
    return 1;
}
int atTwo() {
    return 2;
}
int atThree() {
    return 3;
}

constexpr JumpTable<int()> kTable = {{atMinusOne, atZero, atOne, atTwo, atThree}};

// Each call enters one kernel on a block with a DC of 800 and returns whether all samples are 100.
bool runsFloat() {
    const BlockFloat block = {800.0f};
    BlockFloat samples = {};
    const int status = ippiDCT8x8Inv_32f_C1(block.data(), samples.data());
    return status == 0 && std::all_of(samples.begin(), samples.end(), [](float sample) { return sample == 100.0f; });
}

template <int (*entry)(const std::int16_t*, std::int16_t*), std::size_t numSamples>
bool runsFixedPoint() {
    const Block16 block = blockWithDc(800);
    std::array<std::int16_t, numSamples> samples = {};
    const int status = entry(block.data(), samples.data());
    return status == 0 && std::all_of(samples.begin(), samples.end(), [](int sample) { return sample == 100; });
}

bool runsFloatBatch() {
    const Block16 block = blockWithDc(800);
    BlockFloat matrix = {};
    matrix.fill(1.0f);
    BlockFloat samples = {};
    inverse8x8Blocks(block.data(), matrix.data(), samples.data(), 1);
    return std::all_of(samples.begin(), samples.end(), [](float sample) { return sample == 100.0f; });
}

template <void (*entry)(const std::int16_t*, std::int16_t*, std::size_t), std::size_t numSamples>
bool runsCornerBatch() {
    const Block16 block = blockWithDc(800);
    std::array<std::int16_t, numSamples> samples = {};
    entry(block.data(), samples.data(), 1);
    return std::all_of(samples.begin(), samples.end(), [](int sample) { return sample == 100; });
}

constexpr bool (*kEntries[])() = {
    runsFloat,
    runsFixedPoint<ippiDCT8x8Inv_A10_16s_C1, 64>,
    runsFixedPoint<ippiDCT8x8To4x4Inv_16s_C1, 16>,
    runsFixedPoint<ippiDCT8x8To2x2Inv_16s_C1, 4>,
    runsFloatBatch,
    runsCornerBatch<inverse4x4Corners, 16>,
    runsCornerBatch<inverse2x2Corners, 4>,
};

void forgetTheSelection() {
    ippJumpIndexForMergedLibs = -1;
    ownFeaturesMask = 7;
    ownFeatures = 0;
    ownFeaturesAreValid = 0;
}

// Calls made while the static objects of the program are still being built.
struct CallsBeforeMain {
    bool allWorked = true;

    CallsBeforeMain() {
        for (const auto entry : kEntries)
            allWorked = entry() && allWorked;
    }
};

const CallsBeforeMain s_callsBeforeMain;

} // namespace

TEST(JumpTableTest, TheIndexChoosesTheSlot) {
    const DispatchStateKeeper keeper;
    for (std::int32_t index = -1; index <= 3; ++index) {
        ippJumpIndexForMergedLibs = index;
        EXPECT_EQ(kTable.current()(), index);
    }
}

TEST(JumpTableTest, EveryEntryWorksBeforeMain) {
    EXPECT_TRUE(s_callsBeforeMain.allWorked);
}

TEST(JumpTableTest, EveryEntrySelectsAVariantWhenNoneIsChosenYet) {
    const DispatchStateKeeper keeper;
    ippInit();
    const std::int32_t expectedIndex = ippJumpIndexForMergedLibs;
    const std::uint64_t expectedMask = ownFeaturesMask;
    for (const auto entry : kEntries) {
        forgetTheSelection();
        EXPECT_TRUE(entry());
        EXPECT_EQ(ippJumpIndexForMergedLibs, expectedIndex);
        EXPECT_EQ(ownFeaturesMask, expectedMask);
        EXPECT_NE(ownFeaturesAreValid, 0);
    }
}

TEST(JumpTableTest, NullPointersAreRefusedByTheStubToo) {
    const DispatchStateKeeper keeper;
    forgetTheSelection();
    EXPECT_EQ(ippiDCT8x8Inv_32f_C1(nullptr, nullptr), -8);
    EXPECT_GE(ippJumpIndexForMergedLibs, 0);
}

TEST(JumpTableTest, ThirtyTwoThreadsMayEnterAtOnceBeforeAnySelection) {
    const DispatchStateKeeper keeper;
    ippInit();
    const std::int32_t expectedIndex = ippJumpIndexForMergedLibs;
    for (int round = 0; round < 20; ++round) {
        forgetTheSelection();
        std::barrier start(kNumThreads);
        std::vector<char> worked(kNumThreads, 0);
        std::vector<std::thread> threads;
        for (int thread = 0; thread < kNumThreads; ++thread) {
            threads.emplace_back([&, thread] {
                start.arrive_and_wait();
                bool all = true;
                for (std::size_t i = 0; i < std::size(kEntries); ++i)
                    all = kEntries[(i + static_cast<std::size_t>(thread)) % std::size(kEntries)]() && all;
                worked[static_cast<std::size_t>(thread)] = all;
            });
        }
        for (std::thread& thread : threads)
            thread.join();
        EXPECT_EQ(worked, std::vector<char>(kNumThreads, 1));
        EXPECT_EQ(ippJumpIndexForMergedLibs, expectedIndex);
    }
}

TEST(JumpTableTest, AHostMayChangeTheSelectionWhileKernelsRun) {
    const DispatchStateKeeper keeper;
    ippInit();
    std::atomic<bool> stop = false;
    std::atomic<bool> allWorked = true;
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread) {
        threads.emplace_back([&] {
            while (!stop) {
                for (const auto entry : kEntries) {
                    if (!entry())
                        allWorked = false;
                }
            }
        });
    }
    for (int round = 0; round < 200; ++round) {
        for (KernelVariant const& variant : kKernelVariants) {
            if (isRunnable(variant))
                ippSetCpuFeatures(variant.features);
        }
    }
    stop = true;
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_TRUE(allWorked);
}
