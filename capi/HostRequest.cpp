#include "HostRequest.h"

#include <cstdio>

#include "BufferRequirements.h"
#include "Frame.h"
#include "HostError.h"
#include "HostStructure.h"
#include "SliceReads.h"

namespace {

using LongLong = long long;
using UnsignedLongLong = unsigned long long;

constexpr const char* kPlaneNames[RAVELO_MAX_PLANES] = {"Y", "Cb", "Cr", "A"};

void checkChoices(ravelo_decode_options const& options) {
    if (options.reduction > RAVELO_EIGHTH_SIZE)
        refuse(RAVELO_ERROR_OPTION, "reduction is %u; it can be 0 (full size), 1 (half), 2 (quarter) or 3 (eighth)",
               options.reduction);
    if (options.coding > RAVELO_RGB_VIDEO)
        refuse(RAVELO_ERROR_OPTION, "coding is %u; it can be 0 (YCbCr), 1 (RGB, full range) or 2 (RGB, video range)",
               options.coding);
    if (options.pixel_form > RAVELO_PLANAR)
        refuse(RAVELO_ERROR_OPTION,
               "pixel_form is %u; it can be 0 (coded), 1 (RGBA), 2 (BGRA), 3 (RGBA, half floats) or 4 (planar)",
               options.pixel_form);
    if (options.pixel_form == RAVELO_CODED && !isBitDepth(options.bit_depth))
        refuse(RAVELO_ERROR_OPTION, "bit_depth is %u; it can be 8, 10, 15 or 16", options.bit_depth);
    if (options.target > RAVELO_TARGET_AVX2)
        refuse(RAVELO_ERROR_OPTION, "target is %u; it can be 0 (best), 1 (baseline) or 2 (AVX2)", options.target);
    if (options.failed_slices > RAVELO_FAILED_MARKED)
        refuse(RAVELO_ERROR_OPTION, "failed_slices is %u; it can be 0 (untouched), 1 (black) or 2 (marked)",
               options.failed_slices);
    if (options.mark_color > 0xFFFFFF)
        refuse(RAVELO_ERROR_OPTION, "mark_color is 0x%X; it can be 0x000001 to 0xFFFFFF (0xRRGGBB)",
               options.mark_color);
    if (options.reserved != 0)
        refuse(RAVELO_ERROR_STRUCTURE, "reserved of the decode options is %u; it must be 0", options.reserved);
    if (options.reduction != RAVELO_FULL_SIZE && options.bit_depth > 8)
        refuse(RAVELO_ERROR_COMBINATION, "reduction %u with bit_depth %u: reduced pictures come in 8 bits only",
               options.reduction, options.bit_depth);
}

// The depths of a form other than the coded one, as far as there is a choice.
const char* depthsOf(std::uint32_t pixelForm) {
    return pixelForm == RAVELO_RGBA_HALF ? "0" : pixelForm == RAVELO_PLANAR ? "0, 8, 10 or 16" : "0, 8 or 16";
}

// `bit_depth` as the host gave it.
void checkForm(ravelo_decode_options const& options) {
    if (options.pixel_form == RAVELO_CODED || options.pixel_form > RAVELO_PLANAR)
        return;
    if (options.coding != RAVELO_YCBCR)
        refuse(RAVELO_ERROR_COMBINATION, "coding is %u with pixel_form %u; only 0 (coded) has codings other than 0",
               options.coding, options.pixel_form);
    const std::uint32_t depth = options.bit_depth;
    const bool isHalf = options.pixel_form == RAVELO_RGBA_HALF, isPlanar = options.pixel_form == RAVELO_PLANAR;
    if (depth != 0 && (isHalf || (depth != 8 && depth != 16 && !(depth == 10 && isPlanar))))
        refuse(RAVELO_ERROR_COMBINATION, "bit_depth is %u; with pixel_form %u it can be %s", depth, options.pixel_form,
               depthsOf(options.pixel_form));
}

void checkRegion(FrameHeader const& header, ravelo_decode_options const& options) {
    const std::uint32_t width = header.horizontal_size >> options.reduction;
    const std::uint32_t height = header.vertical_size >> options.reduction;
    const std::uint32_t x = options.region_x, y = options.region_y;
    const std::uint32_t columns = options.region_width, lines = options.region_height;
    if ((x | y | columns | lines) == 0)
        return;
    if (columns == 0 || lines == 0)
        refuse(RAVELO_ERROR_COMBINATION, "the region has %u x %u pixels; all of its members are 0, or its size is not",
               columns, lines);
    if (columns > width || x > width - columns || lines > height || y > height - lines)
        refuse(RAVELO_ERROR_COMBINATION, "the region of %u x %u pixels at %u, %u is not inside the picture of %u x %u",
               columns, lines, x, y, width, height);
    if (header.is444() || (options.pixel_form != RAVELO_CODED && options.pixel_form != RAVELO_PLANAR))
        return;
    if (x % 2 != 0)
        refuse(RAVELO_ERROR_COMBINATION, "region_x is %u; coded and planar pixels of 4:2:2 begin at even columns", x);
    if (columns % 2 != 0 && x + columns != width)
        refuse(RAVELO_ERROR_COMBINATION,
               "region_width is %u; regions of coded and planar pixels of 4:2:2 have even widths, or end at column %u",
               columns, width);
}

void checkReport(const ravelo_damage_report* report) {
    if (report == nullptr)
        return;
    copiedIn(report, "the damage report");
    if (report->slice_size != 0 &&
        (report->slice_size < kFirstSize<ravelo_damage> || report->slice_size > kLargestStructure))
        refuse(RAVELO_ERROR_STRUCTURE, "slice_size of the damage report is %zu; it must be sizeof(ravelo_damage), %zu",
               report->slice_size, sizeof(ravelo_damage));
    if (report->slices == nullptr && report->capacity != 0)
        refuse(RAVELO_ERROR_ARGUMENT, "capacity of the damage report is %zu, but its array is null", report->capacity);
}

std::uint64_t magnitudeOf(std::int64_t stride) {
    return stride < 0 ? 0u - static_cast<std::uint64_t>(stride) : static_cast<std::uint64_t>(stride);
}

// The bytes from the lowest line's first byte to the highest line's, or the largest number if that overflows.
std::uint64_t bytesBetweenLines(std::uint64_t lines, std::uint64_t magnitude) {
    std::uint64_t bytes = 0;
    return lines < 2 ? 0 : __builtin_mul_overflow(lines - 1, magnitude, &bytes) ? UINT64_MAX : bytes;
}

// True if `bytes` at `offset` stay inside `size`.
bool fits(std::uint64_t offset, std::uint64_t bytes, std::uint64_t size) {
    return offset <= size && bytes <= size - offset;
}

// A plane as the host gives it, with the memory that it needs.
struct PlaneRequest {
    ravelo_plane plane;
    std::uint32_t lines;
    std::uint64_t leastBytes; // of the pixels of a line
    std::uint64_t lineBytes;  // that a line takes
    char name[24];            // for texts
};

void checkRoom(PlaneRequest const& request, std::int64_t stride) {
    if (request.lines == 0 || request.lineBytes == 0)
        return;
    const std::uint64_t between = bytesBetweenLines(request.lines, magnitudeOf(stride));
    const std::uint64_t first = request.plane.first_line;
    const bool downwards = stride < 0;
    if (downwards && first < between)
        refuse(RAVELO_ERROR_BUFFER,
               "first_line%s is %llu; it must be at least %llu, since with the stride %lld %u lines extend below it",
               request.name, static_cast<UnsignedLongLong>(first), static_cast<UnsignedLongLong>(between),
               static_cast<LongLong>(stride), request.lines);
    const std::uint64_t lastByLine = downwards ? 0 : between;
    if (lastByLine > UINT64_MAX - request.lineBytes ||
        !fits(first, lastByLine + request.lineBytes, request.plane.memory_bytes))
        refuse(RAVELO_ERROR_BUFFER,
               "memory_bytes%s is %zu; %u lines of %llu bytes with the stride %lld do not fit after first_line %llu",
               request.name, request.plane.memory_bytes, request.lines,
               static_cast<UnsignedLongLong>(request.lineBytes), static_cast<LongLong>(stride),
               static_cast<UnsignedLongLong>(first));
}

OutputPlane checkedPlane(PlaneRequest const& request) {
    ravelo_plane const& plane = request.plane;
    if (plane.memory == nullptr)
        refuse(RAVELO_ERROR_ARGUMENT, "the pointer to the output memory%s is null (memory_bytes %zu)", request.name,
               plane.memory_bytes);
    const auto leastStride = static_cast<std::int64_t>(request.lineBytes);
    const std::int64_t stride = plane.stride != 0 ? plane.stride : leastStride;
    if (magnitudeOf(stride) < request.lineBytes) {
        const auto least = static_cast<UnsignedLongLong>(request.lineBytes);
        const auto ofPixels = static_cast<UnsignedLongLong>(request.leastBytes);
        if (least == ofPixels)
            refuse(RAVELO_ERROR_BUFFER, "stride%s is %lld; it must be at least %llu", request.name,
                   static_cast<LongLong>(stride), least);
        refuse(RAVELO_ERROR_BUFFER,
               "stride%s is %lld; it must be at least %llu: %llu bytes for the pixels, the rest for pixels beyond the "
               "right edge",
               request.name, static_cast<LongLong>(stride), least, ofPixels);
    }
    checkRoom(request, stride);
    // Without a second line the stride is not used and may have any value.
    const bool hasLines = request.lines > 1 && leastStride != 0;
    return {static_cast<std::uint8_t*>(plane.memory) + plane.first_line, hasLines ? stride : leastStride};
}

} // namespace

