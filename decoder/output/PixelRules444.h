#pragma once

#include <cstdint>
#include <type_traits>

#include "MacroblockWalk.h"
#include "PixelRows.h"
#include "ReducedRows444.h"
#include "SliceMacroblockWriter_Impl.h"
#include "Targets.h"

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
static constexpr RowForm rowFormOf(unsigned int width) {
    const bool isGroup = kHasVectorForms<target> && form != FormOf::allByDivision && width == size;
    const bool byReciprocals = kHasVectorForms<target> && (form == FormOf::allByReciprocals || isGroup);
    return {isGroup, byReciprocals, isGroup && size == 8};
}

// The alpha sample of a frame without alpha.
template <OptimizationTarget target>
struct OpaqueAlpha {
    std::uint16_t code;

    template <class Sample>
    std::int32_t codeAt(OutputLevels const&, RowForm const&, QuadrantRow const&, unsigned int) const {
        return code;
    }
};

// Alpha from the decoded plane.
template <OptimizationTarget target, unsigned int depth>
struct PlaneAlpha {
    std::uint16_t const* firstSample; // of the macroblock
    std::uint64_t pitch;              // samples from row to row

    template <class Sample>
    std::int32_t codeAt(OutputLevels const& levels, RowForm const& form, QuadrantRow const& part,
                        unsigned int x) const {
        const std::int32_t sample = firstSample[part.mbRow * pitch + 8 * (part.quadrant & 1) + x];
        return form.isGroup ? rounded<Sample>(levels, sample) : roundedDown<Sample>(levels, sample);
    }

private:
    template <class Sample>
    static std::int32_t rounded(OutputLevels const& levels, std::int32_t sample) {
        const float scale = depth == 16 ? levels.alpha16Scale : levels.alpha8Scale;
        const auto code = static_cast<std::int32_t>(multiplyAdd<target>(static_cast<float>(sample), scale, 0.5f));
        const std::int32_t saturated = code < 65535 ? code : 65535;
        // Bytes keep the low half of the saturated code.
        return sizeof(Sample) == 1 ? saturated & 0xFF : limitedCode(levels, saturated);
    }

    // The product wraps for large samples of 16 bits, and the quotient is then one too small.
    template <class Sample>
    static std::int32_t roundedDown(OutputLevels const& levels, std::int32_t sample) {
        const std::uint32_t product = static_cast<std::uint32_t>(sample) * static_cast<std::uint32_t>(levels.maxValue);
        return (static_cast<std::int32_t>(product) / (depth == 16 ? 65535 : 255)) &
               (sizeof(Sample) == 1 ? 0xFF : 0xFFFF);
    }
};

// The alpha sample of reduced pictures of a frame with alpha: opaque, whatever the plane holds, except for groups of a
// frame with 16-bit alpha.
template <OptimizationTarget target, unsigned int depth>
struct ReducedAlpha {
    template <class Sample>
    std::int32_t codeAt(OutputLevels const&, RowForm const& form, QuadrantRow const&, unsigned int) const {
        return depth == 16 && form.isGroup ? 127 : 255;
    }
};

// Bytes of a wide group pass through signed 16 bits on their way, where codes of 32768 and more turn negative.
template <class Sample, class Writer>
static inline std::int32_t clampedCode(Writer const& writer, RowForm const& form, std::int32_t code) {
    if (sizeof(Sample) == 1 && form.isWideGroup && code >= 32768)
        return 0;
    return writer.clamp(code);
}

// The three codes after the alpha of one pixel, before clamping.
template <bool rgb, OptimizationTarget target, class Real>
static inline typename SliceMacroblockWriter<target, Real>::ColorCodes
colorCodes(SliceMacroblockWriter<target, Real> const& writer, RowForm const& form, Real y, Real cb, Real cr) {
    if (!rgb)
        return {writer.unclampedCode(y), writer.unclampedCode(cb), writer.unclampedCode(cr)};
    return form.byReciprocals ? writer.convertToRGBByReciprocals(y, cb, cr) : writer.convertToRGB(y, cb, cr);
}

// The values of one part of a row.
template <class Value>
struct PartValues {
    Value const* y;
    Value const* cb;
    Value const* cr;
};

