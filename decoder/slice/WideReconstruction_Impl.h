#pragma once

#include <cstddef>
#include <cstdint>

#include "FloatBlocks512.h"
#include "OutputForm.h"
#include "WideReconstruction.h"

// The vertical reconstruction with sixteen blocks in a vector, over whatever the including unit has as 512-bit
// intrinsics: four macroblocks at a time, each of which has 128 bits of every vector.
//
// The codes leave the transform with one position of sixteen blocks in a vector, and have to arrive with the positions
// of a line in one. Half of that exchange happens inside the 128 bits, by packing and interleaving. The other half
// moves them, and is joined with the steps that bring luma and chroma together.
//
// Internal linkage throughout: the units that include this have instructions of their own.
namespace {

constexpr std::uint32_t kMbsAtOnce = 4;

// Values of sixteen blocks, by column and row.
using SixteenBlocks = Floats512[8][8];

// How the coefficients of four macroblocks become the elements of a vector.

// Luma as coded: upper left, upper right, lower left and lower right block of each macroblock.
struct LumaLoad {
    const std::int16_t* first;

    RAVELO_INLINE __m512i at(std::uint32_t offset) const {
        return _mm512_cvtepi16_epi32(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(first + offset)));
    }
};

// The numbers of 16-bit values that get into the upper halves of the elements.
#define RAVELO_UPPER_HALVES(a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p)                                            \
    _mm512_setr_epi32((a) << 16, (b) << 16, (c) << 16, (d) << 16, (e) << 16, (f) << 16, (g) << 16, (h) << 16,          \
                      (i) << 16, (j) << 16, (k) << 16, (l) << 16, (m) << 16, (n) << 16, (o) << 16, (p) << 16)
constexpr __mmask32 kUpperHalves = 0xAAAAAAAA;

// Chroma of 4:4:4, whose blocks are coded down the columns, in the order of luma.
struct Chroma444Load {
    const std::int16_t* first;

    RAVELO_INLINE __m512i at(std::uint32_t offset) const {
        const __m512i order = RAVELO_UPPER_HALVES(0, 2, 1, 3, 4, 6, 5, 7, 8, 10, 9, 11, 12, 14, 13, 15);
        const __m256i sixteen = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(first + offset));
        return _mm512_maskz_permutexvar_epi16(kUpperHalves, order, _mm512_castsi256_si512(sixteen));
    }
};

// Both components of 4:2:2: upper Cb, upper Cr, lower Cb and lower Cr block of each macroblock.
struct Chroma422Load {
    const std::int16_t* firstCb;
    const std::int16_t* firstCr;

    RAVELO_INLINE __m512i at(std::uint32_t offset) const {
        const __m512i order = RAVELO_UPPER_HALVES(0, 8, 1, 9, 2, 10, 3, 11, 4, 12, 5, 13, 6, 14, 7, 15);
        const __m128i cb = _mm_loadu_si128(reinterpret_cast<const __m128i*>(firstCb + offset));
        const __m128i cr = _mm_loadu_si128(reinterpret_cast<const __m128i*>(firstCr + offset));
        const __m256i both = _mm256_inserti128_si256(_mm256_castsi128_si256(cb), cr, 1);
        return _mm512_maskz_permutexvar_epi16(kUpperHalves, order, _mm512_castsi256_si512(both));
    }
};

#undef RAVELO_UPPER_HALVES

// Dequantises and transforms the rows of sixteen blocks.
template <unsigned int linesAtOnce, class Load>
RAVELO_INLINE void transformRows(Load const& load, VerticalPlan<OptimizationTarget::AVX2> const& plan,
                                 SixteenBlocks& blocks, OutputPrefetch& prefetch) {
    for (int row = 0; row < 8; ++row) {
        if constexpr (linesAtOnce != 0)
            prefetch.fetch(linesAtOnce);
        Floats512 x[8];
#pragma GCC unroll 8
        for (int column = 0; column < 8; ++column) {
            const int position = 8 * row + column;
            x[column] = Floats512{_mm512_cvtepi32_ps(load.at(plan.offset[position]))} *
                        Floats512::broadcast(plan.factor[position][0]);
        }
        const Floats512 scales[4] = {Floats512::broadcast(tab_scale[0][row]), Floats512::broadcast(tab_scale[1][row]),
                                     Floats512::broadcast(tab_scale[2][row]), Floats512::broadcast(tab_scale[3][row])};
        fusedScaledTransform(x, scales);
#pragma GCC unroll 8
        for (int column = 0; column < 8; ++column)
            blocks[column][row] = x[column];
    }
}

RAVELO_INLINE void transformColumns(SixteenBlocks& blocks) {
    for (auto& column : blocks)
        transformInRegisters(column, [](Floats512(&x)[8]) { fusedTransform(x); });
}

