#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include <sys/mman.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GuardedBytes.h"
#include "HostFrames.h"

// ravelo_check_frame tells whole frames from those that are cut off, broken or followed by something, and from other
// files.

namespace {

using Bytes = std::vector<std::uint8_t>;

ravelo_frame_check checkAt(const std::uint8_t* data, std::size_t size) {
    ravelo_frame_check check{};
    check.struct_size = sizeof check;
    ravelo_error error{};
    EXPECT_EQ(ravelo_check_frame(data, size, &check, &error), RAVELO_OK) << error.text;
    EXPECT_EQ(check.present_bytes, size);
    EXPECT_STREQ(error.text, "");
    return check;
}

// The bytes end where unmapped memory begins.
ravelo_frame_check checkOf(Bytes const& bytes) {
    const GuardedBytes guarded(bytes);
    return checkAt(guarded.data(), bytes.size());
}

ravelo_frame_check checkOf(std::string_view text) {
    return checkOf(Bytes(text.begin(), text.end()));
}

Bytes firstBytes(Bytes const& bytes, std::size_t size) {
    return Bytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size));
}

Bytes with32(Bytes bytes, std::size_t offset, std::uint32_t value) {
    put16At(bytes, offset, value >> 16);
    put16At(bytes, offset + 2, value & 0xFFFF);
    return bytes;
}

Bytes with16(Bytes bytes, std::size_t offset, std::uint32_t value) {
    put16At(bytes, offset, value);
    return bytes;
}

constexpr std::size_t kHeaderSizeAt = 8;
constexpr std::size_t kWidthAt = 16;
constexpr std::size_t kHeightAt = 18;

// All kinds of frames: chroma formats, fields, alpha.
std::vector<FrameSpec> allSpecs() {
    std::vector<FrameSpec> specs;
    for (const std::uint32_t chroma_format : {2u, 3u})
        for (const std::uint32_t interlace_mode : {0u, 1u, 2u, 3u})
            for (const std::uint32_t alpha_channel_type : {0u, 1u})
                specs.push_back(smallSpec(chroma_format, interlace_mode, alpha_channel_type));
    return specs;
}

// Slices of which the first `size` bytes lack a part, or their entry in the table.
std::uint64_t slicesBeyond(MadeFrame const& frame, std::size_t size) {
    std::uint64_t missing = 0;
    std::size_t i = 0;
    const std::size_t perPicture = frame.slices.size() / frame.sliceTableOffsets.size();
    for (std::size_t picture = 0; picture < frame.sliceTableOffsets.size(); ++picture) {
        const std::size_t pictureEnd =
            picture + 1 < frame.pictureOffsets.size() ? frame.pictureOffsets[picture + 1] : frame.bytes.size();
        for (std::size_t entry = 0; entry < perPicture; ++entry, ++i) {
            const std::size_t end = entry + 1 < perPicture ? frame.sliceOffsets[i + 1] : pictureEnd;
            const std::size_t entryEnd = frame.sliceTableOffsets[picture] + 2 * (entry + 1);
            missing += end > size || entryEnd > size ? 1 : 0;
        }
    }
    return missing;
}

} // namespace

TEST(FrameCheckTest, FramesOfEveryKindAreWhole) {
    for (FrameSpec const& spec : allSpecs()) {
        const MadeFrame frame = smallFrame(spec, 1);
        const ravelo_frame_check check = checkOf(frame.bytes);
        EXPECT_EQ(check.verdict, static_cast<std::uint32_t>(RAVELO_FRAME_WHOLE)) << spec.describe() << check.text;
        EXPECT_EQ(check.declared_bytes, frame.bytes.size()) << spec.describe();
        EXPECT_EQ(check.pictures, spec.numPictures());
        EXPECT_EQ(check.slices, frame.slices.size());
        EXPECT_EQ(check.slices_out_of_data, 0u);
        EXPECT_STREQ(check.text, "whole");
    }
}

