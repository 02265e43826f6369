#include "SliceReads.h"

#include <algorithm>

#include "Frame.h"
#include "Picture.h"

namespace {

// A position takes 67 bits at most: a level of 63 (30 zeros of a prefix, its end, and 32 bits of suffix), its sign, and
// the shortest run, of 3. A longer run passes over positions that could have taken more.
constexpr std::uint64_t kMostBytesOfBlock = 64 * 9;
// After its last symbol a range may hold 64 zero bits, which are examined.
constexpr std::uint64_t kTailBytes = 8;
// A sample takes 17 bits of difference and 16 of run at most.
constexpr std::uint64_t kMostBytesOfAlphaMb = 256 * 33 / 8;

// Moves the cursor over a range and returns the bytes of it that may be read.
std::uint64_t takenFrom(Bitstream& bits, std::uint64_t numBytes, std::uint64_t mostBytes) {
    const std::uint64_t available = std::min(numBytes, bits.size);
    bits.advance(numBytes);
    return std::min(available, mostBytes);
}

std::uint64_t bytesReadBySlice(PictureLayout const& picture, std::uint32_t row, std::uint32_t column, Bitstream bits) {
    const SliceHeader header = picture.sliceHeader(row, column, bits);
    const std::uint64_t mbs = picture.slice_size_in_mb(column);
    const std::uint64_t chromaBlocks = mbs * (picture.frame().chroma_format == 3 ? 4 : 2);
    const std::uint64_t sizeAtCursor = bits.size;
    std::uint64_t bytes = takenFrom(bits, header.slice_header_size, header.slice_header_size);
    bytes += takenFrom(bits, header.coded_size_y, 4 * mbs * kMostBytesOfBlock + kTailBytes);
    bytes += takenFrom(bits, header.coded_size_cb, chromaBlocks * kMostBytesOfBlock + kTailBytes);
    bytes += takenFrom(bits, header.coded_size_cr, chromaBlocks * kMostBytesOfBlock + kTailBytes);
    if (picture.frame().alpha_channel_type == 0 || picture.frame().chroma_format != 3)
        return bytes;
    const std::uint64_t beforeAlpha = sizeAtCursor - bits.size;
    const std::uint64_t coded_size = picture.coded_size_of_slice(row, column);
    const std::uint64_t alphaBytes = coded_size > beforeAlpha ? coded_size - beforeAlpha : bits.size;
    return bytes + takenFrom(bits, alphaBytes, mbs * kMostBytesOfAlphaMb);
}

std::uint64_t bytesReadByPicture(PictureLayout const& picture, std::uint64_t enough) {
    std::uint64_t bytes = 0;
    const std::uint32_t numRows = picture.rowsInData();
    for (std::uint32_t row = 0; row < numRows; ++row) {
        Bitstream bits = picture.sliceBits(row, 0);
        for (std::uint32_t column = 0; column < picture.number_of_slices_per_mb_row(); ++column) {
            bytes += bytesReadBySlice(picture, row, column, bits);
            if (bytes > enough)
                return bytes;
            bits.advance(picture.coded_size_of_slice(row, column));
        }
    }
    return bytes;
}

} // namespace

std::uint64_t bytesReadBySlices(Bitstream const& frameBits, std::uint64_t enough) {
    const Frame frame(frameBits);
    const PictureLayout first(TemporalOrder::First, frame, frame.bitstream);
    const std::uint64_t bytes = bytesReadByPicture(first, enough);
    if (!frame.hasSecondPicture() || bytes > enough)
        return bytes;
    Bitstream afterFirst = frame.bitstream;
    afterFirst.advance(first.picture_size());
    return bytes + bytesReadByPicture(PictureLayout(TemporalOrder::Second, frame, afterFirst), enough - bytes);
}
