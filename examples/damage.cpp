// Lists the slices of a frame that are damaged. Exit code 0: none, 3: some.
//
//     damage FRAME
#include <exception>
#include <iostream>

#include "FrameFile.h"
#include "ravelo.hpp"

int main(int argc, char** argv) try {
    if (argc != 2) {
        std::cerr << "usage: damage FRAME\n";
        return 2;
    }
    static const char* const components[] = {"Y", "Cb", "Cr"};
    ravelo::Options options;
    options.damageCapacity = 100;
    const ravelo::Image image(readFrame(argv[1]), options);
    for (ravelo_damage const& slice : image.damage())
        std::cout << "byte " << slice.byte_offset << ": " << components[slice.component] << " of the slice at "
                  << slice.x << ", " << slice.y << " (" << slice.width << " x " << slice.height << " pixels, picture "
                  << slice.picture << ")\n";
    if (image.failedSlices() > image.damage().size())
        std::cout << "and " << image.failedSlices() - image.damage().size() << " more\n";
    std::cout << image.failedSlices() << " damaged slices\n";
    return image.failedSlices() == 0 ? 0 : 3;
} catch (std::exception const& error) {
    std::cerr << "damage: " << error.what() << "\n";
    return 1;
}
