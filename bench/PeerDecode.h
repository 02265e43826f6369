#pragma once

#include <cstdint>
#include <memory>
#include <vector>

// Decodes a JPEG picture with libjpeg-turbo into memory whose pages exist already.
//
// Handles and buffers are kept from one decode to the next, and PeerDecode lets the C library keep freed memory, so
// that the peer is measured without the system's page faults too.
class PeerDecode {
public:
    explicit PeerDecode(std::vector<std::uint8_t> picture);

    void toPlanes();       // planar 8-bit YCbCr at the picture's own subsampling
    void toPixels();       // BGRX
    void toCoefficients(); // entropy decoding alone

    double bitsPerPixel() const;

private:
    void check(int status) const;

    std::vector<std::uint8_t> m_picture;
    std::unique_ptr<void, int (*)(void*)> m_decompressor;
    int m_width = 0;
    int m_height = 0;
    std::vector<std::uint8_t> m_planes[3];
    std::vector<std::uint8_t> m_pixels;
};
