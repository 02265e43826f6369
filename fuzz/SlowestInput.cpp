// Looks for the frame that takes longest to decode, and compares it with the slowest valid one of the same geometry.
//
//   search_slowest SECONDS [SEED [FOLDER]]
//
// A search guided by work: of every geometry, request and target, the slowest damaged frames found so far are damaged
// further. Work is the least processor time of several decodes in one thread. Prints a line for each request and ends
// with 1 when a damaged frame takes more than three times as long as every valid one; FOLDER gets the slowest frames.

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <time.h>

#include "FrameMaker.h"
#include "FrameMutator.h"
#include "FuzzSupport.h"
#include "Random.h"

const std::size_t kFrameOffset = 0;

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size, std::size_t maxSize,
                                               unsigned int seed);

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kMaxBytes = 1 << 16;
constexpr std::size_t kPopulation = 24;

double secondsOfClock(clockid_t clock) {
    struct timespec now = {};
    clock_gettime(clock, &now);
    return static_cast<double>(now.tv_sec) + 1e-9 * static_cast<double>(now.tv_nsec);
}

// A kind of frames and a way to decode them, for which the slowest frame is wanted.
struct Search {
    const char* name;
    FrameSpec spec;
    FuzzRequest request;
};

struct Candidate {
    Bytes frame;
    double seconds = 0;
};

// The least time of `numTimes` decodes; 0 for a frame of another geometry than the request's.
double workOf(Search const& search, Bytes const& frame, int numTimes) {
    if (frame.size() < 28 || (frame[16] << 8 | frame[17]) != static_cast<int>(search.spec.horizontal_size) ||
        (frame[18] << 8 | frame[19]) != static_cast<int>(search.spec.vertical_size) ||
        frame[20] >> 6 != static_cast<int>(search.spec.chroma_format))
        return 0;
    const FuzzOutput output = outputFor(frame, search.request);
    double least = 1e9;
    for (int i = 0; i < numTimes; ++i) {
        const double start = secondsOfClock(CLOCK_THREAD_CPUTIME_ID);
        decodeInto(frame, search.request, output);
        least = std::min(least, secondsOfClock(CLOCK_THREAD_CPUTIME_ID) - start);
    }
    return least;
}

// Valid frames of all textures, every coefficient of some of them with one of the longest codes.
std::vector<Bytes> validFrames(FrameSpec spec, Random& random) {
    std::vector<Bytes> frames;
    for (std::uint32_t log2SliceSize = 0; log2SliceSize < 4; ++log2SliceSize) {
        spec.log2_slice_size_in_mb = log2SliceSize;
        for (const Texture texture : {Texture::Photo, Texture::Dense, Texture::Sparse, Texture::Extreme})
            frames.push_back(makeFrame(spec, randomSlices(spec, texture, random)).bytes);
        for (const std::uint32_t magnitude : {2u, 40u, 600u, 20000u}) {
            const auto level = [&] {
                const auto value = static_cast<std::int16_t>(1 + randomBelow(random, magnitude));
                return randomBelow(random, 2) == 0 ? value : static_cast<std::int16_t>(-value);
            };
            frames.push_back(makeFrame(spec, [&](SlicePlace const&, SliceContent& content) {
                                 content.quantization_index = 1;
                                 for (std::vector<std::int16_t>* component : {&content.y, &content.cb, &content.cr})
                                     std::generate(component->begin(), component->end(), level);
                                 for (std::uint16_t& sample : content.alpha)
                                     sample = static_cast<std::uint16_t>(random());
                             }).bytes);
        }
    }
    return frames;
}

