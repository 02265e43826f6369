// The module ravelo._core: the C interface for Python, without names and defaults, which the modules in ravelo/ add.
//
// Memory comes in through the buffer protocol alone, so no array library is needed here. Every argument is checked with
// the interpreter's lock held; the lock is released around the calls of the library and nothing else.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <vector>

#include <pybind11/pybind11.h>

#include "ravelo.h"
#include "ravelo_encode.h"

namespace py = pybind11;

namespace {

// Below this sum of pixels and bytes a decode takes less than 100 ms on one thread of any processor that the library
// runs on, and an encode below an eighth of it. Longer ones run in a thread of their own, so that the main thread can
// look at signals, which costs about 50 microseconds.
constexpr std::uint64_t kLongDecode = std::uint64_t{1} << 22;
constexpr std::uint64_t kLongEncode = std::uint64_t{1} << 19;

// Between two looks at signals.
constexpr std::chrono::milliseconds kSignalInterval{50};

void throwPython(PyObject* type, std::string const& text) {
    PyErr_SetString(type, text.c_str());
    throw py::error_already_set();
}

// A status as an exception of the module.
void throwIfFailed(ravelo_status status, ravelo_error const& error) {
    if (status == RAVELO_OK)
        return;
    const std::string text = error.text[0] != '\0' ? error.text : ravelo_status_text(status);
    if (status == RAVELO_ERROR_MEMORY)
        throwPython(PyExc_MemoryError, text);
    const py::object type = py::module_::import("ravelo._records").attr("Error");
    const py::object exception = type(static_cast<int>(status), text);
    PyErr_SetObject(type.ptr(), exception.ptr());
    throw py::error_already_set();
}

// The memory of an object, held until the end of the call.
class Memory {
public:
    Memory(py::handle object, int flags, std::string const& name) {
        if (PyObject_CheckBuffer(object.ptr()) == 0)
            throwPython(PyExc_TypeError, name + " has no memory: " + std::string(py::str(py::type::of(object))) +
                                             " does not support the buffer protocol");
        if (PyObject_GetBuffer(object.ptr(), &m_view, flags) == 0)
            return;
        if (PyErr_ExceptionMatches(PyExc_BufferError) == 0 && PyErr_ExceptionMatches(PyExc_ValueError) == 0)
            throw py::error_already_set();
        const py::error_already_set reason;
        throwPython(PyExc_ValueError, name + ": " + std::string(py::str(reason.value())));
    }
    ~Memory() { PyBuffer_Release(&m_view); }
    Memory(Memory const&) = delete;
    Memory& operator=(Memory const&) = delete;

    Py_buffer const& view() const { return m_view; }

private:
    Py_buffer m_view{};
};

// The bytes of a frame. No bytes have an address too, so that the library finds them too few and not missing.
class FrameBytes {
public:
    explicit FrameBytes(py::handle data) : m_memory(data, PyBUF_SIMPLE, "data") {}

    const void* data() const { return m_memory.view().len == 0 ? "" : m_memory.view().buf; }
    std::uint64_t size() const { return static_cast<std::uint64_t>(m_memory.view().len); }

private:
    Memory m_memory;
};

// Ends the decodes that are given it.
struct StopFlag {
    std::int32_t value = 0;

    void request() { ravelo_request_stop(&value); }
};

bool isMainThread() {
    const py::object mainThread = py::module_::import("threading").attr("main_thread")();
    return py::cast<unsigned long>(mainThread.attr("ident")) == PyThread_get_thread_ident();
}

// A call in a thread of its own.
class Worker {
public:
    template <typename Call>
    explicit Worker(Call const& call)
        : m_thread([this, &call] {
              const ravelo_status status = call();
              const std::lock_guard lock(m_mutex);
              m_status = status;
              m_ended.notify_one();
          }) {}

    // The status, or nothing if the call goes on.
    std::optional<ravelo_status> waitFor(std::chrono::milliseconds time) {
        std::unique_lock lock(m_mutex);
        m_ended.wait_for(lock, time, [this] { return m_status.has_value(); });
        return m_status;
    }