RAVELO_INLINE __m512i limitedCode(__m512 codes, __m512 greatest) {
    return _mm512_cvttps_epi32(_mm512_min_ps(codes, greatest));
}

RAVELO_INLINE __m512 sampleCode(__m512 samples, __m512 scale) {
    return _mm512_fmadd_ps(_mm512_add_ps(samples, _mm512_set1_ps(256.0f)), scale, _mm512_set1_ps(0.5f));
}

// Vectors that hold a quarter of four macroblocks each become vectors of the quarters of one macroblock each.
RAVELO_INLINE void exchangeQuarters(__m512i (&v)[4]) {
    const __m512i low01 = _mm512_shuffle_i64x2(v[0], v[1], 0x44), high01 = _mm512_shuffle_i64x2(v[0], v[1], 0xEE);
    const __m512i low23 = _mm512_shuffle_i64x2(v[2], v[3], 0x44), high23 = _mm512_shuffle_i64x2(v[2], v[3], 0xEE);
    v[0] = _mm512_shuffle_i64x2(low01, low23, 0x88);
    v[1] = _mm512_shuffle_i64x2(low01, low23, 0xDD);
    v[2] = _mm512_shuffle_i64x2(high01, high23, 0x88);
    v[3] = _mm512_shuffle_i64x2(high01, high23, 0xDD);
}

RAVELO_INLINE void store(std::uint8_t* out, __m512i line, bool streams) {
    if (streams)
        _mm512_stream_si512(reinterpret_cast<__m512i*>(out), line);
    else
        _mm512_storeu_si512(out, line);
}

// 4:2:2.

struct CodeRule {
    explicit RAVELO_INLINE CodeRule(OutputLevels const& levels)
        : scale(_mm512_set1_ps(levels.sampleScale)), greatest(_mm512_set1_ps(static_cast<float>(levels.maxValue))) {}

    // Codes below 0 are left to the saturation of the next packing.
    RAVELO_INLINE __m512i operator()(Floats512 samples) const {
        return limitedCode(sampleCode(samples.v, scale), greatest);
    }

    __m512 scale, greatest;
};

// Codes of sixteen blocks in 16 bits, by row and pair of columns: the pair's two columns in the halves of each 128
// bits.
using PackedCodes = __m512i[8][4];

RAVELO_INLINE void encodeColumns(SixteenBlocks const& blocks, CodeRule const& rule, PackedCodes& codes) {
    for (int pair = 0; pair < 4; ++pair) {
        Floats512 left[8], right[8];
#pragma GCC unroll 8
        for (int row = 0; row < 8; ++row)
            left[row] = blocks[2 * pair][row];
        fusedTransform(left);
        __m512i leftCodes[8];
#pragma GCC unroll 8
        for (int row = 0; row < 8; ++row)
            leftCodes[row] = rule(left[row]);
#pragma GCC unroll 8
        for (int row = 0; row < 8; ++row)
            right[row] = blocks[2 * pair + 1][row];
        fusedTransform(right);
#pragma GCC unroll 8
        for (int row = 0; row < 8; ++row)
            codes[row][pair] = _mm512_packus_epi32(leftCodes[row], rule(right[row]));
    }
}

// Half a row of the upper or the lower blocks: the left one's four codes in the lower half of each 128 bits, the right
// one's in the upper half; with the blocks of Chroma422Load those of Cb and Cr. The first four columns, and the last.
struct JoinedCodes {
    __m512i firstColumns, lastColumns;
};

struct JoinedRows {
    JoinedCodes upper, lower;
};

RAVELO_INLINE JoinedRows joinColumns(const __m512i (&pairs)[4]) {
    __m512i upper[2], lower[2];
#pragma GCC unroll 2
    for (int side = 0; side < 2; ++side) {
        const __m512i even = _mm512_unpacklo_epi16(pairs[2 * side], pairs[2 * side + 1]);
        const __m512i odd = _mm512_unpackhi_epi16(pairs[2 * side], pairs[2 * side + 1]);
        upper[side] = _mm512_unpacklo_epi16(even, odd);
        lower[side] = _mm512_unpackhi_epi16(even, odd);
    }
    return {{upper[0], upper[1]}, {lower[0], lower[1]}};
}

RAVELO_INLINE __m512i quads(JoinedCodes const& codes, __m512i order) {
    return _mm512_permutex2var_epi64(codes.firstColumns, order, codes.lastColumns);
}

// The chroma of two macroblocks, interleaved: four values of the first in the lower half of each 128 bits, those of the
// second in the upper half.
struct InterleavedChroma {
    __m512i upper, lower;
};

