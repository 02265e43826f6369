#include "PnmReader.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <vector>

#include "CommandError.h"

namespace {

constexpr std::size_t kMaxLineBytes = 4096;
constexpr std::uint64_t kMaxNumber = 1'000'000'000;

bool isSpace(std::uint8_t byte) {
    return byte == ' ' || (byte >= '\t' && byte <= '\r');
}

// Unsigned samples of one row, the high byte first where they take two.
void unpackRow(std::span<const std::uint8_t> bytes, std::uint32_t maxValue, std::span<std::uint16_t> samples) {
    for (std::size_t i = 0; i < samples.size(); ++i) {
        const std::uint32_t value = maxValue > 255 ? bytes[2 * i] * 256u + bytes[2 * i + 1] : bytes[i];
        samples[i] = static_cast<std::uint16_t>(std::min(value, maxValue));
    }
}

// Planes grow by the rows that are there, so that a size that the file only claims takes no memory.
void appendChannel(std::vector<std::uint16_t>& plane, std::span<const std::uint16_t> samples, std::size_t channel,
                   std::size_t depth) {
    std::size_t end = plane.size();
    plane.resize(end + samples.size() / depth);
    for (std::size_t i = channel; i < samples.size(); i += depth)
        plane[end++] = samples[i];
}

} // namespace

std::uint8_t PnmReader::takeByte() {
    std::uint8_t byte = 0;
    if (!m_file.read(std::span(&byte, 1)))
        throw failure("{} is damaged: its header ends early", m_file.name());
    return byte;
}

std::uint64_t PnmReader::takeNumber() {
    std::uint8_t byte = takeByte();
    while (isSpace(byte) || byte == '#') {
        if (byte == '#')
            takeLine();
        byte = takeByte();
    }
    std::uint64_t number = 0;
    for (; byte >= '0' && byte <= '9'; byte = takeByte())
        number = std::min(number * 10 + (byte - '0'), kMaxNumber);
    // One white space follows each number; the last one is directly before the samples.
    if (!isSpace(byte))
        throw failure("{} is damaged: its header contains a word that is not a number", m_file.name());
    return number;
}

std::string PnmReader::takeLine() {
    std::string line;
    for (std::uint8_t byte = takeByte(); byte != '\n'; byte = takeByte()) {
        line.push_back(static_cast<char>(byte));
        if (line.size() > kMaxLineBytes)
            throw failure("{} is damaged: a line of its header is too long", m_file.name());
    }
    return line;
}

PnmReader::Header PnmReader::pnmHeader(std::uint64_t depth) {
    Header header;
    header.width = takeNumber();
    header.height = takeNumber();
    header.maxValue = takeNumber();
    header.depth = depth;
    return header;
}

PnmReader::Header PnmReader::pamHeader() {
    Header header;
    takeLine();
    for (int lines = 0; lines < 1000; ++lines) {
        std::istringstream line(takeLine());
        std::string key;
        line >> key;
        if (key == "ENDHDR")
            return header;
        std::uint64_t* field = key == "WIDTH"    ? &header.width
                               : key == "HEIGHT" ? &header.height
                               : key == "DEPTH"  ? &header.depth
                               : key == "MAXVAL" ? &header.maxValue
                                                 : nullptr;
        if (field != nullptr && !(line >> *field))
            throw failure("{} is damaged: its {} is not a number", m_file.name(), key);
    }
    throw failure("{} is damaged: its header does not end", m_file.name());
}

InputPicture PnmReader::readSamples(Header const& header) {
    InputPicture picture;
    picture.width = static_cast<std::uint32_t>(header.width);
    picture.height = static_cast<std::uint32_t>(header.height);
    picture.maxValue = static_cast<std::uint32_t>(header.maxValue);
    const std::size_t depth = header.depth;
    const std::size_t colors = depth >= 3 ? 3 : 1;
    picture.model = colors == 3 ? ColorModel::Rgb : ColorModel::Gray;
    picture.alphaMaxValue = depth > colors ? picture.maxValue : 0;

    std::vector<std::uint16_t> samples(picture.width * depth);
    std::vector<std::uint8_t> bytes(samples.size() * (picture.maxValue > 255 ? 2 : 1));
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        if (!m_file.read(bytes))
            throw failure("{} is damaged: it ends in line {} of {}", m_file.name(), y, picture.height);
        unpackRow(bytes, picture.maxValue, samples);
        for (std::size_t c = 0; c < depth; ++c)
            appendChannel(c < colors ? picture.planes[c] : picture.alpha, samples, c, depth);
    }
    return picture;
}

std::optional<InputPicture> PnmReader::next() {
    if (m_file.peek(1).empty())
        return std::nullopt;
    std::array<std::uint8_t, 2> signature = {};
    if (!m_file.read(signature) || signature[0] != 'P' || signature[1] < '5' || signature[1] > '7')
        throw failure("{} is damaged: the data after a picture is not another picture", m_file.name());
    const Header header = signature[1] == '7' ? pamHeader() : pnmHeader(signature[1] == '6' ? 3 : 1);
    checkPictureSize(m_file.name(), header.width, header.height, m_maxPixels);
    if (header.maxValue < 1 || header.maxValue > 65535)
        throw failure("{} is damaged: its maximum value is {}, not 1 to 65535", m_file.name(), header.maxValue);
    if (header.depth < 1 || header.depth > 4)
        throw failure("{} has {} samples per pixel; it can have 1 to 4", m_file.name(), header.depth);
    return readSamples(header);
}