    void join() { m_thread.join(); }

private:
    std::mutex m_mutex;
    std::condition_variable m_ended;
    std::optional<ravelo_status> m_status;
    std::thread m_thread;
};

// Waits for the worker and looks at signals meanwhile. The exception of a signal's handler stops the call and goes on.
ravelo_status watched(Worker& worker, StopFlag& stop) {
    for (;;) {
        std::optional<ravelo_status> status;
        {
            const py::gil_scoped_release unlocked;
            status = worker.waitFor(kSignalInterval);
            if (status)
                worker.join();
        }
        if (status)
            return *status;
        if (PyErr_CheckSignals() == 0)
            continue;
        stop.request();
        {
            const py::gil_scoped_release unlocked;
            worker.join();
        }
        throw py::error_already_set();
    }
}

// Runs a call of the library without the interpreter's lock. One that takes long can be interrupted by signals, which
// Python handles in its main thread only.
template <typename Call>
ravelo_status run(bool isLong, StopFlag& stop, Call const& call) {
    std::unique_ptr<Worker> worker;
    if (isLong && isMainThread()) {
        try {
            worker = std::make_unique<Worker>(call);
        } catch (std::system_error const&) {
            // Without a thread the call cannot be interrupted, but it can be done.
        }
    }
    if (worker)
        return watched(*worker, stop);
    const py::gil_scoped_release unlocked;
    return call();
}

py::tuple info(py::object const& data) {
    const FrameBytes frame(data);
    ravelo_frame_info info = RAVELO_FRAME_INFO_INIT;
    ravelo_error error = RAVELO_ERROR_INIT;
    throwIfFailed(ravelo_get_frame_info(frame.data(), frame.size(), &info, &error), error);
    return py::make_tuple(info.width, info.height, info.samples_per_pixel, info.interlace_mode, info.pictures,
                          info.alpha_channel_type, info.color_primaries, info.transfer_characteristic,
                          info.matrix_coefficients, info.header_bytes, info.has_luma_matrix != 0,
                          info.has_chroma_matrix != 0);
}

py::tuple check(py::object const& data) {
    const FrameBytes frame(data);
    ravelo_frame_check check = RAVELO_FRAME_CHECK_INIT;
    ravelo_error error = RAVELO_ERROR_INIT;
    ravelo_status status;
    {
        // The zeros after a frame may be many.
        const py::gil_scoped_release unlocked;
        status = ravelo_check_frame(frame.data(), frame.size(), &check, &error);
    }
    throwIfFailed(status, error);
    return py::make_tuple(check.verdict, check.pictures, check.declared_bytes, check.present_bytes, check.slices,
                          check.slices_out_of_data, check.text);
}

// Options as the modules in Python have checked them.
struct Options {
    ravelo_decode_options values = RAVELO_DECODE_OPTIONS_INIT;
};

Options makeOptions(std::uint32_t reduction, std::uint32_t depth, std::uint32_t form, std::uint32_t coding,
                    py::object const& region, std::uint32_t threads, std::uint32_t target, std::uint32_t failed,
                    std::uint32_t markColor, std::uint64_t maxPixels, std::uint32_t maxReadFactor) {
    Options options;
    options.values.reduction = reduction;
    options.values.bit_depth = depth;
    options.values.pixel_form = form;
    options.values.coding = coding;
    options.values.max_threads = threads;
    options.values.target = target;
    options.values.failed_slices = failed;
    options.values.mark_color = markColor;
    options.values.max_pixels = maxPixels;
    options.values.max_read_factor = maxReadFactor;
    if (!region.is_none()) {
        const py::tuple members(region);
        options.values.region_x = py::cast<std::uint32_t>(members[0]);
        options.values.region_y = py::cast<std::uint32_t>(members[1]);
        options.values.region_width = py::cast<std::uint32_t>(members[2]);
        options.values.region_height = py::cast<std::uint32_t>(members[3]);
    }
    return options;
}

// What the output of a decode has to be. Nothing is written around it.
struct Plan {
    ravelo_decode_options options;
    ravelo_buffer_requirements needs = RAVELO_BUFFER_REQUIREMENTS_INIT;
    ravelo_frame_info frame = RAVELO_FRAME_INFO_INIT;