// From the packed codes of Cb and Cr, of which those of one position lie side by side. `order` selects the macroblocks.
RAVELO_INLINE InterleavedChroma interleaved(const __m512i (&pairs)[4], __m512i order) {
    const __m512i firstColumns = _mm512_permutex2var_epi32(pairs[0], order, pairs[1]);
    const __m512i lastColumns = _mm512_permutex2var_epi32(pairs[2], order, pairs[3]);
    return {_mm512_shuffle_i64x2(firstColumns, lastColumns, 0x44),
            _mm512_shuffle_i64x2(firstColumns, lastColumns, 0xEE)};
}

// Stores a row of two macroblocks, or of the first alone, from their chroma and their luma by quarters of the row.
template <class Sample>
RAVELO_INLINE void store422(std::uint8_t* out, bool isWhole, bool streams, __m512i chroma, __m512i luma) {
    const __m512i first = _mm512_unpacklo_epi16(chroma, luma), second = _mm512_unpackhi_epi16(chroma, luma);
    if constexpr (sizeof(Sample) == 1) {
        const __m512i inOrder = _mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7);
        const __m512i bytes = _mm512_permutexvar_epi64(inOrder, _mm512_packus_epi16(first, second));
        if (isWhole)
            _mm512_storeu_si512(out, bytes);
        else
            _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), _mm512_castsi512_si256(bytes));
    } else {
        store(out, first, streams);
        if (isWhole)
            store(out + 64, second, streams);
    }
}

// Up to four macroblocks.
template <class Sample>
void write422Mbs(WideSlice const& slice, OutputLevels const& levels, std::uint32_t firstMb, std::uint32_t numMbs) {
    alignas(64) SixteenBlocks blocks;
    alignas(64) PackedCodes luma, chroma;
    const CodeRule rule(levels);
    constexpr std::uint32_t kMbBytes = 32 * sizeof(Sample);
    std::uint8_t* const out = movedBy(slice.pixels, std::int64_t{firstMb} * kMbBytes);
    const std::uint32_t numRows = slice.numRows;
    const std::int64_t lineStride = slice.lineStride;
    const bool streams = slice.streams;
    // Two transforms of eight rows each fetch all lines of four macroblocks.
    constexpr unsigned int kLinesAtOnce = 2 * sizeof(Sample);
    OutputPrefetch prefetch(out, lineStride, numMbs * kMbBytes, streams ? 0 : numRows);
    transformRows<kLinesAtOnce>(LumaLoad{slice.coefficients[0] + 4 * firstMb}, *slice.plans[0], blocks, prefetch);
    encodeColumns(blocks, rule, luma);
    transformRows<kLinesAtOnce>(Chroma422Load{slice.coefficients[1] + 2 * firstMb, slice.coefficients[2] + 2 * firstMb},
                                *slice.plans[1], blocks, prefetch);
    encodeColumns(blocks, rule, chroma);

    const __m512i lumaOrder[2] = {_mm512_setr_epi64(0, 2, 8, 10, 1, 3, 9, 11),
                                  _mm512_setr_epi64(4, 6, 12, 14, 5, 7, 13, 15)};
    const __m512i chromaOrder[2] = {_mm512_setr_epi32(0, 2, 4, 6, 16, 18, 20, 22, 1, 3, 5, 7, 17, 19, 21, 23),
                                    _mm512_setr_epi32(8, 10, 12, 14, 24, 26, 28, 30, 9, 11, 13, 15, 25, 27, 29, 31)};
    for (std::uint32_t row = 0; row < 8 && row < numRows; ++row) {
        const JoinedRows y = joinColumns(luma[row]);
        std::uint8_t* const upper = lineBelow(out, row, lineStride);
        std::uint8_t* const lower = lineBelow(out, row + 8, lineStride);
        for (std::uint32_t pair = 0; 2 * pair < numMbs; ++pair) {
            const bool isWhole = 2 * pair + 1 < numMbs;
            const InterleavedChroma cbCr = interleaved(chroma[row], chromaOrder[pair]);
            store422<Sample>(upper + 2 * pair * kMbBytes, isWhole, streams, cbCr.upper,
                             quads(y.upper, lumaOrder[pair]));
            if (row + 8 < numRows)
                store422<Sample>(lower + 2 * pair * kMbBytes, isWhole, streams, cbCr.lower,
                                 quads(y.lower, lumaOrder[pair]));
        }
    }
}

// Stores up to 32 samples of a plane.
template <class Sample>
RAVELO_INLINE void storeSamples(std::uint8_t* out, __m512i codes, std::uint32_t numSamples, bool streams) {
    const auto mask = static_cast<__mmask32>((std::uint64_t{1} << numSamples) - 1);
    if constexpr (sizeof(Sample) == 1)
        _mm512_mask_cvtepi16_storeu_epi8(out, mask, codes);
    else if (numSamples == 32)
        store(out, codes, streams);
    else
        _mm512_mask_storeu_epi16(out, mask, codes);
}

