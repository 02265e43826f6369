#include "ReconstructionForm.h"

#include <atomic>

#include "ProcessorDispatch.h"
#include "VariantSelection.h"

namespace {

// A form, or kNotForced.
constexpr std::int32_t kNotForced = -1;
std::atomic<std::int32_t> s_forced{kNotForced};

std::optional<ReconstructionForm> formFrom(std::int32_t forced) {
    if (forced == kNotForced)
        return std::nullopt;
    return static_cast<ReconstructionForm>(forced);
}

} // namespace

ReconstructionForm reconstructionFormFor(OptimizationTarget target, std::int32_t kernelIndex) {
    if (target == OptimizationTarget::Baseline)
        return kernelIndex == kVariantY8 ? ReconstructionForm::Vertical : ReconstructionForm::Plain;
    if (kernelIndex == kVariantK0)
        return ReconstructionForm::Wide;
    return kernelIndex == kVariantL9 ? ReconstructionForm::Vertical : ReconstructionForm::Plain;
}

ReconstructionForm currentReconstructionForm(OptimizationTarget target) {
    const auto index = std::atomic_ref<std::int32_t>(ippJumpIndexForMergedLibs).load(std::memory_order_relaxed);
    const ReconstructionForm own = reconstructionFormFor(target, index);
    const std::optional<ReconstructionForm> forced = formFrom(s_forced.load(std::memory_order_relaxed));
    if (!forced || own == ReconstructionForm::Plain)
        return own;
    return *forced == ReconstructionForm::Wide && target == OptimizationTarget::Baseline ? own : *forced;
}

std::optional<ReconstructionForm> forceReconstruction(std::optional<ReconstructionForm> form) {
    const std::int32_t number = form ? static_cast<std::int32_t>(*form) : kNotForced;
    return formFrom(s_forced.exchange(number, std::memory_order_relaxed));
}
