#pragma once

#include <cstring>

#include "FormedRow.h"
#include "Intrinsics.h"
#include "PlaneSplit.h"
#include "RgbLines.h"
#include "WideRgb.h"

template <OptimizationTarget target>
FormedRow<target>::FormedRow(FormedPicture const& picture, RowLines const& lines, std::uint32_t firstX,
                             RowMemory& memory)
    : m_picture(picture), m_memory(memory) {
    begin(lines, firstX);
}

template <OptimizationTarget target>
void FormedRow<target>::begin(RowLines const& lines, std::uint32_t firstX) {
    m_lines = lines;
    m_nextX = firstX;
    PixelRectangle const& region = m_picture.output.region;
    const auto linesBefore = [&lines](std::uint64_t line) -> std::uint32_t {
        const std::uint64_t count = line > lines.first ? (line - lines.first + lines.step - 1) / lines.step : 0;
        return count < lines.count ? static_cast<std::uint32_t>(count) : lines.count;
    };
    m_beginLine = linesBefore(region.y);
    m_endLine = linesBefore(std::uint64_t{region.y} + region.height);
    m_firstLine = lines.first - region.y;
}

template <OptimizationTarget target>
void FormedRow<target>::beginNext(RowLines const& lines, std::uint32_t firstX) {
    writePending(nullptr);
    begin(lines, firstX);
}

template <OptimizationTarget target>
PixelBuffer FormedRow<target>::codedRectangle(PixelBuffer rectangle) const {
    rectangle.pixels = &m_memory.coded.line[0][0];
    rectangle.lineStride = CodedBand::kBytesPerLine;
    // A plane of Cr has a sample for the last pixel of an odd width, which coded pixels lack.
    if (!m_picture.is444)
        rectangle.width += rectangle.width & 1;
    return rectangle;
}

template <OptimizationTarget target>
typename FormedRow<target>::Extent FormedRow<target>::next(std::uint32_t numMbs) {
    const Extent slice{m_nextX, numMbs * m_picture.mbSize};
    m_nextX += slice.width;
    return slice;
}

template <OptimizationTarget target>
typename FormedRow<target>::Part FormedRow<target>::partOf(Extent const& slice) const {
    PixelRectangle const& region = m_picture.output.region;
    const std::uint32_t endOfRegion = region.x + region.width, endOfSlice = slice.x + slice.width;
    const std::uint32_t first = slice.x > region.x ? slice.x : region.x;
    const std::uint32_t end = endOfSlice < endOfRegion ? endOfSlice : endOfRegion;
    if (end <= first)
        return {};
    return {first - slice.x, end - slice.x, first - region.x};
}

template <OptimizationTarget target>
std::uint8_t* FormedRow<target>::placeOf(std::uint32_t plane, std::uint32_t line, std::uint64_t bytes) const {
    OutputPlane const& to = m_picture.output.planes[plane];
    return movedBy(lineBelow(to.pixels, lineOfRegion(line), to.lineStride), static_cast<std::int64_t>(bytes));
}

template <OptimizationTarget target>
bool FormedRow<target>::takePlanes(std::uint32_t numMbs, SlicePlanes& planes) {
    const Extent slice{m_nextX, numMbs * m_picture.mbSize};
    const Part part = partOf(slice);
    const bool isWhole = part.end - part.first == slice.width && m_endLine - m_beginLine == m_lines.count;
    if (!m_picture.takesPlanes || !isWhole)
        return false;
    planes.streams = m_picture.streams;
    for (std::uint32_t i = 0; i < 3; ++i) {
        const std::uint64_t bytes = std::uint64_t{part.column} * m_picture.bytesPerTwoPixels(i) / 2;
        OutputPlane& plane = planes.plane[i];
        // Of a single line the stride may be anything, so that its multiple wraps.
        const std::uint64_t stride = static_cast<std::uint64_t>(m_picture.output.planes[i].lineStride) * m_lines.step;
        plane = {placeOf(i, 0, bytes), static_cast<std::int64_t>(stride)};
        planes.streams = planes.streams && reinterpret_cast<std::uintptr_t>(plane.pixels) % kCacheLineBytes == 0;
    }
    next(numMbs);
    return true;
}

template <OptimizationTarget target>
void FormedRow<target>::takeCodes(std::uint32_t numMbs) {
    const Part part = partOf(next(numMbs));
    if (part.first < part.end)
        writeCodes(part);
}

