#include "EncodeCommand.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include <unistd.h>

#include "ColorFields.h"
#include "ColorMatrix.h"
#include "FrameMemory.h"
#include "InputSet.h"
#include "Interrupt.h"
#include "JobSummary.h"
#include "Json.h"
#include "OrderedPipeline.h"
#include "OutputFile.h"
#include "OutputName.h"
#include "PictureReader.h"
#include "Report.h"
#include "Sequence.h"
#include "SharedOptions.h"
#include "SourceConversion.h"
#include "WeightFile.h"

namespace {

using Clock = std::chrono::steady_clock;

struct EncodeOptions {
    std::vector<std::string> pictures;
    std::string output;
    std::string numbers;
    double bitsPerPixel = 0;
    std::uint32_t quantization_index = 4;
    std::string interlace;
    std::uint32_t slice = 8;
    std::string chroma;
    std::string alpha;
    std::string primaries;
    std::string transfer;
    std::string matrix;
    std::string lumaWeights; // files
    std::string chromaWeights;
    std::uint64_t maxPixels = kDefaultMaxPixels;
    std::string missing = "error";
    std::size_t threads = 0;
    std::size_t inFlight = 0;
    bool keepGoing = false;
    bool skipExisting = false;
    bool force = false;
    bool json = false;
    Verbosity verbosity;
};

std::uint32_t interlaceModeOf(EncodeOptions const& options, InputPicture const& picture) {
    static const std::map<std::string, std::uint32_t> s_modes = {
        {"0", 0}, {"progressive", 0}, {"1", 1}, {"even-first", 1},
        {"2", 2}, {"odd-first", 2},   {"3", 3}, {"single-field", 3}};
    if (!options.interlace.empty())
        return s_modes.at(options.interlace);
    return picture.fieldOrder == FieldOrder::TopFirst ? 1 : picture.fieldOrder == FieldOrder::BottomFirst ? 2 : 0;
}

// What the options say of colours, and of the rest what the file of the picture does.
ColorFields colorOf(EncodeOptions const& options, InputPicture const& picture) {
    ColorFields color = picture.color;
    const auto take = [](std::uint32_t& field, std::uint32_t code) { field = code != 0 ? code : field; };
    take(color.color_primaries, colorCodeOf("--color-primaries", options.primaries, primariesNames()));
    take(color.transfer_characteristic, colorCodeOf("--transfer-characteristic", options.transfer, transferNames()));
    take(color.matrix_coefficients, colorCodeOf("--matrix-coefficients", options.matrix, matrixNames()));
    if (color.matrix_coefficients == 0)
        color.matrix_coefficients = defaultMatrixCoefficients(picture.height);
    return color;
}

// The quantisation matrices of all frames.
struct WeightMatrices {
    explicit WeightMatrices(EncodeOptions const& options) {
        if (!options.lumaWeights.empty())
            luma = readWeights(options.lumaWeights);
        if (!options.chromaWeights.empty())
            chroma = readWeights(options.chromaWeights);
    }

