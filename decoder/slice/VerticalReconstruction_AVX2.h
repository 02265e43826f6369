#pragma once

#include <cstring>

#include "FloatBlocks256.h"
#include "Intrinsics.h"
#include "PixelRows_AVX2.h"
#include "SampleBand.h"
#include "SliceMacroblockWriter.h"
#include "VerticalCoefficients.h"
#include "VerticalReconstruction.h"

// Eight blocks in a vector, with the arithmetic of the fused kernels.
template <>
struct VerticalReconstruction<OptimizationTarget::AVX2> {
    using Slice = VerticalSlice<OptimizationTarget::AVX2>;
    using Plan = VerticalPlan<OptimizationTarget::AVX2>;

    // Of the factors of a plan.
    static constexpr float kUnit = 1.0f;

    // Up to four macroblocks: 16 luma blocks and eight of each chroma.
    template <class Sample>
    static void write422Mbs(Slice const& slice, OutputLevels const& levels, std::uint32_t firstMb,
                            std::uint32_t numMbs) {
        alignas(64) EightBlocks blocks[2];
        alignas(64) LumaCodes luma[2];
        alignas(64) ChromaCodes chroma;
        const CodeRule rule{_mm256_set1_ps(levels.sampleScale), _mm256_set1_ps(static_cast<float>(levels.maxValue))};
        const std::uint32_t numPairs = (numMbs + 1) / 2; // of macroblocks
        constexpr std::int64_t kPairBytes = 64 * sizeof(Sample);
        std::uint8_t* const out = movedBy(slice.pixels, firstMb * kPairBytes / 2);
        // Four transforms of eight rows each fetch all lines of four macroblocks.
        constexpr unsigned int kLinesAtOnce = sizeof(Sample);
        OutputPrefetch prefetch(out, slice.lineStride, numMbs * static_cast<std::uint32_t>(kPairBytes) / 2,
                                slice.streams ? 0 : slice.numRows);
        for (std::uint32_t pair = 0; pair < numPairs; ++pair) {
            transformRows<kLinesAtOnce>(slice.coefficients[0] + 4 * firstMb + 8 * pair, *slice.plans[0], blocks[0],
                                        prefetch);
            for (int i = 0; i < 4; ++i)
                encodeColumns(blocks[0], 2 * i, blocks[0], 2 * i + 1, rule, &luma[pair][0][i], 4);
        }
        transformRows<kLinesAtOnce>(slice.coefficients[1] + 2 * firstMb, *slice.plans[1], blocks[0], prefetch);
        transformRows<kLinesAtOnce>(slice.coefficients[2] + 2 * firstMb, *slice.plans[2], blocks[1], prefetch);
        for (int column = 0; column < 8; ++column)
            encodeColumns(blocks[0], column, blocks[1], column, rule, &chroma[0][column], 8);

        for (std::uint32_t row = 0; row < 8 && row < slice.numRows; ++row) {
            __m256i left[4], right[4];
            joinColumns(chroma[row], left);
            joinColumns(chroma[row] + 4, right);
            for (std::uint32_t pair = 0; pair < numPairs; ++pair) {
                __m256i y[4];
                joinColumns(luma[pair][row], y);
                const bool isWhole = 2 * pair + 1 < numMbs;
                for (int half = 0; half < 2; ++half) {
                    const std::uint32_t mbRow = row + 8 * static_cast<std::uint32_t>(half);
                    if (mbRow >= slice.numRows)
                        break;
                    // Cb Cr of the left and of the right half of two macroblocks.
                    const __m256i leftChroma = halvesOf(left[half], left[half + 2], static_cast<int>(pair));
                    const __m256i rightChroma = halvesOf(right[half], right[half + 2], static_cast<int>(pair));
                    std::uint8_t* const to = lineBelow(movedBy(out, pair * kPairBytes), mbRow, slice.lineStride);
                    store422<Sample>(to, isWhole, slice.streams, _mm256_unpacklo_epi16(leftChroma, y[2 * half]),
                                     _mm256_unpackhi_epi16(leftChroma, y[2 * half]),
                                     _mm256_unpacklo_epi16(rightChroma, y[2 * half + 1]),
                                     _mm256_unpackhi_epi16(rightChroma, y[2 * half + 1]));
                }
            }
        }
    }

