#pragma once

#include <cstdint>

#include "PixelBuffer.h"

// The numbers that turn samples into codes of one output form. Samples run over 512 steps from -256 up at every depth.
struct OutputLevels {
    std::int32_t minValue;
    std::int32_t maxValue; // 255, 1023, 32768 (a power of two, not 32767) or 65535
    float alpha8Scale;     // maxValue / 255
    float alpha16Scale;    // maxValue / 65535
    float sampleScale;     // (1 + maxValue) / 512
    float cbToGreen;       // the matrix; all 0 for YCbCr output
    float cbToBlue;
    float crToRed;
    float crToGreen;
    float rgbScale;  // codes from black to white
    float rgbOffset; // code of black
};

// The greatest code of one of kBitDepths. Any other depth throws std::runtime_error with "Unsupported bit depth in
// PixelBuffer".
std::int32_t maximumCode(std::uint32_t bitDepth);

// The levels of an output, with the errors of maximumCode. The matrix follows its lumaWeights.
OutputLevels outputLevels(PixelBuffer const& buffer);
