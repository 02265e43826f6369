#include <gtest/gtest.h>

#include "RaveloDecoderInterface.h"

// That a request for another target gives Baseline's pixels is tested for every processor without one.
TEST(PresentTargetTest, IsBaselineAlone) {
    EXPECT_EQ(RaveloDecoderInterface::GetMaxOptType(), 0);
}