ravelo_decode_options checkedOptions(const ravelo_decode_options* options) {
    ravelo_decode_options checked{};
    if (options != nullptr)
        checked = copiedIn(options, "the decode options");
    checkForm(checked);
    if (checked.bit_depth == 0)
        checked.bit_depth = 8;
    if (checked.max_pixels == 0)
        checked.max_pixels = RAVELO_DEFAULT_MAX_PIXELS;
    if (checked.max_read_factor == 0)
        checked.max_read_factor = RAVELO_DEFAULT_MAX_READ_FACTOR;
    if (checked.mark_color == 0)
        checked.mark_color = 0xFF00FF;
    checkChoices(checked);
    checkReport(checked.damage);
    return checked;
}

void checkFrame(FrameHeader const& header, ravelo_decode_options const& options) {
    if (options.coding != RAVELO_YCBCR && !header.is444())
        refuse(RAVELO_ERROR_COMBINATION, "coding is %u; a 4:2:2 frame can be decoded to 0 (YCbCr) only",
               options.coding);
    if (header.numPixels() > options.max_pixels)
        refuse(RAVELO_ERROR_LIMIT, "the frame has %u x %u = %llu pixels; max_pixels allows %llu",
               header.horizontal_size, header.vertical_size, static_cast<UnsignedLongLong>(header.numPixels()),
               static_cast<UnsignedLongLong>(options.max_pixels));
    checkRegion(header, options);
}

