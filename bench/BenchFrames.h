#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "OptimizationTarget.h"
#include "SourcePicture.h"

// Frames for the benchmarks, made in memory and always the same: an invented picture with detail at all scales, as
// photographs have it, so that a benchmark needs no file. Rate 0 stands for the encoder's default index.
std::vector<std::uint8_t> benchFrame(std::uint32_t width, std::uint32_t height, ChromaFormat chromaFormat,
                                     double bitsPerPixel);

// The picture of such a frame, with codes of 10 bits.
SourcePicture benchPicture(std::uint32_t width, std::uint32_t height, ChromaFormat chromaFormat);

// The targets that this processor can run, and their names in those of the benchmarks.
std::vector<OptimizationTarget> runnableTargets();
std::string nameOf(OptimizationTarget target);
