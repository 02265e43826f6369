#include "SlowFrame.h"

#include <algorithm>
#include <bit>

#include "SlowScan.h"

namespace {

// A cursor whose reads beyond the end give zero and whose moves stop at the end.
class Cursor {
public:
    explicit Cursor(std::span<const std::uint8_t> bytes) : m_bytes(bytes) {}

    std::uint32_t byte(std::uint64_t offset) const { return offset < m_bytes.size() ? m_bytes[offset] : 0; }
    std::uint32_t word16(std::uint64_t offset) const { return byte(offset) * 256 + byte(offset + 1); }
    std::uint32_t word32(std::uint64_t offset) const { return word16(offset) * 65536 + word16(offset + 2); }
    void advance(std::uint64_t n) { m_bytes = m_bytes.subspan(std::min<std::uint64_t>(n, m_bytes.size())); }
    std::span<const std::uint8_t> first(std::uint64_t n) const {
        return m_bytes.first(std::min<std::uint64_t>(n, m_bytes.size()));
    }
    std::span<const std::uint8_t> all() const { return m_bytes; }

private:
    std::span<const std::uint8_t> m_bytes;
};

std::array<std::uint8_t, 64> readMatrix(Cursor& cursor) {
    std::array<std::uint8_t, 64> matrix{};
    for (std::uint8_t& entry : matrix) {
        entry = static_cast<std::uint8_t>(cursor.byte(0));
        cursor.advance(1);
    }
    return matrix;
}

struct Picture {
    std::uint32_t index = 0;
    std::uint32_t picture_size = 0;
    std::uint32_t vertical_size = 0;
    std::uint32_t width_in_mb = 0;
    std::uint32_t height_in_mb = 0;
    std::vector<std::uint32_t> slice_size_in_mb;
    std::int64_t origin = 0; // bytes from the caller's first line to the picture's first
    std::int64_t lineStride = 0;
};

// Which lines of the frame a picture takes.
void placePicture(Picture& picture, SlowFrameHeader const& header, DecodeRequest const& request) {
    const std::uint32_t v = header.vertical_size;
    picture.vertical_size = v;
    picture.lineStride = request.lineStride;
    if (header.interlace_mode == 0)
        return;
    const bool isOddField =
        (header.interlace_mode == 1 && picture.index == 1) || (header.interlace_mode == 2 && picture.index == 0);
    picture.vertical_size = isOddField || header.interlace_mode == 3 ? v / 2 : (v + 1) / 2;
    picture.origin = isOddField ? request.lineStride : 0;
    picture.lineStride = 2 * request.lineStride;
}

std::vector<std::uint32_t> divideRow(std::uint32_t width_in_mb, std::uint32_t log2_slice_size_in_mb) {
    std::vector<std::uint32_t> sizes;
    std::uint32_t left = width_in_mb;
    for (std::uint32_t size = 1u << log2_slice_size_in_mb; left != 0; size /= 2) {
        for (; left >= size; left -= size)
            sizes.push_back(size);
    }
    return sizes;
}

// Everything that the slices of one picture have in common.
struct SliceContext {
    SlowFrameHeader const& header;
    Picture const& picture;
    DecodeRequest const& request;