    std::optional<WeightMatrix> luma;
    std::optional<WeightMatrix> chroma;
};

// The default is the picture's own format: alpha and full chroma are kept, and RGB becomes 4:2:2.
SourceForm formOf(EncodeOptions const& options, InputPicture const& picture) {
    SourceForm form;
    form.matrix_coefficients = colorOf(options, picture).matrix_coefficients;
    const bool wantsAlpha =
        options.alpha.empty() ? picture.hasAlpha() && options.chroma != "422" : options.alpha != "none";
    if (wantsAlpha)
        form.alphaBits = options.alpha == "8" ? 8 : options.alpha == "16" ? 16 : (picture.alphaMaxValue > 255 ? 16 : 8);
    const bool hasFullChroma = picture.model == ColorModel::YCbCr && picture.chroma == ChromaLayout::C444;
    const bool wants444 = options.chroma.empty() ? wantsAlpha || hasFullChroma : options.chroma == "444";
    form.chromaFormat = wants444 ? ChromaFormat::C444 : ChromaFormat::C422;
    return form;
}

// What all frames of a run have in common besides the options.
struct EncodeShared {
    WeightMatrices matrices;
    std::uint32_t threadsOfFrame = 1;
};

ravelo_encode_options optionsFor(EncodeOptions const& options, InputPicture const& picture, SourceForm const& form,
                                 EncodeShared const& shared) {
    WeightMatrices const& matrices = shared.matrices;
    const ColorFields color = colorOf(options, picture);
    ravelo_encode_options settings = RAVELO_ENCODE_OPTIONS_INIT;
    settings.chroma_format = static_cast<std::uint32_t>(form.chromaFormat);
    settings.alpha_bits = form.alphaBits;
    settings.interlace_mode = interlaceModeOf(options, picture);
    settings.slice_size = options.slice;
    settings.bits_per_pixel = options.bitsPerPixel;
    settings.quantization_index = options.bitsPerPixel > 0 ? 0 : options.quantization_index;
    settings.color_primaries = color.color_primaries;
    settings.transfer_characteristic = color.transfer_characteristic;
    settings.matrix_coefficients = color.matrix_coefficients;
    settings.luma_matrix = matrices.luma ? matrices.luma->data() : nullptr;
    settings.chroma_matrix = matrices.chroma ? matrices.chroma->data() : nullptr;
    settings.max_threads = shared.threadsOfFrame;
    settings.stop = interruptFlag();
    return settings;
}

// Errors that are those of one picture. The others are those of the command line, or end the process.
bool mayContinueAfter(EncodeOptions const& options, CommandError const& error) {
    return options.keepGoing && (error.exitCode() == ExitCode::Failed || error.exitCode() == ExitCode::Limit);
}

void paintBlack(InputPicture& picture) {
    const auto code = [&picture](std::uint32_t ofEightBits) {
        return static_cast<std::uint16_t>(std::uint64_t{ofEightBits} * (picture.maxValue + 1) / 256);
    };
    const std::uint16_t black = code(picture.fullRange ? 0 : 16);
    const bool hasChroma = picture.model == ColorModel::YCbCr;
    for (std::size_t i = 0; i < 3; ++i)
        std::fill(picture.planes[i].begin(), picture.planes[i].end(), i > 0 && hasChroma ? code(128) : black);
    std::fill(picture.alpha.begin(), picture.alpha.end(), static_cast<std::uint16_t>(picture.alphaMaxValue));
}

// One picture on its way to a frame.
struct EncodeStep {
    std::string name;
    std::string outputPath;
    InputPicture picture;
    std::optional<CommandError> error; // the picture cannot be read, and the job continues
};

// The pictures of all files one after the other. A file may hold any number of them.
class PictureQueue {
public:
    PictureQueue(EncodeOptions const& options, OutputName const& output, JobSummary& summary)
        : m_options(options),
          m_output(output),
          m_summary(summary),
          m_items(expandSequences(options.pictures, options.numbers)),
          m_inputs(m_items) {
        for (SequenceItem const& item : m_items)
            if (!item.exists && options.missing == "error" && !options.keepGoing)
                throw failure("{} does not exist; --missing skip, hold or black continues without it", item.path);
        if (m_items.size() > 1 && output.isSingleFile())
            throw usageError("{} pictures do not fit into one frame; use -o with a folder or a name such as "
                             "shot.%04d.rvl",
                             m_items.size());
    }

    std::size_t numItems() const { return m_items.size(); }

    std::optional<EncodeStep> next() {
        while (m_nextItem < m_items.size()) {
            SequenceItem const& item = m_items[m_nextItem];
            try {
                if (std::optional<EncodeStep> step = item.exists ? nextOfFile(item) : stepForHole(item))
                    return step;
            } catch (CommandError const& error) {
                if (!mayContinueAfter(m_options, error))
                    throw;
                endItem();
                return EncodeStep{displayName(item.path), "", {}, error};
            }
        }
        return std::nullopt;
    }

private:
    void open(std::string const& path) {
        m_file = std::make_unique<InputFile>(path);
        m_reader = makePictureReader(*m_file, m_options.maxPixels);
    }

    void endItem() {
        m_reader.reset();
        ++m_nextItem;
    }