// Stores that find their line in the cache do not wait for it. The next slice is as large as this one as a rule; the
// lines in between arrive while it is reconstructed.
template <OptimizationTarget target>
void FormedRow<target>::prefetchAfter(Part const& part, std::uint32_t line) const {
    PixelRectangle const& region = m_picture.output.region;
    const std::uint32_t numPlanes = m_picture.output.form == PixelForm::Planar ? m_picture.hasAlpha ? 4 : 3 : 1;
    const std::uint32_t columns = part.end - part.first, after = part.column + columns;
    const std::uint32_t end = after + columns < region.width ? after + columns : region.width;
    for (std::uint32_t plane = 0; plane < numPlanes; ++plane) {
        const std::uint32_t bytes = m_picture.bytesPerTwoPixels(plane);
        std::uint8_t* const line0 = placeOf(plane, line, 0);
        for (std::uint32_t at = after * bytes / 2; at < end * bytes / 2; at += 64)
            prefetchForWriting(line0 + at);
    }
}

template <OptimizationTarget target>
void FormedRow<target>::writeCodes(Part const& part) const {
    const std::size_t bytesPerPixel = m_picture.codedBytesPerPixel;
    for (std::uint32_t line = m_beginLine; line < m_endLine; ++line) {
        prefetchAfter(part, line);
        if (m_picture.output.form == PixelForm::Coded)
            std::memcpy(placeOf(0, line, part.column * bytesPerPixel),
                        m_memory.coded.line[line] + part.first * bytesPerPixel,
                        (part.end - part.first) * bytesPerPixel);
        else if (m_picture.isDeep)
            splitLine<std::uint16_t>(line, part);
        else
            splitLine<std::uint8_t>(line, part);
    }
}

template <OptimizationTarget target>
template <class Sample>
void FormedRow<target>::splitLine(std::uint32_t line, Part const& part) const {
    const std::uint64_t column = part.column * sizeof(Sample);
    const std::uint64_t chromaColumn = m_picture.is444 ? column : column / 2;
    const PlaneLine to{placeOf(0, line, column), placeOf(1, line, chromaColumn), placeOf(2, line, chromaColumn),
                       m_picture.hasAlpha ? placeOf(3, line, column) : nullptr};
    const std::uint8_t* const codes =
        m_memory.coded.line[line] + std::size_t{part.first} * m_picture.codedBytesPerPixel;
    if (m_picture.is444)
        PlaneSplit<target, Sample>::split444(codes, part.end - part.first, to);
    else
        PlaneSplit<target, Sample>::split422(codes, part.end - part.first, to);
}

template <OptimizationTarget target>
void FormedRow<target>::takeSamples(std::uint32_t numMbs) {
    writePending(&band());
    m_pending = next(numMbs);
    if (m_pending.width % 8 != 0)
        clearAfter(band(), m_pending.width);
    // While the samples are in the cache.
    writeWithin(band(), m_pending, 0, pixelsBeforeNext(m_pending));
    m_isPending = true;
    m_current ^= 1;
}

template <OptimizationTarget target>
std::uint32_t FormedRow<target>::pixelsBeforeNext(Extent const& slice) const {
    if (!m_picture.readsNextChroma())
        return slice.width;
    const bool isWhole = m_picture.width - slice.x >= slice.width;
    return isWhole && slice.width > kWidePixels ? slice.width - kWidePixels : 0;
}

// Pixels are converted in groups of eight. Those after a slice that is narrower have any values, but they have some.
template <OptimizationTarget target>
void FormedRow<target>::clearAfter(SampleBand& band, std::uint32_t width) const {
    const std::uint32_t chromaWidth = m_picture.is444 ? width : width / 2;
    for (std::uint32_t line = m_beginLine; line < m_endLine; ++line) {
        std::memset(band.component[0].line[line] + width, 0, 8 * sizeof(float));
        std::memset(band.component[1].line[line] + chromaWidth, 0, 8 * sizeof(float));
        std::memset(band.component[2].line[line] + chromaWidth, 0, 8 * sizeof(float));
        std::memset(band.alpha.line[line] + width, 0, 8 * sizeof(float));
    }
}

template <OptimizationTarget target>
void FormedRow<target>::skip(std::uint32_t numMbs) {
    writePending(nullptr);
    next(numMbs);
}

template <OptimizationTarget target>
void FormedRow<target>::finish() {
    writePending(nullptr);
    if (m_picture.streams)
        _mm_sfence();
}

template <OptimizationTarget target>
void FormedRow<target>::writePending(SampleBand const* next) {
    if (!m_isPending)
        return;
    m_isPending = false;
    const Part part = partOf(m_pending);
    if (part.first >= part.end)
        return;
    SampleBand& pending = m_memory.bands[m_current ^ 1];
    if (!m_picture.is444)
        setNextChroma(pending, m_pending, next);
    writeWithin(pending, m_pending, pixelsBeforeNext(m_pending), m_pending.width);
}

template <OptimizationTarget target>
void FormedRow<target>::writeWithin(SampleBand const& band, Extent const& slice, std::uint32_t first,
                                    std::uint32_t end) const {
    Part part = partOf(slice);
    if (part.first < first) {
        part.column += first - part.first;
        part.first = first;
    }
    part.end = part.end < end ? part.end : end;
    if (part.first < part.end)
        writeSamples(band, part);
}

