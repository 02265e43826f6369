#include "Block.h"
#include "DecodeMonitor.h"
#include "Picture_Impl.h"

namespace {

// The pixels and bytes from which on a second thread gains time; one of either costs about as much. A decode below that
// takes half a millisecond, and a thread that has to be woken for it comes too late to take much of it.
constexpr std::uint64_t kLeastSharedWork = std::uint64_t{1} << 18;

} // namespace

PictureLayout::PictureLayout(TemporalOrder order, Frame const& owner, Bitstream const& pictureBits)
    : m_temporalOrder(order),
      m_frame(owner),
      m_header(PictureHeader::picture_header(pictureBits)),
      m_verticalSize(owner.linesOfPicture(order)),
      m_widthInMb(owner.widthInMb()),
      m_heightInMb(owner.heightInMb(order)),
      m_sliceTable(RowDivision(m_widthInMb, m_header.log2_slice_size_in_mb), m_heightInMb,
                   after(pictureBits, m_header.picture_header_size)),
      m_slices(after(pictureBits, m_header.picture_header_size + m_sliceTable.tableBytes())) {
    initializePictureBuffer();
}

PictureLayout::~PictureLayout() = default;

Bitstream PictureLayout::after(Bitstream bits, std::uint64_t numBytes) {
    bits.advance(numBytes);
    return bits;
}

void PictureLayout::initializePictureBuffer() {
    m_pictureBuffer = m_frame.frame_buffer;
    if (m_frame.lineStepOfPicture() == 1)
        return;
    m_pictureBuffer.height = m_verticalSize;
    m_pictureBuffer.pixels =
        lineBelow(m_pictureBuffer.pixels, m_frame.firstLineOfPicture(m_temporalOrder), m_pictureBuffer.lineStride);
    // A stride that cannot be doubled belongs to a buffer that cannot exist; it wraps instead of overflowing.
    m_pictureBuffer.lineStride = static_cast<std::int64_t>(2 * static_cast<std::uint64_t>(m_pictureBuffer.lineStride));
}

Frame const& PictureLayout::frame() const {
    return m_frame;
}

TemporalOrder PictureLayout::temporalOrder() const {
    return m_temporalOrder;
}

PixelBuffer const& PictureLayout::pictureBuffer() const {
    return m_pictureBuffer;
}

std::uint32_t PictureLayout::picture_size() const {
    return m_header.picture_size;
}

std::uint32_t PictureLayout::vertical_size() const {
    return m_verticalSize;
}

std::uint32_t PictureLayout::width_in_mb() const {
    return m_widthInMb;
}

std::uint32_t PictureLayout::height_in_mb() const {
    return m_heightInMb;
}

std::uint32_t PictureLayout::slice_size_in_mb(std::uint32_t column) const {
    return m_sliceTable.division().sliceSizeInMb(column);
}

std::uint32_t PictureLayout::number_of_slices_per_mb_row() const {
    return m_sliceTable.division().slicesPerRow();
}

std::uint32_t PictureLayout::coded_size_of_slice(std::uint32_t row, std::uint32_t column) const {
    return m_sliceTable.codedSize(row, column);
}

std::uint32_t PictureLayout::getDownSampleFactor() const {
    return m_frame.downSampleFactor;
}

std::uint32_t PictureLayout::firstMb(std::uint32_t column) const {
    return m_sliceTable.division().firstMb(column);
}

std::uint32_t PictureLayout::rowsInData() const {
    if (isEmpty())
        return 0;
    std::uint32_t rows = m_heightInMb;
    while (rows > 0 && sliceBits(rows - 1, 0).size == 0)
        --rows;
    return rows;
}

bool PictureLayout::isEmpty() const {
    return m_heightInMb == 0 || number_of_slices_per_mb_row() == 0;
}

std::uint32_t PictureLayout::alphaBitsOfOutput() const {
    if (!m_frame.hasAlphaOutput())
        return 0;
    return m_frame.alpha_channel_type == 2 ? 16 : 8;
}

PictureFacts PictureLayout::facts() const {
    return {
        .form = OutputForm(m_pictureBuffer),
        .scanPattern = m_frame.interlace_mode != 0 ? interlacedScanPattern : progressiveScanPattern,
        .lumaMatrix = m_frame.luma_quant_scaled,
        .chromaMatrix = m_frame.chroma_quant_scaled,
        .hasAlpha = m_frame.alpha_channel_type != 0,
        .codedAlphaBits = m_frame.alpha_channel_type == 1 ? 8u : 16u,
        .writtenAlphaBits = m_frame.alpha_channel_type == 2 ? 16u : 8u,
    };
}

