#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HostFrames.h"
#include "RaveloDecoderInterface.h"
#include "VectorManifest.h"

// The options reach the decoder: what the C interface writes is what the C++ call writes for the same request.

namespace {

std::vector<std::uint8_t> decodedByCxx(std::vector<std::uint8_t> const& frame, DecodeRequest const& request,
                                       std::size_t numBytes) {
    std::vector<std::uint8_t> pixels(numBytes, kHostFill);
    RaveloDecoderInterface::DecompressFrameFromBits(frame.data(), frame.size(), request.downSampleFactor,
                                                    static_cast<ColorCoding>(request.colorCoding), request.bitDepth,
                                                    pixels.data(), request.lineStride, request.target);
    return pixels;
}

ravelo_decode_options optionsOf(DecodeRequest const& request) {
    ravelo_decode_options options = usualOptions();
    options.reduction = request.downSampleFactor;
    options.coding = request.colorCoding;
    options.bit_depth = request.bitDepth;
    options.target = request.target == OptimizationTarget::AVX2 ? RAVELO_TARGET_AVX2 : RAVELO_TARGET_BASELINE;
    return options;
}

ravelo_frame_info infoOf(std::vector<std::uint8_t> const& frame) {
    ravelo_frame_info info{};
    info.struct_size = sizeof info;
    EXPECT_EQ(ravelo_get_frame_info(frame.data(), frame.size(), &info, nullptr), RAVELO_OK);
    return info;
}

} // namespace

TEST(OptionsTest, EveryVectorIsDecodedAsByTheCxxCall) {
    std::size_t numCompared = 0;
    for (VectorRequest const& vector : readVectorManifest()) {
        // The C++ call alone takes a reduction with more than 8 bits.
        if (vector.request.downSampleFactor != 0 && vector.request.bitDepth > 8)
            continue;
        const std::vector<std::uint8_t> frame = readTestData("vectors/" + vector.frame);
        const HostDecode decode = hostDecode(frame, optionsOf(vector.request));
        ASSERT_EQ(decode.status, RAVELO_OK) << vector.describe() << ": " << decode.text;
        DecodeRequest request = vector.request;
        request.lineStride = static_cast<std::int64_t>(decode.needs.safe_stride);
        ASSERT_EQ(decode.pixels, decodedByCxx(frame, request, decode.needs.bytes)) << vector.describe();
        ++numCompared;
    }
    EXPECT_GT(numCompared, 1000u);
}

TEST(OptionsTest, ZerosAreTheUsualChoices) {
    const MadeFrame frame = smallFrame(smallSpec(3, 0, 1), 3);
    ravelo_decode_options spelled = usualOptions();
    spelled.bit_depth = 8;
    spelled.target = ravelo_best_target();
    spelled.max_pixels = RAVELO_DEFAULT_MAX_PIXELS;
    spelled.max_read_factor = RAVELO_DEFAULT_MAX_READ_FACTOR;
    EXPECT_EQ(hostDecode(frame.bytes, usualOptions()).pixels, hostDecode(frame.bytes, spelled).pixels);
}

TEST(OptionsTest, LinesMayRunDownwardsAndLieFarApart) {
    const MadeFrame frame = smallFrame(smallSpec(2, 1, 0), 4);
    const HostDecode usual = hostDecode(frame.bytes, usualOptions());
    ASSERT_EQ(usual.status, RAVELO_OK);
    const std::size_t lineBytes = usual.needs.least_stride;
    for (const std::int64_t stride : {std::int64_t{1001}, std::int64_t{-1001}}) {
        std::vector<std::uint8_t> memory(1001 * usual.needs.lines, kHostFill);
        ravelo_output output{};
        output.struct_size = sizeof output;
        output.memory = memory.data();
        output.memory_bytes = memory.size();
        output.first_line = stride < 0 ? 1001u * (usual.needs.lines - 1) : 0;
        output.stride = stride;
        ASSERT_EQ(ravelo_decode(frame.bytes.data(), frame.bytes.size(), &output, nullptr, nullptr), RAVELO_OK);
        for (std::uint32_t y = 0; y < usual.needs.height; ++y) {
            const std::uint8_t* line = memory.data() + output.first_line + std::int64_t{y} * stride;
            ASSERT_EQ(std::memcmp(line, &usual.pixels[y * usual.needs.safe_stride], lineBytes), 0) << y;
            ASSERT_TRUE(std::all_of(line + lineBytes, line + 1001, [](std::uint8_t b) { return b == kHostFill; }));
        }
    }
}

