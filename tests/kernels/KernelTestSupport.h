#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "LiteralInverseDct.h"

// One variant of the kernels, with everything that tests want to know of it.
struct KernelVariant {
    const char* name;
    std::int32_t index;
    std::uint64_t features; // a mask that selects it and names all that it implies
    bool runnable;          // by this processor and system
    bool isPlain;           // its float transform gives the bits of the plain form
    int (*inverse8x8Float)(const float*, float*);
    int (*inverse8x8)(const std::int16_t*, std::int16_t*);
    int (*inverse8x8To4x4)(const std::int16_t*, std::int16_t*);
    int (*inverse8x8To2x2)(const std::int16_t*, std::int16_t*);
    void (*inverse8x8Blocks)(const std::int16_t*, const float*, float*, std::size_t);
    void (*inverse4x4Corners)(const std::int16_t*, std::int16_t*, std::size_t);
    void (*inverse2x2Corners)(const std::int16_t*, std::int16_t*, std::size_t);
};

void PrintTo(const KernelVariant& variant, std::ostream* out);

// All four, runnable or not.
const std::vector<KernelVariant>& kernelVariants();

// The source of the AVX-512 variant on emulated vectors, for processors without AVX-512.
KernelVariant emulatedK0();

// A test for each variant; those that the processor cannot run are skipped, and say so.
class EveryVariant : public testing::TestWithParam<KernelVariant> {
protected:
    void SetUp() override {
        if (!GetParam().runnable)
            GTEST_SKIP() << "this processor cannot run " << GetParam().name;
    }
};

std::string variantTestName(const testing::TestParamInfo<KernelVariant>& info);

// Gives the process's dispatch state back as it was.
class DispatchStateKeeper {
public:
    DispatchStateKeeper();
    ~DispatchStateKeeper();
    DispatchStateKeeper(const DispatchStateKeeper&) = delete;
    DispatchStateKeeper& operator=(const DispatchStateKeeper&) = delete;

private:
    std::int32_t m_index;
    std::uint64_t m_mask;
    std::uint64_t m_features;
    std::int32_t m_featuresAreValid;
};

// A generator whose seed is printed. The seed is fixed unless RAVELO_TEST_SEED holds another.
std::mt19937 seededGenerator();

// Blocks of every temper: random over the whole range, only the two extremes, small, sparse, single extreme
// coefficients, and constant extremes.
std::vector<Block16> trialBlocks(std::mt19937& generator, int numRandomOfEachKind);

// Blocks of whole float coefficients in [-limit, limit]: dense, falling off with frequency, and sparse.
std::vector<BlockFloat> trialFloatBlocks(std::mt19937& generator, int limit, int numOfEachKind);

Block16 blockWithDc(std::int16_t dc);

// The block that is zero outside the corner given in rows of `side`.
Block16 extendedCorner(const std::int16_t* corner, int side);
