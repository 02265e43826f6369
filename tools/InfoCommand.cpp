#include "InfoCommand.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "FrameFile.h"
#include "FrameParts.h"
#include "FrameQueue.h"
#include "InputFile.h"
#include "Json.h"
#include "PixelBuffer.h"
#include "Printable.h"
#include "Report.h"
#include "Sequence.h"
#include "SharedOptions.h"

namespace {

struct InfoOptions {
    std::vector<std::string> frames;
    std::string numbers;
    bool json = false;
    bool brief = false;
    bool csv = false;
    bool withSlices = false;
    std::uint64_t maxPixels = kDefaultMaxPixels;
};

constexpr std::array<const char*, 4> kSizeNames = {"full", "half", "quarter", "eighth"};

// One field of the header and its meaning for the decode.
struct Field {
    const char* name;
    std::uint32_t value;
    std::string meaning;
};

std::string chromaMeaning(FrameHeader const& header) {
    if (header.is444())
        return "4:4:4, four samples per pixel";
    return header.chroma_format == 2 ? "4:2:2, two samples per pixel" : "decoded as 4:2:2, two samples per pixel";
}

const char* interlaceMeaning(FrameHeader const& header) {
    constexpr std::array<const char*, 4> kMeanings = {"progressive, one picture", "two fields, the even lines first",
                                                      "two fields, the odd lines first",
                                                      "one field on the even lines; the odd lines are not written"};
    return kMeanings[header.interlace_mode];
}

std::string alphaMeaning(FrameHeader const& header) {
    if (header.alpha_channel_type == 0)
        return header.is444() ? "no alpha plane; the output is opaque" : "no alpha plane";
    if (!header.is444())
        return "alpha plane, left out of 4:2:2 output";
    if (header.alpha_channel_type > 2)
        return "undefined; read with 16 bits and written as if with 8";
    return header.alpha_channel_type == 1 ? "alpha plane of 8 bits" : "alpha plane of 16 bits";
}

std::string matrixMeaning(FrameHeader const& header) {
    constexpr const char* kRules[] = {"BT.709", "BT.601", "BT.2020"};
    switch (header.matrix_coefficients) {
    case 1:
        return kRules[0];
    case 6:
        return kRules[1];
    case 9:
        return kRules[2];
    default:
        return fmt::format("not a known matrix; {} is used for RGB because of the height",
                           header.vertical_size > 576 ? kRules[0] : kRules[1]);
    }
}

std::string chromaMatrixMeaning(FrameHeader const& header) {
    if (header.load_chroma_matrix)
        return "chroma matrix in the header";
    return header.load_luma_matrix ? "chroma uses the luma matrix of the header"
                                   : "chroma uses the default, 64 times 4";
}

std::vector<Field> fieldsOf(FrameHeader const& header) {
    const std::string unused = "not used by the decoder";
    return {
        {"outer_word_0", header.outer_word_0, unused},
        {"outer_word_1", header.outer_word_1, unused},
        {"header_size", header.header_size,
         fmt::format("bytes; the first picture starts at byte {}", 8 + header.header_size)},
        {"header_byte_3", header.header_byte_3, unused},
        {"header_word_4", header.header_word_4, unused},
        {"horizontal_size", header.horizontal_size, fmt::format("pixels; {} macroblocks", header.widthInMb())},
        {"vertical_size", header.vertical_size, "lines, both fields together"},
        {"chroma_format", header.chroma_format, chromaMeaning(header)},
        {"interlace_mode", header.interlace_mode, interlaceMeaning(header)},
        {"header_nibble_13_high", header.header_nibble_13_high, unused},
        {"header_nibble_13_low", header.header_nibble_13_low, unused},
        {"color_primaries", header.color_primaries, "passed to the host; does not affect pixels"},
        {"transfer_characteristic", header.transfer_characteristic, "passed to the host; does not affect pixels"},
        {"matrix_coefficients", header.matrix_coefficients, matrixMeaning(header)},
        {"alpha_channel_type", header.alpha_channel_type, alphaMeaning(header)},
        {"load_luma_matrix", header.load_luma_matrix,
         header.load_luma_matrix ? "luma matrix in the header" : "luma uses the default, 64 times 4"},
        {"load_chroma_matrix", header.load_chroma_matrix, chromaMatrixMeaning(header)},
    };
}

// The buffer that one size and depth needs.
struct BufferLine {
    std::uint32_t downSampleFactor;
    std::uint32_t bitDepth;
    ravelo_buffer_requirements requirements;
};

std::vector<BufferLine> bufferLines(std::span<const std::uint8_t> frame) {
    std::vector<BufferLine> lines;
    const auto add = [&](std::uint32_t downSampleFactor, std::uint32_t bitDepth) {
        lines.push_back({downSampleFactor, bitDepth, bufferRequirements(frame, bitDepth, downSampleFactor)});
    };
    for (const std::uint32_t bitDepth : kBitDepths)
        add(0, bitDepth);
    for (const std::uint32_t downSampleFactor : {1u, 2u, 3u})
        add(downSampleFactor, 8);
    return lines;
}

std::string matrixText(const std::uint8_t (&matrix)[64]) {
    std::string text;
    for (std::size_t row = 0; row < 8; ++row)
        text += fmt::format("      {:3}\n", fmt::join(matrix + 8 * row, matrix + 8 * row + 8, " "));
    return text;
}

// "5 of 8, 1 of 4": how many slices of a row have how many macroblocks.
std::string rowText(std::vector<std::uint32_t> const& sizes) {
    std::vector<std::string> parts;
    for (std::size_t i = 0; i < sizes.size();) {
        const auto count = static_cast<std::size_t>(std::count(sizes.begin(), sizes.end(), sizes[i]));
        parts.push_back(fmt::format("{} of {}", count, sizes[i]));
        i += count;
    }
    return fmt::format("{}", fmt::join(parts, ", "));
}

std::string pictureText(std::span<const std::uint8_t> frame, CodedPicture const& picture, std::size_t index) {
    std::string text = fmt::format("  picture {}, from byte {}\n", index + 1, picture.offset);
    const auto line = [&text](const char* name, std::uint64_t value, std::string const& meaning) {
        text += fmt::format("    {:24}{:>10}   {}\n", name, value, meaning);
    };
    line("picture_header_size", picture.picture_header_size, "bytes; the table of slices follows");
    line("picture_size", picture.picture_size, "bytes; the second field starts after them");
    line("log2_slice_size_in_mb", picture.log2_slice_size_in_mb,
         fmt::format("slices of up to {} macroblocks", 1 << picture.log2_slice_size_in_mb));
    line("lines", picture.vertical_size, fmt::format("{} rows of macroblocks", picture.height_in_mb));
    line("slices", picture.numSlices(),
         fmt::format("a row has {} macroblocks; {} bytes in total", rowText(picture.slice_size_in_mb),
                     declaredSliceBytes(frame, picture)));
    return text;
}

double rateOf(std::span<const std::uint8_t> frame, FrameHeader const& header) {
    return 8.0 * static_cast<double>(frame.size()) / static_cast<double>(header.numPixels());
}

std::string textOf(std::string const& name, std::span<const std::uint8_t> frame, FrameStructure const& structure) {
    const FrameHeader header = parseFrameHeader(frame);
    std::string text = fmt::format("{}\n  {} x {} pixels, {} bytes, {:.3f} bits per pixel\n", printable(name),
                                   header.horizontal_size, header.vertical_size, frame.size(), rateOf(frame, header));
    if (!structure.note.empty())
        text += fmt::format("  {}\n", structure.note);
    text += "  header\n";
    for (Field const& field : fieldsOf(header))
        text += fmt::format("    {:24}{:>10}   {}\n", field.name, field.value, field.meaning);
    if (header.load_luma_matrix)
        text += "    luma matrix\n" + matrixText(header.luma_quant);
    if (header.load_chroma_matrix)
        text += "    chroma matrix\n" + matrixText(header.chroma_quant);
    const std::vector<CodedPicture> pictures = parsePictureHeaders(frame, header);
    for (std::size_t i = 0; i < pictures.size(); ++i)
        text += pictureText(frame, pictures[i], i);
    text +=
        "  buffer of the decode call\n    size       pixels        bits  least stride   safe stride         bytes\n";
    for (BufferLine const& line : bufferLines(frame))
        text += fmt::format("    {:9}{:>6} x {:<6} {:>4}  {:>12}  {:>12}  {:>12}\n", kSizeNames[line.downSampleFactor],
                            line.requirements.width, line.requirements.height, line.bitDepth,
                            line.requirements.least_stride, line.requirements.safe_stride, line.requirements.bytes);
    return text;
}

const char* verdictName(FrameStructure const& structure) {
    constexpr const char* kVerdicts[] = {"", "foreign", "cut off", "broken", "followed", "whole"};
    return kVerdicts[structure.check.verdict];
}

std::string briefText(std::string const& name, std::span<const std::uint8_t> frame, FrameStructure const& structure) {
    const FrameHeader header = parseFrameHeader(frame);
    constexpr std::array<const char*, 4> kPictures = {"progressive", "even lines first", "odd lines first",
                                                      "single field"};
    return fmt::format("{}: {} x {}, {}, {}, {}, {} bytes, {:.3f} bits per pixel, {}\n", printable(name),
                       header.horizontal_size, header.vertical_size, header.is444() ? "4:4:4" : "4:2:2",
                       kPictures[header.interlace_mode], header.alpha_channel_type == 0 ? "no alpha" : "alpha",
                       frame.size(), rateOf(frame, header), structure.note.empty() ? "whole" : structure.note);
}

const std::vector<std::string> kInfoColumns = {"file",  "width", "height",         "chroma",  "interlace_mode",
                                               "alpha", "bytes", "bits_per_pixel", "verdict", "note"};

std::string csvOf(std::string const& name, std::span<const std::uint8_t> frame, FrameStructure const& structure) {
    const FrameHeader header = parseFrameHeader(frame);
    return csvLine({name, std::to_string(header.horizontal_size), std::to_string(header.vertical_size),
                    header.is444() ? "4:4:4" : "4:2:2", std::to_string(header.interlace_mode),
                    std::to_string(header.alpha_channel_type), std::to_string(frame.size()),
                    fmt::format("{:.3f}", rateOf(frame, header)), verdictName(structure), structure.note});
}

Json jsonOf(std::span<const std::uint8_t> frame, CodedPicture const& picture, bool withSlices) {
    Json json = {
        {"offset", picture.offset},
        {"picture_header_size", picture.picture_header_size},
        {"picture_size", picture.picture_size},
        {"log2_slice_size_in_mb", picture.log2_slice_size_in_mb},
        {"lines", picture.vertical_size},
        {"width_in_mb", picture.width_in_mb},
        {"height_in_mb", picture.height_in_mb},
        {"slice_size_in_mb", Json::list(picture.slice_size_in_mb)},
        {"slices", picture.numSlices()},
        {"slice_bytes", declaredSliceBytes(frame, picture)},
    };
    if (withSlices)
        json["coded_size_of_slice"] = Json::list(parseSliceTable(frame, picture));
    return json;
}

Json jsonOf(FrameStructure const& structure) {
    ravelo_frame_check const& check = structure.check;
    return {{"verdict", verdictName(structure)},
            {"declared_bytes", check.declared_bytes},
            {"present_bytes", check.present_bytes},
            {"slices_out_of_data", check.slices_out_of_data}};
}

Json jsonOf(std::string const& name, std::span<const std::uint8_t> frame, FrameStructure const& structure,
            bool withSlices) {
    const FrameHeader header = parseFrameHeader(frame);
    Json fields = Json::object();
    Json meanings = Json::object();
    for (Field const& field : fieldsOf(header)) {
        fields[field.name] = field.value;
        meanings[field.name] = field.meaning;
    }
    fields["luma_matrix"] = Json::list(header.luma_quant);
    fields["chroma_matrix"] = Json::list(header.chroma_quant);

    Json pictures = Json::array();
    for (CodedPicture const& picture : parsePictureHeaders(frame, header))
        pictures.push_back(jsonOf(frame, picture, withSlices));
    Json buffers = Json::array();
    for (BufferLine const& line : bufferLines(frame))
        buffers.push_back({{"size", kSizeNames[line.downSampleFactor]},
                           {"width", line.requirements.width},
                           {"height", line.requirements.height},
                           {"depth", line.bitDepth},
                           {"least_stride", line.requirements.least_stride},
                           {"safe_stride", line.requirements.safe_stride},
                           {"lines", line.requirements.lines},
                           {"bytes", line.requirements.bytes}});
    return {{"file", name},
            {"bytes", frame.size()},
            {"width", header.horizontal_size},
            {"height", header.vertical_size},
            {"bits_per_pixel", rateOf(frame, header)},
            {"structure", jsonOf(structure)},
            {"header", fields},
            {"meaning", meanings},
            {"pictures", pictures},
            {"buffers", buffers}};
}

ExitCode runInfo(InfoOptions const& options) {
    Json frames = Json::array();
    std::vector<std::string> paths;
    for (SequenceItem const& item : expandSequences(options.frames, options.numbers))
        paths.push_back(item.path);
    const FrameLimits limits = {options.maxPixels, 0};
    FrameQueue queue(paths, limits);
    if (options.csv)
        printReport(csvLine(kInfoColumns));
    while (std::optional<QueuedFrame> queued = queue.next()) {
        FrameInMemory const& frame = queued->load(paths[queued->item], limits);
        if (options.json)
            frames.push_back(jsonOf(queued->name, frame.bytes, frame.structure, options.withSlices));
        else if (options.csv)
            printReport(csvOf(queued->name, frame.bytes, frame.structure));
        else if (options.brief)
            printReport(briefText(queued->name, frame.bytes, frame.structure));
        else
            printReport(textOf(queued->name, frame.bytes, frame.structure));
    }
    if (options.json)
        printJson({{"frames", frames}});
    return ExitCode::Done;
}

void describeInfo(Subcommand& command, InfoOptions& options) {
    addFramesArgument(command, options.frames, options.numbers);
    addLineOptions(command, options.brief, options.csv, addJsonOption(command, options.json));
    command.flag("--slices", options.withSlices, "include the size of every slice in JSON");
    addMaxPixelsOption(command, options.maxPixels);
}

} // namespace

void addInfoCommand(CommandLine& commandLine) {
    addCommand(commandLine, "info", "Show the header of frames and its meaning for a decode",
               std::make_shared<InfoOptions>(), describeInfo, runInfo);
}