    // The same to planes, without the pixels, the lines and the place of `slice`.
    template <class Sample>
    static void write422MbsToPlanes(Slice const& slice, SlicePlanes const& to, OutputLevels const& levels,
                                    std::uint32_t firstMb, std::uint32_t numMbs) {
        alignas(64) EightBlocks blocks;
        alignas(64) LumaCodes luma[2], chroma[2];
        const CodeRule rule{_mm256_set1_ps(levels.sampleScale), _mm256_set1_ps(static_cast<float>(levels.maxValue))};
        const std::uint32_t numPairs = (numMbs + 1) / 2; // of macroblocks
        const auto placeOf = [&](std::uint32_t plane, std::uint32_t sample) {
            return movedBy(to.plane[plane].pixels, std::int64_t{sample} * static_cast<int>(sizeof(Sample)));
        };
        const auto prefetchOf = [&](std::uint32_t plane, std::uint32_t samplesPerMb) {
            return OutputPrefetch(placeOf(plane, firstMb * samplesPerMb), to.plane[plane].lineStride,
                                  numMbs * samplesPerMb * static_cast<std::uint32_t>(sizeof(Sample)),
                                  to.streams ? 0 : slice.numRows);
        };
        OutputPrefetch lumaPrefetch = prefetchOf(0, 16);
        for (std::uint32_t pair = 0; pair < numPairs; ++pair) {
            transformRows<sizeof(Sample)>(slice.coefficients[0] + 4 * firstMb + 8 * pair, *slice.plans[0], blocks,
                                          lumaPrefetch);
            for (int i = 0; i < 4; ++i)
                encodeColumns(blocks, 2 * i, blocks, 2 * i + 1, rule, &luma[pair][0][i], 4);
        }
        for (std::uint32_t i = 0; i < 2; ++i) {
            OutputPrefetch prefetch = prefetchOf(1 + i, 8);
            transformRows<2>(slice.coefficients[1 + i] + 2 * firstMb, *slice.plans[1 + i], blocks, prefetch);
            for (int pair = 0; pair < 4; ++pair)
                encodeColumns(blocks, 2 * pair, blocks, 2 * pair + 1, rule, &chroma[i][0][pair], 4);
        }

        const bool streams = to.streams;
        for (std::uint32_t row = 0; row < 8 && row < slice.numRows; ++row) {
            const bool hasLower = row + 8 < slice.numRows;
            const auto writeRows = [&](std::uint32_t plane, std::uint32_t sample, __m256i upperFirst, __m256i upperLast,
                                       __m256i lowerFirst, __m256i lowerLast, std::uint32_t numSamples)
                __attribute__((always_inline)) {
                std::uint8_t* const upper = lineBelow(placeOf(plane, sample), row, to.plane[plane].lineStride);
                storeSamples<Sample>(upper, halvesOf(upperFirst, upperLast, 0), halvesOf(upperFirst, upperLast, 1),
                                     numSamples, streams);
                if (hasLower)
                    storeSamples<Sample>(lineBelow(upper, 8, to.plane[plane].lineStride),
                                         halvesOf(lowerFirst, lowerLast, 0), halvesOf(lowerFirst, lowerLast, 1),
                                         numSamples, streams);
            };
            __m256i codes[4];
            for (std::uint32_t pair = 0; pair < numPairs; ++pair) {
                joinColumns(luma[pair][row], codes);
                writeRows(0, 16 * firstMb + 32 * pair, codes[0], codes[1], codes[2], codes[3],
                          2 * pair + 1 < numMbs ? 32 : 16);
            }
            // Blocks of chroma are the upper and the lower one of each macroblock in turn.
            for (std::uint32_t i = 0; i < 2; ++i) {
                joinColumns(chroma[i][row], codes);
                writeRows(1 + i, 8 * firstMb, codes[0], codes[2], codes[1], codes[3], 8 * numMbs);
            }
        }
    }