TEST(FrameCheckTest, EveryTruncationIsCutOff) {
    for (FrameSpec const& spec : allSpecs()) {
        const MadeFrame frame = smallFrame(spec, 2);
        for (std::size_t size = 0; size < frame.bytes.size(); ++size) {
            const ravelo_frame_check check = checkOf(firstBytes(frame.bytes, size));
            ASSERT_EQ(check.verdict, static_cast<std::uint32_t>(RAVELO_FRAME_CUT_OFF)) << size << spec.describe();
            ASSERT_GT(check.declared_bytes, size);
            ASSERT_LE(check.declared_bytes, frame.bytes.size());
            ASSERT_EQ(check.text,
                      "cut off at byte " + std::to_string(size) + " of " + std::to_string(check.declared_bytes));
            // With all tables there, everything is known.
            if (size < frame.sliceTableOffsets.back() + frame.slices.size() / spec.numPictures() * 2)
                continue;
            ASSERT_EQ(check.declared_bytes, frame.bytes.size());
            ASSERT_EQ(check.slices, frame.slices.size());
            ASSERT_EQ(check.slices_out_of_data, slicesBeyond(frame, size)) << size << spec.describe();
        }
    }
}

TEST(FrameCheckTest, LessThanAHeaderDeclaresAHeader) {
    const Bytes frame = smallFrame(smallSpec(2, 0, 0), 1).bytes;
    for (std::size_t size = 0; size < 28; ++size) {
        const ravelo_frame_check check = checkOf(firstBytes(frame, size));
        EXPECT_EQ(check.declared_bytes, 28u);
        EXPECT_EQ(check.pictures, 0u);
        EXPECT_EQ(check.slices, 0u);
    }
}

TEST(FrameCheckTest, ZerosMayFollowAFrameAndOtherBytesAreReported) {
    const Bytes frame = smallFrame(smallSpec(3, 1, 1), 3).bytes;
    for (const std::size_t numZeros : {1u, 2u, 255u, 256u, 257u, 1000u}) {
        Bytes longer = frame;
        longer.resize(frame.size() + numZeros);
        EXPECT_EQ(checkOf(longer).verdict, static_cast<std::uint32_t>(RAVELO_FRAME_WHOLE));
        for (const std::size_t place : {std::size_t{0}, numZeros / 2, numZeros - 1}) {
            Bytes followed = longer;
            followed[frame.size() + place] = 1;
            const ravelo_frame_check check = checkOf(followed);
            EXPECT_EQ(check.verdict, static_cast<std::uint32_t>(RAVELO_FRAME_FOLLOWED)) << numZeros << " " << place;
            EXPECT_EQ(check.declared_bytes, frame.size());
            EXPECT_EQ(check.text, "followed by " + std::to_string(numZeros) + (numZeros == 1 ? " byte" : " bytes") +
                                      ": another frame?");
        }
    }
}

TEST(FrameCheckTest, TheOuterWordsMeanNothing) {
    const Bytes frame = smallFrame(smallSpec(2, 2, 0), 4).bytes;
    for (const std::uint32_t word : {0u, 1u, 28u, static_cast<std::uint32_t>(frame.size()), 0x7FFFFFFFu, 0xFFFFFFFFu}) {
        for (const std::size_t offset : {0u, 4u}) {
            const ravelo_frame_check check = checkOf(with32(frame, offset, word));
            EXPECT_EQ(check.verdict, static_cast<std::uint32_t>(RAVELO_FRAME_WHOLE)) << word;
            EXPECT_EQ(check.declared_bytes, frame.size()) << word;
        }
    }
}

TEST(FrameCheckTest, SizesThatContradictEachOtherAreBroken) {
    const auto isBroken = [](Bytes const& bytes) {
        const ravelo_frame_check check = checkOf(bytes);
        EXPECT_STREQ(check.text, "broken: sizes in its headers contradict each other");
        return check.verdict == RAVELO_FRAME_BROKEN;
    };
    const MadeFrame frame = smallFrame(smallSpec(2, 1, 0), 5);
    EXPECT_TRUE(isBroken(with16(frame.bytes, kWidthAt, 0)));
    EXPECT_TRUE(isBroken(with16(frame.bytes, kHeightAt, 0)));
    // Both pictures begin at the same byte.
    EXPECT_TRUE(isBroken(with32(frame.bytes, frame.pictureOffsets[0] + 1, 0)));
    const std::size_t second = frame.pictureOffsets[1];
    // The size of the last picture may be missing, but not be too small.
    EXPECT_TRUE(isBroken(with32(frame.bytes, second + 1, 9)));
    EXPECT_EQ(checkOf(with32(frame.bytes, second + 1, 0)).verdict, static_cast<std::uint32_t>(RAVELO_FRAME_WHOLE));
}

