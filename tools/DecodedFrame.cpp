#include "DecodedFrame.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

#include "FrameParts.h"
#include "Interrupt.h"
#include "LibraryStatus.h"
#include "ravelo.hpp"

namespace {

// Room for failed slices that is enough for nearly every damaged frame.
constexpr std::size_t kUsualDamage = 256;

// checkFrame and checkReads have applied the limits of the command line.
ravelo_decode_options unlimitedOptions(DecodeRequest const& request, PixelRectangle const& region) {
    ravelo_decode_options options{};
    options.struct_size = sizeof options;
    options.reduction = request.downSampleFactor;
    options.pixel_form = request.pixelForm;
    options.coding = request.pixelForm == RAVELO_CODED ? static_cast<std::uint32_t>(request.colorCoding) : 0;
    options.bit_depth = request.pixelForm == RAVELO_RGBA_HALF ? 0 : request.bitDepth;
    options.target = RAVELO_TARGET_BASELINE + static_cast<std::uint32_t>(request.target);
    options.region_x = region.x;
    options.region_y = region.y;
    options.region_width = region.width;
    options.region_height = region.height;
    options.max_pixels = RAVELO_NO_PIXEL_LIMIT;
    options.max_read_factor = RAVELO_NO_READ_LIMIT;
    return options;
}

ravelo_decode_options optionsFor(DecodeRequest const& request, PixelRectangle const& region,
                                 ravelo_damage_report& report) {
    ravelo_decode_options options = unlimitedOptions(request, region);
    // In the C interface the colour 0 means the default one.
    const bool isMarked = request.failedSlices == FailedSlices::Marked && request.markColor != 0;
    const bool isLeft = request.failedSlices == FailedSlices::Left || !request.pixelsAreUsed;
    options.failed_slices = isLeft ? RAVELO_FAILED_UNTOUCHED : isMarked ? RAVELO_FAILED_MARKED : RAVELO_FAILED_BLACK;
    options.mark_color = request.markColor;
    options.stop = interruptFlag();
    options.damage = &report;
    return options;
}

// Two pixels of 4:2:2 or one of another form: four samples either way. Of planes, four samples of one.
std::array<std::uint32_t, 4> blackSamples(bool is444, DecodeRequest const& request, std::size_t plane) {
    constexpr std::uint32_t kOneAsHalf = 0x3C00;
    const std::uint32_t maxValue = greatestCode(request.bitDepth);
    if (request.pixelForm == RAVELO_RGBA || request.pixelForm == RAVELO_RGBA_HALF)
        return {0, 0, 0, request.pixelForm == RAVELO_RGBA_HALF ? kOneAsHalf : maxValue};
    // Rounded as the library rounds a sample: at 15 bits the middle of the 32769 codes lies between two of them.
    const std::uint32_t steps = maxValue + 1;
    const std::uint32_t black = (steps + 8) / 16;
    const std::uint32_t neutral = (steps + 1) / 2;
    if (request.pixelForm == RAVELO_PLANAR) {
        const std::uint32_t sample = std::array{black, neutral, neutral, maxValue}[plane];
        return {sample, sample, sample, sample};
    }
    if (!is444)
        return {neutral, black, neutral, black};
    if (request.colorCoding == ColorCoding_YCbCr)
        return {maxValue, black, neutral, neutral};
    const std::uint32_t level = request.colorCoding == ColorCoding_RGBVideo ? black : 0;
    return {maxValue, level, level, level};
}

template <typename Sample>
void fillRow(std::span<std::uint8_t> row, std::array<std::uint32_t, 4> const& samples) {
    std::array<Sample, 4> pattern;
    std::transform(samples.begin(), samples.end(), pattern.begin(),
                   [](std::uint32_t sample) { return static_cast<Sample>(sample); });
    std::size_t position = 0;
    for (; position + sizeof(pattern) <= row.size(); position += sizeof(pattern))
        std::memcpy(row.data() + position, pattern.data(), sizeof(pattern));
    std::memcpy(row.data() + position, pattern.data(), row.size() - position);
}

// A single field leaves out every second line. The heights of two reduced fields are rounded down separately, and the
// last line of the picture may belong to neither.
bool slicesTakeEveryLine(FrameHeader const& header, std::uint32_t downSampleFactor) {
    if (header.interlace_mode == 0)
        return true;
    if (header.interlace_mode == 3)
        return false;
    const std::uint32_t lines = header.vertical_size >> downSampleFactor;
    const std::uint32_t evenLines = (header.vertical_size + 1) / 2 >> downSampleFactor;
    const std::uint32_t oddLines = header.vertical_size / 2 >> downSampleFactor;
    return evenLines >= (lines + 1) / 2 && oddLines >= lines / 2;
}

} // namespace

