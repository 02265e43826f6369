#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "HostFrames.h"
#include "LongForms.h"
#include "Random.h"
#include "Sanitizers.h"

// What frames cost that declare much and hold little. The output is mapped but not touched, unless it is to be filled.
// The environment's RAVELO_HOSTILE=all fills the largest picture that is allowed by default, which takes 2 GB.

namespace {

// The header of a frame and that of its picture, and nothing else: 36 bytes.
std::vector<std::uint8_t> headersAlone(std::uint32_t width, std::uint32_t height, std::uint32_t chroma_format,
                                       std::uint32_t log2_slice_size_in_mb) {
    std::vector<std::uint8_t> bytes(36);
    bytes[9] = 20; // the header's own size
    bytes[16] = static_cast<std::uint8_t>(width >> 8);
    bytes[17] = static_cast<std::uint8_t>(width & 0xFF);
    bytes[18] = static_cast<std::uint8_t>(height >> 8);
    bytes[19] = static_cast<std::uint8_t>(height & 0xFF);
    bytes[20] = static_cast<std::uint8_t>(chroma_format << 6);
    bytes[28] = 8 << 3; // the picture header's size
    bytes[35] = static_cast<std::uint8_t>(log2_slice_size_in_mb << 4);
    return bytes;
}

// Memory that takes no room before it is written.
class Mapping {
public:
    explicit Mapping(std::size_t size)
        : m_size(size),
          m_bytes(mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0)) {}
    ~Mapping() { munmap(m_bytes, m_size); }
    Mapping(Mapping const&) = delete;
    Mapping& operator=(Mapping const&) = delete;

    bool exists() const { return m_bytes != MAP_FAILED; }
    std::size_t size() const { return m_size; }
    void* bytes() const { return m_bytes; }

private:
    std::size_t m_size;
    void* m_bytes;
};

ravelo_buffer_requirements needsOf(std::vector<std::uint8_t> const& frame, ravelo_decode_options const& options) {
    ravelo_buffer_requirements needs{};
    needs.struct_size = sizeof needs;
    EXPECT_EQ(ravelo_get_buffer_requirements(frame.data(), frame.size(), &options, &needs, nullptr), RAVELO_OK);
    return needs;
}

void decodeInto(Mapping const& memory, std::vector<std::uint8_t> const& frame, ravelo_decode_options const& options) {
    ravelo_output output{};
    output.struct_size = sizeof output;
    output.memory = memory.bytes();
    output.memory_bytes = memory.size();
    ASSERT_EQ(ravelo_decode(frame.data(), frame.size(), &output, &options, nullptr), RAVELO_OK);
}

double secondsNow() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// Of some decodes the quickest, which no other load of the machine has held up.
double secondsOf(Mapping const& memory, std::vector<std::uint8_t> const& frame, ravelo_decode_options const& options) {
    double least = std::numeric_limits<double>::max();
    for (int round = 0; round < 5; ++round) {
        const double start = secondsNow();
        decodeInto(memory, frame, options);
        least = std::min(least, secondsNow() - start);
    }
    return least;
}

std::uint64_t statusKilobytes(const char* name) {
    std::ifstream status("/proc/self/status");
    std::string word;
    while (status >> word) {
        std::uint64_t kilobytes = 0;
        if (word == name && status >> kilobytes)
            return kilobytes;
    }
    return 0;
}

// Sets the peak of the resident memory to what is resident now.
bool resetPeak() {
    std::ofstream file("/proc/self/clear_refs");
    file << "5" << std::flush;
    return file.good();
}

} // namespace

