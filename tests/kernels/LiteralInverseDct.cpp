#include "LiteralInverseDct.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

using Wide = std::int64_t;

Wide sat(Wide value) {
    return std::clamp<Wide>(value, -32768, 32767);
}
Wide add(Wide a, Wide b) {
    return sat(a + b);
}
Wide sub(Wide a, Wide b) {
    return sat(a - b);
}

// Division by a power of two towards minus infinity, without a shift.
Wide floorDivided(Wide value, Wide divisor) {
    const Wide quotient = value / divisor;
    return value % divisor < 0 ? quotient - 1 : quotient;
}

Wide hi(Wide a, Wide b) {
    return floorDivided(a * b, 65536);
}

constexpr Wide kTan1 = 13036;
constexpr Wide kTan2 = 27146;
constexpr Wide kTan3MinusOne = -21746;
constexpr Wide kCos4MinusOne = -19195;

Wide rowOutput(Wide sum, RowSums sums) {
    constexpr Wide kModulus = Wide{1} << 32;
    Wide value = sum;
    if (sums == RowSums::Clip) {
        value = std::clamp<Wide>(sum, INT32_MIN, INT32_MAX);
    } else {
        value = ((sum % kModulus) + kModulus) % kModulus;
        if (value >= kModulus / 2)
            value -= kModulus;
    }
    return sat(floorDivided(value, 4096));
}

struct FullRow {
    Wide c0, c2, c6, c1, c3, c5, c7;
};

constexpr FullRow kFullRows[4] = {
    {16384, 21407, 8867, 22725, 19266, 12873, 4520},
    {22725, 29692, 12299, 31521, 26722, 17855, 6270},
    {21407, 27969, 11585, 29692, 25172, 16819, 5906},
    {19266, 25172, 10426, 26722, 22654, 15137, 5315},
};
constexpr int kTableOfRow[8] = {0, 1, 2, 3, 0, 3, 2, 1};
constexpr Wide kRounding8x8[8] = {65536, 5802, 4520, 3408, 2048, 910, 1024, 746};
constexpr Wide kRounding4x4[8] = {66560, 5802, 4520, 3408, 0, 910, 1024, 746};
constexpr Wide kRounding2x2[8] = {67072, 5802, 0, 3408, 0, 910, 0, 746};

constexpr Wide kHalfRows[4][16] = {
    {16384, 15137, 16384, -15137, 20995, 7373, 8697, -17799, 0, -6270, 0, 6270, -4926, -4176, 11893, -1730},
    {22725, 20995, 22725, -20995, 29121, 10226, 12063, -24688, 0, -8697, 0, 8697, -6833, -5793, 16496, -2399},
    {21407, 19777, 21407, -19777, 27432, 9633, 11363, -23256, 0, -8192, 0, 8192, -6436, -5457, 15539, -2260},
    {19266, 17799, 19266, -17799, 24688, 8669, 10226, -20929, 0, -7373, 0, 7373, -5793, -4911, 13985, -2034},
};

// A0, A1, A3, A5, A7 of rows 0; 1 and 7; (2 and 6 are not read); 3 and 5.
constexpr Wide kQuarterRows[4][5] = {
    {16384, 14846, 5213, 3483, 2953},
    {22725, 20592, 7231, 4832, 4096},
    {0, 0, 0, 0, 0},
    {19266, 17457, 6130, 4096, 3472},
};

void fullRow(const std::int16_t* x, int row, RowSums sums, Wide* out) {
    const auto [c0, c2, c6, c1, c3, c5, c7] = kFullRows[kTableOfRow[row]];
    const Wide rounding = kRounding8x8[row];
    const Wide e[4] = {
        c0 * x[0] + c2 * x[2] + c0 * x[4] + c6 * x[6] + rounding,
        c0 * x[0] + c6 * x[2] - c0 * x[4] - c2 * x[6] + rounding,
        c0 * x[0] - c6 * x[2] - c0 * x[4] + c2 * x[6] + rounding,
        c0 * x[0] - c2 * x[2] + c0 * x[4] - c6 * x[6] + rounding,
    };
    const Wide o[4] = {
        c1 * x[1] + c3 * x[3] + c5 * x[5] + c7 * x[7],
        c3 * x[1] - c7 * x[3] - c1 * x[5] - c5 * x[7],
        c5 * x[1] - c1 * x[3] + c7 * x[5] + c3 * x[7],
        c7 * x[1] - c5 * x[3] + c3 * x[5] - c1 * x[7],
    };
    for (int i = 0; i < 4; ++i) {
        out[i] = rowOutput(e[i] + o[i], sums);
        out[7 - i] = rowOutput(e[i] - o[i], sums);
    }
}