// Up to four macroblocks to planes, without the pixels, the lines and the place of `slice`.
template <class Sample>
void write422MbsToPlanes(WideSlice const& slice, SlicePlanes const& to, OutputLevels const& levels,
                         std::uint32_t firstMb, std::uint32_t numMbs) {
    alignas(64) SixteenBlocks blocks;
    alignas(64) PackedCodes luma, chroma;
    const CodeRule rule(levels);
    const std::uint32_t numRows = slice.numRows;
    const bool streams = to.streams;
    const auto placeOf = [&](std::uint32_t plane, std::uint32_t samplesPerMb) __attribute__((always_inline)) {
        return movedBy(to.plane[plane].pixels, std::int64_t{firstMb} * samplesPerMb * std::int64_t{sizeof(Sample)});
    };
    const auto prefetchOf = [&](std::uint32_t plane, std::uint32_t samplesPerMb) __attribute__((always_inline)) {
        return OutputPrefetch(placeOf(plane, samplesPerMb), to.plane[plane].lineStride,
                              numMbs * samplesPerMb * static_cast<std::uint32_t>(sizeof(Sample)),
                              streams ? 0 : numRows);
    };
    OutputPrefetch lumaPrefetch = prefetchOf(0, 16);
    transformRows<2 * sizeof(Sample)>(LumaLoad{slice.coefficients[0] + 4 * firstMb}, *slice.plans[0], blocks,
                                      lumaPrefetch);
    encodeColumns(blocks, rule, luma);
    OutputPrefetch cbPrefetch = prefetchOf(1, 8), crPrefetch = prefetchOf(2, 8);
    cbPrefetch.fetch(16);
    crPrefetch.fetch(16);
    transformRows<0>(Chroma422Load{slice.coefficients[1] + 2 * firstMb, slice.coefficients[2] + 2 * firstMb},
                     *slice.plans[1], blocks, lumaPrefetch);
    encodeColumns(blocks, rule, chroma);

    const std::uint32_t firstLuma = numMbs < 2 ? 16 : 32, lastLuma = numMbs <= 2 ? 0 : 16 * (numMbs - 2);
    const auto writeRow = [&](std::uint32_t mbRow, JoinedCodes const& y, JoinedCodes const& cbCr)
        __attribute__((always_inline)) {
        if (mbRow >= numRows)
            return;
        std::uint8_t* const lumaOut = lineBelow(placeOf(0, 16), mbRow, to.plane[0].lineStride);
        storeSamples<Sample>(lumaOut, quads(y, _mm512_setr_epi64(0, 8, 1, 9, 2, 10, 3, 11)), firstLuma, streams);
        if (lastLuma != 0)
            storeSamples<Sample>(lumaOut + 32 * sizeof(Sample), quads(y, _mm512_setr_epi64(4, 12, 5, 13, 6, 14, 7, 15)),
                                 lastLuma, streams);
        storeSamples<Sample>(lineBelow(placeOf(1, 8), mbRow, to.plane[1].lineStride),
                             quads(cbCr, _mm512_setr_epi64(0, 8, 2, 10, 4, 12, 6, 14)), 8 * numMbs, streams);
        storeSamples<Sample>(lineBelow(placeOf(2, 8), mbRow, to.plane[2].lineStride),
                             quads(cbCr, _mm512_setr_epi64(1, 9, 3, 11, 5, 13, 7, 15)), 8 * numMbs, streams);
    };
    for (std::uint32_t row = 0; row < 8 && row < numRows; ++row) {
        const JoinedRows y = joinColumns(luma[row]), cbCr = joinColumns(chroma[row]);
        writeRow(row, y.upper, cbCr.upper);
        writeRow(row + 8, y.lower, cbCr.lower);
    }
}

// 4:4:4.

struct Colors {
    __m512 first, second, third;
};

