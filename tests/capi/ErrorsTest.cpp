#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "HostFrames.h"
#include "SliceReads.h"
#include "VectorManifest.h"

// Every wrong call is answered by its status, and by a text that holds the value that was wrong. Nothing is written.

namespace {

using testing::HasSubstr;

struct Outcome {
    ravelo_status status;
    std::string text;
};

// A call of ravelo_decode that is right until a test changes a part of it.
struct Call {
    std::vector<std::uint8_t> frame;
    ravelo_decode_options options = usualOptions();
    ravelo_output output{};
    std::vector<std::uint8_t> memory = std::vector<std::uint8_t>(1 << 16, kHostFill);

    explicit Call(FrameSpec const& spec) : frame(smallFrame(spec, 1).bytes) {
        output.struct_size = sizeof output;
        output.memory = memory.data();
        output.memory_bytes = memory.size();
    }
    Call() : Call(smallSpec(2, 0, 0)) {}
    Call(Call const&) = delete;
    Call& operator=(Call const&) = delete;

    Outcome decode() {
        ravelo_error error;
        std::memset(&error, 0x55, sizeof error);
        const ravelo_status status = ravelo_decode(frame.data(), frame.size(), &output, &options, &error);
        EXPECT_EQ(error.status, status);
        EXPECT_EQ(ravelo_decode(frame.data(), frame.size(), &output, &options, nullptr), status);
        return {status, error.text};
    }
};

void expectRefused(Call& call, ravelo_status status, std::string const& text) {
    const Outcome outcome = call.decode();
    EXPECT_EQ(outcome.status, status);
    EXPECT_THAT(outcome.text, HasSubstr(text));
    EXPECT_EQ(call.memory, std::vector<std::uint8_t>(call.memory.size(), kHostFill)) << "a refused call writes nothing";
}

// The stride and the bytes that the usual call needs.
ravelo_buffer_requirements needsOf(Call const& call) {
    ravelo_buffer_requirements needs{};
    needs.struct_size = sizeof needs;
    EXPECT_EQ(ravelo_get_buffer_requirements(call.frame.data(), call.frame.size(), &call.options, &needs, nullptr),
              RAVELO_OK);
    return needs;
}

} // namespace

TEST(ErrorsTest, TheUnchangedCallSucceeds) {
    Call call;
    const Outcome outcome = call.decode();
    EXPECT_EQ(outcome.status, RAVELO_OK);
    EXPECT_EQ(outcome.text, "");
}

TEST(ErrorsTest, MissingArgumentsAreNamed) {
    Call call;
    ravelo_error error;
    EXPECT_EQ(ravelo_decode(nullptr, 77, &call.output, &call.options, &error), RAVELO_ERROR_ARGUMENT);
    EXPECT_THAT(error.text, HasSubstr("77"));
    EXPECT_EQ(ravelo_decode(call.frame.data(), call.frame.size(), nullptr, &call.options, &error),
              RAVELO_ERROR_ARGUMENT);
    EXPECT_THAT(error.text, HasSubstr("the pointer to the output is null"));
    EXPECT_EQ(ravelo_get_frame_info(call.frame.data(), call.frame.size(), nullptr, &error), RAVELO_ERROR_ARGUMENT);
    EXPECT_EQ(ravelo_get_buffer_requirements(call.frame.data(), call.frame.size(), nullptr, nullptr, &error),
              RAVELO_ERROR_ARGUMENT);
    call.output.memory = nullptr;
    expectRefused(call, RAVELO_ERROR_ARGUMENT, "65536");
}

TEST(ErrorsTest, NullOptionsAreTheUsualOnes) {
    Call call;
    EXPECT_EQ(ravelo_decode(call.frame.data(), call.frame.size(), &call.output, nullptr, nullptr), RAVELO_OK);
}

