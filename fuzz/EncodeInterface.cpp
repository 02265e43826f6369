// The C interface of the encoder with any picture, options and planes: nothing outside the planes is read, whatever
// their strides, and a frame that is made is whole and has what the options say.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "FuzzInput.h"
#include "ravelo.h"
#include "ravelo_encode.h"

namespace {

// The plane of a picture in a block of exactly its size, so that a sanitizer sees a read beyond it.
class PlaneMemory {
public:
    // `lineBytes` and `height` are those that the picture needs; some planes are wrong by a little, some by much.
    PlaneMemory(FuzzInput& input, std::uint64_t lineBytes, std::uint32_t height) {
        const std::uint8_t choice = input.byte();
        std::uint64_t stride = lineBytes + ((choice & 1) != 0 ? input.below(9) : 0);
        std::uint64_t bytes = height == 0 ? 0 : (height - 1) * stride + lineBytes;
        plane.stride = stride == lineBytes && (choice & 2) == 0 ? 0 : static_cast<std::int64_t>(stride);
        if ((choice & 2) != 0 && height != 0) {
            plane.first_line = (height - 1) * stride;
            plane.stride = -plane.stride;
        }
        if (choice >> 2 == 63)
            bytes -= std::min<std::uint64_t>(bytes, input.below(40));
        if (choice >> 2 == 62)
            plane.first_line += input.byte() - 128u;
        if (choice >> 2 == 61)
            plane.stride = static_cast<std::int64_t>(std::uint64_t{input.word()} << 48 | input.word());
        plane.memory_bytes = bytes;
        m_bytes = std::make_unique<std::uint8_t[]>(bytes);
        std::uint8_t value = 0;
        for (std::uint64_t i = 0; i < bytes; ++i)
            m_bytes[i] = value = input.empty() ? static_cast<std::uint8_t>(value + 7) : input.byte();
        plane.memory = m_bytes.get();
    }

