#include "SlowForms.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <optional>

#include "SlowDecoder.h"

namespace {

// The chroma of a place, as coded.
struct CodedPixel {
    SlowPixel pixel;
    double cb = 0;
    double cr = 0;
};

class SlowSliceCanvas {
public:
    SlowSliceCanvas(SlowPicture const& picture, DecodeRequest const& request)
        : m_picture(picture), m_request(request), m_pixels(std::size_t{picture.width} * picture.height) {}

    void paint(SlowSlice const& slice) {
        const std::uint32_t mbSize = 16u >> m_request.downSampleFactor;
        const std::vector<SlowMacroblock> macroblocks = slowSamples(m_picture.header, m_request, slice);
        for (std::uint32_t y = 0; y < std::min(mbSize, slice.height); ++y)
            for (std::uint32_t x = 0; x < slice.sliceMbs * mbSize; ++x)
                paintPixel(slice, macroblocks[x / mbSize], x, y);
    }

    CodedPixel const& at(std::uint32_t x, std::uint32_t y) const {
        return m_pixels[std::size_t{y} * m_picture.width + x];
    }

private:
    void paintPixel(SlowSlice const& slice, SlowMacroblock const& macroblock, std::uint32_t x, std::uint32_t y) {
        const std::int64_t stride = m_request.lineStride, bytesPerPixel = m_picture.header.samplesPerPixel() * bytes();
        const std::int64_t column = slice.origin % stride / bytesPerPixel + x;
        const std::int64_t line = slice.origin / stride + slice.lineStride / stride * y;
        if (column >= m_picture.width || line >= m_picture.height)
            return;
        CodedPixel& to = m_pixels[static_cast<std::size_t>(line) * m_picture.width + static_cast<std::size_t>(column)];
        const int side = 8 >> m_request.downSampleFactor, mbX = static_cast<int>(x) % (2 * side),
                  mbY = static_cast<int>(y);
        to.pixel.isWritten = true;
        to.pixel.y = macroblock.y[static_cast<std::size_t>(mbY / side * 2 + mbX / side)].at(mbY % side, mbX % side);
        const int chromaX = m_picture.header.is444() ? mbX : mbX / 2;
        const auto block = static_cast<std::size_t>(chromaX / side * 2 + mbY / side);
        to.cb = macroblock.cb[block].at(mbY % side, chromaX % side);
        to.cr = macroblock.cr[block].at(mbY % side, chromaX % side);
        if (m_picture.header.is444() && m_picture.header.alpha_channel_type != 0)
            to.pixel.alpha = alphaAt(slice, x, y);
    }

    // The mean of the samples that the pixel covers.
    double alphaAt(SlowSlice const& slice, std::uint32_t x, std::uint32_t y) const {
        const std::uint32_t side = 1u << m_request.downSampleFactor;
        double sum = 0;
        for (std::uint32_t i = 0; i < side * side; ++i) {
            const std::size_t line = y * side + i / side, column = x * side + i % side;
            sum += slice.alpha[line * slice.sliceMbs * 16 + column];
        }
        const double maximum = m_picture.header.alpha_channel_type == 2 ? 65535 : 255;
        return std::min(sum / (side * side), maximum) / maximum;
    }

    std::int64_t bytes() const { return m_request.bitDepth > 8 ? 2 : 1; }

    SlowPicture const& m_picture;
    DecodeRequest const& m_request;
    std::vector<CodedPixel> m_pixels;
};

} // namespace

SlowPicture slowPicture(std::span<const std::uint8_t> frame, DecodeRequest request) {
    // The samples of reduced pictures are those of 8 bits, and those of full size are the same for all depths.
    request.bitDepth = request.downSampleFactor == 0 ? 16 : 8;
    request.colorCoding = 0;
    request.lineStride = std::int64_t{1} << 20;
    const SlowFrame parsed = slowParseFrame(frame, request);
    SlowPicture picture;
    picture.header = parsed.header;
    picture.width = parsed.header.horizontal_size >> request.downSampleFactor;
    picture.height = parsed.header.vertical_size >> request.downSampleFactor;
    SlowSliceCanvas canvas(picture, request);
    for (SlowSlice const& slice : parsed.slices) {
        picture.open = picture.open || slice.open;
        if (slice.ok && !slice.open)
            canvas.paint(slice);
    }
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            CodedPixel const& here = canvas.at(x, y);
            SlowPixel pixel = here.pixel;
            pixel.cb = here.cb;
            pixel.cr = here.cr;
            // Chroma of 4:2:2 is sited on the even columns.
            const bool isBetween = !parsed.header.is444() && x % 2 != 0 && x + 1 < picture.width;
            if (isBetween && canvas.at(x + 1, y).pixel.isWritten) {
                pixel.cb = (static_cast<long double>(here.cb) + canvas.at(x + 1, y).cb) / 2;
                pixel.cr = (static_cast<long double>(here.cr) + canvas.at(x + 1, y).cr) / 2;
            }
            picture.pixels.push_back(pixel);
        }
    }
    return picture;
}

SlowRgb slowRgb(SlowFrameHeader const& header, SlowPixel const& pixel) {
    std::uint32_t matrix = header.matrix_coefficients;
    if (matrix != 1 && matrix != 6 && matrix != 9)
        matrix = header.vertical_size > 576 ? 1 : 6;
    const long double kr = matrix == 1 ? 0.2126L : matrix == 6 ? 0.299L : 0.2627L;
    const long double kg = matrix == 1 ? 0.7152L : matrix == 6 ? 0.587L : 0.678L;
    const long double kb = matrix == 1 ? 0.0722L : matrix == 6 ? 0.114L : 0.0593L;
    const long double y = (pixel.y + 224.0L) / 438, cb = pixel.cb / 448, cr = pixel.cr / 448;
    return {y + 2 * (1 - kr) * cr, y - 2 * (1 - kb) * kb / kg * cb - 2 * (1 - kr) * kr / kg * cr,
            y + 2 * (1 - kb) * cb};
}

std::uint16_t slowHalf(long double value) {
    const std::uint16_t sign = std::signbit(value) ? 0x8000 : 0;
    const long double magnitude = std::fabs(value);
    if (magnitude >= 65520)
        return sign | 0x7C00;
    if (magnitude == 0)
        return sign;
    int exponent = 0;
    std::frexp(magnitude, &exponent);
    exponent = std::max(exponent, -13); // the greatest power of two that is not above the magnitude, times two
    const auto mantissa = static_cast<std::uint32_t>(std::llrint(std::ldexp(magnitude, 11 - exponent)));
    return static_cast<std::uint16_t>(sign + (static_cast<std::uint32_t>(exponent + 13) << 10) + mantissa);
}
