#pragma once

#include <cstdint>

// Constants of the four inverse transforms. Everything here has internal linkage: the units of the variants are
// compiled for different processors and must not share a definition.
//
// The integer row tables hold 16384 * rowFactor * sqrt(2) * cos(k pi / 16), rounded to integer. The row factor folds
// the scaling that the column pass needs into the row pass: it is 1 for rows 0 and 4, and sqrt(2) * cos(r pi / 16) for
// rows r = 1, 2, 3 and their mirrors 7, 6, 5.

struct alignas(64) FullRowTable {
    std::int16_t value[32];
};

// Arranges the seven multipliers of a row, named by k, for pairwise multiply-add: four groups of four pairs, group by
// group for the source pairs (x0, x2), (x4, x6), (x1, x3) and (x5, x7). Pair i of the first two groups belongs to the
// even sum i, pair i of the last two to the odd sum i.
static consteval FullRowTable fullRowTable(int k0, int k2, int k6, int k1, int k3, int k5, int k7) {
    const int value[32] = {
        k0, k2, k0,  k6,  k0,  -k6, k0, -k2, // x0, x2
        k0, k6, -k0, -k2, -k0, k2,  k0, -k6, // x4, x6
        k1, k3, k3,  -k7, k5,  -k1, k7, -k5, // x1, x3
        k5, k7, -k1, -k5, k7,  k3,  k3, -k1, // x5, x7
    };
    FullRowTable table = {};
    for (int i = 0; i < 32; ++i)
        table.value[i] = static_cast<std::int16_t>(value[i]);
    return table;
}

static constexpr FullRowTable tab_i_04 = fullRowTable(16384, 21407, 8867, 22725, 19266, 12873, 4520);
static constexpr FullRowTable tab_i_17 = fullRowTable(22725, 29692, 12299, 31521, 26722, 17855, 6270);
static constexpr FullRowTable tab_i_26 = fullRowTable(21407, 27969, 11585, 29692, 25172, 16819, 5906);
static constexpr FullRowTable tab_i_35 = fullRowTable(19266, 25172, 10426, 26722, 22654, 15137, 5315);

// Rounding constants of the row passes, added before the shift by 12. Each row has its own, tuned so that the errors of
// the passes balance; they are not all the same half unit. Row 0 also carries the rounding of the final shift.
static constexpr std::int32_t round_i_0 = 65536;
static constexpr std::int32_t round_i4_0 = 66560;
static constexpr std::int32_t round_i2_0 = 67072;
static constexpr std::int32_t round_i_1 = 5802;
static constexpr std::int32_t round_i_2 = 4520;
static constexpr std::int32_t round_i_3 = 3408;
static constexpr std::int32_t round_i_4 = 2048;
static constexpr std::int32_t round_i_5 = 910;
static constexpr std::int32_t round_i_6 = 1024;
static constexpr std::int32_t round_i_7 = 746;

static constexpr int kRowShift = 12;
static constexpr int kColumnShift8x8 = 5;
static constexpr int kColumnShift4x4 = 6;
static constexpr int kColumnShift2x2 = 7;

// Factors of the integer column passes in units of 1 / 65536. The last two exceed a signed 16-bit multiplier, so they
// are stored less 1, and the value multiplied is added back afterwards.
static constexpr std::int16_t tg_1_16 = 13036;   // tan(pi / 16)
static constexpr std::int16_t tg_2_16 = 27146;   // tan(2 pi / 16)
static constexpr std::int16_t tg_3_16 = -21746;  // tan(3 pi / 16) - 1
static constexpr std::int16_t cos_4_16 = -19195; // cos(4 pi / 16) - 1

// Half-size row tables. They give the means of neighbouring samples of the 8-point inverse: the full row's multipliers
// times the mean of the basis function over each pair. Values 0 to 7 weigh (x0, x2), (x0, x2), (x1, x3), (x1, x3),
// values 8 to 15 weigh (x4, x6), (x4, x6), (x5, x7), (x5, x7); x4 averages to nothing.
struct alignas(32) HalfRowTable {
    std::int16_t value[16];
};

static constexpr HalfRowTable tab_i4_04 = {{16384, 15137, 16384, -15137, 20995, 7373, 8697, -17799, //
                                            0, -6270, 0, 6270, -4926, -4176, 11893, -1730}};
static constexpr HalfRowTable tab_i4_17 = {{22725, 20995, 22725, -20995, 29121, 10226, 12063, -24688, //
                                            0, -8697, 0, 8697, -6833, -5793, 16496, -2399}};
static constexpr HalfRowTable tab_i4_26 = {{21407, 19777, 21407, -19777, 27432, 9633, 11363, -23256, //
                                            0, -8192, 0, 8192, -6436, -5457, 15539, -2260}};
static constexpr HalfRowTable tab_i4_35 = {{19266, 17799, 19266, -17799, 24688, 8669, 10226, -20929, //
                                            0, -7373, 0, 7373, -5793, -4911, 13985, -2034}};

// Quarter-size row tables: the weights of x0, x1, x3, x5 and x7 in the mean of four neighbouring samples. Those of x3
// and x7 are subtracted.
struct QuarterRowTable {
    std::int16_t a0, a1, a3, a5, a7;
};

static constexpr QuarterRowTable tab_i2_04 = {16384, 14846, 5213, 3483, 2953};
static constexpr QuarterRowTable tab_i2_17 = {22725, 20592, 7231, 4832, 4096};
static constexpr QuarterRowTable tab_i2_35 = {19266, 17457, 6130, 4096, 3472};

// Scale of the float transform: entry [m][r] is k(m) * k(r) / 8 rounded to single precision, with k = (1, w1, w2, w3,
// 1, w3, w2, w1) and wi = sqrt(2) * cos(i pi / 16). Source column c takes row kScaleRowOfColumn[c] of the table, source
// row r its column r.
alignas(64) static constexpr float tab_scale[4][8] = {
    {0.125f, 0.173379987f, 0.163320377f, 0.146984443f, 0.125f, 0.146984443f, 0.163320377f, 0.173379987f},
    {0.173379987f, 0.240484938f, 0.226531863f, 0.203873292f, 0.173379987f, 0.203873292f, 0.226531863f, 0.240484938f},
    {0.163320377f, 0.226531863f, 0.213388354f, 0.192044437f, 0.163320377f, 0.192044437f, 0.213388354f, 0.226531863f},
    {0.146984443f, 0.203873292f, 0.192044437f, 0.172835425f, 0.146984443f, 0.172835425f, 0.192044437f, 0.203873292f},
};
static constexpr int kScaleRowOfColumn[8] = {0, 1, 2, 3, 0, 3, 2, 1};

// Factors of the float transform, rounded to single precision. Unlike the integer ones, none is stored less 1.
static constexpr float c_tg_1_16 = 0.198912367f;  // tan(pi / 16)
static constexpr float c_tg_2_16 = 0.414213568f;  // tan(2 pi / 16)
static constexpr float c_tg_3_16 = 0.668178618f;  // tan(3 pi / 16)
static constexpr float c_cos_4_16 = 0.707106769f; // cos(pi / 4)
