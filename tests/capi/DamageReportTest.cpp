#include <algorithm>
#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>
#include <tbb/global_control.h>

#include "HostFrames.h"
#include "Random.h"
#include "RaveloDecoderInterface.h"
#include "SlowFrame.h"

// The damage report against a slow model of the decoder, over thousands of injected damages: no slice that fails is
// missed, and none is invented.

namespace {

constexpr std::size_t kRoom = 512;

struct Reported {
    HostDecode decode;
    std::uint64_t failed = 0;
    std::vector<ravelo_damage> slices;
};

Reported decodeWithReport(std::vector<std::uint8_t> const& frame, ravelo_decode_options options,
                          std::size_t room = kRoom) {
    Reported reported;
    reported.slices.resize(room);
    ravelo_damage_report report{};
    report.struct_size = sizeof report;
    report.slices = reported.slices.data();
    report.capacity = room;
    options.damage = &report;
    reported.decode = hostDecode(frame, options);
    reported.failed = report.failed;
    reported.slices.resize(report.stored);
    return reported;
}

// Where the slices of a frame begin, by the sizes in its tables. Everything beyond the end of the data is at the end.
class SliceOffsets {
public:
    SliceOffsets(std::vector<std::uint8_t> const& frame, SlowFrame const& model) : m_frame(frame) {
        std::uint64_t picture = 8 + model.header.header_size;
        for (std::uint32_t index = 0; index < 2; ++index) {
            std::uint64_t numSlices = 0;
            for (SlowSlice const& slice : model.slices)
                numSlices += slice.pictureIndex == index ? 1 : 0;
            const std::uint64_t table = clipped(picture) + byte(clipped(picture)) / 8;
            std::uint64_t at = table + 2 * numSlices;
            for (std::uint64_t i = 0; i < numSlices; ++i) {
                m_offsets.push_back(clipped(at));
                at += 256 * byte(table + 2 * i) + byte(table + 2 * i + 1);
            }
            std::uint64_t picture_size = 0;
            for (std::uint64_t i = 1; i <= 4; ++i)
                picture_size = 256 * picture_size + byte(clipped(picture) + i);
            picture = clipped(picture) + picture_size;
        }
    }
    std::uint64_t operator[](std::size_t slice) const { return m_offsets[slice]; }

private:
    std::uint64_t byte(std::uint64_t at) const { return at < m_frame.size() ? m_frame[at] : 0; }
    std::uint64_t clipped(std::uint64_t at) const { return std::min<std::uint64_t>(at, m_frame.size()); }

