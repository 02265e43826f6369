#include "CompareCommand.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <fmt/format.h>

#include "ComparedPairs.h"
#include "Comparison.h"
#include "FrameTask.h"
#include "JobSummary.h"
#include "Json.h"
#include "OrderedPipeline.h"
#include "Printable.h"
#include "Report.h"
#include "SharedOptions.h"

namespace {

struct CompareOptions {
    std::string first;
    std::string second;
    std::string numbers;
    std::string target = "auto";
    double minPsnr = -1;
    double maxDifference = -1;
    std::string missing = "error";
    FrameLoopOptions loop;
    bool keepGoing = false;
    Verbosity verbosity;
    bool json = false;
    bool equal = false;
    bool asRgb = false;

    ComparedForm form() const { return asRgb ? ComparedForm::Rgb : ComparedForm::Components; }
};

std::string psnrText(double psnr) {
    return std::isinf(psnr) ? "equal" : fmt::format("{:.2f} dB", psnr);
}

std::string describe(Side const& side) {
    if (side.picture)
        return fmt::format("{}: picture, {} x {}", printable(side.name), side.width(), side.height());
    return fmt::format("{}: frame, {} x {}, {}, {} bytes, {:.3f} bits per pixel", printable(side.name), side.width(),
                       side.height(), side.is444() ? "4:4:4" : "4:2:2", side.frame.size(), side.bitsPerPixel());
}

std::string textOf(Side const& first, Side const& second, Comparison const& comparison) {
    std::string text = describe(first) + "\n" + describe(second) + "\n";
    text += "           PSNR   largest difference, in codes of 8 bits\n";
    const auto line = [&text](std::string const& name, Difference const& difference) {
        text += fmt::format("{:5} {:>9}   {:.3f}\n", name, psnrText(difference.psnr()), difference.largestIn8Bits());
    };
    for (auto const& [name, difference] : comparison.planes)
        line(name, difference);
    line("all", comparison.all);
    return text;
}

Json jsonOf(Side const& side) {
    Json json = {{"file", side.name},
                 {"kind", side.picture ? "picture" : "frame"},
                 {"width", side.width()},
                 {"height", side.height()}};
    if (!side.picture) {
        json["bytes"] = side.frame.size();
        json["bits_per_pixel"] = side.bitsPerPixel();
        json["failed_slices"] = side.failedSlices;
    }
    return json;
}

// JSON has no infinity: the PSNR of equal planes is null.
Json jsonOf(Difference const& difference) {
    const double psnr = difference.psnr();
    return {{"psnr", std::isinf(psnr) ? Json(nullptr) : Json(psnr)},
            {"largest_difference", difference.largestIn8Bits()},
            {"equal", difference.largest == 0}};
}

Json jsonOf(Side const& first, Side const& second, Comparison const& comparison) {
    Json planes = Json::object();
    for (auto const& [name, difference] : comparison.planes)
        planes[name] = jsonOf(difference);
    return {{"first", jsonOf(first)}, {"second", jsonOf(second)}, {"planes", planes}, {"all", jsonOf(comparison.all)}};
}

bool withinLimits(Difference const& all, CompareOptions const& options) {
    if (options.equal && all.largest != 0)
        return false;
    if (options.minPsnr >= 0 && all.psnr() < options.minPsnr)
        return false;
    return options.maxDifference < 0 || all.largestIn8Bits() <= options.maxDifference;
}

// Compares the pairs of sequences.
class SequenceComparison {
public:
    SequenceComparison(CompareOptions const& options, PairSource& pairs)
        : m_options(options), m_target(targetNamed(options.target)), m_pairs(pairs) {
        if (options.keepGoing || options.missing != "error")
            return;
        if (const std::optional<std::string> missing = pairs.firstMissing())
            throw failure("{} does not exist; --missing skip continues without it", *missing);
    }

    ExitCode run();

private:
    friend class CompareTask;

    std::unique_ptr<OrderedTask> nextTask();
    bool isSkipped(PendingPair const& pair);
    bool mayContinueAfter(CommandError const& error) const;
    void report(ComparedPair const& pair);
    void reportTotals() const;

