#include "PngWriter.h"

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <functional>
#include <new>
#include <span>
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

// The samples of a line as the file has them: one byte, or two with the high byte first.
using TakeRow = std::function<void(std::uint32_t y, std::span<std::uint8_t> row)>;

struct PngForm {
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t channels;
    bool twoBytes;

    std::size_t rowBytes() const { return std::size_t{width} * channels * (twoBytes ? 2 : 1); }
};

bool compressPng(PngForm const& form, TakeRow const& takeRow, PngOutput& output) {
    if (setjmp(png_jmpbuf(output.png)))
        return false;
    png_set_write_fn(output.png, &output, appendBytes, flushNothing);
    // A frame decodes much faster than zlib compresses it; low levels cost little size on photographs.
    png_set_compression_level(output.png, 3);
    png_set_filter(output.png, 0, PNG_FILTER_SUB | PNG_FILTER_UP);
    png_set_IHDR(output.png, output.info, form.width, form.height, form.twoBytes ? 16 : 8,
                 form.channels == 4 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(output.png, output.info);
    for (std::uint32_t y = 0; y < form.height; ++y) {
        takeRow(y, output.row);
        png_write_row(output.png, output.row.data());
    }
    png_write_end(output.png, output.info);
    return true;
}

std::vector<std::uint8_t> pngOf(PngForm const& form, TakeRow const& takeRow) {
    PngOutput output;
    output.png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &output, reportError, ignoreWarning);
    if (output.png != nullptr)
        output.info = png_create_info_struct(output.png);
    if (output.info == nullptr)
        throw std::bad_alloc();
    output.row.resize(form.rowBytes());
    if (!compressPng(form, takeRow, output))
        throw failure("cannot write PNG: {}", output.errorText);
    return std::move(output.bytes);
}

} // namespace

void writePng(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink) {
    RgbRows rows(frame, options.rgb);
    const bool twoBytes = rows.bytesPerSample() == 2;
    const auto takeRow = [&](std::uint32_t y, std::span<std::uint8_t> row) {
        rows.copyRow(y, row.data());
        if (twoBytes)
            putHighBytesFirst(row);
    };
    sink(pngOf({rows.width(), rows.height(), rows.channels(), twoBytes}, takeRow));
}

std::vector<std::uint8_t> pngOf(RgbImage const& image) {
    const std::size_t samplesPerRow = std::size_t{image.width} * image.channels;
    const bool twoBytes = image.maxValue > 255;
    return pngOf({image.width, image.height, image.channels, twoBytes},
                 [&](std::uint32_t y, std::span<std::uint8_t> row) {
                     const std::uint16_t* const samples = image.samples.data() + y * samplesPerRow;
                     if (!twoBytes) {
                         std::copy_n(samples, samplesPerRow, row.data());
                         return;
                     }
                     std::memcpy(row.data(), samples, row.size());
                     putHighBytesFirst(row);
                 });
}
