#include "SliceReads.h"

#include <algorithm>

#include "Frame.h"
#include "Picture.h"
#include "SliceHeader.h"

namespace {

// A position takes 67 bits at most: a level of 63 (30 zeros of a prefix, its end, and 32 bits of suffix), its sign, and
// the shortest run, of 3. A longer run passes over positions that could have taken more.
constexpr std::uint64_t kMostBytesOfBlock = 64 * 9;
// After its last symbol a range may hold 64 zero bits, which are examined.
constexpr std::uint64_t kTailBytes = 8;
// A sample takes 17 bits of difference and 16 of run at most.
constexpr std::uint64_t kMostBytesOfAlphaMb = 256 * 33 / 8;

// What the slices of a picture have in common.
struct SliceKind {
    std::uint64_t chromaBlocksPerMb;
    bool hasAlpha;       // in the headers of slices
    bool hasAlphaOutput; // which is read
};

// Takes a range from what is left of the data, and returns the bytes of it that may be read.
std::uint64_t takenFrom(std::uint64_t& bytesLeft, std::uint64_t numBytes, std::uint64_t mostBytes) {
    const std::uint64_t available = std::min(numBytes, bytesLeft);
    bytesLeft -= available;
    return std::min(available, mostBytes);
}

std::uint64_t bytesReadBySlice(SliceKind const& kind, Bitstream const& bits, std::uint32_t coded_size,
                               std::uint64_t mbs) {
    const SliceHeader header = SliceHeader::slice_header(bits, kind.hasAlpha, coded_size);
    const std::uint64_t chromaBlocks = mbs * kind.chromaBlocksPerMb;
    std::uint64_t bytesLeft = bits.size;
    std::uint64_t bytes = takenFrom(bytesLeft, header.slice_header_size, header.slice_header_size);
    bytes += takenFrom(bytesLeft, header.coded_size_y, 4 * mbs * kMostBytesOfBlock + kTailBytes);
    bytes += takenFrom(bytesLeft, header.coded_size_cb, chromaBlocks * kMostBytesOfBlock + kTailBytes);
    bytes += takenFrom(bytesLeft, header.coded_size_cr, chromaBlocks * kMostBytesOfBlock + kTailBytes);
    if (!kind.hasAlphaOutput)
        return bytes;
    const std::uint64_t beforeAlpha = bits.size - bytesLeft;
    const std::uint64_t alphaBytes = coded_size > beforeAlpha ? coded_size - beforeAlpha : bytesLeft;
    return bytes + takenFrom(bytesLeft, alphaBytes, mbs * kMostBytesOfAlphaMb);
}

std::uint64_t bytesReadByPicture(PictureLayout const& picture, std::uint64_t enough) {
    Frame const& frame = picture.frame();
    const SliceKind kind{frame.is444() ? 4u : 2u, frame.alpha_channel_type != 0, frame.hasAlphaOutput()};
    std::uint64_t bytes = 0;
    const std::uint32_t numRows = picture.rowsInData();
    for (std::uint32_t row = 0; row < numRows; ++row) {
        Bitstream bits = picture.sliceBits(row, 0);
        for (std::uint32_t column = 0; column < picture.number_of_slices_per_mb_row(); ++column) {
            const std::uint32_t coded_size = picture.coded_size_of_slice(row, column);
            bytes += bytesReadBySlice(kind, bits, coded_size, picture.slice_size_in_mb(column));
            if (bytes > enough)
                return bytes;
            bits.advance(coded_size);
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