    bool isPlanar() const { return options.pixel_form == RAVELO_PLANAR; }
    bool isEmpty() const { return needs.width == 0 || needs.height == 0; }
    std::uint64_t numPixels() const { return std::uint64_t{frame.width} * frame.height; }
    // Pictures, rows and slices of a row: the largest where two pictures differ.
    py::tuple grid() const {
        return py::make_tuple(frame.pictures, std::max(frame.slice_rows[0], frame.slice_rows[1]),
                              std::max(frame.slice_columns[0], frame.slice_columns[1]));
    }
    std::uint64_t numSlices() const {
        return std::uint64_t{frame.slice_rows[0]} * frame.slice_columns[0] +
               std::uint64_t{frame.slice_rows[1]} * frame.slice_columns[1];
    }
    // Whether every pixel is written where no slice fails. A single field leaves lines out, and so do two whose lines
    // are no multiple of the divisor.
    bool coversAll() const {
        return frame.interlace_mode == 0 || (frame.interlace_mode != 3 && options.reduction == RAVELO_FULL_SIZE);
    }

    // Whether a plane has one sample for two columns.
    bool isHalved(std::size_t plane) const {
        return isPlanar() && frame.samples_per_pixel == 2 && (plane == 1 || plane == 2);
    }

    char sampleCode() const {
        return options.pixel_form == RAVELO_RGBA_HALF ? 'e' : needs.bytes_per_sample == 2 ? 'H' : 'B';
    }
    std::vector<std::uint64_t> shapeOf(std::uint32_t plane) const {
        if (isPlanar())
            return {needs.planes[plane].height, needs.planes[plane].width};
        return {needs.height, needs.width, needs.samples_per_pixel};
    }
};

// Coded pixels may be written in columns and lines around the picture; those of a region are not.
Plan makePlan(py::object const& data, Options const& options) {
    const FrameBytes frame(data);
    Plan plan{options.values};
    ravelo_error error = RAVELO_ERROR_INIT;
    throwIfFailed(ravelo_get_frame_info(frame.data(), frame.size(), &plan.frame, &error), error);
    throwIfFailed(ravelo_get_buffer_requirements(frame.data(), frame.size(), &plan.options, &plan.needs, &error),
                  error);
    const bool isExact = plan.needs.safe_stride == plan.needs.least_stride && plan.needs.lines == plan.needs.height;
    if (isExact || plan.isEmpty())
        return plan;
    plan.options.region_width = plan.needs.width;
    plan.options.region_height = plan.needs.height;
    throwIfFailed(ravelo_get_buffer_requirements(frame.data(), frame.size(), &plan.options, &plan.needs, &error),
                  error);
    return plan;
}

std::string textOf(std::vector<std::uint64_t> const& shape) {
    std::string text;
    for (const std::uint64_t size : shape)
        text += (text.empty() ? "" : ", ") + std::to_string(size);
    return "(" + text + ")";
}

std::vector<std::uint64_t> shapeOf(Py_buffer const& view) {
    std::vector<std::uint64_t> shape;
    for (int i = 0; i < view.ndim; ++i)
        shape.push_back(static_cast<std::uint64_t>(view.shape[i]));
    return shape;
}

// The letter of a sample of the processor's own order, or 0.
char sampleCodeOf(Py_buffer const& view) {
    std::string_view format = view.format == nullptr ? "B" : view.format;
    if (format.size() == 2 && std::string_view("@=<").find(format[0]) != std::string_view::npos)
        format.remove_prefix(1);
    return format.size() == 1 ? format[0] : '\0';
}

const char* typeName(char sampleCode) {
    return sampleCode == 'e' ? "float16" : sampleCode == 'H' ? "uint16" : "uint8";
}

// The samples of a slice in a plane.
struct PlaneRectangle {
    std::int64_t x, y, width, height, lineStep;
};

// One plane of a picture in the memory of an object. The axes are lines, columns and, where a pixel has several,
// samples.
class PlaneMemory {
public:
    PlaneMemory(py::handle object, int flags, std::string const& name, std::vector<std::uint64_t> const& shape,
                char sampleCode)
        : m_memory(object, flags, name) {
        Py_buffer const& view = m_memory.view();
        if (sampleCodeOf(view) != sampleCode)
            throwPython(PyExc_ValueError, name + " has samples of the type '" +
                                              (view.format == nullptr ? "B" : view.format) + "'; they must be " +
                                              typeName(sampleCode));
        if (shapeOf(view) != shape)
            throwPython(PyExc_ValueError,
                        name + " has the shape " + textOf(shapeOf(view)) + "; it must be " + textOf(shape));
        if (isEmpty())
            return;
        // Some exporters, ctypes among them, leave the strides of contiguous memory out.
        const bool isContiguous = view.strides == nullptr;
        m_lineBytes = view.itemsize;
        for (int i = view.ndim - 1; i > 0; --i) {
            if (!isContiguous && view.shape[i] > 1 && view.strides[i] != m_lineBytes)
                throwPython(PyExc_ValueError, name + ": the samples of a line are not side by side (stride " +
                                                  std::to_string(view.strides[i]) + " in axis " + std::to_string(i) +
                                                  "; it must be " + std::to_string(m_lineBytes) + ")");
            m_lineBytes *= view.shape[i];
        }
        m_stride = !isContiguous && view.shape[0] > 1 ? view.strides[0] : m_lineBytes;
        if (pitch() < m_lineBytes)
            throwPython(PyExc_ValueError, name + ": the lines overlap (stride " + std::to_string(m_stride) +
                                              "; they have " + std::to_string(m_lineBytes) + " bytes)");
    }

