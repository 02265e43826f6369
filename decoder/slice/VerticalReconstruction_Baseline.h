#pragma once

#include "Floats128.h"
#include "Intrinsics.h"
#include "PixelRows_Baseline.h"
#include "PixelRules444.h"
#include "SampleBand.h"
#include "VerticalCoefficients.h"
#include "VerticalReconstruction.h"

// The transform's scales by raster position, in whole vectors.
struct WholeScales {
    alignas(64) float value[64][4];
};
static consteval WholeScales wholeScales() {
    WholeScales scales{};
    for (int i = 0; i < 64; ++i)
        for (float& copy : scales.value[i])
            copy = tab_scale[kScaleRowOfColumn[i % 8]][i / 8];
    return scales;
}
static constexpr WholeScales kWholeScales = wholeScales();

// Four blocks in a vector, with the arithmetic of the kernels that fuse nothing. Coefficients are loaded for eight
// blocks, which are then two groups of four.
template <>
struct VerticalReconstruction<OptimizationTarget::Baseline> {
    using Slice = VerticalSlice<OptimizationTarget::Baseline>;
    using Plan = VerticalPlan<OptimizationTarget::Baseline>;

    // Of the factors of a plan: coefficients are widened into the upper halves of 32 bits, where they count 65536 times
    // as much. Both are exact, so a product is rounded as that of the coefficient itself.
    static constexpr float kUnit = kHighHalf;

    // Up to four macroblocks: 16 luma blocks and eight of each chroma.
    template <class Sample>
    static void write422Mbs(Slice const& slice, OutputLevels const& levels, std::uint32_t firstMb,
                            std::uint32_t numMbs) {
        if constexpr (sizeof(Sample) == 1)
            write422Packed<Sample, Packing::ForBytes>(slice, levels, firstMb, numMbs);
        else if (levels.maxValue <= kMaxSigned)
            write422Packed<Sample, Packing::Signed>(slice, levels, firstMb, numMbs);
        else
            write422Packed<Sample, Packing::Unsigned>(slice, levels, firstMb, numMbs);
    }

    // The same to planes, without the pixels, the lines and the place of `slice`.
    template <class Sample>
    static void write422MbsToPlanes(Slice const& slice, SlicePlanes const& to, OutputLevels const& levels,
                                    std::uint32_t firstMb, std::uint32_t numMbs) {
        if constexpr (sizeof(Sample) == 1)
            write422ToPlanes<Sample, Packing::ForBytes>(slice, to, levels, firstMb, numMbs);
        else if (levels.maxValue <= kMaxSigned)
            write422ToPlanes<Sample, Packing::Signed>(slice, to, levels, firstMb, numMbs);
        else
            write422ToPlanes<Sample, Packing::Unsigned>(slice, to, levels, firstMb, numMbs);
    }

    // One or two macroblocks: a group of four blocks of each component for each.
    template <bool rgb, class Sample, unsigned int alphaDepth>
    static void write444Mbs(Slice const& slice, OutputLevels const& sharedLevels, std::uint32_t firstMb,
                            std::uint32_t numMbs) {
        // A copy, which the compiler need not read again after each store.
        const OutputLevels levels = sharedLevels;
        alignas(64) FourBlocks blocks[3][2];
        transformRows<ColumnOrder::ColumnsFirst>(slice.coefficients[0] + 4 * firstMb, *slice.plans[0], blocks[0]);
        transformRows(slice.coefficients[1] + 4 * firstMb, *slice.plans[1], blocks[1]);
        transformRows(slice.coefficients[2] + 4 * firstMb, *slice.plans[2], blocks[2]);
        for (auto& component : blocks)
            for (std::uint32_t mb = 0; mb < numMbs; ++mb)
                for (int column = 0; column < 8; ++column)
                    transformColumn(component[mb][column]);

        constexpr std::int64_t kHalfRowBytes = 32 * sizeof(Sample);
        const std::uint32_t alphaCode = alphaDepth == 0 ? static_cast<std::uint32_t>(levels.maxValue) : 0;
        for (std::uint32_t row = 0; row < 8 && row < slice.numRows; ++row) {
            for (std::uint32_t mb = 0; mb < numMbs; ++mb) {
                FourRows<Sample> rows;
                encodeRow<rgb>(blocks, mb, row, levels, alphaCode, rows);
                for (std::uint32_t k = 0; k < 4; ++k) {
                    const std::uint32_t mbRow = row + 8 * (k & 1);
                    if (mbRow >= slice.numRows)
                        continue;
                    const std::uint32_t column = 2 * (firstMb + mb) + (k >> 1); // in half macroblocks
                    std::uint16_t const* alpha = nullptr;
                    if constexpr (alphaDepth != 0)
                        alpha = slice.alpha + mbRow * slice.alphaPitch + 8 * column;
                    storeRow<alphaDepth>(
                        rows, k, alpha, levels,
                        lineBelow(movedBy(slice.pixels, column * kHalfRowBytes), mbRow, slice.lineStride),
                        slice.streams);
                }
            }
        }
    }

