#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "AlphaCoding.h"
#include "SourcePicture.h"

/// How a picture is encoded. The defaults are the usual values.
struct EncoderSettings {
    std::uint32_t interlace_mode = 0;        ///< 0 progressive; 1 even, 2 odd lines first; 3 the even lines alone
    std::uint32_t log2_slice_size_in_mb = 3; ///< 0 to 3
    std::optional<std::array<std::uint8_t, 64>> lumaMatrix;   ///< raster order; absent means the default matrix
    std::optional<std::array<std::uint8_t, 64>> chromaMatrix; ///< absent means the luma matrix of the frame

    std::uint32_t quantization_index = 4;           ///< 0 to 255; 0 makes every sample of a slice mid-grey
    std::vector<std::uint8_t> quantization_indices; ///< one per slice in stream order; empty means the index above
    double bitsPerPixel = 0;                        ///< above 0: search the index (and, between indices, a mixture over
                                                    ///< slices) that meets this rate within 3 %

    AlphaRunCoding alphaRunCoding = AlphaRunCoding::Shortest; ///< the codes of runs of equal alpha samples
    AlphaDifferenceCoding alphaDifferenceCoding =
        AlphaDifferenceCoding::Shortest; ///< the codes of differences of alpha samples

    std::uint32_t header_size = 0;         ///< bytes; 0 or less than needed means the least that holds the fields
    std::uint32_t picture_header_size = 8; ///< bytes, 8 to 31
    std::uint32_t slice_header_size = 0;   ///< bytes, to 31; 0 means 6 without and 8 with alpha

    std::uint32_t color_primaries = 1;         ///< written to the header
    std::uint32_t transfer_characteristic = 1; ///< written to the header
    std::uint32_t matrix_coefficients = 1; ///< written to the header; RGB output uses it: 1 BT.709, 6 BT.601, 9 BT.2020

    std::uint32_t maxThreads = 1; ///< threads that encode slices, the calling one included
    /// Asked before each line that is checked and each slice that is transformed or coded, from any of the threads;
    /// empty means never.
    std::function<bool()> wantsStop{};
};

/// Thrown by encodeFrame when EncoderSettings::wantsStop has returned true.
struct EncodeStopped {};

/// Throws EncodeStopped if EncoderSettings::wantsStop returns true now.
void throwIfStopped(EncoderSettings const& settings);

/// A frame and its cost.
struct EncodedFrame {
    std::vector<std::uint8_t> bytes;      ///< the whole frame
    double bitsPerPixel = 0;              ///< 8 * bytes / (width * height)
    std::uint32_t quantization_index = 0; ///< the index that most slices use
};

/// Encodes a picture. Throws std::invalid_argument, with the field and its value in the text, for settings that the
/// format cannot carry, and std::runtime_error when no index meets `bitsPerPixel`.
EncodedFrame encodeFrame(SourcePicture const& picture, EncoderSettings const& settings);