    bool isEmpty() const { return m_memory.view().len == 0; }
    std::int64_t stride() const { return m_stride; }
    std::uint8_t* lowest() const {
        auto* const top = static_cast<std::uint8_t*>(m_memory.view().buf);
        return m_stride < 0 ? top - firstLine() : top;
    }
    std::uint64_t firstLine() const { return m_stride < 0 ? bytesToLastLine() : 0; }
    std::uint64_t bytes() const { return bytesToLastLine() + static_cast<std::uint64_t>(m_lineBytes); }

    void clearAll() const {
        Py_buffer const& view = m_memory.view();
        clear({0, 0, view.shape[1], view.shape[0], 1});
    }

    // Zeros in the samples of a slice.
    void clear(PlaneRectangle const& rectangle) const {
        Py_buffer const& view = m_memory.view();
        const std::int64_t columnBytes = m_lineBytes / view.shape[1];
        for (std::int64_t line = 0; line < rectangle.height; ++line) {
            const std::int64_t y = rectangle.y + line * rectangle.lineStep;
            std::memset(static_cast<char*>(view.buf) + y * m_stride + rectangle.x * columnBytes, 0,
                        static_cast<std::size_t>(rectangle.width * columnBytes));
        }
    }

    bool meets(const void* data, std::uint64_t size) const {
        const auto first = reinterpret_cast<std::uintptr_t>(data), own = reinterpret_cast<std::uintptr_t>(lowest());
        return first < own + bytes() && own < first + size;
    }

    // Whether a byte belongs to both. Lines of the same pitch may lie side by side.
    bool meets(PlaneMemory const& other) const {
        if (!meets(other.lowest(), other.bytes()))
            return false;
        if (pitch() != other.pitch())
            return true;
        const std::int64_t offset = ((other.lowest() - lowest()) % pitch() + pitch()) % pitch();
        return offset < m_lineBytes || offset + other.m_lineBytes > pitch();
    }

private:
    std::int64_t pitch() const { return m_stride < 0 ? -m_stride : m_stride; }
    std::uint64_t bytesToLastLine() const {
        return static_cast<std::uint64_t>(m_memory.view().shape[0] - 1) * static_cast<std::uint64_t>(pitch());
    }

