#include "ravelo.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "Frame.h"
#include "FrameCheck.h"
#include "HostCall.h"
#include "HostFrameHeader.h"
#include "HostMonitor.h"
#include "HostRequest.h"
#include "HostStructure.h"
#include "RaveloDecoderInterface.h"

namespace {

// The targets of hosts are those of the library, after the choice of the best.
static_assert(RAVELO_TARGET_BASELINE == 1 + static_cast<int>(OptimizationTarget::Baseline));

OptimizationTarget resolved(std::uint32_t target) {
    const int best = RaveloDecoderInterface::GetMaxOptType();
    const int wanted = target == RAVELO_TARGET_BEST ? best : static_cast<int>(target) - RAVELO_TARGET_BASELINE;
    return static_cast<OptimizationTarget>(std::min(wanted, best));
}

PixelBuffer formOf(FrameHeader const& header, ravelo_decode_options const& options) {
    PixelBuffer form;
    form.width = header.horizontal_size >> options.reduction;
    form.height = header.vertical_size >> options.reduction;
    form.frameHeight = header.vertical_size;
    form.samplesPerPixel = header.samplesPerPixel();
    form.matrix_coefficients = header.matrix_coefficients;
    form.bitDepth = options.bit_depth;
    form.colorCoding = static_cast<ColorCoding>(options.coding);
    return form;
}

// The depth of the samples that halves are made of: at full size they are not cut to any.
std::uint32_t sampleDepth(ravelo_decode_options const& options) {
    return options.pixel_form == RAVELO_RGBA_HALF && options.reduction == RAVELO_FULL_SIZE ? 16 : options.bit_depth;
}

void decodeFrame(Bitstream const& bits, HostOutput const& output, ravelo_decode_options const& options,
                 DecodeMonitor* monitor) {
    const auto coding = static_cast<ColorCoding>(options.coding);
    const OptimizationTarget target = resolved(options.target);
    if (!isFormed(options)) {
        OutputPlane const& plane = output.pixels.planes[0];
        const Frame frame(bits, coding, options.bit_depth, plane.pixels, plane.lineStride, target, options.reduction,
                          monitor, options.max_threads);
        return;
    }
    PictureOutput pictureOutput{static_cast<PixelForm>(options.pixel_form), output.region, {}};
    std::copy(std::begin(output.pixels.planes), std::end(output.pixels.planes), pictureOutput.planes);
    const Frame frame(bits, pictureOutput, coding, sampleDepth(options), target, options.reduction, monitor,
                      options.max_threads);
}

ravelo_status decodeMonitored(Bitstream const& bits, HostOutput const& output, ravelo_decode_options const& options) {
    HostMonitor monitor(options, output);
    try {
        decodeFrame(bits, output, options, &monitor);
    } catch (...) {
        monitor.finishReport();
        throw;
    }
    monitor.finishReport();
    return monitor.hasStopped() ? RAVELO_STOPPED : RAVELO_OK;
}

ravelo_status decode(const void* data, std::size_t size, const ravelo_output* output,
                     const ravelo_decode_options* givenOptions) {
    const ravelo_decode_options options = checkedOptions(givenOptions);
    if (options.damage != nullptr) {
        options.damage->stored = 0;
        options.damage->failed = 0;
    }
    const FrameHeader header = readFrameHeader(data, size);
    checkFrame(header, options);
    checkReads(data, size, options);
    const HostOutput checked{checkedOutput(output, requirementsOf(data, size, options)), options.pixel_form,
                             regionOf(header, options), formOf(header, options), header.hasAlphaOutput()};
    const Bitstream bits{static_cast<const std::uint8_t*>(data), size};
    if (HostMonitor::isNeeded(options))
        return decodeMonitored(bits, checked, options);
    decodeFrame(bits, checked, options, nullptr);
    return RAVELO_OK;
}

} // namespace

extern "C" {

uint32_t ravelo_version(void) noexcept {
    return RAVELO_VERSION;
}

const char* ravelo_version_text(void) noexcept {
    return RAVELO_VERSION_TEXT;
}

uint32_t ravelo_best_target(void) noexcept {
    return RAVELO_TARGET_BASELINE + static_cast<std::uint32_t>(RaveloDecoderInterface::GetMaxOptType());
}

const char* ravelo_status_text(int32_t status) noexcept {
    switch (status) {
    case RAVELO_OK:
        return "done";
    case RAVELO_STOPPED:
        return "stopped by the caller";
    case RAVELO_ERROR_ARGUMENT:
        return "an argument is missing";
    case RAVELO_ERROR_STRUCTURE:
        return "a structure has a size that this version cannot use";
    case RAVELO_ERROR_FRAME:
        return "the frame is shorter than its header or has no pixels";
    case RAVELO_ERROR_OPTION:
        return "an option has an unknown value";
    case RAVELO_ERROR_COMBINATION:
        return "the options contradict each other or the frame";
    case RAVELO_ERROR_LIMIT:
        return "the frame exceeds a limit";
    case RAVELO_ERROR_BUFFER:
        return "the output is too small";
    case RAVELO_ERROR_MEMORY:
        return "memory is exhausted";
    case RAVELO_ERROR_INTERNAL:
        return "an unexpected failure";
    default:
        return "an unknown status";
    }
}

ravelo_status ravelo_get_frame_info(const void* data, uint64_t size, ravelo_frame_info* info,
                                    ravelo_error* error) noexcept {
    return guarded(error, [&] {
        checkStructure(info, "the frame information");
        copyOut(frameInfo(readFrameHeader(data, size), {static_cast<const std::uint8_t*>(data), size}), info);
        return RAVELO_OK;
    });
}

ravelo_status ravelo_check_frame(const void* data, uint64_t size, ravelo_frame_check* check,
                                 ravelo_error* error) noexcept {
    return guarded(error, [&] {
        checkStructure(check, "the frame check");
        checkData(data, size);
        copyOut(checkedStructure(data, size), check);
        return RAVELO_OK;
    });
}

ravelo_status ravelo_get_buffer_requirements(const void* data, uint64_t size, const ravelo_decode_options* options,
                                             ravelo_buffer_requirements* requirements, ravelo_error* error) noexcept {
    return guarded(error, [&] {
        checkStructure(requirements, "the buffer requirements");
        const ravelo_decode_options checked = checkedOptions(options);
        checkFrame(readFrameHeader(data, size), checked);
        checkReads(data, size, checked);
        copyOut(requirementsOf(data, size, checked), requirements);
        return RAVELO_OK;
    });
}

ravelo_status ravelo_decode(const void* data, uint64_t size, const ravelo_output* output,
                            const ravelo_decode_options* options, ravelo_error* error) noexcept {
    return guarded(error, [&] { return decode(data, size, output, options); });
}

void ravelo_request_stop(volatile void* stop) noexcept {
    if (stop != nullptr)
        __atomic_store_n(static_cast<volatile int32_t*>(stop), 1, __ATOMIC_RELAXED);
}

} // extern "C"
