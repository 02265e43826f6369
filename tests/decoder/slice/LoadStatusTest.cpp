#include <gtest/gtest.h>

#include "Block.h"
#include "ProcessorDispatch.h"

// The linker gives the library this function for ippInit, so that the status at load is known and is not the one that
// the variable starts with.
extern "C" std::int32_t __real_ippInit();

namespace {

constexpr std::int32_t kStatus = 4321;
int s_numCalls = 0;

} // namespace

extern "C" std::int32_t __wrap_ippInit();

std::int32_t __wrap_ippInit() {
    ++s_numCalls;
    __real_ippInit();
    return kStatus;
}

TEST(LoadStatusTest, TheSelectionAtLoadIsMadeOnceAndItsStatusIsKept) {
    EXPECT_EQ(progressiveScanPattern[1], 1u); // brings the unit that selects
    EXPECT_EQ(s_numCalls, 1);
    EXPECT_EQ(ippsts, kStatus);
    EXPECT_GE(ippJumpIndexForMergedLibs, 0);
}