    std::vector<std::uint8_t> const& m_frame;
    std::vector<std::uint64_t> m_offsets;
};

DecodeRequest requestOf(ravelo_decode_options const& options) {
    DecodeRequest request;
    request.downSampleFactor = options.reduction;
    request.colorCoding = options.coding;
    request.bitDepth = options.bit_depth == 0 ? 8 : options.bit_depth;
    request.target = options.target == RAVELO_TARGET_BASELINE || ravelo_best_target() == RAVELO_TARGET_BASELINE
                         ? OptimizationTarget::Baseline
                         : OptimizationTarget::AVX2;
    return request;
}

// The first component that failed. The model stops there, so those after it have no coefficients.
std::uint32_t failedComponent(SlowSlice const& slice) {
    return slice.cb.empty() ? 0 : slice.cr.empty() ? 1 : 2;
}

std::string describe(ravelo_damage const& damage) {
    return "picture " + std::to_string(damage.picture) + " row " + std::to_string(damage.row) + " column " +
           std::to_string(damage.column) + " component " + std::to_string(damage.component) + " byte " +
           std::to_string(damage.byte_offset);
}

// Compares a report with the model, and returns how many slices the model says must fail. Slices whose outcome the
// format leaves open (their data ends inside a symbol after which nothing is read) may be reported or not.
std::uint64_t compareWithModel(std::vector<std::uint8_t> const& frame, ravelo_decode_options const& options) {
    const Reported reported = decodeWithReport(frame, options);
    EXPECT_EQ(reported.decode.status, RAVELO_OK) << reported.decode.text;
    const SlowFrame model = slowParseFrame(frame, requestOf(options));
    const SliceOffsets offsets(frame, model);
    std::uint64_t numFailures = 0;
    std::size_t next = 0;
    for (std::size_t i = 0; i < model.slices.size(); ++i) {
        SlowSlice const& slice = model.slices[i];
        const bool isReported = next < reported.slices.size() && reported.slices[next].picture == slice.pictureIndex &&
                                reported.slices[next].row == slice.mbRow &&
                                reported.slices[next].column == slice.sliceColumn;
        if (!slice.open || slice.ok) {
            EXPECT_EQ(isReported, !slice.ok) << (slice.ok ? "invented" : "missed") << ": picture " << slice.pictureIndex
                                             << " row " << slice.mbRow << " column " << slice.sliceColumn;
            numFailures += slice.ok ? 0 : 1;
        }
        if (!isReported)
            continue;
        if (!slice.open) {
            EXPECT_EQ(reported.slices[next].component, failedComponent(slice)) << describe(reported.slices[next]);
        }
        EXPECT_EQ(reported.slices[next].byte_offset, offsets[i]) << describe(reported.slices[next]);
        ++next;
    }
    EXPECT_EQ(next, reported.slices.size()) << "slices that do not exist, or out of order";
    EXPECT_EQ(reported.failed, reported.slices.size());
    return numFailures;
}

// Damages one place after the frame's header, each in one of the ways in which storage and transport do.
void damage(std::vector<std::uint8_t>& frame, std::size_t header, Random& random) {
    const auto anywhere = [&] {
        return header + randomBelow(random, static_cast<std::uint32_t>(frame.size() - header));
    };
    const std::size_t at = anywhere();
    switch (randomBelow(random, 6)) {
    case 0: // a bit
    case 1:
        frame[at] = static_cast<std::uint8_t>(frame[at] ^ (1u << randomBelow(random, 8)));
        break;
    case 2: // a byte
        frame[at] = static_cast<std::uint8_t>(randomBelow(random, 256));
        break;
    case 3: // a burst of zeros or ones
        std::fill_n(frame.begin() + static_cast<std::ptrdiff_t>(at), std::min<std::size_t>(24, frame.size() - at),
                    static_cast<std::uint8_t>(randomBelow(random, 2) * 255));
        break;
    case 4: // bytes that are lost
        frame.erase(frame.begin() + static_cast<std::ptrdiff_t>(at));
        break;
    default: // the end
        frame.resize(at);
        break;
    }
}

// The kinds of frames and the requests under which they are damaged.
struct Kind {
    FrameSpec spec;
    ravelo_decode_options options;
};

std::vector<Kind> kinds() {
    std::vector<Kind> all;
    for (const std::uint32_t target : {RAVELO_TARGET_BASELINE, RAVELO_TARGET_AVX2}) {
        for (const std::uint32_t reduction : {0u, 0u, 1u, 2u, 3u}) {
            for (const std::uint32_t interlace_mode : {0u, 1u, 3u}) {
                for (const std::uint32_t alpha_channel_type : {0u, 2u}) {
                    Kind kind{smallSpec(alpha_channel_type == 0 ? 2 : 3, interlace_mode, alpha_channel_type),
                              usualOptions()};
                    kind.spec.horizontal_size = 44;
                    kind.spec.vertical_size = 36;
                    kind.options.target = target;
                    kind.options.reduction = reduction;
                    // Damage that makes many slices claim each other's bytes is decoded too.
                    kind.options.max_read_factor = RAVELO_NO_READ_LIMIT;
                    all.push_back(kind);
                }
            }
        }
    }
    return all;
}

} // namespace

TEST(DamageReportTest, TwelveThousandDamagesAreReportedExactly) {
    const std::vector<Kind> all = kinds();
    constexpr int kDamagesOfKind = 200;
    std::uint64_t numFailures = 0;
    int numDamages = 0;
    for (std::size_t i = 0; i < all.size(); ++i) {
        const auto seed = static_cast<std::uint32_t>(4000 + i);
        Random random(seed);
        const MadeFrame frame = smallFrame(all[i].spec, seed);
        for (int round = 0; round < kDamagesOfKind && !HasFailure(); ++round) {
            std::vector<std::uint8_t> damaged = frame.bytes;
            damage(damaged, frame.pictureOffsets[0], random);
            SCOPED_TRACE("seed " + std::to_string(seed) + " round " + std::to_string(round));
            numFailures += compareWithModel(damaged, all[i].options);
            ++numDamages;
        }
    }
    EXPECT_GE(numDamages, 12000);
    // A third of the slices that these damages hit fail, and truncations take many at once.
    EXPECT_GE(numFailures, 10000u) << "the damages must break something";
    RecordProperty("failures", std::to_string(numFailures));
}