TEST(ErrorsTest, StructuresWithoutTheirSizeAreRefused) {
    Call call;
    call.options.struct_size = 0;
    expectRefused(call, RAVELO_ERROR_STRUCTURE, "struct_size of the decode options is 0");
    call.options.struct_size = sizeof call.options - 1;
    expectRefused(call, RAVELO_ERROR_STRUCTURE, std::to_string(sizeof call.options - 1));
    call.options.struct_size = std::numeric_limits<std::size_t>::max();
    expectRefused(call, RAVELO_ERROR_STRUCTURE, "decode options");
    call.options = usualOptions();
    call.output.struct_size = 3;
    expectRefused(call, RAVELO_ERROR_STRUCTURE, "output is 3");
    ravelo_frame_info info{};
    EXPECT_EQ(ravelo_get_frame_info(call.frame.data(), call.frame.size(), &info, nullptr), RAVELO_ERROR_STRUCTURE);
    ravelo_buffer_requirements needs{};
    EXPECT_EQ(ravelo_get_buffer_requirements(call.frame.data(), call.frame.size(), nullptr, &needs, nullptr),
              RAVELO_ERROR_STRUCTURE);
}

namespace {

// A structure at the start of memory that is larger than any structure may be. The bytes after it are zero up to
// `endOfZeros`.
template <typename Structure>
struct LargeStructure {
    alignas(Structure) std::uint8_t bytes[8192];

    LargeStructure(Structure structure, std::size_t size, std::size_t endOfZeros) {
        structure.struct_size = size;
        std::memset(bytes, 0, endOfZeros);
        std::memset(bytes + endOfZeros, 0x5A, sizeof bytes - endOfZeros);
        std::memcpy(bytes, &structure, sizeof structure);
    }
    Structure* get() { return reinterpret_cast<Structure*>(bytes); }
};

constexpr std::size_t kLargestStructSize = 4096;

// The structures that a host passes.
enum class Handed { Options, Output, Report };
struct HandedStructure {
    Handed which;
    std::string name;
    std::size_t size;
};
const HandedStructure kHandedStructures[] = {
    {Handed::Options, "the decode options", sizeof(ravelo_decode_options)},
    {Handed::Output, "the output", sizeof(ravelo_output)},
    {Handed::Report, "the damage report", sizeof(ravelo_damage_report)},
};

// Decodes with one of the structures as large as that, and the others as they should be.
Outcome decodeWithLarge(Call& call, Handed which, std::size_t size, std::size_t endOfZeros) {
    const auto sizeOf = [=](Handed structure, std::size_t usual) { return structure == which ? size : usual; };
    const auto endOf = [=](Handed structure) { return structure == which ? endOfZeros : 8192; };
    LargeStructure<ravelo_damage_report> report({}, sizeOf(Handed::Report, sizeof(ravelo_damage_report)),
                                                endOf(Handed::Report));
    call.options.damage = report.get();
    LargeStructure<ravelo_decode_options> options(call.options, sizeOf(Handed::Options, sizeof call.options),
                                                  endOf(Handed::Options));
    call.options.damage = nullptr;
    LargeStructure<ravelo_output> output(call.output, sizeOf(Handed::Output, sizeof call.output),
                                         endOf(Handed::Output));
    ravelo_error error{};
    const ravelo_status status =
        ravelo_decode(call.frame.data(), call.frame.size(), output.get(), options.get(), &error);
    return {status, error.text};
}

} // namespace

TEST(ErrorsTest, StructuresAreRefusedFromTheSizeOnThatNoneHas) {
    Call call;
    for (HandedStructure const& structure : kHandedStructures) {
        EXPECT_EQ(decodeWithLarge(call, structure.which, kLargestStructSize, 8192).status, RAVELO_OK);
        for (const std::size_t size : {kLargestStructSize + 1, std::size_t{8000}}) {
            const Outcome outcome = decodeWithLarge(call, structure.which, size, 8192);
            EXPECT_EQ(outcome.status, RAVELO_ERROR_STRUCTURE) << structure.name;
            EXPECT_THAT(outcome.text, HasSubstr("struct_size of " + structure.name + " is " + std::to_string(size)));
        }
    }
}

