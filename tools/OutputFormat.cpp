#include "OutputFormat.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>

#include "CommandError.h"
#include "PixelBuffer.h"
#include "Printable.h"

namespace {

// The formats that do not name the frame.
template <void (*write)(DecodedFrame const&, OutputOptions const&, ByteSink const&)>
void writePicture(DecodedFrame const& frame, OutputOptions const& options, std::string const&, ByteSink const& sink) {
    write(frame, options, sink);
}

// A line as checksum tools print and read it. Line ends in the name are escaped.
template <std::string (*hashOf)(DecodedFrame const&)>
void writeHash(DecodedFrame const& frame, OutputOptions const&, std::string const& name, ByteSink const& sink) {
    const std::string line = hashOf(frame) + "  " + printable(name) + "\n";
    sink(std::span(reinterpret_cast<const std::uint8_t*>(line.data()), line.size()));
}

const std::vector<std::uint32_t> kAllDepths(std::begin(kBitDepths), std::end(kBitDepths));

const std::vector<OutputFormatInfo> kFormats = {
    {.format = OutputFormat::Png,
     .name = "png",
     .bitDepths = {8, 16},
     .holdsRgb = true,
     // Compressing takes far longer than decoding, and higher levels gain little on photographs.
     .compressions = {"1", "0", "2", "3", "4", "5", "6", "7", "8", "9"},
     .writeFrame = writePicture<writePng>},
    {.format = OutputFormat::Ppm,
     .name = "ppm",
     .otherName = "pnm",
     .bitDepths = kAllDepths,
     .maxAlphaDepth = 0,
     .holdsRgb = true,
     .writeFrame = writePicture<writePpm>},
    {.format = OutputFormat::Pam,
     .name = "pam",
     .bitDepths = kAllDepths,
     .holdsRgb = true,
     .writeFrame = writePicture<writePam>},
    {.format = OutputFormat::Y4m,
     .name = "y4m",
     .bitDepths = {8, 10, 16},
     .maxAlphaDepth = 8,
     .holdsManyFrames = true,
     .holdsPlanes = true,
     .writeFrame = writePicture<writeY4m>,
     .streamHeader = y4mHeader},
    {.format = OutputFormat::Raw,
     .name = "raw",
     .bitDepths = kAllDepths,
     .holdsManyFrames = true,
     .holdsEmptyPictures = true,
     .writeFrame = writePicture<writeRaw>},
    {.format = OutputFormat::Npy,
     .name = "npy",
     .bitDepths = kAllDepths,
     .holdsRgb = true,
     .writeFrame = writePicture<writeNpy>},
    {.format = OutputFormat::Exr,
     .name = "exr",
     .bitDepths = {16},
     .holdsRgb = true,
     .holdsHalves = true,
     .compressions = {"zip", "none", "piz", "dwaa"},
     .writeFrame = writePicture<writeExr>},
    {.format = OutputFormat::Xxh3,
     .name = "xxh3",
     .bitDepths = kAllDepths,
     .isText = true,
     .holdsManyFrames = true,
     .holdsEmptyPictures = true,
     .writeFrame = writeHash<xxh3OfPixels>},
    {.format = OutputFormat::Md5,
     .name = "md5",
     .bitDepths = kAllDepths,
     .isText = true,
     .holdsManyFrames = true,
     .holdsEmptyPictures = true,
     .writeFrame = writeHash<md5OfPixels>},
    {.format = OutputFormat::Null,
     .name = "null",
     .bitDepths = kAllDepths,
     .isWritten = false,
     .holdsManyFrames = true,
     .holdsEmptyPictures = true},
};

} // namespace

std::vector<OutputFormatInfo> const& outputFormats() {
    return kFormats;
}

OutputFormatInfo const& infoOf(OutputFormat format) {
    return *std::find_if(outputFormats().begin(), outputFormats().end(),
                         [format](OutputFormatInfo const& info) { return info.format == format; });
}

std::optional<OutputFormat> outputFormatNamed(std::string_view name) {
    for (OutputFormatInfo const& info : outputFormats())
        if (info.name == name)
            return info.format;
    return std::nullopt;
}

std::optional<OutputFormat> outputFormatOfPath(std::string const& path) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (extension.empty())
        return std::nullopt;
    extension.erase(0, 1);
    for (OutputFormatInfo const& info : outputFormats())
        if (extension == info.name || (extension == info.otherName && !extension.empty()))
            return info.format;
    return std::nullopt;
}

void writeFrame(DecodedFrame const& frame, OutputOptions const& options, std::string const& name,
                ByteSink const& sink) {
    OutputFormatInfo const& info = infoOf(options.format);
    if (info.writeFrame != nullptr)
        info.writeFrame(frame, options, name, sink);
}

std::vector<std::uint8_t> frameBytes(DecodedFrame const& frame, OutputOptions const& options, std::string const& name) {
    std::vector<std::uint8_t> bytes;
    writeFrame(frame, options, name,
               [&bytes](std::span<const std::uint8_t> part) { bytes.insert(bytes.end(), part.begin(), part.end()); });
    return bytes;
}

std::vector<std::uint8_t> streamHeader(DecodedFrame const& frame, OutputOptions const& options) {
    OutputFormatInfo const& info = infoOf(options.format);
    return info.streamHeader == nullptr ? std::vector<std::uint8_t>() : info.streamHeader(frame, options);
}