TEST(DamageReportTest, SoundFramesHaveNoDamage) {
    for (Kind const& kind : kinds()) {
        const Reported reported = decodeWithReport(smallFrame(kind.spec, 2).bytes, kind.options);
        EXPECT_EQ(reported.decode.status, RAVELO_OK);
        EXPECT_EQ(reported.failed, 0u);
        EXPECT_TRUE(reported.slices.empty());
    }
}

// The rectangles of a report are those of the slices: where all slices fail, they cover the picture once.
TEST(DamageReportTest, TheRectanglesOfAllSlicesCoverThePictureOnce) {
    for (const std::uint32_t interlace_mode : {0u, 1u, 2u, 3u}) {
        for (std::uint32_t reduction = 0; reduction <= 3; ++reduction) {
            for (const bool isDownwards : {false, true}) {
                const MadeFrame frame = smallFrame(smallSpec(2, interlace_mode, 0), 3);
                std::vector<std::uint8_t> headerOnly = frame.bytes;
                // The picture headers stay, which give the size of slices; their tables and slices are removed.
                headerOnly.resize(frame.sliceTableOffsets[0]);
                ravelo_decode_options options = usualOptions();
                options.reduction = reduction;
                std::vector<ravelo_damage> slices(kRoom);
                ravelo_damage_report report{sizeof report, slices.data(), slices.size(), 0, 0, sizeof(ravelo_damage)};
                options.damage = &report;
                std::vector<std::uint8_t> memory(1 << 16);
                const HostDecode asked = hostDecode(headerOnly, options);
                ravelo_output output{sizeof output,
                                     memory.data(),
                                     memory.size(),
                                     0,
                                     static_cast<std::int64_t>(asked.needs.safe_stride),
                                     {}};
                if (isDownwards) {
                    output.first_line = (asked.needs.lines - 1) * asked.needs.safe_stride;
                    output.stride = -output.stride;
                }
                ASSERT_EQ(ravelo_decode(headerOnly.data(), headerOnly.size(), &output, &options, nullptr), RAVELO_OK);
                std::map<std::pair<std::uint32_t, std::uint32_t>, int> times;
                for (std::size_t i = 0; i < report.stored; ++i) {
                    ravelo_damage const& damaged = slices[i];
                    EXPECT_EQ(damaged.line_step, interlace_mode == 0 ? 1u : 2u);
                    for (std::uint32_t y = 0; y < damaged.height; ++y) {
                        for (std::uint32_t x = 0; x < damaged.width; ++x)
                            ++times[{damaged.x + x, damaged.y + y * damaged.line_step}];
                    }
                }
                std::size_t numExpected = 0;
                for (std::uint32_t y = 0; y < asked.needs.height; ++y) {
                    // A reduced field may end above the last line of the reduced frame.
                    const bool isOfFrame = interlace_mode == 0 || times.count({0, y}) != 0;
                    if ((interlace_mode == 3 && y % 2 == 1) || !isOfFrame)
                        continue;
                    for (std::uint32_t x = 0; x < asked.needs.width; ++x)
                        ASSERT_EQ((times[{x, y}]), 1) << x << " " << y;
                    numExpected += asked.needs.width;
                }
                EXPECT_EQ(times.size(), numExpected) << "no pixel outside the picture";
                if (interlace_mode != 3) {
                    EXPECT_GE(numExpected, std::size_t{asked.needs.width} * (asked.needs.height - 1));
                }
            }
        }
    }
}