TEST(FrameCheckTest, AHeaderHoldsItsMatrices) {
    // Without its matrix the header ends where the matrix reads as the header of a picture and its table.
    FrameSpec spec = smallSpec(2, 0, 0);
    spec.lumaMatrix.emplace().fill(8 << 3);
    MadeFrame frame = smallFrame(spec, 5);
    frame.bytes.resize(frame.bytes.size() + 1000000);
    ASSERT_EQ(checkOf(frame.bytes).verdict, static_cast<std::uint32_t>(RAVELO_FRAME_WHOLE));
    EXPECT_EQ(checkOf(with16(frame.bytes, kHeaderSizeAt, 20)).verdict, static_cast<std::uint32_t>(RAVELO_FRAME_BROKEN));
}

TEST(FrameCheckTest, APictureHeaderHoldsItsFields) {
    // One slice, so the table moves by a byte and its entry changes.
    FrameSpec spec = smallSpec(2, 0, 0);
    spec.horizontal_size = spec.vertical_size = 16;
    MadeFrame frame = smallFrame(spec, 6);
    frame.bytes[frame.pictureOffsets[0]] = 7 << 3;
    frame.bytes.resize(frame.bytes.size() + 70000);
    EXPECT_EQ(checkOf(frame.bytes).verdict, static_cast<std::uint32_t>(RAVELO_FRAME_BROKEN));
}

TEST(FrameCheckTest, SizesNeverWrap) {
    const MadeFrame frame = smallFrame(smallSpec(2, 1, 0), 7);
    const Bytes far = with32(frame.bytes, frame.pictureOffsets[0] + 1, 0xFFFFFFFF);
    const ravelo_frame_check check = checkOf(far);
    EXPECT_EQ(check.verdict, static_cast<std::uint32_t>(RAVELO_FRAME_CUT_OFF));
    EXPECT_GT(check.declared_bytes, std::uint64_t{1} << 32);
    EXPECT_EQ(check.pictures, 2u);
}

TEST(FrameCheckTest, ATableBeyondTheDataTakesNoTime) {
    // 16384 x 16384 macroblocks of which not one entry is there.
    Bytes bytes(36, 0);
    bytes = with16(bytes, kHeaderSizeAt, 20);
    bytes = with16(with16(bytes, kWidthAt, 0xFFFF), kHeightAt, 0xFFFF);
    bytes[28] = 8 << 3;
    const ravelo_frame_check check = checkOf(bytes);
    EXPECT_EQ(check.verdict, static_cast<std::uint32_t>(RAVELO_FRAME_CUT_OFF));
    EXPECT_EQ(check.slices, std::uint64_t{4096} * 4096);
    EXPECT_EQ(check.slices_out_of_data, check.slices);
    EXPECT_EQ(check.declared_bytes, 36 + 2 * check.slices);
}

TEST(FrameCheckTest, ASingleFieldIsOnePicture) {
    const MadeFrame frame = smallFrame(smallSpec(2, 3, 0), 8);
    const ravelo_frame_check check = checkOf(frame.bytes);
    EXPECT_EQ(check.pictures, 1u);
    EXPECT_EQ(check.verdict, static_cast<std::uint32_t>(RAVELO_FRAME_WHOLE));
}

