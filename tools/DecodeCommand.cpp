#include "DecodeCommand.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <memory>
#include <new>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include <unistd.h>

#include "DamageReport.h"
#include "FrameParts.h"
#include "FrameTask.h"
#include "InputFile.h"
#include "InputSet.h"
#include "Interrupt.h"
#include "JobSummary.h"
#include "Json.h"
#include "OutputFile.h"
#include "OutputFormat.h"
#include "OutputName.h"
#include "Report.h"
#include "Sequence.h"
#include "SharedOptions.h"

namespace {

using Clock = std::chrono::steady_clock;

struct DecodeOptions {
    std::vector<std::string> frames;
    std::string output;
    std::string numbers;
    std::string format;
    std::string missing = "error";
    RequestOptions request;
    std::string framesPerSecond = "25";
    std::string compression;
    FrameLoopOptions loop;
    bool keepGoing = false;
    bool skipExisting = false;
    bool force = false;
    bool json = false;
    Verbosity verbosity;
};

// One frame of the job.
struct DecodeStep {
    std::string path;       // the frame to decode
    std::string name;       // the requested frame; differs from `path` for a hole that is held or black
    std::string outputPath; // empty when all frames go to one file
    bool exists = true;     // false for a hole
    bool black = false;     // black, in the format of the frame at `path`
    bool isOnly = false;    // of the job
    std::uint64_t number = 0;
    bool isChecked = false; // its output: before the job, unless frames of standard input shift its number
};

class DecodeJob {
public:
    explicit DecodeJob(DecodeOptions const& options)
        : m_options(options),
          m_output(options.output),
          m_info(infoOf(formatOf(options, m_output))),
          m_loop(options.loop) {
        m_outputOptions.format = m_info.format;
        if (!m_info.isWritten)
            m_output = OutputName("");
        else if (options.output.empty())
            m_output = OutputName("-"); // hashes
        m_outputOptions.rgb.videoRange = options.request.coding == "rgb-video";
        m_outputOptions.frameRate = parseFrameRate(options.framesPerSecond);
        m_outputOptions.compression = compressionOf(options, m_info);
        m_request = requestOf(options.request, m_info.bitDepths.front(),
                              m_info.holdsRgb ? ColorCoding_RGBFull : ColorCoding_YCbCr);
        const bool isReducedHalf = m_info.holdsHalves && m_request.downSampleFactor != 0;
        if (!isReducedHalf &&
            std::find(m_info.bitDepths.begin(), m_info.bitDepths.end(), m_request.bitDepth) == m_info.bitDepths.end())
            throw usageError("{} cannot have {} bits; it can have {}", m_info.name, m_request.bitDepth,
                             fmt::join(m_info.bitDepths, ", "));
        if (m_info.holdsHalves)
            requestHalves();
        // What contains RGB gets that of the library, also for those who ask for the coded samples.
        else if (m_info.holdsRgb && m_request.colorCoding == ColorCoding_YCbCr)
            m_request.colorCoding = ColorCoding_RGBFull;
        m_outputOptions.rgb.bitDepth = m_request.bitDepth;
        m_request.pixelsAreUsed = m_info.isWritten;
        m_request.listsAllDamage = options.json || options.verbosity.verbose;
        if (m_info.holdsPlanes)
            requestPlanes();
        if (options.json && m_output.isStandardOutput())
            throw usageError("the pictures and the report of --json cannot both be written to standard output");
    }

    ExitCode run();

private:
    friend class DecodeTask;

