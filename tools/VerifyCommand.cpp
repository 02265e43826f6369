#include "VerifyCommand.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <unistd.h>

#include <fmt/format.h>

#include "DamageReport.h"
#include "FrameTask.h"
#include "HashList.h"
#include "HtmlReport.h"
#include "InputFile.h"
#include "JobSummary.h"
#include "Json.h"
#include "OutputFile.h"
#include "Printable.h"
#include "Report.h"
#include "Sequence.h"
#include "SharedOptions.h"

namespace {

struct VerifyOptions {
    std::vector<std::string> frames;
    std::string numbers;
    std::string hash;
    std::string list;
    std::string missing = "error";
    RequestOptions request;
    FrameLoopOptions loop;
    std::string html;
    bool force = false;
    bool json = false;
    bool brief = false;
    bool csv = false;
    Verbosity verbosity;
};

// The result for one frame.
struct Finding {
    std::string name;
    std::string error;                   // empty unless the frame could not be decoded
    ExitCode errorCode = ExitCode::Done; // that of the error
    std::uint64_t bytes = 0;             // of the frame
    std::uint32_t width = 0;             // of the output
    std::uint32_t height = 0;            // of the output
    std::uint64_t slices = 0;            // of all pictures
    std::vector<ravelo_damage> damage;   // slices that failed
    FrameStructure structure;            // whether the frame is whole
    std::optional<PixelHash> hash;       // of the pixels
    std::optional<PixelHash> wantedHash; // the expected one

    bool isEqual() const { return !wantedHash || wantedHash == hash; }

    // That of the most severe fault.
    ExitCode exitCode() const {
        if (!error.empty())
            return errorCode;
        if (!damage.empty() || structure.isCutOff())
            return ExitCode::Damaged;
        return isEqual() ? ExitCode::Done : ExitCode::NotEqual;
    }

    const char* status() const {
        switch (exitCode()) {
        case ExitCode::Done:
            return "ok";
        case ExitCode::Damaged:
            return "damaged";
        case ExitCode::NotEqual:
            return "not equal";
        case ExitCode::Limit:
            return "refused";
        default:
            return "failed";
        }
    }
};

// From the most severe: frames that could not be decoded, then frames with faults.
constexpr ExitCode kGravity[] = {ExitCode::Failed, ExitCode::Limit, ExitCode::Damaged, ExitCode::NotEqual};

class VerifyJob {
public:
    explicit VerifyJob(VerifyOptions const& options)
        : m_options(options), m_request(requestOf(options.request, 8, ColorCoding_YCbCr)), m_loop(options.loop) {
        if (!options.hash.empty())
            m_hash = parsePixelHash(options.hash);
        if (!options.list.empty())
            m_list.emplace(options.list);
    }

    ExitCode run();

private:
    friend class VerifyTask;

    std::unique_ptr<FrameTask> makeTask(SequenceItem const& item, QueuedFrame const& queued);
    void report(Finding const& finding);
    void startPage(std::vector<SequenceItem> const& items);
    void addToPage(Finding const& finding, std::span<const std::uint8_t> frame);
    void writePage() const;
    void printText(Finding const& finding) const;
    void printTotals() const;
    std::size_t count(ExitCode exitCode) const;
    ExitCode exitCode() const;

    VerifyOptions const& m_options;
    DecodeRequest m_request;
    std::optional<PixelHash> m_hash;
    std::optional<HashList> m_list;
    JobSummary m_summary; // of holes that are left out
    FrameLoop m_loop;
    std::unique_ptr<HtmlReport> m_page; // of --html
    DecodedFrame m_pageFrame;
    bool m_isAlone = false; // a single frame is verified
    std::unique_ptr<Progress> m_progress;
    std::vector<ExitCode> m_exitCodes; // of the frames
    Json m_report = Json::array();     // of --json, a frame each
};

// Decodes one frame and hashes its pixels. If that fails, the other frames are still verified.
class VerifyTask : public FrameTask {
public:
    VerifyTask(VerifyJob& job, SequenceItem const& item, QueuedFrame const& queued)
        : FrameTask(job.m_loop, queued, item.path, queued.name), m_job(job), m_item(item) {
        m_finding.name = name();
    }