TEST(FrameCheckTest, BytesOfSlicesAreNotRead) {
    // A frame of one row whose slices fill whole pages. Those pages cannot be read.
    FrameSpec spec = smallSpec(2, 0, 0);
    spec.horizontal_size = 16 * 8;
    spec.vertical_size = 16;
    spec.log2_slice_size_in_mb = 0;
    MadeFrame frame = smallFrame(spec, 9);
    constexpr std::size_t kSliceBytes = 60000;
    for (std::size_t i = 0; i < 8; ++i)
        put16At(frame.bytes, frame.sliceTableOffsets[0] + 2 * i, kSliceBytes);
    frame.bytes = with32(frame.bytes, frame.pictureOffsets[0] + 1, 0);
    const std::size_t size = frame.sliceOffsets[0] + 8 * kSliceBytes;

    const auto page = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    const std::size_t mapped = (size + page - 1) / page * page;
    void* const memory = ::mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(memory, MAP_FAILED);
    auto* const bytes = static_cast<std::uint8_t*>(memory);
    std::memcpy(bytes, frame.bytes.data(), frame.sliceOffsets[0]);
    ASSERT_LT(frame.sliceOffsets[0], page);
    ASSERT_EQ(::mprotect(bytes + page, size / page * page - page, PROT_NONE), 0);
    const ravelo_frame_check check = checkAt(bytes, size);
    EXPECT_EQ(check.verdict, static_cast<std::uint32_t>(RAVELO_FRAME_WHOLE)) << check.text;
    EXPECT_EQ(check.declared_bytes, size);
    ::munmap(memory, mapped);
}

TEST(FrameCheckTest, OtherFilesAreNamed) {
    using namespace std::string_view_literals;
    const std::pair<std::string_view, std::string> files[] = {
        {"P6\n768 9223\n255\n"sv, "a PPM picture"},
        {"P6 4 4 255 "sv, "a PPM picture"},
        {"P3\n# comment\n"sv, "a PPM picture"},
        {"P5\n16 16\n255\n"sv, "a PGM picture"},
        {"P4\n16 16\n"sv, "a PBM picture"},
        {"P7\nWIDTH 4\n"sv, "a PAM picture"},
        {"PF\n4 4\n-1.0\n"sv, "a PFM picture"},
        {"\x89PNG\r\n\x1A\n"sv, "a PNG picture"},
        {"\xFF\xD8\xFF\xE0\0\x10JFIF"sv, "a JPEG picture"},
        {"GIF89a\1\0\1\0"sv, "a GIF picture"},
        {"BM\x46\0\0\0\0\0\0\0\x36\0\0\0"sv, "a BMP picture"},
        {"II*\0\x08\0\0\0"sv, "a TIFF picture"},
        {"MM\0+\0\x08\0\0"sv, "a TIFF picture"},
        {"\0\0\0\x0CJXL \r\n\x87\n"sv, "a JPEG XL picture"},
        {"\x80\x2A\x5F\xD7\0\0\x08\0"sv, "a Cineon picture"},
        {"DDS \x7C\0\0\0"sv, "a DDS texture"},
        {"\0\0\x08\0mdat"sv, "a QuickTime file"},
        {"FORM\0\0\x08\0AIFF"sv, "an AIFF file"},
        {"RF64\xFF\xFF\xFF\xFFWAVE"sv, "a WAVE file"},
        {"ID3\x04\0\0\0\0"sv, "an MP3 file"},
        {"Rar!\x1A\x07\x01\0"sv, "a RAR archive"},
        {"#!/bin/sh\n"sv, "a script"},
        {"\x76\x2F\x31\x01\x02\0\0\0"sv, "an OpenEXR picture"},
        {"SDPX\0\0\x08\0"sv, "a DPX picture"},
        {"YUV4MPEG2 W4 H4"sv, "a Y4M video"},
        {"\x93NUMPY\1\0"sv, "a NumPy array"},
        {"\0\0\0\x20"
         "ftypisom"sv,
         "an MP4 or QuickTime file"},
        {"\x1A\x45\xDF\xA3\x01\0\0\0"sv, "a Matroska or WebM file"},
        {"RIFF\x24\0\0\0WAVEfmt "sv, "a WAVE file"},
        {"RIFF\x24\0\0\0WEBPVP8 "sv, "a WebP picture"},
        {"%PDF-1.7\n"sv, "a PDF document"},
        {"PK\x03\x04\x14\0\0\0"sv, "a ZIP archive"},
        {"\x1F\x8B\x08\0\0\0\0\0"sv, "a gzip archive"},
        {"BZh91AY&SY"sv, "a bzip2 archive"},
        {"\x7F"
         "ELF\2\1\1\0"sv,
         "a program or library"},
    };
    for (auto const& [bytes, kind] : files) {
        const ravelo_frame_check check = checkOf(bytes);
        EXPECT_EQ(check.verdict, static_cast<std::uint32_t>(RAVELO_FRAME_FOREIGN)) << kind;
        EXPECT_EQ(check.text, kind + ", not a frame");
        EXPECT_EQ(check.declared_bytes, 0u);
        // The same beginning with the rest of a frame is refused by no decode.
        Bytes frame = smallFrame(smallSpec(2, 0, 0), 10).bytes;
        std::copy_n(bytes.begin(), std::min<std::size_t>(bytes.size(), 8), frame.begin());
        EXPECT_EQ(hostDecode(frame, usualOptions()).status, RAVELO_OK) << kind;
    }
    for (const std::string_view almost :
         {"P6x4 4 255 "sv, "P8\n4 4\n"sv, "PG\n4 4\n"sv, "BMxxxxxxxxxxxx"sv, "RIFFxxxxABCD"sv, "\xFF\xD8\xFF\x01"sv,
          "II,\0"sv, "FORMxxxxABCD"sv, "ID3\x05"sv, "Gx"sv})
        EXPECT_EQ(checkOf(almost).verdict, static_cast<std::uint32_t>(RAVELO_FRAME_CUT_OFF)) << almost;
}