    // One or two macroblocks: four or eight blocks of each component.
    template <bool rgb, class Sample, unsigned int alphaDepth>
    static void write444Mbs(Slice const& slice, OutputLevels const& sharedLevels, std::uint32_t firstMb,
                            std::uint32_t numMbs) {
        // A copy, which the compiler need not read again after each store.
        const OutputLevels levels = sharedLevels;
        constexpr std::int64_t kMbBytes = 64 * sizeof(Sample);
        std::uint8_t* const out = movedBy(slice.pixels, firstMb * kMbBytes);
        // Three transforms of eight rows each fetch all lines of two macroblocks.
        constexpr unsigned int kLinesAtOnce = sizeof(Sample) == 1 ? 2 : 3;
        OutputPrefetch prefetch(out, slice.lineStride, numMbs * static_cast<std::uint32_t>(kMbBytes),
                                slice.streams ? 0 : slice.numRows);
        alignas(64) EightBlocks blocks[3];
        transformRows<kLinesAtOnce, ColumnOrder::ColumnsFirst>(slice.coefficients[0] + 4 * firstMb, *slice.plans[0],
                                                               blocks[0], prefetch);
        transformRows<kLinesAtOnce>(slice.coefficients[1] + 4 * firstMb, *slice.plans[1], blocks[1], prefetch);
        transformRows<kLinesAtOnce>(slice.coefficients[2] + 4 * firstMb, *slice.plans[2], blocks[2], prefetch);
        for (EightBlocks& component : blocks)
            for (int column = 0; column < 8; ++column)
                transformColumn(component[column]);

        const std::uint32_t alphaCode = alphaDepth == 0 ? static_cast<std::uint32_t>(levels.maxValue) : 0;
        const std::uint32_t numRows = slice.numRows;
        const bool streams = slice.streams;
        for (std::uint32_t row = 0; row < 8 && row < numRows; ++row) {
            EightRows<Sample> rows;
            encodeRow<rgb>(blocks, static_cast<int>(row), levels, alphaCode, rows);
            const auto rowBelow = [&](std::uint32_t mbRow) -> MbRow {
                std::uint16_t const* const alpha =
                    alphaDepth == 0 ? nullptr : slice.alpha + mbRow * slice.alphaPitch + 16 * firstMb;
                return {mbRow < numRows ? lineBelow(out, mbRow, slice.lineStride) : nullptr, alpha};
            };
            const MbRow upper = rowBelow(row), lower = rowBelow(row + 8);
            if (streams)
                storeMbRows<true, alphaDepth>(rows, upper, lower, numMbs, levels);
            else
                storeMbRows<false, alphaDepth>(rows, upper, lower, numMbs, levels);
        }
    }

    // The samples of up to eight blocks of a component, each in lines of SamplePlane::kPitch.
    static void writeSamples(const std::int16_t* coefficients, Plan const& plan, float* const* to,
                             std::uint32_t numBlocks) {
        alignas(64) EightBlocks blocks;
        OutputPrefetch nothing(nullptr, 0, 0, 0);
        transformRows<0>(coefficients, plan, blocks, nothing);
        for (int column = 0; column < 8; ++column)
            transformColumn(blocks[column]);
        for (std::uint32_t row = 0; row < 8; ++row) {
            Floats256 x[8];
#pragma GCC unroll 8
            for (int column = 0; column < 8; ++column)
                x[column] = blocks[column][row];
            transposeBlock(x);
            for (std::uint32_t block = 0; block < numBlocks; ++block)
                x[block].store(to[block] + row * SamplePlane::kPitch);
        }
    }

private:
    using Pixels = PixelRows<OptimizationTarget::AVX2>;

    // Values of eight blocks, by column and row.
    using EightBlocks = Floats256[8][8];

    // Dequantises and transforms the rows of eight blocks.
    template <unsigned int linesAtOnce, ColumnOrder order = ColumnOrder::AsCoded>
    static void transformRows(const std::int16_t* coefficients, Plan const& plan, EightBlocks& blocks,
                              OutputPrefetch& prefetch) {
        for (int row = 0; row < 8; ++row) {
            prefetch.fetch(linesAtOnce);
            Floats256 x[8];
#pragma GCC unroll 8
            for (int column = 0; column < 8; ++column) {
                const int position = 8 * row + column;
                const __m128i eight =
                    VerticalCoefficients<OptimizationTarget::AVX2>::load<order>(coefficients + plan.offset[position]);
                x[column] = Floats256{_mm256_cvtepi32_ps(_mm256_cvtepi16_epi32(eight))} *
                            Floats256::broadcast(plan.factor[position][0]);
            }
            const Floats256 scales[4] = {
                Floats256::broadcast(tab_scale[0][row]), Floats256::broadcast(tab_scale[1][row]),
                Floats256::broadcast(tab_scale[2][row]), Floats256::broadcast(tab_scale[3][row])};
            fusedScaledTransform(x, scales);
#pragma GCC unroll 8
            for (int column = 0; column < 8; ++column)
                blocks[column][row] = x[column];
        }
    }

    RAVELO_INLINE static void transformColumn(Floats256 (&column)[8]) {
        transformInRegisters(column, [](Floats256(&x)[8]) { fusedTransform(x); });
    }

