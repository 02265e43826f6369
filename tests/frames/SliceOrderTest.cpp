#include "SliceLoop.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <memory>
#include <numeric>
#include <vector>

#include <gtest/gtest.h>

#include "FlatFrames.h"
#include "Random.h"
#include "RaveloDecoderInterface.h"

// Groups of slices that are allowed at once never write the same byte. A race would show that in some runs; here the
// walk over the groups is replaced by one that lets each decode alone and notes the bytes that it writes. So this file
// is an executable by itself.

namespace {

// A group of a row, counted from 1; 0 for none.
struct Writer {
    std::uint32_t row = 0;
    std::uint32_t group = 0;
};

// Where the walk finds the output, and what it does to it.
struct Observed {
    std::vector<std::uint8_t>* output = nullptr;
    // The last two groups that wrote each byte.
    std::vector<std::array<Writer, 2>> writersOfByte;
    std::uint64_t numBytesWritten = 0;
    std::uint64_t numShared = 0; // by groups that are not allowed at once
    std::uint64_t numRaces = 0;  // by groups that are
    std::vector<SliceOrder> orders;
};

Observed s_observed;

bool mayRunAtOnce(SliceWalk const& walk, std::uint32_t group, std::uint32_t otherGroup) {
    switch (walk.order) {
    case SliceOrder::Any:
        return true;
    case SliceOrder::LastGroupFirst:
        return (group + 1 == walk.groupsPerRow) == (otherGroup + 1 == walk.groupsPerRow);
    case SliceOrder::InTurn:
    case SliceOrder::InTurnUpwards:
        break;
    }
    return false;
}

// Adds the bytes of the output that do not hold the fill. A group writes little of the picture, so whole blocks are
// skipped.
void appendChanged(std::vector<std::uint8_t> const& output, std::uint8_t fill, std::vector<std::size_t>& changed) {
    constexpr std::size_t kBlockBytes = 256;
    std::array<std::uint8_t, kBlockBytes> filled;
    filled.fill(fill);
    for (std::size_t begin = 0; begin < output.size(); begin += kBlockBytes) {
        const std::size_t end = std::min(begin + kBlockBytes, output.size());
        if (std::memcmp(output.data() + begin, filled.data(), end - begin) == 0)
            continue;
        for (std::size_t i = begin; i < end; ++i) {
            if (output[i] != fill)
                changed.push_back(i);
        }
    }
}

// The bytes that a call writes: those that differ from one of two fills.
std::vector<std::size_t> bytesWrittenBy(std::function<void()> const& call) {
    std::vector<std::uint8_t>& output = *s_observed.output;
    std::vector<std::size_t> written;
    for (const std::uint8_t fill : {std::uint8_t{0}, std::uint8_t{0xFF}}) {
        std::fill(output.begin(), output.end(), fill);
        call();
        appendChanged(output, fill, written);
    }
    std::sort(written.begin(), written.end());
    written.erase(std::unique(written.begin(), written.end()), written.end());
    return written;
}

void note(SliceWalk const& walk, std::uint32_t row, std::uint32_t group, std::vector<std::size_t> const& written) {
    s_observed.numBytesWritten += written.size();
    for (const std::size_t i : written) {
        auto& writers = s_observed.writersOfByte[i];
        for (Writer const& writer : writers) {
            if (writer.row != 0)
                ++(mayRunAtOnce(walk, group, writer.group - 1) ? s_observed.numRaces : s_observed.numShared);
        }
        writers = {Writer{row + 1, group + 1}, writers[0]};
    }
}

using Memory = std::unique_ptr<void, decltype(&std::free)>;

Memory memoryOf(std::size_t numBytes) {
    Memory memory(std::aligned_alloc(kSliceMemoryAlignment, (numBytes / 64 + 1) * 64), std::free);
    // What groups leave in their memory must not matter either.
    std::memset(memory.get(), 0xB7, numBytes);
    return memory;
}

} // namespace