    static OutputFormat formatOf(DecodeOptions const& options, OutputName const& output);
    static std::string_view compressionOf(DecodeOptions const& options, OutputFormatInfo const& info);
    std::vector<DecodeStep> stepsFor(std::vector<SequenceItem> const& items);
    std::optional<DecodeStep> stepForHole(SequenceItem const& item, DecodeStep step);
    void decode(DecodeStep const& step, std::span<const std::uint8_t> bytes, DecodedFrame& decoded) const;
    bool isWanted(std::string const& path, std::string const& name);
    void checkOutputs();
    bool checkSharedOutput();
    void openSharedOutput();
    void requestHalves();
    void requestPlanes();
    std::unique_ptr<FrameTask> makeTask(QueuedFrame queued);
    DecodeRequest requestFor(FrameHeader const& header, std::string const& name) const;
    void checkForm(DecodedFrame const& frame, DecodeStep const& step);
    void writeToStream(std::span<const std::uint8_t> bytes);
    bool mayContinueAfter(CommandError const& error) const;
    void reportFailure(DecodeStep const& step, CommandError const& error);
    void reportFrame(DecodedFrame const& frame, DecodeStep const& step, std::span<const std::uint8_t> bytes,
                     FrameStructure const& structure);
    bool isLost(DecodedFrame const& frame, std::span<const std::uint8_t> bytes) const;
    void printTotals(double seconds) const;

    DecodeOptions const& m_options;
    OutputName m_output;
    OutputFormatInfo const& m_info;
    OutputOptions m_outputOptions;
    DecodeRequest m_request;
    std::vector<DecodeStep> m_steps; // of standard input the first frame
    std::unique_ptr<InputSet> m_inputs;
    std::set<std::string> m_outputPaths; // separate files
    JobSummary m_summary;
    FrameLoop m_loop;
    std::unique_ptr<OutputFile> m_sharedOutput; // where all frames go to one file
    std::vector<std::uint8_t> m_streamHeader;   // that of the first frame
    bool m_hasStreamHeader = false;             // it is written
    std::unique_ptr<Progress> m_progress;
    bool m_hasWarnedOfAlpha = false;
    std::size_t m_doneFrames = 0;
    std::size_t m_damagedFrames = 0;
    std::size_t m_lostFrames = 0;  // of which every slice failed
    Json m_report = Json::array(); // of --json, a frame each
};

// Decodes and converts one frame. The result is written in the order of the frames.
class DecodeTask : public FrameTask {
public:
    DecodeTask(DecodeJob& job, QueuedFrame queued, DecodeStep const& step)
        : FrameTask(job.m_loop, std::move(queued), step.path, step.name), m_job(job), m_step(step) {}

    void work() override {
        try {
            if (m_step.path.empty())
                throw failure("{} does not exist{}", m_step.name,
                              m_job.m_options.missing == "error"
                                  ? "; --missing skip, hold or black continues without it"
                                  : ", nor does any other frame of the sequence");
            FrameTask::work();
        } catch (CommandError const& error) {
            if (!m_job.mayContinueAfter(error))
                throw;
            m_error = error;
        } catch (std::bad_alloc const&) {
            if (!m_job.m_options.keepGoing)
                throw;
            m_error = failure("{}: not enough memory", m_step.name);
        }
    }

    void deliver() override {
        try {
            if (m_error)
                throw *m_error;
            m_job.checkForm(decoded(), m_step);
            if (m_file)
                m_file->commit();
        } catch (CommandError const& error) {
            if (!m_job.mayContinueAfter(error))
                throw;
            m_file.reset();
            m_job.reportFailure(m_step, error);
            FrameTask::deliver();
            return;
        }
        if (m_job.m_sharedOutput && !(m_isLost && m_step.isOnly))
            m_job.writeToStream(m_result);
        m_job.reportFrame(decoded(), m_step, bytes(), structure());
        FrameTask::deliver();
    }

private:
    void process() override {
        m_job.decode(m_step, bytes(), decoded());
        m_isLost = m_job.isLost(decoded(), bytes());
        if (m_step.outputPath.empty()) {
            m_result = frameBytes(decoded(), m_job.m_outputOptions, m_step.name);
        } else if (!m_isLost) {
            // A separate file is written at once, and only gets its name in turn. Only an empty file is overwritten
            // where existing ones are skipped.
            m_file =
                std::make_unique<OutputFile>(m_step.outputPath, m_job.m_options.force || m_job.m_options.skipExisting);
            writeFrame(decoded(), m_job.m_outputOptions, m_step.name,
                       [this](std::span<const std::uint8_t> bytes) { m_file->write(bytes); });
        }
    }

