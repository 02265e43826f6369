#include <signal.h>
#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "EncodeSizes.h"
#include "FrameEncoder.h"
#include "GuardedMemory.h"
#include "Random.h"
#include "ravelo.hpp"
#include "ravelo_encode.h"

// The C interface of the encoder against the encoder itself, and against what the decoder makes of its frames.

namespace {

using testing::HasSubstr;

constexpr std::uint32_t kWidth = 75;
constexpr std::uint32_t kHeight = 37;

// Smooth planes in video range.
SourcePicture smoothPicture(std::uint32_t bitDepth, ChromaFormat chromaFormat, std::uint32_t alphaBits) {
    SourcePicture picture;
    picture.width = kWidth;
    picture.height = kHeight;
    picture.chromaFormat = chromaFormat;
    picture.bitDepth = bitDepth;
    picture.alphaBits = alphaBits;
    const double unit = std::ldexp(1.0, static_cast<int>(bitDepth) - 8);
    for (std::uint32_t y = 0; y < kHeight; ++y) {
        for (std::uint32_t x = 0; x < kWidth; ++x)
            picture.y.push_back(static_cast<std::uint16_t>(unit * (60 + x + 40 * std::sin(0.3 * y))));
        for (std::uint32_t x = 0; x < picture.chromaWidth(); ++x) {
            picture.cb.push_back(static_cast<std::uint16_t>(unit * (100 + y)));
            picture.cr.push_back(static_cast<std::uint16_t>(unit * (140 - x % 30)));
        }
        for (std::uint32_t x = 0; x < kWidth && alphaBits != 0; ++x)
            picture.alpha.push_back(static_cast<std::uint16_t>((x * 3 + y) % 256));
    }
    return picture;
}

std::vector<std::uint8_t> bytesOfSamples(std::vector<std::uint16_t> const& samples, std::uint32_t bitDepth) {
    if (bitDepth == 8)
        return {samples.begin(), samples.end()};
    std::vector<std::uint8_t> bytes(2 * samples.size());
    std::memcpy(bytes.data(), samples.data(), bytes.size());
    return bytes;
}

ravelo_source_plane planeOf(std::vector<std::uint8_t> const& bytes) {
    ravelo_source_plane plane{};
    plane.memory = bytes.data();
    plane.memory_bytes = bytes.size();
    return plane;
}

// A picture for the C interface with its memory.
struct HostPicture {
    ravelo_source_picture picture = RAVELO_SOURCE_PICTURE_INIT;
    std::array<std::vector<std::uint8_t>, 4> memory;

    HostPicture(std::uint32_t pixelForm, std::uint32_t bitDepth, std::uint32_t chromaFormat) {
        picture.width = kWidth;
        picture.height = kHeight;
        picture.pixel_form = pixelForm;
        picture.bit_depth = bitDepth;
        picture.chroma_format = chromaFormat;
    }
    HostPicture(HostPicture const&) = delete;
    HostPicture& operator=(HostPicture const&) = delete;

    void usePlane(std::size_t index, std::vector<std::uint8_t> bytes) {
        memory[index] = std::move(bytes);
        picture.planes[index] = planeOf(memory[index]);
    }
};

void usePlanes(HostPicture& host, SourcePicture const& source) {
    host.usePlane(0, bytesOfSamples(source.y, source.bitDepth));
    host.usePlane(1, bytesOfSamples(source.cb, source.bitDepth));
    host.usePlane(2, bytesOfSamples(source.cr, source.bitDepth));
    if (source.alphaBits != 0)
        host.usePlane(3, bytesOfSamples(source.alpha, source.bitDepth));
}

// Memory of a picture whose lines are pages. The first access to a page from `firstTrap` on sets a stop flag and makes
// the page accessible.
class TrapPages {
public:
    TrapPages(std::size_t numPages, std::size_t firstTrap) : m_memory(numPages * GuardedMemory::pageBytes()) {
        const std::size_t bytes = GuardedMemory::pageBytes();
        std::memset(m_memory.atStart(), 100, firstTrap * bytes);
        mprotect(m_memory.atStart() + firstTrap * bytes, (numPages - firstTrap) * bytes, PROT_NONE);
        s_stop = 0;
        s_numTouched = 0;
        struct sigaction action = {};
        action.sa_sigaction = [](int, siginfo_t* info, void*) {
            ravelo_request_stop(&s_stop);
            s_numTouched = s_numTouched + 1;
            const auto address = reinterpret_cast<std::uintptr_t>(info->si_addr);
            const std::size_t page = GuardedMemory::pageBytes();
            mprotect(reinterpret_cast<void*>(address - address % page), page, PROT_READ | PROT_WRITE);
        };
        action.sa_flags = SA_SIGINFO;
        sigaction(SIGSEGV, &action, &m_before);
    }
    ~TrapPages() { sigaction(SIGSEGV, &m_before, nullptr); }
    TrapPages(TrapPages const&) = delete;
    TrapPages& operator=(TrapPages const&) = delete;