void DecodedFrame::prepare(std::span<const std::uint8_t> frame, DecodeRequest const& request) {
    m_header = parseFrameHeader(frame);
    m_request = request;
    m_damage.clear();
    m_failedSlices = 0;
    m_decodedRegion = takeNeighbours();
    const ravelo_decode_options options = unlimitedOptions(request, m_decodedRegion);
    ravelo_buffer_requirements requirements = RAVELO_BUFFER_REQUIREMENTS_INIT;
    ravelo_error error;
    if (ravelo_get_buffer_requirements(frame.data(), frame.size(), &options, &requirements, &error) != RAVELO_OK)
        throw ravelo::Error(error);
    m_width = requirements.width;
    m_height = requirements.height;
    m_samplesPerPixel = requirements.samples_per_pixel;
    placePlanes(requirements);
    if (m_bytes > m_capacity || m_pixels == nullptr) {
        m_capacity = 0;
        m_pixels.reset();
        m_pixels.reset(static_cast<std::uint8_t*>(::operator new[](m_bytes + 1, std::align_val_t{kAlignment})));
        m_capacity = m_bytes;
    }
}

void DecodedFrame::placePlanes(ravelo_buffer_requirements const& requirements) {
    m_planes.clear();
    m_bytes = 0;
    for (std::size_t i = 0; i < requirements.num_planes; ++i) {
        // Of planes, the whole structure has the bytes of all alone.
        const bool isAlone = requirements.num_planes == 1;
        const std::uint64_t leastStride = isAlone ? requirements.safe_stride : requirements.planes[i].least_stride;
        Plane plane;
        plane.offset = m_bytes;
        plane.stride = (leastStride + kAlignment - 1) / kAlignment * kAlignment;
        plane.rowBytes = isAlone ? rowBytes() : leastStride;
        plane.size = plane.stride * requirements.lines;
        m_planes.push_back(plane);
        m_bytes += plane.size;
    }
}

void DecodedFrame::fillWithBlack() {
    if (m_bytes == 0 || !m_request.pixelsAreUsed)
        return;
    for (std::size_t i = 0; i < m_planes.size(); ++i) {
        const std::array<std::uint32_t, 4> samples = blackSamples(m_header.is444(), m_request, i);
        std::uint8_t* const first = m_pixels.get() + m_planes[i].offset;
        const std::span<std::uint8_t> firstRow(first, static_cast<std::size_t>(m_planes[i].stride));
        if (bytesPerSample() == 1)
            fillRow<std::uint8_t>(firstRow, samples);
        else
            fillRow<std::uint16_t>(firstRow, samples);
        for (std::size_t start = firstRow.size(); start < m_planes[i].size; start += firstRow.size())
            std::memcpy(first + start, first, firstRow.size());
    }
}

void DecodedFrame::fillBlack(std::span<const std::uint8_t> frame, DecodeRequest const& request) {
    prepare(frame, request);
    fillWithBlack();
}

void DecodedFrame::decode(std::span<const std::uint8_t> frame, DecodeRequest const& request) {
    prepare(frame, request);
    // Slices that succeed write all of their pixels, and the library fills those that fail.
    if (request.failedSlices == FailedSlices::Left && request.pixelsAreUsed)
        std::memset(m_pixels.get(), 0, m_bytes);
    else if (!slicesTakeEveryLine(m_header, request.downSampleFactor))
        fillWithBlack();
    decodeWithReport(frame);
}

