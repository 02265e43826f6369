#pragma once

#include <cstdint>

/// The meaning of the output samples. Every value other than ColorCoding_YCbCr selects RGB output; values above 2 are
/// accepted by the decode call and give black pixels.
enum ColorCoding : std::uint32_t {
    ColorCoding_YCbCr = 0,    ///< Y, Cb, Cr as coded
    ColorCoding_RGBFull = 1,  ///< RGB over the whole code range: black is 0, white the maximum code
    ColorCoding_RGBVideo = 2, ///< RGB in video range: black is 1/16 and white 235/256 of (1 + maximum code)
};

/// The depths of output samples, in bits. Every list of depths is this one.
inline constexpr std::uint32_t kBitDepths[] = {8, 10, 15, 16};

/// Whether the decode call accepts a depth.
constexpr bool isBitDepth(std::uint32_t bitDepth) {
    for (const std::uint32_t accepted : kBitDepths)
        if (accepted == bitDepth)
            return true;
    return false;
}

/// The greatest code of a depth. That of 15 bits is a power of two.
constexpr std::uint32_t greatestCode(std::uint32_t bitDepth) {
    return bitDepth == 15 ? 32768 : (1u << bitDepth) - 1;
}

/// The bytes of an output sample of `bitDepth` bits.
constexpr std::uint32_t bytesPerSample(std::uint32_t bitDepth) {
    return bitDepth > 8 ? 2 : 1;
}

/// The weights of red, green and blue in luma. Their sum is 1.
struct LumaWeights {
    double red;   ///< Kr
    double green; ///< Kg
    double blue;  ///< Kb
};

/// Frames of more lines are of high definition, where nothing else is said.
inline constexpr std::uint32_t kMostLinesOfStandardDefinition = 576;

/// The weights of a frame. The values of `matrix_coefficients` are the code points of ITU-T H.273: 1 is BT.709, 6 is
/// BT.601, 9 is BT.2020. For all others the lines of the frame decide: BT.709 for high definition, else BT.601.
constexpr LumaWeights lumaWeights(std::uint32_t matrix_coefficients, std::uint64_t frameHeight) {
    constexpr LumaWeights kBt709{0.2126, 0.7152, 0.0722};
    constexpr LumaWeights kBt601{0.299, 0.587, 0.114};
    constexpr LumaWeights kBt2020{0.2627, 0.678, 0.0593};
    switch (matrix_coefficients) {
    case 1:
        return kBt709;
    case 6:
        return kBt601;
    case 9:
        return kBt2020;
    default:
        return frameHeight > kMostLinesOfStandardDefinition ? kBt709 : kBt601;
    }
}

/// Where pixels go and in what form. One record describes a frame, a picture of it (a field takes every second line)
/// and a slice; `width`, `height`, `pixels` and `lineStride` differ between the three.
struct PixelBuffer {
    std::uint64_t width = 0;                     ///< pixels
    std::uint64_t height = 0;                    ///< lines
    std::uint64_t frameHeight = 0;               ///< lines of the frame at full size, both fields together
    std::uint8_t* pixels = nullptr;              ///< the first sample
    std::int64_t lineStride = 0;                 ///< bytes from one line to the next; may be negative
    std::uint32_t downSampleFactor = 0;          ///< 0 full size, 1 half, 2 quarter, 3 eighth
    ColorCoding colorCoding = ColorCoding_YCbCr; ///< the meaning of the samples
    std::uint32_t color_primaries = 0;           ///< as in the frame's header
    std::uint32_t transfer_characteristic = 0;   ///< as in the frame's header
    std::uint32_t matrix_coefficients = 0;       ///< 1, 6 and 9 name a matrix; otherwise the frame's height decides
    std::uint32_t samplesPerPixel = 0;           ///< 4 for 4:4:4 frames, otherwise 2
    std::uint32_t bitDepth = 0;                  ///< one of kBitDepths
    std::uint32_t alpha_channel_type = 0;        ///< 0 none, 1 eight-bit, 2 sixteen-bit
};
