#include "PngReader.h"

#include <bit>
#include <csetjmp>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include <png.h>

#include "CommandError.h"

namespace {

// The state of one run of the library. All objects that own memory are here, outside of the functions that longjmp
// leaves.
struct PngInput {
    explicit PngInput(InputFile& inputFile) : file(inputFile) {}

    InputFile& file;
    std::exception_ptr fileError; // thrown by the file; must not pass through the library
    std::string errorText;
    png_structp png = nullptr;
    png_infop info = nullptr;
    // Zeros that take no memory until the rows are read into them.
    std::unique_ptr<std::uint8_t[], decltype(&std::free)> pixels{nullptr, std::free};
    std::vector<png_bytep> rows;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::uint32_t channels = 0;
    std::uint32_t bytesPerSample = 0;

    ~PngInput() { png_destroy_read_struct(&png, &info, nullptr); }
};

void reportError(png_structp png, png_const_charp text) {
    static_cast<PngInput*>(png_get_error_ptr(png))->errorText = text;
    png_longjmp(png, 1);
}

void ignoreWarning(png_structp, png_const_charp) {}

void readBytes(png_structp png, png_bytep target, std::size_t numBytes) {
    auto* input = static_cast<PngInput*>(png_get_io_ptr(png));
    bool isComplete = false;
    try {
        isComplete = input->file.read({target, numBytes});
    } catch (...) {
        input->fileError = std::current_exception();
    }
    if (!isComplete)
        png_error(png, "the file ends early");
}

// Reads everything before the pixels and selects plain gray or RGB samples of 8 or 16 bits. False after an error.
bool readHeader(PngInput& input) {
    if (setjmp(png_jmpbuf(input.png)))
        return false;
    png_set_user_limits(input.png, kMaxSide, kMaxSide);
    // Any number of texts and profiles would be kept in memory.
    png_set_keep_unknown_chunks(input.png, PNG_HANDLE_CHUNK_NEVER, nullptr, -1);
    png_set_read_fn(input.png, &input, readBytes);
    png_read_info(input.png, input.info);
    png_set_expand(input.png);
    if constexpr (std::endian::native == std::endian::little)
        png_set_swap(input.png);
    png_set_interlace_handling(input.png);
    png_read_update_info(input.png, input.info);
    input.width = png_get_image_width(input.png, input.info);
    input.height = png_get_image_height(input.png, input.info);
    input.channels = png_get_channels(input.png, input.info);
    input.bytesPerSample = png_get_bit_depth(input.png, input.info) / 8u;
    return true;
}

void makeRoom(PngInput& input) {
    const std::size_t rowBytes = std::size_t{input.width} * input.channels * input.bytesPerSample;
    // NOLINTNEXTLINE(cppcoreguidelines-no-malloc): a smart pointer has it, and no container leaves zeros to the system.
    input.pixels.reset(static_cast<std::uint8_t*>(std::calloc(input.height, rowBytes)));
    if (!input.pixels)
        throw std::bad_alloc();
    input.rows.resize(input.height);
    for (std::uint32_t y = 0; y < input.height; ++y)
        input.rows[y] = input.pixels.get() + y * rowBytes;
}

bool readPixels(PngInput& input) {
    if (setjmp(png_jmpbuf(input.png)))
        return false;
    png_read_image(input.png, input.rows.data());
    png_read_end(input.png, nullptr);
    return true;
}

std::uint16_t sampleAt(PngInput const& input, std::size_t index) {
    if (input.bytesPerSample == 1)
        return input.pixels[index];
    std::uint16_t sample;
    std::memcpy(&sample, input.pixels.get() + 2 * index, 2);
    return sample;
}

std::vector<std::uint16_t> planeOf(PngInput const& input, std::uint32_t channel) {
    std::vector<std::uint16_t> plane(std::size_t{input.width} * input.height);
    for (std::size_t i = 0; i < plane.size(); ++i)
        plane[i] = sampleAt(input, i * input.channels + channel);
    return plane;
}

InputPicture pictureOf(PngInput const& input) {
    InputPicture picture;
    picture.width = input.width;
    picture.height = input.height;
    picture.maxValue = input.bytesPerSample == 1 ? 255 : 65535;
    const std::uint32_t colors = input.channels >= 3 ? 3 : 1;
    picture.model = colors == 3 ? ColorModel::Rgb : ColorModel::Gray;
    for (std::uint32_t c = 0; c < colors; ++c)
        picture.planes[c] = planeOf(input, c);
    if (input.channels > colors) {
        picture.alpha = planeOf(input, colors);
        picture.alphaMaxValue = picture.maxValue;
    }
    return picture;
}

[[noreturn]] void throwError(PngInput const& input) {
    if (input.fileError)
        std::rethrow_exception(input.fileError);
    throw failure("{} is damaged: {}", input.file.name(), input.errorText);
}

} // namespace

std::optional<InputPicture> PngReader::next() {
    if (m_done)
        return std::nullopt;
    m_done = true;

    PngInput input(m_file);
    input.png = png_create_read_struct(PNG_LIBPNG_VER_STRING, &input, reportError, ignoreWarning);
    if (input.png != nullptr)
        input.info = png_create_info_struct(input.png);
    if (input.info == nullptr)
        throw std::bad_alloc();
    if (!readHeader(input))
        throwError(input);
    checkPictureSize(m_file.name(), input.width, input.height, m_maxPixels);
    makeRoom(input);
    if (!readPixels(input))
        throwError(input);
    return pictureOf(input);
}
