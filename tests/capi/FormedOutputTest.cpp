#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "GuardedMemory.h"
#include "HostFrames.h"

// Pixel forms, planes and regions by the C interface: what is refused, what memory is needed, that exactly this memory
// is written, and what happens to slices that fail. The pixels are those of PixelFormsTest.

namespace {

using testing::HasSubstr;

ravelo_decode_options formed(std::uint32_t pixelForm, std::uint32_t bitDepth = 0, std::uint32_t reduction = 0) {
    ravelo_decode_options options = usualOptions();
    options.pixel_form = pixelForm;
    options.bit_depth = bitDepth;
    options.reduction = reduction;
    return options;
}

ravelo_decode_options inRegion(ravelo_decode_options options, std::uint32_t x, std::uint32_t y, std::uint32_t width,
                               std::uint32_t height) {
    options.region_x = x;
    options.region_y = y;
    options.region_width = width;
    options.region_height = height;
    return options;
}

struct Asked {
    ravelo_status status = RAVELO_OK;
    std::string text;
    ravelo_buffer_requirements needs{};
};

Asked ask(std::vector<std::uint8_t> const& frame, ravelo_decode_options const& options) {
    Asked asked;
    asked.needs.struct_size = sizeof asked.needs;
    ravelo_error error{};
    asked.status = ravelo_get_buffer_requirements(frame.data(), frame.size(), &options, &asked.needs, &error);
    asked.text = error.text;
    return asked;
}

// An output with memory of just the size that each plane needs, filled with kHostFill.
struct PlanesOfHost {
    ravelo_output output{};
    std::vector<std::uint8_t> memory[RAVELO_MAX_PLANES];

    explicit PlanesOfHost(ravelo_buffer_requirements const& needs) {
        output.struct_size = sizeof output;
        for (std::uint32_t i = 0; i < needs.num_planes; ++i) {
            memory[i].assign(needs.planes[i].bytes, kHostFill);
            if (needs.num_planes == 1) {
                output.memory = memory[0].data();
                output.memory_bytes = memory[0].size();
            } else {
                output.planes[i].memory = memory[i].data();
                output.planes[i].memory_bytes = memory[i].size();
            }
        }
    }
    PlanesOfHost(PlanesOfHost const&) = delete;
    PlanesOfHost& operator=(PlanesOfHost const&) = delete;

    bool isUnwritten() const {
        for (auto const& plane : memory)
            if (!std::all_of(plane.begin(), plane.end(), [](std::uint8_t byte) { return byte == kHostFill; }))
                return false;
        return true;
    }
};

struct DecodeOutcome {
    ravelo_status status;
    std::string text;
};

DecodeOutcome decodeTo(ravelo_output const& output, std::vector<std::uint8_t> const& frame,
                       ravelo_decode_options const& options) {
    ravelo_error error{};
    const ravelo_status status = ravelo_decode(frame.data(), frame.size(), &output, &options, &error);
    return {status, error.text};
}

void expectRefusal(FrameSpec const& spec, ravelo_decode_options const& options, ravelo_status status,
                   std::string const& text) {
    const std::vector<std::uint8_t> frame = smallFrame(spec, 1).bytes;
    const Asked asked = ask(frame, options);
    EXPECT_EQ(asked.status, status) << asked.text;
    EXPECT_THAT(asked.text, HasSubstr(text));
    std::vector<std::uint8_t> memory(1 << 16, kHostFill);
    ravelo_output output{};
    output.struct_size = sizeof output;
    output.memory = memory.data();
    output.memory_bytes = memory.size();
    for (ravelo_plane& plane : output.planes)
        plane = {memory.data(), memory.size(), 0, 0};
    const DecodeOutcome outcome = decodeTo(output, frame, options);
    EXPECT_EQ(outcome.status, status);
    EXPECT_EQ(outcome.text, asked.text);
    EXPECT_EQ(memory, std::vector<std::uint8_t>(memory.size(), kHostFill));
}

// Flat slices of a grey whose code is `luma`, with neutral chroma; slices named by `fails` are damaged.
std::vector<std::uint8_t> flatFrame(FrameSpec const& spec, int luma) {
    const MadeFrame frame = makeFrame(spec, [luma](SlicePlace const&, SliceContent& content) {
        content.quantization_index = 4;
        // A DC of one gives 4 * 4 / 64 steps, half of which are codes.
        for (std::size_t i = 0; i < content.y.size(); i += 64)
            content.y[i] = static_cast<std::int16_t>((luma - 128) * 8);
        std::fill(content.alpha.begin(), content.alpha.end(), static_cast<std::uint16_t>(51));
    });
    return frame.bytes;
}

const std::uint32_t kForms[] = {RAVELO_CODED, RAVELO_RGBA, RAVELO_BGRA, RAVELO_RGBA_HALF, RAVELO_PLANAR};

} // namespace

