#include <array>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

#include <ImfChannelList.h>
#include <ImfFrameBuffer.h>
#include <ImfHeader.h>
#include <ImfIO.h>
#include <ImfOutputFile.h>
#include <ImfStandardAttributes.h>
#include <ImfStringAttribute.h>
#include <half.h>

#include "ColorFields.h"
#include "CommandError.h"
#include "OutputFormat.h"
#include "RgbRows.h"

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

// The lines in half floats, alpha associated: a viewer adds the picture to what is under it.
std::vector<half> associatedHalves(RgbRows& rows) {
    std::vector<half> samples(rows.bytes() / sizeof(half));
    const std::size_t samplesPerRow = rows.rowBytes() / sizeof(half);
    for (std::uint32_t y = 0; y < rows.height(); ++y)
        rows.copyRow(y, reinterpret_cast<std::uint8_t*>(samples.data() + y * samplesPerRow));
    if (rows.channels() == 4)
        for (std::size_t i = 0; i < samples.size(); i += 4)
            for (std::size_t c = 0; c < 3; ++c)
                samples[i + c] = half(static_cast<float>(samples[i + c]) * static_cast<float>(samples[i + 3]));
    return samples;
}

Imf::Compression compressionNamed(std::string_view name) {
    return name == "none"   ? Imf::NO_COMPRESSION
           : name == "piz"  ? Imf::PIZ_COMPRESSION
           : name == "dwaa" ? Imf::DWAA_COMPRESSION
                            : Imf::ZIP_COMPRESSION;
}

Imf::Header headerOf(RgbRows const& rows, FrameHeader const& frame, OutputOptions const& options) {
    Imf::Header header(static_cast<int>(rows.width()), static_cast<int>(rows.height()));
    header.compression() = compressionNamed(options.compression);
    Imf::addFramesPerSecond(
        header, Imf::Rational(static_cast<int>(options.frameRate.numerator), options.frameRate.denominator));
    if (const std::optional<Chromaticities> points = chromaticitiesOf(frame.color_primaries)) {
        const auto vectorOf = [](ColorPoint const& point) { return Imath::V2f(point[0], point[1]); };
        Imf::addChromaticities(header, Imf::Chromaticities(vectorOf(points->red), vectorOf(points->green),
                                                           vectorOf(points->blue), vectorOf(points->white)));
    }
    header.insert("comments", Imf::StringAttribute("R'G'B' of the frame, black 0 and white 1; not linear light"));
    return header;
}

void writeRows(RgbRows& rows, Imf::Header header, MemoryStream& stream) {
    constexpr std::array<const char*, 4> kChannels = {"R", "G", "B", "A"};
    std::vector<half> samples = associatedHalves(rows);
    Imf::FrameBuffer buffer;
    const std::size_t pixelBytes = rows.channels() * sizeof(half);
    for (std::uint32_t c = 0; c < rows.channels(); ++c) {
        header.channels().insert(kChannels[c], Imf::Channel(Imf::HALF));
        buffer.insert(kChannels[c],
                      Imf::Slice(Imf::HALF, reinterpret_cast<char*>(samples.data() + c), pixelBytes, rows.rowBytes()));
    }
    // No threads of the library: several frames are written at once, each compressed in its own thread.
    Imf::OutputFile file(stream, header, 0);
    file.setFrameBuffer(buffer);
    file.writePixels(static_cast<int>(rows.height()));
}

} // namespace

void writeExr(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink) {
    MemoryStream stream;
    try {
        RgbRows rows(frame);
        writeRows(rows, headerOf(rows, frame.header(), options), stream);
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& error) {
        throw failure("cannot write EXR: {}", error.what());
    }
    sink(stream.bytes);
}
