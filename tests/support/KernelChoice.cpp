#include "KernelChoice.h"

#include <cstdlib>

#include "ProcessorDispatch.h"

std::vector<Variant> runnableVariants() {
    std::uint64_t actual = 0;
    ippGetCpuFeatures(&actual, nullptr);
    std::vector<Variant> variants;
    for (Variant const& variant : kVariants) {
        if (canRun(variant, actual))
            variants.push_back(variant);
    }
    return variants;
}

SelectedVariant::SelectedVariant(Variant const& variant) {
    ippSetCpuFeatures(variant.features);
    if (ippJumpIndexForMergedLibs != variant.index)
        std::abort();
}

SelectedVariant::~SelectedVariant() {
    ippInit();
}