// The codes of a position of sixteen blocks, not limited.
template <bool rgb>
RAVELO_INLINE Colors colorCodes(__m512 luma, __m512 blueness, __m512 redness, OutputLevels const& levels) {
    if constexpr (!rgb) {
        const __m512 scale = _mm512_set1_ps(levels.sampleScale);
        return {sampleCode(luma, scale), sampleCode(blueness, scale), sampleCode(redness, scale)};
    }
    const __m512 chromaReciprocal = _mm512_set1_ps(1.0f / 448.0f);
    const __m512 normalY = _mm512_mul_ps(_mm512_add_ps(luma, _mm512_set1_ps(224.0f)), _mm512_set1_ps(1.0f / 438.0f));
    const __m512 normalCb = _mm512_mul_ps(blueness, chromaReciprocal);
    const __m512 normalCr = _mm512_mul_ps(redness, chromaReciprocal);
    const __m512 red = _mm512_fmadd_ps(_mm512_set1_ps(levels.crToRed), normalCr, normalY);
    const __m512 green = _mm512_fmadd_ps(_mm512_set1_ps(levels.crToGreen), normalCr,
                                         _mm512_fmadd_ps(_mm512_set1_ps(levels.cbToGreen), normalCb, normalY));
    const __m512 blue = _mm512_fmadd_ps(_mm512_set1_ps(levels.cbToBlue), normalCb, normalY);
    const auto toCode = [&](__m512 color) __attribute__((always_inline)) {
        return _mm512_add_ps(_mm512_fmadd_ps(color, _mm512_set1_ps(levels.rgbScale), _mm512_set1_ps(levels.rgbOffset)),
                             _mm512_set1_ps(0.5f));
    };
    return {toCode(red), toCode(green), toCode(blue)};
}

template <bool rgb>
RAVELO_INLINE Colors colorCodesAt(SixteenBlocks const (&blocks)[3], int column, int row, OutputLevels const& levels) {
    return colorCodes<rgb>(blocks[0][column][row].v, blocks[1][column][row].v, blocks[2][column][row].v, levels);
}

// A row of sixteen blocks, by block of a macroblock: quarters of the upper and of the lower row of four macroblocks.
// Two pixels of 16 bits a sample have a quarter of half a row, four of 8 bits a quarter of a whole one.
template <class Sample>
struct WideRows;

template <>
struct WideRows<std::uint16_t> {
    __m512i quarter[4][4];

    // Every 64 bytes of a row are a block's.
    static constexpr std::uint32_t kLinesPerMb = 2;
    RAVELO_INLINE void lineOf(int half, std::uint32_t line, __m512i (&mbs)[4]) const {
        for (int i = 0; i < 4; ++i)
            mbs[i] = quarter[2 * half + static_cast<int>(line)][i];
    }
};

template <>
struct WideRows<std::uint8_t> {
    __m512i quarter[4][2];

    static constexpr std::uint32_t kLinesPerMb = 1;
    RAVELO_INLINE void lineOf(int half, std::uint32_t, __m512i (&mbs)[4]) const {
        for (int i = 0; i < 4; ++i)
            mbs[i] = quarter[2 * half + i / 2][i % 2];
    }
};

template <bool rgb>
RAVELO_INLINE void encodeRow(SixteenBlocks const (&blocks)[3], int row, OutputLevels const& levels,
                             std::int32_t alphaCode, WideRows<std::uint16_t>& rows) {
    const __m512i alpha = _mm512_set1_epi32(alphaCode);
    const __m512 greatest = _mm512_set1_ps(static_cast<float>(levels.maxValue));
#pragma GCC unroll 4
    for (int pair = 0; pair < 4; ++pair) {
        __m512i upper[2], lower[2]; // pixels of two blocks in each 128 bits
#pragma GCC unroll 2
        for (int side = 0; side < 2; ++side) {
            const Colors codes = colorCodesAt<rgb>(blocks, 2 * pair + side, row, levels);
            const __m512i evenSamples = _mm512_packus_epi32(alpha, limitedCode(codes.second, greatest));
            const __m512i oddSamples =
                _mm512_packus_epi32(limitedCode(codes.first, greatest), limitedCode(codes.third, greatest));
            const __m512i firstTwo = _mm512_unpacklo_epi16(evenSamples, oddSamples);
            const __m512i lastTwo = _mm512_unpackhi_epi16(evenSamples, oddSamples);
            upper[side] = _mm512_unpacklo_epi32(firstTwo, lastTwo);
            lower[side] = _mm512_unpackhi_epi32(firstTwo, lastTwo);
        }
        rows.quarter[0][pair] = _mm512_unpacklo_epi64(upper[0], upper[1]);
        rows.quarter[1][pair] = _mm512_unpackhi_epi64(upper[0], upper[1]);
        rows.quarter[2][pair] = _mm512_unpacklo_epi64(lower[0], lower[1]);
        rows.quarter[3][pair] = _mm512_unpackhi_epi64(lower[0], lower[1]);
    }
}

