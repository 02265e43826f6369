// Writes the seed corpus: a folder for each harness, with inputs that reach deep from the first execution on.
//
//   make_fuzz_seeds FOLDER

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <initializer_list>
#include <stdexcept>
#include <string>
#include <vector>

#include "FrameMaker.h"
#include "FrameMutator.h"
#include "FuzzSupport.h"
#include "Random.h"
#include "VectorManifest.h"

const std::size_t kFrameOffset = 0;

namespace {

namespace fs = std::filesystem;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kSeed = 20;
constexpr int kFramesOfAKind = 48;

// The bytes before the frame for HostInterface, and the one of them that requests a report of failed slices.
constexpr std::size_t kHostOptionBytes = 24;
constexpr std::size_t kHostReportByte = 4;

void write(fs::path const& folder, std::string const& name, Bytes const& bytes) {
    fs::create_directories(folder);
    std::ofstream file(folder / name, std::ios::binary);
    file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file)
        throw std::runtime_error("cannot write " + (folder / name).string());
}

Bytes joined(std::initializer_list<std::uint_fast32_t> front, Bytes const& back) {
    Bytes bytes;
    bytes.reserve(front.size() + back.size());
    for (const std::uint32_t byte : front)
        bytes.push_back(static_cast<std::uint8_t>(byte));
    for (const std::uint8_t byte : back)
        bytes.push_back(byte);
    return bytes;
}

Bytes withOptions(Bytes const& frame, Random& random) {
    return joined({random() & 0xFF, random() & 0xFF, random() & 0xFF, random() & 0xFF}, frame);
}
static_assert(FuzzRequest::kNumBytes == 4);

// A frame for all harnesses that take one.
void writeFrame(fs::path const& root, std::string const& name, Bytes const& frame, Random& random) {
    write(root / "WholeFrame", name, frame);
    for (const char* harness : {"FrameWithOptions", "UnboundedFrame", "HeaderInformation"})
        write(root / harness, name, withOptions(frame, random));
    Bytes options(kHostOptionBytes);
    for (std::size_t i = 0; i < options.size(); ++i)
        options[i] = randomBelow(random, 3) == 0 ? static_cast<std::uint8_t>(random() & 0xFF) : std::uint8_t{0};
    options[kHostReportByte] |= 0x80;
    options.resize(options.size() + frame.size());
    std::copy(frame.begin(), frame.end(), options.begin() + kHostOptionBytes);
    write(root / "HostInterface", name, options);
}

// Small frames of every kind: a fuzzer is fast on small inputs and finds the same in them.
FrameSpec smallSpec(Random& random) {
    FrameSpec spec = randomSpec(random);
    spec.horizontal_size = 1 + spec.horizontal_size % 40;
    spec.vertical_size = 1 + spec.vertical_size % 34;
    spec.extraHeaderBytes %= 4;
    return spec;
}

void writeFrames(fs::path const& root, Random& random) {
    for (int i = 0; i < kFramesOfAKind; ++i) {
        writeFrame(root, "frame-" + std::to_string(i), randomFrame(smallSpec(random), random).bytes, random);
    }
}

// The components of a slice, one by one and together, as the scan meets them.
void writeSlice(fs::path const& root, std::string const& name, Bytes const& frame, FrameMap::Slice const& slice,
                Random& random) {
    constexpr std::size_t kMaxBytes = 255;
    Bytes together = joined({2 | (random() & 0x70), random() & 0xFF}, {});
    std::vector<FrameMap::Component> components = componentsOf(frame, slice);
    components.resize(std::min<std::size_t>(components.size(), 3));
    for (std::size_t i = 0; i < components.size(); ++i) {
        const auto begin = frame.begin() + static_cast<std::ptrdiff_t>(components[i].begin);
        const std::size_t numBytes = std::min(components[i].end - components[i].begin, kMaxBytes);
        const Bytes range(begin, begin + static_cast<std::ptrdiff_t>(numBytes));
        const std::uint32_t exponent = randomBelow(random, 5);
        const std::uint32_t choices = random() & 0x70;
        write(root / "CoefficientScan", name + "-" + std::to_string(i), joined({choices, 0, exponent}, range));
        const bool isLast = i + 1 == components.size();
        const Bytes part =
            isLast ? joined({exponent}, range) : joined({exponent, static_cast<std::uint32_t>(numBytes)}, range);
        for (const std::uint8_t byte : part)
            together.push_back(byte);
    }
    write(root / "CoefficientScan", name, together);
}

// The frames with known output, which are more varied than random ones, and slices of them.
void writeKnownFrames(fs::path const& root, Random& random) {
    constexpr std::size_t kSlicesOfAFrame = 3;
    std::string last;
    for (VectorRequest const& request : readVectorManifest()) {
        if (request.frame == last)
            continue;
        last = request.frame;
        const Bytes frame = readTestData("vectors/" + request.frame);
        writeFrame(root, request.frame, frame, random);
        const FrameMap map = mapOf(frame);
        for (std::size_t i = 0; i < std::min(map.slices.size(), kSlicesOfAFrame); ++i)
            writeSlice(root, request.frame + "-slice-" + std::to_string(i), frame, map.slices[i], random);
    }
}

std::vector<std::int16_t> sparseCoefficients(std::size_t numBlocks, Random& random) {
    std::vector<std::int16_t> coefficients(64 * numBlocks);
    for (std::int16_t& coefficient : coefficients)
        if (randomBelow(random, 9) == 0)
            coefficient = static_cast<std::int16_t>(static_cast<int>(randomBelow(random, 61)) - 30);
    return coefficients;
}

