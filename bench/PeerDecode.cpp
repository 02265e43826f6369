#include "PeerDecode.h"

#include <malloc.h>
#include <turbojpeg.h>

// jpeglib.h uses FILE and size_t without declaring them.
#include <cstddef>
#include <cstdio>
#include <utility>

#include <jpeglib.h>

#include <stdexcept>

PeerDecode::PeerDecode(std::vector<std::uint8_t> picture)
    : m_picture(std::move(picture)), m_decompressor(tjInitDecompress(), tjDestroy) {
    mallopt(M_MMAP_MAX, 0);
    mallopt(M_TRIM_THRESHOLD, -1);
    int subsampling = 0;
    int colorspace = 0;
    check(tjDecompressHeader3(m_decompressor.get(), m_picture.data(), m_picture.size(), &m_width, &m_height,
                              &subsampling, &colorspace));
    for (int component = 0; component < 3; ++component)
        m_planes[component].assign(tjPlaneSizeYUV(component, m_width, 0, m_height, subsampling), 1);
    m_pixels.assign(std::size_t{4} * static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height), 1);
}

void PeerDecode::check(int status) const {
    if (status != 0)
        throw std::runtime_error(tjGetErrorStr2(m_decompressor.get()));
}

void PeerDecode::toPlanes() {
    unsigned char* planes[3] = {m_planes[0].data(), m_planes[1].data(), m_planes[2].data()};
    check(tjDecompressToYUVPlanes(m_decompressor.get(), m_picture.data(), m_picture.size(), planes, m_width, nullptr,
                                  m_height, 0));
}

void PeerDecode::toPixels() {
    check(tjDecompress2(m_decompressor.get(), m_picture.data(), m_picture.size(), m_pixels.data(), m_width, 0, m_height,
                        TJPF_BGRX, 0));
}

void PeerDecode::toCoefficients() {
    jpeg_decompress_struct decompressor{};
    jpeg_error_mgr errors{};
    decompressor.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&decompressor);
    jpeg_mem_src(&decompressor, m_picture.data(), m_picture.size());
    jpeg_read_header(&decompressor, TRUE);
    jpeg_read_coefficients(&decompressor);
    jpeg_destroy_decompress(&decompressor);
}

double PeerDecode::bitsPerPixel() const {
    return 8.0 * static_cast<double>(m_picture.size()) / (double{1} * m_width * m_height);
}
