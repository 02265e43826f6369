#include "PeerPicture.h"

#include <turbojpeg.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <stdexcept>

namespace {

std::vector<std::uint8_t> plane8(std::vector<std::uint16_t> const& plane, std::uint32_t bitDepth) {
    std::vector<std::uint8_t> result(plane.size());
    const std::uint32_t shift = bitDepth - 8;
    const std::uint32_t half = shift > 0 ? 1u << (shift - 1) : 0;
    std::transform(plane.begin(), plane.end(), result.begin(), [=](std::uint16_t sample) {
        return static_cast<std::uint8_t>(std::min((sample + half) >> shift, 255u));
    });
    return result;
}

class PeerEncoder {
public:
    explicit PeerEncoder(SourcePicture const& picture)
        : m_picture(picture),
          m_planes{plane8(picture.y, picture.bitDepth), plane8(picture.cb, picture.bitDepth),
                   plane8(picture.cr, picture.bitDepth)},
          m_compressor(tjInitCompress(), tjDestroy) {}

    PeerPicture atQuality(int quality) const {
        const unsigned char* planes[3] = {m_planes[0].data(), m_planes[1].data(), m_planes[2].data()};
        const int subsampling = m_picture.chromaFormat == ChromaFormat::C444 ? TJSAMP_444 : TJSAMP_422;
        unsigned char* bytes = nullptr;
        unsigned long numBytes = 0;
        const int status = tjCompressFromYUVPlanes(m_compressor.get(), planes, static_cast<int>(m_picture.width),
                                                   nullptr, static_cast<int>(m_picture.height), subsampling, &bytes,
                                                   &numBytes, quality, TJFLAG_ACCURATEDCT);
        const std::unique_ptr<unsigned char, void (*)(unsigned char*)> owner(bytes, tjFree);
        if (status != 0)
            throw std::runtime_error(tjGetErrorStr2(m_compressor.get()));
        const double numPixels = double{1} * m_picture.width * m_picture.height;
        return {{bytes, bytes + numBytes}, quality, 8.0 * static_cast<double>(numBytes) / numPixels};
    }

private:
    SourcePicture const& m_picture;
    std::vector<std::uint8_t> m_planes[3];
    std::unique_ptr<void, int (*)(void*)> m_compressor;
};

} // namespace

PeerPicture peerPicture(SourcePicture const& picture, double bitsPerPixel) {
    const PeerEncoder encoder(picture);
    int low = 1;
    int high = 100;
    while (high - low > 1) {
        const int middle = (low + high) / 2;
        (encoder.atQuality(middle).bitsPerPixel < bitsPerPixel ? low : high) = middle;
    }
    PeerPicture below = encoder.atQuality(low);
    PeerPicture above = encoder.atQuality(high);
    const bool belowIsNearer =
        std::fabs(below.bitsPerPixel - bitsPerPixel) < std::fabs(above.bitsPerPixel - bitsPerPixel);
    return belowIsNearer ? below : above;
}