    Memory m_memory;
    std::int64_t m_lineBytes = 0;
    std::int64_t m_stride = 0;
};

using Planes = std::vector<std::unique_ptr<PlaneMemory>>;

std::string nameOfPlane(const char* name, std::size_t index, std::size_t count) {
    return count == 1 ? name : std::string(name) + "[" + std::to_string(index) + "]";
}

Planes outputPlanes(py::sequence const& objects, Plan const& plan, FrameBytes const& frame) {
    const std::size_t count = plan.needs.num_planes;
    if (objects.size() != count)
        throwPython(PyExc_ValueError,
                    "out has " + std::to_string(objects.size()) + " planes; it must have " + std::to_string(count));
    Planes planes;
    for (std::size_t i = 0; i < count; ++i) {
        const std::string name = nameOfPlane("out", i, count);
        planes.push_back(std::make_unique<PlaneMemory>(py::object(objects[i]), PyBUF_RECORDS, name,
                                                       plan.shapeOf(static_cast<std::uint32_t>(i)), plan.sampleCode()));
        if (planes[i]->isEmpty())
            continue;
        if (planes[i]->meets(frame.data(), frame.size()))
            throwPython(PyExc_ValueError, name + " and data share memory");
        for (std::size_t k = 0; k < i; ++k) {
            if (planes[i]->meets(*planes[k]))
                throwPython(PyExc_ValueError, name + " and " + nameOfPlane("out", k, count) + " share memory");
        }
    }
    return planes;
}

ravelo_output outputIn(Planes const& planes, bool isPlanar) {
    ravelo_output output = RAVELO_OUTPUT_INIT;
    for (std::size_t i = 0; i < planes.size(); ++i)
        output.planes[i] = {planes[i]->lowest(), planes[i]->bytes(), planes[i]->firstLine(), planes[i]->stride()};
    if (isPlanar)
        return output;
    output.memory = output.planes[0].memory;
    output.memory_bytes = output.planes[0].memory_bytes;
    output.first_line = output.planes[0].first_line;
    output.stride = output.planes[0].stride;
    return output;
}

py::list recordsOf(ravelo_damage_report const& report) {
    py::list records;
    for (std::uint64_t i = 0; i < report.stored; ++i) {
        ravelo_damage const& slice = report.slices[i];
        records.append(py::make_tuple(slice.picture, slice.row, slice.column, slice.component, slice.byte_offset,
                                      slice.x, slice.y, slice.width, slice.height, slice.line_step));
    }
    return records;
}

// Fills what failed slices have left untouched with zeros. Chroma planes of 4:2:2 have a sample for two columns.
void clearFailed(ravelo_damage_report const& report, Plan const& plan, Planes const& planes) {
    if (report.failed > report.stored) {
        // Somebody has changed the frame since its slices were counted.
        for (auto const& plane : planes)
            plane->clearAll();
        return;
    }
    for (std::uint64_t i = 0; i < report.stored; ++i) {
        ravelo_damage const& slice = report.slices[i];
        for (std::size_t k = 0; k < planes.size(); ++k) {
            const std::uint32_t columnsOfSample = plan.isHalved(k) ? 2 : 1;
            const std::uint32_t end = slice.x + slice.width;
            planes[k]->clear({slice.x / columnsOfSample, slice.y,
                              (end + columnsOfSample - 1) / columnsOfSample - slice.x / columnsOfSample, slice.height,
                              slice.line_step});
        }
    }
}

// Decodes into the planes; records of the slices that failed, if they are wanted. In planes that are new, slices that
// the options leave untouched become zeros, so that nobody sees old memory.
py::list decode(py::object const& data, Plan const& plan, py::sequence const& objects, bool isNew, bool wantsRecords,
                StopFlag* givenStop) {
    const FrameBytes frame(data);
    const Planes planes = outputPlanes(objects, plan, frame);
    const bool clears = isNew && plan.options.failed_slices == RAVELO_FAILED_UNTOUCHED;
    ravelo_damage_report report = RAVELO_DAMAGE_REPORT_INIT;
    report.capacity = clears || wantsRecords ? plan.numSlices() : 0;
    // Left as it comes: pages of a list that stays short are never touched.
    const auto slices = std::make_unique_for_overwrite<ravelo_damage[]>(report.capacity);
    report.slices = slices.get();
    StopFlag ownStop;
    StopFlag& stop = givenStop != nullptr ? *givenStop : ownStop;
    if (!plan.isEmpty()) {
        ravelo_decode_options options = plan.options;
        options.stop = &stop.value;
        options.damage = report.capacity != 0 ? &report : nullptr;
        const ravelo_output output = outputIn(planes, plan.isPlanar());
        ravelo_error error = RAVELO_ERROR_INIT;
        const bool isLong = plan.numPixels() + frame.size() >= kLongDecode;
        const ravelo_status status = run(isLong, stop, [&] {
            const ravelo_status ended = ravelo_decode(frame.data(), frame.size(), &output, &options, &error);
            if (ended == RAVELO_OK && clears)
                clearFailed(report, plan, planes);
            return ended;
        });
        throwIfFailed(status, error);
    }
    return wantsRecords ? recordsOf(report) : py::list();
}

// Frees a frame of the encoder.
struct FrameOwner {
    ravelo_encoded_frame frame = RAVELO_ENCODED_FRAME_INIT;

