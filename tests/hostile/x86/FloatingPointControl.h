#pragma once

#include <xmmintrin.h>

// The controls of floating point that a call could change, without the flags that report.
struct FloatingPointControl {
    unsigned int vectors = 0;
    unsigned short x87 = 0;

    static FloatingPointControl now() {
        constexpr unsigned int kStatusFlags = 0x3F;
        FloatingPointControl control;
        control.vectors = _mm_getcsr() & ~kStatusFlags;
        __asm__ volatile("fnstcw %0" : "=m"(control.x87));
        return control;
    }
    bool operator==(FloatingPointControl const&) const = default;
};