TEST(FormedOutputTest, FormsHaveTheirDepthsOnly) {
    for (const std::uint32_t form : {RAVELO_RGBA, RAVELO_BGRA, RAVELO_RGBA_HALF, RAVELO_PLANAR}) {
        for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
            for (const std::uint32_t depth : {0u, 1u, 8u, 9u, 10u, 15u, 16u, 17u, 32u}) {
                const bool isRgb = form == RAVELO_RGBA || form == RAVELO_BGRA;
                bool isGood = depth == 0 || (depth == 8 && form != RAVELO_RGBA_HALF);
                if (reduction == 0)
                    isGood =
                        isGood || (depth == 16 && form != RAVELO_RGBA_HALF) || (depth == 10 && form == RAVELO_PLANAR);
                const auto options = formed(form, depth, reduction);
                const std::vector<std::uint8_t> frame = smallFrame(smallSpec(isRgb ? 2 : 3, 0, 0), 1).bytes;
                EXPECT_EQ(ask(frame, options).status, isGood ? RAVELO_OK : RAVELO_ERROR_COMBINATION)
                    << form << " " << depth << " " << reduction;
            }
        }
    }
}

TEST(FormedOutputTest, WrongRequestsAreRefused) {
    const FrameSpec of422 = smallSpec(2, 0, 0), of444 = smallSpec(3, 0, 0); // 75 x 52
    expectRefusal(of422, formed(5), RAVELO_ERROR_OPTION, "pixel_form is 5");
    expectRefusal(of422, formed(RAVELO_RGBA, 10), RAVELO_ERROR_COMBINATION, "bit_depth is 10");
    expectRefusal(of422, formed(RAVELO_RGBA_HALF, 16), RAVELO_ERROR_COMBINATION, "bit_depth is 16");
    expectRefusal(of422, formed(RAVELO_PLANAR, 15), RAVELO_ERROR_COMBINATION, "0, 8, 10 or 16");
    for (const std::uint32_t form : {RAVELO_RGBA, RAVELO_BGRA, RAVELO_RGBA_HALF, RAVELO_PLANAR}) {
        ravelo_decode_options options = formed(form);
        options.coding = RAVELO_RGB_FULL;
        expectRefusal(of444, options, RAVELO_ERROR_COMBINATION, "coding is 1");
    }
    ravelo_decode_options options = usualOptions();
    options.reserved = 7;
    expectRefusal(of422, options, RAVELO_ERROR_STRUCTURE, "reserved");
    options = formed(RAVELO_RGBA);
    options.max_pixels = 75 * 52 - 1;
    expectRefusal(of422, inRegion(options, 0, 0, 1, 1), RAVELO_ERROR_LIMIT, "max_pixels");
}

