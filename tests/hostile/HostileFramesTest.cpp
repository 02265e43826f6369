#include <algorithm>
#include <array>
#include <cstdint>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "BufferRequirements.h"
#include "Frame.h"
#include "GuardedMemory.h"
#include "HostileFrames.h"
#include "HostileRunner.h"
#include "LongForms.h"
#include "Random.h"
#include "RaveloDecoderInterface.h"

// No bytes make the decode call read outside its input or write outside its output: both are next to unmapped pages,
// and no sanitizer is needed, so that vector loads and stores are caught too.

namespace {

using Bytes = std::vector<std::uint8_t>;

// Cases of several frames under one number: `counts` holds how many each frame has.
struct Place {
    std::size_t frame;
    std::uint64_t inFrame;
};

class Numbering {
public:
    explicit Numbering(std::vector<std::uint64_t> const& counts) {
        for (const std::uint64_t count : counts)
            m_ends.push_back(total() + count);
    }
    std::uint64_t total() const { return m_ends.empty() ? 0 : m_ends.back(); }
    Place at(std::uint64_t number) const {
        const auto end = std::upper_bound(m_ends.begin(), m_ends.end(), number);
        const std::size_t frame = static_cast<std::size_t>(end - m_ends.begin());
        return {frame, number - (frame == 0 ? 0 : m_ends[frame - 1])};
    }

private:
    std::vector<std::uint64_t> m_ends;
};

template <class Count>
Numbering numberingOf(Count count) {
    std::vector<std::uint64_t> counts;
    for (HostileFrame const& frame : hostileFrames())
        counts.push_back(count(frame));
    return Numbering(counts);
}

std::string label(HostileFrame const& frame, std::string const& damage) {
    return frame.name + ": " + damage;
}

constexpr std::uint64_t kVariantStep = 1000003;

HostileRequest requestFor(std::uint64_t family, std::uint64_t number, Variant const& variant) {
    return requestOf(mixed(family, number, kVariantStep * static_cast<std::uint64_t>(variant.index)));
}

} // namespace

TEST(HostileFramesTest, EveryFrameIsAnotherAndDecodes) {
    EXPECT_GE(hostileFrames().size(), 24u);
    runFamily("whole frames", hostileFrames().size() * 96, 1,
              [](HostileRunner& runner, std::uint64_t number, Variant const& variant) {
                  HostileFrame const& frame = hostileFrames()[number / 96];
                  runner.run(frame.bytes(), requestFor(1, number, variant), variant.index, frame.name.c_str());
              });
}

TEST(HostileFramesTest, TruncationAtEveryByteStaysInside) {
    const Numbering numbering = numberingOf([](HostileFrame const& frame) { return frame.bytes().size(); });
    runFamily("truncation", numbering.total(), 16,
              [&](HostileRunner& runner, std::uint64_t number, Variant const& variant) {
                  const Place place = numbering.at(number);
                  HostileFrame const& frame = hostileFrames()[place.frame];
                  runner.run(std::span(frame.bytes()).first(place.inFrame), requestFor(2, number, variant),
                             variant.index, label(frame, "truncated").c_str());
              });
}

TEST(HostileFramesTest, EveryBitOfEveryHeaderFlippedStaysInside) {
    const Numbering numbering = numberingOf([](HostileFrame const& frame) { return 8 * headerBytes(frame).size(); });
    runFamily("header bits", numbering.total(), 16,
              [&](HostileRunner& runner, std::uint64_t number, Variant const& variant) {
                  const Place place = numbering.at(number);
                  HostileFrame const& frame = hostileFrames()[place.frame];
                  const std::size_t offset = headerBytes(frame)[place.inFrame / 8];
                  Bytes bytes = frame.bytes();
                  bytes[offset] = static_cast<std::uint8_t>(bytes[offset] ^ 1u << place.inFrame % 8);
                  runner.run(bytes, requestFor(3, number, variant), variant.index,
                             label(frame, "bit " + std::to_string(place.inFrame % 8) + " of byte " +
                                              std::to_string(offset) + " flipped")
                                 .c_str());
              });
}