// Codes of 32768 and more turn negative on the way through signed 16 bits and end at 0.
template <bool rgb>
RAVELO_INLINE void encodeRow(SixteenBlocks const (&blocks)[3], int row, OutputLevels const& levels,
                             std::int32_t alphaCode, WideRows<std::uint8_t>& rows) {
    const __m512i alpha = _mm512_set1_epi8(static_cast<char>(alphaCode));
#pragma GCC unroll 2
    for (int side = 0; side < 2; ++side) {
        __m512i first[4], second[4], third[4];
#pragma GCC unroll 4
        for (int i = 0; i < 4; ++i) {
            const Colors codes = colorCodesAt<rgb>(blocks, 4 * side + i, row, levels);
            first[i] = _mm512_cvttps_epi32(codes.first);
            second[i] = _mm512_cvttps_epi32(codes.second);
            third[i] = _mm512_cvttps_epi32(codes.third);
        }
        const auto packed = [](const __m512i(&x)[4]) __attribute__((always_inline)) {
            return _mm512_packus_epi16(_mm512_packus_epi32(x[0], x[1]), _mm512_packus_epi32(x[2], x[3]));
        };
        const __m512i one = packed(first), two = packed(second), three = packed(third);
        const __m512i left01 = _mm512_unpacklo_epi8(alpha, one), left23 = _mm512_unpacklo_epi8(two, three);
        const __m512i right01 = _mm512_unpackhi_epi8(alpha, one), right23 = _mm512_unpackhi_epi8(two, three);
        const __m512i columns[4] = {_mm512_unpacklo_epi16(left01, left23), _mm512_unpackhi_epi16(left01, left23),
                                    _mm512_unpacklo_epi16(right01, right23), _mm512_unpackhi_epi16(right01, right23)};
        const __m512i upper01 = _mm512_unpacklo_epi32(columns[0], columns[1]);
        const __m512i lower01 = _mm512_unpackhi_epi32(columns[0], columns[1]);
        const __m512i upper23 = _mm512_unpacklo_epi32(columns[2], columns[3]);
        const __m512i lower23 = _mm512_unpackhi_epi32(columns[2], columns[3]);
        rows.quarter[0][side] = _mm512_unpacklo_epi64(upper01, upper23);
        rows.quarter[1][side] = _mm512_unpackhi_epi64(upper01, upper23);
        rows.quarter[2][side] = _mm512_unpacklo_epi64(lower01, lower23);
        rows.quarter[3][side] = _mm512_unpackhi_epi64(lower01, lower23);
    }
}

// The codes of alpha samples as a group of pixels has them.
template <class Sample, unsigned int alphaDepth>
RAVELO_INLINE __m512i alphaCodes(__m512i samples, OutputLevels const& levels) {
    const __m512 scale = _mm512_set1_ps(alphaDepth == 16 ? levels.alpha16Scale : levels.alpha8Scale);
    const __m512i codes =
        _mm512_cvttps_epi32(_mm512_fmadd_ps(_mm512_cvtepi32_ps(samples), scale, _mm512_set1_ps(0.5f)));
    const __m512i saturated = _mm512_min_epi32(codes, _mm512_set1_epi32(65535));
    if constexpr (sizeof(Sample) == 1)
        return _mm512_and_si512(saturated, _mm512_set1_epi32(0xFF));
    return _mm512_min_epi32(saturated, _mm512_set1_epi32(levels.maxValue));
}

// The alpha codes of the pixels of 64 bytes, each in the lowest bits of its pixel.
template <class Sample, unsigned int alphaDepth>
RAVELO_INLINE __m512i alphaOfLine(std::uint16_t const* samples, OutputLevels const& levels) {
    if constexpr (sizeof(Sample) == 1) {
        const __m256i sixteen = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(samples));
        return alphaCodes<Sample, alphaDepth>(_mm512_cvtepu16_epi32(sixteen), levels);
    }
    const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples));
    return alphaCodes<Sample, alphaDepth>(_mm512_cvtepu16_epi64(eight), levels);
}

// The upper or the lower row of up to four macroblocks.
template <class Sample, unsigned int alphaDepth>
RAVELO_INLINE void storeMbRow(WideRows<Sample> const& rows, int half, std::uint16_t const* alpha,
                              OutputLevels const& levels, std::uint8_t* out, std::uint32_t numMbs, bool streams) {
    constexpr std::uint32_t kLinesPerMb = WideRows<Sample>::kLinesPerMb;
#pragma GCC unroll 2
    for (std::uint32_t line = 0; line < kLinesPerMb; ++line) {
        __m512i mbs[4];
        rows.lineOf(half, line, mbs);
        exchangeQuarters(mbs);
#pragma GCC unroll 4
        for (std::uint32_t mb = 0; mb < kMbsAtOnce; ++mb) {
            if (mb >= numMbs)
                break;
            const std::uint32_t index = kLinesPerMb * mb + line;
            if constexpr (alphaDepth != 0)
                mbs[mb] =
                    _mm512_or_si512(mbs[mb], alphaOfLine<Sample, alphaDepth>(alpha + 16 / kLinesPerMb * index, levels));
            store(out + 64 * index, mbs[mb], sizeof(Sample) != 1 && streams);
        }
    }
}