TEST(FormedOutputTest, RegionsOutsideThePictureAreRefused) {
    const FrameSpec spec = smallSpec(3, 0, 0); // 75 x 52
    for (const std::uint32_t form : kForms) {
        const auto options = formed(form);
        expectRefusal(spec, inRegion(options, 0, 0, 76, 1), RAVELO_ERROR_COMBINATION,
                      "not inside the picture of 75 x 52");
        expectRefusal(spec, inRegion(options, 1, 0, 75, 1), RAVELO_ERROR_COMBINATION, "not inside");
        expectRefusal(spec, inRegion(options, 0, 52, 1, 1), RAVELO_ERROR_COMBINATION, "not inside");
        expectRefusal(spec, inRegion(options, 0, 1, 1, 52), RAVELO_ERROR_COMBINATION, "not inside");
        expectRefusal(spec, inRegion(options, 0xFFFFFFFF, 0, 2, 1), RAVELO_ERROR_COMBINATION, "not inside");
        expectRefusal(spec, inRegion(options, 0, 0xFFFFFFFF, 1, 2), RAVELO_ERROR_COMBINATION, "not inside");
        expectRefusal(spec, inRegion(options, 2, 0xFFFFFFFF, 1, 0xFFFFFFFF), RAVELO_ERROR_COMBINATION, "not inside");
        expectRefusal(spec, inRegion(options, 0, 0, 5, 0), RAVELO_ERROR_COMBINATION, "5 x 0");
        expectRefusal(spec, inRegion(options, 0, 0, 0, 5), RAVELO_ERROR_COMBINATION, "0 x 5");
        expectRefusal(spec, inRegion(options, 1, 0, 0, 0), RAVELO_ERROR_COMBINATION, "0 x 0");
        // In pixels of the reduced size: 37 x 26.
        ravelo_decode_options half = formed(form, 0, 1);
        expectRefusal(spec, inRegion(half, 0, 0, 38, 1), RAVELO_ERROR_COMBINATION, "37 x 26");
        EXPECT_EQ(ask(smallFrame(spec, 1).bytes, inRegion(half, 0, 0, 37, 26)).status, RAVELO_OK);
    }
}

TEST(FormedOutputTest, ChromaIsNotCut) {
    const FrameSpec spec = smallSpec(2, 0, 0); // 75 x 52
    const std::vector<std::uint8_t> frame = smallFrame(spec, 1).bytes;
    for (const std::uint32_t form : kForms) {
        const bool isPaired = form == RAVELO_CODED || form == RAVELO_PLANAR;
        const auto status = [&](std::uint32_t x, std::uint32_t width) {
            return ask(frame, inRegion(formed(form), x, 3, width, 5)).status;
        };
        EXPECT_EQ(status(2, 4), RAVELO_OK);
        EXPECT_EQ(status(74, 1), RAVELO_OK);
        EXPECT_EQ(status(70, 5), RAVELO_OK);
        EXPECT_EQ(status(1, 4), isPaired ? RAVELO_ERROR_COMBINATION : RAVELO_OK);
        EXPECT_EQ(status(2, 3), isPaired ? RAVELO_ERROR_COMBINATION : RAVELO_OK);
        EXPECT_EQ(status(1, 74), isPaired ? RAVELO_ERROR_COMBINATION : RAVELO_OK);
    }
    expectRefusal(spec, inRegion(usualOptions(), 3, 0, 2, 2), RAVELO_ERROR_COMBINATION, "region_x is 3");
    expectRefusal(spec, inRegion(usualOptions(), 0, 0, 3, 2), RAVELO_ERROR_COMBINATION, "region_width is 3");
}