    FrameOwner() = default;
    ~FrameOwner() { ravelo_free_frame(&frame); }
    FrameOwner(FrameOwner const&) = delete;
    FrameOwner& operator=(FrameOwner const&) = delete;
};

struct EncodeOptions {
    ravelo_encode_options values = RAVELO_ENCODE_OPTIONS_INIT;
    std::string lumaMatrix, chromaMatrix; // empty, or 64 weights
};

EncodeOptions makeEncodeOptions(double bitsPerPixel, std::uint32_t index, std::uint32_t chromaFormat,
                                std::uint32_t alphaBits, std::uint32_t interlaceMode, std::uint32_t sliceSize,
                                std::uint32_t threads, std::uint32_t primaries, std::uint32_t transfer,
                                std::uint32_t matrix, py::bytes const& lumaMatrix, py::bytes const& chromaMatrix) {
    EncodeOptions options;
    options.values.bits_per_pixel = bitsPerPixel;
    options.values.quantization_index = index;
    options.values.chroma_format = chromaFormat;
    options.values.alpha_bits = alphaBits;
    options.values.interlace_mode = interlaceMode;
    options.values.slice_size = sliceSize;
    options.values.max_threads = threads;
    options.values.color_primaries = primaries;
    options.values.transfer_characteristic = transfer;
    options.values.matrix_coefficients = matrix;
    options.lumaMatrix = lumaMatrix;
    options.chromaMatrix = chromaMatrix;
    for (std::string const& weights : {options.lumaMatrix, options.chromaMatrix}) {
        if (!weights.empty() && weights.size() != 64)
            throwPython(PyExc_ValueError, "a matrix has 64 weights, not " + std::to_string(weights.size()));
    }
    return options;
}

std::vector<std::uint64_t> sourceShape(ravelo_source_picture const& picture, std::size_t plane) {
    if (picture.pixel_form != RAVELO_PLANAR)
        return {picture.height, picture.width,
                picture.pixel_form == RAVELO_CODED && picture.chroma_format == 2 ? 2u : 4u};
    const bool isHalved = picture.chroma_format == 2 && (plane == 1 || plane == 2);
    return {picture.height, isHalved ? (picture.width + 1) / 2 : picture.width};
}

py::bytes encode(py::sequence const& objects, std::uint32_t width, std::uint32_t height, std::uint32_t form,
                 std::uint32_t depth, std::uint32_t chromaFormat, EncodeOptions const& encodeOptions) {
    ravelo_source_picture picture = RAVELO_SOURCE_PICTURE_INIT;
    picture.width = width;
    picture.height = height;
    picture.pixel_form = form;
    picture.bit_depth = depth;
    picture.chroma_format = chromaFormat;
    const char sampleCode = form == RAVELO_RGBA_HALF ? 'e' : depth > 8 ? 'H' : 'B';
    Planes planes;
    for (std::size_t i = 0; i < objects.size(); ++i) {
        planes.push_back(std::make_unique<PlaneMemory>(py::object(objects[i]), PyBUF_STRIDES | PyBUF_FORMAT,
                                                       nameOfPlane("array", i, objects.size()), sourceShape(picture, i),
                                                       sampleCode));
        picture.planes[i] = {planes[i]->lowest(), planes[i]->bytes(), planes[i]->firstLine(), planes[i]->stride()};
    }
    ravelo_encode_options options = encodeOptions.values;
    options.luma_matrix = encodeOptions.lumaMatrix.empty()
                              ? nullptr
                              : reinterpret_cast<const std::uint8_t*>(encodeOptions.lumaMatrix.data());
    options.chroma_matrix = encodeOptions.chromaMatrix.empty()
                                ? nullptr
                                : reinterpret_cast<const std::uint8_t*>(encodeOptions.chromaMatrix.data());
    StopFlag stop;
    options.stop = &stop.value;
    FrameOwner owner;
    ravelo_error error = RAVELO_ERROR_INIT;
    const bool isLong = std::uint64_t{width} * height >= kLongEncode;
    const ravelo_status status =
        run(isLong, stop, [&] { return ravelo_encode(&picture, &options, &owner.frame, &error); });
    throwIfFailed(status, error);
    return py::bytes(static_cast<const char*>(owner.frame.data), owner.frame.bytes);
}

} // namespace

