// The C interface with any frame, options, structures and output memory. Every structure is in a block of exactly the
// size that it declares, so that a sanitizer sees a byte that is read or written beyond it.

#include "ravelo.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

#include "FrameMutator.h"
#include "FuzzInput.h"

namespace {

constexpr std::size_t kOptionBytes = 24;

// What a call returns belongs together: the status, and a text of one line wherever something is wrong.
void requireSound(ravelo_status status, ravelo_error const& error) {
    require(status >= RAVELO_OK && status <= RAVELO_ERROR_INTERNAL, "the status exists");
    require(error.status == status, "the error has the status that was returned");
    const char* const end = std::find(std::begin(error.text), std::end(error.text), '\0');
    require(end != std::end(error.text), "the text ends");
    require((end == error.text) == (status == RAVELO_OK), "there is a text unless all is well");
    require(std::none_of(error.text, end, [](char letter) { return letter < 32 || letter == 127; }),
            "the text is one line that can be printed");
}

// A structure as a host of any version hands it in: some say that they are larger or smaller than they are here.
template <typename Structure>
class HostStructure {
public:
    HostStructure(Structure const& values, FuzzInput& input) {
        const std::uint8_t choice = input.byte();
        std::size_t size = sizeof(Structure);
        if (choice >= 252)
            size = choice == 252 ? 0 : choice == 253 ? sizeof(Structure) - 1 : choice == 254 ? 4097 : SIZE_MAX;
        else if (choice >= 240)
            size += 8 * (choice - 239u);
        const std::size_t numBytes = std::max(sizeof(std::size_t), std::min<std::size_t>(size, 4096));
        m_bytes = std::make_unique<std::uint8_t[]>(numBytes);
        std::memcpy(m_bytes.get(), &values, std::min(numBytes, sizeof values));
        std::memcpy(m_bytes.get(), &size, sizeof size);
        m_isUsable = size >= sizeof(Structure) && size <= 4096;
        if (numBytes > sizeof values && (choice & 1) != 0)
            m_bytes[numBytes - 1] = input.byte();
    }

