// The same by the C++ wrapper: a frame as RGBA, whole and a region of it, in two PAM pictures.
//
//     show_frame_cpp FRAME WHOLE.pam REGION.pam
#include <exception>
#include <fstream>
#include <iostream>
#include <stdexcept>
#include <string>

#include "FrameFile.h"
#include "ravelo.hpp"

namespace {

void write(ravelo::Image const& image, std::string const& name) {
    std::ofstream file(name, std::ios::binary);
    file << "P7\nWIDTH " << image.width() << "\nHEIGHT " << image.height()
         << "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
    for (std::uint32_t y = 0; y < image.height(); ++y)
        file.write(reinterpret_cast<const char*>(image.line(y)), static_cast<std::streamsize>(image.lineBytes()));
    if (!file.flush())
        throw std::runtime_error(name + ": cannot be written");
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 4) {
        std::cerr << "usage: show_frame_cpp FRAME WHOLE.pam REGION.pam\n";
        return 2;
    }
    const std::vector<unsigned char> frame = readFrame(argv[1]);
    ravelo::Options options;
    options.pixelForm = RAVELO_RGBA;
    ravelo::Image image(frame, options);
    write(image, argv[2]);
    if (image.failedSlices() != 0)
        std::cerr << ravelo::checkFrame(frame).text << "; " << image.failedSlices() << " slices failed\n";

    options.regionX = options.regionY = 4;
    options.regionWidth = options.regionHeight = 24;
    image.decode(frame, options);
    write(image, argv[3]);
} catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
