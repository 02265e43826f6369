// Alpha planes against the slow model, at both depths and on both targets.

#include <algorithm>
#include <vector>

#include "AlphaVLCStream.h"
#include "FuzzSupport.h"
#include "SlowScan.h"

namespace {

template <OptimizationTarget target>
void compare(FuzzInput input) {
    const std::uint32_t alphaBits = (input.byte() & 1) != 0 ? 16 : 8;
    const std::uint32_t numSamples = 16 * (1 + input.below(128));
    const ExactCopy range(input.rest());
    const std::unique_ptr<std::uint16_t[]> samples(new std::uint16_t[numSamples]);
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