    Structure* pointer() { return reinterpret_cast<Structure*>(m_bytes.get()); }
    // Whether the declared size is one that the library takes.
    bool isUsable() const { return m_isUsable; }

private:
    std::unique_ptr<std::uint8_t[]> m_bytes;
    bool m_isUsable = false;
};

ravelo_decode_options optionsFrom(FuzzInput& input) {
    constexpr std::uint32_t kDepths[8] = {0, 8, 8, 10, 15, 16, 9, 0xFFFFFFFF};
    ravelo_decode_options options{};
    const std::uint8_t first = input.byte();
    options.reduction = first % 5;
    options.bit_depth = kDepths[first >> 5];
    const std::uint8_t second = input.byte();
    options.coding = second & 3;
    options.target = second >> 2 & 3;
    options.failed_slices = second >> 4 & 3;
    options.max_threads = (second >> 6) == 3 ? 2 : 1;
    const std::uint8_t third = input.byte();
    options.mark_color = (third & 1) != 0 ? input.word() * 0x101u : 0;
    options.max_pixels = (third & 2) != 0 ? input.word() : 0;
    options.max_read_factor = third >> 4 == 15 ? RAVELO_NO_READ_LIMIT : third >> 4 == 14 ? 1 : 0;
    return options;
}

// Form and region from the last bytes of the options, which older inputs leave at zero or use for other things too.
void addForm(ravelo_decode_options& options, std::span<const std::uint8_t> tail) {
    if (tail.size() < 4)
        return;
    options.pixel_form = tail[0] % 8;
    if (options.pixel_form > 5)
        options.pixel_form = RAVELO_CODED;
    if ((tail[0] & 0x80) == 0)
        return;
    options.region_x = tail[1];
    options.region_y = tail[2];
    options.region_width = 1u + (tail[3] & 31u) * ((tail[0] & 0x40) != 0 ? 8u : 1u);
    options.region_height = 1u + (tail[3] >> 5) * ((tail[0] & 0x20) != 0 ? 16u : 1u);
    if ((tail[0] & 0x10) != 0)
        options.region_width += 0xFFFFFF00;
}

ravelo_output outputFrom(FuzzInput& input, ravelo_buffer_requirements const& needs, std::size_t& memoryBytes) {
    ravelo_output output{};
    output.struct_size = sizeof output;
    const std::uint8_t choice = input.byte();
    std::uint64_t stride = needs.safe_stride + ((choice & 1) != 0 ? input.byte() : 0u);
    memoryBytes = needs.lines == 0 ? 0 : (needs.lines - 1) * stride + needs.safe_stride;
    if ((choice & 2) != 0) {
        output.first_line = needs.lines == 0 ? 0 : (needs.lines - 1) * stride;
        stride = 0 - stride;
    }
    output.stride = static_cast<std::int64_t>(stride);
    // Some are wrong by a little, some by much.
    if ((choice & 4) != 0)
        memoryBytes -= std::min<std::size_t>(memoryBytes, input.byte());
    if ((choice & 8) != 0)
        output.first_line += input.byte() - 128u;
    if ((choice & 16) != 0)
        output.stride += input.byte() - 128;
    if ((choice & 0xE0) == 0xE0)
        output.stride = static_cast<std::int64_t>(std::uint64_t{input.word()} << 48 | input.word());
    output.memory_bytes = memoryBytes;
    return output;
}

// Memory of exactly the size of each plane; one of them may be wrong by a byte.
std::vector<std::unique_ptr<std::uint8_t[]>> addPlanes(ravelo_output& output, FuzzInput& input,
                                                       ravelo_buffer_requirements const& needs) {
    std::vector<std::unique_ptr<std::uint8_t[]>> memory;
    const std::uint8_t choice = input.byte();
    for (std::uint32_t i = 0; i < needs.num_planes; ++i) {
        ravelo_plane_requirements const& plane = needs.planes[i];
        const bool isShort = (choice >> 4) == i + 1 && plane.bytes != 0;
        const std::size_t bytes = plane.bytes - (isShort ? 1 : 0);
        memory.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(bytes));
        output.planes[i] = {memory.back().get(), bytes, 0, 0};
        if ((choice >> i & 1) != 0 && plane.height != 0) {
            output.planes[i].first_line = plane.bytes - plane.least_stride;
            output.planes[i].stride = -static_cast<std::int64_t>(plane.least_stride);
        }
    }
    return memory;
}

// The report holds the first of the failed slices in their order and nothing else.
void requireSound(ravelo_damage_report const& report, ravelo_buffer_requirements const& needs, bool isFinished) {
    if (!isFinished)
        return;
    require(report.stored == std::min<std::uint64_t>(report.capacity, report.failed),
            "as many entries as there is room");
    for (std::size_t i = 0; i < report.stored; ++i) {
        ravelo_damage const& slice = report.slices[i];
        require(slice.picture < 2 && slice.component < 3 && slice.reserved == 0, "fields have values that exist");
        require(slice.line_step == 1 || slice.line_step == 2, "the step of lines");
        require(slice.width == 0 || slice.x + slice.width <= needs.width, "columns are in the picture");
        require(slice.height == 0 || slice.y + (slice.height - 1) * slice.line_step < needs.height,
                "lines are in the picture");
        if (i == 0)
            continue;
        ravelo_damage const& before = report.slices[i - 1];
        require(std::tie(before.picture, before.row, before.column) < std::tie(slice.picture, slice.row, slice.column),
                "slices are in order");
    }
}

class Session {
public:
    Session(std::span<const std::uint8_t> options, std::span<const std::uint8_t> frame)
        : m_options(options), m_input(options.data(), options.size()), m_frame(frame) {}

