#include "InspectCommand.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include <fmt/format.h>

#include "DamageReport.h"
#include "FrameFile.h"
#include "FrameParts.h"
#include "FrameQueue.h"
#include "HtmlReport.h"
#include "InputFile.h"
#include "InputSet.h"
#include "Interrupt.h"
#include "Json.h"
#include "OutputFile.h"
#include "OutputName.h"
#include "PngWriter.h"
#include "Printable.h"
#include "Report.h"
#include "Sequence.h"
#include "SharedOptions.h"
#include "SliceReport.h"

namespace {

struct InspectOptions {
    std::vector<std::string> frames;
    std::string numbers;
    std::string picture;
    std::string html;
    std::string show = "bytes";
    std::string target = "auto";
    FrameLimits limits;
    bool json = false;
    bool totalsOnly = false;
    bool force = false;
    bool quiet = false;
};

// One frame, decoded and analysed.
struct InspectedFrame {
    std::string name;
    std::uint64_t bytes = 0;
    FrameHeader header;
    std::vector<InspectedSlice> slices;
    std::size_t failedSlices = 0;
};

bool isShown(SliceProperty const& property, InspectedFrame const& frame) {
    return property.value != &CodedSlice::alphaBytes || frame.header.alpha_channel_type != 0;
}

std::string slicesText(InspectedFrame const& frame) {
    std::string text = "  picture   row  slice  mbs      offset";
    for (SliceProperty const& property : sliceProperties())
        if (isShown(property, frame))
            text += fmt::format("  {:>6}", property.name);
    text += "  state\n";
    for (InspectedSlice const& slice : frame.slices) {
        text += fmt::format("  {:>7}  {:>4}  {:>5}  {:>3}  {:>10}", slice.picture + 1, slice.header.row,
                            slice.header.column, slice.header.numMbs, slice.header.offset);
        for (SliceProperty const& property : sliceProperties())
            if (isShown(property, frame))
                text += fmt::format("  {:>6}", slice.header.*property.value);
        text += slice.failed == nullptr ? "  ok\n" : fmt::format("  {} failed\n", slice.failed);
    }
    return text;
}

std::string totalsText(InspectedFrame const& frame) {
    std::string text = "  a slice        least      median     largest       total\n";
    for (SliceProperty const& property : sliceProperties()) {
        if (!isShown(property, frame))
            continue;
        const SliceStatistics statistics = statisticsOf(frame.slices, property.value);
        text += fmt::format("  {:8}  {:>10}  {:>10.1f}  {:>10}", property.name, statistics.least, statistics.median,
                            statistics.largest);
        // A sum of indices is meaningless.
        const bool hasTotal = property.value != &CodedSlice::quantization_index;
        text += hasTotal ? fmt::format("  {:>10}\n", statistics.total) : "\n";
    }
    return text;
}

std::string textOf(InspectedFrame const& frame, bool totalsOnly) {
    std::string text =
        fmt::format("{}\n  {} x {} pixels, {}, {} bytes; {}\n", printable(frame.name), frame.header.horizontal_size,
                    frame.header.vertical_size, frame.header.is444() ? "4:4:4" : "4:2:2", frame.bytes,
                    damageSummary(frame.failedSlices, frame.slices.size()));
    if (!totalsOnly)
        text += slicesText(frame);
    return text + totalsText(frame);
}

Json jsonOf(InspectedSlice const& slice) {
    Json json = {{"picture", slice.picture},         {"row", slice.header.row},    {"slice", slice.header.column},
                 {"first_mb", slice.header.firstMb}, {"mbs", slice.header.numMbs}, {"offset", slice.header.offset}};
    for (SliceProperty const& property : sliceProperties())
        json[property.name] = slice.header.*property.value;
    json["failed"] = slice.failed == nullptr ? Json(nullptr) : Json(slice.failed);
    return json;
}

Json jsonOf(InspectedFrame const& frame, bool totalsOnly) {
    Json totals = {{"slices", frame.slices.size()}, {"failed_slices", frame.failedSlices}};
    for (SliceProperty const& property : sliceProperties()) {
        const SliceStatistics statistics = statisticsOf(frame.slices, property.value);
        totals[property.name] = {
            {"least", statistics.least}, {"median", statistics.median}, {"largest", statistics.largest}};
        if (property.value != &CodedSlice::quantization_index)
            totals[property.name]["total"] = statistics.total;
    }
    Json json = {{"file", frame.name},
                 {"bytes", frame.bytes},
                 {"width", frame.header.horizontal_size},
                 {"height", frame.header.vertical_size},
                 {"totals", totals}};
    if (!totalsOnly) {
        json["slices"] = Json::array();
        for (InspectedSlice const& slice : frame.slices)
            json["slices"].push_back(jsonOf(slice));
    }
    return json;
}

class InspectJob {
public:
    explicit InspectJob(InspectOptions const& options);

