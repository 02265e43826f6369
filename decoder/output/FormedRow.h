#pragma once

#include <cstddef>
#include <cstdint>

#include "FormedPicture.h"
#include "PixelBuffer.h"
#include "SampleBand.h"
#include "SampleLine.h"
#include "SlicePlanes.h"
#include "Targets.h"

// What a row needs while it is decoded: one slice at a time, and of samples the slice before it, whose last pixel may
// depend on the next slice.
struct RowMemory {
    SampleBand bands[2];
    CodedBand coded;
};

// One row of macroblocks after the other on its way to the output. Slices are handed over from the left. Each is first
// reconstructed into memory of the thread and moved or converted from there while it is in the cache, so that the
// picture as a whole is nowhere but in the caller's memory.
template <OptimizationTarget target>
class FormedRow {
public:
    // The first slice starts at pixel `firstX` of the picture. All arguments outlive the row.
    FormedRow(FormedPicture const& picture, RowLines const& lines, std::uint32_t firstX, RowMemory& memory);

    FormedRow(FormedRow const&) = delete;
    FormedRow& operator=(FormedRow const&) = delete;

    // Ends the row, and begins another one of the same picture.
    void beginNext(RowLines const& lines, std::uint32_t firstX);

    bool takesSamples() const { return m_picture.takesSamples; }

    // Whether the samples of the next slice can go to their planes at once, all of them and nothing else. The places
    // are then `planes`, and the slice counts as written.
    bool takePlanes(std::uint32_t numMbs, SlicePlanes& planes);

    // Where the writer of any slice of the row writes its codes: `rectangle` with the address and the stride replaced.
    PixelBuffer codedRectangle(PixelBuffer rectangle) const;
    // The codes of the next slice are complete.
    void takeCodes(std::uint32_t numMbs);

    // Where the samples of the next slice go, blocks of any macroblock at its place.
    SampleBand& band() { return m_memory.bands[m_current]; }
    void takeSamples(std::uint32_t numMbs);

    // The next slice has failed: its pixels are left alone.
    void skip(std::uint32_t numMbs);

    // After the last slice of the last row.
    void finish();

private:
    // A slice of the picture, in pixels.
    struct Extent {
        std::uint32_t x = 0;
        std::uint32_t width = 0;
    };
    // The pixels of a slice that are in the region.
    struct Part {
        std::uint32_t first = 0; // counted from the slice's first
        std::uint32_t end = 0;
        std::uint32_t column = 0; // of the region, where the first one goes
    };

    void begin(RowLines const& lines, std::uint32_t firstX);
    Extent next(std::uint32_t numMbs);
    Part partOf(Extent const& slice) const;
    // The line of the region that a line of the row is.
    std::uint32_t lineOfRegion(std::uint32_t line) const { return m_firstLine + line * m_lines.step; }
    std::uint8_t* placeOf(std::uint32_t plane, std::uint32_t line, std::uint64_t bytes) const;

    // Fetches the part of a line that the next slice will write.
    void prefetchAfter(Part const& part, std::uint32_t line) const;

    void writeCodes(Part const& part) const;
    template <class Sample>
    void splitLine(std::uint32_t line, Part const& part) const;

    // Completes the slice before, whose right neighbour is `next`, or null if that failed or is not there.
    void writePending(SampleBand const* next);
    // Pixels of a slice that do not depend on the next one, from its first on.
    std::uint32_t pixelsBeforeNext(Extent const& slice) const;
    // Those of [first, end), counted from the slice's first, that are in the region.
    void writeWithin(SampleBand const& band, Extent const& slice, std::uint32_t first, std::uint32_t end) const;
    void clearAfter(SampleBand& band, std::uint32_t width) const;
    void setNextChroma(SampleBand& band, Extent const& slice, SampleBand const* next) const;
    void writeSamples(SampleBand const& band, Part const& part) const;
    SampleLine samplesOf(SampleBand const& band, std::uint32_t line) const;
    void writePixelLines(SampleBand const& band, Part const& part) const;
    // The pixels [first, end) of a line, `out` being the place of the first.
    void writePixels(SampleLine const& samples, std::uint32_t first, std::uint32_t end, std::uint8_t* out) const;
    void writePlanarLine(SampleBand const& band, std::uint32_t line, Part const& part) const;

    FormedPicture const& m_picture;
    RowLines m_lines;
    RowMemory& m_memory;
    std::uint32_t m_nextX = 0;
    std::uint32_t m_beginLine = 0; // of the row: the lines in the region
    std::uint32_t m_endLine = 0;   //
    std::uint32_t m_firstLine = 0; // of the region, modulo 2^32: that of the row's first line
    unsigned int m_current = 0;    // the band that is free
    bool m_isPending = false;      // the other one holds a slice, of which the end is not written
    Extent m_pending;
};

RAVELO_INSTANCES_ELSEWHERE(FormedRow);