// Up to four macroblocks.
template <bool rgb, class Sample, unsigned int alphaDepth>
void write444Mbs(WideSlice const& slice, OutputLevels const& sharedLevels, std::uint32_t firstMb,
                 std::uint32_t numMbs) {
    // A copy, which the compiler need not read again after each store.
    const OutputLevels levels = sharedLevels;
    constexpr std::uint32_t kMbBytes = 64 * sizeof(Sample);
    std::uint8_t* const out = movedBy(slice.pixels, std::int64_t{firstMb} * kMbBytes);
    const std::uint32_t numRows = slice.numRows;
    const bool streams = slice.streams;
    // Three transforms of eight rows each fetch all lines of four macroblocks.
    constexpr unsigned int kLinesAtOnce = sizeof(Sample) == 1 ? 3 : 6;
    OutputPrefetch prefetch(out, slice.lineStride, numMbs * kMbBytes, streams ? 0 : numRows);
    alignas(64) SixteenBlocks blocks[3];
    transformRows<kLinesAtOnce>(LumaLoad{slice.coefficients[0] + 4 * firstMb}, *slice.plans[0], blocks[0], prefetch);
    transformRows<kLinesAtOnce>(Chroma444Load{slice.coefficients[1] + 4 * firstMb}, *slice.plans[1], blocks[1],
                                prefetch);
    transformRows<kLinesAtOnce>(Chroma444Load{slice.coefficients[2] + 4 * firstMb}, *slice.plans[1], blocks[2],
                                prefetch);
    for (SixteenBlocks& component : blocks)
        transformColumns(component);

    const std::int32_t alphaCode = alphaDepth == 0 ? levels.maxValue : 0;
    for (std::uint32_t row = 0; row < 8 && row < numRows; ++row) {
        WideRows<Sample> rows;
        encodeRow<rgb>(blocks, static_cast<int>(row), levels, alphaCode, rows);
        for (int half = 0; half < 2; ++half) {
            const std::uint32_t mbRow = row + 8 * static_cast<std::uint32_t>(half);
            if (mbRow >= numRows)
                break;
            std::uint16_t const* const alpha =
                alphaDepth == 0 ? nullptr : slice.alpha + mbRow * slice.alphaPitch + 16 * firstMb;
            storeMbRow<Sample, alphaDepth>(rows, half, alpha, levels, lineBelow(out, mbRow, slice.lineStride), numMbs,
                                           streams);
        }
    }
}

// Samples.

// Four values of each of sixteen blocks from four columns: those of block k of each macroblock in the quarters of
// values[k].
RAVELO_INLINE void joinSamples(const Floats512 (*columns)[8], std::uint32_t row, __m512i (&values)[4]) {
    const __m512 low01 = _mm512_unpacklo_ps(columns[0][row].v, columns[1][row].v);
    const __m512 high01 = _mm512_unpackhi_ps(columns[0][row].v, columns[1][row].v);
    const __m512 low23 = _mm512_unpacklo_ps(columns[2][row].v, columns[3][row].v);
    const __m512 high23 = _mm512_unpackhi_ps(columns[2][row].v, columns[3][row].v);
    values[0] = _mm512_castps_si512(_mm512_shuffle_ps(low01, low23, 0x44));
    values[1] = _mm512_castps_si512(_mm512_shuffle_ps(low01, low23, 0xEE));
    values[2] = _mm512_castps_si512(_mm512_shuffle_ps(high01, high23, 0x44));
    values[3] = _mm512_castps_si512(_mm512_shuffle_ps(high01, high23, 0xEE));
}

// Calls take(row, left, right) for every row of sixteen blocks, with what joinSamples makes of its halves.
template <class Load, class Take>
RAVELO_INLINE void transformSamples(Load const& load, VerticalPlan<OptimizationTarget::AVX2> const& plan,
                                    Take const& take) {
    alignas(64) SixteenBlocks blocks;
    OutputPrefetch nothing(nullptr, 0, 0, 0);
    transformRows<0>(load, plan, blocks, nothing);
    transformColumns(blocks);
    for (std::uint32_t row = 0; row < 8; ++row) {
        __m512i left[4], right[4];
        joinSamples(blocks, row, left);
        joinSamples(blocks + 4, row, right);
        take(row, left, right);
    }
}