    // The samples of up to eight blocks of a component, each in lines of SamplePlane::kPitch.
    static void writeSamples(const std::int16_t* coefficients, Plan const& plan, float* const* to,
                             std::uint32_t numBlocks) {
        alignas(64) FourBlocks blocks[2];
        transformRows(coefficients, plan, blocks);
        for (std::uint32_t group = 0; group < 2 && 4 * group < numBlocks; ++group) {
            for (int column = 0; column < 8; ++column)
                transformColumn(blocks[group][column]);
            const std::uint32_t left = numBlocks - 4 * group;
            for (std::uint32_t row = 0; row < 8; ++row)
                for (std::uint32_t half = 0; half < 2; ++half)
                    storeTransposed(blocks[group] + 4 * half, row, to + 4 * group, left < 4 ? left : 4,
                                    row * SamplePlane::kPitch + 4 * half);
        }
    }

private:
    // A row of four columns of four blocks.
    static void storeTransposed(const Floats128 (*columns)[8], std::uint32_t row, float* const* to,
                                std::uint32_t numBlocks, std::uint32_t offset) {
        __m128 x[4] = {columns[0][row].v, columns[1][row].v, columns[2][row].v, columns[3][row].v};
        _MM_TRANSPOSE4_PS(x[0], x[1], x[2], x[3]);
        for (std::uint32_t block = 0; block < numBlocks; ++block)
            _mm_storeu_ps(to[block] + offset, x[block]);
    }

    using Pixels = PixelRows<OptimizationTarget::Baseline>;

    // Values of four blocks, by column and row.
    using FourBlocks = Floats128[8][8];

    template <ColumnOrder order = ColumnOrder::AsCoded>
    static void transformRows(const std::int16_t* coefficients, Plan const& plan, FourBlocks (&blocks)[2]) {
        for (int row = 0; row < 8; ++row) {
            Floats128 x[2][8];
#pragma GCC unroll 8
            for (int column = 0; column < 8; ++column) {
                const int position = 8 * row + column;
                const __m128i eight = VerticalCoefficients<OptimizationTarget::Baseline>::load<order>(
                    coefficients + plan.offset[position]);
                const Floats128 factor = Floats128::load(plan.factor[position]);
                const Floats128 scale = Floats128::load(kWholeScales.value[position]);
                const __m128i zero = _mm_setzero_si128();
                x[0][column] = Floats128{_mm_cvtepi32_ps(_mm_unpacklo_epi16(zero, eight))} * factor * scale;
                x[1][column] = Floats128{_mm_cvtepi32_ps(_mm_unpackhi_epi16(zero, eight))} * factor * scale;
            }
            for (int group = 0; group < 2; ++group) {
                plainTransform(x[group]);
#pragma GCC unroll 8
                for (int column = 0; column < 8; ++column)
                    blocks[group][column][row] = x[group][column];
            }
        }
    }