TEST(FormedOutputTest, RequirementsNamePlanesStridesAndBytes) {
    const std::vector<std::uint8_t> of422 = smallFrame(smallSpec(2, 0, 1), 1).bytes; // alpha of 4:2:2 is not written
    const std::vector<std::uint8_t> of4444 = smallFrame(smallSpec(3, 0, 1), 1).bytes;
    ravelo_buffer_requirements needs = ask(of422, formed(RAVELO_RGBA)).needs;
    EXPECT_EQ(needs.width, 75u);
    EXPECT_EQ(needs.height, 52u);
    EXPECT_EQ(needs.lines, 52u);
    EXPECT_EQ(needs.samples_per_pixel, 4u);
    EXPECT_EQ(needs.bytes_per_sample, 1u);
    EXPECT_EQ(needs.num_planes, 1u);
    EXPECT_EQ(needs.least_stride, 300u);
    EXPECT_EQ(needs.safe_stride, 300u);
    EXPECT_EQ(needs.bytes, 300u * 52);
    EXPECT_EQ(needs.planes[0].least_stride, 300u);
    EXPECT_EQ(needs.planes[0].bytes, 300u * 52);
    EXPECT_EQ(needs.planes[1].bytes, 0u);

    EXPECT_EQ(ask(of422, formed(RAVELO_BGRA, 16)).needs.least_stride, 600u);
    EXPECT_EQ(ask(of422, formed(RAVELO_RGBA_HALF)).needs.least_stride, 600u);
    EXPECT_EQ(ask(of422, formed(RAVELO_RGBA_HALF, 0, 3)).needs.bytes, 9u * 6 * 8);

    needs = ask(of422, formed(RAVELO_PLANAR, 10)).needs;
    EXPECT_EQ(needs.num_planes, 3u);
    EXPECT_EQ(needs.samples_per_pixel, 1u);
    EXPECT_EQ(needs.bytes_per_sample, 2u);
    EXPECT_EQ(needs.planes[0].width, 75u);
    EXPECT_EQ(needs.planes[0].least_stride, 150u);
    EXPECT_EQ(needs.planes[1].width, 38u);
    EXPECT_EQ(needs.planes[1].least_stride, 76u);
    EXPECT_EQ(needs.planes[2].bytes, 76u * 52);
    EXPECT_EQ(needs.planes[3].bytes, 0u);
    EXPECT_EQ(needs.bytes, (150u + 2 * 76) * 52);

    needs = ask(of4444, inRegion(formed(RAVELO_PLANAR), 5, 7, 11, 13)).needs;
    EXPECT_EQ(needs.num_planes, 4u);
    for (std::uint32_t i = 0; i < 4; ++i)
        EXPECT_EQ(needs.planes[i].bytes, 11u * 13);

    // A coded region has no columns and lines beyond it.
    needs = ask(of422, inRegion(formed(RAVELO_CODED, 0, 3), 0, 0, 9, 6)).needs;
    EXPECT_EQ(needs.safe_stride, 18u);
    EXPECT_EQ(needs.lines, 6u);
    EXPECT_EQ(ask(of422, formed(RAVELO_CODED, 0, 3)).needs.planes[0].bytes,
              ask(of422, formed(RAVELO_CODED, 0, 3)).needs.bytes);
}

// Each plane ends at an unmapped page, or begins after one, with lines downwards and upwards.
TEST(FormedOutputTest, NothingOutsideThePlanesIsWritten) {
    GuardedMemory guards[4] = {GuardedMemory(1 << 17), GuardedMemory(1 << 17), GuardedMemory(1 << 17),
                               GuardedMemory(1 << 17)};
    for (std::uint32_t chroma = 2; chroma < 4; ++chroma) {
        for (const std::uint32_t width : {75u, 64u, 33u, 9u}) {
            FrameSpec spec = smallSpec(chroma, width % 4, 2);
            spec.horizontal_size = width;
            const std::vector<std::uint8_t> frame = smallFrame(spec, 5).bytes;
            for (const std::uint32_t form : kForms) {
                for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
                    ravelo_decode_options options = formed(form, 0, reduction);
                    if (form == RAVELO_CODED)
                        options = inRegion(options, 0, 1, width >> reduction, (52 >> reduction) - 1);
                    const ravelo_buffer_requirements needs = ask(frame, options).needs;
                    for (int place = 0; place < 4; ++place) {
                        PlanesOfHost host(needs);
                        for (std::uint32_t i = 0; i < needs.num_planes; ++i) {
                            ravelo_plane_requirements const& of = needs.planes[i];
                            const bool isUpwards = place % 2 != 0;
                            ravelo_plane plane{place / 2 == 0 ? guards[i].atStart() : guards[i].atEnd(of.bytes),
                                               of.bytes, isUpwards ? of.bytes - of.least_stride : 0,
                                               isUpwards ? -static_cast<std::int64_t>(of.least_stride) : 0};
                            std::memset(plane.memory, kHostFill, of.bytes);
                            host.output.planes[i] = plane;
                        }
                        if (needs.num_planes == 1) {
                            host.output.memory = host.output.planes[0].memory;
                            host.output.first_line = host.output.planes[0].first_line;
                            host.output.stride = host.output.planes[0].stride;
                        }
                        ASSERT_EQ(decodeTo(host.output, frame, options).status, RAVELO_OK);
                        if (place % 2 == 0)
                            continue;
                        // The same pixels as with lines downwards.
                        PlanesOfHost plain(needs);
                        ASSERT_EQ(decodeTo(plain.output, frame, options).status, RAVELO_OK);
                        for (std::uint32_t i = 0; i < needs.num_planes; ++i) {
                            ravelo_plane_requirements const& of = needs.planes[i];
                            const auto* top = static_cast<std::uint8_t*>(host.output.planes[i].memory) +
                                              host.output.planes[i].first_line;
                            for (std::uint32_t y = 0; y < of.height; ++y)
                                ASSERT_EQ(std::memcmp(top - y * of.least_stride,
                                                      plain.memory[i].data() + y * of.least_stride, of.least_stride),
                                          0);
                        }
                    }
                }
            }
        }
    }
}