    ExitCode run();

private:
    void checkPictures() const;
    void inspect(SequenceItem const& item, QueuedFrame& queued);
    void print(std::string const& text);
    void writePicture(std::string const& path, InspectedFrame const& frame);
    void startPage();
    void addToPage(InspectedFrame const& inspected, FrameInMemory const& frame);
    void writePage() const;
    std::string picturePath(SequenceItem const& item, QueuedFrame const& queued) const;

    InspectOptions const& m_options;
    OutputName m_pictureName;
    OptimizationTarget m_target;
    std::vector<SequenceItem> m_items;
    DecodedFrame m_decoded;
    DecodedFrame m_pageFrame;
    std::unique_ptr<HtmlReport> m_page; // of --html
    std::size_t m_damagedFrames = 0;
    std::size_t m_frames = 0;
    bool m_reportIsClosed = false; // its reader has closed it
    Json m_report = Json::array(); // of --json, a frame each
};

InspectJob::InspectJob(InspectOptions const& options)
    : m_options(options), m_pictureName(options.picture), m_target(targetNamed(options.target)) {
    if (!m_pictureName.isStandardOutput())
        return;
    if (!options.quiet || options.json)
        throw usageError("the picture and the report cannot both be written to standard output; -q omits the report");
    if (::isatty(STDOUT_FILENO) == 1)
        throw usageError("standard output is a terminal, but a picture is binary; redirect it or name a file");
}

// Errors in the names of the pictures are found before the first frame is decoded.
void InspectJob::checkPictures() const {
    if (m_options.picture.empty())
        return;
    if (m_pictureName.isSingleFile() && m_items.size() > 1)
        throw usageError("{} frames do not fit into one picture; use --picture with a folder or a name such as "
                         "slices.%04d.png",
                         m_items.size());
    const InputSet inputs(m_items);
    std::set<std::string> paths;
    for (SequenceItem const& item : m_items) {
        throwIfInterrupted();
        const std::string path = m_pictureName.pathFor(item.path, item.number, "png");
        if (!paths.insert(path).second)
            throw usageError("two pictures would both be written to {}", path);
        refuseExisting(path, m_options.force);
        inputs.refuse(path);
    }
}

// After the reader of the report has closed it, the requested pictures are still written.
void InspectJob::print(std::string const& text) {
    if (m_reportIsClosed)
        return;
    try {
        printReport(text);
    } catch (CommandError const& error) {
        if (error.exitCode() != ExitCode::ClosedPipe || (m_options.picture.empty() && m_options.html.empty()))
            throw;
        m_reportIsClosed = true;
    }
}

void InspectJob::writePicture(std::string const& path, InspectedFrame const& frame) {
    const bool showsIndex = m_options.show == "index";
    const SlicePicture picture =
        pictureOfSlices(frame.slices, m_decoded, showsIndex ? SliceColors::Index : SliceColors::Bytes);
    writeFile(path, m_options.force, pngOf(picture.image));
    if (!m_options.quiet && !m_options.json)
        print(fmt::format("  picture: {}, from {:.1f} in blue to {:.1f} in red; failed slices in magenta\n",
                          showsIndex ? "quantization_index" : "bytes per macroblock", picture.least, picture.largest));
}

// Further frames of standard input shift the numbers of all that follow.
std::string InspectJob::picturePath(SequenceItem const& item, QueuedFrame const& queued) const {
    if (queued.hasNext && !m_pictureName.isSequence())
        throw failure("{} contains more than one frame; use --picture with a name such as slices.%04d.png",
                      displayName(item.path));
    return m_pictureName.pathFor(item.path, item.number + queued.extra, "png");
}

void InspectJob::inspect(SequenceItem const& item, QueuedFrame& queued) {
    InspectedFrame inspected;
    inspected.name = queued.name;
    FrameInMemory const& loaded = queued.load(item.path, m_options.limits);
    std::vector<std::uint8_t> const& frame = loaded.bytes;
    const std::string path = m_options.picture.empty() ? "" : picturePath(item, queued);
    if (!loaded.structure.note.empty())
        warn({m_options.quiet, false}, fmt::format("{}: {}", queued.name, loaded.structure.note));
    inspected.bytes = frame.size();
    inspected.header = parseFrameHeader(frame);
    const ColorCoding coding = inspected.header.is444() ? ColorCoding_RGBFull : ColorCoding_YCbCr;
    withName(inspected.name, [&] { m_decoded.decode(frame, {0, coding, 8, m_target}); });
    inspected.slices = inspectSlices(frame, m_decoded);
    inspected.failedSlices = m_decoded.failedSlices();
    ++m_frames;
    m_damagedFrames += inspected.failedSlices != 0 ? 1 : 0;
    if (m_options.json)
        m_report.push_back(jsonOf(inspected, m_options.totalsOnly));
    else if (!m_options.quiet)
        print(textOf(inspected, m_options.totalsOnly));
    if (!m_options.picture.empty())
        writePicture(path, inspected);
    if (m_page)
        addToPage(inspected, loaded);
}

void InspectJob::startPage() {
    checkHtml(m_options.html, !m_options.quiet || m_options.json || m_pictureName.isStandardOutput(), m_options.force,
              InputSet(m_items));
    if (m_options.html.empty())
        return;
    m_page = std::make_unique<HtmlReport>(
        "Slices", m_options.frames, m_options.numbers,
        HtmlReport::Facts{{"checked", "structure, size, quantisation and damage of every slice"}});
}

void InspectJob::addToPage(InspectedFrame const& inspected, FrameInMemory const& frame) {
    ReportedFrame reported;
    reported.name = inspected.name;
    reported.status = inspected.failedSlices == 0 ? "ok" : "damaged";
    reported.note = frame.structure.note;
    reported.bytes = inspected.bytes;
    reported.width = inspected.header.horizontal_size;
    reported.height = inspected.header.vertical_size;
    reported.slices = inspected.slices.size();
    reported.damage = m_decoded.damage();
    std::optional<FramePictures> pictures;
    if (m_page->wantsPictures(reported.isBad()))
        withName(inspected.name, [&] { pictures = picturesOf(frame.bytes, m_pageFrame, m_target); });
    m_page->add(std::move(reported), pictures);
}

void InspectJob::writePage() const {
    if (!m_page)
        return;
    m_page->write(m_options.html, m_options.force,
                  {{"frames", std::to_string(m_frames)}, {"damaged frames", std::to_string(m_damagedFrames)}});
}

ExitCode InspectJob::run() {
    m_items = expandSequences(m_options.frames, m_options.numbers);
    checkPictures();
    startPage();
    std::vector<std::string> paths;
    for (SequenceItem const& item : m_items)
        paths.push_back(item.path);
    FrameQueue queue(paths, m_options.limits);
    while (std::optional<QueuedFrame> queued = queue.next())
        inspect(m_items[queued->item], *queued);
    writePage();
    if (m_options.json)
        printJson({{"frames", m_report}});
    if (m_reportIsClosed)
        return ExitCode::ClosedPipe;
    return m_damagedFrames != 0 ? ExitCode::Damaged : ExitCode::Done;
}

ExitCode runInspect(InspectOptions const& options) {
    return InspectJob(options).run();
}

void describeInspect(Subcommand& command, InspectOptions& options) {
    addFramesArgument(command, options.frames, options.numbers);
    command.flag("--totals", options.totalsOnly, "print only least, median, largest and total, not each slice");
    command
        .option("--picture", options.picture,
                "write the frame as PNG, in colours that show the slices: a file, folder or numbered name, or - for "
                "standard output")
        .value("FILE");
    command.option("--show", options.show, "what the colours show: bytes per macroblock, or quantization_index")
        .value("WHAT")
        .oneOf({"bytes", "index"})
        .showDefault();
    addHtmlOption(command, options.html);
    addTargetOption(command, options.target);
    addFrameLimitsOptions(command, options.limits);
    addForceOption(command, options.force);
    addJsonOption(command, options.json);
    command.flag("-q,--quiet", options.quiet, "no report; only the picture and the exit code");
}

} // namespace

void addInspectCommand(CommandLine& commandLine) {
    addCommand(commandLine, "inspect", "Show size, quantisation and damage of every slice",
               std::make_shared<InspectOptions>(), describeInspect, runInspect);
}
