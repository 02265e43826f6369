// The scan of three components in one call. Whatever the bytes, it ends and stays inside its arrays; every component
// that a single scan reads without fault comes out the same.

#include "ThreeStreamScan.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <vector>

#include "CoeffVLCStream.h"
#include "CoefficientScan.h"
#include "FuzzSupport.h"

namespace {

void compareCodes(FuzzInput input) {
    constexpr OptimizationTarget target = OptimizationTarget::Baseline;
    const std::size_t numBytes = input.byte();
    const ExactCopy first(input.bytes(numBytes / 2)), second(input.bytes(numBytes)), third(input.rest());
    using Stream = CoeffVLCStream<target>;
    const auto streamOf = [](ExactCopy const& bytes) { return Stream({bytes.data(), bytes.size()}, bytes.size()); };
    Stream together[3] = {streamOf(first), streamOf(second), streamOf(third)};
    Stream alone[3] = {streamOf(first), streamOf(second), streamOf(third)};
    for (int i = 0; i < 64; ++i) {
        unsigned int secondRun = 0, thirdRun = 0;
        const unsigned int firstRun = together[0].run3(together[1], secondRun, together[2], thirdRun);
        require(firstRun == alone[0].run() && secondRun == alone[1].run() && thirdRun == alone[2].run(),
                "run3 equals three runs");
    }
    auto const* params = Stream::levelSymbolCodebook;
    // These prefixes have no limit, and end all the same, even where the bit count has wrapped.
    for (int i = 0; i < 64; ++i) {
        unsigned int secondValue = 0, thirdValue = 0;
        together[0].golombCombinationCode3(together[1], together[2], &params[i % 9], &params[(i + 3) % 9],
                                           &params[(i + 6) % 9], secondValue, thirdValue);
    }
}

struct Area {
    std::unique_ptr<std::int16_t[]> values;
    std::size_t count;
};

Area areaOf(std::size_t count) {
    return {std::make_unique_for_overwrite<std::int16_t[]>(count), count};
}

template <OptimizationTarget target>
void compare(FuzzInput input) {
    const std::uint32_t lumaBlocks = 4u << input.byte() % 4;
    const std::uint32_t chromaBlocks = (input.byte() & 1) != 0 ? lumaBlocks : lumaBlocks / 2;
    const std::uint32_t numBlocks[3] = {lumaBlocks, chromaBlocks, chromaBlocks};
    const std::uint64_t sizes[3] = {input.word(), input.word(), input.word()};
    const ExactCopy bytes(input.rest());
    const Area area = areaOf(64 * (std::size_t{lumaBlocks} + 2 * chromaBlocks));

    ThreeStreamScan<target> scan{};
    Bitstream cursor{bytes.data(), bytes.size()};
    std::int16_t* values = area.values.get();
    for (int i = 0; i < 3; ++i) {
        scan.ranges[i] = {cursor, sizes[i]};
        scan.coefficients[i] = values;
        scan.numBlocks[i] = numBlocks[i];
        scan.log2NumBlocks[i] = static_cast<std::uint32_t>(std::countr_zero(numBlocks[i]));
        cursor.advance(sizes[i]);
        values += 64 * numBlocks[i];
    }
    scan.run();

    for (int i = 0; i < 3; ++i) {
        std::vector<std::int16_t> single(64 * numBlocks[i]);
        ComponentScan component;
        component.range = scan.ranges[i].bits;
        component.range.size = std::min(component.range.size, sizes[i]);
        component.coefficients = single.data();
        component.numBlocks = numBlocks[i];
        component.log2NumBlocks = scan.log2NumBlocks[i];
        if (scanComponentIntoBlocks<target>(component))
            require(std::equal(single.begin(), single.end(), scan.coefficients[i]),
                    "coefficients equal a single scan's");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    compareCodes(FuzzInput(data, size));
    compare<OptimizationTarget::Baseline>(FuzzInput(data, size));
    if (canRunAvx2())
        compare<OptimizationTarget::AVX2>(FuzzInput(data, size));
    return 0;
}