namespace {

constexpr std::uint64_t kNumExtremes = 5;

std::uint64_t extremeOf(FrameField const& field, std::uint64_t which) {
    const std::array<std::uint64_t, kNumExtremes> values = {0, 1, field.limit() / 2 + 1, field.limit() - 1,
                                                            field.limit()};
    return values[which];
}

std::uint64_t extremePairsOf(HostileFrame const& frame) {
    const std::uint64_t numFields = sizeFields(frame).size();
    return numFields * (numFields - 1) / 2 * kNumExtremes * kNumExtremes;
}

// Sets the pair of fields with this number, and says which.
std::string setExtremePair(HostileFrame const& frame, std::uint64_t number, Bytes& bytes) {
    const std::vector<FrameField> fields = sizeFields(frame);
    const std::uint64_t values = number % (kNumExtremes * kNumExtremes);
    std::uint64_t pair = number / (kNumExtremes * kNumExtremes);
    std::size_t first = 0;
    while (pair >= fields.size() - 1 - first)
        pair -= fields.size() - 1 - first++;
    FrameField const& a = fields[first];
    FrameField const& b = fields[first + 1 + pair];
    setField(bytes, a, extremeOf(a, values / kNumExtremes));
    setField(bytes, b, extremeOf(b, values % kNumExtremes));
    return std::string(a.name) + " " + std::to_string(fieldOf(bytes, a)) + ", " + b.name + " " +
           std::to_string(fieldOf(bytes, b));
}

} // namespace

TEST(HostileFramesTest, ExtremePairsOfSizeFieldsStayInside) {
    const Numbering numbering = numberingOf(extremePairsOf);
    runFamily("extreme pairs", numbering.total(), 48,
              [&](HostileRunner& runner, std::uint64_t number, Variant const& variant) {
                  const Place place = numbering.at(number);
                  HostileFrame const& frame = hostileFrames()[place.frame];
                  Bytes bytes = frame.bytes();
                  const std::string damage = setExtremePair(frame, place.inFrame, bytes);
                  // Wide and high pictures take long and repeat themselves; a part of them is enough.
                  runner.setMaxMacroblocks(mixed(number, 0, 0) % 16 == 0 ? 40000 : 1500);
                  runner.run(bytes, requestFor(4, number, variant), variant.index, label(frame, damage).c_str());
              });
}

namespace {

// A component's size that lies: by one, by all of it, and up to and beyond the end of the data.
std::vector<std::uint64_t> liesAbout(HostileFrame const& frame, FrameField const& field) {
    const std::uint64_t truth = fieldOf(frame.bytes(), field);
    const std::uint64_t toTheEnd = frame.bytes().size() - std::min(frame.bytes().size(), field.offset);
    return {truth - 1,    truth + 1,    0,      1,     truth / 2, 2 * truth, toTheEnd - 1, toTheEnd + 0,
            toTheEnd + 1, toTheEnd + 8, 0x7FFF, 0xFFFF};
}
constexpr std::uint64_t kNumLies = 12;

std::vector<FrameField> liableFields(HostileFrame const& frame, std::size_t slice) {
    std::vector<FrameField> fields = componentSizeFields(frame, slice);
    fields.push_back(tableEntryField(frame, slice));
    return fields;
}

std::uint64_t liesOf(HostileFrame const& frame) {
    return frame.made.sliceOffsets.size() * liableFields(frame, 0).size() * kNumLies;
}

} // namespace

TEST(HostileFramesTest, SizesOfComponentsAndSlicesThatLieStayInside) {
    const Numbering numbering = numberingOf(liesOf);
    runFamily("lying sizes", numbering.total(), 8,
              [&](HostileRunner& runner, std::uint64_t number, Variant const& variant) {
                  const Place place = numbering.at(number);
                  HostileFrame const& frame = hostileFrames()[place.frame];
                  const std::uint64_t fieldNumber = place.inFrame / kNumLies;
                  const std::size_t numFields = liableFields(frame, 0).size();
                  const FrameField field = liableFields(frame, fieldNumber / numFields)[fieldNumber % numFields];
                  Bytes bytes = frame.bytes();
                  setField(bytes, field, liesAbout(frame, field)[place.inFrame % kNumLies]);
                  // With the damaged slice at the end of the data, what lies beyond it is unmapped.
                  const bool cut = number % 3 == 0 && place.inFrame % 2 == 0;
                  if (cut)
                      bytes.resize(std::min<std::size_t>(bytes.size(), field.offset + 40));
                  runner.run(
                      bytes, requestFor(5, number, variant), variant.index,
                      label(frame, std::string(field.name) + " says " + std::to_string(fieldOf(bytes, field))).c_str());
              });
}

