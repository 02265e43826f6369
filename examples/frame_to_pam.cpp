// Decodes a 4:4:4 frame to RGB and writes a picture: with alpha as PAM, without as PPM.
//
//     frame_to_pam FRAME PICTURE
#include <cstdio>
#include <exception>
#include <fstream>
#include <iostream>
#include <string>

#include "FrameFile.h"
#include "ravelo.hpp"

namespace {

std::string headerOf(ravelo::Image const& image, bool hasAlpha) {
    const std::string width = std::to_string(image.width());
    const std::string height = std::to_string(image.height());
    if (!hasAlpha)
        return "P6\n" + width + " " + height + "\n255\n";
    return "P7\nWIDTH " + width + "\nHEIGHT " + height + "\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n";
}

// Pixels are A R G B; both formats want R first.
void writePicture(std::ostream& file, ravelo::Image const& image, bool hasAlpha) {
    file << headerOf(image, hasAlpha);
    for (std::uint32_t y = 0; y < image.height(); ++y) {
        const std::uint8_t* pixel = image.line(y);
        for (std::uint32_t x = 0; x < image.width(); ++x, pixel += 4) {
            file.put(static_cast<char>(pixel[1])).put(static_cast<char>(pixel[2])).put(static_cast<char>(pixel[3]));
            if (hasAlpha)
                file.put(static_cast<char>(pixel[0]));
        }
    }
}

} // namespace

int main(int argc, char** argv) try {
    if (argc != 3) {
        std::cerr << "usage: frame_to_pam FRAME PICTURE\n";
        return 2;
    }
    const std::vector<unsigned char> frame = readFrame(argv[1]);
    ravelo::Options options;
    options.coding = RAVELO_RGB_FULL;
    options.failedSlices = RAVELO_FAILED_MARKED;
    const ravelo::Image image(frame, options);
    std::ofstream file(argv[2], std::ios::binary);
    writePicture(file, image, ravelo::frameInfo(frame).alpha_channel_type != 0);
    return file.flush() ? 0 : 1;
} catch (std::exception const& error) {
    std::cerr << "frame_to_pam: " << error.what() << "\n";
    return 1;
}
