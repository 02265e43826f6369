#include "HostileRunner.h"

#include <gtest/gtest.h>
#include <signal.h>
#include <tbb/task_arena.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <stdexcept>
#include <thread>

#include "BufferRequirements.h"
#include "Frame.h"
#include "LongForms.h"
#include "RaveloDecoderInterface.h"

namespace {

// Inputs are small; a table of extreme sizes has no need of more.
constexpr std::size_t kInputCapacity = std::size_t{1} << 20;

// The output of 65535 lines of 65535 pixels in four samples of two bytes, and the wide strides.
constexpr std::size_t kOutputCapacity = std::size_t{65536} * (65536 * 8 + 4096);

// Larger outputs are not filled before the call: only what lies outside them is looked at.
constexpr std::uint64_t kMaxFilledBytes = 256 * 1024;

constexpr std::uint8_t kFill = 0xA5;

// The byte of a frame whose two top bits are the chroma format.
constexpr std::size_t kFormatOffset = 20;

// Enough for every pair of sizes but those of two large ones.
constexpr std::uint64_t kDefaultMaxMacroblocks = 40000;

// --- the case that a fault belongs to
// ----------------------------------------------------------------------------------

constexpr std::size_t kNumLabels = 64;
constexpr std::size_t kLabelBytes = 400;
char s_labels[kNumLabels][kLabelBytes];
std::atomic<int> s_labelsTaken{0};
struct sigaction s_previousActions[2];

void writeText(const char* text) {
    if (write(STDERR_FILENO, text, std::strlen(text)) < 0)
        _exit(99);
}

// Prints the cases that were running and lets the fault happen again under the previous handler.
void onFault(int signal) {
    writeText("\nfault in one of these cases:\n");
    for (std::size_t i = 0; i < kNumLabels; ++i) {
        if (s_labels[i][0] == 0)
            continue;
        writeText("  ");
        writeText(s_labels[i]);
        writeText("\n");
    }
    sigaction(signal, &s_previousActions[signal == SIGBUS ? 1 : 0], nullptr);
}

void installFaultHandler() {
    static std::once_flag installed;
    std::call_once(installed, [] {
        struct sigaction action = {};
        action.sa_handler = onFault;
        sigaction(SIGSEGV, &action, &s_previousActions[0]);
        sigaction(SIGBUS, &action, &s_previousActions[1]);
    });
}

// --- tallies
// -----------------------------------------------------------------------------------------------------------

HostileTally s_processTally;

std::size_t depthIndex(std::uint32_t bitDepth) {
    return bitDepth == 8 ? 0 : bitDepth == 10 ? 1 : bitDepth == 15 ? 2 : 3;
}

std::size_t combinationOf(PixelBuffer const& info, HostileRequest const& request, std::int32_t variantIndex) {
    const std::size_t writer = info.samplesPerPixel == 2 ? 0 : info.alpha_channel_type == 0 ? 1 : 2;
    std::size_t index = static_cast<std::size_t>(variantIndex);
    index = index * 2 + static_cast<std::size_t>(request.target);
    index = index * 4 + request.downSampleFactor;
    index = index * 4 + depthIndex(request.bitDepth);
    index = index * 4 + request.colorCoding;
    return index * 3 + writer;
}

} // namespace

void HostileTally::add(HostileTally const& other) {
    numCases += other.numCases;
    numRefused += other.numRefused;
    numSkipped += other.numSkipped;
    combinations |= other.combinations;
    if (other.slowestSeconds > slowestSeconds) {
        slowestSeconds = other.slowestSeconds;
        slowestCase = other.slowestCase;
    }
}

HostileTally const& processTally() {
    return s_processTally;
}

std::uint64_t declaredMacroblocks(std::span<const std::uint8_t> frame) {
    const PixelBuffer info = Frame::GetFrameInfo(Bitstream{frame.data(), frame.size()}, 8, 0);
    return (info.width + 15) / 16 * ((info.height + 15) / 16);
}

// --- one case
// ----------------------------------------------------------------------------------------------------------

