/**
 * @file
 * The C interface of ravelo.h for C++17: errors as exceptions, and an image that owns its memory.
 *
 * This header has no library of its own; a program that uses it links the same library as a C program.
 */
#ifndef RAVELO_HPP
#define RAVELO_HPP

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "ravelo.h"

/** The C++ interface of RaveloOpt. */
namespace ravelo {

/** A status other than RAVELO_OK and RAVELO_STOPPED. what() says what was wrong and with which value. */
class Error : public std::runtime_error {
public:
    /** @param error  from the C interface */
    explicit Error(ravelo_error const& error) : std::runtime_error(error.text), m_status(error.status) {}

    /** The ravelo_status. */
    ravelo_status status() const noexcept { return static_cast<ravelo_status>(m_status); }

private:
    std::int32_t m_status;
};

/** The bytes of a frame, which the caller owns. */
struct Bytes {
    /** @param first  the frame's first byte
     *  @param count  bytes */
    Bytes(const void* first, std::size_t count) noexcept : data(first), size(count) {}
    /** Any container with contiguous bytes. */
    template <typename Container, typename = decltype(std::declval<Container const&>().data())>
    Bytes(Container const& container) noexcept : data(container.data()), size(container.size()) {
        static_assert(sizeof(*container.data()) == 1, "a frame consists of bytes");
    }

    const void* data; /**< The first byte. */
    std::size_t size; /**< Bytes. */
};

/** A flag that ends decodes. It must outlive them. */
class StopFlag {
public:
    /** May be called from any thread and from signal handlers. */
    void request() noexcept { ravelo_request_stop(&m_flag); }
    /** Called before the next decode, while none uses the flag. */
    void reset() noexcept { m_flag = 0; }
    /** For ravelo_decode_options. */
    const std::int32_t* flag() const noexcept { return &m_flag; }

private:
    std::int32_t m_flag = 0;
};

/** How to decode. */
struct Options {
    std::uint32_t reduction = RAVELO_FULL_SIZE;                   /**< A ravelo_reduction. */
    std::uint32_t coding = RAVELO_YCBCR;                          /**< A ravelo_coding. */
    std::uint32_t bitDepth = 8;                                   /**< 8, 10, 15 or 16; half floats need none. */
    std::uint32_t target = RAVELO_TARGET_BEST;                    /**< A ravelo_target. */
    std::uint32_t maxThreads = 0;                                 /**< 0: as many as the caller's task arena allows. */
    std::uint32_t failedSlices = RAVELO_FAILED_UNTOUCHED;         /**< A ravelo_failed_slices. */
    std::uint32_t markColor = 0xFF00FF;                           /**< 0xRRGGBB for RAVELO_FAILED_MARKED. */
    std::uint32_t maxReadFactor = RAVELO_DEFAULT_MAX_READ_FACTOR; /**< Or RAVELO_NO_READ_LIMIT. */
    std::uint64_t maxPixels = RAVELO_DEFAULT_MAX_PIXELS;          /**< Or RAVELO_NO_PIXEL_LIMIT. */
    std::uint32_t pixelForm = RAVELO_CODED;                       /**< A ravelo_pixel_form; its depth is in bitDepth. */
    std::uint32_t regionX = 0;                                    /**< The region: its first column, */
    std::uint32_t regionY = 0;                                    /**< first line, */
    std::uint32_t regionWidth = 0;                                /**< columns */
    std::uint32_t regionHeight = 0;                               /**< and lines; all 0: the whole picture. */
    const StopFlag* stop = nullptr;                               /**< A flag that may end the decode. */
    const std::atomic<std::int32_t>* hostStop = nullptr;          /**< Without `stop`: a flag of the host's own. */
    std::size_t damageCapacity = 0; /**< Maximum length of the damage list; all are counted. */