    // 4:2:2.

    // Codes of eight blocks in 16 bits. Luma: by row and pair of columns, a pair's two columns in the halves of each
    // 128 bits. Chroma: by row and column, Cb and Cr in the halves.
    using LumaCodes = __m256i[8][4];
    using ChromaCodes = __m256i[8][8];

    struct CodeRule {
        __m256 scale, greatest;

        __m256i operator()(Floats256 samples) const {
            return Pixels::limited(Pixels::sampleCode(samples.v, scale), greatest);
        }
    };

    static void encodeColumns(EightBlocks& first, int firstColumn, EightBlocks& second, int secondColumn,
                              CodeRule const& rule, __m256i* codes, int codesPerRow) {
        transformColumn(first[firstColumn]);
        transformColumn(second[secondColumn]);
#pragma GCC unroll 8
        for (int row = 0; row < 8; ++row)
            codes[codesPerRow * row] =
                _mm256_packus_epi32(rule(first[firstColumn][row]), rule(second[secondColumn][row]));
    }

    // A row of each of eight blocks, eight codes of luma or four pairs Cb Cr, from the four vectors of its columns:
    // those of block 4 * half + k in a half of codes[k].
    RAVELO_INLINE static void joinColumns(const __m256i* columns, __m256i (&codes)[4]) {
        __m256i quads[2][2];
        for (int side = 0; side < 2; ++side) {
            const __m256i even = _mm256_unpacklo_epi16(columns[2 * side], columns[2 * side + 1]);
            const __m256i odd = _mm256_unpackhi_epi16(columns[2 * side], columns[2 * side + 1]);
            quads[side][0] = _mm256_unpacklo_epi16(even, odd);
            quads[side][1] = _mm256_unpackhi_epi16(even, odd);
        }
        codes[0] = _mm256_unpacklo_epi64(quads[0][0], quads[1][0]);
        codes[1] = _mm256_unpackhi_epi64(quads[0][0], quads[1][0]);
        codes[2] = _mm256_unpacklo_epi64(quads[0][1], quads[1][1]);
        codes[3] = _mm256_unpackhi_epi64(quads[0][1], quads[1][1]);
    }

    // The lower or the upper halves of two vectors.
    static __m256i halvesOf(__m256i a, __m256i b, int half) {
        return half == 0 ? _mm256_permute2x128_si256(a, b, 0x20) : _mm256_permute2x128_si256(a, b, 0x31);
    }

    // Stores a row of two macroblocks, or of the first alone. Each vector holds a quarter of both.
    template <class Sample>
    static void store422(std::uint8_t* out, bool isWhole, bool streams, __m256i a, __m256i b, __m256i c, __m256i d) {
        if constexpr (sizeof(Sample) == 1) {
            const __m256i left = _mm256_packus_epi16(a, b), right = _mm256_packus_epi16(c, d);
            Pixels::store(out, _mm256_permute2x128_si256(left, right, 0x20));
            if (isWhole)
                Pixels::store(out + 32, _mm256_permute2x128_si256(left, right, 0x31));
        } else {
            Pixels::storeLine(out, _mm256_permute2x128_si256(a, b, 0x20), _mm256_permute2x128_si256(c, d, 0x20),
                              streams);
            if (isWhole)
                Pixels::storeLine(out + 64, _mm256_permute2x128_si256(a, b, 0x31),
                                  _mm256_permute2x128_si256(c, d, 0x31), streams);
        }
    }

    // Stores 8, 16 or 32 samples of a plane, of which each vector holds 16.
    template <class Sample>
    static void storeSamples(std::uint8_t* out, __m256i first, __m256i last, std::uint32_t numSamples, bool streams) {
        const auto store = [ first, last ](std::uint8_t * place, bool pastCaches) __attribute__((always_inline)) {
            if constexpr (sizeof(Sample) == 1)
                Pixels::store(place,
                              _mm256_permute4x64_epi64(_mm256_packus_epi16(first, last), _MM_SHUFFLE(3, 1, 2, 0)));
            else
                Pixels::storeLine(place, first, last, pastCaches);
        };
        if (numSamples == 32) {
            store(out, streams);
            return;
        }
        alignas(32) std::uint8_t samples[32 * sizeof(Sample)];
        store(samples, false);
        std::memcpy(out, samples, numSamples * sizeof(Sample));
    }

    // 4:4:4.

