#pragma once

#include <cstdint>

#include "FormedPicture.h"
#include "OutputForm.h"
#include "ReconstructionForm.h"

// What the slices of a picture have in common. The picture makes it once and gives it to each of them.
struct PictureFacts {
    OutputForm form;
    const std::uint32_t* scanPattern; // the scan index of each raster position
    const float* lumaMatrix;          // 64 entries in raster order, divided by 8
    const float* chromaMatrix;
    bool hasAlpha; // the slices have an alpha plane
    // The bits of a coded alpha sample, and those that the writer takes it to have. They differ for alpha types that no
    // encoder writes.
    std::uint32_t codedAlphaBits;
    std::uint32_t writtenAlphaBits;
    ReconstructionForm reconstruction = ReconstructionForm::Plain;
    FormedPicture const* formed = nullptr; // null where the writers write to the caller's memory
};
