#pragma once

#include <cstddef>

// The orthonormal forward transform of eight values, for `count` columns side by side: value k of column x is
// values[k][x], and its place is taken by the coefficient of frequency k. Eight values v have the coefficient sqrt(8) *
// v of frequency 0 and no other.
//
// Applied to the rows of a block and then to its columns, it gives the block's coefficients.
template <std::size_t pitch>
inline void forwardDct(float (&values)[8][pitch], std::size_t count) {
    // cos(k * pi / 16) / 2
    constexpr float c1 = 0.49039264020161522f, c2 = 0.46193976625564337f, c3 = 0.41573480615127262f;
    constexpr float c4 = 0.35355339059327376f, c5 = 0.27778511650980111f, c6 = 0.19134171618254489f;
    constexpr float c7 = 0.097545161008064134f;
    // Sums and differences of values that lie opposite to each other: even frequencies depend on the sums alone, odd
    // ones on the differences. Columns do not depend on each other, so the compiler takes several at a time.
    for (std::size_t x = 0; x < count; ++x) {
        const float sum07 = values[0][x] + values[7][x], difference07 = values[0][x] - values[7][x];
        const float sum16 = values[1][x] + values[6][x], difference16 = values[1][x] - values[6][x];
        const float sum25 = values[2][x] + values[5][x], difference25 = values[2][x] - values[5][x];
        const float sum34 = values[3][x] + values[4][x], difference34 = values[3][x] - values[4][x];
        const float outer = sum07 + sum34, outerDifference = sum07 - sum34;
        const float inner = sum16 + sum25, innerDifference = sum16 - sum25;
        values[0][x] = c4 * (outer + inner);
        values[4][x] = c4 * (outer - inner);
        values[2][x] = c2 * outerDifference + c6 * innerDifference;
        values[6][x] = c6 * outerDifference - c2 * innerDifference;
        values[1][x] = (c1 * difference07 + c3 * difference16) + (c5 * difference25 + c7 * difference34);
        values[3][x] = (c3 * difference07 - c7 * difference16) - (c1 * difference25 + c5 * difference34);
        values[5][x] = (c5 * difference07 - c1 * difference16) + (c7 * difference25 + c3 * difference34);
        values[7][x] = (c7 * difference07 - c5 * difference16) + (c3 * difference25 - c1 * difference34);
    }
}