PYBIND11_MODULE(_core, module) {
    module.attr("version") = ravelo_version_text();
    module.def("best_target", [] { return ravelo_best_target(); });

    py::class_<StopFlag>(module, "StopFlag").def(py::init<>()).def("request", &StopFlag::request);
    py::class_<Options>(module, "Options")
        .def(py::init(&makeOptions), py::arg("reduction"), py::arg("depth"), py::arg("form"), py::arg("coding"),
             py::arg("region"), py::arg("threads"), py::arg("target"), py::arg("failed"), py::arg("mark_color"),
             py::arg("max_pixels"), py::arg("max_read_factor"));
    py::class_<Plan>(module, "Plan")
        .def(py::init(&makePlan), py::arg("data"), py::arg("options"))
        .def_property_readonly("type", [](Plan const& plan) { return typeName(plan.sampleCode()); })
        .def_property_readonly("is_planar", &Plan::isPlanar)
        .def_property_readonly("covers_all", &Plan::coversAll)
        .def_property_readonly("grid", &Plan::grid)
        .def_property_readonly("shapes", [](Plan const& plan) {
            py::list shapes;
            for (std::uint32_t i = 0; i < plan.needs.num_planes; ++i) {
                py::list shape;
                for (const std::uint64_t size : plan.shapeOf(i))
                    shape.append(size);
                shapes.append(py::tuple(shape));
            }
            return shapes;
        });
    py::class_<EncodeOptions>(module, "EncodeOptions")
        .def(py::init(&makeEncodeOptions), py::arg("bits_per_pixel"), py::arg("index"), py::arg("chroma_format"),
             py::arg("alpha_bits"), py::arg("interlace_mode"), py::arg("slice_size"), py::arg("threads"),
             py::arg("primaries"), py::arg("transfer"), py::arg("matrix"), py::arg("luma_matrix"),
             py::arg("chroma_matrix"));

    module.def("info", &info, py::arg("data"));
    module.def("check", &check, py::arg("data"));
    module.def("decode", &decode, py::arg("data"), py::arg("plan"), py::arg("planes"), py::arg("is_new"),
               py::arg("wants_records"), py::arg("stop").none(true));
    module.def("encode", &encode, py::arg("planes"), py::arg("width"), py::arg("height"), py::arg("form"),
               py::arg("depth"), py::arg("chroma_format"), py::arg("options"));
}
