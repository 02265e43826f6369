#include "FrameMutator.h"

#include <algorithm>
#include <random>

#include "FuzzMutate.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Random = std::minstd_rand;
using Component = FrameMap::Component;

std::size_t word16(Bytes const& bytes, std::size_t offset) {
    return offset + 1 < bytes.size() ? std::size_t{bytes[offset]} << 8 | bytes[offset + 1] : 0;
}

std::size_t word32(Bytes const& bytes, std::size_t offset) {
    return word16(bytes, offset) << 16 | word16(bytes, offset + 2);
}

void putWord16(Bytes& bytes, std::size_t offset, std::size_t value) {
    bytes[offset] = static_cast<std::uint8_t>(value >> 8);
    bytes[offset + 1] = static_cast<std::uint8_t>(value);
}

std::size_t below(Random& random, std::size_t bound) {
    return bound == 0 ? 0 : random() % bound;
}

std::size_t slicesOfRow(std::size_t widthInMb, std::size_t log2SliceSize) {
    std::size_t count = widthInMb >> log2SliceSize;
    for (std::size_t left = widthInMb & ((std::size_t{1} << log2SliceSize) - 1); left != 0; left &= left - 1)
        ++count;
    return count;
}

// Adds the slices of the picture at `offset` and returns where the next picture begins.
std::size_t mapPicture(Bytes const& frame, std::size_t offset, std::size_t lines, FrameMap& map) {
    if (offset + 8 > frame.size())
        return frame.size();
    constexpr std::size_t kMaxSlices = 2000;
    const std::size_t numRows = (lines + 15) / 16;
    const std::size_t numSlices =
        numRows * slicesOfRow((word16(frame, 16) + 15) / 16, static_cast<std::size_t>(frame[offset + 7] >> 4 & 3));
    const std::size_t table = offset + (frame[offset] >> 3);
    std::size_t position = table + 2 * numSlices;
    const bool hasAlpha = (frame[25] & 15) != 0;
    for (std::size_t i = 0; i < std::min(numSlices, kMaxSlices); ++i) {
        const std::size_t numBytes = word16(frame, table + 2 * i);
        if (numBytes < 6 || position + numBytes > frame.size())
            break;
        const std::size_t headerBytes = frame[position] >> 3;
        if (headerBytes >= (hasAlpha ? 8u : 6u) && headerBytes <= numBytes)
            map.slices.push_back({offset, table + 2 * i, position, numBytes, headerBytes, hasAlpha});
        position += numBytes;
    }
    return offset + word32(frame, offset + 1);
}

void flipBits(Bytes& bytes, std::size_t from, std::size_t to, Random& random) {
    for (std::size_t n = 1 + below(random, 3); n > 0 && from < to; --n)
        bytes[from + below(random, to - from)] ^= static_cast<std::uint8_t>(1u << below(random, 8));
}

// Changes one component by the fuzzer's own means, which may change its length.
void mutateComponent(Bytes& frame, FrameMap const& map, Random& random) {
    FrameMap::Slice const& slice = map.slices[below(random, map.slices.size())];
    const std::vector<Component> components = componentsOf(frame, slice);
    Component const& component = components[below(random, components.size())];
    constexpr std::size_t kGrowth = 24;
    Bytes data(frame.begin() + static_cast<std::ptrdiff_t>(component.begin),
               frame.begin() + static_cast<std::ptrdiff_t>(component.end));
    const std::size_t numBytes = data.size();
    data.resize(numBytes + kGrowth);
    data.resize(fuzzMutate(data.data(), numBytes, data.size(), random()));
    replaceInSlice(frame, slice, component.begin, numBytes, data);
}

// Puts the bytes of one component in the place of another.
void copyComponent(Bytes& frame, FrameMap const& map, Random& random) {
    FrameMap::Slice const& from = map.slices[below(random, map.slices.size())];
    FrameMap::Slice const& to = map.slices[below(random, map.slices.size())];
    const std::vector<Component> sources = componentsOf(frame, from);
    const std::vector<Component> targets = componentsOf(frame, to);
    Component const& source = sources[below(random, sources.size())];
    Component const& target = targets[below(random, targets.size())];
    const Bytes data(frame.begin() + static_cast<std::ptrdiff_t>(source.begin),
                     frame.begin() + static_cast<std::ptrdiff_t>(source.end));
    replaceInSlice(frame, to, target.begin, target.end - target.begin, data);
}

