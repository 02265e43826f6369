#include "SlowTransforms.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

// --- the 16-bit arithmetic -------------------------------------------------------------------------------------------

int saturated(int value) {
    return std::clamp(value, -32768, 32767);
}
int add(int a, int b) {
    return saturated(a + b);
}
int sub(int a, int b) {
    return saturated(a - b);
}
int hi(int a, int b) {
    return (a * b) >> 16;
}

// Sums of products wrap at 32 bits, which extreme inputs do reach.
using Wrapping = std::uint32_t;
Wrapping product(int a, int b) {
    return static_cast<Wrapping>(a) * static_cast<Wrapping>(b);
}
int rowOutput(Wrapping sum) {
    return saturated(static_cast<std::int32_t>(sum) >> 12);
}

constexpr int kTg1 = 13036;   // tan(pi/16) in units of 1/65536
constexpr int kTg2 = 27146;   // tan(2 pi/16)
constexpr int kTg3 = -21746;  // tan(3 pi/16) - 1
constexpr int kCos4 = -19195; // cos(4 pi/16) - 1

struct RowTable {
    int c0, c2, c6, c1, c3, c5, c7;
};
constexpr RowTable kRow04 = {16384, 21407, 8867, 22725, 19266, 12873, 4520};
constexpr RowTable kRow17 = {22725, 29692, 12299, 31521, 26722, 17855, 6270};
constexpr RowTable kRow26 = {21407, 27969, 11585, 29692, 25172, 16819, 5906};
constexpr RowTable kRow35 = {19266, 25172, 10426, 26722, 22654, 15137, 5315};
constexpr RowTable kRowTables[8] = {kRow04, kRow17, kRow26, kRow35, kRow04, kRow35, kRow26, kRow17};

constexpr int kRound8[8] = {65536, 5802, 4520, 3408, 2048, 910, 1024, 746};
constexpr int kRound4[8] = {66560, 5802, 4520, 3408, 0, 910, 1024, 746};
constexpr int kRound2[8] = {67072, 5802, 0, 3408, 0, 910, 0, 746};

void rowPass8(const std::int16_t* x, RowTable const& t, int rounding, int* out) {
    const Wrapping r = static_cast<Wrapping>(rounding);
    const Wrapping e0 = product(t.c0, x[0]) + product(t.c2, x[2]) + product(t.c0, x[4]) + product(t.c6, x[6]) + r;
    const Wrapping e1 = product(t.c0, x[0]) + product(t.c6, x[2]) - product(t.c0, x[4]) - product(t.c2, x[6]) + r;
    const Wrapping e2 = product(t.c0, x[0]) - product(t.c6, x[2]) - product(t.c0, x[4]) + product(t.c2, x[6]) + r;
    const Wrapping e3 = product(t.c0, x[0]) - product(t.c2, x[2]) + product(t.c0, x[4]) - product(t.c6, x[6]) + r;
    const Wrapping o0 = product(t.c1, x[1]) + product(t.c3, x[3]) + product(t.c5, x[5]) + product(t.c7, x[7]);
    const Wrapping o1 = product(t.c3, x[1]) - product(t.c7, x[3]) - product(t.c1, x[5]) - product(t.c5, x[7]);
    const Wrapping o2 = product(t.c5, x[1]) - product(t.c1, x[3]) + product(t.c7, x[5]) + product(t.c3, x[7]);
    const Wrapping o3 = product(t.c7, x[1]) - product(t.c5, x[3]) + product(t.c3, x[5]) - product(t.c1, x[7]);
    const Wrapping e[4] = {e0, e1, e2, e3};
    const Wrapping o[4] = {o0, o1, o2, o3};
    for (int i = 0; i < 4; ++i) {
        out[i] = rowOutput(e[i] + o[i]);
        out[7 - i] = rowOutput(e[i] - o[i]);
    }
}

// The odd half of a column, which all three kernels begin with: r1, r3, r5 and r7.
struct OddPart {
    int a, b, c, d;
    OddPart(int r1, int r3, int r5, int r7)
        : a(add(add(hi(r5, kTg3), r5), r3)),
          b(sub(r5, add(hi(r3, kTg3), r3))),
          c(add(r1, hi(r7, kTg1))),
          d(sub(hi(r1, kTg1), r7)) {}
};

// Column `column` of the row outputs `r`, with `width` values per row.
struct ColumnView {
    const int* r;
    int width;
    int column;
    int operator[](int row) const { return r[row * width + column]; }
};

void columnPass8(ColumnView r, std::int16_t* out) {
    const OddPart odd(r[1], r[3], r[5], r[7]);
    const int b0 = add(odd.c, odd.a);
    const int b3 = add(odd.d, odd.b);
    const int u = sub(odd.c, odd.a);
    const int v = sub(odd.d, odd.b);
    const int p = add(u, v);
    const int q = sub(u, v);
    const int b1 = add(hi(p, kCos4), p);
    const int b2 = add(hi(q, kCos4), q);
    const int e = add(r[2], hi(r[6], kTg2));
    const int g = sub(hi(r[2], kTg2), r[6]);
    const int s = add(r[0], r[4]);
    const int m = sub(r[0], r[4]);
    const int a0 = add(s, e);
    const int a3 = sub(s, e);
    const int a1 = add(m, g);
    const int a2 = sub(m, g);
    const int rows[8] = {add(a0, b0), add(a1, b1), add(a2, b2), add(a3, b3),
                         sub(a3, b3), sub(a2, b2), sub(a1, b1), sub(a0, b0)};
    for (int row = 0; row < 8; ++row)
        out[row * 8 + r.column] = static_cast<std::int16_t>(rows[row] >> 5);
}

