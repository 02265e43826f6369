// Decodes the frame in its argument through the C++ calls and prints a sum of its pixels.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include <BufferRequirements.h>
#include <DecodeMonitor.h>
#include <Frame.h>
#include <RaveloDecoderInterface.h>

int main(int, char** argv) {
    std::ifstream file(argv[1], std::ios::binary);
    const std::vector<std::uint8_t> frame(std::istreambuf_iterator<char>(file), {});
    const Bitstream bits{frame.data(), frame.size()};
    const BufferRequirements needs = bufferRequirements(bits, 8, 0);
    const PixelBuffer info = Frame::GetFrameInfo(bits, 8, 0);
    std::vector<std::uint8_t> pixels(needs.bytes);
    RaveloDecoderInterface::DecompressFrameFromBits(frame.data(), frame.size(), 0, ColorCoding_YCbCr, 8, pixels.data(),
                                                    static_cast<std::int64_t>(needs.safeStride),
                                                    OptimizationTarget::Baseline);
    std::uint32_t sum = 1;
    for (const std::uint8_t sample : pixels)
        sum = sum * 31 + sample;
    std::printf("%u x %u: %u\n", static_cast<unsigned>(info.width), static_cast<unsigned>(info.height), sum);
}