namespace {

// The headers of a frame with nothing but `numBytes` bytes of data for all its slices, where each has `sliceBytes`.
Bytes frameOfTinySlices(HostileFrame const& frame, std::uint64_t sliceBytes, std::uint8_t value, std::size_t spare) {
    Bytes bytes(frame.bytes().begin(), frame.bytes().begin() + static_cast<std::ptrdiff_t>(frame.made.sliceOffsets[0]));
    std::size_t numSlices = 0;
    for (const std::size_t offset : frame.made.sliceOffsets)
        if (frame.made.pictureOffsets.size() == 1 || offset < frame.made.pictureOffsets[1])
            setField(bytes, tableEntryField(frame, numSlices++), sliceBytes);
    bytes.resize(bytes.size() + numSlices * sliceBytes + spare, value);
    return bytes;
}

constexpr std::uint64_t kTinySliceCases = 2 * 256 * 4;

} // namespace

TEST(HostileFramesTest, SlicesOfNoBytesAndOfOneByteStayInside) {
    const Numbering numbering = numberingOf([](HostileFrame const&) { return kTinySliceCases; });
    runFamily("slices of 0 and 1 bytes", numbering.total(), 64,
              [&](HostileRunner& runner, std::uint64_t number, Variant const& variant) {
                  const Place place = numbering.at(number);
                  HostileFrame const& frame = hostileFrames()[place.frame];
                  const std::uint64_t sliceBytes = place.inFrame & 1;
                  const auto value = static_cast<std::uint8_t>(place.inFrame >> 1);
                  const std::size_t spare = place.inFrame >> 9;
                  runner.run(frameOfTinySlices(frame, sliceBytes, value, spare), requestFor(6, number, variant),
                             variant.index, label(frame, "slices of " + std::to_string(sliceBytes) + " bytes").c_str());
              });
}