bool isFormed(ravelo_decode_options const& options) {
    return options.pixel_form != RAVELO_CODED || options.region_width != 0;
}

PixelRectangle regionOf(FrameHeader const& header, ravelo_decode_options const& options) {
    if (options.region_width != 0)
        return {options.region_x, options.region_y, options.region_width, options.region_height};
    return {0, 0, header.horizontal_size >> options.reduction, header.vertical_size >> options.reduction};
}

void checkReads(const void* data, std::size_t size, ravelo_decode_options const& options) {
    std::uint64_t allowed = 0;
    if (options.max_read_factor == RAVELO_NO_READ_LIMIT ||
        __builtin_mul_overflow(std::uint64_t{size}, options.max_read_factor, &allowed))
        return;
    if (bytesReadBySlices({static_cast<const std::uint8_t*>(data), size}, allowed) > allowed)
        refuse(RAVELO_ERROR_LIMIT,
               "the slices of the frame read more than %llu bytes, which is max_read_factor %u times its size of %zu",
               static_cast<UnsignedLongLong>(allowed), options.max_read_factor, size);
}

namespace {

// Of a decode that writes exactly its region.
ravelo_buffer_requirements formedRequirements(FrameHeader const& header, ravelo_decode_options const& options) {
    const PixelRectangle region = regionOf(header, options);
    const bool isPlanar = options.pixel_form == RAVELO_PLANAR;
    const bool isDeep = options.bit_depth > 8 || options.pixel_form == RAVELO_RGBA_HALF;
    ravelo_buffer_requirements requirements{};
    requirements.width = region.width;
    requirements.height = region.height;
    requirements.lines = region.height;
    requirements.samples_per_pixel = isPlanar ? 1 : options.pixel_form != RAVELO_CODED ? 4 : header.samplesPerPixel();
    requirements.bytes_per_sample = isDeep ? 2 : 1;
    requirements.num_planes = !isPlanar ? 1 : header.hasAlphaOutput() ? 4 : 3;
    for (std::uint32_t i = 0; i < requirements.num_planes; ++i) {
        ravelo_plane_requirements& plane = requirements.planes[i];
        const bool isHalved = isPlanar && !header.is444() && (i == 1 || i == 2);
        plane.width = isHalved ? region.width / 2 + region.width % 2 : region.width;
        plane.height = region.height;
        plane.least_stride =
            std::uint64_t{plane.width} * requirements.samples_per_pixel * requirements.bytes_per_sample;
        plane.bytes = plane.least_stride * plane.height;
        requirements.bytes += plane.bytes;
    }
    requirements.least_stride = requirements.planes[0].least_stride;
    requirements.safe_stride = requirements.least_stride;
    return requirements;
}

} // namespace

