// The inverse transforms of every kernel variant that this processor can run, block by block in first-level cache.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "FrameDecode.h"
#include "KernelVariants.h"
#include "LoopCost.h"
#include "PlainInverseDct.h"

namespace {

constexpr std::size_t kNumBlocks = 32; // of the largest component of a slice

// The plain form, which runs everywhere.
const KernelVariant kPlainForm = {{"plain", kVariantNotChosen, 0, false},
                                  nullptr,
                                  nullptr,
                                  nullptr,
                                  nullptr,
                                  plain_inverse8x8Blocks,
                                  plain_inverse4x4Corners,
                                  plain_inverse2x2Corners};

std::vector<KernelVariant> runnableVariants() {
    std::vector<KernelVariant> variants{kPlainForm};
    for (KernelVariant const& variant : kKernelVariants) {
        if (canRunKernelVariant(variant))
            variants.push_back(variant);
    }
    return variants;
}

// How many coefficients of a block are not zero, from the low frequencies on.
struct Case {
    const char* name;
    int size; // of the top left corner
};

constexpr Case kCases[] = {{"dense", 8}, {"sparse", 3}, {"dc", 1}};

std::vector<std::int16_t> coefficients(int blockSize, int cornerSize) {
    std::vector<std::int16_t> values;
    for (std::size_t block = 0; block < kNumBlocks; ++block) {
        for (int row = 0; row < blockSize; ++row) {
            for (int column = 0; column < blockSize; ++column) {
                const bool isCoded = row < cornerSize && column < cornerSize;
                const int value = 120 / (1 + row + column) - static_cast<int>(block);
                values.push_back(static_cast<std::int16_t>(isCoded ? value : 0));
            }
        }
    }
    return values;
}

void benchBlocks8x8(benchmark::State& state, KernelVariant const& variant, int cornerSize) {
    const std::vector<std::int16_t> source = coefficients(8, cornerSize);
    std::array<float, 64> matrix;
    matrix.fill(2.5f);
    std::vector<float> samples(64 * kNumBlocks);
    runLoop(state, "clocks/block", kNumBlocks, [&] {
        variant.inverse8x8Blocks(source.data(), matrix.data(), samples.data(), kNumBlocks);
        benchmark::ClobberMemory();
    });
}

using CornerTransform = void(const std::int16_t*, std::int16_t*, std::size_t);

void benchCorners(benchmark::State& state, CornerTransform* transform, int size, int cornerSize) {
    const std::vector<std::int16_t> source = coefficients(size, std::min(size, cornerSize));
    std::vector<std::int16_t> samples(source.size());
    runLoop(state, "clocks/block", kNumBlocks, [&] {
        transform(source.data(), samples.data(), kNumBlocks);
        benchmark::ClobberMemory();
    });
}

const bool s_registered = [] {
    for (KernelVariant const& variant : runnableVariants()) {
        for (Case const& blocks : kCases) {
            const std::string ending = std::string("/") + blocks.name + "/" + variant.name;
            const int size = blocks.size;
            benchmark::RegisterBenchmark(("Idct8x8" + ending).c_str(),
                                         [=](benchmark::State& state) { benchBlocks8x8(state, variant, size); });
            benchmark::RegisterBenchmark(("Idct4x4" + ending).c_str(), [=](benchmark::State& state) {
                benchCorners(state, variant.inverse4x4Corners, 4, size);
            });
            benchmark::RegisterBenchmark(("Idct2x2" + ending).c_str(), [=](benchmark::State& state) {
                benchCorners(state, variant.inverse2x2Corners, 2, size);
            });
        }
    }
    return true;
}();

} // namespace
