#include "ReconstructionForm.h"

#include <optional>

#include <gtest/gtest.h>

#include "ForcedReconstruction.h"
#include "KernelChoice.h"
#include "OptimizationTarget.h"

namespace {

constexpr auto kBaseline = OptimizationTarget::Baseline;
constexpr auto kAvx2 = OptimizationTarget::AVX2;
constexpr ReconstructionForm kForms[] = {ReconstructionForm::Plain, ReconstructionForm::Vertical,
                                         ReconstructionForm::Wide};

} // namespace

TEST(ReconstructionFormTest, TheFormFollowsTheTargetAndTheVariant) {
    for (Variant const& variant : kVariants) {
        const bool isY8 = variant.index == kVariantY8, isL9 = variant.index == kVariantL9;
        const bool isK0 = variant.index == kVariantK0;
        EXPECT_EQ(reconstructionFormFor(kBaseline, variant.index),
                  isY8 ? ReconstructionForm::Vertical : ReconstructionForm::Plain);
        EXPECT_EQ(reconstructionFormFor(kAvx2, variant.index), isK0   ? ReconstructionForm::Wide
                                                               : isL9 ? ReconstructionForm::Vertical
                                                                      : ReconstructionForm::Plain);
    }
    EXPECT_EQ(reconstructionFormFor(kAvx2, kVariantNotChosen), ReconstructionForm::Plain);
    EXPECT_EQ(reconstructionFormFor(kBaseline, kVariantNotChosen), ReconstructionForm::Plain);
}

TEST(ReconstructionFormTest, WithoutForceTheFormIsThatOfTheSelectedVariant) {
    for (Variant const& variant : runnableVariants()) {
        const SelectedVariant selected(variant);
        for (const OptimizationTarget target : {kBaseline, kAvx2})
            EXPECT_EQ(currentReconstructionForm(target), reconstructionFormFor(target, variant.index)) << variant.index;
    }
}

TEST(ReconstructionFormTest, AForcedFormIsTakenWhereTheVariantHasItsArithmetic) {
    for (Variant const& variant : runnableVariants()) {
        const SelectedVariant selected(variant);
        for (const ReconstructionForm form : kForms) {
            const ForcedReconstruction forced(form);
            const bool isFused = variant.index == kVariantL9 || variant.index == kVariantK0;
            EXPECT_EQ(currentReconstructionForm(kAvx2), isFused ? form : ReconstructionForm::Plain) << variant.index;
        }
    }
}

TEST(ReconstructionFormTest, BaselineHasNoWideForm) {
    const SelectedVariant selected(kPlainVariant);
    for (const ReconstructionForm form : {ReconstructionForm::Plain, ReconstructionForm::Vertical}) {
        const ForcedReconstruction forced(form);
        EXPECT_EQ(currentReconstructionForm(kBaseline), form);
    }
    const ForcedReconstruction forced(ReconstructionForm::Wide);
    EXPECT_EQ(currentReconstructionForm(kBaseline), ReconstructionForm::Vertical);
}

TEST(ReconstructionFormTest, ForcingReturnsWhatWasForcedBefore) {
    EXPECT_EQ(forceReconstruction(ReconstructionForm::Plain), std::nullopt);
    EXPECT_EQ(forceReconstruction(ReconstructionForm::Wide), ReconstructionForm::Plain);
    EXPECT_EQ(forceReconstruction(std::nullopt), ReconstructionForm::Wide);
    EXPECT_EQ(forceReconstruction(std::nullopt), std::nullopt);
}