void DecodedFrame::decodeWithReport(std::span<const std::uint8_t> frame) {
    ravelo_damage_report report{};
    report.struct_size = sizeof report;
    const ravelo_decode_options options = optionsFor(m_request, m_decodedRegion, report);
    const ravelo_output output = outputMemory();
    m_damage.resize(kUsualDamage);
    for (;;) {
        report.slices = m_damage.data();
        report.capacity = m_damage.size();
        ravelo_error error;
        const ravelo_status status = ravelo_decode(frame.data(), frame.size(), &output, &options, &error);
        throwUnlessDone(status, error);
        m_failedSlices = report.failed;
        if (report.failed <= report.capacity || !m_request.listsAllDamage)
            break;
        // The number of slices is known now; a frame with so much damage decodes quickly.
        m_damage.resize(report.failed);
    }
    m_damage.resize(report.stored);
    for (ravelo_damage& damage : m_damage)
        leaveNeighboursOut(damage);
}

// Pairs of columns, as 4:2:2 has them: an odd column uses the chroma of the next pair too.
PixelRectangle DecodedFrame::takeNeighbours() {
    m_columnsBefore = 0;
    m_columnsAfter = 0;
    PixelRectangle region = m_request.region;
    const std::uint64_t pictureWidth = m_header.horizontal_size >> m_request.downSampleFactor;
    const std::uint64_t end = std::uint64_t{region.x} + region.width;
    if (!m_request.withNeighbours || region.width == 0 || end > pictureWidth)
        return region;
    m_columnsBefore = region.x % 2;
    m_columnsAfter = static_cast<std::uint32_t>(std::min(pictureWidth, (end | 1) + 1) - end);
    region.x -= m_columnsBefore;
    region.width += m_columnsBefore + m_columnsAfter;
    return region;
}

void DecodedFrame::leaveNeighboursOut(ravelo_damage& damage) const {
    const std::uint32_t end = std::min(damage.x + damage.width, m_columnsBefore + width());
    const std::uint32_t first = std::max(damage.x, m_columnsBefore);
    damage.width = first < end ? end - first : 0;
    damage.x = damage.width == 0 ? 0 : first - m_columnsBefore;
}

ravelo_output DecodedFrame::outputMemory() const {
    ravelo_output output{};
    output.struct_size = sizeof output;
    if (m_planes.size() == 1) {
        output.memory = m_pixels.get();
        output.memory_bytes = m_bytes;
        output.stride = static_cast<std::int64_t>(m_planes[0].stride);
        return output;
    }
    for (std::size_t i = 0; i < m_planes.size(); ++i) {
        ravelo_plane& plane = output.planes[i];
        plane.memory = m_pixels.get() + m_planes[i].offset;
        plane.memory_bytes = m_planes[i].size;
        plane.stride = static_cast<std::int64_t>(m_planes[i].stride);
    }
    return output;
}

void DecodedFrame::decodeAgain(std::span<const std::uint8_t> frame) {
    const ravelo_output output = outputMemory();
    const ravelo_decode_options options = unlimitedOptions(m_request, m_decodedRegion);
    ravelo_error error;
    if (ravelo_decode(frame.data(), frame.size(), &output, &options, &error) != RAVELO_OK)
        throw ravelo::Error(error);
}

void DecodedFrame::widenRow(std::uint32_t y, std::vector<std::uint16_t>& samples) const {
    const std::span<const std::uint8_t> bytes = row(y);
    samples.resize(std::size_t{m_width} * m_samplesPerPixel);
    if (bytesPerSample() == 1)
        std::copy(bytes.begin(), bytes.end(), samples.begin());
    else if (!samples.empty())
        std::memcpy(samples.data(), bytes.data(), bytes.size());
}