struct ColumnTerms {
    Wide A, B, C, D, U, V;
};

ColumnTerms columnTerms(Wide r1, Wide r3, Wide r5, Wide r7) {
    ColumnTerms t = {};
    t.A = add(add(hi(r5, kTan3MinusOne), r5), r3);
    t.B = sub(r5, add(hi(r3, kTan3MinusOne), r3));
    t.C = add(r1, hi(r7, kTan1));
    t.D = sub(hi(r1, kTan1), r7);
    t.U = sub(t.C, t.A);
    t.V = sub(t.D, t.B);
    return t;
}

std::int16_t shifted(Wide value, int bits) {
    return static_cast<std::int16_t>(floorDivided(value, Wide{1} << bits));
}

void floatTransform(const float* in, float* y, int stride) {
    const float t1 = 0.198912367f;
    const float t2 = 0.414213568f;
    const float t3 = 0.668178618f;
    const float c4 = 0.707106769f;
    float x[8];
    for (int i = 0; i < 8; ++i)
        x[i] = in[i * stride];
    const float A = x[3] + x[5] * t3;
    const float B = x[5] - x[3] * t3;
    const float C = x[1] + x[7] * t1;
    const float D = x[1] * t1 - x[7];
    const float U = C - A;
    const float V = D - B;
    const float b0 = A + C;
    const float b3 = B + D;
    const float b1 = (U + V) * c4;
    const float b2 = (U - V) * c4;
    const float S = x[0] + x[4];
    const float M = x[0] - x[4];
    const float E = x[2] + x[6] * t2;
    const float G = x[2] * t2 - x[6];
    const float a0 = S + E;
    const float a3 = S - E;
    const float a1 = M + G;
    const float a2 = M - G;
    const float out[8] = {b0 + a0, b1 + a1, b2 + a2, b3 + a3, a3 - b3, a2 - b2, a1 - b1, a0 - b0};
    for (int i = 0; i < 8; ++i)
        y[i * stride] = out[i];
}

double basis(int frequency, int position) {
    const double norm = frequency == 0 ? std::sqrt(1.0 / 8.0) : std::sqrt(2.0 / 8.0);
    return norm * std::cos((2 * position + 1) * frequency * std::numbers::pi / 16.0);
}

} // namespace

Block16 literalInverse8x8(Block16 const& x, RowSums sums) {
    Wide row[8][8];
    for (int r = 0; r < 8; ++r)
        fullRow(&x[8 * r], r, sums, row[r]);
    Block16 out = {};
    for (int c = 0; c < 8; ++c) {
        const ColumnTerms t = columnTerms(row[1][c], row[3][c], row[5][c], row[7][c]);
        const Wide b0 = add(t.C, t.A);
        const Wide b3 = add(t.D, t.B);
        const Wide P = add(t.U, t.V);
        const Wide Q = sub(t.U, t.V);
        const Wide b1 = add(hi(P, kCos4MinusOne), P);
        const Wide b2 = add(hi(Q, kCos4MinusOne), Q);
        const Wide E = add(row[2][c], hi(row[6][c], kTan2));
        const Wide G = sub(hi(row[2][c], kTan2), row[6][c]);
        const Wide S = add(row[0][c], row[4][c]);
        const Wide M = sub(row[0][c], row[4][c]);
        const Wide a0 = add(S, E);
        const Wide a3 = sub(S, E);
        const Wide a1 = add(M, G);
        const Wide a2 = sub(M, G);
        const Wide column[8] = {add(a0, b0), add(a1, b1), add(a2, b2), add(a3, b3),
                                sub(a3, b3), sub(a2, b2), sub(a1, b1), sub(a0, b0)};
        for (int r = 0; r < 8; ++r)
            out[8 * r + c] = shifted(column[r], 5);
    }
    return out;
}

