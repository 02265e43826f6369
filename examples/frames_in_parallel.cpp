// Decodes many frames at once in a task arena of two threads, as a host does that keeps the other processors for
// itself. Frames and the slices inside them share the threads of the arena.
//
//     frames_in_parallel FRAME...
#include <cstdint>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include <tbb/parallel_for.h>
#include <tbb/task_arena.h>

#include "FrameFile.h"
#include "ravelo.hpp"

namespace {

// A number that represents the picture.
std::uint32_t sumOf(ravelo::Image const& image) {
    std::uint32_t sum = 1;
    for (std::uint32_t y = 0; y < image.height(); ++y) {
        for (std::size_t i = 0; i < image.lineBytes(); ++i)
            sum = sum * 31 + image.line(y)[i];
    }
    return sum;
}

} // namespace

int main(int argc, char** argv) try {
    const std::vector<std::string> names(argv + 1, argv + argc);
    std::vector<std::string> results(names.size());
    tbb::task_arena arena(2);
    arena.execute([&] {
        tbb::parallel_for(std::size_t{0}, names.size(), [&](std::size_t i) {
            try {
                results[i] = std::to_string(sumOf(ravelo::Image(readFrame(names[i]))));
            } catch (std::exception const& error) {
                results[i] = error.what();
            }
        });
    });
    for (std::size_t i = 0; i < names.size(); ++i)
        std::cout << names[i] << ": " << results[i] << "\n";
} catch (std::exception const& error) {
    std::cerr << "frames_in_parallel: " << error.what() << "\n";
    return 1;
}