// Ranges of three slices: a row of all, every slice of which is a group that may run at once with all others.
void forEachSliceRange(SliceRangeWalk const& walk, SliceRangeBody* body, void const* context) {
    constexpr std::uint32_t kSlices = 3;
    s_observed.orders.push_back(SliceOrder::Any);
    s_observed.writersOfByte.assign(s_observed.output->size(), {});
    const Memory memory = memoryOf(walk.bytesPerThread);
    const SliceWalk asGroups{1, walk.numUnits, SliceOrder::Any};
    for (std::uint32_t first = 0; first < walk.numUnits; first += kSlices) {
        const std::uint32_t count = std::min(kSlices, walk.numUnits - first);
        note(asGroups, 0, first, bytesWrittenBy([&] { body(context, memory.get(), first, count); }));
    }
}

void forEachSliceGroup(SliceWalk const& walk, SliceGroupBody* body, void const* context) {
    s_observed.orders.push_back(walk.order);
    // Pictures come one after the other.
    s_observed.writersOfByte.assign(s_observed.output->size(), {});
    const auto memory = memoryOf(walk.bytesPerThread);
    for (std::uint32_t row = 0; row < walk.numRows; ++row) {
        for (std::uint32_t group = 0; group < walk.groupsPerRow; ++group)
            note(walk, row, group, bytesWrittenBy([&] { body(context, memory.get(), row, group); }));
    }
}

namespace {

// Decodes into a buffer in which every write of the request has room.
Observed observed(std::vector<std::uint8_t> const& frame, DecodeRequest const& request) {
    OutputBuffer buffer = bufferFor(frame, request);
    std::vector<std::uint8_t> output = buffer.bytes();
    s_observed = {};
    s_observed.output = &output;
    RaveloDecoderInterface::DecompressFrameFromBits(
        frame.data(), frame.size(), request.downSampleFactor, static_cast<ColorCoding>(request.colorCoding),
        request.bitDepth, output.data() - buffer.lowestOffset(), request.lineStride, request.target);
    s_observed.output = nullptr;
    return s_observed;
}

// Every third frame is so narrow that one line of macroblocks may reach over several lines of a small stride.
bool isNarrow(std::uint32_t number) {
    return number % 3 == 0;
}

MadeFrame frameOf(Random& random, std::uint32_t number) {
    FrameSpec spec = randomSpec(random);
    spec.horizontal_size = 1 + (isNarrow(number) ? randomBelow(random, 10) : 100 + randomBelow(random, 250));
    spec.vertical_size = 60 + randomBelow(random, 60);
    return makeFrame(spec, randomSlices(spec, Texture::Photo, random));
}

// From the least stride, where columns past the right edge fall on other lines, to one with room for them.
std::int64_t strideOf(std::uint32_t number, std::int64_t least, std::int64_t safe) {
    const std::int64_t step = number / 2 % 5;
    const std::int64_t magnitude = isNarrow(number) ? least + step : least + step * (safe - least) / 4;
    return number % 2 == 0 ? magnitude : -magnitude;
}

} // namespace

TEST(SliceOrderTest, GroupsThatAreAllowedAtOnceShareNoByte) {
    Random random = seeded(7301);
    std::uint64_t numShared = 0;
    std::uint64_t numWithPixels = 0; // reduced pictures of a few lines may have none
    std::uint64_t numOfOrder[4] = {};
    for (std::uint32_t i = 0; i < 240; ++i) {
        const MadeFrame made = frameOf(random, i);
        const std::vector<OptimizationTarget> targets = runnableTargets();
        DecodeRequest request = requestFor(made.bytes, i % 4, i % 7 == 0 ? 10 : 8, 0, targets[i / 4 % targets.size()]);
        request.lineStride = strideOf(i, leastStride(made.bytes, request), safeStride(made.bytes, request));
        const Observed result = observed(made.bytes, request);
        EXPECT_EQ(result.numRaces, 0u) << describe(request) << ", frame " << i;
        numWithPixels += result.numBytesWritten > 0 ? 1 : 0;
        numShared += result.numShared;
        for (const SliceOrder order : result.orders)
            ++numOfOrder[static_cast<int>(order)];
    }
    // There are requests of every order, and some whose groups do share bytes.
    EXPECT_GT(numShared, 0u);
    EXPECT_GT(numWithPixels, 200u);
    for (const std::uint64_t number : numOfOrder)
        EXPECT_GT(number, 10u);
}
