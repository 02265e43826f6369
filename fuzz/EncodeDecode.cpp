// Coefficients that are written come back, in a component alone and from the ranges of a whole frame.

#include <bit>
#include <cstdint>
#include <vector>

#include "AlphaVLCStream.h"
#include "CoefficientScan.h"
#include "FrameMaker.h"
#include "FuzzSupport.h"

namespace {

// Values of all magnitudes, many of them zero.
std::int16_t coefficientFrom(FuzzInput& input) {
    const std::uint8_t kind = input.byte();
    if (kind < 128)
        return 0;
    if (kind < 240)
        return static_cast<std::int16_t>(static_cast<int>(kind) - 184);
    return static_cast<std::int16_t>(input.word());
}

template <OptimizationTarget target>
void requireDecoded(std::vector<std::int16_t> const& coefficients, std::uint32_t numTailBytes) {
    std::vector<std::uint8_t> coded = encodedComponent(coefficients);
    coded.resize(coded.size() + numTailBytes, 0);
    const ExactCopy range(coded);
    const auto numBlocks = static_cast<std::uint32_t>(coefficients.size() / 64);
    std::vector<std::int16_t> read(coefficients.size() + kScanPadding);
    ComponentScan scan;
    scan.range = {range.data(), range.size()};
    scan.coefficients = read.data();
    scan.numBlocks = numBlocks;
    scan.log2NumBlocks = static_cast<std::uint32_t>(std::countr_zero(numBlocks));
    scanComponents<target>(&scan, 1);
    require(scan.succeeded, "what was written is read");
    for (std::size_t block = 0; block < numBlocks; ++block)
        for (std::size_t s = 0; s < 64; ++s)
            require(read[s * numBlocks + block] == coefficients[64 * block + s], "coefficients come back");
}

void requireAlphaDecoded(FuzzInput& input) {
    const std::uint32_t alphaBits = (input.byte() & 1) != 0 ? 16 : 8;
    const bool longRuns = (input.byte() & 1) != 0;
    const bool modular = (input.byte() & 1) != 0;
    std::vector<std::uint16_t> samples(16 * (1 + input.below(128)));
    for (std::size_t i = 0; i < samples.size();) {
        const auto value = static_cast<std::uint16_t>(alphaBits == 8 ? input.byte() : input.word());
        for (std::size_t run = 1 + input.byte(); run > 0 && i < samples.size(); --run)
            samples[i++] = value;
    }
    const ExactCopy range(encodedAlpha(samples, alphaBits, longRuns, modular));
    std::vector<std::uint16_t> read(samples.size());
    AlphaVLCStream<OptimizationTarget::Baseline>({range.data(), range.size()}, alphaBits)
        .fillSamples(read.data(), static_cast<std::uint32_t>(read.size()));
    require(read == samples, "alpha comes back");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::uint32_t numTailBytes = input.below(8);
    requireAlphaDecoded(input);
    std::vector<std::int16_t> coefficients(std::size_t{64} * (2u << input.byte() % 5));
    for (std::size_t i = 0; i < coefficients.size() && !input.empty(); ++i)
        coefficients[i] = coefficientFrom(input);
    requireDecoded<OptimizationTarget::Baseline>(coefficients, numTailBytes);
    if (canRunAvx2())
        requireDecoded<OptimizationTarget::AVX2>(coefficients, numTailBytes);
    return 0;
}
