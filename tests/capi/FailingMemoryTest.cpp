#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FailingAllocations.h"
#include "HostFrames.h"

// Every allocation of a call fails once, and the C interface turns that into its status: nothing is thrown or leaked.

TEST(FailingMemoryTest, EveryFailureBecomesAStatus) {
    const std::vector<std::uint8_t> frame = smallFrame(smallSpec(2, 1, 0), 1).bytes;
    std::vector<std::uint8_t> memory(1 << 16);
    ravelo_output output{};
    output.struct_size = sizeof output;
    output.memory = memory.data();
    output.memory_bytes = memory.size();
    for (const std::uint32_t maxThreads : {0u, 1u}) {
        ravelo_decode_options options = usualOptions();
        options.max_threads = maxThreads;
        ASSERT_EQ(ravelo_decode(frame.data(), frame.size(), &output, &options, nullptr), RAVELO_OK);
        int numFailures = 0;
        for (long k = 0;; ++k) {
            ravelo_error error{};
            const long numLiveBefore = numLiveAllocations();
            planAllocationFailure(k);
            const ravelo_status status = ravelo_decode(frame.data(), frame.size(), &output, &options, &error);
            endAllocationFailure();
            ASSERT_EQ(numLiveAllocations(), numLiveBefore) << "allocation " << k;
            if (!hasAllocationFailed()) {
                ASSERT_EQ(status, RAVELO_OK);
                break;
            }
            ASSERT_EQ(status, RAVELO_ERROR_MEMORY) << "allocation " << k;
            ASSERT_STREQ(error.text, "memory is exhausted");
            ++numFailures;
        }
        EXPECT_GT(numFailures, 0);
    }
}
