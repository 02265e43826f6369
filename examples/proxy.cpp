// Decodes a frame at an eighth of its size, as editors do for thumbnails, through the decoder's own C++ calls, and
// prints it as characters.
//
//     proxy FRAME
#include <cstdint>
#include <exception>
#include <iostream>
#include <vector>

#include "BufferRequirements.h"
#include "Frame.h"
#include "FrameFile.h"
#include "RaveloDecoderInterface.h"

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::cerr << "usage: proxy FRAME\n";
        return 2;
    }
    constexpr std::uint32_t kEighth = 3;
    const std::vector<unsigned char> frame = readFrame(argv[1]);
    const Bitstream bits{frame.data(), frame.size()};
    const PixelBuffer info = Frame::GetFrameInfo(bits, 8, kEighth);
    // The safe stride has room for the columns that are written beyond the right edge of a reduced picture.
    const BufferRequirements needs = bufferRequirements(bits, 8, kEighth);
    std::vector<std::uint8_t> pixels(needs.bytes);
    RaveloDecoderInterface::DecompressFrameFromBits(frame.data(), frame.size(), kEighth, ColorCoding_YCbCr, 8,
                                                    pixels.data(), static_cast<std::int64_t>(needs.safeStride),
                                                    OptimizationTarget::AVX2);
    for (std::uint64_t y = 0; y < info.height; ++y) {
        for (std::uint64_t x = 0; x < info.width; ++x)
            std::cout << " .:-=+*#%@"[pixels[y * needs.safeStride + x * info.samplesPerPixel + 1] * 10 / 256];
        std::cout << "\n";
    }
} catch (std::exception const& error) {
    std::cerr << "proxy: " << error.what() << "\n";
    return 1;
}
