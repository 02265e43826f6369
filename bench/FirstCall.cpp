#include "FirstCall.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <tbb/global_control.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <system_error>
#include <vector>

#include "BenchFrames.h"
#include "Comparison.h"
#include "Files.h"
#include "Statistics.h"

namespace {

struct CallTimes {
    double first = 0; // microseconds
    double later = 0;
};

[[noreturn]] void throwSystemError(int error, const char* what) {
    throw std::system_error(error, std::generic_category(), what);
}

// A file in memory, which the processes that are started find under the same name.
class MemoryFile {
public:
    explicit MemoryFile(std::vector<std::uint8_t> const& bytes) : m_descriptor(memfd_create("frame", 0)) {
        if (m_descriptor < 0)
            throwSystemError(errno, "memfd_create");
        writeFile(path(), bytes);
    }
    ~MemoryFile() { close(m_descriptor); }

    MemoryFile(MemoryFile const&) = delete;
    MemoryFile& operator=(MemoryFile const&) = delete;

    std::string path() const { return "/proc/self/fd/" + std::to_string(m_descriptor); }

private:
    int m_descriptor;
};

// Starts this program and returns what it writes to its standard output.
std::string outputOfThisProgram(std::vector<std::string> arguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        throwSystemError(errno, "pipe2");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
    std::vector<char*> pointers;
    for (std::string& argument : arguments)
        pointers.push_back(argument.data());
    pointers.push_back(nullptr);
    pid_t process = 0;
    const int error = posix_spawn(&process, "/proc/self/exe", &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(ends[1]);
    std::string output;
    char bytes[256];
    for (ssize_t count; error == 0 && (count = read(ends[0], bytes, sizeof bytes)) > 0;)
        output.append(bytes, static_cast<std::size_t>(count));
    close(ends[0]);
    if (error != 0)
        throwSystemError(error, "posix_spawn");
    int status = 0;
    if (waitpid(process, &status, 0) != process || status != 0)
        throw std::runtime_error("a process for the first call failed");
    return output;
}

CallTimes timesOfProcess(std::string const& frame, unsigned int numThreads) {
    const std::string output = outputOfThisProgram({"compare_peer", "--first-call", std::to_string(numThreads), frame});
    CallTimes times;
    if (std::sscanf(output.c_str(), "%lf %lf", &times.first, &times.later) != 2)
        throw std::runtime_error("a process for the first call printed no times");
    return times;
}

double microsecondsOf(FrameDecode& decode) {
    const auto start = std::chrono::steady_clock::now();
    decode.run();
    return std::chrono::duration<double, std::micro>(std::chrono::steady_clock::now() - start).count();
}

} // namespace

void printFirstCall(std::filesystem::path const& frame, unsigned int numThreads) {
    const tbb::global_control threads(tbb::global_control::max_allowed_parallelism, numThreads);
    FrameDecode decode(readFile(frame), DecodeRequest());
    const double first = microsecondsOf(decode);
    constexpr int kLaterCalls = 21;
    std::vector<double> later;
    for (int i = 0; i < kLaterCalls; ++i)
        later.push_back(microsecondsOf(decode));
    std::printf("%.3f %.3f\n", first, median(later));
}

void measureFirstCalls(unsigned int numRounds) {
    const unsigned int numProcesses = std::max(15u, numRounds);
    const MemoryFile frame(benchFrame(16, 16, ChromaFormat::C422, 0));
    MarkdownTable table({"threads allowed", "first call, microseconds", "best", "later call", "best", "processes"});
    for (const unsigned int numThreads : {1u, 8u}) {
        std::vector<double> first;
        std::vector<double> later;
        for (unsigned int i = 0; i < numProcesses; ++i) {
            const CallTimes times = timesOfProcess(frame.path(), numThreads);
            first.push_back(times.first);
            later.push_back(times.later);
        }
        table.addRow({std::to_string(numThreads), fixed(median(first), 1),
                      fixed(*std::min_element(first.begin(), first.end()), 1), fixed(median(later), 1),
                      fixed(*std::min_element(later.begin(), later.end()), 1), std::to_string(numProcesses)});
    }
    print("The first decode of a process: a frame of 16x16 pixels (4:2:2, 10 bits, " +
              decoderName(OptimizationTarget::AVX2) + ")",
          table);
}
