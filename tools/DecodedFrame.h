#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <span>
#include <vector>

#include "FrameHeader.h"
#include "OptimizationTarget.h"
#include "PictureOutput.h"
#include "PixelBuffer.h"
#include "ravelo.h"

// What happens to the pixels of slices that fail.
enum class FailedSlices { Black, Marked, Left };

// What a frame is to be decoded to.
struct DecodeRequest {
    std::uint32_t downSampleFactor = 0; // 0 full size, 1 half, 2 quarter, 3 eighth
    ColorCoding colorCoding = ColorCoding_YCbCr;
    std::uint32_t bitDepth = 8; // one of kBitDepths
    OptimizationTarget target = OptimizationTarget::Baseline;
    FailedSlices failedSlices = FailedSlices::Black;
    std::uint32_t markColor = 0xFF00FF;     // 0xRRGGBB
    bool pixelsAreUsed = true;              // false: pixels that no slice writes are not touched either
    bool listsAllDamage = true;             // false: if many slices fail, not all of them are listed, only counted
    PixelRectangle region = {};             // of the picture; without a size the whole picture
    std::uint32_t pixelForm = RAVELO_CODED; // or another but RAVELO_BGRA; only RAVELO_CODED needs `colorCoding`
    bool withNeighbours = false; // Y'CbCr of 4:2:2: with the columns beside the region whose chroma its pixels use
};

// The pixels of a decoded frame as the library delivers them. The object can be used for one frame after the other and
// reuses its memory.
class DecodedFrame {
public:
    // Decodes a frame that has passed checkFrame and checkReads. Pixels that no slice writes are black, or 0 for
    // FailedSlices::Left. Throws CommandError with ExitCode::Interrupted if a signal ends the decode, and ravelo::Error
    // if the C interface refuses it.
    void decode(std::span<const std::uint8_t> frame, DecodeRequest const& request);

    // Decodes into the existing memory, without a report of damage. The frame must have the geometry of that in the
    // last reserve() or decode().
    void decodeAgain(std::span<const std::uint8_t> frame);

    // Makes room for the frame without touching the pixels.
    void reserve(std::span<const std::uint8_t> frame, DecodeRequest const& request) { prepare(frame, request); }

    // Makes a black picture in the format that the decoded frame would have.
    void fillBlack(std::span<const std::uint8_t> frame, DecodeRequest const& request);

    // How many slices failed in the last decode().
    std::uint64_t failedSlices() const { return m_failedSlices; }

    // Those slices in the order of the frame; without DecodeRequest::listsAllDamage possibly only the first of them.
    std::vector<ravelo_damage> const& damage() const { return m_damage; }

    FrameHeader const& header() const { return m_header; }
    DecodeRequest const& request() const { return m_request; }
    std::uint32_t width() const { return m_width - m_columnsBefore - m_columnsAfter; }
    std::uint32_t height() const { return m_height; }
    std::uint32_t samplesPerPixel() const { return m_samplesPerPixel; }
    std::uint32_t bytesPerSample() const {
        return m_request.pixelForm == RAVELO_RGBA_HALF ? 2 : ::bytesPerSample(m_request.bitDepth);
    }
    std::uint32_t maxValue() const { return greatestCode(m_request.bitDepth); }
    // In pixels of the chosen size, with the neighbours; without a size the whole picture.
    PixelRectangle const& decodedRegion() const { return m_decodedRegion; }
    std::uint32_t columnsBefore() const { return m_columnsBefore; } // neighbours at the start of a line
    std::uint64_t rowBytes() const { return std::uint64_t{m_width} * m_samplesPerPixel * bytesPerSample(); }

    // The samples of line `y`, with those of neighbours: rowBytes() bytes, or those of a plane's line.
    std::span<const std::uint8_t> row(std::uint32_t y, std::size_t plane = 0) const {
        Plane const& of = m_planes[plane];
        return {m_pixels.get() + of.offset + std::size_t{y} * of.stride, static_cast<std::size_t>(of.rowBytes)};
    }

    // 3 or 4 of RAVELO_PLANAR, otherwise 1.
    std::size_t numPlanes() const { return m_planes.size(); }

    // The same as 16-bit values at every depth; `samples` is resized to those of rowBytes().
    void widenRow(std::uint32_t y, std::vector<std::uint16_t>& samples) const;

private:
    // The library writes large pictures past the caches if lines start at multiples of this.
    static constexpr std::size_t kAlignment = 64;

    struct FreeAligned {
        void operator()(std::uint8_t* memory) const { ::operator delete[](memory, std::align_val_t{kAlignment}); }
    };

    // In bytes. Planes are one after the other in memory.
    struct Plane {
        std::uint64_t offset = 0;
        std::uint64_t stride = 0;
        std::uint64_t rowBytes = 0;
        std::uint64_t size = 0; // with the gaps between and after its lines
    };

    void prepare(std::span<const std::uint8_t> frame, DecodeRequest const& request);
    void placePlanes(ravelo_buffer_requirements const& requirements);
    void fillWithBlack();
    void decodeWithReport(std::span<const std::uint8_t> frame);
    PixelRectangle takeNeighbours();
    void leaveNeighboursOut(ravelo_damage& damage) const;
    ravelo_output outputMemory() const;

    FrameHeader m_header;
    DecodeRequest m_request;
    PixelRectangle m_decodedRegion;
    std::uint32_t m_width = 0; // of the decoded lines
    std::uint32_t m_columnsBefore = 0;
    std::uint32_t m_columnsAfter = 0;
    std::uint32_t m_height = 0;
    std::uint32_t m_samplesPerPixel = 0;
    std::vector<Plane> m_planes;
    std::uint64_t m_bytes = 0; // of all planes
    std::uint64_t m_capacity = 0;
    std::unique_ptr<std::uint8_t[], FreeAligned> m_pixels;
    std::vector<ravelo_damage> m_damage;
    std::uint64_t m_failedSlices = 0;
};
