// Measures how much memory decoding takes beyond its input and output.
//
//   frame_memory FRAME.rvl THREADS
//
// Prints the growth of the process's peak resident memory over the first decode, in KiB, and the allocations of a later
// one. The first decode's growth contains what is loaded and built once, such as pages of code, symbol tables and the
// threads with their stacks.

#include <tbb/global_control.h>

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "Files.h"
#include "FrameDecode.h"

namespace {

std::atomic<std::uint64_t> s_numAllocations{0};

// A value in KiB of the process's status.
std::uint64_t statusValue(std::string const& key) {
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(key + ":"))
            return std::stoull(line.substr(key.size() + 1));
    throw std::runtime_error("the system reports no " + key);
}

void resetPeak() {
    std::ofstream("/proc/self/clear_refs") << 5;
}

void report(std::vector<std::uint8_t> frame, std::size_t numThreads) {
    const tbb::global_control threads(tbb::global_control::max_allowed_parallelism, numThreads);
    FrameDecode decode(std::move(frame), DecodeRequest());
    resetPeak();
    const std::uint64_t before = statusValue("VmRSS");
    decode.run();
    const std::uint64_t afterFirst = statusValue("VmHWM");
    const std::uint64_t settled = statusValue("VmRSS");
    const std::uint64_t allocationsBefore = s_numAllocations;
    decode.run();
    const std::uint64_t allocations = s_numAllocations - allocationsBefore;
    resetPeak();
    for (int i = 0; i < 20; ++i)
        decode.run();
    const std::uint64_t afterMore = statusValue("VmHWM");
    std::printf("%zu thread%s: first decode %llu KiB, 20 more %llu KiB; %llu allocations a frame\n", numThreads,
                numThreads == 1 ? "" : "s", static_cast<unsigned long long>(afterFirst - before),
                static_cast<unsigned long long>(afterMore > settled ? afterMore - settled : 0),
                static_cast<unsigned long long>(allocations));
}

} // namespace

void* operator new(std::size_t numBytes) {
    ++s_numAllocations;
    if (void* const memory = std::malloc(numBytes == 0 ? 1 : numBytes))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}

int main(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "usage: frame_memory FRAME.rvl THREADS\n");
        return 2;
    }
    try {
        report(readFile(argv[1]), std::stoul(argv[2]));
    } catch (std::exception const& error) {
        std::fprintf(stderr, "frame_memory: %s\n", error.what());
        return 1;
    }
    return 0;
}
