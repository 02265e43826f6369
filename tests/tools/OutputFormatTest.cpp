#include "OutputFormat.h"

#include <cstring>

#include <ImfArray.h>
#include <ImfChannelList.h>
#include <ImfInputFile.h>
#include <ImfRgbaFile.h>
#include <ImfStandardAttributes.h>
#include <gmock/gmock.h>
#define XXH_INLINE_ALL
#include <xxhash.h>

#include "CommandError.h"
#include "FrameEncoder.h"
#include "InputFile.h"
#include "PictureReader.h"
#include "PixelBuffer.h"
#include "RgbImage.h"
#include "ToolsTestSupport.h"

using namespace std::string_literals;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

namespace {

DecodedFrame decodedVector(std::string const& name, std::uint32_t bitDepth, ColorCoding coding,
                           std::uint32_t downSampleFactor = 0) {
    DecodedFrame decoded;
    decoded.decode(readFile(vectorPath(name), 1 << 20),
                   {downSampleFactor, coding, bitDepth, OptimizationTarget::Baseline});
    return decoded;
}

DecodeRequest planarRequest(std::uint32_t bitDepth, std::uint32_t downSampleFactor = 0) {
    DecodeRequest request;
    request.bitDepth = bitDepth;
    request.downSampleFactor = downSampleFactor;
    request.pixelForm = RAVELO_PLANAR;
    return request;
}

DecodedFrame decodedPlanes(std::string const& name, DecodeRequest const& request) {
    DecodedFrame decoded;
    decoded.decode(readFile(vectorPath(name), 1 << 20), request);
    return decoded;
}

std::vector<std::uint8_t> y4mFileOf(DecodedFrame const& frame) {
    std::vector<std::uint8_t> bytes = y4mHeader(frame, {});
    const std::vector<std::uint8_t> picture = frameBytes(frame, {.format = OutputFormat::Y4m});
    bytes.insert(bytes.end(), picture.begin(), picture.end());
    return bytes;
}

InputPicture readBack(std::vector<std::uint8_t> bytes) {
    InputFile file("test", std::move(bytes));
    return makePictureReader(file)->next().value();
}

void expectSamples(InputPicture const& picture, RgbImage const& image, bool withAlpha) {
    ASSERT_EQ(picture.width, image.width);
    ASSERT_EQ(picture.height, image.height);
    ASSERT_EQ(picture.maxValue, image.maxValue);
    ASSERT_EQ(picture.hasAlpha(), withAlpha);
    for (std::size_t i = 0; i < picture.numPixels(); ++i) {
        for (std::size_t c = 0; c < 3; ++c)
            ASSERT_EQ(picture.planes[c][i], image.samples[i * image.channels + c]) << i;
        if (withAlpha) {
            ASSERT_EQ(picture.alpha[i], image.samples[i * image.channels + 3]) << i;
        }
    }
}

std::string textOf(std::vector<std::uint8_t> const& bytes) {
    return {bytes.begin(), bytes.end()};
}

// A frame of one colour whose header says this of it.
DecodedFrame decodedOfColor(ColorFields const& color, DecodeRequest const& request) {
    SourcePicture picture;
    picture.width = 16;
    picture.height = 16;
    picture.y.assign(256, 100);
    picture.cb.assign(128, 128);
    picture.cr.assign(128, 128);
    EncoderSettings settings;
    settings.quantization_index = 1;
    settings.color_primaries = color.color_primaries;
    settings.transfer_characteristic = color.transfer_characteristic;
    settings.matrix_coefficients = color.matrix_coefficients;
    DecodedFrame decoded;
    decoded.decode(encodeFrame(picture, settings).bytes, request);
    return decoded;
}

// The data of the first chunk of a type; empty if there is none.
std::string chunkOf(std::string const& png, std::string const& type) {
    for (std::size_t place = 8; place + 12 <= png.size();) {
        std::size_t length = 0;
        for (std::size_t i = 0; i < 4; ++i)
            length = 256 * length + static_cast<std::uint8_t>(png[place + i]);
        if (png.substr(place + 4, 4) == type)
            return png.substr(place + 8, length);
        place += 12 + length;
    }
    return "";
}

constexpr const char* kKinds[] = {"valid422-1.rvl", "valid444-1.rvl", "valid4444_8-1.rvl", "valid4444_16-1.rvl",
                                  "odd-1.rvl"};

ColorCoding rgbWherePossible(std::string const& name) {
    return name.starts_with("valid444") ? ColorCoding_RGBFull : ColorCoding_YCbCr;
}

} // namespace

