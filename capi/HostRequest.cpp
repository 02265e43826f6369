#include "HostRequest.h"

#include "BufferRequirements.h"
#include "Frame.h"
#include "HostError.h"
#include "HostStructure.h"
#include "SliceReads.h"

namespace {

using LongLong = long long;
using UnsignedLongLong = unsigned long long;

void checkChoices(ravelo_decode_options const& options) {
    if (options.reduction > RAVELO_EIGHTH_SIZE)
        refuse(RAVELO_ERROR_OPTION, "reduction is %u; it can be 0 (full size), 1 (half), 2 (quarter) or 3 (eighth)",
               options.reduction);
    if (options.coding > RAVELO_RGB_VIDEO)
        refuse(RAVELO_ERROR_OPTION, "coding is %u; it can be 0 (YCbCr), 1 (RGB, full range) or 2 (RGB, video range)",
               options.coding);
    if (!isBitDepth(options.bit_depth))
        refuse(RAVELO_ERROR_OPTION, "bit_depth is %u; it can be 8, 10, 15 or 16", options.bit_depth);
    if (options.target > RAVELO_TARGET_AVX2)
        refuse(RAVELO_ERROR_OPTION, "target is %u; it can be 0 (best), 1 (baseline) or 2 (AVX2)", options.target);
    if (options.failed_slices > RAVELO_FAILED_MARKED)
        refuse(RAVELO_ERROR_OPTION, "failed_slices is %u; it can be 0 (untouched), 1 (black) or 2 (marked)",
               options.failed_slices);
    if (options.mark_color > 0xFFFFFF)
        refuse(RAVELO_ERROR_OPTION, "mark_color is 0x%X; it can be 0x000001 to 0xFFFFFF (0xRRGGBB)",
               options.mark_color);
    if (options.reduction != RAVELO_FULL_SIZE && options.bit_depth > 8)
        refuse(RAVELO_ERROR_COMBINATION, "reduction %u with bit_depth %u: reduced pictures come in 8 bits only",
               options.reduction, options.bit_depth);
}

void checkReport(const ravelo_damage_report* report) {
    if (report == nullptr)
        return;
    copiedIn(report, "the damage report");
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

void checkRoom(ravelo_output const& output, std::int64_t stride, ravelo_buffer_requirements const& requirements) {
    if (requirements.lines == 0 || requirements.safe_stride == 0)
        return;
    const std::uint64_t between = bytesBetweenLines(requirements.lines, magnitudeOf(stride));
    const std::uint64_t first = output.first_line;
    const bool downwards = stride < 0;
    if (downwards && first < between)
        refuse(RAVELO_ERROR_BUFFER,
               "first_line is %llu; it must be at least %llu, since with the stride %lld %u lines extend below it",
               static_cast<UnsignedLongLong>(first), static_cast<UnsignedLongLong>(between),
               static_cast<LongLong>(stride), requirements.lines);
    const std::uint64_t lastByLine = downwards ? 0 : between;
    if (lastByLine > UINT64_MAX - requirements.safe_stride ||
        !fits(first, lastByLine + requirements.safe_stride, output.memory_bytes))
        refuse(RAVELO_ERROR_BUFFER,
               "memory_bytes is %zu; %u lines of %llu bytes with the stride %lld do not fit after first_line %llu",
               output.memory_bytes, requirements.lines, static_cast<UnsignedLongLong>(requirements.safe_stride),
               static_cast<LongLong>(stride), static_cast<UnsignedLongLong>(first));
}

} // namespace

ravelo_decode_options checkedOptions(const ravelo_decode_options* options) {
    ravelo_decode_options checked{};
    if (options != nullptr)
        checked = copiedIn(options, "the decode options");
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

ravelo_buffer_requirements requirementsOf(const void* data, std::size_t size, ravelo_decode_options const& options) {
    const Bitstream bits{static_cast<const std::uint8_t*>(data), size};
    const PixelBuffer info = Frame::GetFrameInfo(bits, options.bit_depth, options.reduction);
    const BufferRequirements needs = bufferRequirements(bits, options.bit_depth, options.reduction);
    ravelo_buffer_requirements requirements{};
    requirements.width = static_cast<std::uint32_t>(info.width);
    requirements.height = static_cast<std::uint32_t>(info.height);
    requirements.lines = static_cast<std::uint32_t>(needs.lines);
    requirements.samples_per_pixel = info.samplesPerPixel;
    requirements.bytes_per_sample = bytesPerSample(options.bit_depth);
    requirements.least_stride = needs.leastStride;
    requirements.safe_stride = needs.safeStride;
    requirements.bytes = needs.bytes;
    return requirements;
}

HostPixels checkedOutput(const ravelo_output* output, ravelo_buffer_requirements const& requirements) {
    const ravelo_output checked = copiedIn(output, "the output");
    if (checked.memory == nullptr)
        refuse(RAVELO_ERROR_ARGUMENT, "the pointer to the output memory is null (memory_bytes %zu)",
               checked.memory_bytes);
    const std::int64_t stride =
        checked.stride != 0 ? checked.stride : static_cast<std::int64_t>(requirements.safe_stride);
    if (magnitudeOf(stride) < requirements.safe_stride)
        refuse(RAVELO_ERROR_BUFFER,
               "stride is %lld; it must be at least %llu: %llu bytes for %u pixels, the rest for pixels beyond the "
               "right edge",
               static_cast<LongLong>(stride), static_cast<UnsignedLongLong>(requirements.safe_stride),
               static_cast<UnsignedLongLong>(requirements.least_stride), requirements.width);
    checkRoom(checked, stride, requirements);
    // Without a second line the stride is not used and may have any value.
    const auto safeStride = static_cast<std::int64_t>(requirements.safe_stride);
    const bool hasLines = requirements.lines > 1 && safeStride != 0;
    return {static_cast<std::uint8_t*>(checked.memory) + checked.first_line, hasLines ? stride : safeStride};
}