TEST(FormedOutputTest, EachPlanesMemoryIsChecked) {
    const std::vector<std::uint8_t> frame = smallFrame(smallSpec(3, 0, 2), 5).bytes;
    const ravelo_decode_options options = formed(RAVELO_PLANAR, 16);
    const ravelo_buffer_requirements needs = ask(frame, options).needs;
    const char* const names[] = {"plane 0 (Y)", "plane 1 (Cb)", "plane 2 (Cr)", "plane 3 (A)"};
    for (std::uint32_t i = 0; i < 4; ++i) {
        const auto expectRefused = [&](ravelo_status status, auto const& change) {
            PlanesOfHost host(needs);
            change(host.output.planes[i]);
            const DecodeOutcome outcome = decodeTo(host.output, frame, options);
            EXPECT_EQ(outcome.status, status);
            EXPECT_THAT(outcome.text, HasSubstr(names[i]));
            EXPECT_TRUE(host.isUnwritten());
        };
        expectRefused(RAVELO_ERROR_ARGUMENT, [](ravelo_plane& plane) { plane.memory = nullptr; });
        expectRefused(RAVELO_ERROR_BUFFER, [](ravelo_plane& plane) { --plane.memory_bytes; });
        expectRefused(RAVELO_ERROR_BUFFER, [](ravelo_plane& plane) { plane.first_line = 1; });
        expectRefused(RAVELO_ERROR_BUFFER, [](ravelo_plane& plane) { plane.stride = 149; });
        expectRefused(RAVELO_ERROR_BUFFER, [](ravelo_plane& plane) { plane.stride = -149; });
        expectRefused(RAVELO_ERROR_BUFFER, [](ravelo_plane& plane) { plane.stride = 151; });
        expectRefused(RAVELO_ERROR_BUFFER, [](ravelo_plane& plane) { plane.stride = -150; });
        expectRefused(RAVELO_ERROR_BUFFER, [](ravelo_plane& plane) { plane.stride = INT64_MIN; });
        expectRefused(RAVELO_ERROR_BUFFER, [](ravelo_plane& plane) { plane.stride = INT64_MAX; });
        expectRefused(RAVELO_ERROR_BUFFER, [](ravelo_plane& plane) { plane.first_line = SIZE_MAX; });
    }
}

TEST(FormedOutputTest, FlatGreysHaveTheirCodes) {
    for (std::uint32_t chroma = 2; chroma < 4; ++chroma) {
        for (const int luma : {16, 126, 235}) {
            FrameSpec spec = smallSpec(chroma, 0, 1);
            const std::vector<std::uint8_t> frame = flatFrame(spec, luma);
            const std::uint32_t code = luma == 16 ? 0 : luma == 235 ? 255 : 128; // 110 of 219 is 128.08
            const std::uint8_t alpha = chroma == 2 ? 255 : 51;
            for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
                for (const std::uint32_t form : {RAVELO_RGBA, RAVELO_BGRA}) {
                    const HostDecode decode = hostDecode(frame, formed(form, 0, reduction));
                    ASSERT_EQ(decode.status, RAVELO_OK);
                    for (std::size_t i = 0; i < decode.pixels.size(); ++i)
                        ASSERT_EQ(decode.pixels[i], i % 4 == 3 ? alpha : code) << luma << " " << i;
                }
            }
        }
    }
}