// The stretch of memory that the call may write: `lines` rows of `rowBytes`.
struct HostileRunner::Output {
    std::uint8_t* pixels = nullptr;
    std::int64_t stride = 0;
    std::uint8_t* first = nullptr; // the lowest byte that may be written
    std::uint64_t sizeBytes = 0;
    std::uint64_t rowBytes = 0;
    std::uint64_t lines = 0;
    std::uint8_t fill = 0;

    std::uint8_t* end() const { return first + sizeBytes; }
};

HostileRunner::HostileRunner()
    : m_input(kInputCapacity),
      m_output(kOutputCapacity),
      m_maxMacroblocks(kDefaultMaxMacroblocks),
      m_labelSlot(s_labelsTaken++ % static_cast<int>(kNumLabels)) {
    installFaultHandler();
}

HostileRunner::~HostileRunner() {
    s_labels[m_labelSlot][0] = 0;
}

HostileRunner::Output HostileRunner::placedOutput(std::span<const std::uint8_t> frame,
                                                  HostileRequest const& request) const {
    const BufferRequirements needs =
        bufferRequirements(Bitstream{frame.data(), frame.size()}, request.bitDepth, request.downSampleFactor);
    Output output;
    output.lines = needs.lines;
    output.rowBytes = request.downSampleFactor == 0 ? needs.leastStride : needs.safeStride;
    std::uint64_t magnitude = needs.safeStride;
    if (request.stride == HostileRequest::Stride::Least)
        magnitude = needs.leastStride;
    else if (request.stride == HostileRequest::Stride::Wide)
        magnitude = needs.safeStride + 37;
    output.sizeBytes = output.lines == 0 ? 0 : (output.lines - 1) * magnitude + output.rowBytes;
    output.first = request.outputAtEnd ? m_output.atEnd(output.sizeBytes) : m_output.atStart();
    output.stride = static_cast<std::int64_t>(magnitude);
    output.pixels = output.first;
    if (request.strideIsNegative) {
        output.stride = -output.stride;
        output.pixels = output.first + (output.lines == 0 ? 0 : (output.lines - 1) * magnitude);
    }
    output.fill = output.sizeBytes <= kMaxFilledBytes ? kFill : 0;
    return output;
}

// The bytes of the output's last page that the output does not reach cannot be unmapped, so they are filled and looked
// at afterwards.
void HostileRunner::fill(Output const& output) {
    if (output.fill == 0) {
        m_output.clear();
        return;
    }
    const std::size_t page = GuardedMemory::pageBytes();
    std::memset(m_output.atStart(), kFill, std::min<std::uint64_t>(output.sizeBytes + page, m_output.capacityBytes()));
    std::uint8_t* const low = m_output.atEnd(output.sizeBytes + page);
    std::memset(low, kFill, output.sizeBytes + page);
}

void HostileRunner::check(Output const& output, std::string const& label) {
    const auto isUntouched = [&output](const std::uint8_t* from, const std::uint8_t* to) {
        return std::all_of(from, to, [&output](std::uint8_t byte) { return byte == output.fill; });
    };
    const std::size_t page = GuardedMemory::pageBytes();
    if (output.first != m_output.atStart() && !isUntouched(output.first - page, output.first))
        report("bytes in front of the output are written: " + label);
    if (output.first == m_output.atStart() && !isUntouched(output.end(), output.end() + page))
        report("bytes after the output are written: " + label);
    const std::uint64_t magnitude =
        output.stride < 0 ? static_cast<std::uint64_t>(-output.stride) : static_cast<std::uint64_t>(output.stride);
    if (output.fill == 0 || magnitude <= output.rowBytes)
        return;
    for (std::uint64_t line = 0; line + 1 < output.lines; ++line) {
        const std::uint8_t* const row = output.first + line * magnitude;
        if (!isUntouched(row + output.rowBytes, row + magnitude))
            report("bytes between two lines are written: " + label);
    }
}

void HostileRunner::decode(const std::uint8_t* data, std::uint64_t size, HostileRequest const& request,
                           Output const& output, std::string const& label) {
    int result = 1;
    const auto call = [&] {
        result = RaveloDecoderInterface::DecompressFrameFromBits(
            data, size, request.downSampleFactor, static_cast<ColorCoding>(request.colorCoding), request.bitDepth,
            output.pixels, output.stride, request.target);
    };
    try {
        if (request.inParallel)
            call();
        else
            tbb::task_arena(1).execute(call);
    } catch (std::runtime_error const& error) {
        ++m_tally.numRefused;
        if (std::string(error.what()) != "RGB output for 4:2:2 frames is not supported by Ravelo decoder.")
            report(std::string(error.what()) + ": " + label);
    }
    if (result != 1)
        report("the call does not return 1: " + label);
}