namespace {

// 0 to 64 bytes: zeros, a valid header and then zeros or ones, random bytes.
Bytes smallFrame(std::uint64_t size, std::uint64_t kind) {
    constexpr std::uint64_t kNumFixedKinds = 3;
    Bytes bytes(size, kind == 2 ? 0xFF : 0);
    Random random(static_cast<std::uint32_t>(kind * 1000 + size));
    for (std::size_t i = 0; kind >= kNumFixedKinds && i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(random());
    // Sizes of two bytes would ask for huge pictures in nearly every case.
    for (const std::size_t highByte : {std::size_t{16}, std::size_t{18}})
        if (kind != 0 && highByte < size)
            bytes[highByte] = static_cast<std::uint8_t>(kind % 2);
    return bytes;
}

constexpr std::uint64_t kSmallFrameKinds = 160;

} // namespace

TEST(HostileFramesTest, FramesOfNoBytesToSixtyFourStayInside) {
    runFamily("frames of 0 to 64 bytes", 65 * kSmallFrameKinds, 16,
              [](HostileRunner& runner, std::uint64_t number, Variant const& variant) {
                  const Bytes bytes = smallFrame(number % 65, number / 65);
                  runner.run(bytes, requestFor(7, number, variant), variant.index, "a few bytes");
              });
}

namespace {

constexpr std::uint64_t kRandomDamages = 600;

// Damage below the headers: flipped bits, and stretches of zeros, ones and noise.
void damageSlices(Bytes& bytes, std::size_t from, std::uint32_t seed) {
    if (from >= bytes.size())
        return;
    Random random(seed);
    const auto below = static_cast<std::uint32_t>(bytes.size() - from);
    for (std::uint32_t n = 1 + randomBelow(random, 4); n > 0; --n) {
        std::size_t place = from + randomBelow(random, below);
        const std::uint32_t kind = randomBelow(random, 5);
        if (kind < 2) {
            bytes[place] = static_cast<std::uint8_t>(bytes[place] ^ 1u << randomBelow(random, 8));
            continue;
        }
        for (std::uint32_t run = 1 + randomBelow(random, 24); run > 0 && place < bytes.size(); --run)
            bytes[place++] = static_cast<std::uint8_t>(kind == 2 ? 0 : kind == 3 ? 0xFF : random());
    }
}

} // namespace

TEST(HostileFramesTest, DamageInSlicesStaysInside) {
    const Numbering numbering = numberingOf([](HostileFrame const&) { return kRandomDamages; });
    runFamily("damaged slices", numbering.total(), 16,
              [&](HostileRunner& runner, std::uint64_t number, Variant const& variant) {
                  const Place place = numbering.at(number);
                  HostileFrame const& frame = hostileFrames()[place.frame];
                  Bytes bytes = frame.bytes();
                  damageSlices(bytes, frame.made.sliceOffsets[0], static_cast<std::uint32_t>(number));
                  runner.run(bytes, requestFor(8, number, variant), variant.index,
                             label(frame, "damage " + std::to_string(number)).c_str());
              });
}

namespace {

// A header alone that declares a picture of this size.
Bytes headerOf(std::uint32_t width, std::uint32_t height, std::uint32_t chroma_format, std::uint32_t log2SliceSize) {
    Bytes bytes(100, 0);
    const auto put = [&bytes](std::size_t offset, std::uint32_t value) {
        bytes[offset] = static_cast<std::uint8_t>(value >> 8);
        bytes[offset + 1] = static_cast<std::uint8_t>(value);
    };
    put(8, 20);
    put(16, width);
    put(18, height);
    bytes[20] = static_cast<std::uint8_t>(chroma_format << 6);
    bytes[28] = 8 << 3;
    bytes[35] = static_cast<std::uint8_t>(log2SliceSize << 4);
    return bytes;
}

} // namespace

// Only address space is reserved for the output, so the test costs no memory unless the decoder writes. The largest
// picture has 16.8 million macroblocks and runs with all cases only.
TEST(HostileFramesTest, LargestPicturesInAHundredBytesStayInside) {
    struct Size {
        std::uint32_t width, height, log2SliceSize;
    };
    constexpr Size kSizes[] = {{65535, 1, 0},   {1, 65535, 0},   {65535, 16, 3},   {16, 65535, 3},
                               {2048, 2047, 0}, {65520, 176, 2}, {65535, 65535, 3}};
    const std::uint64_t numSizes = std::size(kSizes) - (longFormWanted() ? 0 : 1);
    runFamily(
        "largest pictures", numSizes * 4, 3, [&](HostileRunner& runner, std::uint64_t number, Variant const& variant) {
            runner.setMaxMacroblocks(~std::uint64_t{0});
            Size const& size = kSizes[number % numSizes];
            HostileRequest request = requestFor(9, number, variant);
            request.stride = HostileRequest::Stride::Safe;
            request.colorCoding = 0;
            const Bytes bytes = headerOf(size.width, size.height, 2 + (number / numSizes) % 2, size.log2SliceSize);
            const std::string what = std::to_string(size.width) + "x" + std::to_string(size.height);
            runner.run(bytes, request, variant.index, what.c_str());
        });
}

namespace {

// A request that no writer supports must leave all bytes untouched: there is no output at all.
int decodeWithoutOutput(HostileFrame const& frame, std::uint32_t downSampleFactor, std::uint32_t bitDepth,
                        std::int64_t stride, OptimizationTarget target) {
    static GuardedMemory nothing(1);
    return RaveloDecoderInterface::DecompressFrameFromBits(frame.bytes().data(), frame.bytes().size(), downSampleFactor,
                                                           ColorCoding_YCbCr, bitDepth, nothing.atEnd(0), stride,
                                                           target);
}

} // namespace

TEST(HostileRequestsTest, DepthsThatNoWriterKnowsAreRefusedBeforeAnyWrite) {
    for (HostileFrame const& frame : hostileFrames())
        for (const std::uint32_t bitDepth : {0u, 1u, 7u, 9u, 11u, 12u, 14u, 17u, 32u, 0x80000008u, 0xFFFFFFFFu})
            for (std::uint32_t reduction = 0; reduction < 4; ++reduction)
                EXPECT_THROW(decodeWithoutOutput(frame, reduction, bitDepth, 1 << 20, OptimizationTarget::AVX2),
                             std::runtime_error)
                    << frame.name << " depth " << bitDepth;
}

TEST(HostileRequestsTest, ReductionsBeyondAnEighthWriteNothing) {
    for (HostileFrame const& frame : hostileFrames())
        for (const std::uint32_t reduction : {4u, 5u, 15u, 16u, 31u, 32u, 33u, 63u, 64u, 0x80000000u, 0xFFFFFFFFu})
            for (const std::uint32_t bitDepth : {8u, 10u, 16u})
                for (const OptimizationTarget target : {OptimizationTarget::Baseline, OptimizationTarget::AVX2})
                    EXPECT_EQ(decodeWithoutOutput(frame, reduction, bitDepth, 1 << 20, target), 1)
                        << frame.name << " reduction " << reduction;
}

TEST(HostileRequestsTest, StridesOfTooSmallAMagnitudeAreRefusedBeforeAnyWrite) {
    for (HostileFrame const& frame : hostileFrames()) {
        const auto least = static_cast<std::int64_t>(
            bufferRequirements(Bitstream{frame.bytes().data(), frame.bytes().size()}, 16, 0).leastStride);
        for (const std::int64_t stride : {std::int64_t{0}, std::int64_t{1}, least - 1, 1 - least, INT64_MIN}) {
            if (stride == least || stride == -least)
                continue;
            EXPECT_THROW(decodeWithoutOutput(frame, 0, 16, stride, OptimizationTarget::AVX2), std::runtime_error)
                << frame.name << " stride " << stride;
        }
    }
}

TEST(HostileRequestsTest, HeaderInformationReadsNothingOutsideTheFrame) {
    GuardedMemory memory(1 << 16);
    std::uint64_t numCases = 0;
    for (HostileFrame const& frame : hostileFrames()) {
        for (std::size_t size = 0; size <= 64 && size <= frame.bytes().size(); ++size) {
            const auto prefix = std::span(frame.bytes()).first(size);
            for (const std::uint8_t* data : {memory.copyAtStart(prefix), memory.copyAtEnd(prefix)}) {
                const PixelBuffer info = Frame::GetFrameInfo(Bitstream{data, size}, 10, 1);
                const BufferRequirements needs = bufferRequirements(Bitstream{data, size}, 8, 3);
                EXPECT_EQ(info.width, size >= 18 ? frame.spec.horizontal_size / 2 : (size == 17 ? info.width : 0));
                EXPECT_LE(needs.leastStride, needs.safeStride);
                ++numCases;
            }
        }
    }
    std::cout << "header information: " << numCases << " cases\n";
}

namespace {

// Looks at what all families have added up to, when a process has run them all.
class TallyOfAllFamilies : public testing::Environment {
public:
    void TearDown() override {
        HostileTally const& tally = processTally();
        if (tally.numCases == 0)
            return;
        std::cout << "all families: " << tally.numCases << " cases, " << tally.combinations.count()
                  << " combinations of variant, target, reduction, depth, coding and writer\n";
        if (!longFormWanted() || testing::GTEST_FLAG(filter) != "*")
            return;
        EXPECT_GE(tally.numCases, 250000u);
        const std::size_t numTargets = RaveloDecoderInterface::GetMaxOptType() == 1 ? 2 : 1;
        EXPECT_EQ(tally.combinations.count(), runnableVariants().size() * numTargets * 4 * 4 * 4 * 3);
    }
};

const testing::Environment* const s_tally = testing::AddGlobalTestEnvironment(new TallyOfAllFamilies);

} // namespace