SliceInput PictureLayout::sliceInput(std::uint32_t row, std::uint32_t column, Bitstream const& bits) const {
    return {
        .rectangle = sliceBuffer(row, column),
        .bits = bits,
        .codedSize = coded_size_of_slice(row, column),
        .sizeInMb = slice_size_in_mb(column),
        .lines = row + 1 == m_heightInMb ? m_verticalSize - 16 * row : 16,
    };
}

SliceFailure PictureLayout::failure(std::uint32_t row, std::uint32_t column, std::uint32_t component) const {
    SliceFailure failure;
    failure.picture = static_cast<std::uint32_t>(m_temporalOrder);
    failure.mbRow = row;
    failure.slice_column = column;
    failure.byteOffset = static_cast<std::uint64_t>(sliceBits(row, column).data - m_frame.data);
    failure.component = component;
    const RowLines lines = linesOfRow(row);
    failure.x = firstMb(column) * mbSizeAt(m_frame.downSampleFactor);
    failure.y = lines.first;
    failure.lineStep = lines.step;
    return failure;
}

void PictureLayout::reportFailure(std::uint32_t row, std::uint32_t column, std::uint32_t component) const {
    if (m_frame.monitor != nullptr)
        m_frame.monitor->sliceFailed(failure(row, column, component), sliceBuffer(row, column));
}

void PictureLayout::reportMissingRows(std::uint32_t firstRow) const {
    reportMissingSlices({firstRow, m_heightInMb, 0, number_of_slices_per_mb_row()});
}

void PictureLayout::reportMissingSlices(SliceSpan const& slices) const {
    DecodeMonitor* const monitor = m_frame.monitor;
    if (monitor == nullptr || slices.isEmpty())
        return;
    for (std::uint32_t row = slices.firstRow; row < slices.endRow && !monitor->wantsStop(); ++row)
        monitor->rowMissing(MissingRow(*this, row, slices.firstColumn, slices.endColumn));
}

std::uint32_t PictureLayout::numLines() const {
    const std::uint32_t lines = m_verticalSize >> (m_frame.downSampleFactor & 31);
    const bool isCoded = m_frame.output == nullptr || m_frame.output->form == PixelForm::Coded;
    // At eighth size a row of macroblocks has two lines, the first of which the writer of 4:2:2 writes in any case.
    const bool writesFirstLines = isCoded && !m_frame.is444() && m_frame.downSampleFactor == 3 && m_heightInMb != 0;
    return writesFirstLines ? std::max(lines, 2 * m_heightInMb - 1) : lines;
}

RowLines PictureLayout::linesOfRow(std::uint32_t row) const {
    const std::uint32_t mbSize = mbSizeAt(m_frame.downSampleFactor);
    const std::uint32_t before = row * mbSize, lines = numLines();
    RowLines of;
    of.step = m_frame.lineStepOfPicture();
    of.first = m_frame.firstLineOfPicture(m_temporalOrder) + before * of.step;
    of.count = std::min(mbSize, lines > before ? lines - before : 0);
    return of;
}

SliceSpan PictureLayout::slicesOf(PixelRectangle const& region, bool readsNextChroma) const {
    const std::uint32_t mbSize = mbSizeAt(m_frame.downSampleFactor), numColumns = number_of_slices_per_mb_row();
    if (region.width == m_pictureBuffer.width && region.height == m_frame.frame_buffer.height)
        return {0, m_heightInMb, 0, numColumns};
    SliceSpan span;
    // Rows begin at multiples of mbSize * step lines from the picture's first.
    const std::uint64_t step = m_frame.lineStepOfPicture();
    const std::uint64_t firstLine = m_frame.firstLineOfPicture(m_temporalOrder);
    const auto linesBefore = [&](std::uint64_t line) {
        return line > firstLine ? (line - firstLine + step - 1) / step : 0;
    };
    const std::uint64_t begin = linesBefore(region.y);
    const std::uint64_t end = std::min<std::uint64_t>(linesBefore(std::uint64_t{region.y} + region.height), numLines());
    if (begin >= end)
        return {};
    span.firstRow = static_cast<std::uint32_t>(begin / mbSize);
    span.endRow = static_cast<std::uint32_t>((end - 1) / mbSize + 1);

    const std::uint64_t endOfRegion = std::uint64_t{region.x} + region.width;
    const auto xOf = [&](std::uint32_t column) { return std::uint64_t{firstMb(column)} * mbSize; };
    while (span.firstColumn + 1 < numColumns && xOf(span.firstColumn + 1) <= region.x)
        ++span.firstColumn;
    span.endColumn = span.firstColumn;
    while (span.endColumn < numColumns && xOf(span.endColumn) < endOfRegion)
        ++span.endColumn;
    const bool endsInside = endOfRegion < m_pictureBuffer.width;
    if (readsNextChroma && endsInside && span.endColumn < numColumns && xOf(span.endColumn) == endOfRegion)
        ++span.endColumn;
    return span;
}