TEST(OutputFormatTest, ExtensionsTellTheForm) {
    EXPECT_EQ(outputFormatOfPath("a/b.png"), OutputFormat::Png);
    EXPECT_EQ(outputFormatOfPath("A.PNG"), OutputFormat::Png);
    EXPECT_EQ(outputFormatOfPath("b.y4m"), OutputFormat::Y4m);
    EXPECT_EQ(outputFormatOfPath("b.pnm"), OutputFormat::Ppm);
    EXPECT_EQ(outputFormatOfPath("b.tiff"), std::nullopt);
    EXPECT_EQ(outputFormatOfPath("png"), std::nullopt);
}

TEST(OutputFormatTest, PngHoldsEverySample) {
    for (const std::string name : kKinds) {
        for (const std::uint32_t bitDepth : {8u, 16u}) {
            const DecodedFrame frame = decodedVector(name, bitDepth, rgbWherePossible(name));
            const RgbImage image = rgbImageOf(frame);
            expectSamples(readBack(frameBytes(frame, {.format = OutputFormat::Png})), image, image.channels == 4);
        }
    }
}

TEST(OutputFormatTest, PamHoldsEverySampleAtEveryDepth) {
    for (const std::string name : kKinds) {
        for (const std::uint32_t bitDepth : kBitDepths) {
            const DecodedFrame frame = decodedVector(name, bitDepth, rgbWherePossible(name));
            const RgbImage image = rgbImageOf(frame);
            expectSamples(readBack(frameBytes(frame, {.format = OutputFormat::Pam})), image, image.channels == 4);
        }
    }
}

TEST(OutputFormatTest, PpmLeavesAlphaOut) {
    for (const std::uint32_t bitDepth : kBitDepths) {
        const DecodedFrame frame = decodedVector("valid4444_8-1.rvl", bitDepth, ColorCoding_RGBFull);
        expectSamples(readBack(frameBytes(frame, {.format = OutputFormat::Ppm})), rgbImageOf(frame), false);
    }
}

TEST(OutputFormatTest, Y4mHoldsEverySampleOf422) {
    for (const std::uint32_t bitDepth : {8u, 10u, 16u}) {
        const DecodedFrame frame = decodedVector("valid422-1.rvl", bitDepth, ColorCoding_YCbCr);
        const InputPicture back = readBack(y4mFileOf(decodedPlanes("valid422-1.rvl", planarRequest(bitDepth))));
        ASSERT_EQ(back.chroma, ChromaLayout::C422);
        ASSERT_EQ(back.maxValue, frame.maxValue());
        std::vector<std::uint16_t> row;
        for (std::uint32_t y = 0; y < frame.height(); ++y) {
            frame.widenRow(y, row);
            for (std::size_t x = 0; x < frame.width(); ++x) {
                ASSERT_EQ(back.planes[0][std::size_t{y} * frame.width() + x], row[2 * x + 1]);
                std::vector<std::uint16_t> const& chroma = back.planes[x % 2 + 1];
                ASSERT_EQ(chroma[std::size_t{y} * back.chromaWidth() + x / 2], row[2 * x]);
            }
        }
    }
}

TEST(OutputFormatTest, Y4mHoldsEverySampleOf444WithAlpha) {
    const DecodedFrame frame = decodedVector("valid4444_8-1.rvl", 8, ColorCoding_YCbCr);
    const DecodedFrame planes = decodedPlanes("valid4444_8-1.rvl", planarRequest(8));
    EXPECT_THAT(textOf(y4mHeader(planes, {})), HasSubstr(" C444alpha "));
    const InputPicture back = readBack(y4mFileOf(planes));
    for (std::uint32_t y = 0; y < frame.height(); ++y) {
        for (std::size_t x = 0; x < frame.width(); ++x) {
            const std::size_t i = std::size_t{y} * frame.width() + x;
            ASSERT_EQ(back.alpha[i], frame.row(y)[4 * x]);
            for (std::size_t c = 0; c < 3; ++c)
                ASSERT_EQ(back.planes[c][i], frame.row(y)[4 * x + 1 + c]);
        }
    }
}

