// Makes the pictures of the comparison: each photograph in two sizes, two chroma formats and several rates, as a frame
// and as a JPEG file of the same rate.
//
//   prepare_pictures OUTPUT_FOLDER NAME=PHOTOGRAPH.jpg...
//
// Each file is made once; a second call finds it and goes on. A rate is the one that the JPEG encoder meets, whose
// quality has coarse steps and an end; the frame is encoded for that rate, within 3 %.

#include <cstdio>
#include <exception>
#include <filesystem>
#include <optional>
#include <string>

#include "Files.h"
#include "FrameEncoder.h"
#include "PeerPicture.h"
#include "Photograph.h"

namespace {

struct PictureSize {
    const char* name;
    std::uint32_t width;
    std::uint32_t height;
};

constexpr PictureSize kSizes[] = {{"1080p", 1920, 1080}, {"2160p", 3840, 2160}};
constexpr ChromaFormat kChromaFormats[] = {ChromaFormat::C422, ChromaFormat::C444};
constexpr double kRates[] = {3.5, 7.0};

void makePair(SourcePicture const& picture, double bitsPerPixel, std::filesystem::path const& frameFile,
              std::filesystem::path const& peerFile) {
    const PeerPicture peer = peerPicture(picture, bitsPerPixel);
    EncoderSettings settings;
    settings.bitsPerPixel = peer.bitsPerPixel;
    const EncodedFrame frame = encodeFrame(picture, settings);
    writeFile(peerFile, peer.bytes);
    writeFile(frameFile, frame.bytes);
    std::printf("%s: %.3f bits per pixel at index %u, JPEG %.3f at quality %d\n", frameFile.c_str(), frame.bitsPerPixel,
                frame.quantization_index, peer.bitsPerPixel, peer.quality);
    std::fflush(stdout);
}

void prepare(std::filesystem::path const& folder, std::string const& name, std::filesystem::path const& file) {
    std::optional<Photograph> photograph;
    for (PictureSize const& size : kSizes) {
        for (const ChromaFormat chromaFormat : kChromaFormats) {
            std::optional<SourcePicture> picture;
            for (const double rate : kRates) {
                char stem[64];
                std::snprintf(stem, sizeof stem, "%s-%s-%s-%.1f", name.c_str(), size.name,
                              chromaFormat == ChromaFormat::C444 ? "444" : "422", rate);
                const std::filesystem::path frameFile = folder / (std::string(stem) + ".rvl");
                const std::filesystem::path peerFile = folder / (std::string(stem) + ".jpg");
                if (std::filesystem::exists(frameFile) && std::filesystem::exists(peerFile))
                    continue;
                if (!photograph)
                    photograph = readPhotograph(file);
                if (!picture)
                    picture = videoPicture(scaledDown(*photograph, size.width, size.height), chromaFormat);
                makePair(*picture, rate, frameFile, peerFile);
            }
        }
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: prepare_pictures OUTPUT_FOLDER NAME=PHOTOGRAPH.jpg...\n");
        return 2;
    }
    try {
        const std::filesystem::path folder = argv[1];
        std::filesystem::create_directories(folder);
        for (int i = 2; i < argc; ++i) {
            const std::string argument = argv[i];
            const std::size_t equals = argument.find('=');
            if (equals == std::string::npos)
                throw std::runtime_error(argument + ": expected NAME=PHOTOGRAPH.jpg");
            prepare(folder, argument.substr(0, equals), argument.substr(equals + 1));
        }
    } catch (std::exception const& error) {
        std::fprintf(stderr, "prepare_pictures: %s\n", error.what());
        return 1;
    }
    return 0;
}
