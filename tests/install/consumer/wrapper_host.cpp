// The same through the C++ wrapper of the C interface.
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <vector>

#include <ravelo.hpp>

int main(int, char** argv) {
    std::ifstream file(argv[1], std::ios::binary);
    const std::vector<char> frame(std::istreambuf_iterator<char>(file), {});
    ravelo::Options options;
    options.target = RAVELO_TARGET_BASELINE;
    const ravelo::Image image(frame, options);
    std::uint32_t sum = 1;
    for (std::uint32_t y = 0; y < image.height(); ++y) {
        for (std::size_t i = 0; i < image.lineBytes(); ++i)
            sum = sum * 31 + image.line(y)[i];
    }
    std::printf("%u x %u: %u\n", image.width(), image.height(), sum);
}
