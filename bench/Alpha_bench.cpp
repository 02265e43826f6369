// Alpha planes of 16 bits: as the decoder reads them, a few slices together, and by their definition.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include "AlphaScan.h"
#include "AlphaVLCStream.h"
#include "AlphaVLCWriter.h"
#include "BenchFrames.h"
#include "LaneSupport.h"
#include "LoopCost.h"
#include "Matte.h"
#include "VariantSelection.h"

namespace {

constexpr std::uint32_t kSliceWidth = 128;
constexpr std::uint32_t kSliceSamples = kSliceWidth * 16;
constexpr std::uint32_t kNumSlices = 60;
constexpr std::uint32_t kSlicesTogether = 4; // as in a group of 4:4:4

// Null for a processor without lanes.
LaneFunctions const* lanesHere() {
    static LaneFunctions const* const lanes = laneFunctionsFor(kVariantK0, cpuidSnapshot());
    return lanes;
}

class AlphaPlanes {
public:
    explicit AlphaPlanes(Matte const& matte) : m_samples(kNumSlices * (kSliceSamples + kAlphaPadding)) {
        const std::vector<std::uint16_t> plane = mattePlane(matte, kSliceWidth, 16 * kNumSlices);
        for (std::uint32_t slice = 0; slice < kNumSlices; ++slice) {
            const auto first = plane.begin() + slice * kSliceSamples;
            m_coded.push_back(codedAlpha({first, first + kSliceSamples}, 16, AlphaRunCoding::Shortest,
                                         AlphaDifferenceCoding::Shortest));
        }
        for (std::uint32_t slice = 0; slice < kNumSlices; ++slice)
            m_planes.push_back({{m_coded[slice].data(), m_coded[slice].size()},
                                m_samples.data() + slice * (kSliceSamples + kAlphaPadding),
                                kSliceSamples,
                                static_cast<std::uint32_t>(m_coded[slice].size())});
    }

    template <OptimizationTarget target>
    void scanTogether() {
        for (std::uint32_t first = 0; first < kNumSlices; first += kSlicesTogether)
            scanAlphaPlanes<target>(&m_planes[first], kSlicesTogether, 16);
    }

    // As in a group that is read in lanes.
    void scanInLanes() {
        constexpr std::uint32_t kPlanes = 16;
        for (std::uint32_t first = 0; first < kNumSlices; first += kPlanes)
            scanAlphaPlanes<OptimizationTarget::AVX2>(&m_planes[first], std::min(kPlanes, kNumSlices - first), 16,
                                                      lanesHere()->scanAlpha);
    }

    template <OptimizationTarget target>
    void scanPlainly() {
        for (AlphaPlane const& plane : m_planes)
            AlphaVLCStream<target>(plane.range, 16).fillSamples(plane.samples, plane.numSamples);
    }

private:
    std::vector<std::vector<std::uint8_t>> m_coded;
    std::vector<std::uint16_t> m_samples;
    std::vector<AlphaPlane> m_planes;
};

void benchAlpha(benchmark::State& state, Matte const& matte, void (AlphaPlanes::*scan)()) {
    AlphaPlanes planes(matte);
    runLoop(state, "clocks/sample", kNumSlices * kSliceSamples, [&] { (planes.*scan)(); });
}

constexpr Matte kMattes[] = {
    {"opaque", 0, false}, {"edges", 0, true}, {"grain", 0.01, false}, {"fineGrain", 0.0003, false}};

template <OptimizationTarget target>
void registerAlpha() {
    for (Matte const& matte : kMattes) {
        const std::string ending = std::string("/") + matte.name + "/" + nameOf(target);
        benchmark::RegisterBenchmark(("Alpha" + ending).c_str(), [&matte](benchmark::State& state) {
            benchAlpha(state, matte, &AlphaPlanes::scanTogether<target>);
        });
        benchmark::RegisterBenchmark(("PlainAlpha" + ending).c_str(), [&matte](benchmark::State& state) {
            benchAlpha(state, matte, &AlphaPlanes::scanPlainly<target>);
        });
    }
}

const bool s_registered = [] {
    registerAlpha<OptimizationTarget::Baseline>();
    if (runnableTargets().size() > 1)
        registerAlpha<OptimizationTarget::AVX2>();
    if (lanesHere() != nullptr) {
        for (Matte const& matte : kMattes) {
            benchmark::RegisterBenchmark(
                (std::string("Alpha/") + matte.name + "/lanes").c_str(),
                [&matte](benchmark::State& state) { benchAlpha(state, matte, &AlphaPlanes::scanInLanes); });
        }
    }
    return true;
}();

} // namespace
