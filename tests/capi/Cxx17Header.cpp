#include "ravelo.hpp"

// Instantiates what hosts call, so that the header is compiled whole in the language version that it promises.
std::uint64_t sumOfSamples(std::vector<unsigned char> const& frame) {
    const ravelo::Image image(frame);
    std::uint64_t sum = 0;
    for (std::uint32_t y = 0; y < image.height(); ++y) {
        for (std::size_t i = 0; i < std::size_t{image.width()} * image.samplesPerPixel(); ++i)
            sum += image.sample(y, i);
    }
    return sum;
}