TEST(FormedOutputTest, FailedSlicesAreFilledInEveryForm) {
    constexpr std::uint8_t kRgba[] = {0x40, 0x80, 0xC0, 0xFF}, kBgra[] = {0xC0, 0x80, 0x40, 0xFF};
    for (std::uint32_t chroma = 2; chroma < 4; ++chroma) {
        for (std::uint32_t interlace = 0; interlace < 3; ++interlace) {
            FrameSpec spec = smallSpec(chroma, interlace, 2);
            spec.vertical_size = 64; // reduced fields have all lines of the reduced picture
            const MadeFrame made = smallFrame(spec, 1);
            // Without slices, so that every pixel is filled.
            const std::vector<std::uint8_t> frame(
                made.bytes.begin(), made.bytes.begin() + static_cast<std::ptrdiff_t>(made.sliceTableOffsets[0]));
            for (std::uint32_t reduction = 0; reduction < 4; ++reduction) {
                ravelo_decode_options options = formed(RAVELO_RGBA, 0, reduction);
                options.failed_slices = RAVELO_FAILED_MARKED;
                options.mark_color = 0x4080C0;
                HostDecode decode = hostDecode(frame, options);
                for (std::size_t i = 0; i < decode.pixels.size(); ++i)
                    ASSERT_EQ(decode.pixels[i], kRgba[i % 4]);
                options.pixel_form = RAVELO_BGRA;
                decode = hostDecode(frame, options);
                for (std::size_t i = 0; i < decode.pixels.size(); ++i)
                    ASSERT_EQ(decode.pixels[i], kBgra[i % 4]);
                options.pixel_form = RAVELO_RGBA_HALF;
                decode = hostDecode(frame, options);
                // 64, 128 and 192 of 255, and 1: in units of 2^-12, 2^-11 and 2^-11.
                constexpr std::uint16_t kHalves[] = {0x3404, 0x3804, 0x3A06, 0x3C00};
                for (std::size_t i = 0; i < decode.pixels.size() / 2; ++i) {
                    std::uint16_t half;
                    std::memcpy(&half, decode.pixels.data() + 2 * i, sizeof half);
                    ASSERT_EQ(half, kHalves[i % 4]);
                }
                options.pixel_form = RAVELO_PLANAR;
                const ravelo_buffer_requirements needs = ask(frame, options).needs;
                PlanesOfHost host(needs);
                ASSERT_EQ(decodeTo(host.output, frame, options).status, RAVELO_OK);
                options.pixel_form = RAVELO_CODED;
                const HostDecode coded = hostDecode(frame, options);
                const std::size_t pair[2][4] = {{1, 0, 2, 0}, {1, 2, 3, 0}};
                for (std::uint32_t i = 0; i < needs.num_planes; ++i)
                    for (const std::uint8_t sample : host.memory[i])
                        ASSERT_EQ(sample, coded.pixels[pair[chroma - 2][i]]) << i;
            }
        }
    }
}

TEST(FormedOutputTest, DamageOfARegionIsInItsCoordinates) {
    for (std::uint32_t interlace = 0; interlace < 4; ++interlace) {
        FrameSpec spec = smallSpec(2, interlace, 0);
        MadeFrame made = smallFrame(spec, 1);
        for (std::size_t i = 0; i < made.sliceOffsets.size(); i += 2)
            std::fill_n(made.bytes.begin() + static_cast<std::ptrdiff_t>(made.sliceOffsets[i]) + 2, 4, std::uint8_t{0});
        for (const std::uint32_t form : {RAVELO_CODED, RAVELO_RGBA, RAVELO_RGBA_HALF}) {
            std::vector<ravelo_damage> ofWhole(64), ofRegion(64);
            const auto decodeInto = [&](ravelo_decode_options options, std::vector<ravelo_damage>& slices) {
                ravelo_damage_report report{};
                report.struct_size = sizeof report;
                report.slices = slices.data();
                report.capacity = slices.size();
                options.damage = &report;
                options.failed_slices = RAVELO_FAILED_MARKED;
                EXPECT_EQ(hostDecode(made.bytes, options).status, RAVELO_OK);
                EXPECT_EQ(report.failed, report.stored);
                slices.resize(report.stored);
            };
            // From the second slice to the middle of the third, and of lines the third to those of the second row.
            constexpr std::uint32_t kX = 32, kY = 3, kWidth = 14, kHeight = 30;
            decodeInto(formed(form), ofWhole);
            decodeInto(inRegion(formed(form), kX, kY, kWidth, kHeight), ofRegion);
            std::size_t next = 0;
            for (ravelo_damage const& slice : ofWhole) {
                const std::uint32_t right = std::min(slice.x + slice.width, kX + kWidth), left = std::max(slice.x, kX);
                std::uint32_t lines = 0, first = 0;
                for (std::uint32_t i = 0; i < slice.height; ++i) {
                    const std::uint32_t line = slice.y + i * slice.line_step;
                    if (line < kY || line >= kY + kHeight)
                        continue;
                    first = lines == 0 ? line - kY : first;
                    ++lines;
                }
                if (left >= right || lines == 0)
                    continue;
                ASSERT_LT(next, ofRegion.size());
                ravelo_damage const& part = ofRegion[next++];
                EXPECT_EQ(part.row, slice.row);
                EXPECT_EQ(part.column, slice.column);
                EXPECT_EQ(part.byte_offset, slice.byte_offset);
                EXPECT_EQ(part.x, left - kX);
                EXPECT_EQ(part.width, right - left);
                EXPECT_EQ(part.y, first);
                EXPECT_EQ(part.height, lines);
                EXPECT_EQ(part.line_step, slice.line_step);
            }
            EXPECT_EQ(next, ofRegion.size()) << "only slices of the region are decoded and counted";
            EXPECT_GT(next, 0u);
        }
    }
}

