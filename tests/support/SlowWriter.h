#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "SlowCanvas.h"
#include "SlowFrame.h"

// A block of samples: `side` rows of `side` values, of a full-size block (8) or a reduced one (4, 2 or 1). Reduced
// samples are integers, which floats hold exactly.
struct SlowBlock {
    int side = 8;
    std::array<float, 64> samples{};
    float at(int row, int column) const { return samples[static_cast<std::size_t>(row * side + column)]; }
};

// The blocks of one macroblock, in the order of the stream.
struct SlowMacroblock {
    std::vector<SlowBlock> y;  // 4
    std::vector<SlowBlock> cb; // 2 or 4
    std::vector<SlowBlock> cr; // 2 or 4
};

// The levels, scales and matrix of an output form.
struct SlowLevels {
    std::int32_t maxValue = 0;
    float alpha8Scale = 0;
    float alpha16Scale = 0;
    float sampleScale = 0;
    float cbToGreen = 0;
    float cbToBlue = 0;
    float crToRed = 0;
    float crToGreen = 0;
    float rgbScale = 0;
    float rgbOffset = 0;
};

// Throws std::runtime_error for a depth that is none of 8, 10, 15 and 16.
SlowLevels slowLevels(SlowFrameHeader const& header, DecodeRequest const& request);

// Writes the macroblocks of one slice, pixel by pixel, with the rules of all three kinds of output in one place.
class SlowWriter {
public:
    SlowWriter(SlowFrameHeader const& header, DecodeRequest const& request, SlowSlice const& slice, SlowCanvas& canvas);
    void write(std::uint32_t mb, SlowMacroblock const& macroblock);

private:
    enum class Kind { C422, C444, C4444 };
    // A pixel's place in the walk over a macroblock.
    struct Place {
        std::int64_t offset = 0; // bytes from the caller's buffer to the pixel's first sample
        std::uint32_t x = 0;     // column within the part
        std::uint32_t partWidth = 0;
        std::uint64_t alphaIndex = 0; // sample of the alpha plane
        int side = 8;                 // of the blocks
    };
    struct Sample3 {
        float y, cb, cr;
    };

    void writePart422(Place place, SlowBlock const& y, SlowBlock const& cb, SlowBlock const& cr, int row, int chroma0);
    void writeEighth422(std::uint32_t mb, SlowMacroblock const& macroblock);
    void writePart444(Place place, SlowBlock const& y, SlowBlock const& cb, SlowBlock const& cr, int row);
    void writePixel444(Place const& place, Sample3 const& samples);
    void store(std::int64_t offset, std::int64_t code);

    bool isGroup(Place const& place) const;
    bool usesVectorRgb(Place const& place) const;
    std::int64_t alphaCode(Place const& place) const;
    std::int64_t groupAlphaCode(std::uint16_t a) const;
    std::int64_t scalarAlphaCode(std::uint16_t a) const;
    float encodedSample(float s) const; // before truncation
    std::array<float, 3> rgbVector(Sample3 const& samples) const;
    std::array<float, 3> rgbScalar(Sample3 const& samples) const;
    std::array<float, 3> combined(float y, float cb, float cr) const;
    std::int64_t finished(float code, bool wrapsThrough16Bits) const;

    bool isAvx2() const { return m_request.target == OptimizationTarget::AVX2; }
    bool isRgb() const { return m_request.colorCoding != 0; }
    std::int64_t bytesPerSample() const { return m_request.bitDepth > 8 ? 2 : 1; }

    DecodeRequest m_request;
    SlowSlice const& m_slice;
    SlowCanvas& m_canvas;
    SlowLevels m_levels;
    Kind m_kind;
    std::uint32_t m_samplesPerPixel;
    std::uint32_t m_alphaDepth;
    std::uint32_t m_mbSize;
};