ravelo_buffer_requirements requirementsOf(const void* data, std::size_t size, ravelo_decode_options const& options) {
    const Bitstream bits{static_cast<const std::uint8_t*>(data), size};
    if (isFormed(options))
        return formedRequirements(FrameHeader::frame_header(bits), options);
    const PixelBuffer info = Frame::GetFrameInfo(bits, options.bit_depth, options.reduction);
    const BufferRequirements needs = bufferRequirements(bits, options.bit_depth, options.reduction);
    ravelo_buffer_requirements requirements{};
    requirements.width = static_cast<std::uint32_t>(info.width);
    requirements.height = static_cast<std::uint32_t>(info.height);
    requirements.lines = static_cast<std::uint32_t>(needs.lines);
    requirements.samples_per_pixel = info.samplesPerPixel;
    requirements.bytes_per_sample = bytesPerSample(options.bit_depth);
    requirements.num_planes = 1;
    requirements.least_stride = needs.leastStride;
    requirements.safe_stride = needs.safeStride;
    requirements.bytes = needs.bytes;
    requirements.planes[0] = {requirements.width, requirements.height, needs.safeStride, needs.bytes};
    return requirements;
}

HostPixels checkedOutput(const ravelo_output* output, ravelo_buffer_requirements const& requirements) {
    const ravelo_output checked = copiedIn(output, "the output");
    HostPixels pixels;
    if (requirements.num_planes == 1) {
        const ravelo_plane plane{checked.memory, checked.memory_bytes, checked.first_line, checked.stride};
        pixels.planes[0] =
            checkedPlane({plane, requirements.lines, requirements.least_stride, requirements.safe_stride, ""});
        return pixels;
    }
    for (std::uint32_t i = 0; i < requirements.num_planes; ++i) {
        ravelo_plane_requirements const& needs = requirements.planes[i];
        PlaneRequest request{checked.planes[i], needs.height, needs.least_stride, needs.least_stride, ""};
        std::snprintf(request.name, sizeof request.name, " of plane %u (%s)", i, kPlaneNames[i]);
        pixels.planes[i] = checkedPlane(request);
    }
    return pixels;
}