    CompareOptions const& m_options;
    OptimizationTarget m_target;
    PairSource& m_pairs;
    std::size_t m_numFrames = 0; // of either side, without those that are left out
    JobSummary m_summary;
    std::unique_ptr<Progress> m_progress;
    std::size_t m_done = 0;
    bool m_isDamaged = false;
    bool m_isOutsideLimits = false;
    Comparison m_total;
    std::string m_worstName;
    double m_worstPsnr = std::numeric_limits<double>::infinity();
    Json m_report = Json::array();
};

class CompareTask : public OrderedTask {
public:
    CompareTask(SequenceComparison& job, PendingPair pair) : m_job(job), m_pair(std::move(pair)) {}

    void work() override {
        try {
            if (m_pair.error)
                throw *m_pair.error;
            if (std::string const* const missing = m_pair.missing())
                throw failure("{} does not exist", *missing);
            FrameLimits const& limits = m_job.m_options.loop.limits;
            Side first = m_pair.first.load(limits);
            m_compared =
                comparePair(std::move(first), m_pair.second.load(limits), m_job.m_options.form(), m_job.m_target);
        } catch (CommandError const& error) {
            if (!m_job.mayContinueAfter(error))
                throw;
            m_pair.error = error;
        }
    }

    void deliver() override {
        std::optional<CommandError> const& error = m_pair.error;
        m_job.m_progress->advance("", m_pair.name, error ? "failed" : m_compared.isDamaged() ? "damaged" : "done");
        if (error)
            m_job.m_summary.addFailure(m_pair.name, *error);
        else
            m_job.report(m_compared);
    }

private:
    SequenceComparison& m_job;
    PendingPair m_pair;
    ComparedPair m_compared;
};

bool SequenceComparison::mayContinueAfter(CommandError const& error) const {
    return m_options.keepGoing && (error.exitCode() == ExitCode::Failed || error.exitCode() == ExitCode::Limit);
}

// Whether a pair is left out for a file that is missing.
bool SequenceComparison::isSkipped(PendingPair const& pair) {
    std::string const* const missing = m_options.missing == "skip" && !pair.error ? pair.missing() : nullptr;
    if (missing != nullptr)
        m_summary.addHole(*missing, m_options.missing, "");
    return missing != nullptr;
}

std::unique_ptr<OrderedTask> SequenceComparison::nextTask() {
    std::optional<PendingPair> pair = m_pairs.next();
    while (pair && isSkipped(*pair))
        pair = m_pairs.next();
    if (!pair)
        return nullptr;
    ++m_numFrames;
    return std::make_unique<CompareTask>(*this, *std::move(pair));
}

void SequenceComparison::report(ComparedPair const& pair) {
    Comparison const& comparison = pair.comparison;
    ++m_done;
    m_isDamaged = m_isDamaged || pair.isDamaged();
    m_isOutsideLimits = m_isOutsideLimits || !withinLimits(comparison.all, m_options);
    if (comparison.all.psnr() < m_worstPsnr) {
        m_worstPsnr = comparison.all.psnr();
        m_worstName = pair.first.name;
    }
    m_total.add(comparison);
    if (m_options.json) {
        m_report.push_back(jsonOf(pair.first, pair.second, comparison));
        return;
    }
    std::string text = fmt::format("{} and {}: ", printable(pair.first.name), printable(pair.second.name));
    for (auto const& [name, difference] : comparison.planes)
        text += fmt::format("{} {}, ", name, psnrText(difference.psnr()));
    printReport(text + fmt::format("all {}, largest difference {:.3f}\n", psnrText(comparison.all.psnr()),
                                   comparison.all.largestIn8Bits()));
}

void SequenceComparison::reportTotals() const {
    if (!m_options.json) {
        std::string text = fmt::format("{} pair{}", m_done, m_done == 1 ? "" : "s");
        if (m_done != 0)
            text += fmt::format(": all {}, largest difference {:.3f}", psnrText(m_total.all.psnr()),
                                m_total.all.largestIn8Bits());
        if (!m_worstName.empty())
            text += fmt::format("; the lowest is {} in {}", psnrText(m_worstPsnr), printable(m_worstName));
        printReport(text + "\n");
        return;
    }
    Json planes = Json::object();
    for (auto const& [name, difference] : m_total.planes)
        planes[name] = jsonOf(difference);
    const auto side = [this](std::string const& name) {
        return Json{{"file", displayName(name)}, {"kind", "sequence"}, {"frames", m_numFrames}};
    };
    Json report = {{"first", side(m_options.first)},
                   {"second", side(m_options.second)},
                   {"planes", m_done != 0 ? planes : Json(nullptr)},
                   {"all", m_done != 0 ? jsonOf(m_total.all) : Json(nullptr)},
                   {"worst", m_worstName.empty() ? Json(nullptr) : Json(m_worstName)},
                   {"pairs", m_report}};
    m_summary.addTo(report);
    printJson(report);
}

ExitCode SequenceComparison::run() {
    Verbosity verbosity = m_options.verbosity;
    verbosity.quiet = !m_options.json; // its lines are progress enough
    m_progress = std::make_unique<Progress>("compared", m_pairs.total().value_or(0), verbosity);
    const ThreadLimit limit(m_options.loop.threads);
    const std::size_t inFlight = m_options.loop.inFlight != 0 ? m_options.loop.inFlight : ThreadLimit::current();
    runInOrder(inFlight, [this] { return nextTask(); });
    m_progress.reset();
    m_summary.print(m_options.verbosity, m_done);
    reportTotals();
    return m_summary.exitCodeOf(m_done, m_isOutsideLimits ? ExitCode::NotEqual
                                        : m_isDamaged     ? ExitCode::Damaged
                                                          : ExitCode::Done);
}

ExitCode runCompare(CompareOptions const& options) {
    FrameLimits const& limits = options.loop.limits;
    const std::unique_ptr<PairSource> pairs = openPairs({options.first, options.second, options.numbers, limits});
    if (pairs->isSequence())
        return SequenceComparison(options, *pairs).run();
    PendingPair sides = *pairs->next();
    Side first = sides.first.load(limits);
    const ComparedPair pair =
        comparePair(std::move(first), sides.second.load(limits), options.form(), targetNamed(options.target));
    if (options.json)
        printJson(jsonOf(pair.first, pair.second, pair.comparison));
    else
        printReport(textOf(pair.first, pair.second, pair.comparison));
    if (!withinLimits(pair.comparison.all, options))
        return ExitCode::NotEqual;
    return pair.isDamaged() ? ExitCode::Damaged : ExitCode::Done;
}

void describeCompare(Subcommand& command, CompareOptions& options) {
    command
        .option("first", options.first,
                "frame, picture or sequence of them; - for standard input, with one frame or several")
        .value("FIRST")
        .required();
    command.option("second", options.second, "what it is compared with, in the same way").value("SECOND").required();
    command.flag("--rgb", options.asRgb, "compare R'G'B', to which 4:2:2 is interpolated as it is shown; not Y'CbCr");
    command.flag("--equal", options.equal, "exit with 5 unless all samples are equal");
    command.option("--min-psnr", options.minPsnr, "exit with 5 if the PSNR of all samples is lower")
        .value("DB")
        .within(0, 200);
    command.option("--max-difference", options.maxDifference, "exit with 5 if a sample differs by more codes")
        .value("CODES")
        .within(0, 256);
    command.option("--frames", options.numbers, "numbers of two sequences, such as 1-100x2").value("LIST");
    addMissingOption(command, options.missing, {"error", "skip"});
    addKeepGoingOption(command, options.keepGoing);
    addTargetOption(command, options.target);
    addProgressOption(command, options.verbosity);
    addJsonOption(command, options.json);
    addFrameLoopOptions(command, options.loop);
}

} // namespace

void addCompareCommand(CommandLine& commandLine) {
    addCommand(commandLine, "compare", "Measure the difference of frames and pictures, or of two sequences",
               std::make_shared<CompareOptions>(), describeCompare, runCompare);
}