void HostileRunner::run(std::span<const std::uint8_t> frame, HostileRequest const& wanted, std::int32_t variantIndex,
                        const char* what) {
    HostileRequest request = wanted;
    const bool is422 = frame.size() > kFormatOffset && frame[kFormatOffset] >> 6 == 2;
    if (is422 && !request.asksForRgbOf422)
        request.colorCoding = 0;
    if (declaredMacroblocks(frame) > m_maxMacroblocks) {
        ++m_tally.numSkipped;
        return;
    }
    const std::uint8_t* const data = request.inputAtEnd ? m_input.copyAtEnd(frame) : m_input.copyAtStart(frame);
    const Output output = placedOutput(frame, request);
    fill(output);
    const std::string label = std::string(what) + ", " + std::to_string(frame.size()) + " bytes, variant " +
                              std::to_string(variantIndex) + ", " + request.describe();
    std::strncpy(s_labels[m_labelSlot], label.c_str(), kLabelBytes - 1);

    const auto start = std::chrono::steady_clock::now();
    decode(data, frame.size(), request, output, label);
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    check(output, label);

    ++m_tally.numCases;
    const PixelBuffer info = Frame::GetFrameInfo(Bitstream{frame.data(), frame.size()}, 8, 0);
    if (request.downSampleFactor < 4 && request.colorCoding < 4)
        m_tally.combinations.set(combinationOf(info, request, variantIndex));
    if (seconds > m_tally.slowestSeconds) {
        m_tally.slowestSeconds = seconds;
        m_tally.slowestCase = label;
    }
}

void HostileRunner::report(std::string const& text) {
    constexpr std::size_t kEnough = 20;
    if (m_problems.size() < kEnough)
        m_problems.push_back(text);
}

// --- families
// ---------------------------------------------------------------------------------------------------------

namespace {

unsigned int threadsWanted() {
    return longFormWanted() ? std::max(1u, std::thread::hardware_concurrency()) : 1;
}

// The cases of one variant, dealt out to the threads.
void runCases(std::uint64_t numCases, std::uint64_t share, Variant const& variant, HostileCase const& body,
              std::vector<std::unique_ptr<HostileRunner>>& runners) {
    std::atomic<std::uint64_t> next{static_cast<std::uint64_t>(variant.index) % share};
    const auto work = [&](HostileRunner& runner) {
        for (std::uint64_t number = next.fetch_add(share); number < numCases; number = next.fetch_add(share))
            body(runner, number, variant);
    };
    std::vector<std::thread> threads;
    for (std::size_t i = 1; i < runners.size(); ++i)
        threads.emplace_back([&work, &runners, i] { work(*runners[i]); });
    work(*runners[0]);
    for (std::thread& thread : threads)
        thread.join();
}

} // namespace

void runFamily(const char* name, std::uint64_t numCases, std::uint64_t shortShare, HostileCase const& body) {
    std::vector<std::unique_ptr<HostileRunner>> runners;
    for (unsigned int i = 0; i < threadsWanted(); ++i)
        runners.push_back(std::make_unique<HostileRunner>());
    for (Variant const& variant : runnableVariants()) {
        const SelectedVariant selected(variant);
        runCases(numCases, longFormWanted() ? 1 : shortShare, variant, body, runners);
    }
    HostileTally tally;
    for (auto const& runner : runners) {
        tally.add(runner->tally());
        for (std::string const& problem : runner->problems())
            ADD_FAILURE() << problem;
    }
    std::cout << name << ": " << tally.numCases << " cases (" << tally.numRefused << " refused requests), slowest "
              << tally.slowestSeconds * 1000 << " ms";
    if (tally.numSkipped != 0)
        std::cout << ", " << tally.numSkipped << " skipped for their size";
    std::cout << "\n  slowest: " << tally.slowestCase << "\n";
    EXPECT_GT(tally.numCases, 0u);
    s_processTally.add(tally);
}