TEST(OptionsTest, FrameInformationIsThatOfTheHeader) {
    FrameSpec spec = smallSpec(3, 2, 2);
    spec.matrix_coefficients = 9;
    spec.extraHeaderBytes = 5;
    spec.chromaMatrix.emplace().fill(7);
    const ravelo_frame_info info = infoOf(smallFrame(spec, 5).bytes);
    EXPECT_EQ(info.width, 75u);
    EXPECT_EQ(info.height, 52u);
    EXPECT_EQ(info.samples_per_pixel, 4u);
    EXPECT_EQ(info.chroma_format, 3u);
    EXPECT_EQ(info.interlace_mode, 2u);
    EXPECT_EQ(info.pictures, 2u);
    EXPECT_EQ(info.alpha_channel_type, 2u);
    EXPECT_EQ(info.matrix_coefficients, 9u);
    EXPECT_EQ(info.header_bytes, 8u + 20 + 64 + 5);
    EXPECT_EQ(info.has_luma_matrix, 0u);
    EXPECT_EQ(info.has_chroma_matrix, 1u);
    EXPECT_EQ(infoOf(smallFrame(smallSpec(2, 3, 0), 5).bytes).pictures, 1u);
    EXPECT_EQ(infoOf(smallFrame(smallSpec(1, 0, 0), 5).bytes).samples_per_pixel, 2u);
}

TEST(OptionsTest, FrameInformationHasTheGridOfSlices) {
    // A row of five macroblocks in slices of at most 1, 2, 4 and 8.
    constexpr std::uint32_t kColumns[] = {5, 3, 2, 2};
    for (const std::uint32_t interlace : {0u, 1u, 2u, 3u}) {
        for (const std::uint32_t log2Size : {0u, 1u, 2u, 3u}) {
            FrameSpec spec = smallSpec(2, interlace, 0);
            spec.log2_slice_size_in_mb = log2Size;
            const MadeFrame frame = smallFrame(spec, 5);
            const ravelo_frame_info info = infoOf(frame.bytes);
            std::size_t numSlices = 0;
            for (std::uint32_t i = 0; i < 2; ++i) {
                const bool isThere = i < spec.numPictures();
                EXPECT_EQ(info.slice_rows[i], isThere ? (spec.pictureHeight(i) + 15) / 16 : 0);
                EXPECT_EQ(info.slice_columns[i], isThere ? kColumns[log2Size] : 0);
                numSlices += std::size_t{info.slice_rows[i]} * info.slice_columns[i];
            }
            EXPECT_EQ(numSlices, frame.slices.size());
        }
    }
}