TEST(ErrorsTest, StructuresThatAreFilledInAreRefusedFromTheSizeOnThatNoneHas) {
    Call call;
    for (const std::size_t size : {kLargestStructSize, kLargestStructSize + 1, std::size_t{8000}}) {
        LargeStructure<ravelo_frame_info> info({}, size, sizeof(ravelo_frame_info));
        LargeStructure<ravelo_buffer_requirements> needs({}, size, sizeof(ravelo_buffer_requirements));
        const ravelo_status expected = size > kLargestStructSize ? RAVELO_ERROR_STRUCTURE : RAVELO_OK;
        EXPECT_EQ(ravelo_get_frame_info(call.frame.data(), call.frame.size(), info.get(), nullptr), expected);
        EXPECT_EQ(ravelo_get_buffer_requirements(call.frame.data(), call.frame.size(), nullptr, needs.get(), nullptr),
                  expected);
        const std::size_t written = expected == RAVELO_OK ? size : 0;
        EXPECT_TRUE(std::all_of(info.bytes + std::max(written, sizeof(ravelo_frame_info)), info.bytes + 8192,
                                [](std::uint8_t byte) { return byte == 0x5A; }));
        EXPECT_TRUE(std::all_of(needs.bytes + std::max(written, sizeof(ravelo_buffer_requirements)), needs.bytes + 8192,
                                [](std::uint8_t byte) { return byte == 0x5A; }));
    }
}

// A newer host may use a member that the library does not know, even only its last byte.
TEST(ErrorsTest, MembersThatTheLibraryDoesNotKnowAreRefusedUnlessTheyAreZero) {
    Call call;
    for (HandedStructure const& structure : kHandedStructures) {
        for (const std::size_t numUnknown : {1u, 8u, 31u}) {
            // The bytes after the structure must not be read.
            const std::size_t size = structure.size + numUnknown;
            EXPECT_EQ(decodeWithLarge(call, structure.which, size, size).status, RAVELO_OK) << structure.name;
            const Outcome outcome = decodeWithLarge(call, structure.which, size, size - 1);
            EXPECT_EQ(outcome.status, RAVELO_ERROR_STRUCTURE) << structure.name;
            EXPECT_THAT(outcome.text,
                        HasSubstr("byte " + std::to_string(size - 1) + " of " + structure.name + " has a value"));
        }
    }
}

// The size that the header declares does not cover the matrices that it announces.
TEST(ErrorsTest, FramesThatEndInsideTheirMatricesAreRefused) {
    for (const std::uint32_t flags : {1u, 2u, 3u}) {
        const std::size_t needed = 8 + 20 + (flags == 3 ? 128 : 64);
        for (const std::uint32_t headerSize : {0u, 20u, 27u}) {
            Call call;
            call.frame.assign(28, 0);
            call.frame[9] = static_cast<std::uint8_t>(headerSize);
            call.frame[8 + 9] = call.frame[8 + 11] = 16;
            call.frame[8 + 12] = 2 << 6;
            call.frame[8 + 19] = static_cast<std::uint8_t>(flags);
            for (const std::size_t size : {std::size_t{28}, std::size_t{29}, needed - 64, needed - 1}) {
                call.frame.resize(size);
                expectRefused(call, RAVELO_ERROR_FRAME, "and has " + std::to_string(needed));
                ravelo_frame_info info{};
                info.struct_size = sizeof info;
                EXPECT_EQ(ravelo_get_frame_info(call.frame.data(), call.frame.size(), &info, nullptr),
                          RAVELO_ERROR_FRAME);
            }
            call.frame.resize(needed);
            EXPECT_EQ(call.decode().status, RAVELO_OK);
        }
    }
}

TEST(ErrorsTest, FramesShorterThanTheirHeaderAreRefused) {
    FrameSpec spec = smallSpec(2, 0, 0);
    spec.lumaMatrix.emplace().fill(4);
    spec.chromaMatrix.emplace().fill(5);
    spec.extraHeaderBytes = 9;
    const std::vector<std::uint8_t> whole = smallFrame(spec, 1).bytes;
    constexpr std::size_t kHeaderBytes = 8 + 20 + 128 + 9;
    for (std::size_t size = 0; size < kHeaderBytes; ++size) {
        Call call(spec);
        call.frame.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
        call.frame.reserve(1); // so that there is an address
        expectRefused(call, RAVELO_ERROR_FRAME, "the frame has " + std::to_string(size) + " bytes");
    }
    Call call(spec);
    call.frame.resize(kHeaderBytes);
    EXPECT_EQ(call.decode().status, RAVELO_OK) << "a frame without pictures is damaged, not malformed";
}

