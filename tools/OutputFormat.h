#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "DecodedFrame.h"
#include "FilePart.h"
#include "FrameRate.h"
#include "RgbRows.h"

enum class OutputFormat { Png, Ppm, Pam, Y4m, Raw, Npy, Exr, Xxh3, Md5, Null };

struct OutputOptions;

// The properties of an output format: a row of the table in OutputFormat.cpp. The rest of the command asks for
// properties and not for formats.
struct OutputFormatInfo {
    OutputFormat format = OutputFormat::Null;
    std::string_view name = {};           // also the file name's extension, without the dot
    std::string_view otherName = {};      // another extension, or empty
    std::vector<std::uint32_t> bitDepths; // the first is the default
    std::uint32_t maxAlphaDepth = 16;     // the greatest depth with an alpha plane; 0: never has one
    bool isWritten = true;                // false: the pixels are discarded
    bool isText = false;                  // fit for a terminal
    bool holdsManyFrames = false;         // frame after frame in one file
    bool holdsRgb = false;                // a picture for viewers; otherwise the samples as the library delivers them
    bool holdsHalves = false;             // RGB in half floats of 16 bits, in which nothing is clipped
    bool holdsPlanes = false;             // of Y'CbCr and alpha, one after the other; nothing else
    bool holdsEmptyPictures = false;      // pictures without columns or without lines
    std::vector<std::string_view> compressions = {}; // the choices of --compression; the first is the default

    // Writes a frame; null if nothing is written. `name` is the frame's name in listings.
    void (*writeFrame)(DecodedFrame const& frame, OutputOptions const& options, std::string const& name,
                       ByteSink const& sink) = nullptr;
    // The bytes before the first frame; null if there are none.
    std::vector<std::uint8_t> (*streamHeader)(DecodedFrame const& frame, OutputOptions const& options) = nullptr;
};

// The rows of the table, in the order of --help.
std::vector<OutputFormatInfo> const& outputFormats();

OutputFormatInfo const& infoOf(OutputFormat format);
std::optional<OutputFormat> outputFormatNamed(std::string_view name);

// By the extension of a file name, in any case of letters.
std::optional<OutputFormat> outputFormatOfPath(std::string const& path);

// What the frame does not determine.
struct OutputOptions {
    OutputFormat format = OutputFormat::Png;
    RgbForm rgb = {}; // of the formats for viewers
    FrameRate frameRate = {};
    std::string_view compression = {}; // one of the format's compressions; empty: its default
};

// Writes a frame in the format of the options. For y4m these are the bytes of one picture, without the header of the
// stream. `name` is the frame's name in listings of hashes. Throws CommandError for a frame that the format cannot
// represent.
void writeFrame(DecodedFrame const& frame, OutputOptions const& options, std::string const& name, ByteSink const& sink);

// The same bytes in memory.
std::vector<std::uint8_t> frameBytes(DecodedFrame const& frame, OutputOptions const& options,
                                     std::string const& name = "");

// The bytes before the first frame; empty for all formats except y4m.
std::vector<std::uint8_t> streamHeader(DecodedFrame const& frame, OutputOptions const& options);

// The formats, each in its own unit.
void writePng(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink);
void writePpm(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink);
void writePam(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink);
void writeExr(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink);
void writeNpy(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink);
void writeRaw(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink);
void writeY4m(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink);
std::vector<std::uint8_t> y4mHeader(DecodedFrame const& frame, OutputOptions const& options);
std::string xxh3OfPixels(DecodedFrame const& frame);
std::string md5OfPixels(DecodedFrame const& frame);