TEST(DamageReportTest, TheFirstSlicesOfTheFrameAreKeptWhereRoomIsShort) {
    const tbb::global_control four(tbb::global_control::max_allowed_parallelism, 4);
    const MadeFrame frame = smallFrame(smallSpec(2, 1, 0), 4);
    std::vector<std::uint8_t> headerOnly = frame.bytes;
    headerOnly.resize(frame.sliceTableOffsets[0]);
    // 2048 x 2048 pixels: enough slices for several threads to start in the middle of the picture.
    headerOnly[8 + 8] = headerOnly[8 + 10] = 8;
    headerOnly[8 + 9] = headerOnly[8 + 11] = 0;
    const std::size_t all = 2 * 64 * 64;
    const Reported whole = decodeWithReport(headerOnly, usualOptions(), all);
    ASSERT_EQ(whole.slices.size(), all);
    for (const std::size_t room : {std::size_t{0}, std::size_t{1}, std::size_t{7}, all / 8, all / 3, all - 1}) {
        const Reported some = decodeWithReport(headerOnly, usualOptions(), room);
        EXPECT_EQ(some.failed, whole.failed);
        ASSERT_EQ(some.slices.size(), room);
        for (std::size_t i = 0; i < room; ++i) {
            ASSERT_EQ(describe(some.slices[i]), describe(whole.slices[i]));
            ASSERT_EQ(some.slices[i].x, whole.slices[i].x);
        }
    }
}

TEST(DamageReportTest, AnArrayMayBeMissingWhereOnlyTheCountMatters) {
    const MadeFrame frame = smallFrame(smallSpec(2, 0, 0), 5);
    std::vector<std::uint8_t> cut(frame.bytes.begin(), frame.bytes.begin() + 100);
    ravelo_damage_report report = RAVELO_DAMAGE_REPORT_INIT;
    ravelo_decode_options options = usualOptions();
    options.damage = &report;
    EXPECT_EQ(hostDecode(cut, options).status, RAVELO_OK);
    EXPECT_GT(report.failed, 0u);
    EXPECT_EQ(report.stored, 0u);
}

// Nobody who does not ask gets other pixels than one who does.
TEST(DamageReportTest, AReportChangesNoPixel) {
    for (Kind const& kind : kinds()) {
        MadeFrame frame = smallFrame(kind.spec, 6);
        frame.bytes.resize(frame.bytes.size() * 2 / 3);
        EXPECT_EQ(decodeWithReport(frame.bytes, kind.options).decode.pixels,
                  hostDecode(frame.bytes, kind.options).pixels);
    }
}

TEST(DamageReportTest, ARefusedFrameLeavesAnEmptyReport) {
    ravelo_damage slice{};
    ravelo_damage_report report{sizeof report, &slice, 1, 7, 7, sizeof(ravelo_damage)};
    ravelo_decode_options options = usualOptions();
    options.damage = &report;
    const std::vector<std::uint8_t> frame(20);
    EXPECT_EQ(ravelo_decode(frame.data(), frame.size(), nullptr, &options, nullptr), RAVELO_ERROR_FRAME);
    EXPECT_EQ(report.stored, 0u);
    EXPECT_EQ(report.failed, 0u);
}

TEST(DamageReportTest, SlicesThatFailInTheDataAreCountedWithoutRoomToo) {
    FrameSpec spec = smallSpec(2, 0, 0);
    spec.horizontal_size = 200;
    spec.vertical_size = 100;
    MadeFrame frame = smallFrame(spec, 7);
    for (const std::size_t offset : frame.sliceOffsets)
        std::fill_n(frame.bytes.begin() + static_cast<std::ptrdiff_t>(offset + frame.bytes[offset] / 8), 4,
                    std::uint8_t{0});
    // A decode of a small frame stays in the calling thread, unless so many bytes follow that they might be slices.
    frame.bytes.resize(frame.bytes.size() + (std::size_t{1} << 18));
    const Reported all = decodeWithReport(frame.bytes, usualOptions());
    ASSERT_EQ(all.failed, frame.sliceOffsets.size());
    for (const std::uint32_t maxThreads : {1u, 4u}) {
        for (const std::size_t room : {std::size_t{0}, std::size_t{1}, std::size_t{3}}) {
            ravelo_decode_options options = usualOptions();
            options.max_threads = maxThreads;
            const Reported some = decodeWithReport(frame.bytes, options, room);
            EXPECT_EQ(some.failed, all.failed);
            ASSERT_EQ(some.slices.size(), room);
            for (std::size_t i = 0; i < room; ++i)
                EXPECT_EQ(some.slices[i].byte_offset, all.slices[i].byte_offset);
        }
    }
}
