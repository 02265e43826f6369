#pragma once

#include <cstdint>

/// The form of the pixels that a decode writes.
enum class PixelForm : std::uint32_t {
    Coded = 0,    ///< as RaveloDecoderInterface::DecompressFrameFromBits writes them
    Rgba = 1,     ///< R G B A in 8 or 16 bits, full range
    Bgra = 2,     ///< B G R A, the same
    RgbaHalf = 3, ///< R G B A as binary16: black 0, white 1, nothing clipped
    Planar = 4,   ///< Y, Cb and Cr as coded, and alpha where the frame has it, each in a plane of its own
};

/// A rectangle of the picture, in pixels of the size that is decoded.
struct PixelRectangle {
    std::uint32_t x = 0;
    std::uint32_t y = 0;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
};

/// Where the samples of a plane go, or the pixels of a form that is not planar.
struct OutputPlane {
    std::uint8_t* pixels = nullptr; ///< of the region's first pixel
    std::int64_t lineStride = 0;    ///< bytes from one line to the next; may be negative
};

/// The destination of a decode to a form of its own, or of a part of the picture. Exactly the region is written.
struct PictureOutput {
    PixelForm form = PixelForm::Coded;
    PixelRectangle region; ///< inside the picture
    OutputPlane planes[4]; ///< Y, Cb, Cr and alpha of a planar form; the first alone of another
};
