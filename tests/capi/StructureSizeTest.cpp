#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HostFrames.h"
#include "StructureSizes.h"
#include "ravelo.hpp"

// Structures and the elements of arrays keep the sizes of the first version for the hosts that were built with it.

namespace {

// A frame that is cut off, so that many of its slices fail.
std::vector<std::uint8_t> cutFrame() {
    std::vector<std::uint8_t> frame = smallFrame(smallSpec(2, 1, 0), 3).bytes;
    frame.resize(frame.size() / 3);
    return frame;
}

// The report of a host whose elements have `sliceSize` bytes, in an array that ends with the last of them.
class SizedReport {
public:
    SizedReport(std::size_t sliceSize, std::size_t capacity)
        : m_bytes(sliceSize * capacity, 0xA5), m_sliceSize(sliceSize) {
        m_report.slices = reinterpret_cast<ravelo_damage*>(m_bytes.data());
        m_report.slice_size = sliceSize;
        m_report.capacity = capacity;
    }

    HostDecode decode(std::vector<std::uint8_t> const& frame) {
        ravelo_decode_options options = RAVELO_DECODE_OPTIONS_INIT;
        options.damage = &m_report;
        return hostDecode(frame, options);
    }

    ravelo_damage_report& report() { return m_report; }

    ravelo_damage at(std::size_t index) const {
        ravelo_damage damage{};
        std::memcpy(&damage, m_bytes.data() + index * m_sliceSize, std::min(m_sliceSize, sizeof damage));
        return damage;
    }

