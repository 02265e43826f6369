#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <utility>
#include <vector>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfOutputFile.h>
#include <ImfStringAttribute.h>
#include <half.h>

#include "CommandError.h"
#include "OutputFormat.h"
#include "RgbImage.h"

namespace {

// The library seeks in its output, so the file is assembled in memory.
class MemoryStream : public Imf::OStream {
public:
    MemoryStream() : Imf::OStream("memory") {}

    void write(const char* characters, int numBytes) override {
        const std::size_t end = m_position + static_cast<std::size_t>(numBytes);
        if (end > bytes.size())
            bytes.resize(end);
        std::memcpy(bytes.data() + m_position, characters, static_cast<std::size_t>(numBytes));
        m_position = end;
    }

    std::uint64_t tellp() override { return m_position; }
    void seekp(std::uint64_t position) override { m_position = position; }

    std::vector<std::uint8_t> bytes;

private:
    std::size_t m_position = 0;
};

void writeExr(RgbImage const& image, MemoryStream& stream) {
    constexpr std::array<const char*, 4> kChannels = {"R", "G", "B", "A"};
    std::vector<half> samples(image.samples.size());
    const float scale = 1.0f / static_cast<float>(image.maxValue);
    for (std::size_t i = 0; i < samples.size(); ++i)
        samples[i] = half(static_cast<float>(image.samples[i]) * scale);

    Imf::Header header(static_cast<int>(image.width), static_cast<int>(image.height));
    header.compression() = Imf::ZIP_COMPRESSION;
    header.insert("comments", Imf::StringAttribute("code values of the frame over their maximum, not linear light"));
    Imf::FrameBuffer buffer;
    const std::size_t pixelBytes = image.channels * sizeof(half);
    for (std::uint32_t c = 0; c < image.channels; ++c) {
        header.channels().insert(kChannels[c], Imf::Channel(Imf::HALF));
        buffer.insert(kChannels[c], Imf::Slice(Imf::HALF, reinterpret_cast<char*>(samples.data() + c), pixelBytes,
                                               pixelBytes * image.width));
    }
    // No threads of the library: several frames are written at once, each compressed in its own thread.
    Imf::OutputFile file(stream, header, 0);
    file.setFrameBuffer(buffer);
    file.writePixels(static_cast<int>(image.height));
}

} // namespace

std::vector<std::uint8_t> exrBytes(DecodedFrame const& frame, bool videoRange) {
    MemoryStream stream;
    try {
        writeExr(rgbImageOf(frame, videoRange), stream);
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        throw failure("cannot write EXR: {}", error.what());
    }
    return std::move(stream.bytes);
}
