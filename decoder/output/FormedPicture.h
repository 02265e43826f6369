#pragma once

#include <cstdint>

#include "OutputForm.h"
#include "PictureOutput.h"
#include "PixelBuffer.h"

// From samples to red, green and blue: red = luma * Y + crToRed * Cr + offset, and so on. Cr and Cb are those of 4:4:4,
// or sums of two neighbours of 4:2:2.
struct RgbFactors {
    double luma = 0;
    double offset = 0;
    double crToRed = 0;
    double cbToGreen = 0;
    double crToGreen = 0;
    double cbToBlue = 0;
};

// The lines of a row of macroblocks in the picture.
struct RowLines {
    std::uint32_t first = 0; // line of the picture
    std::uint32_t step = 1;  // lines of the picture from one to the next
    std::uint32_t count = 0; // that belong to the picture, 16 at most
};

// What the rows of a picture have in common where it is decoded to a form of its own, or in part.
struct FormedPicture {
    // `buffer` describes the whole picture in the form that the writers would write, `alphaBits` the samples of its
    // alpha planes, 0 where they do not reach the output.
    FormedPicture(PictureOutput const& pictureOutput, PixelBuffer const& buffer, std::uint32_t alphaBits);

    // Whether the last pixel of a slice depends on the chroma of the next one.
    bool readsNextChroma() const {
        return !is444 && output.form != PixelForm::Coded && output.form != PixelForm::Planar;
    }

    std::uint32_t numPlanes() const { return output.form != PixelForm::Planar ? 1 : hasAlpha ? 4 : 3; }

    // Bytes of two pixels in a plane.
    std::uint32_t bytesPerTwoPixels(std::uint32_t plane) const;

    PictureOutput output;
    std::uint64_t width; // of the whole picture
    std::uint32_t mbSize;
    std::uint32_t codedBytesPerSample;
    std::uint32_t codedBytesPerPixel;
    bool is444;
    bool hasAlpha;
    // Whether slices are reconstructed to samples, which are converted, or by their writers to codes, which are only
    // moved. Codes of reduced pictures lack alpha, and at eighth size a part of Cr.
    bool takesSamples;
    // Whether slices can write samples to their planes without codes of pixels in between.
    bool takesPlanes;
    bool isDeep;  // two bytes of an output sample
    bool streams; // whole groups of pixels or samples go past the caches
    bool convertsHalvesByInstruction = false;
    bool isWide = false; // pixels are converted by WideRgb.h where that is possible
    RgbFactors rgb;
    float greatestAlpha; // sample
    float alphaScale;    // from an alpha sample to its code, or to 1
};