// Writes a part of a row of blocks of `size` x `size` values, one pixel at a time: the definition of the pixel forms.
template <bool rgb, class Sample, unsigned int size, OptimizationTarget target, class Real, class Value, class Alpha>
inline void writePixels444(SliceMacroblockWriter<target, Real> const& writer, QuadrantRow const& part,
                           RowForm const& form, PartValues<Value> const& values, Alpha const& alpha,
                           std::uint8_t* out) {
    for (unsigned int x = 0; x < size; ++x, out += 4 * sizeof(Sample)) {
        // Left from inside, so that the compiler makes no vector form of a loop of at most `size` steps.
        if (x == part.width)
            return;
        const auto codes = colorCodes<rgb>(writer, form, static_cast<Real>(values.y[x]),
                                           static_cast<Real>(values.cb[x]), static_cast<Real>(values.cr[x]));
        storeSample<Sample>(out, 0, alpha.template codeAt<Sample>(writer.levels(), form, part, x));
        storeSample<Sample>(out, 1, clampedCode<Sample>(writer, form, codes.first));
        storeSample<Sample>(out, 2, clampedCode<Sample>(writer, form, codes.second));
        storeSample<Sample>(out, 3, clampedCode<Sample>(writer, form, codes.third));
    }
}

// The same for a rare part. It is not inlined into the loop over the rows, of which the compiler would otherwise make
// copies that contain all this.
template <bool rgb, class Sample, OptimizationTarget target, class Real, class Value, class Alpha>
[[gnu::noinline]] void writeRarePixels444(SliceMacroblockWriter<target, Real> const& writer, QuadrantRow const& part,
                                          RowForm const& form, PartValues<Value> const& values, Alpha const& alpha,
                                          std::uint8_t* out) {
    writePixels444<rgb, Sample, 8>(writer, part, form, values, alpha, out);
}

// Writes one macroblock of blocks of `size` x `size` values. At full size whole groups of eight pixels take the vector
// forms of PixelRows, and at reduced sizes whole rows those of ReducedRows444, where a target has them.
template <bool rgb, class Sample, FormOf form, OptimizationTarget target, class Real, class Value, unsigned int size,
          class Alpha>
void writeBlocks444(SliceMacroblockWriter<target, Real> const& writer, unsigned int mb, Value const (*y)[size][size],
                    Value const (*cb)[size][size], Value const (*cr)[size][size], Alpha const& alpha) {
    // Chroma blocks run down the columns, luma blocks along the rows.
    static constexpr unsigned int kChromaBlock[4] = {0, 2, 1, 3};
    if constexpr (size < 8) {
        constexpr RowForm wholeForm = rowFormOf<target, form, size>(size);
        const std::int32_t alphaCode = alpha.template codeAt<Sample>(writer.levels(), wholeForm, QuadrantRow{}, 0);
        if (ReducedRows444<target>::template write<rgb, wholeForm.byReciprocals>(writer, mb, y, cb, cr, alphaCode))
            return;
    }
    // A copy, which the compiler need not read again after each store.
    const OutputLevels levels = writer.levels();
    const auto writePart = [&](QuadrantRow const& part, std::uint8_t* out) {
        if (kHasEmptyGroups<target, Sample, Value, size> && part.width == 8)
            return;
        const unsigned int chromaBlock = kChromaBlock[part.quadrant];
        const PartValues<Value> values{y[part.quadrant][part.row], cb[chromaBlock][part.row],
                                       cr[chromaBlock][part.row]};
        if constexpr (size == 8 && std::is_same_v<Value, float>) {
            if (part.width == 8) {
                constexpr RowForm groupForm = rowFormOf<target, form, size>(size);
                std::int32_t alphaCodes[8];
                for (unsigned int x = 0; x < 8; ++x)
                    alphaCodes[x] = alpha.template codeAt<Sample>(levels, groupForm, part, x);
                PixelRows<target>::template write444<rgb>(alphaCodes, values.y, values.cb, values.cr, levels,
                                                          static_cast<Sample*>(nullptr), out, writer.form().streams);
                return;
            }
        }
        const RowForm rowForm = rowFormOf<target, form, size>(part.width);
        if constexpr (size == 8)
            writeRarePixels444<rgb, Sample>(writer, part, rowForm, values, alpha, out);
        else
            writePixels444<rgb, Sample, size>(writer, part, rowForm, values, alpha, out);
    };
    walkMacroblock<size>(writer, mb, 8 * size * sizeof(Sample), 4 * sizeof(Sample), writePart);
}
