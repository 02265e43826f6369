// Makes the golden frames and the record of their output.
//
//   golden_manifest FOLDER                prints the manifest of the frames in FOLDER
//   golden_manifest --make-frames FOLDER  encodes the frames anew into FOLDER

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "FrameEncoder.h"
#include "GoldenManifest.h"
#include "SourcePicture.h"

namespace {

// A different picture for every size: soft gradients, a fine texture in one corner, a disc with a hard edge.
double sceneAt(double x, double y, int plane) {
    const double gradient = 0.5 + 0.35 * std::sin(2.1 * x + 0.7 * plane) * std::cos(1.7 * y - 0.4 * plane);
    const double texture = x > 0.6 && y < 0.4 ? 0.12 * std::sin(90 * x) * std::sin(70 * y) : 0;
    const bool isInDisc = (x - 0.35) * (x - 0.35) + (y - 0.6) * (y - 0.6) < 0.05;
    return gradient + texture + (isInDisc ? (plane == 0 ? 0.25 : -0.2) : 0);
}

std::vector<std::uint16_t> planeOf(std::uint32_t width, std::uint32_t height, std::uint32_t maximum, int plane) {
    std::vector<std::uint16_t> samples;
    for (std::uint32_t row = 0; row < height; ++row) {
        for (std::uint32_t column = 0; column < width; ++column) {
            const double value = sceneAt((column + 0.5) / width, (row + 0.5) / height, plane);
            const double clamped = std::fmin(std::fmax(value, 0), 1);
            samples.push_back(static_cast<std::uint16_t>(std::lround(clamped * maximum)));
        }
    }
    return samples;
}

// Alpha with long runs, short runs and steps.
std::vector<std::uint16_t> alphaOf(std::uint32_t width, std::uint32_t height, std::uint32_t alphaBits) {
    const std::uint32_t maximum = (1u << alphaBits) - 1;
    std::vector<std::uint16_t> samples;
    for (std::uint32_t row = 0; row < height; ++row) {
        for (std::uint32_t column = 0; column < width; ++column) {
            std::uint32_t value = maximum;
            if (column < width / 3)
                value = (row * 5 + column / 4) & maximum;
            else if (column < width / 2)
                value = (row * 2654435761u + column * 40503u) >> 7 & maximum;
            samples.push_back(static_cast<std::uint16_t>(value));
        }
    }
    return samples;
}

SourcePicture pictureOf(std::uint32_t width, std::uint32_t height, ChromaFormat chromaFormat,
                        std::uint32_t alphaBits = 0) {
    SourcePicture picture;
    picture.width = width;
    picture.height = height;
    picture.chromaFormat = chromaFormat;
    picture.bitDepth = 10;
    picture.y = planeOf(width, height, 1023, 0);
    picture.cb = planeOf(picture.chromaWidth(), height, 1023, 1);
    picture.cr = planeOf(picture.chromaWidth(), height, 1023, 2);
    picture.alphaBits = alphaBits;
    if (alphaBits != 0)
        picture.alpha = alphaOf(width, height, alphaBits);
    return picture;
}

std::array<std::uint8_t, 64> slopedMatrix(std::uint32_t first, std::uint32_t slope) {
    std::array<std::uint8_t, 64> matrix{};
    for (std::uint32_t i = 0; i < 64; ++i)
        matrix[i] = static_cast<std::uint8_t>(first + slope * (i / 8 + i % 8));
    return matrix;
}

void writeFrame(std::string const& path, SourcePicture const& picture, EncoderSettings const& settings) {
    const EncodedFrame frame = encodeFrame(picture, settings);
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(frame.bytes.data()), static_cast<std::streamsize>(frame.bytes.size()));
    if (!file.flush())
        throw std::runtime_error("cannot write " + path);
}

