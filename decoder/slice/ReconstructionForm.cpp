#include "ReconstructionForm.h"

#include <atomic>

#include "ProcessorDispatch.h"
#include "VariantSelection.h"

namespace {

std::atomic<std::optional<ReconstructionForm>> s_forced{std::nullopt};

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
    const std::optional<ReconstructionForm> forced = s_forced.load(std::memory_order_relaxed);
    if (!forced || own == ReconstructionForm::Plain)
        return own;
    return *forced == ReconstructionForm::Wide && target == OptimizationTarget::Baseline ? own : *forced;
}

std::optional<ReconstructionForm> forceReconstruction(std::optional<ReconstructionForm> form) {
    return s_forced.exchange(form, std::memory_order_relaxed);
}
