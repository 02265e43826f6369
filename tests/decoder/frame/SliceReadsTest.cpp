#include "SliceReads.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "DecoderTargets.h"
#include "FrameMaker.h"
#include "GuardedBytes.h"
#include "Random.h"

namespace {

constexpr std::uint64_t kAll = std::numeric_limits<std::uint64_t>::max();

std::uint64_t readsOf(std::vector<std::uint8_t> const& frame, std::uint64_t enough = kAll) {
    const GuardedBytes held(frame);
    return bytesReadBySlices(held.bits(), enough);
}

// The bytes between slice tables and ends of pictures, all of which a sound frame reads once.
std::uint64_t bytesOfSlices(FrameSpec const& spec, MadeFrame const& made) {
    const std::size_t slicesOfPicture = made.slices.size() / made.sliceTableOffsets.size();
    std::uint64_t bytes = 0;
    for (std::size_t picture = 0; picture < made.sliceTableOffsets.size(); ++picture) {
        const std::size_t end =
            picture + 1 < made.pictureOffsets.size() ? made.pictureOffsets[picture + 1] : made.bytes.size();
        bytes += end - made.sliceTableOffsets[picture] - 2 * slicesOfPicture;
    }
    return bytes - (spec.numPictures() == 2 ? spec.extraPictureBytes : 0);
}

FrameSpec smallSpec(std::uint32_t chroma_format, std::uint32_t interlace_mode, std::uint32_t alpha_channel_type) {
    FrameSpec spec;
    spec.horizontal_size = 160;
    spec.vertical_size = 64;
    spec.chroma_format = chroma_format;
    spec.interlace_mode = interlace_mode;
    spec.alpha_channel_type = alpha_channel_type;
    return spec;
}

MadeFrame smallPhoto(FrameSpec const& spec) {
    Random random(31);
    return makeFrame(spec, randomSlices(spec, Texture::Photo, random));
}

std::uint32_t word16At(std::vector<std::uint8_t> const& bytes, std::size_t offset) {
    return 256u * bytes[offset] + bytes[offset + 1];
}

// All slices of the frame's first picture begin where the first one does.
std::vector<std::uint8_t> withSharedSlice(MadeFrame const& made) {
    std::vector<std::uint8_t> bytes = made.bytes;
    for (std::size_t slice = 0; slice < made.slices.size(); ++slice)
        put16At(bytes, made.sliceTableOffsets[0] + 2 * slice, 0);
    return bytes;
}

} // namespace

TEST(SliceReadsTest, ASoundFrameReadsTheBytesOfItsSlicesOnce) {
    for (const std::uint32_t chroma_format : {2u, 3u}) {
        for (std::uint32_t interlace_mode = 0; interlace_mode < 4; ++interlace_mode) {
            for (std::uint32_t alpha_channel_type = 0; alpha_channel_type < (chroma_format == 3 ? 3u : 1u);
                 ++alpha_channel_type) {
                FrameSpec spec = smallSpec(chroma_format, interlace_mode, alpha_channel_type);
                spec.extraSliceHeaderBytes = 3;
                spec.extraPictureBytes = 50;
                const MadeFrame made = smallPhoto(spec);
                EXPECT_EQ(readsOf(made.bytes), bytesOfSlices(spec, made)) << spec.describe();
            }
        }
    }
}

TEST(SliceReadsTest, FramesOfEveryKindReadNoMoreThanTheyHold) {
    Random random = seeded(77);
    for (int round = 0; round < 300; ++round) {
        const FrameSpec spec = randomSpec(random);
        const MadeFrame made = randomFrame(spec, random);
        ASSERT_LE(bytesReadBySlices({made.bytes.data(), made.bytes.size()}, kAll), made.bytes.size())
            << spec.describe();
    }
}