    // A row of eight pixels of each of eight blocks, in parts of 16 bytes: part p of block 4 * half + k.
    template <class Sample>
    struct EightRows {
        static constexpr int kParts = sizeof(Sample) == 1 ? 2 : 4;
        alignas(64) __m256i part[std::size_t{kParts}][4];

        // Sixteen bytes of part p and of the next, of one block.
        __m256i twoParts(int p, int k, int half) const {
            const auto at = [this, k, half](int i) {
                return _mm_load_si128(reinterpret_cast<const __m128i*>(&part[i][k]) + half);
            };
            return _mm256_inserti128_si256(_mm256_castsi128_si256(at(p)), at(p + 1), 1);
        }
    };

    // Codes of two columns in 16 bits, as they leave the saturation of a packing.
    struct ColumnPair {
        __m256i first, second, third;
    };

    template <bool rgb, bool limits>
    static ColumnPair encodedPair(EightBlocks (&blocks)[3], int column, int row, OutputLevels const& levels) {
        const __m256 greatest = _mm256_set1_ps(static_cast<float>(levels.maxValue));
        const auto codesOf = [&](int c) {
            return Pixels::colorCodes<rgb>(blocks[0][c][row].v, blocks[1][c][row].v, blocks[2][c][row].v, levels);
        };
        const auto whole = [&](__m256 codes) {
            return limits ? Pixels::limited(codes, greatest) : _mm256_cvttps_epi32(codes);
        };
        const auto a = codesOf(column), b = codesOf(column + 1);
        return {_mm256_packus_epi32(whole(a.first), whole(b.first)),
                _mm256_packus_epi32(whole(a.second), whole(b.second)),
                _mm256_packus_epi32(whole(a.third), whole(b.third))};
    }

    template <bool rgb>
    static void encodeRow(EightBlocks (&blocks)[3], int row, OutputLevels const& levels, std::uint32_t alphaCode,
                          EightRows<std::uint16_t>& rows) {
        const __m256i alpha = _mm256_set1_epi16(static_cast<short>(alphaCode));
        for (int pair = 0; pair < 4; ++pair) {
            const ColumnPair codes = encodedPair<rgb, true>(blocks, 2 * pair, row, levels);
            // Pixels of the left column, then of the right one.
            const __m256i left0 = _mm256_unpacklo_epi16(alpha, codes.first);
            const __m256i left1 = _mm256_unpacklo_epi16(codes.second, codes.third);
            const __m256i right0 = _mm256_unpackhi_epi16(alpha, codes.first);
            const __m256i right1 = _mm256_unpackhi_epi16(codes.second, codes.third);
            const __m256i leftLow = _mm256_unpacklo_epi32(left0, left1), leftHigh = _mm256_unpackhi_epi32(left0, left1);
            const __m256i rightLow = _mm256_unpacklo_epi32(right0, right1);
            const __m256i rightHigh = _mm256_unpackhi_epi32(right0, right1);
            rows.part[pair][0] = _mm256_unpacklo_epi64(leftLow, rightLow);
            rows.part[pair][1] = _mm256_unpackhi_epi64(leftLow, rightLow);
            rows.part[pair][2] = _mm256_unpacklo_epi64(leftHigh, rightHigh);
            rows.part[pair][3] = _mm256_unpackhi_epi64(leftHigh, rightHigh);
        }
    }

    // Codes of 32768 and more turn negative on the way through signed 16 bits and end at 0.
    template <bool rgb>
    static void encodeRow(EightBlocks (&blocks)[3], int row, OutputLevels const& levels, std::uint32_t alphaCode,
                          EightRows<std::uint8_t>& rows) {
        const __m256i alpha = _mm256_set1_epi8(static_cast<char>(alphaCode));
        for (int half = 0; half < 2; ++half) {
            const ColumnPair a = encodedPair<rgb, false>(blocks, 4 * half, row, levels);
            const ColumnPair b = encodedPair<rgb, false>(blocks, 4 * half + 2, row, levels);
            const __m256i first = _mm256_packus_epi16(a.first, b.first);
            const __m256i second = _mm256_packus_epi16(a.second, b.second);
            const __m256i third = _mm256_packus_epi16(a.third, b.third);
            const __m256i left0 = _mm256_unpacklo_epi8(alpha, first), left1 = _mm256_unpacklo_epi8(second, third);
            const __m256i right0 = _mm256_unpackhi_epi8(alpha, first), right1 = _mm256_unpackhi_epi8(second, third);
            const __m256i columns[4] = {_mm256_unpacklo_epi16(left0, left1), _mm256_unpackhi_epi16(left0, left1),
                                        _mm256_unpacklo_epi16(right0, right1), _mm256_unpackhi_epi16(right0, right1)};
            const __m256i low01 = _mm256_unpacklo_epi32(columns[0], columns[1]);
            const __m256i high01 = _mm256_unpackhi_epi32(columns[0], columns[1]);
            const __m256i low23 = _mm256_unpacklo_epi32(columns[2], columns[3]);
            const __m256i high23 = _mm256_unpackhi_epi32(columns[2], columns[3]);
            rows.part[half][0] = _mm256_unpacklo_epi64(low01, low23);
            rows.part[half][1] = _mm256_unpackhi_epi64(low01, low23);
            rows.part[half][2] = _mm256_unpacklo_epi64(high01, high23);
            rows.part[half][3] = _mm256_unpackhi_epi64(high01, high23);
        }
    }

