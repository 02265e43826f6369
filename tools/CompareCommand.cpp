#include "CompareCommand.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <memory>
#include <numeric>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "DamageReport.h"
#include "FrameFile.h"
#include "FrameParts.h"
#include "FrameQueue.h"
#include "FrameTask.h"
#include "InputFile.h"
#include "Interrupt.h"
#include "JobSummary.h"
#include "Json.h"
#include "OrderedPipeline.h"
#include "PictureReader.h"
#include "Printable.h"
#include "Report.h"
#include "Sequence.h"
#include "SharedOptions.h"
#include "SourceConversion.h"

namespace {

struct CompareOptions {
    std::string first;
    std::string second;
    std::string target = "auto";
    double minPsnr = -1;
    double maxDifference = -1;
    std::string numbers;
    std::string missing = "error";
    FrameLoopOptions loop;
    bool keepGoing = false;
    Verbosity verbosity;
    bool json = false;
    bool equal = false;
};

// Both sides are compared as Y'CbCr in studio range with 16 bits.
constexpr std::uint32_t kBits = 16;

// One side of the comparison, as read from its file.
struct Side {
    std::string name;
    std::vector<std::uint8_t> frame;     // empty for a picture
    std::optional<InputPicture> picture; // absent for a frame
    FrameHeader header;                  // of a frame
    std::string note;                    // of a frame that is not just whole
    std::size_t failedSlices = 0;        // of a frame that is decoded

    std::uint32_t width() const { return picture ? picture->width : header.horizontal_size; }
    std::uint32_t height() const { return picture ? picture->height : header.vertical_size; }
    bool hasAlpha() const { return picture ? picture->hasAlpha() : header.hasAlphaOutput(); }
    bool is444() const {
        return picture ? picture->model != ColorModel::YCbCr || picture->chroma == ChromaLayout::C444 : header.is444();
    }
};

Side pictureSide(std::string const& name, PictureReader& reader) {
    Side side;
    side.name = name;
    side.picture = reader.next();
    if (!side.picture)
        throw failure("{} does not contain a picture", name);
    return side;
}

Side frameSide(std::string const& name, FrameInMemory frame) {
    Side side;
    side.name = name;
    side.frame = std::move(frame.bytes);
    side.note = frame.structure.note;
    side.header = parseFrameHeader(side.frame);
    return side;
}

Side loadSide(std::string const& path, CompareOptions const& options) {
    InputFile file(path);
    if (isPicture(file))
        return pictureSide(file.name(), *makePictureReader(file, options.loop.limits.maxPixels));
    FrameInMemory frame;
    frame.bytes = readFrame(file, options.loop.limits, &frame.structure);
    return frameSide(file.name(), std::move(frame));
}

// Standard input: a picture, or frames one after the other.
class InputSides {
public:
    explicit InputSides(CompareOptions const& options) {
        auto file = std::make_unique<InputFile>("-");
        if (isPicture(*file)) {
            m_picture = pictureSide(file->name(), *makePictureReader(*file, options.loop.limits.maxPixels));
            return;
        }
        m_frames = std::make_unique<FrameQueue>(std::vector<std::string>{"-"}, options.loop.limits, std::move(file));
        m_first = m_frames->next();
    }

    // Before the first is taken.
    bool isOne() const { return m_picture || !m_first->hasNext; }

