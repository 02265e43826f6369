#include "HostFrames.h"

#include "Random.h"

ravelo_decode_options usualOptions() {
    ravelo_decode_options options{};
    options.struct_size = sizeof options;
    return options;
}

HostDecode hostDecode(std::span<const std::uint8_t> frame, ravelo_decode_options const& options) {
    HostDecode decode;
    decode.needs.struct_size = sizeof decode.needs;
    ravelo_error error{};
    decode.status = ravelo_get_buffer_requirements(frame.data(), frame.size(), &options, &decode.needs, &error);
    if (decode.status == RAVELO_OK) {
        decode.pixels.assign(decode.needs.bytes + 1, kHostFill);
        ravelo_output output{};
        output.struct_size = sizeof output;
        output.memory = decode.pixels.data();
        output.memory_bytes = decode.needs.bytes;
        decode.status = ravelo_decode(frame.data(), frame.size(), &output, &options, &error);
        decode.pixels.resize(decode.needs.bytes);
    }
    decode.text = error.text;
    return decode;
}

FrameSpec smallSpec(std::uint32_t chroma_format, std::uint32_t interlace_mode, std::uint32_t alpha_channel_type) {
    FrameSpec spec;
    spec.horizontal_size = 75;
    spec.vertical_size = 52;
    spec.chroma_format = chroma_format;
    spec.interlace_mode = interlace_mode;
    spec.alpha_channel_type = alpha_channel_type;
    spec.log2_slice_size_in_mb = 1;
    return spec;
}

MadeFrame smallFrame(FrameSpec const& spec, std::uint32_t seed) {
    Random random(seed);
    return makeFrame(spec, randomSlices(spec, Texture::Photo, random));
}
