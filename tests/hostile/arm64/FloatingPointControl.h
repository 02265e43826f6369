#pragma once

#include <cstdint>

// The controls of floating point that a call could change; the flags that report are in a register of their own.
struct FloatingPointControl {
    std::uint64_t fpcr = 0;

    static FloatingPointControl now() {
        FloatingPointControl control;
        __asm__ volatile("mrs %0, fpcr" : "=r"(control.fpcr));
        return control;
    }
    bool operator==(FloatingPointControl const&) const = default;
};