TEST(ErrorsTest, UnknownOptionsAreRefusedWithTheirValue) {
    struct Case {
        std::uint32_t ravelo_decode_options::*option;
        std::uint32_t value;
        const char* text;
    };
    const Case cases[] = {
        {&ravelo_decode_options::reduction, 4, "reduction is 4"},
        {&ravelo_decode_options::reduction, 0xFFFFFFFF, "reduction is 4294967295"},
        {&ravelo_decode_options::coding, 3, "coding is 3"},
        {&ravelo_decode_options::bit_depth, 1, "bit_depth is 1"},
        {&ravelo_decode_options::bit_depth, 9, "bit_depth is 9"},
        {&ravelo_decode_options::bit_depth, 12, "bit_depth is 12"},
        {&ravelo_decode_options::bit_depth, 17, "bit_depth is 17"},
        {&ravelo_decode_options::target, 3, "target is 3"},
        {&ravelo_decode_options::failed_slices, 3, "failed_slices is 3"},
        {&ravelo_decode_options::mark_color, 0x1000000, "mark_color is 0x1000000"},
    };
    for (Case const& wrong : cases) {
        Call call(smallSpec(3, 0, 0));
        call.options.*wrong.option = wrong.value;
        expectRefused(call, RAVELO_ERROR_OPTION, wrong.text);
    }
}

TEST(ErrorsTest, ReducedPicturesOfMoreThanEightBitsAreRefused) {
    for (std::uint32_t reduction = 1; reduction <= 3; ++reduction) {
        for (std::uint32_t depth : {10u, 15u, 16u}) {
            Call call;
            call.options.reduction = reduction;
            call.options.bit_depth = depth;
            expectRefused(call, RAVELO_ERROR_COMBINATION,
                          "reduction " + std::to_string(reduction) + " with bit_depth " + std::to_string(depth));
        }
    }
}

TEST(ErrorsTest, RgbOf422IsRefusedForEveryFormatThatIsDecodedAs422) {
    for (std::uint32_t chroma_format : {0u, 1u, 2u}) {
        for (std::uint32_t coding : {1u, 2u}) {
            Call call(smallSpec(chroma_format, 0, 0));
            call.options.coding = coding;
            expectRefused(call, RAVELO_ERROR_COMBINATION, "coding is " + std::to_string(coding) + "; a 4:2:2 frame");
        }
    }
}

TEST(ErrorsTest, TheLimitOnPixelsIsExactAndCanBeLifted) {
    Call call;
    call.options.max_pixels = 75 * 52 - 1;
    expectRefused(call, RAVELO_ERROR_LIMIT, "75 x 52 = 3900 pixels; max_pixels allows 3899");
    call.options.max_pixels = 75 * 52;
    EXPECT_EQ(call.decode().status, RAVELO_OK);
}

TEST(ErrorsTest, TheLimitOnPixelsIsOnByDefault) {
    // 16384 x 16384 pixels are within, one line more is not; only the requirements are asked for, which cost nothing.
    Call call;
    call.frame[8 + 8] = 0x40;
    call.frame[8 + 9] = 0x00;
    call.frame[8 + 10] = 0x40;
    call.frame[8 + 11] = 0x00;
    needsOf(call);
    call.frame[8 + 11] = 0x01;
    expectRefused(call, RAVELO_ERROR_LIMIT, "268435456");
    call.options.max_pixels = RAVELO_NO_PIXEL_LIMIT;
    EXPECT_EQ(needsOf(call).height, 16385u);
}