    ravelo_source_plane plane() const {
        ravelo_source_plane plane{};
        plane.memory = m_memory.atStart();
        plane.memory_bytes = m_memory.capacityBytes();
        return plane;
    }
    const volatile void* stop() const { return &s_stop; }
    int numTouched() const { return s_numTouched; }

private:
    static inline volatile std::int32_t s_stop = 0;
    static inline volatile int s_numTouched = 0;

    GuardedMemory m_memory;
    struct sigaction m_before = {};
};

struct Encoded {
    ravelo_status status = RAVELO_OK;
    std::string text;
    std::vector<std::uint8_t> bytes;
    std::uint32_t quantization_index = 0;
};

Encoded encode(ravelo_source_picture const& picture, ravelo_encode_options const& options) {
    ravelo_encoded_frame frame = RAVELO_ENCODED_FRAME_INIT;
    ravelo_error error = RAVELO_ERROR_INIT;
    Encoded encoded;
    encoded.status = ravelo_encode(&picture, &options, &frame, &error);
    encoded.text = error.text;
    if (frame.data != nullptr) {
        const auto* const data = static_cast<const std::uint8_t*>(frame.data);
        encoded.bytes.assign(data, data + frame.bytes);
        encoded.quantization_index = frame.quantization_index;
        EXPECT_NEAR(frame.bits_per_pixel, 8.0 * static_cast<double>(frame.bytes) / (kWidth * kHeight), 1e-9);
    }
    ravelo_free_frame(&frame);
    EXPECT_EQ(frame.data, nullptr);
    return encoded;
}

// A picture in RGB of which the borders between colours are soft.
float channelAt(std::uint32_t x, std::uint32_t y, std::uint32_t channel) {
    return static_cast<float>(0.5 + 0.45 * std::sin(0.05 * x + 0.07 * y + channel));
}

std::uint16_t halfOf(float value) {
    // Normal numbers in (0, 1) only.
    const int exponent = std::ilogb(value);
    return static_cast<std::uint16_t>((exponent + 15) << 10 | (std::lround(std::ldexp(value, 10 - exponent)) - 1024));
}

void usePixels(HostPicture& host, std::uint32_t pixelForm) {
    const bool isWide = pixelForm == RAVELO_RGBA_HALF || host.picture.bit_depth == 16;
    std::vector<std::uint16_t> samples;
    for (std::uint32_t y = 0; y < kHeight; ++y) {
        for (std::uint32_t x = 0; x < kWidth; ++x) {
            for (std::uint32_t c = 0; c < 4; ++c) {
                const std::uint32_t channel = pixelForm == RAVELO_BGRA && c < 3 ? 2 - c : c;
                const float value = channelAt(x, y, channel);
                samples.push_back(pixelForm == RAVELO_RGBA_HALF
                                      ? halfOf(value)
                                      : static_cast<std::uint16_t>(std::lround(value * (isWide ? 65535 : 255))));
            }
        }
    }
    host.usePlane(0, bytesOfSamples(samples, isWide ? 16 : 8));
}

} // namespace

TEST(EncodeInterfaceTest, PlanesGiveTheFramesOfTheEncoder) {
    for (const std::uint32_t bitDepth : {8u, 10u, 16u}) {
        for (const ChromaFormat chromaFormat : {ChromaFormat::C422, ChromaFormat::C444}) {
            const SourcePicture source = smoothPicture(bitDepth, chromaFormat, 0);
            HostPicture host(RAVELO_PLANAR, bitDepth, static_cast<std::uint32_t>(chromaFormat));
            usePlanes(host, source);
            ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
            EncoderSettings settings;
            settings.matrix_coefficients = 6;
            const Encoded encoded = encode(host.picture, options);
            EXPECT_EQ(encoded.status, RAVELO_OK) << encoded.text;
            EXPECT_EQ(encoded.bytes, encodeFrame(source, settings).bytes) << bitDepth;
            EXPECT_EQ(encoded.quantization_index, 4u);
        }
    }
}