    void work() override {
        try {
            if (!m_item.exists)
                throw failure("{} does not exist; --missing skip continues without it", m_item.path);
            m_finding.wantedHash = m_job.m_list ? m_job.m_list->hashFor(name()) : m_job.m_hash;
            FrameTask::work();
        } catch (CommandError const& error) {
            if (error.exitCode() == ExitCode::Interrupted)
                throw;
            m_finding.error = error.what();
            m_finding.errorCode = error.exitCode();
        }
    }

    void deliver() override {
        m_job.report(m_finding);
        if (m_job.m_page)
            m_job.addToPage(m_finding, m_finding.bytes == 0 ? std::span<const std::uint8_t>() : bytes());
        FrameTask::deliver();
    }

private:
    void process() override {
        decoded().decode(bytes(), m_job.m_request);
        m_finding.bytes = bytes().size();
        m_finding.width = decoded().width();
        m_finding.height = decoded().height();
        m_finding.slices = countSlices(bytes());
        m_finding.damage = decoded().damage();
        m_finding.structure = structure();
        m_finding.hash =
            hashOfPixels(decoded(), m_finding.wantedHash ? m_finding.wantedHash->algorithm : HashAlgorithm::Xxh3);
    }

    VerifyJob& m_job;
    SequenceItem const& m_item;
    Finding m_finding;
};

Json jsonOf(Finding const& finding) {
    Json json = {{"file", finding.name}, {"status", finding.status()}};
    if (!finding.error.empty()) {
        json["error"] = finding.error;
        return json;
    }
    json["width"] = finding.width;
    json["height"] = finding.height;
    json["slices"] = finding.slices;
    json["failed_slices"] = finding.damage.size();
    json["damage"] = jsonOfDamage(finding.damage);
    json["note"] = finding.structure.note;
    json["hash"] = {{"algorithm", nameOf(finding.hash->algorithm)}, {"value", finding.hash->digits}};
    if (finding.wantedHash) {
        json["hash"]["expected"] = finding.wantedHash->digits;
        json["hash"]["equal"] = finding.isEqual();
    }
    return json;
}

// The error, without the name at its start.
std::string errorOf(Finding const& finding) {
    const std::string start = finding.name + ": ";
    return finding.error.starts_with(start) ? finding.error.substr(start.size()) : finding.error;
}

std::string briefText(Finding const& finding) {
    if (!finding.error.empty())
        return fmt::format("{}: {}, {}\n", printable(finding.name), finding.status(), printable(errorOf(finding)));
    std::string text =
        fmt::format("{}: {}, {} x {}, {}, {}", printable(finding.name), finding.status(), finding.width, finding.height,
                    damageSummary(finding.damage.size(), finding.slices), finding.hash->text());
    if (!finding.isEqual())
        text += fmt::format(" instead of {}", finding.wantedHash->text());
    if (!finding.structure.note.empty())
        text += ", " + finding.structure.note;
    return text + "\n";
}

const std::vector<std::string> kFindingColumns = {"file",   "status",        "width", "height",
                                                  "slices", "failed_slices", "hash",  "note"};

std::string csvOf(Finding const& finding) {
    if (!finding.error.empty())
        return csvLine({finding.name, finding.status(), "", "", "", "", "", errorOf(finding)});
    return csvLine({finding.name, finding.status(), std::to_string(finding.width), std::to_string(finding.height),
                    std::to_string(finding.slices), std::to_string(finding.damage.size()), finding.hash->text(),
                    finding.structure.note});
}

void VerifyJob::printText(Finding const& finding) const {
    if (!finding.error.empty()) {
        printMessage(finding.error);
        return;
    }
    if (m_options.verbosity.quiet)
        return;
    std::string text = fmt::format("{}: {}", printable(finding.name), finding.status());
    if (!finding.damage.empty())
        text += ", " + damageSummary(finding.damage.size(), finding.slices);
    if (!finding.structure.note.empty())
        text += ", " + finding.structure.note;
    if (!finding.isEqual())
        text += fmt::format(", {} instead of {}", finding.hash->text(), finding.wantedHash->text());
    else if (m_options.verbosity.verbose)
        text += ", " + finding.hash->text();
    text += "\n";
    for (ravelo_damage const& damage : finding.damage)
        if (m_options.verbosity.verbose)
            text += fmt::format("  {}\n", damageText(damage));
    printReport(text);
}

void VerifyJob::report(Finding const& finding) {
    m_progress->advance("", finding.name, finding.status());
    m_exitCodes.push_back(finding.exitCode());
    if (m_options.json)
        m_report.push_back(jsonOf(finding));
    else if (m_options.brief || m_options.csv)
        printReport(m_options.csv ? csvOf(finding) : briefText(finding));
    else
        printText(finding);
}

std::size_t VerifyJob::count(ExitCode exitCode) const {
    return static_cast<std::size_t>(std::count(m_exitCodes.begin(), m_exitCodes.end(), exitCode));
}

ExitCode VerifyJob::exitCode() const {
    for (const ExitCode exitCode : kGravity)
        if (count(exitCode) != 0)
            return exitCode;
    return ExitCode::Done;
}

void VerifyJob::printTotals() const {
    if (m_options.json)
        printJson({{"size", m_options.request.size},
                   {"depth", m_request.bitDepth},
                   {"frames", m_report},
                   {"holes", m_summary.holes()},
                   {"totals",
                    {{"frames", m_exitCodes.size()},
                     {"ok", count(ExitCode::Done)},
                     {"damaged", count(ExitCode::Damaged)},
                     {"not_equal", count(ExitCode::NotEqual)},
                     {"refused", count(ExitCode::Limit)},
                     {"failed", count(ExitCode::Failed)}}},
                   {"exit_code", static_cast<int>(exitCode())}});
    else if (m_exitCodes.size() > 1 && !m_options.verbosity.quiet && !m_options.brief && !m_options.csv)
        printReport(fmt::format("{} frames: {} ok, {} damaged, {} not equal, {} refused, {} failed\n",
                                m_exitCodes.size(), count(ExitCode::Done), count(ExitCode::Damaged),
                                count(ExitCode::NotEqual), count(ExitCode::Limit), count(ExitCode::Failed)));
}

std::unique_ptr<FrameTask> VerifyJob::makeTask(SequenceItem const& item, QueuedFrame const& queued) {
    if (m_hash && queued.hasNext)
        throw usageError("--hash applies to one frame, but standard input contains more; use --list with a file of "
                         "hashes");
    return std::make_unique<VerifyTask>(*this, item, queued);
}

void VerifyJob::startPage(std::vector<SequenceItem> const& items) {
    checkHtml(m_options.html, !m_options.verbosity.quiet || m_options.json || m_options.brief || m_options.csv,
              m_options.force, InputSet(items));
    if (m_options.html.empty())
        return;
    HtmlReport::Facts facts = {
        {"decoded", fmt::format("{} size, {} bits", m_options.request.size, m_request.bitDepth)},
        {"checked", m_hash || m_list ? "structure, every slice, hash of the pixels" : "structure, every slice"}};
    if (m_list)
        facts.emplace_back("expected hashes", m_options.list);
    m_page = std::make_unique<HtmlReport>("Verification", m_options.frames, m_options.numbers, facts);
    m_isAlone = items.size() == 1;
}

void VerifyJob::addToPage(Finding const& finding, std::span<const std::uint8_t> frame) {
    ReportedFrame reported;
    reported.name = finding.name;
    reported.status = finding.status();
    reported.note = finding.error.empty() ? finding.structure.note : errorOf(finding);
    reported.bytes = finding.bytes;
    reported.width = finding.width;
    reported.height = finding.height;
    reported.slices = finding.slices;
    reported.damage = finding.damage;
    if (finding.hash)
        reported.hash = finding.hash->text();
    if (!finding.isEqual())
        reported.hash += " instead of " + finding.wantedHash->text();
    std::optional<FramePictures> pictures;
    if (!frame.empty() && (reported.isBad() || m_isAlone) && m_page->wantsPictures(reported.isBad()))
        withName(finding.name, [&] { pictures = picturesOf(frame, m_pageFrame, m_request.target); });
    m_page->add(std::move(reported), pictures);
}

void VerifyJob::writePage() const {
    if (!m_page)
        return;
    m_page->write(m_options.html, m_options.force,
                  {{"frames", std::to_string(m_exitCodes.size())},
                   {"ok", std::to_string(count(ExitCode::Done))},
                   {"damaged", std::to_string(count(ExitCode::Damaged))},
                   {"not equal", std::to_string(count(ExitCode::NotEqual))},
                   {"refused", std::to_string(count(ExitCode::Limit))},
                   {"failed", std::to_string(count(ExitCode::Failed))},
                   {"missing and left out", std::to_string(m_summary.holes().size())},
                   {"exit code", std::to_string(static_cast<int>(exitCode()))}});
}

ExitCode VerifyJob::run() {
    std::vector<SequenceItem> items = expandSequences(m_options.frames, m_options.numbers);
    if (m_options.missing == "skip")
        std::erase_if(items, [this](SequenceItem const& item) {
            if (!item.exists)
                m_summary.addHole(item.path, m_options.missing, "");
            return !item.exists;
        });
    if (m_hash && items.size() > 1)
        throw usageError("--hash applies to one frame, but there are {}; use --list with a file of hashes",
                         items.size());

    startPage(items);
    // On one terminal the lines of the report and of the progress would be mixed.
    const bool printsLines = !m_options.json && !m_options.verbosity.quiet && ::isatty(STDOUT_FILENO) == 1;
    std::vector<std::string> paths;
    paths.reserve(items.size());
    for (SequenceItem const& item : items)
        paths.push_back(item.path);
    const bool isEndless = std::find(paths.begin(), paths.end(), "-") != paths.end();
    Verbosity verbosity = m_options.verbosity;
    verbosity.quiet = verbosity.quiet || printsLines;
    verbosity.verbose = false;
    m_progress = std::make_unique<Progress>("verified", isEndless ? 0 : items.size(), verbosity);
    if (m_options.csv)
        printReport(csvLine(kFindingColumns));
    m_loop.run(paths, [&](QueuedFrame const& queued) { return makeTask(items[queued.item], queued); });
    m_progress.reset();
    writePage();
    m_summary.print(m_options.verbosity, m_exitCodes.size());
    printTotals();
    return exitCode();
}

ExitCode runVerify(VerifyOptions const& options) {
    if (options.list == "-" && std::find(options.frames.begin(), options.frames.end(), "-") != options.frames.end())
        throw usageError("standard input can be either a frame or the list of hashes, not both");
    return VerifyJob(options).run();
}

void describeVerify(Subcommand& command, VerifyOptions& options) {
    addFramesArgument(command, options.frames, options.numbers);
    const Argument list =
        command.option("--list", options.list, "file of expected hashes, as printed by decode -F xxh3 or md5")
            .value("FILE");
    command.option("--hash", options.hash, "expected hash of the frame's pixels, such as xxh3:0123456789abcdef")
        .value("HASH")
        .excludes(list);
    addRequestOptions(command, options.request);
    addFailedSlicesOptions(command, options.request);
    addMissingOption(command, options.missing, {"error", "skip"});
    addFrameLoopOptions(command, options.loop);
    addLineOptions(command, options.brief, options.csv, addJsonOption(command, options.json));
    addHtmlOption(command, options.html);
    addForceOption(command, options.force);
    addProgressOption(command, options.verbosity);
    command.flag("-q,--quiet", options.verbosity.quiet, "no report; only the exit code");
    command.flag("-v,--verbose", options.verbosity.verbose, "report each slice that failed, and the hashes");
}

} // namespace

void addVerifyCommand(CommandLine& commandLine) {
    addCommand(commandLine, "verify", "Decode frames, report slices that fail, and compare hashes",
               std::make_shared<VerifyOptions>(), describeVerify, runVerify);
}