TEST(OutputFormatTest, Y4mOfARegionFromAnOddLineOnBeginsWithTheOtherField) {
    for (const std::uint32_t interlace : {0u, 1u, 2u, 3u}) {
        SourcePicture picture;
        picture.width = 16;
        picture.height = 16;
        picture.y.assign(256, 100);
        picture.cb.assign(128, 128);
        picture.cr.assign(128, 128);
        EncoderSettings settings;
        settings.quantization_index = 1;
        settings.interlace_mode = interlace;
        const std::vector<std::uint8_t> frame = encodeFrame(picture, settings).bytes;
        for (const std::uint32_t y : {0u, 1u, 2u}) {
            DecodeRequest request = planarRequest(8);
            request.region = {0, y, 16, 8};
            DecodedFrame decoded;
            decoded.decode(frame, request);
            const std::string letter(1, (y % 2 == 0 ? "ptbm" : "pbtm")[interlace]);
            EXPECT_THAT(textOf(y4mHeader(decoded, {})), HasSubstr(" I" + letter + " ")) << y;
        }
    }
}

TEST(OutputFormatTest, Y4mNamesChromaDepthAndFields) {
    EXPECT_THAT(textOf(y4mHeader(decodedPlanes("valid422-1.rvl", planarRequest(8)), {.frameRate = {24000, 1001}})),
                StartsWith("YUV4MPEG2 W272 H144 F24000:1001 Ip A1:1 C422 "));
    EXPECT_THAT(textOf(y4mHeader(decodedVector("valid444-1.rvl", 10, ColorCoding_YCbCr), {})), HasSubstr(" C444p10 "));
    EXPECT_THAT(textOf(y4mHeader(decodedVector("valid4444_8-1.rvl", 16, ColorCoding_YCbCr), {})),
                HasSubstr(" C444p16 "));
}

TEST(OutputFormatTest, Y4mRefusesRgb) {
    EXPECT_THROW(y4mHeader(decodedVector("valid444-1.rvl", 8, ColorCoding_RGBFull), {}), CommandError);
}

TEST(OutputFormatTest, RawHasTheRowsOfTheLibraryWithoutGaps) {
    // At half size the library's rows lie further apart than their pixels reach.
    const DecodedFrame frame = decodedVector("odd-1.rvl", 8, ColorCoding_YCbCr, 1);
    const std::vector<std::uint8_t> raw = frameBytes(frame, {.format = OutputFormat::Raw});
    ASSERT_EQ(raw.size(), std::size_t{frame.width()} * frame.height() * frame.samplesPerPixel());
    for (std::uint32_t y = 0; y < frame.height(); ++y)
        ASSERT_EQ(std::memcmp(raw.data() + y * frame.rowBytes(), frame.row(y).data(), frame.rowBytes()), 0);
}

TEST(OutputFormatTest, HashesAreThoseOfTheRawForm) {
    const DecodedFrame frame = decodedVector("odd-2.rvl", 10, ColorCoding_YCbCr);
    const std::vector<std::uint8_t> raw = frameBytes(frame, {.format = OutputFormat::Raw});
    EXPECT_EQ(xxh3OfPixels(frame), fmt::format("{:016x}", XXH3_64bits(raw.data(), raw.size())));
    EXPECT_EQ(textOf(frameBytes(frame, {.format = OutputFormat::Xxh3}, "a.rvl")), xxh3OfPixels(frame) + "  a.rvl\n");
}

TEST(OutputFormatTest, NpyNamesTypeAndShape) {
    const DecodedFrame frame = decodedVector("valid4444_8-1.rvl", 10, ColorCoding_RGBFull);
    const RgbImage image = rgbImageOf(frame);
    const std::vector<std::uint8_t> bytes = frameBytes(frame, {.format = OutputFormat::Npy});
    const std::string text = textOf(bytes);
    ASSERT_TRUE(text.starts_with("\x93NUMPY\x01\x00"s));
    const std::size_t headerBytes = 10 + bytes[8] + 256u * bytes[9];
    EXPECT_EQ(headerBytes % 64, 0u);
    EXPECT_EQ(text[headerBytes - 1], '\n');
    EXPECT_THAT(text.substr(10, headerBytes - 10),
                HasSubstr(fmt::format("'descr': '<u2', 'fortran_order': False, 'shape': ({}, {}, 4)", image.height,
                                      image.width)));
    ASSERT_EQ(bytes.size() - headerBytes, image.samples.size() * 2);
    EXPECT_EQ(std::memcmp(bytes.data() + headerBytes, image.samples.data(), image.samples.size() * 2), 0);
}

