#include "PngWriter.h"

#include <csetjmp>
#include <cstring>
#include <new>
#include <string>
#include <utility>

#include <png.h>

#include "CommandError.h"
#include "OutputFormat.h"

namespace {

// All objects that own memory are here, outside of the function that longjmp leaves.
struct PngOutput {
    std::vector<std::uint8_t> bytes;
    std::string errorText;
    png_structp png = nullptr;
    png_infop info = nullptr;
    std::vector<std::uint8_t> row;

    ~PngOutput() { png_destroy_write_struct(&png, &info); }
};

void reportError(png_structp png, png_const_charp text) {
    static_cast<PngOutput*>(png_get_error_ptr(png))->errorText = text;
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

void appendBytes(png_structp png, png_bytep bytes, std::size_t numBytes) {
    auto* output = static_cast<PngOutput*>(png_get_io_ptr(png));
    bool appended = true;
    // No exception may pass through the library.
    try {
        output->bytes.insert(output->bytes.end(), bytes, bytes + numBytes);
    } catch (std::bad_alloc const&) {
        appended = false;
    }
    if (!appended)
        png_error(png, "not enough memory");
}

void flushNothing(png_structp) {}

// Samples of the file: one byte, or two with the high byte first.
void packRow(std::uint16_t const* samples, bool twoBytes, std::vector<std::uint8_t>& row) {
    const std::size_t numSamples = twoBytes ? row.size() / 2 : row.size();
    for (std::size_t i = 0; i < numSamples; ++i) {
        if (twoBytes) {
            row[2 * i] = static_cast<std::uint8_t>(samples[i] >> 8);
            row[2 * i + 1] = static_cast<std::uint8_t>(samples[i]);
        } else {
            row[i] = static_cast<std::uint8_t>(samples[i]);
        }
    }
}

bool writePng(RgbImage const& image, PngOutput& output) {
    const bool twoBytes = image.maxValue > 255;
    if (setjmp(png_jmpbuf(output.png)))
        return false;
    png_set_write_fn(output.png, &output, appendBytes, flushNothing);
    // A frame decodes much faster than zlib compresses it; low levels cost little size on photographs.
    png_set_compression_level(output.png, 3);
    png_set_filter(output.png, 0, PNG_FILTER_SUB | PNG_FILTER_UP);
    png_set_IHDR(output.png, output.info, image.width, image.height, twoBytes ? 16 : 8,
                 image.channels == 4 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(output.png, output.info);
    for (std::uint32_t y = 0; y < image.height; ++y) {
        packRow(image.samples.data() + std::size_t{y} * image.width * image.channels, twoBytes, output.row);
        png_write_row(output.png, output.row.data());
    }
    png_write_end(output.png, output.info);
    return true;
}

} // namespace

std::vector<std::uint8_t> pngBytes(DecodedFrame const& frame, bool videoRange) {
    return pngOf(rgbImageOf(frame, videoRange));
}

std::vector<std::uint8_t> pngOf(RgbImage const& image) {
    PngOutput output;
    output.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &output, reportError, ignoreWarning);
    if (output.png != nullptr)
        output.info = png_create_info_struct(output.png);
    if (output.info == nullptr)
        throw std::bad_alloc();
    output.row.resize(std::size_t{image.width} * image.channels * (image.maxValue > 255 ? 2 : 1));
    if (!writePng(image, output))
        throw failure("cannot write PNG: {}", output.errorText);
    return std::move(output.bytes);
}
