#include "OutputFormat.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "CommandError.h"
#include "Printable.h"

namespace {

std::vector<std::uint8_t> bytesOf(std::string const& text) {
    return {text.begin(), text.end()};
}

// The line that checksum tools print and read. A name cannot make it two.
std::vector<std::uint8_t> hashLine(std::string const& hash, std::string const& name) {
    return bytesOf(hash + "  " + printable(name) + "\n");
}

} // namespace

std::vector<OutputFormatInfo> const& outputFormats() {
    static const std::vector<OutputFormatInfo> s_formats = {
        {OutputFormat::Png, "png", "PNG, RGB or RGBA", false, true, {8, 16}},
        {OutputFormat::Ppm, "ppm", "PPM, RGB", false, true, {8, 10, 15, 16}},
        {OutputFormat::Pam, "pam", "PAM, RGB or RGBA", false, true, {8, 10, 15, 16}},
        {OutputFormat::Y4m, "y4m", "YUV4MPEG2, 4:2:2 or 4:4:4", true, false, {8, 10, 16}},
        {OutputFormat::Raw, "raw", "samples as the library delivers them", true, false, {8, 10, 15, 16}},
        {OutputFormat::Npy, "npy", "NumPy array", false, true, {8, 10, 15, 16}},
        {OutputFormat::Exr, "exr", "OpenEXR, half floats of the code values", false, true, {16, 8, 10, 15}},
        {OutputFormat::Xxh3, "xxh3", "64-bit XXH3 of the raw samples", true, false, {8, 10, 15, 16}},
        {OutputFormat::Md5, "md5", "MD5 of the raw samples", true, false, {8, 10, 15, 16}},
        {OutputFormat::Null, "null", "nothing: decode and throw away", true, false, {8, 10, 15, 16}},
    };
    return s_formats;
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
    if (extension == ".pnm")
        return OutputFormat::Ppm;
    return extension.empty() ? std::nullopt : outputFormatNamed(extension.substr(1));
}

std::vector<std::uint8_t> frameBytes(DecodedFrame const& frame, OutputOptions const& options, std::string const& name) {
    switch (options.format) {
    case OutputFormat::Png:
        return pngBytes(frame, options.videoRange);
    case OutputFormat::Ppm:
        return ppmBytes(frame, options.videoRange);
    case OutputFormat::Pam:
        return pamBytes(frame, options.videoRange);
    case OutputFormat::Y4m:
        return y4mPicture(frame);
    case OutputFormat::Raw:
        return rawBytes(frame);
    case OutputFormat::Npy:
        return npyBytes(frame, options.videoRange);
    case OutputFormat::Exr:
        return exrBytes(frame, options.videoRange);
    case OutputFormat::Xxh3:
        return hashLine(xxh3OfPixels(frame), name);
    case OutputFormat::Md5:
        return hashLine(md5OfPixels(frame), name);
    case OutputFormat::Null:
        break;
    }
    return {};
}

std::vector<std::uint8_t> streamHeader(DecodedFrame const& frame, OutputOptions const& options) {
    if (options.format == OutputFormat::Y4m)
        return y4mHeader(frame, options.frameRate);
    return {};
}
