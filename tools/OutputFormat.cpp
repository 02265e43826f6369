#include "OutputFormat.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <iterator>

#include "CommandError.h"
#include "PixelBuffer.h"
#include "Printable.h"

namespace {

std::vector<std::uint8_t> bytesOf(std::string const& text) {
    return {text.begin(), text.end()};
}

// The formats for viewers, which can have video range.
template <std::vector<std::uint8_t> (*bytesOfForm)(DecodedFrame const&, bool)>
std::vector<std::uint8_t> viewerBytes(DecodedFrame const& frame, OutputOptions const& options, std::string const&) {
    return bytesOfForm(frame, options.videoRange);
}

// The formats that have no options.
template <std::vector<std::uint8_t> (*bytesOfForm)(DecodedFrame const&)>
std::vector<std::uint8_t> plainBytes(DecodedFrame const& frame, OutputOptions const&, std::string const&) {
    return bytesOfForm(frame);
}

// A line as checksum tools print and read it. Line ends in the name are escaped.
template <std::string (*hashOf)(DecodedFrame const&)>
std::vector<std::uint8_t> hashLine(DecodedFrame const& frame, OutputOptions const&, std::string const& name) {
    return bytesOf(hashOf(frame) + "  " + printable(name) + "\n");
}

std::vector<std::uint8_t> y4mStreamHeader(DecodedFrame const& frame, OutputOptions const& options) {
    return y4mHeader(frame, options.frameRate);
}

const std::vector<std::uint32_t> kAllDepths(std::begin(kBitDepths), std::end(kBitDepths));

const std::vector<OutputFormatInfo> kFormats = {
    {.format = OutputFormat::Png,
     .name = "png",
     .bitDepths = {8, 16},
     .holdsRgb = true,
     .frameBytes = viewerBytes<pngBytes>},
    {.format = OutputFormat::Ppm,
     .name = "ppm",
     .otherName = "pnm",
     .bitDepths = kAllDepths,
     .maxAlphaDepth = 0,
     .holdsRgb = true,
     .frameBytes = viewerBytes<ppmBytes>},
    {.format = OutputFormat::Pam,
     .name = "pam",
     .bitDepths = kAllDepths,
     .holdsRgb = true,
     .frameBytes = viewerBytes<pamBytes>},
    {.format = OutputFormat::Y4m,
     .name = "y4m",
     .bitDepths = {8, 10, 16},
     .maxAlphaDepth = 8,
     .holdsManyFrames = true,
     .holdsYCbCrOnly = true,
     .frameBytes = plainBytes<y4mPicture>,
     .streamHeader = y4mStreamHeader},
    {.format = OutputFormat::Raw,
     .name = "raw",
     .bitDepths = kAllDepths,
     .holdsManyFrames = true,
     .holdsEmptyPictures = true,
     .frameBytes = plainBytes<rawBytes>},
    {.format = OutputFormat::Npy,
     .name = "npy",
     .bitDepths = kAllDepths,
     .holdsRgb = true,
     .frameBytes = viewerBytes<npyBytes>},
    {.format = OutputFormat::Exr,
     .name = "exr",
     .bitDepths = {16, 8, 10, 15},
     .holdsRgb = true,
     .frameBytes = viewerBytes<exrBytes>},
    {.format = OutputFormat::Xxh3,
     .name = "xxh3",
     .bitDepths = kAllDepths,
     .isText = true,
     .holdsManyFrames = true,
     .holdsEmptyPictures = true,
     .frameBytes = hashLine<xxh3OfPixels>},
    {.format = OutputFormat::Md5,
     .name = "md5",
     .bitDepths = kAllDepths,
     .isText = true,
     .holdsManyFrames = true,
     .holdsEmptyPictures = true,
     .frameBytes = hashLine<md5OfPixels>},
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

std::vector<std::uint8_t> frameBytes(DecodedFrame const& frame, OutputOptions const& options, std::string const& name) {
    OutputFormatInfo const& info = infoOf(options.format);
    return info.frameBytes == nullptr ? std::vector<std::uint8_t>() : info.frameBytes(frame, options, name);
}

std::vector<std::uint8_t> streamHeader(DecodedFrame const& frame, OutputOptions const& options) {
    OutputFormatInfo const& info = infoOf(options.format);
    return info.streamHeader == nullptr ? std::vector<std::uint8_t>() : info.streamHeader(frame, options);
}