// The chroma sample that the last odd column is interpolated with: the neighbour's first, or where the picture ends or
// there is none, its own once more.
template <OptimizationTarget target>
void FormedRow<target>::setNextChroma(SampleBand& band, Extent const& slice, SampleBand const* next) const {
    const std::uint64_t widthInPicture = m_picture.width - slice.x;
    const bool endsPicture = widthInPicture <= slice.width;
    const std::uint64_t index = (endsPicture ? widthInPicture + 1 : slice.width) / 2;
    for (unsigned int i = 1; i < 3; ++i) {
        for (std::uint32_t line = m_beginLine; line < m_endLine; ++line) {
            float* const samples = band.component[i].line[line];
            samples[index] = endsPicture || next == nullptr ? samples[index - 1] : next->component[i].line[line][0];
            // The last group of the slice has it even where the picture ends inside that group.
            samples[slice.width / 2] = samples[index];
        }
    }
}

template <OptimizationTarget target>
void FormedRow<target>::writeSamples(SampleBand const& band, Part const& part) const {
    if (!m_picture.streams)
        for (std::uint32_t line = m_beginLine; line < m_endLine; ++line)
            prefetchAfter(part, line);
    if (m_picture.output.form != PixelForm::Planar)
        return writePixelLines(band, part);
    for (std::uint32_t line = m_beginLine; line < m_endLine; ++line)
        writePlanarLine(band, line, part);
}

template <OptimizationTarget target>
SampleLine FormedRow<target>::samplesOf(SampleBand const& band, std::uint32_t line) const {
    return {band.component[0].line[line], band.component[1].line[line], band.component[2].line[line],
            m_picture.hasAlpha ? band.alpha.line[line] : nullptr};
}

template <OptimizationTarget target>
void FormedRow<target>::writePixelLines(SampleBand const& band, Part const& part) const {
    const std::uint64_t bytesPerPixel = m_picture.bytesPerTwoPixels(0) / 2;
    // What is not in whole groups of the wide form is at the ends.
    std::uint32_t first = part.end, end = part.end;
    if constexpr (kHasVectorForms<target>) {
        const std::uint32_t begin = (part.first + kWidePixels - 1) / kWidePixels * kWidePixels;
        if (m_picture.isWide && begin < part.end / kWidePixels * kWidePixels) {
            first = begin;
            end = part.end / kWidePixels * kWidePixels;
            const auto stride = static_cast<std::uint64_t>(m_picture.output.planes[0].lineStride) * m_lines.step;
            writeWideRgb(m_picture, {samplesOf(band, m_beginLine), m_endLine - m_beginLine, first, end,
                                     placeOf(0, m_beginLine, (part.column + first - part.first) * bytesPerPixel),
                                     static_cast<std::int64_t>(stride)});
        }
    }
    if (first == part.first && end == part.end)
        return;
    for (std::uint32_t line = m_beginLine; line < m_endLine; ++line) {
        std::uint8_t* const out = placeOf(0, line, part.column * bytesPerPixel);
        writePixels(samplesOf(band, line), part.first, first, out);
        writePixels(samplesOf(band, line), end, part.end, out + (end - part.first) * bytesPerPixel);
    }
}

template <OptimizationTarget target>
void FormedRow<target>::writePixels(SampleLine const& samples, std::uint32_t first, std::uint32_t end,
                                    std::uint8_t* out) const {
    if (first >= end)
        return;
    const RgbLines<target> lines(m_picture, samples);
    if (m_picture.output.form == PixelForm::RgbaHalf)
        lines.writeHalves(first, end, out);
    else if (m_picture.isDeep)
        lines.writeWords(first, end, out);
    else
        lines.writeBytes(first, end, out);
}

// Codes of 8 bits, which are those of the writers: the samples of reduced pictures are integers, and no step rounds.
template <OptimizationTarget target>
void FormedRow<target>::writePlanarLine(SampleBand const& band, std::uint32_t line, Part const& part) const {
    constexpr float kGreatest = 32767.0f, kScale = 0.5f, kOffset = 128.5f;
    writePlaneBytes<target>(band.component[0].line[line], kGreatest, kScale, kOffset, part.first, part.end,
                            placeOf(0, line, part.column));
    const std::uint32_t perChroma = m_picture.is444 ? 1 : 2;
    for (std::uint32_t i = 1; i < 3; ++i)
        writePlaneBytes<target>(band.component[i].line[line], kGreatest, kScale, kOffset, part.first / perChroma,
                                (part.end + perChroma - 1) / perChroma, placeOf(i, line, part.column / perChroma));
    if (m_picture.hasAlpha)
        writePlaneBytes<target>(band.alpha.line[line], m_picture.greatestAlpha, m_picture.alphaScale, 0.5f, part.first,
                                part.end, placeOf(3, line, part.column));
}
