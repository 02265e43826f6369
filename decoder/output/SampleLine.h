#pragma once

// The samples of one line of a slice, from its first pixel on. Chroma of 4:2:2 has one sample for two pixels, and one
// more after the last. `alpha` is null where the pixels are opaque. Up to 15 values after the last are read.
struct SampleLine {
    const float* y;
    const float* cb;
    const float* cr;
    const float* alpha;
};

// The greatest sample up to which single precision is enough for codes of 8 and of 16 bits. Its rounding adds at most
// 5 * 2^-24 of the sum of all terms to a code, and the terms are below greatestCode * (224 + 3 * sample) / 438.
constexpr float kMostInSingleForBytes = 1 << 18;
constexpr float kMostInSingleForWords = 1 << 10;

// The least half that single precision is enough for, besides what follows from the samples: its rounding adds at most
// 5 * 2^-24 of the sum of all terms, which is below (224 + 3 * sample) / 438, and a half's unit in the last place is
// more than 2^-11 of its value.
constexpr float kLeastHalfInSingle = 0x1p-11f;
constexpr float kLeastHalfPerStep = 0x1p-17f;