TEST(EncodeInterfaceTest, OptionsReachTheEncoder) {
    std::array<std::uint8_t, 64> luma, chroma;
    for (std::size_t i = 0; i < 64; ++i) {
        luma[i] = static_cast<std::uint8_t>(4 + i / 8);
        chroma[i] = static_cast<std::uint8_t>(5 + i / 4);
    }
    const SourcePicture source = smoothPicture(8, ChromaFormat::C444, 8);
    HostPicture host(RAVELO_PLANAR, 8, 3);
    usePlanes(host, source);
    ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
    options.alpha_bits = 8;
    options.interlace_mode = 2;
    options.slice_size = 2;
    options.quantization_index = 9;
    options.color_primaries = RAVELO_PRIMARIES_BT2020;
    options.transfer_characteristic = RAVELO_TRANSFER_PQ;
    options.matrix_coefficients = RAVELO_MATRIX_BT2020;
    options.luma_matrix = luma.data();
    options.chroma_matrix = chroma.data();
    EncoderSettings settings;
    settings.interlace_mode = 2;
    settings.log2_slice_size_in_mb = 1;
    settings.quantization_index = 9;
    settings.color_primaries = 9;
    settings.transfer_characteristic = 16;
    settings.matrix_coefficients = 9;
    settings.lumaMatrix = luma;
    settings.chromaMatrix = chroma;
    EXPECT_EQ(encode(host.picture, options).bytes, encodeFrame(source, settings).bytes);
    options.quantization_index = 0;
    options.bits_per_pixel = settings.bitsPerPixel = 9;
    EXPECT_EQ(encode(host.picture, options).bytes, encodeFrame(source, settings).bytes);
}

TEST(EncodeInterfaceTest, InterleavedSamplesAreThoseOfPlanes) {
    SourcePicture source = smoothPicture(10, ChromaFormat::C422, 0);
    // The last Cr of a line of an odd number of columns has no place in memory.
    for (std::size_t last = 37; last < source.cr.size(); last += 38)
        source.cr[last] = source.cr[last - 1];
    HostPicture planar(RAVELO_PLANAR, 10, 2);
    usePlanes(planar, source);
    std::vector<std::uint16_t> samples;
    for (std::uint32_t y = 0; y < kHeight; ++y)
        for (std::uint32_t x = 0; x < kWidth; ++x) {
            samples.push_back((x % 2 == 0 ? source.cb : source.cr)[y * 38 + x / 2]);
            samples.push_back(source.y[y * kWidth + x]);
        }
    HostPicture coded(RAVELO_CODED, 10, 0);
    coded.usePlane(0, bytesOfSamples(samples, 10));
    const ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
    EXPECT_EQ(encode(coded.picture, options).bytes, encode(planar.picture, options).bytes);

    const SourcePicture full = smoothPicture(8, ChromaFormat::C444, 8);
    HostPicture planar444(RAVELO_PLANAR, 8, 3);
    usePlanes(planar444, full);
    samples.clear();
    for (std::size_t i = 0; i < full.y.size(); ++i)
        samples.insert(samples.end(), {full.alpha[i], full.y[i], full.cb[i], full.cr[i]});
    HostPicture coded444(RAVELO_CODED, 8, 3);
    coded444.usePlane(0, bytesOfSamples(samples, 8));
    ravelo_encode_options withAlpha = RAVELO_ENCODE_OPTIONS_INIT;
    withAlpha.alpha_bits = 8;
    EXPECT_EQ(encode(coded444.picture, withAlpha).bytes, encode(planar444.picture, withAlpha).bytes);
}