    /** The same options for the C interface. */
    ravelo_decode_options toC() const noexcept {
        ravelo_decode_options options = RAVELO_DECODE_OPTIONS_INIT;
        options.reduction = reduction;
        options.coding = coding;
        options.bit_depth = pixelForm == RAVELO_RGBA_HALF ? 0 : bitDepth;
        options.target = target;
        options.max_threads = maxThreads;
        options.failed_slices = failedSlices;
        options.mark_color = markColor;
        options.max_read_factor = maxReadFactor;
        options.max_pixels = maxPixels;
        options.pixel_form = pixelForm;
        options.region_x = regionX;
        options.region_y = regionY;
        options.region_width = regionWidth;
        options.region_height = regionHeight;
        options.stop = hostStop;
        if (stop != nullptr)
            options.stop = stop->flag();
        return options;
    }
};

/** The content of a frame's header. Throws Error. */
inline ravelo_frame_info frameInfo(Bytes frame) {
    ravelo_frame_info info = RAVELO_FRAME_INFO_INIT;
    ravelo_error error;
    if (ravelo_get_frame_info(frame.data, frame.size, &info, &error) != RAVELO_OK)
        throw Error(error);
    return info;
}

/** Whether the data are a whole frame, without decoding it. Throws Error for a null pointer. */
inline ravelo_frame_check checkFrame(Bytes frame) {
    ravelo_frame_check check = RAVELO_FRAME_CHECK_INIT;
    ravelo_error error;
    if (ravelo_check_frame(frame.data, frame.size, &check, &error) != RAVELO_OK)
        throw Error(error);
    return check;
}

/** The memory that the output of a decode needs. Throws Error. */
inline ravelo_buffer_requirements bufferRequirements(Bytes frame, Options const& options = {}) {
    ravelo_buffer_requirements requirements = RAVELO_BUFFER_REQUIREMENTS_INIT;
    const ravelo_decode_options cOptions = options.toC();
    ravelo_error error;
    if (ravelo_get_buffer_requirements(frame.data, frame.size, &cOptions, &requirements, &error) != RAVELO_OK)
        throw Error(error);
    return requirements;
}

/** A decoded frame with its memory. Moving it is cheap; decoding into it again reuses its memory. */
class Image {
public:
    /** No pixels. */
    Image() = default;

    /** Decodes a frame. Throws Error, or std::bad_alloc when there is no memory for the pixels. */
    explicit Image(Bytes frame, Options const& options = {}) { decode(frame, options); }

    /**
     * Decodes a frame into this image. Slices that fail and are left untouched keep the previous content of the memory,
     * which is zeros in a new image.
     *
     * @return false if the stop flag ended the decode
     * @throws Error           the image then keeps its size, and its pixels are undefined
     * @throws std::bad_alloc  the same
     */
    bool decode(Bytes frame, Options const& options = {}) {
        const ravelo_buffer_requirements requirements = bufferRequirements(frame, options);
        reserve(requirements.bytes);
        std::vector<ravelo_damage> slices(options.damageCapacity);
        ravelo_damage_report report = RAVELO_DAMAGE_REPORT_INIT;
        report.slices = slices.data();
        report.capacity = slices.size();
        ravelo_decode_options cOptions = options.toC();
        cOptions.damage = &report;
        const bool isWhole = decodeInto(frame, requirements, cOptions);
        slices.resize(report.stored);
        m_requirements = requirements;
        m_options = options;
        m_options.stop = nullptr;
        m_options.hostStop = nullptr;
        m_damage = std::move(slices);
        m_failedSlices = report.failed;
        return isWhole;
    }

    /** 3 or 4 (Y, Cb, Cr, A) for RAVELO_PLANAR, else 1. The members without a plane's number are those of the first. */
    std::uint32_t planes() const noexcept { return m_requirements.num_planes; }
    /** Samples of a line of a plane; pixels where there is one plane. */
    std::uint32_t planeWidth(std::uint32_t plane) const noexcept { return m_requirements.planes[plane].width; }
    /** Line `y` of a plane, below height(). */
    const std::uint8_t* planeLine(std::uint32_t plane, std::uint32_t y) const noexcept {
        const std::size_t stride = static_cast<std::size_t>(m_requirements.planes[plane].least_stride);
        return data() + offsetOf(m_requirements, plane) + std::size_t{y} * stride;
    }

