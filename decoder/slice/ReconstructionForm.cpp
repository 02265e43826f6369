#include "ReconstructionForm.h"

#include <atomic>

#include "ProcessorDispatch.h"
#include "VariantSelection.h"

namespace {

std::atomic<bool> s_plainIsForced{false};

} // namespace

ReconstructionForm reconstructionFormFor(OptimizationTarget target, std::int32_t kernelIndex) {
    // The arithmetic of l9 would serve for k0 too, but with AVX-512 the plain form has vectors twice as wide.
    const std::int32_t variant = target == OptimizationTarget::Baseline ? kVariantY8 : kVariantL9;
    return kernelIndex == variant ? ReconstructionForm::Vertical : ReconstructionForm::Plain;
}

ReconstructionForm currentReconstructionForm(OptimizationTarget target) {
    if (s_plainIsForced.load(std::memory_order_relaxed))
        return ReconstructionForm::Plain;
    const auto index = std::atomic_ref<std::int32_t>(ippJumpIndexForMergedLibs).load(std::memory_order_relaxed);
    return reconstructionFormFor(target, index);
}

void forcePlainReconstruction(bool isForced) {
    s_plainIsForced.store(isForced, std::memory_order_relaxed);
}