    // Nothing at the end of the file, and for a picture whose frame exists.
    std::optional<EncodeStep> nextOfFile(SequenceItem const& item) {
        const bool isFirstOfFile = !m_reader;
        if (isFirstOfFile) {
            open(item.path);
            // Where the name of the frame is known, the picture is not even read.
            const bool isAlone = !m_output.isSequence() || isSinglePicture(*m_file);
            if (isAlone && m_options.skipExisting && isFinished(pathFor(item)))
                return leaveExisting(item);
        }
        std::optional<InputPicture> picture = m_reader->next();
        if (!picture && isFirstOfFile)
            throw failure("{} does not contain a picture", m_file->name());
        if (!picture) {
            endItem();
            return std::nullopt;
        }
        return stepFor(item, *std::move(picture), isFirstOfFile);
    }

    std::optional<EncodeStep> leaveExisting(SequenceItem const& item) {
        m_inputs.refuse(pathFor(item));
        m_summary.addExisting(displayName(item.path), pathFor(item));
        endItem();
        return std::nullopt;
    }

    // The picture that stands in for a hole is the last one of its file.
    std::optional<EncodeStep> stepForHole(SequenceItem const& item) {
        if (m_options.missing == "skip") {
            m_summary.addHole(item.path, m_options.missing, "");
            endItem();
            return std::nullopt;
        }
        if (m_options.missing == "error" || item.standIn.empty())
            throw failure("{} does not exist{}", item.path,
                          m_options.missing == "error" ? "" : ", nor does any other picture of the sequence");
        if (m_options.skipExisting && isFinished(pathFor(item)))
            return leaveExisting(item);
        open(item.standIn);
        std::optional<InputPicture> picture;
        while (std::optional<InputPicture> next = m_reader->next())
            picture = std::move(next);
        if (!picture)
            throw failure("{} does not contain a picture", m_file->name());
        if (m_options.missing == "black")
            paintBlack(*picture);
        m_summary.addHole(item.path, m_options.missing, item.standIn);
        endItem();
        const std::string outputPath = pathFor(item);
        checkOutput(outputPath);
        return EncodeStep{item.path, outputPath, *std::move(picture), std::nullopt};
    }

    std::string pathFor(SequenceItem const& item) const {
        return m_output.pathFor(item.path, item.number + m_extraPictures, "rvl");
    }

    void checkOutput(std::string const& path) {
        if (path != "-" && !m_outputPaths.insert(path).second)
            throw usageError("two pictures would both be written to {}", path);
        m_inputs.refuse(path);
    }

    std::optional<EncodeStep> stepFor(SequenceItem const& item, InputPicture picture, bool isFirstOfFile) {
        // Checked before the frame of the first picture is written.
        if (!m_output.isSequence() && m_reader->next())
            throw failure("{} contains more than one picture; use -o with a name such as shot.%04d.rvl",
                          m_file->name());
        // Further pictures of a file shift the numbers of all that follow.
        m_extraPictures += isFirstOfFile ? 0 : 1;
        const std::string outputPath = pathFor(item);
        checkOutput(outputPath);
        if (m_options.skipExisting && isFinished(outputPath)) {
            m_summary.addExisting(m_file->name(), outputPath);
            return std::nullopt;
        }
        return EncodeStep{m_file->name(), outputPath, std::move(picture), std::nullopt};
    }

    EncodeOptions const& m_options;
    OutputName const& m_output;
    JobSummary& m_summary;
    std::vector<SequenceItem> m_items;
    InputSet m_inputs;
    std::set<std::string> m_outputPaths;
    std::size_t m_nextItem = 0;
    std::unique_ptr<InputFile> m_file;
    std::unique_ptr<PictureReader> m_reader;
    std::uint64_t m_extraPictures = 0;
};

class EncodeTask : public OrderedTask {
public:
    EncodeTask(EncodeOptions const& options, EncodeShared const& shared, EncodeStep step, Progress& progress,
               JobSummary& summary, Json& report)
        : m_options(options),
          m_shared(shared),
          m_step(std::move(step)),
          m_progress(progress),
          m_summary(summary),
          m_report(report) {}

    void work() override {
        if (m_step.error)
            return;
        try {
            encode();
        } catch (CommandError const& error) {
            if (!mayContinueAfter(m_options, error))
                throw;
            m_step.error = error;
        } catch (std::bad_alloc const&) {
            if (!m_options.keepGoing)
                throw;
            m_step.error = failure("{}: not enough memory", m_step.name);
        }
    }