TEST(EncodeInterfaceTest, RgbComesBackFromTheDecoder) {
    struct Form {
        std::uint32_t pixelForm, bitDepth;
    };
    for (const Form form : {Form{RAVELO_RGBA, 8}, Form{RAVELO_RGBA, 16}, Form{RAVELO_BGRA, 8}, Form{RAVELO_BGRA, 16},
                            Form{RAVELO_RGBA_HALF, 0}}) {
        HostPicture host(form.pixelForm, form.bitDepth, 0);
        usePixels(host, form.pixelForm);
        for (const std::uint32_t chromaFormat : {2u, 3u}) {
            ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
            options.chroma_format = chromaFormat;
            options.alpha_bits = chromaFormat == 3 ? 8 : 0;
            options.quantization_index = 1;
            const Encoded encoded = encode(host.picture, options);
            ASSERT_EQ(encoded.status, RAVELO_OK) << encoded.text;
            ravelo_decode_options decode = RAVELO_DECODE_OPTIONS_INIT;
            decode.pixel_form = RAVELO_RGBA;
            std::vector<std::uint8_t> pixels(kWidth * kHeight * 4);
            ravelo_output output = RAVELO_OUTPUT_INIT;
            output.memory = pixels.data();
            output.memory_bytes = pixels.size();
            ravelo_error error = RAVELO_ERROR_INIT;
            ASSERT_EQ(ravelo_decode(encoded.bytes.data(), encoded.bytes.size(), &output, &decode, &error), RAVELO_OK)
                << error.text;
            // Index 1 quantises to about a code. Of 4:2:2 the chroma between two samples is interpolated, and at the
            // right edge repeated.
            const int allowed = chromaFormat == 3 ? 2 : 5;
            for (std::uint32_t i = 0; i < kWidth * kHeight; ++i)
                for (std::uint32_t c = 0; c < (chromaFormat == 3 ? 4u : 3u); ++c)
                    ASSERT_NEAR(pixels[4 * i + c], 255 * channelAt(i % kWidth, i / kWidth, c), allowed)
                        << form.pixelForm << " " << form.bitDepth << " " << chromaFormat << " " << i << " " << c;
        }
    }
}

TEST(EncodeInterfaceTest, ChromaIsConverted) {
    HostPicture full(RAVELO_PLANAR, 8, 3);
    usePlanes(full, smoothPicture(8, ChromaFormat::C444, 0));
    HostPicture half(RAVELO_PLANAR, 8, 2);
    usePlanes(half, smoothPicture(8, ChromaFormat::C422, 0));
    ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
    options.chroma_format = 2;
    EXPECT_EQ(ravelo::frameInfo(encode(full.picture, options).bytes).chroma_format, 2u);
    options.chroma_format = 3;
    EXPECT_EQ(ravelo::frameInfo(encode(half.picture, options).bytes).chroma_format, 3u);
}

TEST(EncodeInterfaceTest, AlphaIsScaledToTheDepthThatIsCoded) {
    for (const std::uint32_t alphaBits : {8u, 16u}) {
        SourcePicture source = smoothPicture(10, ChromaFormat::C444, 16);
        for (std::size_t i = 0; i < source.alpha.size(); ++i)
            source.alpha[i] = static_cast<std::uint16_t>(i % 1024);
        HostPicture host(RAVELO_PLANAR, 10, 3);
        usePlanes(host, source);
        ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
        options.alpha_bits = alphaBits;
        const Encoded encoded = encode(host.picture, options);
        ASSERT_EQ(encoded.status, RAVELO_OK) << encoded.text;
        ravelo_decode_options decode = RAVELO_DECODE_OPTIONS_INIT;
        decode.pixel_form = RAVELO_RGBA;
        decode.bit_depth = alphaBits;
        std::vector<std::uint8_t> pixels(kWidth * kHeight * alphaBits / 2);
        ravelo_output output = RAVELO_OUTPUT_INIT;
        output.memory = pixels.data();
        output.memory_bytes = pixels.size();
        ASSERT_EQ(ravelo_decode(encoded.bytes.data(), encoded.bytes.size(), &output, &decode, nullptr), RAVELO_OK);
        const std::uint32_t greatest = (1u << alphaBits) - 1;
        for (std::size_t i = 0; i < source.alpha.size(); ++i) {
            std::uint16_t alpha = pixels[4 * i + 3];
            if (alphaBits == 16)
                std::memcpy(&alpha, pixels.data() + 8 * i + 6, sizeof alpha);
            ASSERT_EQ(alpha, (i % 1024 * greatest + 511) / 1023) << alphaBits << " bits, sample " << i;
        }
    }
}

TEST(EncodeInterfaceTest, ThreadsDoNotChangeTheFrame) {
    HostPicture host(RAVELO_PLANAR, 8, 2);
    usePlanes(host, smoothPicture(8, ChromaFormat::C422, 0));
    ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
    options.slice_size = 1;
    const Encoded one = encode(host.picture, options);
    for (const std::uint32_t threads : {2u, 3u, 16u, 1000u}) {
        options.max_threads = threads;
        EXPECT_EQ(encode(host.picture, options).bytes, one.bytes) << threads;
    }
}

