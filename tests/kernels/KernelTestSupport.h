#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "KernelVariants.h"
#include "LiteralInverseDct.h"
#include "ProcessorFeatures.h"
#include "Random.h"

void PrintTo(KernelVariant const& variant, std::ostream* out);

// Whether this processor can run the variant, according to the compiler's runtime, which is independent of the
// detection under test.
bool isRunnable(Variant const& variant);

// Variants on emulated vectors, for processors without their instructions: the source of the AVX-512 variant on x86.
std::vector<KernelVariant> emulatedVariants();

// Processors that have all vector instructions of their generation and of those before it.
constexpr std::uint64_t kAvxProcessor = 0x1DF | kFeatureAvxState;
constexpr std::uint64_t kAvx2Processor = 0x81DF | kFeatureAvxState;
constexpr std::uint64_t kAvx512Processor = 0x73081DF | kFeatureAvxState | kFeatureAvx512State;

// A test for each variant; those that the processor cannot run are skipped, and say so.
class EveryVariant : public testing::TestWithParam<KernelVariant> {
protected:
    void SetUp() override {
        if (!isRunnable(GetParam()))
            GTEST_SKIP() << "this processor cannot run " << GetParam().name;
    }
};

std::string variantTestName(testing::TestParamInfo<KernelVariant> const& info);

// Gives the process's dispatch state back as it was.
class DispatchStateKeeper {
public:
    DispatchStateKeeper();
    ~DispatchStateKeeper();
    DispatchStateKeeper(DispatchStateKeeper const&) = delete;
    DispatchStateKeeper& operator=(DispatchStateKeeper const&) = delete;

private:
    std::int32_t m_index;
    std::uint64_t m_mask;
    std::uint64_t m_features;
    std::int32_t m_featuresAreValid;
};

// Blocks of every kind: random over the whole range, only the two extremes, small, sparse, single extreme
// coefficients, and constant extremes.
std::vector<Block16> trialBlocks(Random& generator, std::uint32_t numRandomOfEachKind);

// Blocks of whole float coefficients in [-limit, limit]: dense, falling off with frequency, and sparse.
std::vector<BlockFloat> trialFloatBlocks(Random& generator, int limit, std::uint32_t numOfEachKind);

Block16 blockWithDc(std::int16_t dc);

// The block that is zero outside the corner given in rows of `side`.
Block16 extendedCorner(const std::int16_t* corner, int side);