// The slices of the usual frame read four times: every one of them begins where the first does.
TEST(ErrorsTest, TheLimitOnReadsIsExactAndCanBeLifted) {
    Call call;
    const MadeFrame made = smallFrame(smallSpec(2, 0, 0), 1);
    for (std::size_t slice = 0; slice < made.slices.size(); ++slice)
        call.frame[made.sliceTableOffsets[0] + 2 * slice] = call.frame[made.sliceTableOffsets[0] + 2 * slice + 1] = 0;
    const std::uint64_t reads = bytesReadBySlices({call.frame.data(), call.frame.size()}, UINT64_MAX);
    const auto factor = static_cast<std::uint32_t>((reads + call.frame.size() - 1) / call.frame.size());
    ASSERT_GT(factor, RAVELO_DEFAULT_MAX_READ_FACTOR) << "the frame must exceed the usual limit";
    call.options.max_read_factor = factor - 1;
    expectRefused(call, RAVELO_ERROR_LIMIT,
                  std::to_string((factor - 1) * call.frame.size()) + " bytes, which is max_read_factor " +
                      std::to_string(factor - 1) + " times its size of " + std::to_string(call.frame.size()));
    ravelo_buffer_requirements needs{};
    needs.struct_size = sizeof needs;
    EXPECT_EQ(ravelo_get_buffer_requirements(call.frame.data(), call.frame.size(), &call.options, &needs, nullptr),
              RAVELO_ERROR_LIMIT);
    for (const std::uint32_t allowed : {factor, RAVELO_NO_READ_LIMIT}) {
        call.options.max_read_factor = allowed;
        EXPECT_EQ(call.decode().status, RAVELO_OK);
        EXPECT_EQ(needsOf(call).width, 75u);
    }
}

TEST(ErrorsTest, TheLimitOnReadsIsTwiceTheFrameByDefault) {
    FrameSpec spec;
    // Four slices of one row that begin at the same byte: each reads its header of 6 bytes and the rest of the frame.
    spec.horizontal_size = 64;
    spec.log2_slice_size_in_mb = 0;
    Call call(spec);
    MadeFrame four = smallFrame(spec, 1);
    const std::size_t slice = four.sliceOffsets[0];
    for (std::size_t i = four.sliceTableOffsets[0]; i < four.sliceTableOffsets[0] + 8; ++i)
        four.bytes[i] = 0;
    four.bytes[slice + 2] = 0x40;
    // 4 * (size - slice) <= 2 * size, where the slice's offset is half of the size or more.
    call.frame.assign(four.bytes.begin(), four.bytes.begin() + static_cast<std::ptrdiff_t>(slice) + 6);
    call.frame.resize(2 * slice);
    EXPECT_EQ(call.decode().status, RAVELO_OK);
    call.frame.resize(2 * slice + 1);
    expectRefused(call, RAVELO_ERROR_LIMIT, "2 times its size of " + std::to_string(2 * slice + 1));
}

TEST(ErrorsTest, StridesBelowTheSafeOneAreRefusedOnBothSidesOfZero) {
    Call call;
    call.options.reduction = RAVELO_HALF_SIZE;
    const ravelo_buffer_requirements needs = needsOf(call);
    ASSERT_GT(needs.safe_stride, needs.least_stride) << "the frame must write columns beyond its width";
    const auto safe = static_cast<std::int64_t>(needs.safe_stride);
    call.output.first_line = 32768;
    for (std::int64_t stride : {safe - 1, 1 - safe, std::int64_t{1}, std::int64_t{-1}}) {
        call.output.stride = stride;
        expectRefused(call, RAVELO_ERROR_BUFFER, "stride is " + std::to_string(stride));
    }
    for (std::int64_t stride : {safe, -safe}) {
        call.output.stride = stride;
        EXPECT_EQ(call.decode().status, RAVELO_OK);
    }
}

TEST(ErrorsTest, StridesThatOverflowAreRefused) {
    for (std::int64_t stride : {std::numeric_limits<std::int64_t>::min(), std::numeric_limits<std::int64_t>::max(),
                                std::numeric_limits<std::int64_t>::max() / 51 + 1, std::int64_t{1} << 62}) {
        Call call;
        call.output.stride = stride;
        expectRefused(call, RAVELO_ERROR_BUFFER, std::to_string(stride));
        call.output.first_line = std::numeric_limits<std::size_t>::max();
        expectRefused(call, RAVELO_ERROR_BUFFER, "first_line");
    }
}