    // Whether the bytes of an element after those that the library knows are zero.
    bool endsInZeros(std::size_t index) const {
        const auto begin = m_bytes.begin() + static_cast<std::ptrdiff_t>(index * m_sliceSize + sizeof(ravelo_damage));
        const auto end = m_bytes.begin() + static_cast<std::ptrdiff_t>((index + 1) * m_sliceSize);
        return std::all_of(begin, end, [](std::uint8_t byte) { return byte == 0; });
    }

private:
    std::vector<std::uint8_t> m_bytes;
    std::size_t m_sliceSize;
    ravelo_damage_report m_report = RAVELO_DAMAGE_REPORT_INIT;
};

bool isSame(ravelo_damage const& a, ravelo_damage const& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

} // namespace

// A version with other sizes needs another SONAME, or members at the end of its structures and the old numbers here.
TEST(StructureSizeTest, StructuresHaveTheirFirstSizesAndMembersAfterThem) {
    EXPECT_EQ(sizeof(ravelo_error), 256u);
    EXPECT_EQ(offsetof(ravelo_frame_info, slice_rows), kFirstSize<ravelo_frame_info>);
    EXPECT_EQ(sizeof(ravelo_frame_info), kFirstSize<ravelo_frame_info> + 16);
    EXPECT_EQ(sizeof(ravelo_frame_check), kFirstSize<ravelo_frame_check>);
    EXPECT_EQ(sizeof(ravelo_damage), kFirstSize<ravelo_damage>);
    EXPECT_EQ(sizeof(ravelo_damage_report), kFirstSize<ravelo_damage_report>);
    EXPECT_EQ(sizeof(ravelo_decode_options), kFirstSize<ravelo_decode_options>);
    EXPECT_EQ(sizeof(ravelo_buffer_requirements), kFirstSize<ravelo_buffer_requirements>);
    EXPECT_EQ(sizeof(ravelo_output), kFirstSize<ravelo_output>);
}

TEST(StructureSizeTest, HostsThatDoNotKnowTheGridGetFrameInformationWithoutIt) {
    const std::vector<std::uint8_t> frame = smallFrame(smallSpec(2, 1, 0), 3).bytes;
    ravelo_frame_info known = RAVELO_FRAME_INFO_INIT;
    ASSERT_EQ(ravelo_get_frame_info(frame.data(), frame.size(), &known, nullptr), RAVELO_OK);
    ASSERT_NE(known.slice_columns[1], 0u);
    for (const std::size_t size : {kFirstSize<ravelo_frame_info>, kFirstSize<ravelo_frame_info> + 8}) {
        ravelo_frame_info info;
        std::memset(&info, 0xA5, sizeof info);
        const ravelo_frame_info before = info;
        info.struct_size = size;
        ASSERT_EQ(ravelo_get_frame_info(frame.data(), frame.size(), &info, nullptr), RAVELO_OK);
        const auto* const bytes = reinterpret_cast<const char*>(&info);
        EXPECT_EQ(std::memcmp(bytes + 8, reinterpret_cast<const char*>(&known) + 8, size - 8), 0);
        EXPECT_EQ(std::memcmp(bytes + size, reinterpret_cast<const char*>(&before) + size, sizeof info - size), 0);
    }
}

TEST(StructureSizeTest, ElementsOfTheReportMayBeLonger) {
    const std::vector<std::uint8_t> frame = cutFrame();
    for (const std::size_t capacity : {1u, 2u, 3u, 5u, 8u, 100u}) {
        SizedReport usual(sizeof(ravelo_damage), capacity);
        ASSERT_EQ(usual.decode(frame).status, RAVELO_OK);
        ASSERT_GT(usual.report().failed, 8u);
        for (const std::size_t sliceSize : {sizeof(ravelo_damage) + 8, std::size_t{4096}}) {
            SizedReport longer(sliceSize, capacity);
            ASSERT_EQ(longer.decode(frame).status, RAVELO_OK);
            ASSERT_EQ(longer.report().stored, usual.report().stored);
            for (std::size_t i = 0; i < usual.report().stored; ++i) {
                ASSERT_TRUE(isSame(longer.at(i), usual.at(i))) << i;
                ASSERT_TRUE(longer.endsInZeros(i)) << i;
            }
        }
    }
}

TEST(StructureSizeTest, ASliceSizeOfZeroIsThatOfTheFirstVersion) {
    SizedReport usual(sizeof(ravelo_damage), 4);
    SizedReport silent(sizeof(ravelo_damage), 4);
    silent.report().slice_size = 0;
    ASSERT_EQ(usual.decode(cutFrame()).status, RAVELO_OK);
    ASSERT_EQ(silent.decode(cutFrame()).status, RAVELO_OK);
    for (std::size_t i = 0; i < 4; ++i)
        EXPECT_TRUE(isSame(silent.at(i), usual.at(i))) << i;
}

TEST(StructureSizeTest, ImpossibleSliceSizesAreRefused) {
    for (const std::uint64_t sliceSize : {std::uint64_t{1}, std::uint64_t{47}, std::uint64_t{4097}, UINT64_MAX}) {
        SizedReport report(sizeof(ravelo_damage), 4);
        report.report().slice_size = sliceSize;
        const HostDecode decode = report.decode(cutFrame());
        EXPECT_EQ(decode.status, RAVELO_ERROR_STRUCTURE) << sliceSize;
        EXPECT_THAT(decode.text, testing::HasSubstr("slice_size of the damage report is " + std::to_string(sliceSize)));
    }
}

TEST(StructureSizeTest, NothingThrows) {
    ravelo_error error = RAVELO_ERROR_INIT;
    static_assert(noexcept(ravelo_get_frame_info(nullptr, 0, nullptr, &error)));
    static_assert(noexcept(ravelo_check_frame(nullptr, 0, nullptr, &error)));
    static_assert(noexcept(ravelo_get_buffer_requirements(nullptr, 0, nullptr, nullptr, &error)));
    static_assert(noexcept(ravelo_decode(nullptr, 0, nullptr, nullptr, &error)));
    static_assert(noexcept(ravelo_request_stop(nullptr)));
    EXPECT_STREQ(error.text, "");
}

TEST(StructureSizeTest, AnAtomicOfTheHostStopsADecode) {
    const std::vector<std::uint8_t> frame = smallFrame(smallSpec(2, 0, 0), 4).bytes;
    std::atomic<std::int32_t> stop{0};
    ravelo_decode_options options = RAVELO_DECODE_OPTIONS_INIT;
    options.stop = &stop;
    EXPECT_EQ(hostDecode(frame, options).status, RAVELO_OK);
    stop = 1;
    EXPECT_EQ(hostDecode(frame, options).status, RAVELO_STOPPED);
    ravelo::Options wrapperOptions;
    wrapperOptions.hostStop = &stop;
    ravelo::Image image;
    EXPECT_FALSE(image.decode(frame, wrapperOptions));
    stop.store(0, std::memory_order_relaxed);
    EXPECT_TRUE(image.decode(frame, wrapperOptions));
}