    std::uint32_t mbSize() const { return 16u >> request.downSampleFactor; }
    std::uint32_t keptCoefficients() const {
        return slowUsesFloatPath(request) ? 64u : 64u >> (2 * request.downSampleFactor);
    }
};

void placeSlice(SlowSlice& slice, SliceContext const& context) {
    Picture const& picture = context.picture;
    const std::uint32_t mbSize = context.mbSize();
    slice.width = slice.sliceMbs * mbSize;
    // The correction is taken in 32 bits and with the unreduced width, so that it wraps at reduced sizes.
    if (slice.sliceColumn + 1 == picture.slice_size_in_mb.size())
        slice.width -= picture.width_in_mb * mbSize - context.header.horizontal_size;
    slice.height = mbSize;
    if (slice.mbRow + 1 == picture.height_in_mb)
        slice.height -= picture.height_in_mb * mbSize - (picture.vertical_size >> context.request.downSampleFactor);
    std::uint32_t mbsBefore = 0;
    for (std::uint32_t column = 0; column < slice.sliceColumn; ++column)
        mbsBefore += picture.slice_size_in_mb[column];
    const std::uint32_t bytesPerSample = context.request.bitDepth > 8 ? 2 : 1;
    slice.origin = picture.origin + std::int64_t{slice.mbRow} * mbSize * picture.lineStride +
                   std::int64_t{mbSize} * context.header.samplesPerPixel() * mbsBefore * bytesPerSample;
    slice.lineStride = picture.lineStride;
}

// Decodes one component and moves the cursor to its end, whether it succeeded or not.
bool decodeComponent(Cursor& cursor, std::uint64_t numBytes, std::uint32_t numBlocks, SliceContext const& context,
                     std::vector<std::int16_t>& coefficients, bool& open) {
    SlowScanResult result =
        slowScanCoefficients(cursor.first(numBytes), numBlocks, context.keptCoefficients(), context.request.target);
    cursor.advance(numBytes);
    coefficients = std::move(result.coefficients);
    // A scan that continues after the DCs must fail if a read has wrapped; one that ends there may say anything.
    open = open || (result.wrapped && context.keptCoefficients() <= 1);
    return result.ok;
}

std::uint32_t alphaSamples(SlowSlice const& slice, Picture const& picture) {
    std::uint32_t rows = 16;
    if (slice.mbRow + 1 == picture.height_in_mb)
        rows = picture.vertical_size - picture.height_in_mb * 16 + 16;
    return slice.sliceMbs * 16 * rows;
}

void decodeSlice(SlowSlice& slice, Cursor cursor, std::uint32_t codedSize, SliceContext const& context) {
    const bool hasAlpha = context.header.alpha_channel_type != 0;
    const std::uint32_t slice_header_size = cursor.byte(0) / 8;
    slice.quantization_index = cursor.byte(1);
    const std::uint64_t coded_size_y = cursor.word16(2);
    const std::uint64_t coded_size_cb = cursor.word16(4);
    // The first subtraction is in 32 bits, the others in 64: sizes that do not fit give a range to the end of the data.
    const std::uint64_t coded_size_cr =
        hasAlpha ? cursor.word16(6) : std::uint64_t{codedSize - slice_header_size} - coded_size_y - coded_size_cb;
    cursor.advance(slice_header_size);

    const std::uint32_t lumaBlocks = 4 * slice.sliceMbs;
    const std::uint32_t chromaBlocks = (context.header.is444() ? 4 : 2) * slice.sliceMbs;
    if (!decodeComponent(cursor, coded_size_y, lumaBlocks, context, slice.y, slice.open) ||
        !decodeComponent(cursor, coded_size_cb, chromaBlocks, context, slice.cb, slice.open) ||
        !decodeComponent(cursor, coded_size_cr, chromaBlocks, context, slice.cr, slice.open))
        return;
    slice.ok = true;
    if (hasAlpha) {
        SlowAlphaResult alpha = slowScanAlpha(cursor.all(), alphaSamples(slice, context.picture),
                                              context.header.alpha_channel_type == 1 ? 8 : 16, context.request.target);
        slice.alpha = std::move(alpha.samples);
        // Only 4:4:4 output of full-size blocks looks at the plane.
        if (context.header.is444() && slowUsesFloatPath(context.request))
            slice.open = slice.open || alpha.wrapped;
    }
}

// Decodes one picture into `frame` and returns its picture_size.
std::uint32_t decodePicture(std::uint32_t index, Cursor cursor, DecodeRequest const& request, SlowFrame& frame) {
    Picture picture;
    picture.index = index;
    const std::uint32_t picture_header_size = cursor.byte(0) / 8;
    picture.picture_size = cursor.word32(1);
    const std::uint32_t log2_slice_size_in_mb = (cursor.byte(7) / 16) % 4;
    placePicture(picture, frame.header, request);
    picture.width_in_mb = (frame.header.horizontal_size + 15) / 16;
    picture.height_in_mb = (picture.vertical_size + 15) / 16;
    picture.slice_size_in_mb = divideRow(picture.width_in_mb, log2_slice_size_in_mb);
    cursor.advance(picture_header_size);

    const std::uint64_t slicesPerRow = picture.slice_size_in_mb.size();
    std::vector<std::uint32_t> codedSizes;
    for (std::uint64_t i = 0; i < picture.height_in_mb * slicesPerRow; ++i) {
        codedSizes.push_back(cursor.word16(0));
        cursor.advance(2);
    }
    const SliceContext context{frame.header, picture, request};
    for (std::uint64_t i = 0; i < codedSizes.size(); ++i) {
        SlowSlice slice;
        slice.pictureIndex = index;
        slice.mbRow = static_cast<std::uint32_t>(i / slicesPerRow);
        slice.sliceColumn = static_cast<std::uint32_t>(i % slicesPerRow);
        slice.sliceMbs = picture.slice_size_in_mb[slice.sliceColumn];
        placeSlice(slice, context);
        decodeSlice(slice, cursor, codedSizes[i], context);
        frame.slices.push_back(std::move(slice));
        cursor.advance(codedSizes[i]);
    }
    return picture.picture_size;
}

} // namespace

bool slowUsesFloatPath(DecodeRequest const& request) {
    return request.downSampleFactor == 0 || request.bitDepth > 8;
}

SlowFrameHeader slowParseHeader(std::span<const std::uint8_t> frame) {
    Cursor cursor(frame);
    cursor.advance(8);
    SlowFrameHeader header;
    header.header_size = cursor.word16(0);
    header.horizontal_size = cursor.word16(8);
    header.vertical_size = cursor.word16(10);
    header.chroma_format = cursor.byte(12) / 64;
    header.interlace_mode = (cursor.byte(12) / 4) % 4;
    header.matrix_coefficients = cursor.byte(16);
    header.alpha_channel_type = cursor.byte(17) % 16;
    const bool loadsLuma = (cursor.byte(19) & 2) != 0;
    const bool loadsChroma = (cursor.byte(19) & 1) != 0;
    cursor.advance(20);
    header.luma_quant.fill(4);
    if (loadsLuma)
        header.luma_quant = readMatrix(cursor);
    header.chroma_quant = loadsChroma ? readMatrix(cursor) : header.luma_quant;
    return header;
}

std::uint64_t slowLineBytes(SlowFrameHeader const& header, DecodeRequest const& request) {
    return std::uint64_t{header.samplesPerPixel()} * (request.bitDepth > 8 ? 2 : 1) *
           (header.horizontal_size >> request.downSampleFactor);
}

SlowFrame slowParseFrame(std::span<const std::uint8_t> bytes, DecodeRequest const& request) {
    SlowFrame frame;
    frame.header = slowParseHeader(bytes);
    Cursor cursor(bytes);
    cursor.advance(8);
    cursor.advance(frame.header.header_size);
    const std::uint32_t picture_size = decodePicture(0, cursor, request, frame);
    if (frame.header.interlace_mode == 1 || frame.header.interlace_mode == 2) {
        cursor.advance(picture_size);
        decodePicture(1, cursor, request, frame);
    }
    return frame;
}