// The slice to the right of a region is decoded where the region's last pixel depends on its chroma.
TEST(FormedOutputTest, TheNeighbourThatARegionNeedsIsCounted) {
    MadeFrame made = smallFrame(smallSpec(2, 0, 0), 1); // slices of 32 pixels
    std::fill_n(made.bytes.begin() + static_cast<std::ptrdiff_t>(made.sliceOffsets[1]) + 2, 4, std::uint8_t{0});
    const auto failedIn = [&](std::uint32_t form, std::uint32_t width) {
        ravelo_damage slice{};
        ravelo_damage_report report{};
        report.struct_size = sizeof report;
        report.slices = &slice;
        report.capacity = 1;
        ravelo_decode_options options = inRegion(formed(form), 0, 0, width, 16);
        options.damage = &report;
        const HostDecode decode = form == RAVELO_PLANAR ? HostDecode{} : hostDecode(made.bytes, options);
        EXPECT_EQ(decode.status, RAVELO_OK);
        EXPECT_EQ(slice.width, 0u);
        return report.failed;
    };
    EXPECT_EQ(failedIn(RAVELO_RGBA, 32), 1u);
    EXPECT_EQ(failedIn(RAVELO_RGBA, 31), 0u);
    EXPECT_EQ(failedIn(RAVELO_RGBA_HALF, 32), 1u);
    EXPECT_EQ(failedIn(RAVELO_CODED, 32), 0u);
}

// Fields of 20 lines have two at eighth size, all in the first row of macroblocks, and the picture has five. Coded
// pixels of 4:2:2 have the fifth from the second row.
TEST(FormedOutputTest, SlicesWithoutALineOfTheOutputAreNotDecodedForARegion) {
    FrameSpec spec = smallSpec(2, 1, 0);
    spec.vertical_size = 40;
    MadeFrame made = smallFrame(spec, 1);
    for (const std::size_t offset : made.sliceOffsets)
        std::fill_n(made.bytes.begin() + static_cast<std::ptrdiff_t>(offset) + 2, 4, std::uint8_t{0});
    const auto failedIn = [&](std::uint32_t form) {
        ravelo_damage_report report{};
        report.struct_size = sizeof report;
        ravelo_decode_options options = inRegion(formed(form), 0, 4, 4, 1);
        options.reduction = RAVELO_EIGHTH_SIZE;
        options.damage = &report;
        EXPECT_EQ(hostDecode(made.bytes, options).status, RAVELO_OK);
        return report.failed;
    };
    EXPECT_EQ(failedIn(RAVELO_CODED), 1u);
    EXPECT_EQ(failedIn(RAVELO_RGBA), 0u);
    EXPECT_EQ(failedIn(RAVELO_RGBA_HALF), 0u);
}

TEST(FormedOutputTest, AStopLeavesSlicesUnchanged) {
    const std::vector<std::uint8_t> frame = smallFrame(smallSpec(2, 0, 0), 1).bytes;
    const std::int32_t stop = 1;
    for (const std::uint32_t form : kForms) {
        ravelo_decode_options options = inRegion(formed(form), 0, 0, 40, 40);
        options.stop = &stop;
        PlanesOfHost host(ask(frame, options).needs);
        EXPECT_EQ(decodeTo(host.output, frame, options).status, RAVELO_STOPPED);
        EXPECT_TRUE(host.isUnwritten());
    }
}