    void run() {
        checkStructure();
        askForInformation();
        ravelo_decode_options options = optionsFrom(m_input);
        if (m_options.size() == kOptionBytes)
            addForm(options, m_options.last(4));
        const std::uint8_t capacity = m_input.byte();
        const bool reports = (capacity & 0x80) != 0;
        std::vector<ravelo_damage> entries(capacity & 0x7F);
        ravelo_damage_report values{};
        values.slices = entries.data();
        values.capacity = entries.size();
        HostStructure<ravelo_damage_report> report(values, m_input);
        if (reports)
            options.damage = report.pointer();
        HostStructure<ravelo_decode_options> held(options, m_input);
        ravelo_buffer_requirements needs{};
        needs.struct_size = sizeof needs;
        const ravelo_status asked =
            ravelo_get_buffer_requirements(m_frame.data(), m_frame.size(), held.pointer(), &needs, &m_error);
        requireSound(asked, m_error);
        if (asked != RAVELO_OK || needs.bytes > kMaxBytes || m_pixels > kMaxPixels)
            return;
        require(report.isUsable() || !reports, "a report of a wrong size is refused");
        decode(held.pointer(), needs, reports ? report.pointer() : nullptr);
    }

private:
    static constexpr std::uint64_t kMaxBytes = 1 << 20;
    static constexpr std::uint64_t kMaxPixels = 256 * 256;

    void checkStructure() {
        HostStructure<ravelo_frame_check> check({}, m_input);
        const ravelo_status status = ravelo_check_frame(m_frame.data(), m_frame.size(), check.pointer(), &m_error);
        requireSound(status, m_error);
        require((status == RAVELO_OK) == check.isUsable(), "every frame has a verdict");
        if (status != RAVELO_OK)
            return;
        ravelo_frame_check const& found = *check.pointer();
        require(found.verdict >= RAVELO_FRAME_FOREIGN && found.verdict <= RAVELO_FRAME_WHOLE, "the verdict exists");
        require(found.present_bytes == m_frame.size() && found.pictures <= 2, "the numbers are those of the frame");
        require(found.slices_out_of_data <= found.slices, "slices outside are some of all");
        require((found.verdict == RAVELO_FRAME_CUT_OFF) == (found.declared_bytes > found.present_bytes),
                "a frame is cut off if it declares more");
        require(found.verdict != RAVELO_FRAME_WHOLE || found.slices_out_of_data == 0, "a whole frame has its slices");
    }

    void askForInformation() {
        HostStructure<ravelo_frame_info> info({}, m_input);
        const ravelo_status status = ravelo_get_frame_info(m_frame.data(), m_frame.size(), info.pointer(), &m_error);
        requireSound(status, m_error);
        require(status == RAVELO_OK ? info.isUsable() : true, "a structure of a wrong size is refused");
        if (status == RAVELO_OK)
            m_pixels = std::uint64_t{info.pointer()->width} * info.pointer()->height;
    }

    void decode(ravelo_decode_options const* options, ravelo_buffer_requirements const& needs,
                ravelo_damage_report const* report) {
        const bool isStopped = m_input.byte() == 255;
        std::int32_t stop = isStopped ? 1 : 0;
        std::size_t memoryBytes = 0;
        ravelo_output output = outputFrom(m_input, needs, memoryBytes);
        const auto memory = std::make_unique_for_overwrite<std::uint8_t[]>(memoryBytes);
        output.memory = memory.get();
        const auto planes = addPlanes(output, m_input, needs);
        HostStructure<ravelo_output> held(output, m_input);
        ravelo_decode_options withStop = *options;
        withStop.struct_size = sizeof withStop;
        withStop.stop = (isStopped || m_input.byte() % 4 == 0) ? &stop : nullptr;
        const ravelo_status status = ravelo_decode(m_frame.data(), m_frame.size(), held.pointer(), &withStop, &m_error);
        requireSound(status, m_error);
        require(status != RAVELO_ERROR_INTERNAL && status != RAVELO_ERROR_MEMORY, "nothing unexpected happens");
        require(status != RAVELO_STOPPED || isStopped, "only a flag stops a decode");
        require(held.isUsable() || status != RAVELO_OK, "output of a wrong size is refused");
        if (report != nullptr)
            requireSound(*report, needs, status == RAVELO_OK);
    }

    std::span<const std::uint8_t> m_options;
    FuzzInput m_input;
    std::span<const std::uint8_t> m_frame;
    ravelo_error m_error{};
    std::uint64_t m_pixels = 0;
};

} // namespace

const std::size_t kFrameOffset = kOptionBytes;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::span<const std::uint8_t> options = input.bytes(kOptionBytes);
    const ExactCopy frame(input.rest());
    Session(options, {frame.data(), frame.size()}).run();
    return 0;
}
