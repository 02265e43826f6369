#include "FrameMemory.h"

#include <array>
#include <vector>

#include "LibraryStatus.h"

namespace {

// The samples of a plane as the library reads them: a byte each at 8 bits.
class PlaneOfPicture {
public:
    PlaneOfPicture(std::vector<std::uint16_t> const& samples, std::uint32_t bits) : m_samples(samples) {
        if (bits == 8)
            m_bytes.assign(samples.begin(), samples.end());
    }

    ravelo_source_plane plane() const {
        ravelo_source_plane plane{};
        plane.memory = m_bytes.empty() ? static_cast<const void*>(m_samples.data()) : m_bytes.data();
        plane.memory_bytes = m_bytes.empty() ? m_samples.size() * sizeof(std::uint16_t) : m_bytes.size();
        return plane;
    }

private:
    std::vector<std::uint16_t> const& m_samples;
    std::vector<std::uint8_t> m_bytes;
};

// The library takes alpha in the depth of the picture, and gives it back unchanged in the depth that is coded.
std::vector<std::uint16_t> alphaOfDepth(SourcePicture const& picture) {
    std::vector<std::uint16_t> alpha = picture.alpha;
    const std::uint32_t from = (1u << picture.alphaBits) - 1;
    const std::uint32_t to = (1u << picture.bitDepth) - 1;
    for (std::uint16_t& sample : alpha)
        sample = static_cast<std::uint16_t>((std::uint64_t{sample} * to + from / 2) / from);
    return alpha;
}

} // namespace

void FrameMemory::encode(SourcePicture const& picture, ravelo_encode_options const& options) {
    const std::vector<std::uint16_t> alpha = picture.alphaBits == 0 ? picture.alpha : alphaOfDepth(picture);
    const std::array<PlaneOfPicture, 4> planes = {
        PlaneOfPicture(picture.y, picture.bitDepth), PlaneOfPicture(picture.cb, picture.bitDepth),
        PlaneOfPicture(picture.cr, picture.bitDepth), PlaneOfPicture(alpha, picture.bitDepth)};
    ravelo_source_picture source = RAVELO_SOURCE_PICTURE_INIT;
    source.width = picture.width;
    source.height = picture.height;
    source.pixel_form = RAVELO_PLANAR;
    source.bit_depth = picture.bitDepth;
    source.chroma_format = static_cast<std::uint32_t>(picture.chromaFormat);
    for (std::size_t i = 0; i < planes.size(); ++i)
        if (i < 3 || picture.alphaBits != 0)
            source.planes[i] = planes[i].plane();
    ravelo_free_frame(&m_frame);
    ravelo_error error = RAVELO_ERROR_INIT;
    const ravelo_status status = ravelo_encode(&source, &options, &m_frame, &error);
    throwUnlessDone(status, error);
}
