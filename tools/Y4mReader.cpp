#include "Y4mReader.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "CommandError.h"
#include "ParsedNumber.h"

namespace {

constexpr std::size_t kMaxHeaderLineBytes = 1024;

std::uint64_t numberOrZero(std::string_view text) {
    return parsedNumber<std::uint64_t>(text).value_or(0);
}

// Written by `ravelo decode`: color_primaries, transfer_characteristic and matrix_coefficients as in "9:16:9".
constexpr std::string_view kColorParameter = "RAVELOCOLOR=";

ColorFields colorFieldsIn(std::string_view text) {
    std::uint32_t codes[3] = {};
    for (std::uint32_t& code : codes) {
        const std::uint64_t number = numberOrZero(text.substr(0, text.find(':')));
        code = number <= 255 ? static_cast<std::uint32_t>(number) : 0;
        text.remove_prefix(std::min(text.size(), text.substr(0, text.find(':')).size() + 1));
    }
    return {codes[0], codes[1], codes[2]};
}

// The bits in "p10" after the name of a chroma format; 8 without it, 0 for anything else.
std::uint32_t bitDepthOf(std::string_view suffix) {
    if (suffix.empty())
        return 8;
    const std::uint64_t bits = suffix.front() == 'p' ? numberOrZero(suffix.substr(1)) : 0;
    return bits >= 9 && bits <= 16 ? static_cast<std::uint32_t>(bits) : 0;
}

} // namespace

Y4mReader::Y4mReader(InputFile& file, std::uint64_t maxPixels) : m_file(file), m_maxPixels(maxPixels) {
    m_form.model = ColorModel::YCbCr;
    m_form.fullRange = false;
    m_form.maxValue = 255;
    m_form.chroma = ChromaLayout::C420Centred;
    readStreamHeader();
    checkPictureSize(m_file.name(), m_form.width, m_form.height, m_maxPixels);
}

std::string Y4mReader::takeLine() {
    std::string line;
    for (std::uint8_t byte = 0;; line.push_back(static_cast<char>(byte))) {
        if (!m_file.read(std::span(&byte, 1)))
            throw failure("{} is damaged: a header line ends early", m_file.name());
        if (byte == '\n')
            return line;
        if (line.size() == kMaxHeaderLineBytes)
            throw failure("{} is damaged: a header line is too long", m_file.name());
    }
}

void Y4mReader::readStreamHeader() {
    std::istringstream line(takeLine());
    std::string parameter;
    line >> parameter; // the signature
    while (line >> parameter)
        readParameter(parameter);
}

void Y4mReader::readParameter(std::string const& parameter) {
    const std::string value = parameter.substr(1);
    switch (parameter.front()) {
    case 'W':
    case 'H': {
        const std::uint64_t size = numberOrZero(value);
        checkPictureSize(m_file.name(), size, 1, m_maxPixels);
        (parameter.front() == 'W' ? m_form.width : m_form.height) = static_cast<std::uint32_t>(size);
        break;
    }
    case 'I':
        m_form.fieldOrder = value == "t"   ? FieldOrder::TopFirst
                            : value == "b" ? FieldOrder::BottomFirst
                            : value == "p" ? FieldOrder::Progressive
                                           : FieldOrder::Unknown;
        break;
    case 'C':
        readColorSpace(value);
        break;
    case 'X':
        if (value == "COLORRANGE=FULL")
            m_form.fullRange = true;
        else if (value.starts_with(kColorParameter))
            m_form.color = colorFieldsIn(std::string_view(value).substr(kColorParameter.size()));
        break;
    default:
        // A frame has no fields for the frame rate and the shape of pixels.
        break;
    }
}

void Y4mReader::readColorSpace(std::string const& name) {
    std::uint32_t bitDepth = 0;
    if (name.starts_with("mono")) {
        m_form.model = ColorModel::Gray;
        bitDepth = name == "mono" ? 8 : bitDepthOf(fmt::format("p{}", name.substr(4)));
    } else if (name == "444alpha") {
        m_form.chroma = ChromaLayout::C444;
        m_form.alphaMaxValue = 255;
        bitDepth = 8;
    } else if (name.starts_with("422")) {
        m_form.chroma = ChromaLayout::C422;
        bitDepth = bitDepthOf(name.substr(3));
    } else if (name.starts_with("444")) {
        m_form.chroma = ChromaLayout::C444;
        bitDepth = bitDepthOf(name.substr(3));
    } else if (name == "420" || name == "420jpeg") {
        bitDepth = 8;
    } else if (name.starts_with("420")) {
        // The deeper formats come from video tools, whose chroma belongs to the even columns.
        m_form.chroma = ChromaLayout::C420CoSited;
        bitDepth = name == "420mpeg2" || name == "420paldv" ? 8 : bitDepthOf(name.substr(3));
    }
    if (bitDepth == 0)
        throw failure("{} has the colour space {}; it can have 420, 422, 444, 444alpha or mono with 8 to 16 bits",
                      m_file.name(), name);
    m_form.maxValue = (1u << bitDepth) - 1;
}

std::vector<std::uint16_t> Y4mReader::readPlane(std::uint32_t width, std::uint32_t height) {
    const std::size_t bytesPerSample = m_form.maxValue > 255 ? 2 : 1;
    std::vector<std::uint8_t> row(width * bytesPerSample);
    std::vector<std::uint16_t> plane;
    for (std::uint32_t y = 0; y < height; ++y) {
        if (!m_file.read(row))
            throw failure("{} is damaged: it ends inside a picture", m_file.name());
        const std::size_t start = plane.size();
        plane.resize(start + width);
        for (std::size_t x = 0; x < width; ++x) {
            // The low byte comes first.
            const std::uint32_t value = bytesPerSample == 2 ? row[2 * x] + 256u * row[2 * x + 1] : row[x];
            plane[start + x] = static_cast<std::uint16_t>(std::min(value, m_form.maxValue));
        }
    }
    return plane;
}

std::optional<InputPicture> Y4mReader::next() {
    if (m_file.peek(1).empty())
        return std::nullopt;
    if (!takeLine().starts_with("FRAME"))
        throw failure("{} is damaged: a picture does not start with FRAME", m_file.name());
    InputPicture picture = m_form;
    picture.planes[0] = readPlane(picture.width, picture.height);
    for (int c = 1; c < 3 && picture.model == ColorModel::YCbCr; ++c)
        picture.planes[c] = readPlane(picture.chromaWidth(), picture.chromaHeight());
    if (picture.hasAlpha())
        picture.alpha = readPlane(picture.width, picture.height);
    return picture;
}