TEST(SliceReadsTest, SlicesThatShareTheirBytesCountThemEachTime) {
    const FrameSpec spec = smallSpec(3, 0, 2);
    const MadeFrame made = smallPhoto(spec);
    const std::size_t first = made.sliceOffsets[0];
    const std::uint64_t ofComponents = (made.bytes[first] >> 3) + word16At(made.bytes, first + 2) +
                                       word16At(made.bytes, first + 4) + word16At(made.bytes, first + 6);
    // No bytes are left to the alpha plane of any slice, so it counts with what its samples can take: 33 bits each. The
    // plane of a large slice can take all bytes that follow.
    const std::uint64_t ofAlpha = made.bytes.size() - first - ofComponents;
    std::uint64_t expected = 0;
    for (int row = 0; row < 4; ++row) {
        for (const std::uint64_t mbs : {8u, 2u})
            expected += ofComponents + std::min(ofAlpha, mbs * 256 * 33 / 8);
    }
    const std::vector<std::uint8_t> shared = withSharedSlice(made);
    EXPECT_EQ(readsOf(shared), expected);
    EXPECT_GT(expected, 2 * shared.size());
}

TEST(SliceReadsTest, ARangeCountsAsFarAsTheDataAndTheBlocksReach) {
    FrameSpec spec = smallSpec(2, 0, 0);
    spec.horizontal_size = 16;
    spec.vertical_size = 16;
    MadeFrame made = smallPhoto(spec);
    const std::size_t slice = made.sliceOffsets[0];
    // Y of four blocks, Cb and Cr of two each, 576 bytes a block and a tail of 8. Cr wraps to a very large size.
    put16At(made.bytes, slice + 2, 0x7000);
    put16At(made.bytes, slice + 4, 0x4000);
    const std::uint64_t header = made.bytes[slice] >> 3;
    std::vector<std::uint8_t> large = made.bytes;
    large.resize(60000);
    EXPECT_EQ(readsOf(large), header + (4 * 576 + 8) + 2 * (2 * 576 + 8));
    std::vector<std::uint8_t> small = made.bytes;
    small.resize(slice + header + 100);
    EXPECT_EQ(readsOf(small), header + 100);
}

TEST(SliceReadsTest, TheSecondPictureCountsFromItsOwnStart) {
    FrameSpec spec = smallSpec(2, 1, 0);
    MadeFrame made = smallPhoto(spec);
    const std::uint64_t both = readsOf(made.bytes);
    // The first picture's size leads to the end of the data, so that the second has none.
    for (std::size_t i = 1; i <= 4; ++i)
        made.bytes[made.pictureOffsets[0] + i] = 0xFF;
    const std::uint64_t first = readsOf(made.bytes);
    EXPECT_LT(first, both);
    EXPECT_EQ(first, made.pictureOffsets[1] - made.sliceOffsets[0]);
}

TEST(SliceReadsTest, APictureAfterASingleFieldDoesNotCount) {
    MadeFrame made = smallPhoto(smallSpec(2, 1, 0));
    made.bytes[8 + 12] = static_cast<std::uint8_t>((made.bytes[8 + 12] & ~0x0Cu) | 3u << 2);
    EXPECT_EQ(readsOf(made.bytes), made.pictureOffsets[1] - made.sliceOffsets[0]);
}

TEST(SliceReadsTest, HeadersAloneReadNothing) {
    const MadeFrame made = smallPhoto(smallSpec(2, 0, 0));
    for (std::size_t size = 0; size <= made.sliceOffsets[0]; ++size)
        ASSERT_EQ(readsOf({made.bytes.begin(), made.bytes.begin() + static_cast<std::ptrdiff_t>(size)}), 0u) << size;
}

TEST(SliceReadsTest, CountingEndsWithTheSliceThatExceedsWhatIsEnough) {
    const MadeFrame made = smallPhoto(smallSpec(2, 0, 0));
    const std::uint64_t all = readsOf(made.bytes);
    EXPECT_EQ(readsOf(made.bytes, all), all);
    const std::uint64_t some = readsOf(made.bytes, 10);
    EXPECT_GT(some, 10u);
    EXPECT_EQ(some, made.sliceOffsets[1] - made.sliceOffsets[0]);
}
