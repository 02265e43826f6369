#pragma once

#include <cstdint>

#include "Intrinsics.h"
#include "OptimizationTarget.h"

// The order of four luma blocks: as coded, or with the second and the third in each other's place, so that they run
// down the columns of a macroblock as chroma blocks do.
enum class ColumnOrder { AsCoded, ColumnsFirst };

// One coefficient of eight neighbouring blocks. A template, since each target compiles it with its own instructions.
template <OptimizationTarget target>
struct VerticalCoefficients {
    template <ColumnOrder order>
    static __m128i load(const std::int16_t* from) {
        const __m128i eight = _mm_loadu_si128(reinterpret_cast<const __m128i*>(from));
        if constexpr (order == ColumnOrder::AsCoded)
            return eight;
        return _mm_shuffle_epi8(eight, _mm_setr_epi8(0, 1, 4, 5, 2, 3, 6, 7, 8, 9, 12, 13, 10, 11, 14, 15));
    }
};