// A component with the blocks of luma.
template <class Load>
RAVELO_INLINE void transformComponent(Load const& load, VerticalPlan<OptimizationTarget::AVX2> const& plan,
                                      std::uint32_t firstMb, std::uint32_t numMbs, SamplePlane& plane) {
    const auto take = [&](std::uint32_t row, const __m512i(&left)[4], const __m512i(&right)[4])
        __attribute__((always_inline)) {
        for (std::uint32_t half = 0; half < 2; ++half) {
            __m512i mbs[4] = {left[2 * half], right[2 * half], left[2 * half + 1], right[2 * half + 1]};
            exchangeQuarters(mbs);
            for (std::uint32_t mb = 0; mb < numMbs; ++mb)
                _mm512_storeu_si512(&plane.line[row + 8 * half][16 * (firstMb + mb)], mbs[mb]);
        }
    };
    transformSamples(load, plan, take);
}

// Both chroma components of 4:2:2.
RAVELO_INLINE void transformChroma422(Chroma422Load const& load, VerticalPlan<OptimizationTarget::AVX2> const& plan,
                                      std::uint32_t firstMb, std::uint32_t numMbs, SamplePlane (&planes)[3]) {
    const auto take = [&](std::uint32_t row, const __m512i(&left)[4], const __m512i(&right)[4])
        __attribute__((always_inline)) {
        const __m512i firstTwo = _mm512_setr_epi64(0, 1, 8, 9, 2, 3, 10, 11);
        const __m512i lastTwo = _mm512_setr_epi64(4, 5, 12, 13, 6, 7, 14, 15);
        for (std::uint32_t k = 0; k < 4; ++k) {
            float* const to = &planes[1 + k % 2].line[row + 8 * (k / 2)][8 * firstMb];
            _mm512_storeu_si512(to, _mm512_permutex2var_epi64(left[k], firstTwo, right[k]));
            if (numMbs > 2)
                _mm512_storeu_si512(to + 16, _mm512_permutex2var_epi64(left[k], lastTwo, right[k]));
        }
    };
    transformSamples(load, plan, take);
}

// Calls forMbs(firstMb, numMbs) for up to four macroblocks at a time.
template <class ForMbs>
RAVELO_INLINE void forEachFourMbs(WideSlice const& slice, ForMbs const& forMbs) {
    for (std::uint32_t first = 0; first < slice.numMbs; first += kMbsAtOnce) {
        const std::uint32_t left = slice.numMbs - first;
        forMbs(first, left < kMbsAtOnce ? left : kMbsAtOnce);
    }
}

template <bool is444>
void transformToBand(WideSlice const& slice, SampleBand& band) {
    forEachFourMbs(slice, [&](std::uint32_t first, std::uint32_t numMbs) {
        const std::int16_t* const* const from = slice.coefficients;
        transformComponent(LumaLoad{from[0] + 4 * first}, *slice.plans[0], first, numMbs, band.component[0]);
        if constexpr (is444) {
            for (int i = 1; i < 3; ++i)
                transformComponent(Chroma444Load{from[i] + 4 * first}, *slice.plans[1], first, numMbs,
                                   band.component[i]);
        } else {
            transformChroma422(Chroma422Load{from[1] + 2 * first, from[2] + 2 * first}, *slice.plans[1], first, numMbs,
                               band.component);
        }
    });
}

template <bool rgb, class Sample, unsigned int alphaDepth>
void write444(WideSlice const& slice, OutputLevels const& levels) {
    forEachFourMbs(slice, [&](std::uint32_t first, std::uint32_t numMbs) {
        write444Mbs<rgb, Sample, alphaDepth>(slice, levels, first, numMbs);
    });
}

template <bool rgb, class Sample>
void writeWithAlpha(WideSlice const& slice, unsigned int alphaDepth, OutputLevels const& levels) {
    if (alphaDepth == 0)
        write444<rgb, Sample, 0>(slice, levels);
    else if (alphaDepth == 8)
        write444<rgb, Sample, 8>(slice, levels);
    else
        write444<rgb, Sample, 16>(slice, levels);
}

template <class Sample>
void writeInSamples(WideSlice const& slice, VerticalOutput const& output, OutputLevels const& levels) {
    if (output.is444 && output.rgb)
        writeWithAlpha<true, Sample>(slice, output.alphaDepth, levels);
    else if (output.is444)
        writeWithAlpha<false, Sample>(slice, output.alphaDepth, levels);
    else
        forEachFourMbs(slice, [&](std::uint32_t first, std::uint32_t numMbs) {
            write422Mbs<Sample>(slice, levels, first, numMbs);
        });
}

template <class Sample>
void writeToPlanes(WideSlice const& slice, SlicePlanes const& to, OutputLevels const& levels) {
    forEachFourMbs(slice, [&](std::uint32_t first, std::uint32_t numMbs) {
        write422MbsToPlanes<Sample>(slice, to, levels, first, numMbs);
    });
}

} // namespace