TEST(OutputFormatTest, ExrHoldsHalvesUnclippedWithAssociatedAlpha) {
    for (const char* name : {"valid4444_16-1.rvl", "extremes-1.rvl"}) {
        const TestFolder folder;
        DecodedFrame frame;
        frame.decode(readFile(vectorPath(name), 1 << 20), {.bitDepth = 16, .pixelForm = RAVELO_RGBA_HALF});
        writeTestFile(folder.path("a.exr"), textOf(frameBytes(frame, {.format = OutputFormat::Exr})));
        Imf::RgbaInputFile file(folder.path("a.exr").c_str());
        const bool hasAlpha = frame.header().hasAlphaOutput();
        ASSERT_EQ(file.channels(), hasAlpha ? Imf::WRITE_RGBA : Imf::WRITE_RGB);
        Imf::Array2D<Imf::Rgba> pixels(frame.height(), frame.width());
        file.setFrameBuffer(&pixels[0][0], 1, frame.width());
        file.readPixels(0, static_cast<int>(frame.height()) - 1);
        std::vector<std::uint16_t> row;
        bool isClipped = true;
        for (std::uint32_t y = 0; y < frame.height(); ++y) {
            frame.widenRow(y, row);
            for (std::uint32_t x = 0; x < frame.width(); ++x) {
                half decoded[4];
                for (std::size_t c = 0; c < 4; ++c)
                    decoded[c] = half(half::FromBits, row[4 * x + c]);
                Imf::Rgba const& pixel = pixels[y][x];
                const float alpha = hasAlpha ? float(decoded[3]) : 1.0f;
                ASSERT_EQ(pixel.r.bits(), half(decoded[0] * alpha).bits()) << x << ' ' << y;
                ASSERT_EQ(pixel.g.bits(), half(decoded[1] * alpha).bits()) << x << ' ' << y;
                ASSERT_EQ(pixel.b.bits(), half(decoded[2] * alpha).bits()) << x << ' ' << y;
                ASSERT_EQ(pixel.a.bits(), half(alpha).bits()) << x << ' ' << y;
                isClipped = isClipped && decoded[0] >= 0 && decoded[0] <= 1;
            }
        }
        EXPECT_FALSE(isClipped);
    }
}

TEST(OutputFormatTest, ExrHasCompressionChromaticitiesAndFrameRate) {
    const DecodedFrame frame = decodedOfColor({9, 16, 9}, {.bitDepth = 16, .pixelForm = RAVELO_RGBA_HALF});
    const std::vector<std::pair<std::string_view, Imf::Compression>> compressions = {{"", Imf::ZIP_COMPRESSION},
                                                                                     {"none", Imf::NO_COMPRESSION},
                                                                                     {"zip", Imf::ZIP_COMPRESSION},
                                                                                     {"piz", Imf::PIZ_COMPRESSION},
                                                                                     {"dwaa", Imf::DWAA_COMPRESSION}};
    const TestFolder folder;
    for (auto const& [name, compression] : compressions) {
        const OutputOptions options = {.format = OutputFormat::Exr, .frameRate = {24000, 1001}, .compression = name};
        writeTestFile(folder.path("a.exr"), textOf(frameBytes(frame, options)));
        Imf::RgbaInputFile file(folder.path("a.exr").c_str());
        EXPECT_EQ(file.compression(), compression);
        EXPECT_EQ(Imf::framesPerSecond(file.header()).n, 24000);
        EXPECT_EQ(Imf::framesPerSecond(file.header()).d, 1001u);
        EXPECT_EQ(Imf::chromaticities(file.header()).green, Imath::V2f(0.170f, 0.797f));
        Imf::Array2D<Imf::Rgba> pixels(frame.height(), frame.width());
        file.setFrameBuffer(&pixels[0][0], 1, frame.width());
        file.readPixels(0, static_cast<int>(frame.height()) - 1);
        // One colour, which even the transform of dwaa keeps nearly.
        EXPECT_NEAR(pixels[3][3].g, (100 - 16) / 219.0, 0.01) << name;
    }
    const DecodedFrame unknown = decodedOfColor({2, 2, 2}, {.bitDepth = 16, .pixelForm = RAVELO_RGBA_HALF});
    writeTestFile(folder.path("a.exr"), textOf(frameBytes(unknown, {.format = OutputFormat::Exr})));
    EXPECT_FALSE(Imf::hasChromaticities(Imf::RgbaInputFile(folder.path("a.exr").c_str()).header()));
}

