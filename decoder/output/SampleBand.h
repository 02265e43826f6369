#pragma once

#include <cstdint>

#include "Inline.h"

// How the blocks of a component are arranged in a slice: those of a macroblock follow each other.
enum class BlockLayout {
    Rows,    // four blocks of a macroblock along the rows: luma
    Columns, // four down the columns: chroma of 4:4:4
    Stack,   // two, one below the other: chroma of 4:2:2
};

// The samples of one component of a slice, line by line.
struct SamplePlane {
    static constexpr unsigned int kLines = 16;
    // Eight macroblocks, and room for the loads and the neighbouring sample that follow them.
    static constexpr unsigned int kPitch = 8 * 16 + 16;

    // The first sample of a block of `side` x `side` samples. Always inlined, since units for different processors
    // share it.
    RAVELO_INLINE float* block(BlockLayout order, std::uint32_t index, unsigned int side) {
        const std::uint32_t mb = order == BlockLayout::Stack ? index / 2 : index / 4;
        const std::uint32_t low = index & 1, high = index >> 1 & 1;
        switch (order) {
        case BlockLayout::Rows:
            return &line[side * high][side * (2 * mb + low)];
        case BlockLayout::Columns:
            return &line[side * low][side * (2 * mb + high)];
        case BlockLayout::Stack:
            break;
        }
        return &line[side * low][side * mb];
    }

    alignas(64) float line[kLines][kPitch];
};

// The samples of one slice on their way to pixels, not clamped: 512 steps from -256 up. Alpha has its own steps, up to
// 255 or 65535.
struct SampleBand {
    SamplePlane component[3]; // Y, Cb, Cr
    SamplePlane alpha;
};

// The codes of one slice on their way to a region or to planes.
struct CodedBand {
    static constexpr unsigned int kBytesPerLine = 8 * 16 * 8 + 64; // eight macroblocks of 8 bytes a pixel, and more
    alignas(64) std::uint8_t line[SamplePlane::kLines][kBytesPerLine];
};