Bytes damaged(Bytes frame, std::vector<Candidate> const& population, Random& random) {
    for (std::uint32_t changes = 1 + randomBelow(random, 4); changes > 0; --changes) {
        const FrameMap map = mapOf(frame);
        switch (map.slices.empty() ? 5 : randomBelow(random, 6)) {
        case 0: { // one slice's bytes in the place of another's
            Bytes const& other = population[randomBelow(random, static_cast<std::uint32_t>(population.size()))].frame;
            const FrameMap otherMap = mapOf(other);
            if (otherMap.slices.empty())
                break;
            const auto count = static_cast<std::uint32_t>(otherMap.slices.size());
            FrameMap::Slice const& from = otherMap.slices[randomBelow(random, count)];
            for (std::uint32_t copies = 1 + randomBelow(random, 4); copies > 0; --copies) {
                const FrameMap now = mapOf(frame);
                if (now.slices.empty())
                    break;
                const auto countNow = static_cast<std::uint32_t>(now.slices.size());
                FrameMap::Slice const& to = now.slices[randomBelow(random, countNow)];
                replaceInSlice(frame, to, to.offset, to.numBytes,
                               Bytes(other.begin() + static_cast<std::ptrdiff_t>(from.offset),
                                     other.begin() + static_cast<std::ptrdiff_t>(from.offset + from.numBytes)));
            }
            break;
        }
        case 1: { // a run of one byte, or of noise
            FrameMap::Slice const& slice =
                map.slices[randomBelow(random, static_cast<std::uint32_t>(map.slices.size()))];
            const auto body = static_cast<std::uint32_t>(slice.numBytes - slice.headerBytes);
            if (body == 0)
                break;
            const std::size_t from = slice.offset + slice.headerBytes + randomBelow(random, body);
            const std::size_t to = std::min(slice.offset + slice.numBytes, from + 1 + randomBelow(random, body));
            const bool isNoise = randomBelow(random, 2) == 0;
            const auto value = static_cast<std::uint8_t>(random());
            for (std::size_t i = from; i < to; ++i)
                frame[i] = isNoise ? static_cast<std::uint8_t>(random()) : value;
            break;
        }
        case 2: { // the sizes of a slice's components
            FrameMap::Slice const& slice =
                map.slices[randomBelow(random, static_cast<std::uint32_t>(map.slices.size()))];
            const std::size_t field = slice.offset + 2 + 2 * randomBelow(random, slice.hasCrSize ? 3 : 2);
            const std::uint32_t size = randomBelow(random, static_cast<std::uint32_t>(slice.numBytes + 2));
            frame[field] = static_cast<std::uint8_t>(size >> 8);
            frame[field + 1] = static_cast<std::uint8_t>(size);
            break;
        }
        default: {
            const std::size_t numBytes = frame.size();
            frame.resize(kMaxBytes);
            frame.resize(LLVMFuzzerCustomMutator(frame.data(), numBytes, kMaxBytes, random()));
        }
        }
    }
    return frame;
}

// Runs the search for one request. Returns how many times as long as the slowest valid frame the slowest damaged takes.
double runSearch(Search const& search, double seconds, std::uint32_t seed, std::filesystem::path const& folder) {
    Random random(seed);
    Candidate slowestValid;
    std::vector<Candidate> population;
    for (Bytes& frame : validFrames(search.spec, random)) {
        const double work = workOf(search, frame, 15);
        population.push_back({frame, 0});
        if (work > slowestValid.seconds)
            slowestValid = {std::move(frame), work};
    }
    const double end = secondsOfClock(CLOCK_MONOTONIC) + seconds;
    std::uint64_t numTried = 0;
    while (secondsOfClock(CLOCK_MONOTONIC) < end) {
        Candidate const& parent = population[randomBelow(random, static_cast<std::uint32_t>(population.size()))];
        Candidate child{damaged(parent.frame, population, random), 0};
        ++numTried;
        // Most are faster, which one decode shows.
        const double least = population.size() < kPopulation ? 0 : population.back().seconds;
        child.seconds = workOf(search, child.frame, 1);
        if (child.seconds > least)
            child.seconds = workOf(search, child.frame, 9);
        if (child.seconds <= least)
            continue;
        population.push_back(std::move(child));
        std::sort(population.begin(), population.end(),
                  [](Candidate const& a, Candidate const& b) { return a.seconds > b.seconds; });
        population.resize(std::min(population.size(), kPopulation));
    }
    // Side by side, so that both saw the machine in the same state.
    Candidate const* slowest = &population.front();
    double valid = 1e9, damage = 1e9;
    for (int i = 0; i < 20; ++i) {
        valid = std::min(valid, workOf(search, slowestValid.frame, 3));
        damage = std::min(damage, workOf(search, slowest->frame, 3));
    }
    std::printf("%-28s %8llu tried, slowest valid %7.1f us, slowest damaged %7.1f us, ratio %.2f\n", search.name,
                static_cast<unsigned long long>(numTried), valid * 1e6, damage * 1e6, damage / valid);
    std::fflush(stdout);
    if (!folder.empty()) {
        std::filesystem::create_directories(folder);
        std::ofstream(folder / (std::string(search.name) + ".rvl"), std::ios::binary)
            .write(reinterpret_cast<const char*>(slowest->frame.data()),
                   static_cast<std::streamsize>(slowest->frame.size()));
    }
    return damage / valid;
}