// Ranges of one component, valid and cut short, alone and as the three of a slice.
void writeComponents(fs::path const& root, Random& random) {
    for (int i = 0; i < kFramesOfAKind; ++i) {
        const std::uint32_t exponent = static_cast<std::uint32_t>(i) % 5;
        const std::size_t numBlocks = std::size_t{2} << exponent;
        Bytes range = encodedComponent(sparseCoefficients(numBlocks, random));
        if (i % 3 == 0)
            range.resize(range.size() / 2);
        const auto kind = static_cast<std::uint32_t>(i);
        write(root / "CoefficientScan", "component-" + std::to_string(i),
              joined({(kind & 7) << 4, 0, exponent}, range));

        const auto third = static_cast<std::uint32_t>(range.size() / 3);
        write(root / "ThreeStreamScan", "components-" + std::to_string(i),
              joined({exponent, kind & 1, third >> 8, third, third >> 8, third, 0xFF, 0xFF}, range));
    }
}

void writeAlpha(fs::path const& root, Random& random) {
    for (int i = 0; i < kFramesOfAKind; ++i) {
        const std::uint32_t alphaBits = i % 2 == 0 ? 8 : 16;
        std::vector<std::uint16_t> samples(static_cast<std::size_t>(256 * (1 + i % 8)));
        std::uint16_t value = 0;
        for (std::uint16_t& sample : samples) {
            if (randomBelow(random, 6) == 0)
                value = static_cast<std::uint16_t>(random() & (alphaBits == 8 ? 0xFF : 0xFFFF));
            sample = value;
        }
        const auto kind = static_cast<std::uint32_t>(i);
        write(root / "AlphaScan", "alpha-" + std::to_string(i),
              joined({kind % 2, 16 * (1 + kind % 8) - 1}, encodedAlpha(samples, alphaBits, i % 3 == 0, i % 5 == 0)));
    }
}

// Harnesses that make what they need out of any bytes.
void writeNoise(fs::path const& root, Random& random) {
    for (const char* harness :
         {"BitReader", "EncodeDecode", "EncodePicture", "EncodeInterface", "TargetsAgree", "KernelVariants"}) {
        for (int i = 0; i < kFramesOfAKind; ++i) {
            Bytes input(16 + randomBelow(random, 400));
            const std::uint32_t mask = i % 3 == 0 ? 0xFF : i % 3 == 1 ? 0x0F : 0x83;
            for (std::uint8_t& byte : input)
                byte = static_cast<std::uint8_t>(random() & mask);
            write(root / harness, "noise-" + std::to_string(i), input);
        }
    }
}

// Small pictures as files, whole and cut short.
void writePictures(fs::path const& root, Random& random) {
    const std::string headers[] = {"P5\n3 2\n255\n",
                                   "P6\n2 2\n255\n",
                                   "P6\n1 2\n65535\n",
                                   "P7\nWIDTH 2\nHEIGHT 2\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n",
                                   "YUV4MPEG2 W4 H2 F25:1 Ip A1:1 C422\nFRAME\n",
                                   "YUV4MPEG2 W2 H2 F25:1 It C420jpeg\nFRAME\n",
                                   "YUV4MPEG2 W2 H2 C444p10\nFRAME\n",
                                   "YUV4MPEG2 W3 H1 C444alpha\nFRAME\n"};
    int number = 0;
    for (std::string const& header : headers) {
        for (const std::size_t numSamples : {std::size_t{4}, std::size_t{24}}) {
            Bytes input(header.begin(), header.end());
            for (std::size_t i = 0; i < numSamples; ++i)
                input.push_back(static_cast<std::uint8_t>(randomBelow(random, 4)));
            write(root / "PictureReaders", "picture-" + std::to_string(number++), input);
        }
    }
}

// Texts, each with the bytes that a harness takes before it.
void writeTexts(fs::path const& root) {
    const std::string lines[] = {"info a.rvl",
                                 "decode -o out a.rvl --size half --depth 8 --failed marked --mark-color 00FF00",
                                 "decode - -F raw --coding rgb-video --target baseline --threads 4 --in-flight 3 -f -q",
                                 "encode in.png -o x.rvl --bpp 4.5 --max-pixels 100",
                                 "verify --json --frames 1-10x2 s.####.rvl",
                                 "inspect a.rvl --slices --picture p.png",
                                 "compare a b --max-error 1",
                                 "bench a.rvl",
                                 "completion bash",
                                 "man decode",
                                 "--help",
                                 "--version",
                                 "decode --help",
                                 "nothing",
                                 "-x"};
    int number = 0;
    for (std::string line : lines) {
        std::replace(line.begin(), line.end(), ' ', '\0');
        write(root / "CommandArguments", "line-" + std::to_string(number++), Bytes(line.begin(), line.end()));
    }
    const std::string names[] = {"shot.%04d.rvl",
                                 "shot.####.rvl",
                                 "a/b.@@@@.rvl",
                                 "shot.1-100x2####.rvl",
                                 "%d",
                                 "#",
                                 "1-3,7,10-20x5",
                                 "7",
                                 "5-2",
                                 "1-9x0",
                                 "folder#/x.1-2,4-5@@.png",
                                 "999999999999999999",
                                 "1-",
                                 "x.%0d",
                                 "%%05d"};
    for (std::string const& name : names)
        write(root / "SequenceNames", "name-" + std::to_string(number++),
              joined({0, 7, 0}, Bytes(name.begin(), name.end())));
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: make_fuzz_seeds FOLDER\n");
        return 2;
    }
    Random random(kSeed);
    writeFrames(argv[1], random);
    writeKnownFrames(argv[1], random);
    writeComponents(argv[1], random);
    writeAlpha(argv[1], random);
    writeNoise(argv[1], random);
    writePictures(argv[1], random);
    writeTexts(argv[1]);
    return 0;
}
