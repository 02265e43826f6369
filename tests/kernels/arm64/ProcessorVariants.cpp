#include "KernelTestSupport.h"

// All variants have the code of y8, but detection finds the features of no other.
bool isRunnable(Variant const& variant) {
    return variant.index == kVariantY8;
}

std::vector<KernelVariant> emulatedVariants() {
    return {};
}
