#include <algorithm>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FailingAllocations.h"
#include "HostFrames.h"
#include "ravelo_encode.h"

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

// Memory for a thread that is refused is no failure: the others do its work.
TEST(FailingMemoryTest, EveryFailureOfAnEncodeBecomesAStatusOrAThreadLess) {
    std::vector<std::uint8_t> pixels(4 * 48 * 16);
    for (std::size_t i = 0; i < pixels.size(); ++i)
        pixels[i] = static_cast<std::uint8_t>(i * 7 % 251);
    ravelo_source_picture picture = RAVELO_SOURCE_PICTURE_INIT;
    picture.width = 48;
    picture.height = 16;
    picture.pixel_form = RAVELO_RGBA;
    picture.planes[0].memory = pixels.data();
    picture.planes[0].memory_bytes = pixels.size();
    for (const std::uint32_t maxThreads : {1u, 3u}) {
        ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
        options.alpha_bits = 8;
        options.chroma_format = 3;
        options.slice_size = 1;
        options.bits_per_pixel = 20;
        options.max_threads = maxThreads;
        std::vector<std::uint8_t> expected;
        int numRefused = 0;
        for (long k = -1;; ++k) {
            ravelo_encoded_frame frame = RAVELO_ENCODED_FRAME_INIT;
            const long numLiveBefore = numLiveAllocations();
            if (k >= 0)
                planAllocationFailure(k);
            const ravelo_status status = ravelo_encode(&picture, &options, &frame, nullptr);
            endAllocationFailure();
            // Of all memory, only that of a frame that was made is left.
            const long numLeft = frame.data != nullptr ? 1 : 0;
            ASSERT_EQ(numLiveAllocations(), numLiveBefore + numLeft) << "allocation " << k;
            const auto* const bytes = static_cast<const std::uint8_t*>(frame.data);
            const std::vector<std::uint8_t> made(bytes, bytes + frame.bytes);
            ravelo_free_frame(&frame);
            if (k < 0)
                expected = made;
            numRefused += status == RAVELO_ERROR_MEMORY ? 1 : 0;
            ASSERT_TRUE(status == RAVELO_ERROR_MEMORY || status == RAVELO_OK) << "allocation " << k;
            ASSERT_EQ(status == RAVELO_OK ? made : expected, expected) << "allocation " << k;
            if (k >= 0 && !hasAllocationFailed())
                break;
        }
        EXPECT_FALSE(expected.empty());
        EXPECT_GT(numRefused, 0);
    }
}

// The slices of the first picture have failed when there is no memory for the second.
TEST(FailingMemoryTest, AReportIsCompleteWhereMemoryFailsAfterDamage) {
    MadeFrame frame = smallFrame(smallSpec(2, 1, 0), 2);
    const std::size_t slicesOfPicture = frame.slices.size() / 2;
    for (std::size_t slice = 0; slice < slicesOfPicture; ++slice) {
        // Slices whose components have no bytes fail.
        for (std::size_t i = 2; i < 6; ++i)
            frame.bytes[frame.sliceOffsets[slice] + i] = 0;
    }
    std::vector<std::uint8_t> memory(1 << 16);
    ravelo_output output{};
    output.struct_size = sizeof output;
    output.memory = memory.data();
    output.memory_bytes = memory.size();
    std::vector<ravelo_damage> slices(7);
    int numAfterDamage = 0;
    for (long k = 0;; ++k) {
        ravelo_damage_report report{sizeof report, slices.data(), slices.size(), 99, 99, sizeof(ravelo_damage)};
        ravelo_decode_options options = usualOptions();
        options.max_threads = 1;
        options.damage = &report;
        planAllocationFailure(k);
        const ravelo_status status = ravelo_decode(frame.bytes.data(), frame.bytes.size(), &output, &options, nullptr);
        endAllocationFailure();
        if (!hasAllocationFailed()) {
            ASSERT_EQ(status, RAVELO_OK);
            ASSERT_EQ(report.failed, slicesOfPicture);
            break;
        }
        ASSERT_EQ(status, RAVELO_ERROR_MEMORY) << "allocation " << k;
        ASSERT_LE(report.failed, slicesOfPicture);
        ASSERT_EQ(report.stored, std::min<std::uint64_t>(report.failed, slices.size()));
        for (std::size_t i = 0; i < report.stored; ++i)
            ASSERT_EQ(3 * slices[i].row + slices[i].column, i) << "in the order of the frame";
        numAfterDamage += report.failed == slicesOfPicture ? 1 : 0;
    }
    EXPECT_GT(numAfterDamage, 0) << "no allocation came after the damage";
}
