#include "BenchCommand.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "DamageReport.h"
#include "FrameFile.h"
#include "FrameParts.h"
#include "InputFile.h"
#include "Json.h"
#include "OrderedPipeline.h"
#include "Report.h"
#include "Sequence.h"
#include "SharedOptions.h"
#include "ravelo.h"

namespace {

using Clock = std::chrono::steady_clock;

// With fewer the start of the threads would be a large part of the measured time.
constexpr std::uint32_t kLeastIterations = 30;
constexpr double kLeastSeconds = 0.5;

struct BenchOptions {
    std::vector<std::string> frames;
    std::string numbers;
    RequestOptions request;
    std::vector<std::size_t> threads;
    std::size_t inFlight = 1;
    std::uint32_t warmUps = 3;
    std::uint32_t iterations = 0; // 0: kLeastIterations, and more until the decodes fill kLeastSeconds
    FrameLimits limits;
    bool json = false;
};

struct LoadedFrame {
    std::string name;
    std::vector<std::uint8_t> bytes;
    FrameHeader header;
};

// The result for one number of threads.
struct Timing {
    std::size_t threads = 0;
    std::vector<double> milliseconds; // of each decode, in ascending order
    double seconds = 0;               // for all of them

    double percentile(double percent) const {
        const double place = percent / 100 * static_cast<double>(milliseconds.size() - 1);
        const auto below = static_cast<std::size_t>(std::floor(place));
        const std::size_t above = std::min(below + 1, milliseconds.size() - 1);
        const double weight = place - static_cast<double>(below);
        return milliseconds[below] * (1 - weight) + milliseconds[above] * weight;
    }

    double framesPerSecond() const { return static_cast<double>(milliseconds.size()) / seconds; }
};

// One timed decode.
class BenchTask : public OrderedTask {
public:
    BenchTask(LoadedFrame const& frame, DecodeRequest const& request, ObjectPool<DecodedFrame>& pool,
              std::vector<double>& milliseconds)
        : m_frame(frame), m_request(request), m_pool(pool), m_milliseconds(milliseconds) {}

    void work() override {
        m_decoded = m_pool.take();
        // The buffer is allocated before the clock starts, as in a host.
        m_decoded->reserve(m_frame.bytes, m_request);
        const Clock::time_point start = Clock::now();
        m_decoded->decodeAgain(m_frame.bytes);
        m_elapsed = std::chrono::duration<double, std::milli>(Clock::now() - start).count();
    }