std::array<std::int16_t, 16> literalInverse8x8To4x4(Block16 const& source, RowSums sums) {
    Wide row[8][4] = {};
    for (const int r : {0, 1, 2, 3, 5, 6, 7}) {
        const Wide* const T = kHalfRows[kTableOfRow[r]];
        const std::int16_t* const x = &source[8 * r];
        const Wide rounding = kRounding4x4[r];
        const Wide s0 = T[0] * x[0] + T[1] * x[2] + T[8] * x[4] + T[9] * x[6];
        const Wide s1 = T[2] * x[0] + T[3] * x[2] + T[10] * x[4] + T[11] * x[6];
        const Wide s2 = T[4] * x[1] + T[5] * x[3] + T[12] * x[5] + T[13] * x[7];
        const Wide s3 = T[6] * x[1] + T[7] * x[3] + T[14] * x[5] + T[15] * x[7];
        row[r][0] = rowOutput(s0 + s2 + rounding, sums);
        row[r][1] = rowOutput(s1 + s3 + rounding, sums);
        row[r][2] = rowOutput(s1 - s3 + rounding, sums);
        row[r][3] = rowOutput(s0 - s2 + rounding, sums);
    }
    std::array<std::int16_t, 16> out = {};
    for (int c = 0; c < 4; ++c) {
        const ColumnTerms t = columnTerms(row[1][c], row[3][c], row[5][c], row[7][c]);
        const Wide P = add(t.U, t.V);
        const Wide Q = sub(t.U, t.V);
        const Wide H = add(hi(P, kCos4MinusOne), P);
        const Wide J = add(hi(Q, kCos4MinusOne), Q);
        const Wide E = add(row[2][c], hi(row[6][c], kTan2));
        const Wide G = sub(hi(row[2][c], kTan2), row[6][c]);
        const Wide W = add(E, G);
        const Wide Z = add(row[0][c], row[0][c]);
        const Wide K = add(Z, W);
        const Wide L = sub(Z, W);
        const Wide HI = add(H, add(t.C, t.A));
        const Wide FJ = add(add(t.D, t.B), J);
        out[c] = shifted(add(K, HI), 6);
        out[4 + c] = shifted(add(L, FJ), 6);
        out[8 + c] = shifted(sub(L, FJ), 6);
        out[12 + c] = shifted(sub(K, HI), 6);
    }
    return out;
}

std::array<std::int16_t, 4> literalInverse8x8To2x2(Block16 const& source, RowSums sums) {
    Wide row[8][2] = {};
    for (const int r : {0, 1, 3, 5, 7}) {
        const Wide* const weights = kQuarterRows[kTableOfRow[r]];
        const std::int16_t* const x = &source[8 * r];
        const Wide t = weights[1] * x[1] - weights[2] * x[3] + weights[3] * x[5] - weights[4] * x[7];
        row[r][0] = rowOutput(weights[0] * x[0] + t + kRounding2x2[r], sums);
        row[r][1] = rowOutput(weights[0] * x[0] - t + kRounding2x2[r], sums);
    }
    std::array<std::int16_t, 4> out = {};
    for (int c = 0; c < 2; ++c) {
        const ColumnTerms t = columnTerms(row[1][c], row[3][c], row[5][c], row[7][c]);
        const Wide Y = add(hi(t.U, kCos4MinusOne), t.U);
        const Wide N = add(add(t.D, t.B), add(t.C, t.A));
        const Wide T = add(N, add(Y, Y));
        const Wide Z = add(add(row[0][c], row[0][c]), add(row[0][c], row[0][c]));
        out[c] = shifted(add(Z, T), 7);
        out[2 + c] = shifted(sub(Z, T), 7);
    }
    return out;
}

BlockFloat literalInverse8x8Float(BlockFloat const& source) {
    double k[8];
    for (int i = 0; i < 8; ++i)
        k[i] = i == 0 ? 1.0 : std::numbers::sqrt2 * std::cos(i * std::numbers::pi / 16.0);
    const double mirrored[8] = {k[0], k[1], k[2], k[3], 1.0, k[3], k[2], k[1]};
    BlockFloat x = {};
    for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c)
            x[8 * r + c] = source[8 * r + c] * static_cast<float>(mirrored[c] * mirrored[r] / 8.0);
    }
    for (int r = 0; r < 8; ++r)
        floatTransform(&x[8 * r], &x[8 * r], 1);
    for (int c = 0; c < 8; ++c)
        floatTransform(&x[c], &x[c], 8);
    return x;
}

BlockDouble exactInverse8x8(BlockDouble const& x) {
    BlockDouble rows = {};
    BlockDouble out = {};
    for (int v = 0; v < 8; ++v) {
        for (int column = 0; column < 8; ++column) {
            for (int h = 0; h < 8; ++h)
                rows[8 * v + column] += x[8 * v + h] * basis(h, column);
        }
    }
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column) {
            for (int v = 0; v < 8; ++v)
                out[8 * row + column] += rows[8 * v + column] * basis(v, row);
        }
    }
    return out;
}

BlockDouble groupMeans(BlockDouble const& samples, int side) {
    const int perRow = 8 / side;
    BlockDouble means = {};
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column)
            means[perRow * (row / side) + column / side] += samples[8 * row + column] / (side * side);
    }
    return means;
}