// Every slice fails, up to a million of them, and none is opened.
TEST(HostileCostTest, ThirtySixBytesThatDeclareTheLargestAllowedPictureTakeLessThanFiveMilliseconds) {
    for (const std::uint32_t log2_slice_size_in_mb : {0u, 3u}) {
        const std::vector<std::uint8_t> frame = headersAlone(16384, 16384, 2, log2_slice_size_in_mb);
        const Mapping memory(needsOf(frame, usualOptions()).bytes);
        ASSERT_TRUE(memory.exists());
        std::array<ravelo_damage, 100> slices{};
        ravelo_damage_report report{sizeof report, slices.data(), slices.size(), 0, 0, sizeof(ravelo_damage)};
        const std::int32_t stop = 0;
        ravelo_decode_options stoppable = usualOptions();
        stoppable.stop = &stop;
        ravelo_decode_options reported = usualOptions();
        reported.damage = &report;
        const double withStop = secondsOf(memory, frame, stoppable);
        const double withReport = secondsOf(memory, frame, reported);
        std::cout << "stop flag " << withStop * 1e6 << " us, report " << withReport * 1e6 << " us\n";
        const std::uint64_t slicesOfRow = 1024u >> log2_slice_size_in_mb;
        EXPECT_EQ(report.failed, 1024 * slicesOfRow);
        ASSERT_EQ(report.stored, slices.size());
        for (std::uint32_t i = 0; i < slices.size(); ++i) {
            EXPECT_EQ(slices[i].row, 0u);
            EXPECT_EQ(slices[i].column, i);
            EXPECT_EQ(slices[i].byte_offset, frame.size());
            EXPECT_EQ(slices[i].x, i * (16u << log2_slice_size_in_mb));
            EXPECT_EQ(slices[i].width, 16u << log2_slice_size_in_mb);
        }
        if (!kHasSanitizer) {
            EXPECT_LT(withStop, 0.005);
            EXPECT_LT(withReport, 0.005);
        }
    }
}

TEST(HostileCostTest, TheSameFramesTakeLessThanAMegabyte) {
    if (kHasSanitizer)
        GTEST_SKIP() << "a sanitizer keeps freed memory for a while";
    for (const std::uint32_t log2_slice_size_in_mb : {0u, 3u}) {
        const std::vector<std::uint8_t> frame = headersAlone(16384, 16384, 2, log2_slice_size_in_mb);
        const Mapping memory(needsOf(frame, usualOptions()).bytes);
        ASSERT_TRUE(memory.exists());
        std::array<ravelo_damage, 100> slices{};
        ravelo_damage_report report{sizeof report, slices.data(), slices.size(), 0, 0, sizeof(ravelo_damage)};
        const std::int32_t stop = 0;
        ravelo_decode_options options = usualOptions();
        options.damage = &report;
        options.stop = &stop;
        ASSERT_TRUE(resetPeak());
        const std::uint64_t before = statusKilobytes("VmHWM:");
        decodeInto(memory, frame, options);
        const std::uint64_t taken = statusKilobytes("VmHWM:") - before;
        std::cout << taken << " KB\n";
        ASSERT_GT(before, 0u);
        EXPECT_LT(taken, 1024u);
    }
}

TEST(HostileCostTest, AStopFlagForTheLargestPictureOfAllTakesLessThanTwentyMilliseconds) {
    for (const std::uint32_t log2_slice_size_in_mb : {0u, 3u}) {
        const std::vector<std::uint8_t> frame = headersAlone(65535, 65535, 2, log2_slice_size_in_mb);
        const std::int32_t stop = 0;
        ravelo_decode_options options = usualOptions();
        options.max_pixels = RAVELO_NO_PIXEL_LIMIT;
        options.stop = &stop;
        const Mapping memory(needsOf(frame, options).bytes);
        ASSERT_TRUE(memory.exists());
        const double seconds = secondsOf(memory, frame, options);
        std::cout << seconds * 1e6 << " us\n";
        if (!kHasSanitizer) {
            EXPECT_LT(seconds, 0.020);
        }
    }
}

