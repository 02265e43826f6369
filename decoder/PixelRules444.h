#pragma once

#include <cstdint>
#include <type_traits>

#include "MacroblockWalk.h"
#include "PixelRows.h"
#include "SliceMacroblockWriter_Impl.h"

// Which pixels of a member AVX2 converts to RGB by reciprocals, as a vector lane does, and which by division. A group
// is a part of a row as wide as a block. Baseline always divides.
enum class FormOf {
    allByReciprocals,
    groupsByReciprocals,
    allByDivision,
};

// What the pixels of one part of a row have in common.
struct RowForm {
    bool isGroup; // AVX2 handles the part as one vector group
    bool byReciprocals;
    bool isWideGroup; // a group of eight
};

template <OptimizationTarget target, FormOf form, unsigned int size>
static inline RowForm rowFormOf(QuadrantRow const& part) {
    const bool isGroup = target == OptimizationTarget::AVX2 && form != FormOf::allByDivision && part.width == size;
    const bool byReciprocals = target == OptimizationTarget::AVX2 && (form == FormOf::allByReciprocals || isGroup);
    return {isGroup, byReciprocals, isGroup && size == 8};
}

// The alpha sample of a frame without alpha.
struct OpaqueAlpha {
    std::uint16_t code;

    template <class Sample, class Writer>
    std::int32_t codeAt(Writer const&, RowForm const&, QuadrantRow const&, unsigned int) const {
        return code;
    }
};

// Alpha from the decoded plane.
template <OptimizationTarget target, unsigned int depth>
struct PlaneAlpha {
    std::uint16_t const* firstSample; // of the macroblock
    std::uint64_t pitch;              // samples from row to row

    template <class Sample, class Writer>
    std::int32_t codeAt(Writer const& writer, RowForm const& form, QuadrantRow const& part, unsigned int x) const {
        const std::int32_t sample = firstSample[part.mbRow * pitch + 8 * (part.quadrant & 1) + x];
        return form.isGroup ? rounded<Sample>(writer, sample) : roundedDown<Sample>(writer, sample);
    }

private:
    template <class Sample, class Writer>
    static std::int32_t rounded(Writer const& writer, std::int32_t sample) {
        const float scale = depth == 16 ? writer.alpha16Scale() : writer.alpha8Scale();
        const auto code = static_cast<std::int32_t>(multiplyAdd<target>(static_cast<float>(sample), scale, 0.5f));
        const std::int32_t saturated = code < 65535 ? code : 65535;
        // Bytes keep the low half of the saturated code.
        return sizeof(Sample) == 1 ? saturated & 0xFF : writer.clamp(saturated);
    }

    // The product wraps for large samples of 16 bits, and the quotient is then one too small.
    template <class Sample, class Writer>
    static std::int32_t roundedDown(Writer const& writer, std::int32_t sample) {
        const std::uint32_t product =
            static_cast<std::uint32_t>(sample) * static_cast<std::uint32_t>(writer.maxValue());
        return (static_cast<std::int32_t>(product) / (depth == 16 ? 65535 : 255)) &
               (sizeof(Sample) == 1 ? 0xFF : 0xFFFF);
    }
};

// The alpha sample of reduced pictures of a frame with alpha: opaque, whatever the plane holds, but for groups of a
// frame with 16-bit alpha.
template <OptimizationTarget target, unsigned int depth>
struct ReducedAlpha {
    template <class Sample, class Writer>
    std::int32_t codeAt(Writer const&, RowForm const& form, QuadrantRow const&, unsigned int) const {
        return depth == 16 && form.isGroup ? 127 : 255;
    }
};

// Single values as blocks of one.
static inline std::int16_t const (*blocksOfOne(std::int16_t const* values))[1][1] {
    return reinterpret_cast<std::int16_t const(*)[1][1]>(values);
}

// Bytes of a wide group pass through signed 16 bits on their way, where codes of 32768 and more turn negative.
template <class Sample, class Writer>
static inline std::int32_t clampedCode(Writer const& writer, RowForm const& form, std::int32_t code) {
    if (sizeof(Sample) == 1 && form.isWideGroup && code >= 32768)
        return 0;
    return writer.clamp(code);
}

// The three codes behind the alpha of one pixel, before clamping.
template <bool rgb, OptimizationTarget target, class Real>
static inline typename SliceMacroblockWriter<target, Real>::ColorCodes
colorCodes(SliceMacroblockWriter<target, Real> const& writer, RowForm const& form, Real y, Real cb, Real cr) {
    if (!rgb)
        return {writer.unclampedCode(y), writer.unclampedCode(cb), writer.unclampedCode(cr)};
    return form.byReciprocals ? writer.convertToRGBByReciprocals(y, cb, cr) : writer.convertToRGB(y, cb, cr);
}

// Writes one macroblock of blocks of `size` x `size` values, macroblocks `mbPitch` samples apart. The definition of the
// pixel forms, one pixel at a time.
template <bool rgb, class Sample, FormOf form, OptimizationTarget target, class Real, class Value, unsigned int size,
          class Alpha>
void writeBlocks444(SliceMacroblockWriter<target, Real> const& writer, PixelBuffer const& buffer, unsigned int mb,
                    unsigned int mbPitch, Value const (*y)[size][size], Value const (*cb)[size][size],
                    Value const (*cr)[size][size], Alpha const& alpha) {
    // Chroma blocks run down the columns, luma blocks along the rows.
    static constexpr unsigned int kChromaBlock[4] = {0, 2, 1, 3};
    std::uint8_t* firstPixel = movedBy(buffer.pixels, static_cast<std::int64_t>(mb * mbPitch * sizeof(Sample)));
    const OutputLevels levels = writer.levels();
    walkMacroblock(
        writer, mb, firstPixel, buffer.lineStride, 4 * sizeof(Sample), [&](QuadrantRow const& part, std::uint8_t* out) {
            if constexpr (kHasEmptyGroups<target, Sample, Value, size>) {
                if (part.width == 8)
                    return;
            }
            const RowForm rowForm = rowFormOf<target, form, size>(part);
            const Value* yRow = y[part.quadrant][part.row];
            const Value* cbRow = cb[kChromaBlock[part.quadrant]][part.row];
            const Value* crRow = cr[kChromaBlock[part.quadrant]][part.row];
            if constexpr (size == 8 && std::is_same_v<Value, float>) {
                if (part.width == 8) {
                    std::int32_t alphaCodes[8];
                    for (unsigned int x = 0; x < 8; ++x)
                        alphaCodes[x] = alpha.template codeAt<Sample>(writer, rowForm, part, x);
                    PixelRows<target>::template write444<rgb>(alphaCodes, yRow, cbRow, crRow, levels,
                                                              static_cast<Sample*>(nullptr), out, writer.streams());
                    return;
                }
            }
            for (unsigned int x = 0; x < part.width; ++x, out += 4 * sizeof(Sample)) {
                const auto codes = colorCodes<rgb>(writer, rowForm, static_cast<Real>(yRow[x]),
                                                   static_cast<Real>(cbRow[x]), static_cast<Real>(crRow[x]));
                storeSample<Sample>(out, 0, alpha.template codeAt<Sample>(writer, rowForm, part, x));
                storeSample<Sample>(out, 1, clampedCode<Sample>(writer, rowForm, codes.first));
                storeSample<Sample>(out, 2, clampedCode<Sample>(writer, rowForm, codes.second));
                storeSample<Sample>(out, 3, clampedCode<Sample>(writer, rowForm, codes.third));
            }
        });
}