TEST(EncodeInterfaceTest, AFlagStopsAnEncode) {
    HostPicture host(RAVELO_PLANAR, 8, 2);
    usePlanes(host, smoothPicture(8, ChromaFormat::C422, 0));
    ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
    std::int32_t stop = 0;
    options.stop = &stop;
    for (const double rate : {0.0, 3.0}) {
        options.bits_per_pixel = rate;
        stop = 0;
        EXPECT_EQ(encode(host.picture, options).status, RAVELO_OK);
        ravelo_request_stop(&stop);
        const Encoded stopped = encode(host.picture, options);
        EXPECT_EQ(stopped.status, RAVELO_STOPPED);
        EXPECT_TRUE(stopped.bytes.empty());
    }
}

TEST(EncodeInterfaceTest, AStopEndsTheReadingOfAPictureAtTheNextLine) {
    ASSERT_EQ(GuardedMemory::pageBytes() % 16, 0u);
    for (const std::uint32_t form : {RAVELO_CODED, RAVELO_RGBA, RAVELO_BGRA, RAVELO_RGBA_HALF, RAVELO_PLANAR}) {
        TrapPages pages(16, 5);
        const std::uint32_t bytesOfPixel = form == RAVELO_PLANAR ? 1 : form == RAVELO_RGBA_HALF ? 8 : 4;
        HostPicture host(form, form == RAVELO_RGBA_HALF ? 0 : 8, form == RAVELO_CODED || form == RAVELO_PLANAR ? 3 : 0);
        host.picture.width = static_cast<std::uint32_t>(GuardedMemory::pageBytes()) / bytesOfPixel;
        host.picture.height = 16;
        for (std::size_t i = 0; i < (form == RAVELO_PLANAR ? 3 : 1); ++i)
            host.picture.planes[i] = pages.plane();
        ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
        options.stop = pages.stop();
        EXPECT_EQ(encode(host.picture, options).status, RAVELO_STOPPED) << form;
        EXPECT_EQ(pages.numTouched(), 1) << form;
    }
}

TEST(EncodeInterfaceTest, NothingOutsideThePlanesIsRead) {
    const SourcePicture source = smoothPicture(8, ChromaFormat::C422, 0);
    HostPicture usual(RAVELO_PLANAR, 8, 2);
    usePlanes(usual, source);
    const ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
    const Encoded expected = encode(usual.picture, options);
    GuardedMemory y(1 << 16), cb(1 << 16), cr(1 << 16);
    const std::array<GuardedMemory*, 3> guarded = {&y, &cb, &cr};
    HostPicture host(RAVELO_PLANAR, 8, 2);
    for (std::size_t i = 0; i < 3; ++i) {
        host.picture.planes[i] = planeOf(usual.memory[i]);
        host.picture.planes[i].memory = guarded[i]->copyAtEnd(usual.memory[i]);
    }
    EXPECT_EQ(encode(host.picture, options).bytes, expected.bytes);
    // The same lines from the last in memory to the first.
    std::vector<std::uint8_t> reversed;
    for (std::uint32_t line = kHeight; line-- > 0;)
        reversed.insert(reversed.end(), usual.memory[0].begin() + line * kWidth,
                        usual.memory[0].begin() + (line + 1) * kWidth);
    host.picture.planes[0].memory = y.copyAtStart(reversed);
    host.picture.planes[0].stride = -static_cast<std::int64_t>(kWidth);
    host.picture.planes[0].first_line = kWidth * (kHeight - 1);
    EXPECT_EQ(encode(host.picture, options).bytes, expected.bytes);
}