    /** Pixels of a line. */
    std::uint32_t width() const noexcept { return m_requirements.width; }
    /** Lines. */
    std::uint32_t height() const noexcept { return m_requirements.height; }
    /** 2 (Cb Y Cr Y), 4 (A Y Cb Cr, A R G B, R G B A or B G R A) or, in planes, 1. */
    std::uint32_t samplesPerPixel() const noexcept { return m_requirements.samples_per_pixel; }
    /** 1 or 2. */
    std::uint32_t bytesPerSample() const noexcept { return m_requirements.bytes_per_sample; }
    /** Bytes of the pixels of a line. */
    std::size_t lineBytes() const noexcept { return static_cast<std::size_t>(m_requirements.least_stride); }
    /** Bytes from a line to the next. */
    std::size_t stride() const noexcept { return static_cast<std::size_t>(m_requirements.safe_stride); }
    /** The first line. */
    const std::uint8_t* data() const noexcept { return m_memory.get(); }
    /** The first line. */
    std::uint8_t* data() noexcept { return m_memory.get(); }
    /** Line `y`, below height(). */
    const std::uint8_t* line(std::uint32_t y) const noexcept { return data() + std::size_t{y} * stride(); }
    /** Line `y`, below height(). */
    std::uint8_t* line(std::uint32_t y) noexcept { return data() + std::size_t{y} * stride(); }
    /** Sample `index` of line `y`, whatever its depth. */
    std::uint32_t sample(std::uint32_t y, std::size_t index) const noexcept {
        if (bytesPerSample() == 1)
            return line(y)[index];
        std::uint16_t value;
        std::memcpy(&value, line(y) + 2 * index, sizeof value);
        return value;
    }
    /** The options of the last decode, without its stop flag. */
    Options const& options() const noexcept { return m_options; }
    /** Slices that failed, at most Options::damageCapacity of them, in the order of the frame. */
    std::vector<ravelo_damage> const& damage() const noexcept { return m_damage; }
    /** The number of slices that failed, whether or not they are listed. */
    std::uint64_t failedSlices() const noexcept { return m_failedSlices; }

private:
    // Planes are one after the other.
    static std::size_t offsetOf(ravelo_buffer_requirements const& requirements, std::uint32_t plane) noexcept {
        std::uint64_t offset = 0;
        for (std::uint32_t i = 0; i < plane; ++i)
            offset += requirements.planes[i].bytes;
        return static_cast<std::size_t>(offset);
    }

    void reserve(std::uint64_t bytes) {
        if (bytes <= m_capacity && m_memory != nullptr)
            return;
        if (bytes >= std::numeric_limits<std::size_t>::max())
            throw std::bad_alloc();
        // One byte at least, so that an image without pixels has an address too.
        m_memory = std::make_unique<std::uint8_t[]>(static_cast<std::size_t>(bytes) + 1);
        m_capacity = bytes;
    }

    bool decodeInto(Bytes frame, ravelo_buffer_requirements const& requirements, ravelo_decode_options const& options) {
        ravelo_output output = RAVELO_OUTPUT_INIT;
        output.memory = m_memory.get();
        output.memory_bytes = static_cast<std::size_t>(requirements.bytes);
        for (std::uint32_t i = 0; i < requirements.num_planes; ++i) {
            output.planes[i].memory = m_memory.get() + offsetOf(requirements, i);
            output.planes[i].memory_bytes = static_cast<std::size_t>(requirements.planes[i].bytes);
        }
        ravelo_error error;
        const ravelo_status status = ravelo_decode(frame.data, frame.size, &output, &options, &error);
        if (status != RAVELO_OK && status != RAVELO_STOPPED)
            throw Error(error);
        return status == RAVELO_OK;
    }

    std::unique_ptr<std::uint8_t[]> m_memory;
    std::uint64_t m_capacity = 0;
    ravelo_buffer_requirements m_requirements{};
    Options m_options;
    std::vector<ravelo_damage> m_damage;
    std::uint64_t m_failedSlices = 0;
};

} // namespace ravelo

#endif