void make422Frames(std::string const& folder) {
    EncoderSettings settings;
    writeFrame(folder + "/422_progressive.rvl", pictureOf(96, 64, ChromaFormat::C422), settings);
    writeFrame(folder + "/422_one_pixel.rvl", pictureOf(1, 1, ChromaFormat::C422), settings);
    settings.log2_slice_size_in_mb = 2;
    writeFrame(folder + "/422_odd_size.rvl", pictureOf(117, 37, ChromaFormat::C422), settings);
    settings.interlace_mode = 1;
    writeFrame(folder + "/422_fields_even_first.rvl", pictureOf(53, 75, ChromaFormat::C422), settings);
    settings.interlace_mode = 2;
    settings.log2_slice_size_in_mb = 1;
    writeFrame(folder + "/422_fields_odd_first.rvl", pictureOf(80, 49, ChromaFormat::C422), settings);
    settings.interlace_mode = 3;
    writeFrame(folder + "/422_single_field.rvl", pictureOf(48, 50, ChromaFormat::C422), settings);

    settings = EncoderSettings();
    settings.lumaMatrix = slopedMatrix(4, 2);
    settings.chromaMatrix = slopedMatrix(6, 3);
    settings.header_size = 200;
    settings.picture_header_size = 12;
    settings.slice_header_size = 10;
    writeFrame(folder + "/422_own_matrices_long_headers.rvl", pictureOf(64, 48, ChromaFormat::C422), settings);

    settings = EncoderSettings();
    settings.log2_slice_size_in_mb = 0;
    for (std::uint32_t slice = 0; slice < 5 * 3; ++slice)
        settings.quantization_indices.push_back(static_cast<std::uint8_t>(1 + slice * 11));
    writeFrame(folder + "/422_index_per_slice.rvl", pictureOf(80, 48, ChromaFormat::C422), settings);
}

void make444Frames(std::string const& folder) {
    EncoderSettings settings;
    writeFrame(folder + "/444_progressive.rvl", pictureOf(75, 41, ChromaFormat::C444), settings);
    settings.matrix_coefficients = 9;
    settings.lumaMatrix = slopedMatrix(2, 1);
    writeFrame(folder + "/444_luma_matrix_only.rvl", pictureOf(40, 24, ChromaFormat::C444), settings);

    settings = EncoderSettings();
    settings.matrix_coefficients = 6;
    settings.interlace_mode = 1;
    writeFrame(folder + "/444_fields_alpha8.rvl", pictureOf(60, 47, ChromaFormat::C444, 8), settings);
    settings.interlace_mode = 0;
    settings.alphaRunCoding = AlphaRunCoding::LongForm;
    writeFrame(folder + "/444_alpha16_long_runs.rvl", pictureOf(69, 35, ChromaFormat::C444, 16), settings);
    settings.alphaRunCoding = AlphaRunCoding::Split;
    settings.matrix_coefficients = 2;
    writeFrame(folder + "/444_alpha8_split_runs.rvl", pictureOf(43, 18, ChromaFormat::C444, 8), settings);
    settings.alphaRunCoding = AlphaRunCoding::Shortest;
    settings.log2_slice_size_in_mb = 0;
    settings.quantization_index = 140;
    writeFrame(folder + "/444_alpha16_coarse.rvl", pictureOf(32, 32, ChromaFormat::C444, 16), settings);
}

void printManifest(std::string const& folder) {
    std::printf("# frame, reduction, coding, depth, target, xxh3 of the output buffer\n");
    for (std::string const& line : goldenManifest(folder))
        std::printf("%s\n", line.c_str());
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    try {
        if (arguments.size() == 1) {
            printManifest(arguments[0]);
        } else if (arguments.size() == 2 && arguments[0] == "--make-frames") {
            make422Frames(arguments[1]);
            make444Frames(arguments[1]);
        } else {
            std::fprintf(stderr, "usage: golden_manifest [--make-frames] FOLDER\n");
            return 2;
        }
    } catch (std::exception const& error) {
        std::fprintf(stderr, "golden_manifest: %s\n", error.what());
        return 1;
    }
    return 0;
}