// Sizes, modes and the quantisation index, by themselves.
void setHeaderField(Bytes& frame, FrameMap const& map, Random& random) {
    FrameMap::Slice const& slice = map.slices[below(random, map.slices.size())];
    const auto noise = static_cast<std::uint8_t>(random());
    switch (below(random, 7)) {
    case 0:
        putWord16(frame, 16, 1 + below(random, 80));
        break;
    case 1:
        putWord16(frame, 18, 1 + below(random, 60));
        break;
    case 2:
        frame[20] = noise;
        break;
    case 3:
        frame[25] = noise & 3;
        break;
    case 4:
        frame[slice.offset + 1] = noise;
        break;
    case 5:
        frame[slice.pictureOffset + 7] = noise & 0x30;
        break;
    default:
        frame[24] = noise % 10;
    }
}

std::size_t mutateFrame(Bytes& frame, std::size_t maxBytes, Random& random) {
    const FrameMap map = mapOf(frame);
    const std::size_t kind = map.slices.empty() ? 0 : below(random, 8);
    if (kind == 0) {
        const std::size_t numBytes = frame.size();
        frame.resize(maxBytes);
        frame.resize(fuzzMutate(frame.data(), numBytes, maxBytes, random()));
    } else if (kind < 4) {
        mutateComponent(frame, map, random);
    } else if (kind < 6) {
        FrameMap::Slice const& slice = map.slices[below(random, map.slices.size())];
        flipBits(frame, slice.offset + slice.headerBytes, slice.offset + slice.numBytes, random);
    } else if (kind == 6) {
        copyComponent(frame, map, random);
    } else {
        setHeaderField(frame, map, random);
    }
    frame.resize(std::min(frame.size(), maxBytes));
    return frame.size();
}

} // namespace

FrameMap mapOf(std::vector<std::uint8_t> const& frame) {
    FrameMap map;
    constexpr std::size_t kLeastBytes = 8 + 20 + 8;
    if (frame.size() < kLeastBytes)
        return map;
    const std::size_t mode = frame[20] >> 2 & 3;
    const std::size_t lines = word16(frame, 18);
    const std::size_t evenLines = (lines + 1) / 2;
    const std::size_t firstLines = mode == 0 ? lines : mode == 1 ? evenLines : lines / 2;
    const std::size_t next = mapPicture(frame, 8 + word16(frame, 8), firstLines, map);
    if (mode == 1 || mode == 2)
        mapPicture(frame, next, mode == 1 ? lines / 2 : evenLines, map);
    return map;
}

std::vector<FrameMap::Component> componentsOf(std::vector<std::uint8_t> const& frame, FrameMap::Slice const& slice) {
    std::vector<FrameMap::Component> components;
    std::size_t position = slice.offset + slice.headerBytes;
    const std::size_t end = slice.offset + slice.numBytes;
    for (std::size_t field = slice.offset + 2; field < slice.offset + (slice.hasCrSize ? 8u : 6u); field += 2) {
        const std::size_t next = std::min(end, position + word16(frame, field));
        components.push_back({field, position, next});
        position = next;
    }
    components.push_back({0, position, end});
    return components;
}

void replaceInSlice(std::vector<std::uint8_t>& frame, FrameMap::Slice const& slice, std::size_t offset,
                    std::size_t count, std::vector<std::uint8_t> const& bytes) {
    const std::size_t sliceBytes = slice.numBytes - count + bytes.size();
    if (sliceBytes > 0xFFFF)
        return;
    for (Component const& component : componentsOf(frame, slice)) {
        if (offset < component.begin || offset + count > component.end || component.sizeField == 0)
            continue;
        putWord16(frame, component.sizeField, component.end - component.begin - count + bytes.size());
        break;
    }
    putWord16(frame, slice.tableEntryOffset, sliceBytes);
    const std::size_t pictureBytes = word32(frame, slice.pictureOffset + 1) - count + bytes.size();
    putWord16(frame, slice.pictureOffset + 1, pictureBytes >> 16 & 0xFFFF);
    putWord16(frame, slice.pictureOffset + 3, pictureBytes & 0xFFFF);
    const auto place = frame.begin() + static_cast<std::ptrdiff_t>(offset);
    frame.erase(place, place + static_cast<std::ptrdiff_t>(count));
    frame.insert(frame.begin() + static_cast<std::ptrdiff_t>(offset), bytes.begin(), bytes.end());
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed) {
    Random random(seed);
    if (size < kFrameOffset || maxSize <= kFrameOffset || below(random, 8) == 0)
        return fuzzMutate(data, size, maxSize, seed);
    Bytes frame(data + kFrameOffset, data + size);
    mutateFrame(frame, maxSize - kFrameOffset, random);
    std::copy(frame.begin(), frame.end(), data + kFrameOffset);
    return kFrameOffset + frame.size();
}