// The product of a stride and the lines between first and last comes out as a few bytes when its upper half is lost,
// and so does the sum with the last line.
TEST(ErrorsTest, StridesWhoseProductsWrapToLittleAreRefused) {
    Call call;
    const std::uint64_t numBetween = needsOf(call).lines - 1;
    const std::uint64_t largest = std::numeric_limits<std::uint64_t>::max();
    const std::uint64_t belowLimit = largest / numBetween;
    for (const std::uint64_t magnitude : {belowLimit, belowLimit + 1, belowLimit + 2}) {
        const auto stride = static_cast<std::int64_t>(magnitude);
        for (const std::int64_t signedStride : {stride, -stride}) {
            for (const std::size_t firstLine : {std::size_t{0}, std::size_t{150}, std::size_t{32768}}) {
                call.output.stride = signedStride;
                call.output.first_line = firstLine;
                expectRefused(call, RAVELO_ERROR_BUFFER, std::to_string(signedStride));
            }
        }
    }
}

TEST(ErrorsTest, MemoryThatIsOneByteTooSmallIsRefused) {
    for (std::uint32_t reduction = 0; reduction <= 3; ++reduction) {
        Call call;
        call.options.reduction = reduction;
        const ravelo_buffer_requirements needs = needsOf(call);
        call.output.memory_bytes = needs.bytes - 1;
        expectRefused(call, RAVELO_ERROR_BUFFER, "memory_bytes is " + std::to_string(needs.bytes - 1));
        call.output.first_line = 1;
        call.output.memory_bytes = needs.bytes;
        expectRefused(call, RAVELO_ERROR_BUFFER, "first_line 1");
        call.output.memory_bytes = needs.bytes + 1;
        EXPECT_EQ(call.decode().status, RAVELO_OK);
    }
}

TEST(ErrorsTest, PicturesThatRunDownwardsNeedTheirFirstLineHighEnough) {
    Call call;
    const ravelo_buffer_requirements needs = needsOf(call);
    const std::uint64_t between = (needs.lines - 1) * needs.safe_stride;
    call.output.stride = -static_cast<std::int64_t>(needs.safe_stride);
    call.output.memory_bytes = needs.bytes;
    call.output.first_line = between - 1;
    expectRefused(call, RAVELO_ERROR_BUFFER, "first_line is " + std::to_string(between - 1));
    call.output.first_line = between + 1;
    expectRefused(call, RAVELO_ERROR_BUFFER, "memory_bytes");
    call.output.first_line = between;
    EXPECT_EQ(call.decode().status, RAVELO_OK);
}

TEST(ErrorsTest, DamageReportsAreChecked) {
    Call call;
    ravelo_damage_report report{};
    call.options.damage = &report;
    expectRefused(call, RAVELO_ERROR_STRUCTURE, "the damage report is 0");
    report.struct_size = sizeof report;
    for (const std::size_t capacity : {std::size_t{1}, std::size_t{12}, SIZE_MAX}) {
        report.capacity = capacity;
        expectRefused(call, RAVELO_ERROR_ARGUMENT, "capacity of the damage report is " + std::to_string(capacity));
    }
    report.capacity = 0;
    EXPECT_EQ(call.decode().status, RAVELO_OK);
}

TEST(ErrorsTest, EveryStatusHasWords) {
    std::vector<std::string> texts;
    for (std::int32_t status = RAVELO_OK; status <= RAVELO_ERROR_INTERNAL; ++status)
        texts.emplace_back(ravelo_status_text(status));
    for (std::string const& text : texts)
        EXPECT_EQ(std::count(texts.begin(), texts.end(), text), 1) << text;
    EXPECT_STREQ(ravelo_status_text(-1), "an unknown status");
    EXPECT_STREQ(ravelo_status_text(RAVELO_ERROR_INTERNAL + 1), "an unknown status");
}
