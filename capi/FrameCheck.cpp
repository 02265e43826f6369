#include "FrameCheck.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>

#include "Bitstream.h"
#include "FileSignature.h"
#include "FrameHeader.h"
#include "PictureHeader.h"

namespace {

constexpr std::uint64_t kLeastFrameBytes = FrameHeader::kOuterWordBytes + FrameHeader::kFixedHeaderBytes;
// The fields of a picture header are at fixed places in its first bytes.
constexpr std::uint64_t kPictureFieldBytes = 8;

using UnsignedLongLong = unsigned long long;

// One picture of a frame, as far as the data reach.
struct PictureExtent {
    std::uint64_t numSlices = 0;
    std::uint64_t numOutOfData = 0; // slices of which a byte or the table's entry is missing
    std::uint64_t end = 0;          // of its last slice; missing entries of the table count as 0
    std::uint64_t next = 0;         // where the header says that the next picture begins
    bool isConsistent = true;       // the header holds its fields and leaves room for the slices
};

// Sums the table of slices. The offsets only grow, so all slices from the first that ends after the data are outside.
void addSlices(Bitstream const& table, std::uint64_t tableEnd, std::uint64_t dataSize, PictureExtent& extent) {
    const std::uint64_t numPresent = std::min(extent.numSlices, table.size / 2);
    std::uint64_t numInside = 0;
    extent.end = tableEnd;
    for (std::uint64_t i = 0; i < numPresent; ++i) {
        extent.end += std::uint64_t{table.data[2 * i]} << 8 | table.data[2 * i + 1];
        numInside += extent.end <= dataSize ? 1 : 0;
    }
    extent.numOutOfData = extent.numSlices - numInside;
}

PictureExtent extentOf(Bitstream const& frame, FrameHeader const& frameHeader, TemporalOrder order,
                       std::uint64_t start) {
    Bitstream bits = frame;
    bits.advance(start);
    // A picture whose header is missing declares that header at least.
    const bool isPresent = bits.size >= kPictureFieldBytes;
    const PictureHeader header = PictureHeader::picture_header(bits);
    const std::uint64_t headerBytes = isPresent ? header.picture_header_size : kPictureFieldBytes;
    const RowDivision division(frameHeader.widthInMb(), header.log2_slice_size_in_mb);

    PictureExtent extent;
    extent.numSlices = std::uint64_t{division.slicesPerRow()} * frameHeader.heightInMb(order);
    Bitstream table = bits;
    table.advance(headerBytes);
    addSlices(table, start + headerBytes + 2 * extent.numSlices, frame.size, extent);
    extent.next = start + header.picture_size;
    // Nothing depends on the size of the last picture, and some writers leave it at 0.
    const bool isLast = order == TemporalOrder::Second || !frameHeader.hasSecondPicture();
    const bool hasRoom = extent.end <= extent.next || (isLast && header.picture_size == 0);
    extent.isConsistent = headerBytes >= kPictureFieldBytes && hasRoom;
    return extent;
}

void add(PictureExtent const& extent, ravelo_frame_check& check) {
    ++check.pictures;
    check.slices += extent.numSlices;
    check.slices_out_of_data += extent.numOutOfData;
    check.declared_bytes = extent.end;
}

// Fills in the numbers, and returns whether the sizes agree with each other.
bool measure(Bitstream const& frame, ravelo_frame_check& check) {
    const FrameHeader header = FrameHeader::frame_header(frame);
    const std::uint64_t fieldBytes =
        FrameHeader::kFixedHeaderBytes +
        std::uint64_t{header.load_luma_matrix + header.load_chroma_matrix} * FrameHeader::kMatrixBytes;
    const PictureExtent first = extentOf(frame, header, TemporalOrder::First, header.firstPictureOffset());
    add(first, check);
    bool isConsistent = header.header_size >= fieldBytes && header.numPixels() != 0 && first.isConsistent;
    if (header.hasSecondPicture()) {
        const PictureExtent second = extentOf(frame, header, TemporalOrder::Second, first.next);
        add(second, check);
        isConsistent = isConsistent && second.isConsistent;
    }
    return isConsistent;
}

// Zeros fill up a frame to the size of a sector or of a packet.
bool hasOnlyZeros(const std::uint8_t* bytes, std::uint64_t size) {
    constexpr std::uint64_t kStep = 256;
    std::uint64_t done = 0;
    for (; done + kStep <= size; done += kStep) {
        std::uint8_t any = 0;
        for (std::uint64_t i = 0; i < kStep; ++i)
            any |= bytes[done + i];
        if (any != 0)
            return false;
    }
    return std::all_of(bytes + done, bytes + size, [](std::uint8_t byte) { return byte == 0; });
}

ravelo_frame_verdict verdictOf(Bitstream const& frame, ravelo_frame_check& check) {
    if (frame.size < kLeastFrameBytes) {
        check.declared_bytes = kLeastFrameBytes;
        return RAVELO_FRAME_CUT_OFF;
    }
    const bool isConsistent = measure(frame, check);
    if (frame.size < check.declared_bytes)
        return RAVELO_FRAME_CUT_OFF;
    if (!isConsistent)
        return RAVELO_FRAME_BROKEN;
    return hasOnlyZeros(frame.data + check.declared_bytes, frame.size - check.declared_bytes) ? RAVELO_FRAME_WHOLE
                                                                                              : RAVELO_FRAME_FOLLOWED;
}

void describe(const char* fileKind, ravelo_frame_check& check) {
    const auto present = static_cast<UnsignedLongLong>(check.present_bytes);
    const auto declared = static_cast<UnsignedLongLong>(check.declared_bytes);
    switch (static_cast<ravelo_frame_verdict>(check.verdict)) {
    case RAVELO_FRAME_FOREIGN:
        std::snprintf(check.text, sizeof check.text, "%s, not a frame", fileKind);
        break;
    case RAVELO_FRAME_CUT_OFF:
        std::snprintf(check.text, sizeof check.text, "cut off at byte %llu of %llu", present, declared);
        break;
    case RAVELO_FRAME_BROKEN:
        std::snprintf(check.text, sizeof check.text, "broken: sizes in its headers contradict each other");
        break;
    case RAVELO_FRAME_FOLLOWED:
        std::snprintf(check.text, sizeof check.text, "followed by %llu byte%s: another frame?", present - declared,
                      present - declared == 1 ? "" : "s");
        break;
    case RAVELO_FRAME_WHOLE:
        std::snprintf(check.text, sizeof check.text, "whole");
        break;
    }
}

} // namespace

ravelo_frame_check checkedStructure(const void* data, std::size_t size) {
    const Bitstream frame{static_cast<const std::uint8_t*>(data), size};
    ravelo_frame_check check{};
    check.present_bytes = size;
    const char* const fileKind = fileKindOf(data, size);
    check.verdict = static_cast<std::uint32_t>(fileKind != nullptr ? RAVELO_FRAME_FOREIGN : verdictOf(frame, check));
    describe(fileKind, check);
    return check;
}