    RAVELO_INLINE static void transformColumn(Floats128 (&column)[8]) {
        transformInRegisters(column, [](Floats128(&x)[8]) { plainTransform(x); });
    }

    // 4:2:2.

    // Codes of four blocks in 16 bits. Luma: by row and pair of columns, a pair's two columns in the halves. Chroma: by
    // row and column, Cb and Cr in the halves.
    using LumaCodes = __m128i[8][4];
    using ChromaCodes = __m128i[8][8];

    // How codes in 32 bits are brought to 16: for bytes, to which the next packing limits them; to those that are
    // positive as signed numbers, too; to any others.
    enum class Packing { ForBytes, Signed, Unsigned };
    static constexpr std::int32_t kMaxSigned = 32767;

    struct CodeRule {
        __m128 scale, greatest;

        // Not above the greatest.
        template <Packing packing>
        __m128i packed(Floats128 first, Floats128 second) const {
            if constexpr (packing == Packing::Unsigned)
                return Pixels::packed(Pixels::sampleCodes(first.v, scale, greatest),
                                      Pixels::sampleCodes(second.v, scale, greatest));
            const __m128i codes = _mm_packs_epi32(Pixels::codesNotAbove(first.v, scale, greatest),
                                                  Pixels::codesNotAbove(second.v, scale, greatest));
            return packing == Packing::ForBytes ? codes : _mm_max_epi16(codes, _mm_setzero_si128());
        }
    };

    template <Packing packing>
    static void encodeColumns(FourBlocks& first, int firstColumn, FourBlocks& second, int secondColumn,
                              CodeRule const& rule, __m128i* codes, int codesPerRow) {
        transformColumn(first[firstColumn]);
        transformColumn(second[secondColumn]);
#pragma GCC unroll 8
        for (int row = 0; row < 8; ++row)
            codes[codesPerRow * row] = rule.packed<packing>(first[firstColumn][row], second[secondColumn][row]);
    }

    // A row of each of four blocks, eight codes of luma or four pairs Cb Cr, from the four vectors of its columns:
    // those of block k in codes[k].
    RAVELO_INLINE static void joinColumns(const __m128i* columns, __m128i (&codes)[4]) {
        __m128i quads[2][2];
        for (int side = 0; side < 2; ++side) {
            const __m128i even = _mm_unpacklo_epi16(columns[2 * side], columns[2 * side + 1]);
            const __m128i odd = _mm_unpackhi_epi16(columns[2 * side], columns[2 * side + 1]);
            quads[side][0] = _mm_unpacklo_epi16(even, odd);
            quads[side][1] = _mm_unpackhi_epi16(even, odd);
        }
        codes[0] = _mm_unpacklo_epi64(quads[0][0], quads[1][0]);
        codes[1] = _mm_unpackhi_epi64(quads[0][0], quads[1][0]);
        codes[2] = _mm_unpacklo_epi64(quads[0][1], quads[1][1]);
        codes[3] = _mm_unpackhi_epi64(quads[0][1], quads[1][1]);
    }

    // Stores eight pixels.
    template <class Sample>
    static void store422(std::uint8_t* out, __m128i chroma, __m128i luma, bool streams) {
        const __m128i low = _mm_unpacklo_epi16(chroma, luma), high = _mm_unpackhi_epi16(chroma, luma);
        if constexpr (sizeof(Sample) == 1)
            Pixels::store(out, _mm_packus_epi16(low, high));
        else
            Pixels::storePair(out, low, high, streams);
    }