TEST(FrameCheckTest, SignaturesInTheMiddleOfAFileCount) {
    std::string archive(600, 'a');
    archive.replace(257, 6, std::string("ustar\0", 6));
    EXPECT_EQ(checkOf(archive).text, std::string("a tar archive, not a frame"));
    std::string stream(600, 'a');
    for (const std::size_t packet : {0, 188, 376, 564})
        stream[packet] = 'G';
    EXPECT_EQ(checkOf(stream).text, std::string("an MPEG transport stream, not a frame"));
    EXPECT_NE(checkOf(stream.substr(0, 564)).verdict, static_cast<std::uint32_t>(RAVELO_FRAME_FOREIGN));
}

TEST(FrameCheckTest, MissingArgumentsAreRefused) {
    ravelo_frame_check check{};
    ravelo_error error{};
    const Bytes frame = smallFrame(smallSpec(2, 0, 0), 1).bytes;
    EXPECT_EQ(ravelo_check_frame(frame.data(), frame.size(), &check, &error), RAVELO_ERROR_STRUCTURE);
    EXPECT_THAT(error.text, testing::HasSubstr("the frame check is 0"));
    check.struct_size = sizeof check;
    EXPECT_EQ(ravelo_check_frame(nullptr, 12, &check, &error), RAVELO_ERROR_ARGUMENT);
    EXPECT_THAT(error.text, testing::HasSubstr("12"));
    EXPECT_EQ(ravelo_check_frame(frame.data(), frame.size(), nullptr, nullptr), RAVELO_ERROR_ARGUMENT);
}

TEST(FrameCheckTest, AFrameWithoutPixelsIsRefused) {
    const Bytes frame = smallFrame(smallSpec(2, 0, 0), 1).bytes;
    for (const std::size_t place : {kWidthAt, kHeightAt}) {
        const Bytes empty = with16(frame, place, 0);
        ravelo_frame_info info{};
        info.struct_size = sizeof info;
        ravelo_error error{};
        EXPECT_EQ(ravelo_get_frame_info(empty.data(), empty.size(), &info, &error), RAVELO_ERROR_FRAME);
        EXPECT_THAT(error.text, testing::HasSubstr(place == kWidthAt ? "0 x 52" : "75 x 0"));
        std::uint8_t memory[16];
        ravelo_output output{};
        output.struct_size = sizeof output;
        output.memory = memory;
        output.memory_bytes = sizeof memory;
        EXPECT_EQ(ravelo_decode(empty.data(), empty.size(), &output, nullptr, &error), RAVELO_ERROR_FRAME);
    }
}