TEST(EncodeInterfaceTest, WrongCallsAreRefused) {
    HostPicture host(RAVELO_PLANAR, 8, 2);
    usePlanes(host, smoothPicture(8, ChromaFormat::C422, 0));
    const auto refused = [](ravelo_source_picture const& picture, ravelo_encode_options const& options,
                            ravelo_status status, const char* text) {
        const Encoded encoded = encode(picture, options);
        EXPECT_EQ(encoded.status, status) << encoded.text;
        EXPECT_THAT(encoded.text, HasSubstr(text));
        EXPECT_TRUE(encoded.bytes.empty());
    };
    const auto withPicture = [&](auto const& change, ravelo_status status, const char* text) {
        ravelo_source_picture picture = host.picture;
        change(picture);
        refused(picture, RAVELO_ENCODE_OPTIONS_INIT, status, text);
    };
    using Picture = ravelo_source_picture;
    withPicture([](Picture& p) { p.struct_size = 8; }, RAVELO_ERROR_STRUCTURE, "the picture is 8");
    withPicture([](Picture& p) { p.reserved = 1; }, RAVELO_ERROR_STRUCTURE, "reserved of the picture is 1");
    withPicture([](Picture& p) { p.width = 0; }, RAVELO_ERROR_OPTION, "0 x 37");
    withPicture([](Picture& p) { p.height = 65536; }, RAVELO_ERROR_OPTION, "75 x 65536");
    withPicture([](Picture& p) { p.pixel_form = 5; }, RAVELO_ERROR_OPTION, "pixel_form of the picture is 5");
    withPicture([](Picture& p) { p.bit_depth = 7; }, RAVELO_ERROR_COMBINATION, "bit_depth of the picture is 7");
    withPicture([](Picture& p) { p.chroma_format = 4; }, RAVELO_ERROR_COMBINATION, "chroma_format of the picture is 4");
    withPicture([](Picture& p) { p.planes[1].memory = nullptr; }, RAVELO_ERROR_ARGUMENT, "plane Cb");
    withPicture([](Picture& p) { p.planes[0].memory_bytes -= 1; }, RAVELO_ERROR_BUFFER, "plane Y: 37 lines of 75");
    withPicture([](Picture& p) { p.planes[0].stride = 74; }, RAVELO_ERROR_BUFFER, "74");
    withPicture([](Picture& p) { p.planes[0].stride = INT64_MIN; }, RAVELO_ERROR_BUFFER, "plane Y");
    withPicture([](Picture& p) { p.planes[0].first_line = UINT64_MAX; }, RAVELO_ERROR_BUFFER, "plane Y");
    withPicture([](Picture& p) { p.bit_depth = 16; }, RAVELO_ERROR_BUFFER, "37 lines of 150");
    withPicture(
        [](Picture& p) {
            p.planes[0].stride = -75;
            p.planes[0].first_line = 75 * 36 - 1;
        },
        RAVELO_ERROR_BUFFER, "plane Y: 37 lines of 75 bytes with the stride -75");

    const auto withOptions = [&](auto const& change, ravelo_status status, const char* text) {
        ravelo_encode_options options = RAVELO_ENCODE_OPTIONS_INIT;
        change(options);
        refused(host.picture, options, status, text);
    };
    using Options = ravelo_encode_options;
    withOptions([](Options& o) { o.struct_size = 0; }, RAVELO_ERROR_STRUCTURE, "the encode options is 0");
    withOptions([](Options& o) { o.reserved = 2; }, RAVELO_ERROR_STRUCTURE, "reserved of the encode options is 2");
    withOptions([](Options& o) { o.chroma_format = 1; }, RAVELO_ERROR_OPTION, "chroma_format is 1");
    withOptions([](Options& o) { o.alpha_bits = 10; }, RAVELO_ERROR_OPTION, "alpha_bits is 10");
    withOptions([](Options& o) { o.interlace_mode = 4; }, RAVELO_ERROR_OPTION, "interlace_mode is 4");
    withOptions([](Options& o) { o.slice_size = 3; }, RAVELO_ERROR_OPTION, "slice_size is 3");
    withOptions([](Options& o) { o.quantization_index = 256; }, RAVELO_ERROR_OPTION, "quantization_index is 256");
    withOptions([](Options& o) { o.color_primaries = 256; }, RAVELO_ERROR_OPTION, "color_primaries is 256");
    withOptions([](Options& o) { o.bits_per_pixel = -1; }, RAVELO_ERROR_OPTION, "bits_per_pixel is -1");
    withOptions([](Options& o) { o.bits_per_pixel = 1e6; }, RAVELO_ERROR_COMBINATION, "");
    withOptions([](Options& o) { o.bits_per_pixel = o.quantization_index = 3; }, RAVELO_ERROR_COMBINATION,
                "one of them");
    EXPECT_EQ(ravelo_encode(&host.picture, nullptr, nullptr, nullptr), RAVELO_ERROR_ARGUMENT);
    ravelo_free_frame(nullptr);
}

TEST(EncodeInterfaceTest, StructuresHaveTheSizesOfTheFirstVersion) {
    EXPECT_EQ(sizeof(ravelo_source_picture), kFirstSize<ravelo_source_picture>);
    EXPECT_EQ(sizeof(ravelo_encode_options), kFirstSize<ravelo_encode_options>);
    EXPECT_EQ(sizeof(ravelo_encoded_frame), kFirstSize<ravelo_encoded_frame>);
}