// The pictures have different divisions, and the first bytes are those of another kind of file.
TEST(OptionsTest, TheGridOfSlicesIsThatOfADecode) {
    MadeFrame frame = smallFrame(smallSpec(2, 1, 0), 6);
    const std::size_t second = frame.pictureOffsets[1];
    frame.bytes[second + 7] = 0; // slices of one macroblock
    std::copy_n("\x89PNG\r\n\x1a\n", 8, frame.bytes.begin());
    frame.bytes.resize(second + 8);
    std::vector<ravelo_damage> slices(100);
    ravelo_damage_report report = RAVELO_DAMAGE_REPORT_INIT;
    report.slices = slices.data();
    report.capacity = slices.size();
    ravelo_decode_options options = usualOptions();
    options.max_read_factor = RAVELO_NO_READ_LIMIT;
    options.damage = &report;
    ASSERT_EQ(hostDecode(frame.bytes, options).status, RAVELO_OK);
    const ravelo_frame_info info = infoOf(frame.bytes);
    EXPECT_EQ(info.slice_columns[0], 3u);
    EXPECT_EQ(info.slice_columns[1], 5u);
    ASSERT_EQ(report.failed, std::uint64_t{info.slice_rows[1]} * info.slice_columns[1]);
    EXPECT_EQ(slices[report.stored - 1].row, info.slice_rows[1] - 1);
    EXPECT_EQ(slices[report.stored - 1].column, info.slice_columns[1] - 1);
    // A header that is missing reads as zeros.
    frame.bytes.resize(second);
    EXPECT_EQ(infoOf(frame.bytes).slice_columns[1], 5u);
    frame.bytes.resize(info.header_bytes);
    EXPECT_EQ(infoOf(frame.bytes).slice_columns[0], 5u);
    EXPECT_EQ(infoOf(frame.bytes).slice_rows[0], info.slice_rows[0]);
}

TEST(OptionsTest, BufferRequirementsAreThoseOfTheReducedPicture) {
    const MadeFrame frame = smallFrame(smallSpec(2, 0, 0), 6);
    ravelo_decode_options options = usualOptions();
    options.reduction = RAVELO_HALF_SIZE;
    ravelo_buffer_requirements needs = hostDecode(frame.bytes, options).needs;
    EXPECT_EQ(needs.width, 37u);
    EXPECT_EQ(needs.height, 26u);
    EXPECT_EQ(needs.lines, 26u);
    EXPECT_EQ(needs.bytes_per_sample, 1u);
    EXPECT_EQ(needs.least_stride, 74u);
    EXPECT_EQ(needs.safe_stride, 80u);
    EXPECT_EQ(needs.bytes, 80u * 26);
    options.reduction = RAVELO_FULL_SIZE;
    options.bit_depth = 10;
    needs = hostDecode(frame.bytes, options).needs;
    EXPECT_EQ(needs.bytes_per_sample, 2u);
    EXPECT_EQ(needs.least_stride, 75u * 4);
    EXPECT_EQ(needs.safe_stride, 75u * 4);
}

TEST(OptionsTest, StructuresOfNewerHostsWorkWhileTheirNewMembersAreZero) {
    struct NewerOptions {
        ravelo_decode_options known = usualOptions();
        std::uint64_t newMember = 0;
    } options;
    struct NewerInfo {
        ravelo_frame_info known{};
        std::uint64_t newMember = 55;
    } info;
    options.known.struct_size = sizeof options;
    info.known.struct_size = sizeof info;
    const std::vector<std::uint8_t> frame = smallFrame(smallSpec(2, 0, 0), 7).bytes;
    EXPECT_EQ(hostDecode(frame, options.known).status, RAVELO_OK);
    EXPECT_EQ(ravelo_get_frame_info(frame.data(), frame.size(), &info.known, nullptr), RAVELO_OK);
    EXPECT_EQ(info.known.width, 75u);
    EXPECT_EQ(info.known.struct_size, sizeof info);
    EXPECT_EQ(info.newMember, 0u) << "what the library does not know reads as zero";
    options.newMember = 1;
    const HostDecode refused = hostDecode(frame, options.known);
    EXPECT_EQ(refused.status, RAVELO_ERROR_STRUCTURE);
    EXPECT_THAT(refused.text, testing::HasSubstr("decode options"));
}

TEST(OptionsTest, VersionAndProcessorAreReported) {
    EXPECT_EQ(ravelo_version(), RAVELO_VERSION);
    EXPECT_STREQ(ravelo_version_text(), RAVELO_VERSION_TEXT);
    EXPECT_EQ(ravelo_best_target(),
              RaveloDecoderInterface::GetMaxOptType() == 1 ? RAVELO_TARGET_AVX2 : RAVELO_TARGET_BASELINE);
}
