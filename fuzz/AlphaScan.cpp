// Alpha planes against the slow model, at both depths and on both targets: by the plain reader one by one, and some
// together by the fast form and in lanes.

#include <algorithm>
#include <memory>
#include <vector>

#include "AlphaScan.h"
#include "AlphaVLCStream.h"
#include "EmulatedLaneScan.h"
#include "FuzzSupport.h"
#include "SlowScan.h"

namespace {

// Planes that are decoded together, in lanes if a function for that is given, equal those of the plain reader, also
// where the model leaves samples open.
template <OptimizationTarget target>
void compareTogether(ExactCopy const& range, std::uint32_t alphaBits, std::uint32_t numSamples,
                     AlphaLaneFunction* inLanes) {
    const unsigned int numPlanes = inLanes == nullptr ? 4 : 20;
    std::vector<AlphaPlane> planes(numPlanes);
    std::vector<std::vector<std::uint16_t>> samples(numPlanes);
    for (unsigned int i = 0; i < numPlanes; ++i) {
        // Later planes begin further on in the same bytes and end with them, or take fewer samples.
        const std::size_t skipped = range.size() * i / numPlanes;
        planes[i].range = {range.data() + skipped, range.size() - skipped};
        planes[i].numSamples = numSamples / (i + 1);
        planes[i].codedBytes = 1u << 16; // enough for lanes
        samples[i].resize(planes[i].numSamples + kAlphaPadding);
        planes[i].samples = samples[i].data();
    }
    scanAlphaPlanes<target>(planes.data(), numPlanes, alphaBits, inLanes);
    for (AlphaPlane const& plane : planes) {
        std::vector<std::uint16_t> expected(plane.numSamples);
        if (plane.numSamples != 0)
            AlphaVLCStream<target>(plane.range, alphaBits).fillSamples(expected.data(), plane.numSamples);
        require(std::equal(expected.begin(), expected.end(), plane.samples), "the fast form equals the plain reader");
    }
}

template <OptimizationTarget target>
void compare(FuzzInput input) {
    const std::uint32_t alphaBits = (input.byte() & 1) != 0 ? 16 : 8;
    const std::uint32_t numSamples = 16 * (1 + input.below(128));
    const ExactCopy range(input.rest());
    compareTogether<target>(range, alphaBits, numSamples, nullptr);
    if (target != OptimizationTarget::Baseline) {
        compareTogether<target>(range, alphaBits, numSamples, emulatedScanAlphaInLanesScattering);
        compareTogether<target>(range, alphaBits, numSamples, emulatedScanAlphaInLanesStoringSingly);
    }
    const auto samples = std::make_unique_for_overwrite<std::uint16_t[]>(numSamples);
    AlphaVLCStream<target>(Bitstream{range.data(), range.size()}, alphaBits).fillSamples(samples.get(), numSamples);
    const SlowAlphaResult model = slowScanAlpha({range.data(), range.size()}, numSamples, alphaBits, target);
    if (!model.wrapped)
        require(std::equal(model.samples.begin(), model.samples.end(), samples.get()), "samples equal the model's");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    compare<OptimizationTarget::Baseline>(FuzzInput(data, size));
    compare<OptimizationTarget::AVX2>(FuzzInput(data, size));
    return 0;
}
