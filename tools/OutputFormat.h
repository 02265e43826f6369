#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DecodedFrame.h"
#include "FrameRate.h"

enum class OutputFormat { Png, Ppm, Pam, Y4m, Raw, Npy, Exr, Xxh3, Md5, Null };

// What a form of output is and what it can hold.
struct OutputFormatInfo {
    OutputFormat format;
    std::string_view name; // also the file name's extension, without the dot
    std::string_view description;
    bool holdsManyFrames;                 // frame after frame in one file
    bool holdsRgb;                        // a picture for viewers; otherwise the samples as the library delivers them
    std::vector<std::uint32_t> bitDepths; // the first is the default
};

std::vector<OutputFormatInfo> const& outputFormats();
OutputFormatInfo const& infoOf(OutputFormat format);
std::optional<OutputFormat> outputFormatNamed(std::string_view name);

// By the extension of a file name, in any case of letters.
std::optional<OutputFormat> outputFormatOfPath(std::string const& path);

// What does not come from the frame.
struct OutputOptions {
    OutputFormat format = OutputFormat::Png;
    bool videoRange = false; // RGB of 4:2:2 frames in video range
    FrameRate frameRate;
};

// A frame's bytes in the given form. For y4m these are the bytes of one picture, without the header of the stream.
// `name` is the frame's name in listings of hashes. Throws CommandError for what the form cannot hold.
std::vector<std::uint8_t> frameBytes(DecodedFrame const& frame, OutputOptions const& options, std::string const& name);

// What stands in front of the first frame; empty for all forms but y4m.
std::vector<std::uint8_t> streamHeader(DecodedFrame const& frame, OutputOptions const& options);

// The forms, each in a unit of its own.
std::vector<std::uint8_t> pngBytes(DecodedFrame const& frame, bool videoRange);
std::vector<std::uint8_t> ppmBytes(DecodedFrame const& frame, bool videoRange);
std::vector<std::uint8_t> pamBytes(DecodedFrame const& frame, bool videoRange);
std::vector<std::uint8_t> exrBytes(DecodedFrame const& frame, bool videoRange);
std::vector<std::uint8_t> npyBytes(DecodedFrame const& frame, bool videoRange);
std::vector<std::uint8_t> rawBytes(DecodedFrame const& frame);
std::vector<std::uint8_t> y4mHeader(DecodedFrame const& frame, FrameRate const& rate);
std::vector<std::uint8_t> y4mPicture(DecodedFrame const& frame);
std::string xxh3OfPixels(DecodedFrame const& frame);
std::string md5OfPixels(DecodedFrame const& frame);