    void deliver() override {
        try {
            if (m_step.error)
                throw *m_step.error;
            m_file->commit();
        } catch (CommandError const& error) {
            if (!mayContinueAfter(m_options, error))
                throw;
            m_summary.addFailure(m_step.name, error);
            m_progress.advance(fmt::format("{} failed", m_step.name), m_step.name, "failed");
            return;
        }
        report();
    }

private:
    void encode() {
        m_form = formOf(m_options, m_step.picture);
        m_width = m_step.picture.width;
        m_height = m_step.picture.height;
        if (m_form.alphaBits != 0 && m_form.chromaFormat == ChromaFormat::C422)
            warn(m_options.verbosity,
                 "the alpha plane is coded, but a 4:2:2 frame is decoded without it; --chroma 444 keeps it");
        const ravelo_encode_options options = optionsFor(m_options, m_step.picture, m_form, m_shared);
        const SourcePicture source = sourcePictureOf(m_step.picture, m_form);
        m_step.picture = InputPicture();
        withName(m_step.name, [&] { m_frame.encode(source, options); });
        m_file = std::make_unique<OutputFile>(m_step.outputPath, m_options.force || m_options.skipExisting);
        m_file->write(m_frame.bytes());
    }

    void report() {
        m_progress.advance(fmt::format("{} -> {}, {} bytes, {:.3f} bits per pixel, quantization_index {}", m_step.name,
                                       m_step.outputPath, m_frame.bytes().size(), m_frame.bitsPerPixel(),
                                       m_frame.quantization_index()),
                           m_step.name);
        if (m_options.json)
            m_report.push_back({{"picture", m_step.name},
                                {"frame", m_step.outputPath},
                                {"width", m_width},
                                {"height", m_height},
                                {"chroma", m_form.chromaFormat == ChromaFormat::C444 ? "4:4:4" : "4:2:2"},
                                {"alpha_bits", m_form.alphaBits},
                                {"bytes", m_frame.bytes().size()},
                                {"bits_per_pixel", m_frame.bitsPerPixel()},
                                {"quantization_index", m_frame.quantization_index()}});
    }

