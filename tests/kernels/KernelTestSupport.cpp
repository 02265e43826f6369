#include "KernelTestSupport.h"

#include <cstdlib>
#include <iostream>

#include "ProcessorDispatch.h"
#include "ProcessorFeatures.h"
#include "Random.h"

namespace {

std::int16_t randomCoefficient(Random& generator, int kind) {
    const auto drawn = static_cast<std::int16_t>(generator() & 0xFFFF);
    switch (kind) {
    case 0:
        return drawn;
    case 1:
        return drawn < 0 ? INT16_MIN : INT16_MAX;
    case 2:
        return static_cast<std::int16_t>(drawn % 400);
    default:
        return generator() % 8 == 0 ? drawn : std::int16_t{0};
    }
}

constexpr int kNumRandomKinds = 4;

} // namespace

void PrintTo(KernelVariant const& variant, std::ostream* out) {
    *out << variant.name;
}

std::string variantTestName(testing::TestParamInfo<KernelVariant> const& info) {
    return info.param.name;
}

DispatchStateKeeper::DispatchStateKeeper()
    : m_index(ippJumpIndexForMergedLibs),
      m_mask(ownFeaturesMask),
      m_features(ownFeatures),
      m_featuresAreValid(ownFeaturesAreValid) {}

DispatchStateKeeper::~DispatchStateKeeper() {
    ippJumpIndexForMergedLibs = m_index;
    ownFeaturesMask = m_mask;
    ownFeatures = m_features;
    ownFeaturesAreValid = m_featuresAreValid;
}

std::vector<Block16> trialBlocks(Random& generator, std::uint32_t numRandomOfEachKind) {
    std::vector<Block16> blocks;
    const int numRandom = kNumRandomKinds * static_cast<int>(numRandomOfEachKind);
    for (int trial = 0; trial < numRandom; ++trial) {
        Block16 block = {};
        for (std::int16_t& coefficient : block)
            coefficient = randomCoefficient(generator, trial % kNumRandomKinds);
        blocks.push_back(block);
    }
    for (const std::int16_t extreme : {INT16_MIN, INT16_MAX}) {
        Block16 constant = {};
        constant.fill(extreme);
        blocks.push_back(constant);
        for (int position = 0; position < 64; ++position) {
            Block16 single = {};
            single[position] = extreme;
            blocks.push_back(single);
        }
    }
    return blocks;
}

std::vector<BlockFloat> trialFloatBlocks(Random& generator, int limit, std::uint32_t numOfEachKind) {
    std::uniform_int_distribution<int> coefficient(-limit, limit);
    std::vector<BlockFloat> blocks;
    for (int trial = 0; trial < 3 * static_cast<int>(numOfEachKind); ++trial) {
        BlockFloat block = {};
        for (int i = 0; i < 64; ++i) {
            const int drawn = coefficient(generator);
            if (trial % 3 == 0)
                block[i] = static_cast<float>(drawn);
            else if (trial % 3 == 1)
                block[i] = static_cast<float>(drawn / (1 + i / 8 + i % 8));
            else
                block[i] = generator() % 8 == 0 ? static_cast<float>(drawn) : 0.0f;
        }
        blocks.push_back(block);
    }
    return blocks;
}

Block16 blockWithDc(std::int16_t dc) {
    Block16 block = {};
    block[0] = dc;
    return block;
}

Block16 extendedCorner(const std::int16_t* corner, int side) {
    Block16 block = {};
    for (int row = 0; row < side; ++row) {
        for (int column = 0; column < side; ++column)
            block[8 * row + column] = corner[side * row + column];
    }
    return block;
}