TEST(OutputFormatTest, PngHasTheChunksOfItsColours) {
    struct Case {
        ColorFields color;
        bool videoRange;
        std::string cicp;
        std::uint32_t gamma; // in hundred thousandths; 0: no chunk
        bool isSrgb;
        bool hasPoints;
    };
    const std::vector<Case> cases = {
        {{1, 1, 1}, false, "\x01\x01\x00\x01"s, 41667, false, true},
        {{1, 13, 1}, false, "\x01\x0D\x00\x01"s, 45455, true, true},
        {{9, 16, 9}, false, "\x09\x10\x00\x01"s, 0, false, true},
        {{9, 8, 9}, false, "\x09\x08\x00\x01"s, 100000, false, true},
        {{1, 1, 1}, true, "\x01\x01\x00\x00"s, 0, false, true},
        {{2, 1, 1}, false, "", 41667, false, false},
        {{5, 2, 5}, false, "", 0, false, true},
        {{1, 0, 1}, false, "", 0, false, true},
    };
    for (Case const& each : cases) {
        SCOPED_TRACE(fmt::format("{} {}", each.color.color_primaries, each.color.transfer_characteristic));
        const DecodedFrame frame = decodedOfColor(each.color, {});
        const std::string png =
            textOf(frameBytes(frame, {.format = OutputFormat::Png, .rgb = {.videoRange = each.videoRange}}));
        EXPECT_EQ(chunkOf(png, "cICP"), each.cicp);
        const std::string gamma = {0, char(each.gamma >> 16), char(each.gamma >> 8), char(each.gamma)};
        EXPECT_EQ(chunkOf(png, "gAMA"), each.gamma == 0 ? "" : gamma);
        EXPECT_EQ(chunkOf(png, "sRGB").size(), each.isSrgb ? 1u : 0u);
        EXPECT_EQ(chunkOf(png, "cHRM").size(), each.hasPoints ? 32u : 0u);
        EXPECT_LT(png.find("cHRM") + 1, png.find("IDAT") + 1) << "before the samples, or not at all";
    }
}

TEST(OutputFormatTest, PngHoldsTheSameSamplesAtEveryLevel) {
    const DecodedFrame frame = decodedVector("valid444-1.rvl", 8, ColorCoding_RGBFull);
    const RgbImage image = rgbImageOf(frame);
    std::vector<std::size_t> sizes;
    for (const std::string_view level : infoOf(OutputFormat::Png).compressions) {
        const std::vector<std::uint8_t> png = frameBytes(frame, {.format = OutputFormat::Png, .compression = level});
        expectSamples(readBack(png), image, false);
        sizes.push_back(png.size());
    }
    EXPECT_EQ(sizes[0], frameBytes(frame, {.format = OutputFormat::Png}).size()) << "1 is the default";
    EXPECT_GT(sizes[1], image.samples.size()) << "0 is stored";
    EXPECT_LT(sizes[0], image.samples.size());
    EXPECT_LT(sizes[9], sizes[2]);
}

TEST(OutputFormatTest, Y4mNamesRangeAndColours) {
    const DecodedFrame frame = decodedOfColor({9, 16, 9}, planarRequest(8));
    EXPECT_THAT(textOf(y4mHeader(frame, {})), testing::EndsWith(" XCOLORRANGE=LIMITED XRAVELOCOLOR=9:16:9\n"));
    EXPECT_EQ(readBack(y4mFileOf(frame)).color.transfer_characteristic, 16u);
}

TEST(OutputFormatTest, NullHoldsNothing) {
    const DecodedFrame frame = decodedVector("valid422-1.rvl", 8, ColorCoding_YCbCr);
    EXPECT_THAT(frameBytes(frame, {.format = OutputFormat::Null}, "a"), IsEmpty());
}