    EncodeOptions const& m_options;
    EncodeShared const& m_shared;
    EncodeStep m_step;
    Progress& m_progress;
    JobSummary& m_summary;
    Json& m_report; // of --json, a frame each
    SourceForm m_form;
    std::uint32_t m_width = 0;
    std::uint32_t m_height = 0;
    FrameMemory m_frame;
    std::unique_ptr<OutputFile> m_file;
};

// Pictures are encoded side by side; where there are fewer than threads, the slices of each are too. A file may contain
// any number of pictures unless its frame has a name of its own.
std::uint32_t threadsOfFrame(OutputName const& output, std::size_t numItems) {
    const std::size_t numThreads = ThreadLimit::current();
    return output.isSequence() ? 1 : static_cast<std::uint32_t>(std::max<std::size_t>(1, numThreads / numItems));
}

ExitCode runEncode(EncodeOptions const& options) {
    const OutputName output(options.output);
    JobSummary summary;
    PictureQueue pictures(options, output, summary);
    if (output.isSingleFile() && !options.skipExisting)
        refuseExisting(options.output, options.force);
    if (output.isStandardOutput() && ::isatty(STDOUT_FILENO) == 1)
        throw usageError("standard output is a terminal, but a frame is binary; redirect it or name a file with -o");
    if (output.isStandardOutput() && options.json)
        throw usageError("the frame and the report of --json cannot both be written to standard output");

    // Wrong values are found before the first picture is read.
    colorOf(options, InputPicture());
    EncodeShared shared{WeightMatrices(options)};
    const Clock::time_point start = Clock::now();
    Json report = Json::array();
    const ThreadLimit limit(options.threads);
    shared.threadsOfFrame = threadsOfFrame(output, pictures.numItems());
    // A single file may contain any number of pictures, so its total is not known.
    Progress progress("encoded", pictures.numItems() > 1 ? pictures.numItems() : 0, options.verbosity);
    std::size_t numTasks = 0;
    runInOrder(options.inFlight != 0 ? options.inFlight : ThreadLimit::current(),
               [&]() -> std::unique_ptr<OrderedTask> {
                   std::optional<EncodeStep> step = pictures.next();
                   if (!step)
                       return nullptr;
                   ++numTasks;
                   return std::make_unique<EncodeTask>(options, shared, *std::move(step), progress, summary, report);
               });
    const std::size_t numDone = numTasks - summary.numFailures();
    summary.print(options.verbosity, numDone);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    if (options.json) {
        Json whole = {{"frames", report},
                      {"seconds", seconds},
                      {"frames_per_second", seconds > 0 ? static_cast<double>(report.size()) / seconds : 0}};
        summary.addTo(whole);
        printJson(whole);
    }
    return summary.exitCodeOf(numDone, ExitCode::Done);
}

void addFormOptions(Subcommand& command, EncodeOptions& options) {
    command.option("--interlace", options.interlace, "fields of the frame; default: as in a Y4M file, or progressive")
        .value("MODE")
        .oneOf({"progressive", "even-first", "odd-first", "single-field", "0", "1", "2", "3"});
    command.option("--slice", options.slice, "macroblocks of the largest slice")
        .value("N")
        .oneOf({1, 2, 4, 8})
        .showDefault();
    command
        .option("--chroma", options.chroma,
                "chroma format; default: 444 for pictures with alpha or full chroma, else 422")
        .value("FORM")
        .oneOf({"422", "444"});
    command.option("--alpha", options.alpha, "bits of the alpha plane; default: as in the picture")
        .value("BITS")
        .oneOf({"none", "8", "16"});
}

void addColorOptions(Subcommand& command, EncodeOptions& options) {
    const auto describe = [](std::string const& what, std::span<const ColorName> names, std::string const& fallback) {
        return fmt::format("{}: {}, or a code point of H.273; default: as in a Y4M file, or {}", what, listOf(names),
                           fallback);
    };
    command.option("--color-primaries", options.primaries, describe("primaries in the header", primariesNames(), "709"))
        .value("NAME");
    command
        .option("--transfer-characteristic", options.transfer,
                describe("transfer in the header", transferNames(), "709"))
        .value("NAME");
    command
        .option("--matrix,--matrix-coefficients", options.matrix,
                describe("matrix in the header and for RGB", matrixNames(), "709 above 576 lines, else 601"))
        .value("NAME");
    command
        .option("--luma-matrix", options.lumaWeights,
                "quantisation matrix of luma: a text file of 64 weights from 1 to 255, row by row; default: all 4")
        .value("FILE");
    command
        .option("--chroma-matrix", options.chromaWeights,
                "quantisation matrix of chroma; default: that of luma if given")
        .value("FILE");
}

void describeEncode(Subcommand& command, EncodeOptions& options) {
    command
        .option("pictures", options.pictures,
                "PNG, PGM, PPM, PAM or Y4M files, or sequences of them; - for standard input")
        .value("PICTURE")
        .required();
    command
        .option("-o,--output", options.output,
                "frame, folder, numbered name such as shot.%04d.rvl, or - for standard output")
        .value("FRAME")
        .required();
    const Argument rate = command.option("--bpp", options.bitsPerPixel, "target rate in bits per pixel, met within 3 %")
                              .value("RATE")
                              .within(0.05, 64);
    command
        .option("--q", options.quantization_index, "quantization_index, 1 to 255; smaller values give better quality")
        .value("INDEX")
        .between(1, 255)
        .excludes(rate)
        .showDefault();
    addFormOptions(command, options);
    addColorOptions(command, options);
    command.option("--frames", options.numbers, "numbers of a sequence, such as 1-100x2").value("LIST");
    addMissingOption(command, options.missing, {"error", "skip", "hold", "black"});
    addKeepGoingOption(command, options.keepGoing);
    addMaxPixelsOption(command, options.maxPixels);
    addThreadsOption(command, options.threads);
    command
        .option("--in-flight", options.inFlight,
                "maximum number of pictures encoded at once; 0 lets the command choose")
        .value("N")
        .between(0, 1024)
        .showDefault();
    addSkipExistingOption(command, options.skipExisting, addForceOption(command, options.force));
    addJsonOption(command, options.json);
    addVerbosityOptions(command, options.verbosity);
}

} // namespace

void addEncodeCommand(CommandLine& commandLine) {
    addCommand(commandLine, "encode", "Encode pictures to frames", std::make_shared<EncodeOptions>(), describeEncode,
               runEncode);
}
