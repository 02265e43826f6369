#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "OptimizationTarget.h"
#include "Random.h"
#include "SourcePicture.h"

// The targets that this processor can run.
std::vector<OptimizationTarget> runnableTargets();

// What the decode call writes for a frame of a picture's size.
struct DecodedPicture {
    static constexpr std::uint16_t kUntouched = 0x5A; // samples that were never written

    std::size_t samplesPerLine = 0;
    std::vector<std::uint16_t> samples; // interleaved, line by line
};

// Decodes at full size to YCbCr of `bitDepth`.
DecodedPicture decoded(std::vector<std::uint8_t> const& frame, SourcePicture const& picture, std::uint32_t bitDepth,
                       OptimizationTarget target);

// The picture in the order in which decoders write it: Cb Y Cr Y, or A Y Cb Cr with `opaqueAlpha` where it has no
// alpha.
DecodedPicture interleaved(SourcePicture const& picture, std::uint16_t opaqueAlpha);

// A picture of the given form with planes of the right sizes that hold zeros.
SourcePicture emptyPicture(std::uint32_t width, std::uint32_t height, ChromaFormat chromaFormat, std::uint32_t bitDepth,
                           std::uint32_t alphaBits);

// Every sample drawn on its own: the hardest picture to code, in which every misplaced sample shows.
SourcePicture noisePicture(SourcePicture form, Random& random);

// Waves of several frequencies with a little noise: codes like a photograph.
SourcePicture wavePicture(SourcePicture form, Random& random);

std::string describe(SourcePicture const& picture);