    // Nothing at the end. Throws the error of the read, which is the end, too.
    std::optional<Side> next() {
        if (m_picture)
            return std::exchange(m_picture, std::nullopt);
        if (!m_frames)
            return std::nullopt;
        std::optional<QueuedFrame> frame = m_first ? std::exchange(m_first, std::nullopt) : m_frames->next();
        if (!frame)
            return std::nullopt;
        return frameSide(frame->name, std::move(frame->load("-", {})));
    }

private:
    std::optional<Side> m_picture;
    std::unique_ptr<FrameQueue> m_frames;
    std::optional<QueuedFrame> m_first;
};

// The planes of a decoded frame: Cb Y Cr Y for two pixels, or A Y Cb Cr for one.
SourcePicture planesOf(Side& side, OptimizationTarget target) {
    DecodedFrame decoded;
    withName(side.name, [&] { decoded.decode(side.frame, {0, ColorCoding_YCbCr, kBits, target}); });
    side.failedSlices = decoded.failedSlices();
    warnOfDamage({}, side.name, side.frame, decoded);
    SourcePicture planes;
    planes.width = decoded.width();
    planes.height = decoded.height();
    planes.bitDepth = kBits;
    planes.chromaFormat = side.header.is444() ? ChromaFormat::C444 : ChromaFormat::C422;
    planes.alphaBits = side.hasAlpha() ? kBits : 0;
    // The plane of each sample in a group of four.
    const bool is444 = side.header.is444();
    std::array<std::vector<std::uint16_t>*, 4> places = {&planes.cb, &planes.y, &planes.cr, &planes.y};
    if (is444)
        places = {&planes.alpha, &planes.y, &planes.cb, &planes.cr};
    std::vector<std::uint16_t> samples;
    for (std::uint32_t y = 0; y < planes.height; ++y) {
        decoded.widenRow(y, samples);
        for (std::size_t i = 0; i < samples.size(); ++i)
            places[i % 4]->push_back(samples[i]);
        // A line of odd width has no Cr for its last pixel.
        if (!is444 && planes.width % 2 == 1)
            planes.cr.push_back(planes.width > 1 ? planes.cr.back() : std::uint16_t{1 << (kBits - 1)});
    }
    return planes;
}

void widen(std::vector<std::uint16_t>& plane, std::uint32_t fromBits) {
    for (std::uint16_t& code : plane)
        code = static_cast<std::uint16_t>(code << (kBits - fromBits));
}

SourcePicture planesOf(Side const& side, ChromaFormat chromaFormat, std::uint32_t matrix_coefficients, bool withAlpha) {
    SourcePicture planes = sourcePictureOf(*side.picture, {chromaFormat, withAlpha ? kBits : 0, matrix_coefficients});
    for (auto* plane : {&planes.y, &planes.cb, &planes.cr})
        widen(*plane, planes.bitDepth);
    return planes;
}

// The difference of two planes. Differences of several planes can be added.
struct Difference {
    double sumOfSquares = 0;
    std::uint64_t numSamples = 0;
    std::uint32_t largest = 0; // codes of 16 bits

    // Infinite for equal planes.
    double psnr() const {
        if (sumOfSquares == 0)
            return std::numeric_limits<double>::infinity();
        const double peak = (1 << kBits) - 1;
        return 10 * std::log10(peak * peak * static_cast<double>(numSamples) / sumOfSquares);
    }

    double largestIn8Bits() const { return largest / 256.0; }

    void add(Difference const& other) {
        sumOfSquares += other.sumOfSquares;
        numSamples += other.numSamples;
        largest = std::max(largest, other.largest);
    }
};

Difference differenceOf(std::vector<std::uint16_t> const& first, std::vector<std::uint16_t> const& second) {
    // Empty planes would count as equal.
    if (first.empty() || first.size() != second.size())
        throw std::logic_error("the planes to compare have different sizes");
    Difference difference;
    difference.numSamples = first.size();
    for (std::size_t i = 0; i < first.size(); ++i) {
        const std::uint32_t apart = first[i] > second[i] ? first[i] - second[i] : second[i] - first[i];
        difference.sumOfSquares += static_cast<double>(apart) * apart;
        difference.largest = std::max(difference.largest, apart);
    }
    return difference;
}

struct Comparison {
    std::vector<std::pair<std::string, Difference>> planes;
    Difference all;