    // The codes of eight alpha samples as a group of pixels has them.
    template <class Sample, unsigned int alphaDepth>
    static __m256i alphaCodes(std::uint16_t const* samples, OutputLevels const& levels) {
        const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i*>(samples));
        const __m256 scale = _mm256_set1_ps(alphaDepth == 16 ? levels.alpha16Scale : levels.alpha8Scale);
        const __m256i codes = _mm256_cvttps_epi32(
            _mm256_fmadd_ps(_mm256_cvtepi32_ps(_mm256_cvtepu16_epi32(eight)), scale, _mm256_set1_ps(0.5f)));
        const __m256i saturated = _mm256_min_epi32(codes, _mm256_set1_epi32(65535));
        if (sizeof(Sample) == 1)
            return _mm256_and_si256(saturated, _mm256_set1_epi32(0xFF));
        return _mm256_min_epi32(saturated, _mm256_set1_epi32(levels.maxValue));
    }

    // Where a row of two macroblocks goes, and its alpha. Null where it is below the picture.
    struct MbRow {
        std::uint8_t* out;
        std::uint16_t const* alpha;
    };

    // The same row of the upper and the lower blocks.
    template <bool streams, unsigned int alphaDepth, class Sample>
    RAVELO_INLINE static void storeMbRows(EightRows<Sample> const& rows, MbRow upper, MbRow lower, std::uint32_t numMbs,
                                          OutputLevels const& levels) {
        constexpr std::int64_t kHalfRowBytes = 32 * sizeof(Sample);
        const auto storeMb = [&](int mb) __attribute__((always_inline)) {
            const auto store = [&](int k, MbRow const& to) __attribute__((always_inline)) {
                const int column = 2 * mb + (k >> 1); // in half macroblocks
                storeRow<alphaDepth>(rows, k, mb, to.alpha + (alphaDepth == 0 ? 0 : 8 * column), levels,
                                     to.out + column * kHalfRowBytes, streams);
            };
            store(0, upper);
            store(2, upper);
            if (lower.out != nullptr) {
                store(1, lower);
                store(3, lower);
            }
        };
        storeMb(0);
        if (numMbs == 2)
            storeMb(1);
    }

    template <unsigned int alphaDepth>
    static void storeRow(EightRows<std::uint16_t> const& rows, int k, int half, std::uint16_t const* alpha,
                         OutputLevels const& levels, std::uint8_t* out, bool streams) {
        __m256i first = rows.twoParts(0, k, half), last = rows.twoParts(2, k, half);
        if constexpr (alphaDepth != 0) {
            const __m256i codes = alphaCodes<std::uint16_t, alphaDepth>(alpha, levels);
            first = _mm256_or_si256(first, _mm256_cvtepu32_epi64(_mm256_castsi256_si128(codes)));
            last = _mm256_or_si256(last, _mm256_cvtepu32_epi64(_mm256_extracti128_si256(codes, 1)));
        }
        Pixels::storeLine(out, first, last, streams);
    }

    template <unsigned int alphaDepth>
    static void storeRow(EightRows<std::uint8_t> const& rows, int k, int half, std::uint16_t const* alpha,
                         OutputLevels const& levels, std::uint8_t* out, bool) {
        __m256i pixels = rows.twoParts(0, k, half);
        if constexpr (alphaDepth != 0)
            pixels = _mm256_or_si256(pixels, alphaCodes<std::uint8_t, alphaDepth>(alpha, levels));
        Pixels::store(out, pixels);
    }
};
