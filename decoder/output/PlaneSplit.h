#pragma once

#include <cstdint>
#include <cstring>

#include "Intrinsics.h"
#include "OptimizationTarget.h"

// Where the samples of a line go.
struct PlaneLine {
    std::uint8_t* y;
    std::uint8_t* cb;
    std::uint8_t* cr;
    std::uint8_t* alpha; // null where there is none
};

// A line of coded pixels to planes of the same samples, 16 bytes of each at a time. Up to 63 bytes after the line are
// read.
template <OptimizationTarget target, class Sample>
struct PlaneSplit {
    // Cb Y Cr Y. Chroma has one sample for two pixels, the last of which may be missing.
    static void split422(const std::uint8_t* codes, std::uint32_t numPixels, PlaneLine const& to) {
        for (std::uint32_t x = 0; x < numPixels; x += kSamples) {
            const __m128i first = ordered422(codes + std::size_t{2} * x * sizeof(Sample));
            const __m128i last = ordered422(codes + std::size_t{2} * x * sizeof(Sample) + 16);
            const __m128i chroma = _mm_shuffle_epi32(_mm_unpackhi_epi64(first, last), _MM_SHUFFLE(3, 1, 2, 0));
            const std::uint32_t count = numPixels - x < kSamples ? numPixels - x : kSamples;
            store(to.y, x, _mm_unpacklo_epi64(first, last), count);
            store(to.cb, x / 2, chroma, (count + 1) / 2);
            store(to.cr, x / 2, _mm_unpackhi_epi64(chroma, chroma), (count + 1) / 2);
        }
    }

    // A Y Cb Cr.
    static void split444(const std::uint8_t* codes, std::uint32_t numPixels, PlaneLine const& to) {
        for (std::uint32_t x = 0; x < numPixels; x += kSamples) {
            __m128i quarters[4];
            for (std::uint32_t i = 0; i < 4; ++i)
                quarters[i] = ordered444(codes + std::size_t{4} * x * sizeof(Sample) + std::size_t{16} * i);
            const __m128i low01 = _mm_unpacklo_epi32(quarters[0], quarters[1]);
            const __m128i high01 = _mm_unpackhi_epi32(quarters[0], quarters[1]);
            const __m128i low23 = _mm_unpacklo_epi32(quarters[2], quarters[3]);
            const __m128i high23 = _mm_unpackhi_epi32(quarters[2], quarters[3]);
            const std::uint32_t count = numPixels - x < kSamples ? numPixels - x : kSamples;
            if (to.alpha != nullptr)
                store(to.alpha, x, _mm_unpacklo_epi64(low01, low23), count);
            store(to.y, x, _mm_unpackhi_epi64(low01, low23), count);
            store(to.cb, x, _mm_unpacklo_epi64(high01, high23), count);
            store(to.cr, x, _mm_unpackhi_epi64(high01, high23), count);
        }
    }

private:
    // Of a vector.
    static constexpr std::uint32_t kSamples = 16 / sizeof(Sample);

    static __m128i load(const std::uint8_t* codes) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(codes)); }

    // Luma in the lower half, after it a quarter each of Cb and Cr.
    static __m128i ordered422(const std::uint8_t* codes) {
        const __m128i order = sizeof(Sample) == 1 ? _mm_setr_epi8(1, 3, 5, 7, 9, 11, 13, 15, 0, 4, 8, 12, 2, 6, 10, 14)
                                                  : _mm_setr_epi8(2, 3, 6, 7, 10, 11, 14, 15, 0, 1, 8, 9, 4, 5, 12, 13);
        return _mm_shuffle_epi8(load(codes), order);
    }

    // A quarter each of alpha, Y, Cb and Cr.
    static __m128i ordered444(const std::uint8_t* codes) {
        const __m128i order = sizeof(Sample) == 1 ? _mm_setr_epi8(0, 4, 8, 12, 1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15)
                                                  : _mm_setr_epi8(0, 1, 8, 9, 2, 3, 10, 11, 4, 5, 12, 13, 6, 7, 14, 15);
        return _mm_shuffle_epi8(load(codes), order);
    }

    // The first `count` samples of a vector as those from `index` on.
    static void store(std::uint8_t* plane, std::uint32_t index, __m128i samples, std::uint32_t count) {
        auto* const place = reinterpret_cast<__m128i*>(plane + std::size_t{index} * sizeof(Sample));
        if (count == kSamples) {
            _mm_storeu_si128(place, samples);
        } else if (count == kSamples / 2) {
            _mm_storel_epi64(place, samples);
        } else {
            alignas(16) std::uint8_t bytes[16];
            _mm_store_si128(reinterpret_cast<__m128i*>(bytes), samples);
            std::memcpy(place, bytes, count * sizeof(Sample));
        }
    }
};