    void add(Comparison const& other) {
        for (auto const& [name, difference] : other.planes) {
            const auto found = std::find_if(planes.begin(), planes.end(),
                                            [&name = name](auto const& plane) { return plane.first == name; });
            if (found == planes.end())
                planes.emplace_back(name, difference);
            else
                found->second.add(difference);
        }
        all.add(other.all);
    }
};

Comparison compareSides(Side& first, Side& second, OptimizationTarget target) {
    // A picture is converted to the format of the frame that it is compared with.
    Side const& guide = first.picture ? second : first;
    const ChromaFormat chromaFormat = guide.is444() ? ChromaFormat::C444 : ChromaFormat::C422;
    const std::uint32_t matrix_coefficients =
        guide.picture ? (guide.height() > 576 ? 1u : 6u) : guide.header.matrix_coefficients;
    const bool withAlpha = first.hasAlpha() && second.hasAlpha();
    const auto planesOfSide = [&](Side& side) {
        return side.picture ? planesOf(side, chromaFormat, matrix_coefficients, withAlpha) : planesOf(side, target);
    };
    const SourcePicture a = planesOfSide(first);
    const SourcePicture b = planesOfSide(second);

    Comparison comparison;
    comparison.planes = {
        {"y", differenceOf(a.y, b.y)}, {"cb", differenceOf(a.cb, b.cb)}, {"cr", differenceOf(a.cr, b.cr)}};
    if (withAlpha)
        comparison.planes.emplace_back("alpha", differenceOf(a.alpha, b.alpha));
    for (auto const& [name, difference] : comparison.planes)
        comparison.all.add(difference);
    return comparison;
}

void checkSides(Side const& first, Side const& second) {
    if (first.width() != second.width() || first.height() != second.height())
        throw failure("{} is {} x {} and {} is {} x {} pixels; only equal sizes can be compared", first.name,
                      first.width(), first.height(), second.name, second.width(), second.height());
    if (!first.picture && !second.picture && first.is444() != second.is444())
        throw failure("{} is {} and {} is {}; only frames of the same chroma format can be compared", first.name,
                      first.is444() ? "4:4:4" : "4:2:2", second.name, second.is444() ? "4:4:4" : "4:2:2");
}

double bitsPerPixel(Side const& side) {
    return 8.0 * static_cast<double>(side.frame.size()) / static_cast<double>(side.header.numPixels());
}

std::string psnrText(double psnr) {
    return std::isinf(psnr) ? "equal" : fmt::format("{:.2f} dB", psnr);
}

std::string describe(Side const& side) {
    if (side.picture)
        return fmt::format("{}: picture, {} x {}", printable(side.name), side.width(), side.height());
    return fmt::format("{}: frame, {} x {}, {}, {} bytes, {:.3f} bits per pixel", printable(side.name), side.width(),
                       side.height(), side.is444() ? "4:4:4" : "4:2:2", side.frame.size(), bitsPerPixel(side));
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
        json["bits_per_pixel"] = bitsPerPixel(side);
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

// The comparison of two files, of which the planes are no longer in memory.
struct ComparedPair {
    Side first;
    Side second;
    Comparison comparison;

    bool isDamaged() const { return first.failedSlices + second.failedSlices != 0; }
};

ComparedPair comparePair(Side first, Side second, OptimizationTarget target) {
    ComparedPair pair = {std::move(first), std::move(second), {}};
    checkSides(pair.first, pair.second);
    for (Side const* side : {&pair.first, &pair.second})
        if (!side->note.empty())
            warn({}, fmt::format("{}: {}", side->name, side->note));
    pair.comparison = compareSides(pair.first, pair.second, target);
    return pair;
}

// The names of two files to compare, of which one may be standard input.
struct PairNames {
    std::string first;
    std::string second;
};

// Numbers of both sequences between the first and the last of the files of either.
std::vector<std::uint64_t> numbersOfBoth(SequencePattern const& first, SequencePattern const& second,
                                         CompareOptions const& options) {
    std::vector<std::uint64_t> existing = first.existingNumbers();
    const std::vector<std::uint64_t> others = second.existingNumbers();
    if (existing.empty() || others.empty())
        throw failure("no file matches {}", existing.empty() ? options.first : options.second);
    const std::uint64_t least = std::min(existing.front(), others.front());
    const std::uint64_t largest = std::max(existing.back(), others.back());
    if (largest - least >= kMaxNumbers)
        throw failure("{} and {} match files from {} to {}, which is too many; select some with --frames",
                      options.first, options.second, least, largest);
    std::vector<std::uint64_t> numbers(largest - least + 1);
    std::iota(numbers.begin(), numbers.end(), least);
    return numbers;
}

// Frames of the same number are compared, or where both names have a list of numbers, those of the same place.
std::vector<PairNames> pairsOf(CompareOptions const& options) {
    const std::optional<SequencePattern> first = sequenceOf(options.first);
    const std::optional<SequencePattern> second = sequenceOf(options.second);
    if (!first || !second)
        throw usageError("{} is a sequence and {} is not; a sequence is compared with a sequence",
                         first ? options.first : options.second, first ? options.second : options.first);
    std::vector<std::uint64_t> numbers = first->listedNumbers();
    std::vector<std::uint64_t> others = second->listedNumbers();
    if (numbers.empty() && others.empty())
        numbers = options.numbers.empty() ? numbersOfBoth(*first, *second, options)
                                          : parseNumberList(options.numbers, "--frames: ");
    numbers = numbers.empty() ? others : numbers;
    others = others.empty() ? numbers : others;
    if (numbers.size() != others.size())
        throw usageError("{} has {} numbers and {} has {}; both must have as many", options.first, numbers.size(),
                         options.second, others.size());
    std::vector<PairNames> pairs;
    for (std::size_t i = 0; i < numbers.size(); ++i)
        pairs.push_back({first->nameOf(numbers[i]), second->nameOf(others[i])});
    return pairs;
}

// Standard input beside the files of a sequence, or beside one file that every frame is compared with.
std::vector<PairNames> pairsWithInput(CompareOptions const& options) {
    const bool isFirst = options.first == "-";
    std::vector<PairNames> pairs;
    for (SequenceItem const& item : expandSequences({isFirst ? options.second : options.first}, options.numbers))
        pairs.push_back(isFirst ? PairNames{"-", item.path} : PairNames{item.path, "-"});
    return pairs;
}

// Compares two sequences pair by pair, of which one may be the frames of standard input.
class SequenceComparison {
public:
    // `input` is standard input, or null without it.
    SequenceComparison(CompareOptions const& options, InputSides* input)
        : m_options(options),
          m_target(targetNamed(options.target)),
          m_input(input),
          m_isRepeated(input != nullptr && !sequenceOf(options.first == "-" ? options.second : options.first)),
          m_pairs(input != nullptr ? pairsWithInput(options) : pairsOf(options)) {
        for (PairNames const& pair : m_pairs) {
            throwIfInterrupted();
            if (std::string const* const missing = missingOf(pair); missing != nullptr && !options.keepGoing)
                if (options.missing == "error")
                    throw failure("{} does not exist; --missing skip continues without it", *missing);
        }
    }

    ExitCode run();

private:
    friend class CompareTask;

    static std::string const* missingOf(PairNames const& pair);
    std::unique_ptr<OrderedTask> nextTask();
    std::unique_ptr<OrderedTask> nextTaskWithInput();
    bool isSkipped(PairNames const& pair);
    bool mayContinueAfter(CommandError const& error) const;
    void report(ComparedPair const& pair);
    void reportTotals() const;

    CompareOptions const& m_options;
    OptimizationTarget m_target;
    InputSides* m_input;
    bool m_isRepeated; // the only pair has a file that is compared with every frame of standard input
    std::vector<PairNames> m_pairs;
    std::size_t m_next = 0;      // of m_pairs
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
    // `input` is the side of standard input, if there is one; `error` is what was wrong before the task was made.
    CompareTask(SequenceComparison& job, PairNames names, std::optional<Side> input, std::optional<CommandError> error)
        : m_job(job),
          m_names(std::move(names)),
          m_name(m_names.first != "-" ? m_names.first
                 : input              ? input->name
                                      : m_names.second),
          m_input(std::move(input)),
          m_error(std::move(error)) {}

    void work() override {
        try {
            if (m_error)
                throw *m_error;
            if (std::string const* const missing = SequenceComparison::missingOf(m_names))
                throw failure("{} does not exist", *missing);
            m_pair = comparePair(sideOf(m_names.first), sideOf(m_names.second), m_job.m_target);
        } catch (CommandError const& error) {
            if (!m_job.mayContinueAfter(error))
                throw;
            m_error = error;
        }
    }

    void deliver() override {
        m_job.m_progress->advance("", m_name, m_error ? "failed" : m_pair.isDamaged() ? "damaged" : "done");
        if (m_error)
            m_job.m_summary.addFailure(m_name, *m_error);
        else
            m_job.report(m_pair);
    }

private:
    Side sideOf(std::string const& name) { return name == "-" ? *std::move(m_input) : loadSide(name, m_job.m_options); }

    SequenceComparison& m_job;
    PairNames m_names;
    std::string m_name; // in messages
    std::optional<Side> m_input;
    ComparedPair m_pair;
    std::optional<CommandError> m_error;
};

// Null where both files are there.
std::string const* SequenceComparison::missingOf(PairNames const& pair) {
    std::error_code error;
    for (std::string const* name : {&pair.first, &pair.second})
        if (*name != "-" && !std::filesystem::exists(*name, error))
            return name;
    return nullptr;
}

bool SequenceComparison::mayContinueAfter(CommandError const& error) const {
    return m_options.keepGoing && (error.exitCode() == ExitCode::Failed || error.exitCode() == ExitCode::Limit);
}

// Whether a pair is left out for a file that is missing.
bool SequenceComparison::isSkipped(PairNames const& pair) {
    std::string const* const missing = m_options.missing == "skip" ? missingOf(pair) : nullptr;
    if (missing != nullptr)
        m_summary.addHole(*missing, m_options.missing, "");
    return missing != nullptr;
}

std::unique_ptr<OrderedTask> SequenceComparison::nextTask() {
    while (m_next < m_pairs.size()) {
        PairNames const& pair = m_pairs[m_next++];
        if (isSkipped(pair))
            continue;
        ++m_numFrames;
        return std::make_unique<CompareTask>(*this, pair, std::nullopt, std::nullopt);
    }
    return nullptr;
}

// A frame of standard input belongs to each pair, also to one that is left out.
std::unique_ptr<OrderedTask> SequenceComparison::nextTaskWithInput() {
    for (;;) {
        const bool hasPair = m_next < m_pairs.size();
        std::optional<Side> side;
        std::optional<CommandError> error;
        try {
            side = m_input->next();
        } catch (CommandError const& readError) {
            error = readError;
        }
        if (!side && !error && (!hasPair || m_isRepeated))
            return nullptr;
        const PairNames pair = hasPair ? m_pairs[m_next] : m_pairs.back();
        m_next += hasPair && !m_isRepeated ? 1 : 0;
        if (!hasPair && side)
            error = failure("{} has no counterpart: {} has {} numbers", side->name,
                            m_options.first == "-" ? m_options.second : m_options.first, m_pairs.size());
        else if (!side && !error)
            error = failure("standard input has no frame for {}", pair.first == "-" ? pair.second : pair.first);
        else if (!error && isSkipped(pair))
            continue;
        ++m_numFrames;
        return std::make_unique<CompareTask>(*this, pair, std::move(side), std::move(error));
    }
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
    m_progress = std::make_unique<Progress>("compared", m_isRepeated ? 0 : m_pairs.size(), verbosity);
    const ThreadLimit limit(m_options.loop.threads);
    const std::size_t inFlight = m_options.loop.inFlight != 0 ? m_options.loop.inFlight : ThreadLimit::current();
    runInOrder(inFlight, [this] { return m_input != nullptr ? nextTaskWithInput() : nextTask(); });
    m_progress.reset();
    m_summary.print(m_options.verbosity, m_done);
    reportTotals();
    return m_summary.exitCodeOf(m_done, m_isOutsideLimits ? ExitCode::NotEqual
                                        : m_isDamaged     ? ExitCode::Damaged
                                                          : ExitCode::Done);
}

ExitCode runCompare(CompareOptions const& options) {
    if (options.first == "-" && options.second == "-")
        throw usageError("standard input can be only one of the two inputs");
    const bool hasSequence = sequenceOf(options.first) || sequenceOf(options.second);
    std::optional<InputSides> input;
    if (options.first == "-" || options.second == "-")
        input.emplace(options);
    if (hasSequence || (input && !input->isOne()))
        return SequenceComparison(options, input ? &*input : nullptr).run();
    const OptimizationTarget target = targetNamed(options.target);
    const auto sideOf = [&](std::string const& name) { return name == "-" ? *input->next() : loadSide(name, options); };
    Side first = sideOf(options.first);
    const ComparedPair pair = comparePair(std::move(first), sideOf(options.second), target);
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
