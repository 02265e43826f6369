#include "PngWriter.h"

#include <algorithm>
#include <csetjmp>
#include <cstring>
#include <functional>
#include <new>
#include <optional>
#include <span>
#include <string>
#include <utility>

#include <png.h>
#include <zlib.h>

#include "ColorFields.h"
#include "CommandError.h"
#include "OutputFormat.h"
#include "RgbRows.h"
#include "ravelo.h"

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
    int level = 1; // of zlib
    ColorFields color = {};
    bool videoRange = false;

    std::size_t rowBytes() const { return std::size_t{width} * channels * (twoBytes ? 2 : 1); }
};

// At the lowest level only runs are looked for: of photographs matches leave no less, and take half as long again.
void setCompression(png_structp png, int level) {
    png_set_compression_level(png, level);
    png_set_filter(png, 0, level == 0 ? PNG_FILTER_NONE : level == 1 ? PNG_FILTER_SUB : PNG_FILTER_SUB | PNG_FILTER_UP);
    if (level == 1)
        png_set_compression_strategy(png, Z_RLE);
}

bool isSpecified(std::uint32_t code) {
    return code != 0 && code != RAVELO_PRIMARIES_UNSPECIFIED;
}

// cICP names primaries and transfer themselves; the older chunks say the same to other readers, as far as they can.
void setColor(png_structp png, png_infop info, PngForm const& form) {
    ColorFields const& color = form.color;
    const bool isSrgb =
        color.color_primaries == RAVELO_PRIMARIES_BT709 && color.transfer_characteristic == RAVELO_TRANSFER_SRGB;
    if (isSpecified(color.color_primaries) && isSpecified(color.transfer_characteristic)) {
        // The third byte says that the samples are RGB.
        png_byte data[] = {static_cast<png_byte>(color.color_primaries),
                           static_cast<png_byte>(color.transfer_characteristic), 0,
                           static_cast<png_byte>(form.videoRange ? 0 : 1)};
        png_unknown_chunk chunk = {{'c', 'I', 'C', 'P', 0}, data, sizeof data, PNG_HAVE_IHDR};
        png_set_keep_unknown_chunks(png, PNG_HANDLE_CHUNK_ALWAYS, chunk.name, 1);
        png_set_unknown_chunks(png, info, &chunk, 1);
    }
    const std::optional<Chromaticities> points = chromaticitiesOf(color.color_primaries);
    if (points)
        png_set_cHRM(png, info, points->white[0], points->white[1], points->red[0], points->red[1], points->green[0],
                     points->green[1], points->blue[0], points->blue[1]);
    // What follows describes codes of full range.
    const std::optional<double> gamma = displayGammaOf(color.transfer_characteristic);
    if (form.videoRange || !gamma)
        return;
    png_set_gAMA(png, info, 1 / *gamma);
    if (isSrgb)
        png_set_sRGB(png, info, PNG_sRGB_INTENT_RELATIVE);
}

bool compressPng(PngForm const& form, TakeRow const& takeRow, PngOutput& output) {
    if (setjmp(png_jmpbuf(output.png)))
        return false;
    png_set_write_fn(output.png, &output, appendBytes, flushNothing);
    setCompression(output.png, form.level);
    png_set_IHDR(output.png, output.info, form.width, form.height, form.twoBytes ? 16 : 8,
                 form.channels == 4 ? PNG_COLOR_TYPE_RGB_ALPHA : PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    setColor(output.png, output.info, form);
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
    PngForm form = {rows.width(), rows.height(), rows.channels(), twoBytes};
    if (!options.compression.empty())
        form.level = options.compression.front() - '0';
    form.color = colorFieldsOf(frame.header());
    // RGB in video range comes from the library or from RgbRows.
    form.videoRange = options.rgb.videoRange;
    sink(pngOf(form, takeRow));
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
