#pragma once

#include <cstdint>
#include <span>

#include "SourcePicture.h"
#include "ravelo_encode.h"

// A frame that the encoder's library has made, with its memory.
class FrameMemory {
public:
    FrameMemory() = default;
    ~FrameMemory() { ravelo_free_frame(&m_frame); }
    FrameMemory(FrameMemory const&) = delete;
    FrameMemory& operator=(FrameMemory const&) = delete;

    // Throws CommandError with ExitCode::Interrupted if the stop flag of the options ends it, and ravelo::Error if the
    // library refuses the picture or the options.
    void encode(SourcePicture const& picture, ravelo_encode_options const& options);

    std::span<const std::uint8_t> bytes() const {
        return {static_cast<const std::uint8_t*>(m_frame.data), static_cast<std::size_t>(m_frame.bytes)};
    }
    double bitsPerPixel() const { return m_frame.bits_per_pixel; }
    std::uint32_t quantization_index() const { return m_frame.quantization_index; }

private:
    ravelo_encoded_frame m_frame = RAVELO_ENCODED_FRAME_INIT;
};