    // Stores eight samples of a plane.
    template <class Sample>
    static void storeSamples(std::uint8_t* out, __m128i codes, bool streams) {
        if constexpr (sizeof(Sample) == 1)
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(codes, codes));
        else if (streams)
            _mm_stream_si128(reinterpret_cast<__m128i*>(out), codes);
        else
            Pixels::store(out, codes);
    }

    template <class Sample, Packing packing>
    static void write422Packed(Slice const& slice, OutputLevels const& levels, std::uint32_t firstMb,
                               std::uint32_t numMbs) {
        alignas(64) FourBlocks blocks[2][2];
        alignas(64) LumaCodes luma[4];     // of each macroblock
        alignas(64) ChromaCodes chroma[2]; // of each pair of macroblocks
        const CodeRule rule{_mm_set1_ps(levels.sampleScale), _mm_set1_ps(static_cast<float>(levels.maxValue))};
        for (std::uint32_t first = 0; first < numMbs; first += 2) {
            transformRows(slice.coefficients[0] + 4 * (firstMb + first), *slice.plans[0], blocks[0]);
            for (std::uint32_t i = 0; i < 2; ++i)
                for (int pair = 0; pair < 4; ++pair)
                    encodeColumns<packing>(blocks[0][i], 2 * pair, blocks[0][i], 2 * pair + 1, rule,
                                           &luma[first + i][0][pair], 4);
        }
        transformRows(slice.coefficients[1] + 2 * firstMb, *slice.plans[1], blocks[0]);
        transformRows(slice.coefficients[2] + 2 * firstMb, *slice.plans[2], blocks[1]);
        for (int i = 0; i < 2; ++i)
            for (int column = 0; column < 8; ++column)
                encodeColumns<packing>(blocks[0][i], column, blocks[1][i], column, rule, &chroma[i][0][column], 8);

        constexpr std::int64_t kMbBytes = 32 * sizeof(Sample);
        const std::uint32_t numRows = slice.numRows;
        const std::int64_t lineStride = slice.lineStride;
        const bool streams = slice.streams;
        for (std::uint32_t row = 0; row < 8 && row < numRows; ++row) {
            __m128i left[4], right[4];
            for (std::uint32_t mb = 0; mb < numMbs; ++mb) {
                __m128i y[4];
                joinColumns(luma[mb][row], y);
                if (mb % 2 == 0) {
                    joinColumns(chroma[mb / 2][row], left);
                    joinColumns(chroma[mb / 2][row] + 4, right);
                }
                for (std::uint32_t half = 0; half < 2 && row + 8 * half < numRows; ++half) {
                    const std::uint32_t block = 2 * (mb % 2) + half;
                    std::uint8_t* const to =
                        lineBelow(movedBy(slice.pixels, (firstMb + mb) * kMbBytes), row + 8 * half, lineStride);
                    store422<Sample>(to, left[block], y[2 * half], streams);
                    store422<Sample>(to + kMbBytes / 2, right[block], y[2 * half + 1], streams);
                }
            }
        }
    }

    template <class Sample, Packing packing>
    static void write422ToPlanes(Slice const& slice, SlicePlanes const& to, OutputLevels const& levels,
                                 std::uint32_t firstMb, std::uint32_t numMbs) {
        alignas(64) FourBlocks blocks[2];
        alignas(64) LumaCodes luma[4];      // of each macroblock
        alignas(64) LumaCodes chroma[2][2]; // of Cb and Cr, of each pair of macroblocks
        const CodeRule rule{_mm_set1_ps(levels.sampleScale), _mm_set1_ps(static_cast<float>(levels.maxValue))};
        const auto encode = [&](FourBlocks& four, LumaCodes& codes) {
            for (int pair = 0; pair < 4; ++pair)
                encodeColumns<packing>(four, 2 * pair, four, 2 * pair + 1, rule, &codes[0][pair], 4);
        };
        for (std::uint32_t first = 0; first < numMbs; first += 2) {
            transformRows(slice.coefficients[0] + 4 * (firstMb + first), *slice.plans[0], blocks);
            for (std::uint32_t i = 0; i < 2; ++i)
                encode(blocks[i], luma[first + i]);
        }
        for (std::uint32_t i = 0; i < 2; ++i) {
            transformRows(slice.coefficients[1 + i] + 2 * firstMb, *slice.plans[1 + i], blocks);
            for (std::uint32_t pair = 0; pair < 2; ++pair)
                encode(blocks[pair], chroma[i][pair]);
        }

        const auto placeOf = [&](std::uint32_t plane, std::uint32_t sample, std::uint32_t row) {
            std::uint8_t* const first =
                movedBy(to.plane[plane].pixels, std::int64_t{sample} * static_cast<int>(sizeof(Sample)));
            return lineBelow(first, row, to.plane[plane].lineStride);
        };
        for (std::uint32_t row = 0; row < 8 && row < slice.numRows; ++row) {
            __m128i c[2][4];
            for (std::uint32_t mb = 0; mb < numMbs; ++mb) {
                __m128i y[4];
                joinColumns(luma[mb][row], y);
                for (int i = 0; i < 2 && mb % 2 == 0; ++i)
                    joinColumns(chroma[i][mb / 2][row], c[i]);
                for (std::uint32_t half = 0; half < 2 && row + 8 * half < slice.numRows; ++half) {
                    const std::uint32_t mbRow = row + 8 * half, place = firstMb + mb;
                    storeSamples<Sample>(placeOf(0, 16 * place, mbRow), y[2 * half], to.streams);
                    storeSamples<Sample>(placeOf(0, 16 * place + 8, mbRow), y[2 * half + 1], to.streams);
                    for (std::uint32_t i = 0; i < 2; ++i)
                        storeSamples<Sample>(placeOf(1 + i, 8 * place, mbRow), c[i][2 * (mb % 2) + half], to.streams);
                }
            }
        }
    }

    // 4:4:4.

    // A row of eight pixels of each of four blocks, in parts of 16 bytes: part p of block k.
    template <class Sample>
    struct FourRows {
        static constexpr int kParts = sizeof(Sample) == 1 ? 2 : 4;
        alignas(64) __m128i part[std::size_t{kParts}][4];
    };

    template <bool rgb>
    static void encodeRow(FourBlocks (*blocks)[2], std::uint32_t group, std::uint32_t row, OutputLevels const& levels,
                          std::uint32_t alphaCode, FourRows<std::uint16_t>& rows) {
        const __m128i alpha = _mm_set1_epi32(static_cast<int>(alphaCode));
        for (std::uint32_t pair = 0; pair < 4; ++pair) {
            __m128i low[2], high[2]; // pixels of blocks 0 and 1, of blocks 2 and 3
            for (std::uint32_t i = 0; i < 2; ++i) {
                const auto codes = codesOf<rgb>(blocks, group, 2 * pair + i, row, levels);
                const __m128i left = _mm_or_si128(alpha, _mm_slli_epi32(codes.first, 16));
                const __m128i right = _mm_or_si128(codes.second, _mm_slli_epi32(codes.third, 16));
                low[i] = _mm_unpacklo_epi32(left, right);
                high[i] = _mm_unpackhi_epi32(left, right);
            }
            rows.part[pair][0] = _mm_unpacklo_epi64(low[0], low[1]);
            rows.part[pair][1] = _mm_unpackhi_epi64(low[0], low[1]);
            rows.part[pair][2] = _mm_unpacklo_epi64(high[0], high[1]);
            rows.part[pair][3] = _mm_unpackhi_epi64(high[0], high[1]);
        }
    }

    template <bool rgb>
    static void encodeRow(FourBlocks (*blocks)[2], std::uint32_t group, std::uint32_t row, OutputLevels const& levels,
                          std::uint32_t alphaCode, FourRows<std::uint8_t>& rows) {
        const __m128i alpha = _mm_set1_epi32(static_cast<int>(alphaCode));
        for (std::uint32_t half = 0; half < 2; ++half) {
            __m128i columns[4];
            for (std::uint32_t i = 0; i < 4; ++i) {
                const auto codes = codesOf<rgb>(blocks, group, 4 * half + i, row, levels);
                const __m128i left = _mm_or_si128(alpha, _mm_slli_epi32(codes.first, 8));
                const __m128i right = _mm_or_si128(codes.second, _mm_slli_epi32(codes.third, 8));
                columns[i] = _mm_or_si128(left, _mm_slli_epi32(right, 16));
            }
            const __m128i low01 = _mm_unpacklo_epi32(columns[0], columns[1]);
            const __m128i high01 = _mm_unpackhi_epi32(columns[0], columns[1]);
            const __m128i low23 = _mm_unpacklo_epi32(columns[2], columns[3]);
            const __m128i high23 = _mm_unpackhi_epi32(columns[2], columns[3]);
            rows.part[half][0] = _mm_unpacklo_epi64(low01, low23);
            rows.part[half][1] = _mm_unpackhi_epi64(low01, low23);
            rows.part[half][2] = _mm_unpacklo_epi64(high01, high23);
            rows.part[half][3] = _mm_unpackhi_epi64(high01, high23);
        }
    }

    template <bool rgb>
    static Pixels::Codes444 codesOf(FourBlocks (*blocks)[2], std::uint32_t group, std::uint32_t column,
                                    std::uint32_t row, OutputLevels const& levels) {
        return Pixels::colorCodes<rgb>(blocks[0][group][column][row].v, blocks[1][group][column][row].v,
                                       blocks[2][group][column][row].v, levels);
    }

    // The codes of eight alpha samples.
    template <class Sample, unsigned int alphaDepth>
    static void alphaCodes(std::uint16_t const* samples, OutputLevels const& levels, __m128i (&codes)[2]) {
        alignas(16) std::int32_t values[8];
        const PlaneAlpha<OptimizationTarget::Baseline, alphaDepth> plane{samples, 0};
        for (unsigned int x = 0; x < 8; ++x)
            values[x] = plane.template codeAt<Sample>(levels, RowForm{false, false, false}, QuadrantRow{0, 0, 0, 8}, x);
        codes[0] = _mm_load_si128(reinterpret_cast<const __m128i*>(values));
        codes[1] = _mm_load_si128(reinterpret_cast<const __m128i*>(values + 4));
    }

    template <unsigned int alphaDepth>
    static void storeRow(FourRows<std::uint16_t> const& rows, std::uint32_t k, std::uint16_t const* alpha,
                         OutputLevels const& levels, std::uint8_t* out, bool streams) {
        __m128i parts[4] = {rows.part[0][k], rows.part[1][k], rows.part[2][k], rows.part[3][k]};
        if constexpr (alphaDepth != 0) {
            __m128i codes[2];
            alphaCodes<std::uint16_t, alphaDepth>(alpha, levels, codes);
            const __m128i zero = _mm_setzero_si128();
            for (int i = 0; i < 2; ++i) {
                parts[2 * i] = _mm_or_si128(parts[2 * i], _mm_unpacklo_epi32(codes[i], zero));
                parts[2 * i + 1] = _mm_or_si128(parts[2 * i + 1], _mm_unpackhi_epi32(codes[i], zero));
            }
        }
        Pixels::storePair(out, parts[0], parts[1], streams);
        Pixels::storePair(out + 32, parts[2], parts[3], streams);
    }

    template <unsigned int alphaDepth>
    static void storeRow(FourRows<std::uint8_t> const& rows, std::uint32_t k, std::uint16_t const* alpha,
                         OutputLevels const& levels, std::uint8_t* out, bool) {
        __m128i parts[2] = {rows.part[0][k], rows.part[1][k]};
        if constexpr (alphaDepth != 0) {
            __m128i codes[2];
            alphaCodes<std::uint8_t, alphaDepth>(alpha, levels, codes);
            parts[0] = _mm_or_si128(parts[0], codes[0]);
            parts[1] = _mm_or_si128(parts[1], codes[1]);
        }
        Pixels::store(out, parts[0]);
        Pixels::store(out + 16, parts[1]);
    }
};