    DecodeJob& m_job;
    DecodeStep m_step;
    std::vector<std::uint8_t> m_result;
    std::unique_ptr<OutputFile> m_file;
    std::optional<CommandError> m_error; // that the job continues after
    bool m_isLost = false;               // no slice was decoded
};

OutputFormat DecodeJob::formatOf(DecodeOptions const& options, OutputName const& output) {
    std::optional<OutputFormat> format;
    if (!options.format.empty())
        format = *outputFormatNamed(options.format);
    // Hashes go to standard output by default.
    if (options.output.empty() && (!format || (infoOf(*format).isWritten && !infoOf(*format).isText)))
        throw usageError("--output is required, except with --format xxh3, md5 or null");
    if (format)
        return *format;
    if (output.isStandardOutput())
        return OutputFormat::Raw;
    if (output.isFolder())
        return OutputFormat::Png;
    format = outputFormatOfPath(options.output);
    if (!format)
        throw usageError("the extension of {} is not that of an output format; choose one with --format",
                         options.output);
    return *format;
}

std::string_view DecodeJob::compressionOf(DecodeOptions const& options, OutputFormatInfo const& info) {
    if (options.compression.empty())
        return "";
    const auto choice = std::find(info.compressions.begin(), info.compressions.end(), options.compression);
    if (info.compressions.empty())
        throw usageError("--compression: {} has none to choose", info.name);
    if (choice == info.compressions.end())
        throw usageError("--compression: {} has no {}; it can be {}", info.name, options.compression,
                         fmt::join(info.compressions, ", "));
    return *choice;
}

// What --missing makes of a hole; nothing where it is left out. A step without a path fails.
std::optional<DecodeStep> DecodeJob::stepForHole(SequenceItem const& item, DecodeStep step) {
    if (m_options.missing == "error" && !m_options.keepGoing)
        throw failure("{} does not exist; --missing skip, hold or black continues without it", item.path);
    step.exists = false;
    if (m_options.missing == "error")
        return step;
    if (m_options.missing == "skip") {
        m_summary.addHole(item.path, m_options.missing, "");
        return std::nullopt;
    }
    if (item.standIn.empty() && !m_options.keepGoing)
        throw failure("{} does not exist, nor does any other frame of the sequence", item.path);
    if (!item.standIn.empty())
        m_summary.addHole(item.path, m_options.missing, item.standIn);
    step.path = item.standIn;
    step.black = m_options.missing == "black";
    return step;
}

std::vector<DecodeStep> DecodeJob::stepsFor(std::vector<SequenceItem> const& items) {
    std::vector<DecodeStep> steps;
    for (SequenceItem const& item : items) {
        throwIfInterrupted();
        DecodeStep step;
        step.name = displayName(item.path);
        step.number = item.number;
        if (!m_output.isSingleFile())
            step.outputPath = m_output.pathFor(item.path, item.number, std::string(m_info.name));
        if (item.exists)
            step.path = item.path;
        if (const std::optional<DecodeStep> made = item.exists ? step : stepForHole(item, step))
            steps.push_back(*made);
    }
    if (steps.empty())
        throw failure("{} does not exist, nor does any other frame that was asked for", items.front().path);
    steps.front().isOnly = steps.size() == 1;
    return steps;
}

// Whether a separate file is to be written. Throws where it must not be.
bool DecodeJob::isWanted(std::string const& path, std::string const& name) {
    if (!m_outputPaths.insert(path).second)
        throw usageError("two frames would both be written to {}", path);
    m_inputs->refuse(path);
    if (m_options.skipExisting && isFinished(path)) {
        m_summary.addExisting(name, path);
        return false;
    }
    refuseExisting(path, m_options.force || m_options.skipExisting);
    return true;
}

// Errors in the names of the outputs are found before the first frame is decoded.
void DecodeJob::checkOutputs() {
    if (m_output.isSingleFile()) {
        if (!checkSharedOutput())
            m_steps.clear();
        return;
    }
    std::vector<DecodeStep> wanted;
    bool isShifted = false;
    for (DecodeStep step : m_steps) {
        throwIfInterrupted();
        isShifted = isShifted || (step.path == "-" && m_output.isSequence());
        step.isChecked = !isShifted;
        if (isShifted || isWanted(step.outputPath, step.name))
            wanted.push_back(step);
    }
    m_steps = std::move(wanted);
}

// False if the output is there already.
bool DecodeJob::checkSharedOutput() {
    if (m_steps.size() > 1 && !m_info.holdsManyFrames)
        throw usageError("{} frames do not fit into one {}; use -o with a folder or a name such as out.%04d.{}",
                         m_steps.size(), m_info.name, m_info.name);
    if (!m_info.isWritten)
        return true;
    m_inputs->refuse(m_output.text());
    if (m_options.skipExisting && isFinished(m_output.text())) {
        for (DecodeStep const& step : m_steps)
            m_summary.addExisting(step.name, m_output.text());
        return false;
    }
    refuseExisting(m_output.text(), m_options.force || m_options.skipExisting);
    return true;
}

void DecodeJob::openSharedOutput() {
    if (!m_output.isSingleFile() || !m_info.isWritten || m_steps.empty())
        return;
    if (m_output.isStandardOutput() && !m_info.isText && ::isatty(STDOUT_FILENO) == 1)
        throw usageError("standard output is a terminal, but {} is binary; redirect it or name a file with -o",
                         m_info.name);
    m_sharedOutput = std::make_unique<OutputFile>(m_output.text(), m_options.force || m_options.skipExisting);
}

void DecodeJob::decode(DecodeStep const& step, std::span<const std::uint8_t> bytes, DecodedFrame& decoded) const {
    const FrameHeader header = parseFrameHeader(bytes);
    const DecodeRequest request = requestFor(header, step.name);
    const bool isEmpty = (header.horizontal_size >> request.downSampleFactor) == 0 ||
                         (header.vertical_size >> request.downSampleFactor) == 0;
    if (isEmpty && !m_info.holdsEmptyPictures)
        throw failure("{} has no pixels at this size: it is {} x {} at full size", step.name, header.horizontal_size,
                      header.vertical_size);
    if (step.black)
        decoded.fillBlack(bytes, request);
    else
        decoded.decode(bytes, request);
}

void DecodeJob::requestHalves() {
    if (m_outputOptions.rgb.videoRange)
        throw usageError("{} has black at 0 and white at 1; use --coding rgb or no --coding", m_info.name);
    m_request.pixelForm = RAVELO_RGBA_HALF;
    m_request.bitDepth = m_info.bitDepths.front();
}

void DecodeJob::requestPlanes() {
    if (m_request.colorCoding != ColorCoding_YCbCr)
        throw usageError("{} can have Y'CbCr only; use --coding ycbcr or no --coding", m_info.name);
    m_request.pixelForm = RAVELO_PLANAR;
}

// As they are coded, only 4:4:4 frames come in RGB. For formats that contain RGB, 4:2:2 frames come as RGBA, which has
// 8 or 16 bits and full range: the command scales other depths. It converts to video range itself, since RGBA lacks the
// values below black and above white, and half floats have fewer bits than the codes. Reduced 4:4:4 frames with alpha
// come as RGBA, too, since the coded form does not reduce the alpha plane.
DecodeRequest DecodeJob::requestFor(FrameHeader const& header, std::string const& name) const {
    DecodeRequest request = m_request;
    const bool wantsRgb = request.colorCoding != ColorCoding_YCbCr;
    if (m_info.holdsHalves || !(m_info.holdsRgb || wantsRgb))
        return request;
    if (header.is444()) {
        const bool isReducedAlpha = header.hasAlphaOutput() && request.downSampleFactor != 0;
        if (isReducedAlpha && m_info.holdsRgb && !m_outputOptions.rgb.videoRange)
            request.pixelForm = RAVELO_RGBA;
        return request;
    }
    if (!m_info.holdsRgb)
        throw failure("{} is a 4:2:2 frame, of which {} can have Y'CbCr only; use --coding ycbcr or no --coding", name,
                      m_info.name);
    request.colorCoding = ColorCoding_YCbCr;
    if (!m_outputOptions.rgb.videoRange) {
        request.pixelForm = RAVELO_RGBA;
        request.bitDepth = request.bitDepth == 8 ? 8 : 16;
    }
    request.withNeighbours = m_outputOptions.rgb.videoRange;
    return request;
}

// All frames of a stream must fit its header.
void DecodeJob::checkForm(DecodedFrame const& frame, DecodeStep const& step) {
    const bool losesAlpha = frame.header().hasAlphaOutput() && m_request.bitDepth > m_info.maxAlphaDepth;
    if (losesAlpha && !m_hasWarnedOfAlpha) {
        warn(m_options.verbosity, fmt::format("{} has an alpha plane, which {} with {} bits leaves out", step.name,
                                              m_info.name, m_request.bitDepth));
        m_hasWarnedOfAlpha = true;
    }
    const std::vector<std::uint8_t> header = streamHeader(frame, m_outputOptions);
    if (header.empty())
        return;
    if (!m_sharedOutput)
        return;
    if (m_streamHeader.empty())
        m_streamHeader = header;
    else if (header != m_streamHeader)
        throw failure("{} differs in size or format from the frames before it; all frames of a stream must be alike",
                      step.name);
}

void DecodeJob::writeToStream(std::span<const std::uint8_t> bytes) {
    if (!std::exchange(m_hasStreamHeader, true))
        m_sharedOutput->write(m_streamHeader);
    m_sharedOutput->write(bytes);
}

// Errors that are those of one frame. The others are those of the command line, or end the process.
bool DecodeJob::mayContinueAfter(CommandError const& error) const {
    return m_options.keepGoing && (error.exitCode() == ExitCode::Failed || error.exitCode() == ExitCode::Limit);
}

void DecodeJob::reportFailure(DecodeStep const& step, CommandError const& error) {
    m_summary.addFailure(step.name, error);
    m_progress->advance(fmt::format("{} failed", step.name), step.name, "failed");
}

bool DecodeJob::isLost(DecodedFrame const& frame, std::span<const std::uint8_t> bytes) const {
    return frame.failedSlices() != 0 && frame.failedSlices() == countDecodedSlices(bytes, frame);
}

void DecodeJob::reportFrame(DecodedFrame const& frame, DecodeStep const& step, std::span<const std::uint8_t> bytes,
                            FrameStructure const& structure) {
    std::string const& output = step.outputPath.empty() ? m_output.text() : step.outputPath;
    // A stream of several frames keeps a place for one that is lost.
    const bool isWritten = m_info.isWritten && !(isLost(frame, bytes) && (step.isOnly || !m_sharedOutput));
    ++m_doneFrames;
    m_progress->advance(isWritten ? fmt::format("{} -> {}", step.name, output) : step.name, step.name,
                        frame.failedSlices() == 0 ? "done" : "damaged");
    if (step.exists && !structure.note.empty())
        warn(m_options.verbosity, fmt::format("{}: {}", step.name, structure.note));
    if (frame.failedSlices() != 0) {
        ++m_damagedFrames;
        m_lostFrames += isLost(frame, bytes) ? 1 : 0;
        warnOfDamage(m_options.verbosity, step.name, bytes, frame);
        if (m_info.isWritten && !isWritten)
            warn(m_options.verbosity, fmt::format("{}: nothing is written, since every slice failed", step.name));
    }
    if (!m_options.json)
        return;
    m_report.push_back({{"file", step.name},
                        {"output", isWritten ? Json(output) : Json(nullptr)},
                        {"hole", step.exists ? Json(nullptr) : Json(m_options.missing)},
                        {"width", frame.width()},
                        {"height", frame.height()},
                        {"depth", m_request.bitDepth},
                        {"slices", countDecodedSlices(bytes, frame)},
                        {"failed_slices", frame.failedSlices()},
                        {"damage", jsonOfDamage(frame.damage())}});
}

void DecodeJob::printTotals(double seconds) const {
    m_summary.print(m_options.verbosity, m_doneFrames);
    const auto numFrames = static_cast<double>(m_doneFrames);
    if (m_options.json) {
        Json report = {{"format", m_info.name}, {"size", m_options.request.size},
                       {"frames", m_report},    {"damaged_frames", m_damagedFrames},
                       {"seconds", seconds},    {"frames_per_second", seconds > 0 ? numFrames / seconds : 0}};
        m_summary.addTo(report);
        printJson(report);
    } else if (m_options.verbosity.verbose && m_doneFrames > 1) {
        printNote(fmt::format("{} frames in {:.3f} s, {:.1f} per second", m_doneFrames, seconds,
                              numFrames / std::max(seconds, 1e-6)));
    }
}

// The task for a frame, or null for one that needs no work. Further frames of standard input shift the numbers of those
// that follow.
std::unique_ptr<FrameTask> DecodeJob::makeTask(QueuedFrame queued) {
    DecodeStep step = m_steps[queued.item];
    if (step.path == "-") {
        step.isOnly = step.isOnly && queued.isFirst && !queued.hasNext;
        const bool holdsIt = m_output.isSingleFile() ? m_info.holdsManyFrames : m_output.isSequence();
        if (queued.hasNext && !holdsIt)
            throw failure("standard input contains more than one frame; use -o with a name such as out.%04d.{}",
                          m_info.name);
        step.name = queued.name;
    }
    if (!m_output.isSingleFile() && !step.isChecked) {
        step.outputPath = m_output.pathFor(step.path, step.number + queued.extra, std::string(m_info.name));
        if (!isWanted(step.outputPath, step.name))
            return nullptr;
    }
    return std::make_unique<DecodeTask>(*this, std::move(queued), step);
}

ExitCode DecodeJob::run() {
    const Clock::time_point start = Clock::now();
    const std::vector<SequenceItem> items = expandSequences(m_options.frames, m_options.numbers);
    m_steps = stepsFor(items);
    m_inputs = std::make_unique<InputSet>(items);
    checkOutputs();
    openSharedOutput();

    std::vector<std::string> paths;
    for (DecodeStep const& step : m_steps)
        paths.push_back(step.path);
    const bool isEndless = std::find(paths.begin(), paths.end(), "-") != paths.end();
    m_progress = std::make_unique<Progress>("decoded", isEndless ? 0 : m_steps.size(), m_options.verbosity);
    m_loop.run(paths, [this](QueuedFrame queued) { return makeTask(std::move(queued)); });
    m_progress.reset();
    if (m_sharedOutput && m_lostFrames < m_doneFrames)
        m_sharedOutput->commit();
    printTotals(std::chrono::duration<double>(Clock::now() - start).count());
    return m_summary.exitCodeOf(m_doneFrames, m_damagedFrames == 0 ? ExitCode::Done : ExitCode::Damaged);
}

ExitCode runDecode(DecodeOptions const& options) {
    return DecodeJob(options).run();
}

void describeDecode(Subcommand& command, DecodeOptions& options) {
    addFramesArgument(command, options.frames, options.numbers);
    command
        .option("-o,--output", options.output,
                "file, folder, numbered name such as out.%04d.png, or - for standard output")
        .value("OUT");
    std::vector<std::string> names;
    for (OutputFormatInfo const& info : outputFormats())
        names.emplace_back(info.name);
    command.option("-F,--format", options.format, "format of the output; default: by the extension of the name")
        .value("FORMAT")
        .oneOf(names);
    addRequestOptions(command, options.request);
    addRegionOption(command, options.request);
    addFailedSlicesOptions(command, options.request);
    addMissingOption(command, options.missing, {"error", "skip", "hold", "black"});
    addKeepGoingOption(command, options.keepGoing);
    command
        .option("--compression", options.compression,
                "png: level 0 to 9 of zlib, default 1; exr: none, zip (the default), piz or dwaa, which loses a little")
        .value("NAME");
    command
        .option("--fps", options.framesPerSecond, "frame rate in the header of y4m and exr, such as 25 or 24000/1001")
        .value("RATE")
        .showDefault();
    addFrameLoopOptions(command, options.loop);
    addSkipExistingOption(command, options.skipExisting, addForceOption(command, options.force));
    addJsonOption(command, options.json);
    addVerbosityOptions(command, options.verbosity);
}

} // namespace

void addDecodeCommand(CommandLine& commandLine) {
    addCommand(commandLine, "decode", "Decode frames to pictures", std::make_shared<DecodeOptions>(), describeDecode,
               runDecode);
}