    void deliver() override {
        m_pool.giveBack(std::move(m_decoded));
        m_milliseconds.push_back(m_elapsed);
    }

private:
    LoadedFrame const& m_frame;
    DecodeRequest const& m_request;
    ObjectPool<DecodedFrame>& m_pool;
    std::vector<double>& m_milliseconds;
    std::unique_ptr<DecodedFrame> m_decoded;
    double m_elapsed = 0;
};

// Decodes the frames in turn, `count` decodes in all.
std::vector<double> decodeInTurn(std::vector<LoadedFrame> const& frames, DecodeRequest const& request,
                                 ObjectPool<DecodedFrame>& pool, std::size_t inFlight, std::size_t count) {
    std::vector<double> milliseconds;
    std::size_t next = 0;
    runInOrder(inFlight, [&]() -> std::unique_ptr<OrderedTask> {
        if (next == count)
            return nullptr;
        return std::make_unique<BenchTask>(frames[next++ % frames.size()], request, pool, milliseconds);
    });
    return milliseconds;
}

Timing measure(std::vector<LoadedFrame> const& frames, DecodeRequest const& request, BenchOptions const& options,
               std::size_t threads) {
    const ThreadLimit limit(threads);
    ObjectPool<DecodedFrame> pool;
    decodeInTurn(frames, request, pool, options.inFlight, options.warmUps * frames.size());

    Timing timing;
    timing.threads = ThreadLimit::current();
    std::size_t count = (options.iterations != 0 ? options.iterations : kLeastIterations) * frames.size();
    const Clock::time_point start = Clock::now();
    do {
        const std::vector<double> times = decodeInTurn(frames, request, pool, options.inFlight, count);
        timing.milliseconds.insert(timing.milliseconds.end(), times.begin(), times.end());
        timing.seconds = std::chrono::duration<double>(Clock::now() - start).count();
        count = timing.milliseconds.size();
    } while (options.iterations == 0 && timing.seconds < kLeastSeconds);
    std::sort(timing.milliseconds.begin(), timing.milliseconds.end());
    return timing;
}

// Of one frame on average.
struct Averages {
    double bytes = 0;
    double pixels = 0;
};

Averages averagesOf(std::vector<LoadedFrame> const& frames) {
    Averages averages;
    for (LoadedFrame const& frame : frames) {
        averages.bytes += static_cast<double>(frame.bytes.size()) / static_cast<double>(frames.size());
        averages.pixels += static_cast<double>(frame.header.numPixels()) / static_cast<double>(frames.size());
    }
    return averages;
}

std::string textOf(Timing const& timing, Averages const& averages) {
    const double rate = timing.framesPerSecond();
    return fmt::format("{:>7}  {:>9.3f}  {:>9.3f}  {:>9.3f}  {:>9.3f}  {:>9.1f}  {:>9.1f}  {:>9.1f}\n", timing.threads,
                       timing.percentile(50), timing.milliseconds.front(), timing.percentile(5), timing.percentile(95),
                       rate, rate * averages.pixels / 1e6, rate * averages.bytes / 1e6);
}

Json jsonOf(Timing const& timing, Averages const& averages) {
    const double rate = timing.framesPerSecond();
    return {{"threads", timing.threads},
            {"decodes", timing.milliseconds.size()},
            {"milliseconds",
             {{"median", timing.percentile(50)},
              {"least", timing.milliseconds.front()},
              {"p5", timing.percentile(5)},
              {"p95", timing.percentile(95)},
              {"p99", timing.percentile(99)},
              {"most", timing.milliseconds.back()}}},
            {"frames_per_second", rate},
            {"megapixels_per_second", rate * averages.pixels / 1e6},
            {"megabytes_per_second", rate * averages.bytes / 1e6}};
}

std::vector<LoadedFrame> loadFrames(BenchOptions const& options) {
    std::vector<LoadedFrame> frames;
    for (SequenceItem const& item : expandSequences(options.frames, options.numbers)) {
        FrameStructure structure;
        std::vector<std::uint8_t> bytes = readFrame(item.path, options.limits, &structure);
        if (!structure.note.empty())
            warn({}, fmt::format("{}: {}", displayName(item.path), structure.note));
        const FrameHeader header = parseFrameHeader(bytes);
        frames.push_back({displayName(item.path), std::move(bytes), header});
    }
    return frames;
}

// Slices that fail take less time than others, so the times of damaged frames mean little.
std::size_t countDamaged(std::vector<LoadedFrame> const& frames, DecodeRequest request) {
    request.pixelsAreUsed = false;
    request.listsAllDamage = false;
    DecodedFrame decoded;
    std::size_t damaged = 0;
    for (LoadedFrame const& frame : frames) {
        withName(frame.name, [&] { decoded.decode(frame.bytes, request); });
        warnOfDamage({}, frame.name, frame.bytes, decoded);
        damaged += decoded.failedSlices() == 0 ? 0 : 1;
    }
    return damaged;
}

ExitCode runBench(BenchOptions const& options) {
    const DecodeRequest request = requestOf(options.request, 8, ColorCoding_YCbCr);
    const std::vector<LoadedFrame> frames = loadFrames(options);
    const std::size_t damagedFrames = countDamaged(frames, request);
    const Averages averages = averagesOf(frames);
    const std::vector<std::size_t> threadCounts =
        options.threads.empty() ? std::vector<std::size_t>{0} : options.threads;

    Json results = Json::array();
    if (!options.json) {
        printReport(fmt::format("{} {}, {} size, {} bits, target {}, {} in flight\n", frames.size(),
                                frames.size() == 1 ? "frame" : "frames", options.request.size, request.bitDepth,
                                targetName(request.target), options.inFlight));
        printReport("threads  median ms   least ms      p5 ms     p95 ms   frames/s       MP/s       MB/s\n");
    }
    for (const std::size_t threads : threadCounts) {
        const Timing timing = measure(frames, request, options, threads);
        if (options.json)
            results.push_back(jsonOf(timing, averages));
        else
            printReport(textOf(timing, averages));
    }
    if (options.json)
        printJson({{"frames", frames.size()},
                   {"damaged_frames", damagedFrames},
                   {"size", options.request.size},
                   {"depth", request.bitDepth},
                   {"target", targetName(request.target)},
                   {"in_flight", options.inFlight},
                   {"bytes_per_frame", averages.bytes},
                   {"pixels_per_frame", averages.pixels},
                   {"results", results}});
    return damagedFrames == 0 ? ExitCode::Done : ExitCode::Damaged;
}

void describeBench(Subcommand& command, BenchOptions& options) {
    addFramesArgument(command, options.frames, options.numbers);
    addRequestOptions(command, options.request);
    command.option("--threads", options.threads, "numbers of threads to measure, such as 1,2,4; 0 for all processors")
        .value("N")
        .separatedBy(',')
        .between(0, 1024);
    command.option("--in-flight", options.inFlight, "frames decoded at once; 1 measures the time of a frame")
        .value("N")
        .between(1, 1024)
        .showDefault();
    command.option("--warm-up", options.warmUps, "decodes of each frame before the measurement")
        .value("N")
        .between(0, 1000000)
        .showDefault();
    command
        .option("--iterations", options.iterations,
                "measured decodes of each frame; default: 30, or more until they take half a second")
        .value("N")
        .between(1, 1000000);
    addJsonOption(command, options.json);
    addFrameLimitsOptions(command, options.limits);
}

} // namespace

void addBenchCommand(CommandLine& commandLine) {
    addCommand(commandLine, "bench", "Measure how fast frames decode", std::make_shared<BenchOptions>(), describeBench,
               runBench);
}