constexpr int kReduced4Row04[16] = {16384, 15137, 16384, -15137, 20995, 7373,  8697,  -17799,
                                    0,     -6270, 0,     6270,   -4926, -4176, 11893, -1730};
constexpr int kReduced4Row17[16] = {22725, 20995, 22725, -20995, 29121, 10226, 12063, -24688,
                                    0,     -8697, 0,     8697,   -6833, -5793, 16496, -2399};
constexpr int kReduced4Row26[16] = {21407, 19777, 21407, -19777, 27432, 9633,  11363, -23256,
                                    0,     -8192, 0,     8192,   -6436, -5457, 15539, -2260};
constexpr int kReduced4Row35[16] = {19266, 17799, 19266, -17799, 24688, 8669,  10226, -20929,
                                    0,     -7373, 0,     7373,   -5793, -4911, 13985, -2034};
constexpr const int* kReduced4Rows[8] = {kReduced4Row04, kReduced4Row17, kReduced4Row26, kReduced4Row35,
                                         nullptr,        kReduced4Row35, kReduced4Row26, kReduced4Row17};

void rowPass4(const std::int16_t* x, const int* t, int rounding, int* out) {
    const Wrapping r = static_cast<Wrapping>(rounding);
    const Wrapping s0 = product(t[0], x[0]) + product(t[1], x[2]) + product(t[8], x[4]) + product(t[9], x[6]);
    const Wrapping s1 = product(t[2], x[0]) + product(t[3], x[2]) + product(t[10], x[4]) + product(t[11], x[6]);
    const Wrapping s2 = product(t[4], x[1]) + product(t[5], x[3]) + product(t[12], x[5]) + product(t[13], x[7]);
    const Wrapping s3 = product(t[6], x[1]) + product(t[7], x[3]) + product(t[14], x[5]) + product(t[15], x[7]);
    out[0] = rowOutput(s0 + s2 + r);
    out[1] = rowOutput(s1 + s3 + r);
    out[2] = rowOutput(s1 - s3 + r);
    out[3] = rowOutput(s0 - s2 + r);
}

void columnPass4(ColumnView r, std::int16_t* out) {
    const OddPart odd(r[1], r[3], r[5], r[7]);
    const int u = sub(odd.c, odd.a);
    const int v = sub(odd.d, odd.b);
    const int p = add(u, v);
    const int q = sub(u, v);
    const int h = add(hi(p, kCos4), p);
    const int j = add(hi(q, kCos4), q);
    const int e = add(r[2], hi(r[6], kTg2));
    const int g = sub(hi(r[2], kTg2), r[6]);
    const int w = add(e, g);
    const int z = add(r[0], r[0]);
    const int k = add(z, w);
    const int l = sub(z, w);
    const int outer = add(h, add(odd.c, odd.a));
    const int inner = add(add(odd.d, odd.b), j);
    const int rows[4] = {add(k, outer), add(l, inner), sub(l, inner), sub(k, outer)};
    for (int row = 0; row < 4; ++row)
        out[row * 4 + r.column] = static_cast<std::int16_t>(rows[row] >> 6);
}

constexpr int kReduced2Row04[8] = {16384, 14846, 0, 5213, 0, 3483, 0, 2953};
constexpr int kReduced2Row17[8] = {22725, 20592, 0, 7231, 0, 4832, 0, 4096};
constexpr int kReduced2Row35[8] = {19266, 17457, 0, 6130, 0, 4096, 0, 3472};
constexpr const int* kReduced2Rows[8] = {kReduced2Row04, kReduced2Row17, nullptr, kReduced2Row35,
                                         nullptr,        kReduced2Row35, nullptr, kReduced2Row17};

void rowPass2(const std::int16_t* x, const int* a, int rounding, int* out) {
    const Wrapping r = static_cast<Wrapping>(rounding);
    const Wrapping even = product(a[0], x[0]);
    const Wrapping t = product(a[1], x[1]) - product(a[3], x[3]) + product(a[5], x[5]) - product(a[7], x[7]);
    out[0] = rowOutput(even + t + r);
    out[1] = rowOutput(even - t + r);
}

void columnPass2(ColumnView r, std::int16_t* out) {
    const OddPart odd(r[1], r[3], r[5], r[7]);
    const int u = sub(odd.c, odd.a);
    const int y = add(hi(u, kCos4), u);
    const int n = add(add(odd.d, odd.b), add(odd.c, odd.a));
    const int t = add(n, add(y, y));
    const int z = add(add(r[0], r[0]), add(r[0], r[0]));
    out[r.column] = static_cast<std::int16_t>(add(z, t) >> 7);
    out[2 + r.column] = static_cast<std::int16_t>(sub(z, t) >> 7);
}

