#pragma once

#include <vector>

#include "VariantSelection.h"

// The choice of the kernels' variant in tests. All variants agree on reduced sizes; at full size only those that do not
// fuse have results that do not depend on the processor.

// Every processor runs this one.
constexpr Variant kPlainVariant = kVariants[kVariantY8];

// The variants that this processor can run.
std::vector<Variant> runnableVariants();

// Selects a variant for the process; the processor's own choice comes back at the end.
class SelectedVariant {
public:
    explicit SelectedVariant(Variant const& variant);
    ~SelectedVariant();
    SelectedVariant(SelectedVariant const&) = delete;
    SelectedVariant& operator=(SelectedVariant const&) = delete;
};
