#include "ravelo_encode.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <optional>
#include <stdexcept>

#include "EncodeSizes.h"
#include "FrameEncoder.h"
#include "HostCall.h"
#include "HostStructure.h"
#include "SourcePlanes.h"

namespace {

bool isRgb(std::uint32_t pixelForm) {
    return pixelForm == RAVELO_RGBA || pixelForm == RAVELO_BGRA || pixelForm == RAVELO_RGBA_HALF;
}

void checkDepth(ravelo_source_picture const& picture) {
    const std::uint32_t depth = picture.bit_depth;
    const bool isPossible = picture.pixel_form == RAVELO_RGBA_HALF ? depth == 0
                            : isRgb(picture.pixel_form)            ? depth == 8 || depth == 16
                                                                   : depth >= 8 && depth <= 16;
    if (!isPossible)
        refuse(RAVELO_ERROR_COMBINATION,
               "bit_depth of the picture is %u; it can be 8 to 16, 8 or 16 for RGBA and BGRA, and 0 for half floats",
               depth);
}

ravelo_source_picture checkedPicture(const ravelo_source_picture* given) {
    ravelo_source_picture picture = copiedIn(given, "the picture");
    if (picture.reserved != 0)
        refuse(RAVELO_ERROR_STRUCTURE, "reserved of the picture is %u; it must be 0", picture.reserved);
    if (picture.width - 1 >= 65535 || picture.height - 1 >= 65535)
        refuse(RAVELO_ERROR_OPTION, "the size of the picture is %u x %u; it can be 1 x 1 to 65535 x 65535",
               picture.width, picture.height);
    if (picture.pixel_form > RAVELO_PLANAR)
        refuse(RAVELO_ERROR_OPTION, "pixel_form of the picture is %u; it can be 0 to 4", picture.pixel_form);
    if (picture.bit_depth == 0 && picture.pixel_form != RAVELO_RGBA_HALF)
        picture.bit_depth = 8;
    checkDepth(picture);
    if (isRgb(picture.pixel_form) ? picture.chroma_format != 0
                                  : picture.chroma_format == 1 || picture.chroma_format > 3)
        refuse(RAVELO_ERROR_COMBINATION,
               "chroma_format of the picture is %u; it can be 2 (4:2:2) or 3 (4:4:4), and 0 for RGB",
               picture.chroma_format);
    if (picture.chroma_format == 0 && !isRgb(picture.pixel_form))
        picture.chroma_format = 2;
    return picture;
}

void checkValue(const char* name, std::uint32_t value, std::uint32_t largest) {
    if (value > largest)
        refuse(RAVELO_ERROR_OPTION, "%s is %u; it can be 0 to %u", name, value, largest);
}

ravelo_encode_options checkedOptions(const ravelo_encode_options* given, ravelo_source_picture const& picture) {
    ravelo_encode_options options{};
    if (given != nullptr)
        options = copiedIn(given, "the encode options");
    if (options.reserved != 0)
        refuse(RAVELO_ERROR_STRUCTURE, "reserved of the encode options is %u; it must be 0", options.reserved);
    if (options.chroma_format == 1 || options.chroma_format > 3)
        refuse(RAVELO_ERROR_OPTION, "chroma_format is %u; it can be 2 (4:2:2) or 3 (4:4:4)", options.chroma_format);
    if (options.alpha_bits != 0 && options.alpha_bits != 8 && options.alpha_bits != 16)
        refuse(RAVELO_ERROR_OPTION, "alpha_bits is %u; it can be 0, 8 or 16", options.alpha_bits);
    checkValue("interlace_mode", options.interlace_mode, 3);
    if (options.slice_size > 8 || (options.slice_size != 0 && !std::has_single_bit(options.slice_size)))
        refuse(RAVELO_ERROR_OPTION, "slice_size is %u; it can be 1, 2, 4 or 8", options.slice_size);
    checkValue("quantization_index", options.quantization_index, 255);
    checkValue("color_primaries", options.color_primaries, 255);
    checkValue("transfer_characteristic", options.transfer_characteristic, 255);
    checkValue("matrix_coefficients", options.matrix_coefficients, 255);
    if (!std::isfinite(options.bits_per_pixel) || options.bits_per_pixel < 0)
        refuse(RAVELO_ERROR_OPTION, "bits_per_pixel is %g; it can be 0 or above", options.bits_per_pixel);
    if (options.bits_per_pixel > 0 && options.quantization_index != 0)
        refuse(RAVELO_ERROR_COMBINATION, "quantization_index is %u and bits_per_pixel is %g; one of them is 0",
               options.quantization_index, options.bits_per_pixel);
    if (options.chroma_format == 0)
        options.chroma_format = picture.chroma_format == 3 ? 3 : 2;
    if (options.matrix_coefficients == 0)
        options.matrix_coefficients = picture.height > 576 ? RAVELO_MATRIX_BT709 : RAVELO_MATRIX_BT601;
    return options;
}

std::optional<std::array<std::uint8_t, 64>> matrixAt(const std::uint8_t* weights) {
    if (weights == nullptr)
        return std::nullopt;
    std::array<std::uint8_t, 64> matrix;
    std::copy_n(weights, matrix.size(), matrix.begin());
    return matrix;
}

EncoderSettings settingsOf(ravelo_encode_options const& options) {
    EncoderSettings settings;
    settings.interlace_mode = options.interlace_mode;
    settings.log2_slice_size_in_mb =
        options.slice_size == 0 ? 3 : static_cast<std::uint32_t>(std::countr_zero(options.slice_size));
    settings.lumaMatrix = matrixAt(options.luma_matrix);
    settings.chromaMatrix = matrixAt(options.chroma_matrix);
    if (options.quantization_index != 0)
        settings.quantization_index = options.quantization_index;
    settings.bitsPerPixel = options.bits_per_pixel;
    // The defaults of the settings are those of the options.
    if (options.color_primaries != 0)
        settings.color_primaries = options.color_primaries;
    if (options.transfer_characteristic != 0)
        settings.transfer_characteristic = options.transfer_characteristic;
    settings.matrix_coefficients = options.matrix_coefficients;
    settings.maxThreads = std::max(options.max_threads, 1u);
    if (const auto* stop = static_cast<const volatile std::int32_t*>(options.stop))
        settings.wantsStop = [stop] { return __atomic_load_n(stop, __ATOMIC_RELAXED) != 0; };
    return settings;
}

EncodedFrame encodedFrame(ravelo_source_picture const& picture, ravelo_encode_options const& options) {
    const EncoderSettings settings = settingsOf(options);
    const SourceChoice choice{options.chroma_format == 3 ? ChromaFormat::C444 : ChromaFormat::C422, options.alpha_bits,
                              options.matrix_coefficients, [&settings] { throwIfStopped(settings); }};
    try {
        return encodeFrame(sourceOf(picture, choice), settings);
    } catch (std::invalid_argument const& error) {
        refuse(RAVELO_ERROR_OPTION, "%s", error.what());
    } catch (std::runtime_error const& error) {
        refuse(RAVELO_ERROR_COMBINATION, "%s", error.what());
    }
}

// The host frees the copy.
ravelo_encoded_frame handedOver(EncodedFrame const& encoded) {
    auto copy = std::make_unique_for_overwrite<std::uint8_t[]>(encoded.bytes.size());
    std::memcpy(copy.get(), encoded.bytes.data(), encoded.bytes.size());
    ravelo_encoded_frame frame{};
    frame.data = copy.release();
    frame.bytes = encoded.bytes.size();
    frame.bits_per_pixel = encoded.bitsPerPixel;
    frame.quantization_index = encoded.quantization_index;
    return frame;
}

} // namespace

extern "C" {

ravelo_status ravelo_encode(const ravelo_source_picture* picture, const ravelo_encode_options* options,
                            ravelo_encoded_frame* frame, ravelo_error* error) noexcept {
    return guarded(error, [&] {
        checkStructure(frame, "the encoded frame");
        copyOut(ravelo_encoded_frame{}, frame);
        const ravelo_source_picture checked = checkedPicture(picture);
        try {
            copyOut(handedOver(encodedFrame(checked, checkedOptions(options, checked))), frame);
        } catch (EncodeStopped const&) {
            return RAVELO_STOPPED;
        }
        return RAVELO_OK;
    });
}

void ravelo_free_frame(ravelo_encoded_frame* frame) noexcept {
    if (frame == nullptr)
        return;
    const std::unique_ptr<std::uint8_t[]> released(static_cast<std::uint8_t*>(frame->data));
    frame->data = nullptr;
}

} // extern "C"