PixelBuffer PictureLayout::sliceBuffer(std::uint32_t row, std::uint32_t column) const {
    PixelBuffer buffer = m_pictureBuffer;
    const std::uint32_t reduction = buffer.downSampleFactor;
    const std::uint32_t mbSize = mbSizeAt(reduction);

    // The last column is corrected by the full-size width whatever the reduction, so a reduced picture's last
    // macroblock is written whole. The last row is corrected by the reduced height.
    std::uint32_t width = slice_size_in_mb(column) * mbSize;
    if (column + 1 == number_of_slices_per_mb_row())
        width -= m_widthInMb * mbSize - m_frame.horizontal_size;
    std::uint32_t height = mbSize;
    if (row + 1 == m_heightInMb)
        height -= m_heightInMb * mbSize - (m_verticalSize >> (reduction & 31));
    buffer.width = width;
    buffer.height = height;

    const std::uint64_t rowBytes = std::uint64_t{row} * mbSize * static_cast<std::uint64_t>(buffer.lineStride);
    const std::uint64_t columnBytes =
        std::uint64_t{mbSize} * buffer.samplesPerPixel * firstMb(column) * bytesPerSample(buffer.bitDepth);
    buffer.pixels = movedBy(buffer.pixels, static_cast<std::int64_t>(rowBytes + columnBytes));
    return buffer;
}

std::uint32_t PictureLayout::maxThreads() const {
    const std::uint64_t pixels = std::uint64_t{256} * m_widthInMb * m_heightInMb;
    return pixels + m_slices.size < kLeastSharedWork ? 1 : m_frame.maxThreads;
}

SliceOrder PictureLayout::sliceOrder() const {
    if (m_frame.downSampleFactor == 0)
        return SliceOrder::Any;
    // Macroblocks of more than 8 bits are written at full size into the places of a reduced picture.
    if (m_pictureBuffer.bitDepth > 8)
        return SliceOrder::InTurn;
    const std::uint64_t bytesWritten =
        std::uint64_t{m_widthInMb} * mbSizeAt(m_frame.downSampleFactor) * m_pictureBuffer.samplesPerPixel;
    const auto stride = static_cast<std::uint64_t>(m_pictureBuffer.lineStride);
    const bool isUpwards = m_pictureBuffer.lineStride < 0;
    if (bytesWritten <= (isUpwards ? 0 - stride : stride))
        return SliceOrder::Any;
    // What goes beyond the right edge falls on the left edge of the next line of the buffer. The last group of a row
    // does not hold that edge where there are two.
    if (number_of_slices_per_mb_row() > 1)
        return SliceOrder::LastGroupFirst;
    return isUpwards ? SliceOrder::InTurnUpwards : SliceOrder::InTurn;
}

Bitstream PictureLayout::sliceBits(std::uint32_t row, std::uint32_t column) const {
    return after(m_slices, m_sliceTable.sliceOffset(row, column));
}

void PictureLayout::prefetchSlices(std::uint32_t row, std::uint32_t first, std::uint32_t end) const {
    if (first >= end)
        return;
    constexpr std::uint64_t kCacheLine = 64;
    const Bitstream bits = sliceBits(row, first);
    const std::uint64_t lastOffset = m_sliceTable.sliceOffset(row, end - 1) - m_sliceTable.sliceOffset(row, first);
    const std::uint64_t numBytes = std::min(bits.size, lastOffset + coded_size_of_slice(row, end - 1));
    for (std::uint64_t i = 0; i < numBytes; i += kCacheLine)
        __builtin_prefetch(bits.data + i);
}

template class Picture<OptimizationTarget::Baseline>;
