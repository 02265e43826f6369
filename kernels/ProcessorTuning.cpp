#include "ProcessorTuning.h"

namespace {

// The family and model of a processor, with their extensions.
struct Model {
    std::uint32_t maker; // the first four letters of its name
    std::uint32_t family;
    std::uint32_t model;

    bool operator==(Model const&) const = default;
};

constexpr std::uint32_t kGenu = 0x756E6547; // the first letters of GenuineIntel
constexpr std::uint32_t kAuth = 0x68747541; // of AuthenticAMD

constexpr std::uint64_t mebibytes(std::uint64_t n) {
    return n << 20;
}

struct TunedModel {
    Model model;
    ProcessorTuning tuning;
};

// docs/benchmarking.md has the measurements.
constexpr TunedModel kTunedModels[] = {
    {{kGenu, 6, 0x8F}, {true, mebibytes(24), mebibytes(24)}},             // Sapphire Rapids
    {{kAuth, 25, 0x01}, {false, mebibytes(24), ProcessorTuning::kNever}}, // Zen 3
    {{kAuth, 26, 0x02}, {true, mebibytes(4), mebibytes(4)}},              // Zen 5
};

static_assert([] {
    for (TunedModel const& tuned : kTunedModels) {
        if (tuned.tuning.leastStreamed422 < ProcessorTuning::kLeastOfAll ||
            tuned.tuning.leastStreamed444 < ProcessorTuning::kLeastOfAll)
            return false;
    }
    return true;
}());

Model modelOf(CpuidSnapshot const& processor) {
    const std::uint32_t signature = processor.leaf1.eax;
    const std::uint32_t family = signature >> 8 & 0xF;
    const std::uint32_t model = signature >> 4 & 0xF;
    const std::uint32_t extendedFamily = signature >> 20 & 0xFF;
    const std::uint32_t extendedModel = signature >> 16 & 0xF;
    const bool hasExtendedModel = family == 6 || family == 15;
    return {processor.leaf0.ebx, family == 15 ? family + extendedFamily : family,
            hasExtendedModel ? extendedModel << 4 | model : model};
}

} // namespace

ProcessorTuning processorTuning(CpuidSnapshot const& processor) {
    const Model here = modelOf(processor);
    for (TunedModel const& tuned : kTunedModels) {
        if (tuned.model == here)
            return tuned.tuning;
    }
    return {};
}

ProcessorTuning const& processorTuning() {
    static const ProcessorTuning tuning = processorTuning(cpuidSnapshot());
    return tuning;
}