// A dense slice of 28 KB that 131072 slices of 4:4:4:4 share decodes to a picture in more than ten seconds.
TEST(HostileCostTest, AFrameWhoseSlicesShareTheirBytesIsRefusedAtOnce) {
    FrameSpec spec;
    spec.horizontal_size = 128;
    spec.chroma_format = 3;
    spec.alpha_channel_type = 2;
    spec.modularAlphaDifferences = true;
    Random random(5);
    const MadeFrame dense = makeFrame(spec, randomSlices(spec, Texture::Dense, random));
    std::vector<std::uint8_t> frame = headersAlone(16384, 16384, 3, 3);
    frame[25] = 2; // alpha of sixteen bits
    frame.resize(36 + 2 * 131072);
    frame.insert(frame.end(), dense.bytes.begin() + static_cast<std::ptrdiff_t>(dense.sliceOffsets[0]),
                 dense.bytes.end());
    double least = std::numeric_limits<double>::max();
    for (int round = 0; round < 5; ++round) {
        std::uint8_t pixel = 0;
        ravelo_output output{};
        output.struct_size = sizeof output;
        output.memory = &pixel;
        output.memory_bytes = 1;
        ravelo_error error{};
        const double start = secondsNow();
        EXPECT_EQ(ravelo_decode(frame.data(), frame.size(), &output, nullptr, &error), RAVELO_ERROR_LIMIT);
        least = std::min(least, secondsNow() - start);
        EXPECT_NE(std::string(error.text).find("max_read_factor"), std::string::npos) << error.text;
    }
    std::cout << frame.size() << " bytes: " << least * 1e6 << " us\n";
    if (!kHasSanitizer) {
        EXPECT_LT(least, 0.005);
    }
}

// Frames that hold as little as makes the decode begin their slices: a whole table of slices without bytes of their
// own, and a few bytes that they share, which keep within the limit. No other frame makes so many slices of so few
// bytes.
TEST(HostileCostTest, TimeGrowsWithTheBytes) {
    for (const std::uint32_t log2_slice_size_in_mb : {0u, 3u}) {
        std::vector<std::uint8_t> frame = headersAlone(4096, 4096, 2, log2_slice_size_in_mb);
        frame.resize(36 + 2 * 256 * (256u >> log2_slice_size_in_mb) + 3);
        const Mapping memory(needsOf(frame, usualOptions()).bytes);
        ASSERT_TRUE(memory.exists());
        ravelo_decode_options options = usualOptions();
        options.max_threads = 1;
        const double seconds = secondsOf(memory, frame, options);
        std::cout << frame.size() << " bytes: " << seconds * 1e3 << " ms\n";
        if (!kHasSanitizer) {
            EXPECT_LT(seconds, 5e-6 * static_cast<double>(frame.size()));
        }
    }
}

// Against memset, in turns and one thread each, over memory that was touched before.
TEST(HostileCostTest, FillingWhatIsMissingCostsAtMostHalfMoreThanAMemset) {
    if (kHasSanitizer)
        GTEST_SKIP() << "a sanitizer checks the stores of one and not those of the other";
    const std::uint32_t side = longFormWanted() ? 16384 : 4096;
    const std::vector<std::uint8_t> frame = headersAlone(side, side, 3, 3);
    ravelo_decode_options options = usualOptions();
    options.bit_depth = 16;
    options.failed_slices = RAVELO_FAILED_BLACK;
    options.max_threads = 1;
    const Mapping memory(needsOf(frame, options).bytes);
    ASSERT_TRUE(memory.exists());
    std::memset(memory.bytes(), 1, memory.size());
    std::vector<double> ratios;
    double secondsOfFill = 0, secondsOfSet = 0;
    for (int round = 0; round < 7; ++round) {
        const double start = secondsNow();
        decodeInto(memory, frame, options);
        const double middle = secondsNow();
        std::memset(memory.bytes(), round, memory.size());
        // What is never looked at might not be written.
        __asm__ volatile("" : : "r"(memory.bytes()) : "memory");
        secondsOfFill = middle - start;
        secondsOfSet = secondsNow() - middle;
        ratios.push_back(secondsOfFill / secondsOfSet);
    }
    std::sort(ratios.begin(), ratios.end());
    std::cout << memory.size() << " bytes: filled in " << secondsOfFill * 1000 << " ms, memset " << secondsOfSet * 1000
              << " ms, median of the ratios " << ratios[ratios.size() / 2] << '\n';
    EXPECT_LT(ratios[ratios.size() / 2], 1.5);
}