std::vector<Search> searches() {
    std::vector<Search> all;
    FrameSpec spec422;
    spec422.horizontal_size = 256;
    spec422.vertical_size = 32;
    FrameSpec spec4444 = spec422;
    spec4444.chroma_format = 3;
    spec4444.alpha_channel_type = 2;
    const auto add = [&](const char* name, FrameSpec const& spec, OptimizationTarget target, std::uint32_t reduction,
                         std::uint32_t coding, std::uint32_t depth) {
        if (target == OptimizationTarget::AVX2 && !canRunAvx2())
            return;
        FuzzRequest request;
        request.target = target;
        request.variant = target == OptimizationTarget::AVX2 ? 1 : 0;
        request.downSampleFactor = reduction;
        request.colorCoding = coding;
        request.bitDepth = depth;
        all.push_back({name, spec, request});
    };
    add("422-full-8-avx2", spec422, OptimizationTarget::AVX2, 0, 0, 8);
    add("422-full-16-avx2", spec422, OptimizationTarget::AVX2, 0, 0, 16);
    add("422-half-avx2", spec422, OptimizationTarget::AVX2, 1, 0, 8);
    add("422-quarter-avx2", spec422, OptimizationTarget::AVX2, 2, 0, 8);
    add("422-eighth-avx2", spec422, OptimizationTarget::AVX2, 3, 0, 8);
    add("422-full-8-baseline", spec422, OptimizationTarget::Baseline, 0, 0, 8);
    add("422-quarter-baseline", spec422, OptimizationTarget::Baseline, 2, 0, 8);
    add("4444-full-8-avx2", spec4444, OptimizationTarget::AVX2, 0, 0, 8);
    add("4444-rgb-16-avx2", spec4444, OptimizationTarget::AVX2, 0, 1, 16);
    add("4444-half-avx2", spec4444, OptimizationTarget::AVX2, 1, 0, 8);
    add("4444-quarter-avx2", spec4444, OptimizationTarget::AVX2, 2, 1, 8);
    add("4444-eighth-avx2", spec4444, OptimizationTarget::AVX2, 3, 0, 8);
    add("4444-full-8-baseline", spec4444, OptimizationTarget::Baseline, 0, 0, 8);
    add("4444-eighth-baseline", spec4444, OptimizationTarget::Baseline, 3, 0, 8);
    return all;
}

} // namespace

int main(int count, char** arguments) {
    if (count < 2 || count > 4) {
        std::fprintf(stderr, "usage: search_slowest SECONDS [SEED [FOLDER]]\n");
        return 2;
    }
    const double seconds = std::atof(arguments[1]);
    const auto seed = static_cast<std::uint32_t>(count > 2 ? std::atol(arguments[2]) : 1);
    const std::filesystem::path folder = count > 3 ? arguments[3] : "";
    const std::vector<Search> all = searches();
    double worst = 0;
    for (Search const& search : all)
        worst = std::max(worst, runSearch(search, seconds / static_cast<double>(all.size()), seed, folder));
    std::printf("seed %u, worst ratio %.2f\n", seed, worst);
    return worst > 3 ? 1 : 0;
}
