// Makes the pictures of the measurements.
//
//   prepare_pictures pairs FOLDER NAME=PHOTOGRAPH.jpg...
//       each photograph in two sizes, two chroma formats and two rates, as a frame and as a JPEG file of the same rate
//   prepare_pictures table FOLDER PHOTOGRAPH.jpg
//       one photograph in many sizes and at many rates, as frames
//
// A pair's rate is the one that the JPEG encoder meets, whose quality has coarse steps and an end. The frame is encoded
// for that rate, within 3 %.

#include <cstdint>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <stdexcept>
#include <string>

#include "Files.h"
#include "FrameEncoder.h"
#include "MarkdownTable.h"
#include "PeerPicture.h"
#include "Photograph.h"

namespace {

struct PictureSize {
    const char* name;
    std::uint32_t width;
    std::uint32_t height;
};

constexpr PictureSize kPairSizes[] = {{"1080p", 1920, 1080}, {"2160p", 3840, 2160}};
constexpr ChromaFormat kChromaFormats[] = {ChromaFormat::C422, ChromaFormat::C444};
constexpr double kPairRates[] = {3.5, 7.0};

constexpr PictureSize kTableSizes[] = {{"640x360", 640, 360},
                                       {"1280x720", 1280, 720},
                                       {"1920x1080", 1920, 1080},
                                       {"3840x2160", 3840, 2160},
                                       {"7680x4320", 7680, 4320}};
constexpr double kTableRates[] = {0.5, 1, 2, 3.5, 5, 7, 9, 12};

EncodedFrame encodedAt(SourcePicture const& picture, double bitsPerPixel) {
    EncoderSettings settings;
    settings.bitsPerPixel = bitsPerPixel;
    return encodeFrame(picture, settings);
}

// The pairs of one picture at all rates. Where the best quality stays below a rate, the next one up would be the same
// picture again and is left out.
void makePairs(SourcePicture const& picture, std::filesystem::path const& folder, std::string const& name) {
    int lastQuality = 0;
    for (const double rate : kPairRates) {
        const PeerPicture peer = peerPicture(picture, rate);
        if (peer.quality == lastQuality)
            continue;
        lastQuality = peer.quality;
        const EncodedFrame frame = encodedAt(picture, peer.bitsPerPixel);
        const std::string stem = name + "-" + fixed(rate, 1);
        writeFile(folder / (stem + ".jpg"), peer.bytes);
        writeFile(folder / (stem + ".rvl"), frame.bytes);
        std::printf("%s: %.3f bits per pixel at index %u, JPEG %.3f at quality %d\n", stem.c_str(), frame.bitsPerPixel,
                    frame.quantization_index, peer.bitsPerPixel, peer.quality);
        std::fflush(stdout);
    }
}

// `argument` is NAME=PHOTOGRAPH.jpg.
void makeAllPairs(std::filesystem::path const& folder, std::string const& argument) {
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos)
        throw std::runtime_error(argument + ": expected NAME=PHOTOGRAPH.jpg");
    const Photograph photograph = readPhotograph(argument.substr(equals + 1));
    for (PictureSize const& size : kPairSizes) {
        const Photograph scaled = scaledDown(photograph, size.width, size.height);
        for (const ChromaFormat chromaFormat : kChromaFormats) {
            const char* const format = chromaFormat == ChromaFormat::C444 ? "-444" : "-422";
            makePairs(videoPicture(scaled, chromaFormat), folder,
                      argument.substr(0, equals) + "-" + size.name + format);
        }
    }
}

void makeTableFrame(SourcePicture const& picture, double bitsPerPixel, std::filesystem::path const& file) {
    const EncodedFrame frame = encodedAt(picture, bitsPerPixel);
    writeFile(file, frame.bytes);
    std::printf("%s: %.3f bits per pixel at index %u\n", file.stem().c_str(), frame.bitsPerPixel,
                frame.quantization_index);
    std::fflush(stdout);
}

void makeTable(std::filesystem::path const& folder, std::filesystem::path const& file) {
    const Photograph photograph = readPhotograph(file);
    for (PictureSize const& size : kTableSizes) {
        // No photograph is as large as the largest size, which is a smaller one and its mirror images.
        const bool isMirrored = size.width > photograph.width || size.height > photograph.height;
        const Photograph scaled = isMirrored ? mirrored(scaledDown(photograph, size.width / 2, size.height / 2))
                                             : scaledDown(photograph, size.width, size.height);
        const SourcePicture picture = videoPicture(scaled, ChromaFormat::C422);
        for (const double rate : kTableRates) {
            const std::string stem = std::string("table-") + size.name + "-" + fixed(rate, 1);
            makeTableFrame(picture, rate, folder / (stem + ".rvl"));
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    const std::string command = argc > 3 ? argv[1] : "";
    if (command != "pairs" && command != "table") {
        std::fprintf(stderr, "usage: prepare_pictures pairs FOLDER NAME=PHOTOGRAPH.jpg...\n"
                             "       prepare_pictures table FOLDER PHOTOGRAPH.jpg\n");
        return 2;
    }
    try {
        const std::filesystem::path folder = argv[2];
        std::filesystem::create_directories(folder);
        for (int i = 3; i < argc; ++i) {
            if (command == "pairs")
                makeAllPairs(folder, argv[i]);
            else
                makeTable(folder, argv[i]);
        }
    } catch (std::exception const& error) {
        std::fprintf(stderr, "prepare_pictures: %s\n", error.what());
        return 1;
    }
    return 0;
}