    ravelo_source_plane plane{};

private:
    std::unique_ptr<std::uint8_t[]> m_bytes;
};

bool isRgbForm(std::uint32_t pixelForm) {
    return pixelForm >= RAVELO_RGBA && pixelForm <= RAVELO_RGBA_HALF;
}

// One of four values that exist, or rarely one that does not.
std::uint32_t valueOf(std::array<std::uint32_t, 4> const& usual, std::uint32_t rare, FuzzInput& input) {
    const std::uint8_t choice = input.byte();
    return choice == 255 ? rare : usual[choice % 4];
}

ravelo_source_picture pictureFrom(FuzzInput& input) {
    constexpr std::array<std::uint32_t, 16> kDepths = {0, 8, 8, 8, 8, 9, 10, 12, 15, 16, 16, 16, 16, 16, 7, 0xFFFFFFFF};
    ravelo_source_picture picture = RAVELO_SOURCE_PICTURE_INIT;
    picture.width = input.byte() % 50;
    picture.height = input.byte() % 40;
    const std::uint8_t form = input.byte();
    picture.pixel_form = form == 255 ? 5 : form % 5;
    picture.bit_depth = kDepths[input.byte() % 16];
    picture.chroma_format = isRgbForm(picture.pixel_form) ? 0 : valueOf({0, 2, 3, 3}, 1, input);
    if (picture.pixel_form == RAVELO_RGBA_HALF && form < 250)
        picture.bit_depth = 0;
    return picture;
}

// The planes that the picture needs if its form and depth are possible, or the memory of one otherwise.
std::vector<PlaneMemory> planesFrom(FuzzInput& input, ravelo_source_picture& picture) {
    const std::uint64_t sampleBytes = picture.bit_depth > 8 || picture.pixel_form == RAVELO_RGBA_HALF ? 2 : 1;
    const bool is444 = picture.chroma_format == 3;
    const std::uint64_t width = picture.width;
    std::vector<PlaneMemory> planes;
    if (picture.pixel_form == RAVELO_PLANAR) {
        const std::uint64_t chromaWidth = is444 ? width : (width + 1) / 2;
        const std::uint32_t count = 3 + input.byte() % 2;
        for (std::uint32_t i = 0; i < count; ++i)
            planes.emplace_back(input, (i == 1 || i == 2 ? chromaWidth : width) * sampleBytes, picture.height);
    } else {
        const std::uint64_t samples = isRgbForm(picture.pixel_form) || is444 ? 4 : 2;
        planes.emplace_back(input, width * samples * sampleBytes, picture.height);
    }
    for (std::size_t i = 0; i < planes.size(); ++i)
        picture.planes[i] = planes[i].plane;
    return planes;
}

struct Weights {
    std::array<std::uint8_t, 64> luma{};
    std::array<std::uint8_t, 64> chroma{};
};

ravelo_encode_options optionsFrom(FuzzInput& input, Weights& weights) {
    ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
    options.chroma_format = valueOf({0, 2, 3, 3}, 4, input);
    options.alpha_bits = valueOf({0, 0, 8, 16}, 24, input);
    options.interlace_mode = valueOf({0, 1, 2, 3}, 4, input);
    options.slice_size = valueOf({1, 2, 4, 8}, 3, input);
    options.max_threads = valueOf({1, 1, 1, 0}, 3, input);
    const std::uint8_t rate = input.byte();
    if (rate >= 128)
        options.bits_per_pixel = std::ldexp(static_cast<double>(rate - 127), -3);
    else
        options.quantization_index = valueOf({0, 1, 5, 255}, 256, input);
    options.color_primaries = valueOf({0, 1, 9, 255}, 256, input);
    options.transfer_characteristic = input.byte();
    options.matrix_coefficients = input.byte();
    const std::uint8_t matrices = input.byte();
    for (auto* matrix : {&weights.luma, &weights.chroma})
        for (std::uint8_t& weight : *matrix)
            weight = (matrices & 4) != 0 ? input.byte() : 4;
    options.luma_matrix = (matrices & 1) != 0 ? weights.luma.data() : nullptr;
    options.chroma_matrix = (matrices & 2) != 0 ? weights.chroma.data() : nullptr;
    return options;
}

void requireSound(ravelo_status status, ravelo_error const& error, ravelo_encoded_frame const& frame) {
    require(error.status == status, "the error has the status that was returned");
    require((error.text[0] == 0) == (status == RAVELO_OK), "there is a text unless all is well");
    require((frame.data != nullptr) == (status == RAVELO_OK), "there is a frame if all is well");
    require(status != RAVELO_ERROR_INTERNAL && status != RAVELO_ERROR_MEMORY && status != RAVELO_STOPPED,
            "nothing unexpected happens");
}

void requireFrame(ravelo_source_picture const& picture, ravelo_encode_options const& options,
                  ravelo_encoded_frame const& frame) {
    ravelo_frame_info info = RAVELO_FRAME_INFO_INIT;
    require(ravelo_get_frame_info(frame.data, frame.bytes, &info, nullptr) == RAVELO_OK, "the header can be read");
    require(info.width == picture.width && info.height == picture.height, "the frame has the picture's size");
    require(options.chroma_format == 0 || info.chroma_format == options.chroma_format,
            "the chroma format is asked for");
    require(info.alpha_channel_type == options.alpha_bits / 8, "the alpha plane is asked for");
    require(info.interlace_mode == options.interlace_mode, "the fields are asked for");
    require(options.color_primaries == 0 || info.color_primaries == options.color_primaries, "colours are asked for");
    require(info.has_luma_matrix == (options.luma_matrix != nullptr ? 1u : 0u), "the matrix is asked for");
    ravelo_frame_check check = RAVELO_FRAME_CHECK_INIT;
    require(ravelo_check_frame(frame.data, frame.bytes, &check, nullptr) == RAVELO_OK &&
                check.verdict == RAVELO_FRAME_WHOLE,
            "the frame is whole");
    const double pixels = static_cast<double>(picture.width) * picture.height;
    require(frame.bits_per_pixel == 8 * static_cast<double>(frame.bytes) / pixels, "the rate is that of the bytes");
    require(options.bits_per_pixel == 0 ||
                std::abs(frame.bits_per_pixel - options.bits_per_pixel) <= 0.03 * options.bits_per_pixel * (1 + 1e-9),
            "the rate is met");
    ravelo_damage_report report = RAVELO_DAMAGE_REPORT_INIT;
    ravelo_decode_options decode = RAVELO_DECODE_OPTIONS_INIT;
    decode.pixel_form = RAVELO_RGBA;
    decode.max_threads = 1;
    decode.damage = &report;
    ravelo_buffer_requirements needs = RAVELO_BUFFER_REQUIREMENTS_INIT;
    ravelo_error error = RAVELO_ERROR_INIT;
    const ravelo_status asked = ravelo_get_buffer_requirements(frame.data, frame.bytes, &decode, &needs, &error);
    require(asked == RAVELO_OK, error.text);
    std::vector<std::uint8_t> pixelBytes(needs.bytes);
    ravelo_output output = RAVELO_OUTPUT_INIT;
    output.memory = pixelBytes.data();
    output.memory_bytes = pixelBytes.size();
    const ravelo_status status = ravelo_decode(frame.data, frame.bytes, &output, &decode, &error);
    require(status == RAVELO_OK, error.text);
    require(report.failed == 0, "no slice fails");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    Weights weights;
    const ravelo_encode_options options = optionsFrom(input, weights);
    ravelo_source_picture picture = pictureFrom(input);
    const std::vector<PlaneMemory> planes = planesFrom(input, picture);
    ravelo_encoded_frame frame = RAVELO_ENCODED_FRAME_INIT;
    ravelo_error error = RAVELO_ERROR_INIT;
    const ravelo_status status = ravelo_encode(&picture, &options, &frame, &error);
    requireSound(status, error, frame);
    if (status == RAVELO_OK)
        requireFrame(picture, options, frame);
    ravelo_free_frame(&frame);
    require(frame.data == nullptr, "a freed frame has no data");
    return 0;
}