// --- the float transform ---------------------------------------------------------------------------------------------

// Entry (row, column) is k(row) k(column) / 8 in single precision, k being sqrt(2) cos(i pi/16), folded about i = 4,
// and 1 at 0 and 4.
std::array<float, 64> makeFloatScales() {
    auto k = [](int i) {
        const int folded = i <= 4 ? i : 8 - i;
        return folded % 4 == 0 ? 1.0 : std::sqrt(2.0) * std::cos(folded * std::numbers::pi / 16);
    };
    std::array<float, 64> scales{};
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column)
            scales[static_cast<std::size_t>(row * 8 + column)] = static_cast<float>(k(row) * k(column) / 8);
    }
    return scales;
}

// One dimension of the float transform, in place over x[0], x[step] and so on.
void transform1d(float* x, int step) {
    const float t1 = 0.198912367f;
    const float t2 = 0.414213568f;
    const float t3 = 0.668178618f;
    const float c4 = 0.707106769f;
    const float x0 = x[0], x1 = x[step], x2 = x[2 * step], x3 = x[3 * step];
    const float x4 = x[4 * step], x5 = x[5 * step], x6 = x[6 * step], x7 = x[7 * step];
    const float a = x3 + x5 * t3;
    const float b = x5 - x3 * t3;
    const float c = x1 + x7 * t1;
    const float d = x1 * t1 - x7;
    const float u = c - a;
    const float v = d - b;
    const float b0 = a + c;
    const float b3 = b + d;
    const float b1 = (u + v) * c4;
    const float b2 = (u - v) * c4;
    const float s = x0 + x4;
    const float m = x0 - x4;
    const float e = x2 + x6 * t2;
    const float g = x2 * t2 - x6;
    const float a0 = s + e;
    const float a3 = s - e;
    const float a1 = m + g;
    const float a2 = m - g;
    const float y[8] = {b0 + a0, b1 + a1, b2 + a2, b3 + a3, a3 - b3, a2 - b2, a1 - b1, a0 - b0};
    for (int i = 0; i < 8; ++i)
        x[i * step] = y[i];
}

} // namespace

std::array<float, 64> slowInverse32f(std::array<float, 64> const& source) {
    static const std::array<float, 64> scales = makeFloatScales();
    std::array<float, 64> x{};
    for (std::size_t i = 0; i < 64; ++i)
        x[i] = source[i] * scales[i];
    for (int row = 0; row < 8; ++row)
        transform1d(&x[static_cast<std::size_t>(row * 8)], 1);
    for (int column = 0; column < 8; ++column)
        transform1d(&x[static_cast<std::size_t>(column)], 8);
    return x;
}

std::array<std::int16_t, 64> slowInverse16s(std::array<std::int16_t, 64> const& source) {
    int rows[64] = {};
    for (int row = 0; row < 8; ++row)
        rowPass8(&source[row * 8], kRowTables[row], kRound8[row], &rows[row * 8]);
    std::array<std::int16_t, 64> out{};
    for (int column = 0; column < 8; ++column)
        columnPass8({rows, 8, column}, out.data());
    return out;
}

std::array<std::int16_t, 16> slowInverse16sTo4x4(std::array<std::int16_t, 64> const& source) {
    int rows[32] = {};
    for (int row : {0, 1, 2, 3, 5, 6, 7})
        rowPass4(&source[row * 8], kReduced4Rows[row], kRound4[row], &rows[row * 4]);
    std::array<std::int16_t, 16> out{};
    for (int column = 0; column < 4; ++column)
        columnPass4({rows, 4, column}, out.data());
    return out;
}

std::array<std::int16_t, 4> slowInverse16sTo2x2(std::array<std::int16_t, 64> const& source) {
    int rows[16] = {};
    for (int row : {0, 1, 3, 5, 7})
        rowPass2(&source[row * 8], kReduced2Rows[row], kRound2[row], &rows[row * 2]);
    std::array<std::int16_t, 4> out{};
    for (int column = 0; column < 2; ++column)
        columnPass2({rows, 2, column}, out.data());
    return out;
}

std::array<double, 64> exactInverse(std::array<double, 64> const& source) {
    double basis[8][8]; // [sample][frequency]
    for (int sample = 0; sample < 8; ++sample) {
        for (int u = 0; u < 8; ++u)
            basis[sample][u] =
                (u == 0 ? std::sqrt(0.125) : 0.5) * std::cos((2 * sample + 1) * u * std::numbers::pi / 16);
    }
    std::array<double, 64> out{};
    for (int row = 0; row < 8; ++row) {
        for (int column = 0; column < 8; ++column) {
            double sum = 0;
            for (int u = 0; u < 8; ++u) {
                for (int v = 0; v < 8; ++v)
                    sum += source[u * 8 + v] * basis[row][u] * basis[column][v];
            }
            out[row * 8 + column] = sum;
        }
    }
    return out;
}
