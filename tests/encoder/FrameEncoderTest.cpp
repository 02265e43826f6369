#include "FrameEncoder.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <functional>
#include <optional>
#include <stdexcept>

#include <gtest/gtest.h>

#include "FrameShape.h"
#include "Random.h"
#include "TestPictures.h"

namespace {

std::array<std::uint8_t, 64> flatMatrix(std::uint8_t value) {
    std::array<std::uint8_t, 64> matrix{};
    matrix.fill(value);
    return matrix;
}

// Steps of 1/8, the finest that there are. The error of a sample is then at most 64 half steps, each times a basis
// function whose squares sum to 1, so at most 8 / 16 of 512 steps: a quarter of a code of 8 bits. Pictures of 8 bits
// come back exactly.
EncoderSettings finestSettings() {
    EncoderSettings settings;
    settings.quantization_index = 1;
    settings.lumaMatrix = flatMatrix(1);
    return settings;
}

std::vector<OptimizationTarget> const& targets() {
    static const std::vector<OptimizationTarget> s_targets = runnableTargets();
    return s_targets;
}

void expectExact(SourcePicture const& picture, EncoderSettings const& settings) {
    const EncodedFrame frame = encodeFrame(picture, settings);
    DecodedPicture expected = interleaved(picture, 255);
    if (settings.interlace_mode == 3)
        for (std::size_t line = 0; line < picture.height; ++line)
            if (line % 2 == 1 || line / 2 >= picture.height / 2)
                std::fill_n(expected.samples.begin() + static_cast<std::ptrdiff_t>(line * expected.samplesPerLine),
                            expected.samplesPerLine, DecodedPicture::kUntouched);
    for (const OptimizationTarget target : targets())
        EXPECT_EQ(decoded(frame.bytes, picture, 8, target).samples, expected.samples)
            << describe(picture) << " mode " << settings.interlace_mode << " slices " << settings.log2_slice_size_in_mb
            << " target " << static_cast<int>(target);
}

// The plane in a larger size, with the last column and the last line repeated.
std::vector<std::uint16_t> extended(std::vector<std::uint16_t> const& plane, std::size_t width, std::size_t height,
                                    std::size_t newWidth, std::size_t newHeight) {
    std::vector<std::uint16_t> result;
    for (std::size_t y = 0; y < newHeight; ++y)
        for (std::size_t x = 0; x < newWidth; ++x)
            result.push_back(plane[std::min(y, height - 1) * width + std::min(x, width - 1)]);
    return result;
}

// The root of the mean square over all samples, in output codes.
double rmsDifference(DecodedPicture const& a, DecodedPicture const& b) {
    double sum = 0;
    for (std::size_t i = 0; i < a.samples.size(); ++i)
        sum += std::pow(static_cast<double>(a.samples[i]) - b.samples[i], 2);
    return std::sqrt(sum / static_cast<double>(a.samples.size()));
}

std::string refusalOf(SourcePicture const& picture, EncoderSettings const& settings) {
    try {
        encodeFrame(picture, settings);
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    return "";
}

std::string refusalOfSettings(std::function<void(EncoderSettings&)> const& change, std::uint32_t alphaBits = 0) {
    EncoderSettings settings;
    change(settings);
    return refusalOf(emptyPicture(20, 20, ChromaFormat::C422, 8, alphaBits), settings);
}

} // namespace

TEST(FrameEncoderTest, PicturesOfEightBitsComeBackExactlyAtTheFinestStep) {
    Random random = seeded(601);
    for (const ChromaFormat chromaFormat : {ChromaFormat::C422, ChromaFormat::C444})
        for (std::uint32_t mode = 0; mode < 4; ++mode)
            for (std::uint32_t log2Size = 0; log2Size < 4; ++log2Size) {
                EncoderSettings settings = finestSettings();
                settings.interlace_mode = mode;
                settings.log2_slice_size_in_mb = log2Size;
                expectExact(noisePicture(emptyPicture(250, 53, chromaFormat, 8, 0), random), settings);
            }
}

TEST(FrameEncoderTest, EverySmallSizeComesBackExactly) {
    Random random = seeded(602);
    for (std::uint32_t width = 1; width <= 18; ++width)
        for (std::uint32_t height = 1; height <= 18; ++height) {
            EncoderSettings settings = finestSettings();
            settings.interlace_mode = randomBelow(random, 4);
            const ChromaFormat chromaFormat = randomBelow(random, 2) == 0 ? ChromaFormat::C422 : ChromaFormat::C444;
            expectExact(noisePicture(emptyPicture(width, height, chromaFormat, 8, 0), random), settings);
        }
}

TEST(FrameEncoderTest, WhatIsBeyondTheEdgesRepeatsTheLastColumnAndTheLastLine) {
    constexpr std::size_t kSizes = 16, kSizeBytes = 4; // of width and height in the header
    Random random = seeded(619);
    for (const ChromaFormat chromaFormat : {ChromaFormat::C422, ChromaFormat::C444}) {
        for (auto const& [width, height] : {std::pair{17u, 9u}, {30u, 16u}, {131u, 17u}}) {
            const SourcePicture picture = noisePicture(emptyPicture(width, height, chromaFormat, 10, 0), random);
            SourcePicture whole = emptyPicture((width + 15) / 16 * 16, (height + 15) / 16 * 16, chromaFormat, 10, 0);
            whole.y = extended(picture.y, width, height, whole.width, whole.height);
            whole.cb = extended(picture.cb, picture.chromaWidth(), height, whole.chromaWidth(), whole.height);
            whole.cr = extended(picture.cr, picture.chromaWidth(), height, whole.chromaWidth(), whole.height);
            const std::vector<std::uint8_t> frame = encodeFrame(picture, {}).bytes;
            std::vector<std::uint8_t> wanted = encodeFrame(whole, {}).bytes;
            ASSERT_EQ(frame.size(), wanted.size()) << describe(picture);
            std::copy_n(frame.begin() + kSizes, kSizeBytes, wanted.begin() + kSizes);
            EXPECT_EQ(frame, wanted) << describe(picture);
        }
    }
}

TEST(FrameEncoderTest, RandomSizesComeBackExactly) {
    Random random = seeded(603);
    for (int i = 0; i < 40; ++i) {
        EncoderSettings settings = finestSettings();
        settings.interlace_mode = randomBelow(random, 4);
        settings.log2_slice_size_in_mb = randomBelow(random, 4);
        const ChromaFormat chromaFormat = randomBelow(random, 2) == 0 ? ChromaFormat::C422 : ChromaFormat::C444;
        expectExact(
            noisePicture(emptyPicture(1 + randomBelow(random, 300), 1 + randomBelow(random, 100), chromaFormat, 8, 0),
                         random),
            settings);
    }
}

TEST(FrameEncoderTest, EightBitAlphaComesBackExactly) {
    Random random = seeded(604);
    for (const auto runs : {AlphaRunCoding::Shortest, AlphaRunCoding::LongForm, AlphaRunCoding::Split})
        for (const auto differences : {AlphaDifferenceCoding::Shortest, AlphaDifferenceCoding::LongForm})
            for (std::uint32_t mode = 0; mode < 3; ++mode) {
                EncoderSettings settings = finestSettings();
                settings.interlace_mode = mode;
                settings.alphaRunCoding = runs;
                settings.alphaDifferenceCoding = differences;
                const SourcePicture form = emptyPicture(139, 41, ChromaFormat::C444, 8, 8);
                expectExact(noisePicture(form, random), settings);
                SourcePicture flatAlpha = noisePicture(form, random);
                std::fill(flatAlpha.alpha.begin(), flatAlpha.alpha.end(), std::uint16_t{200});
                expectExact(flatAlpha, settings);
            }
}

// A 4:2:2 frame has no place for alpha in its output, but carries it all the same.
TEST(FrameEncoderTest, AlphaBesideReducedChromaLeavesThePictureAlone) {
    Random random = seeded(605);
    expectExact(noisePicture(emptyPicture(77, 35, ChromaFormat::C422, 8, 16), random), finestSettings());
}

// Codes to 32768 are those that both targets write unchanged at 16 bits.
TEST(FrameEncoderTest, SixteenBitAlphaComesBackExactly) {
    Random random = seeded(606);
    SourcePicture picture = noisePicture(emptyPicture(150, 37, ChromaFormat::C444, 10, 16), random);
    for (std::uint16_t& sample : picture.alpha)
        sample = static_cast<std::uint16_t>(randomBelow(random, 32769));
    const EncodedFrame frame = encodeFrame(picture, {});
    for (const OptimizationTarget target : targets()) {
        const DecodedPicture out = decoded(frame.bytes, picture, 16, target);
        for (std::size_t i = 0; i < picture.alpha.size(); ++i)
            ASSERT_EQ(out.samples[4 * i], picture.alpha[i]) << i;
    }
}

// Every bit depth of the source means the same picture: shifted codes give the same frame.
TEST(FrameEncoderTest, TheSameLevelsGiveTheSameFrameAtEveryDepth) {
    Random random = seeded(607);
    const SourcePicture eight = noisePicture(emptyPicture(90, 40, ChromaFormat::C422, 8, 0), random);
    const std::vector<std::uint8_t> expected = encodeFrame(eight, {}).bytes;
    for (std::uint32_t depth = 9; depth <= 16; ++depth) {
        SourcePicture deeper = eight;
        deeper.bitDepth = depth;
        for (std::vector<std::uint16_t>* plane : {&deeper.y, &deeper.cb, &deeper.cr})
            for (std::uint16_t& sample : *plane)
                sample = static_cast<std::uint16_t>(sample << (depth - 8));
        EXPECT_EQ(encodeFrame(deeper, {}).bytes, expected) << depth;
    }
}

// The transform keeps squares, so the mean square error before rounding is at most a quarter of the squared step. On
// the scale of 10 bits a step of 512 counts two codes; the output adds half a code. Macroblocks are whole here, so no
// error hides outside the picture.
TEST(FrameEncoderTest, TheErrorStaysWithinHalfAQuantiserStep) {
    Random random = seeded(608);
    const SourcePicture picture = wavePicture(emptyPicture(160, 64, ChromaFormat::C422, 10, 0), random);
    const DecodedPicture expected = interleaved(picture, 1023);
    double previous = 0;
    for (const std::uint32_t index : {1u, 2u, 4u, 9u, 30u, 128u, 129u, 255u}) {
        EncoderSettings settings;
        settings.quantization_index = index;
        const EncodedFrame frame = encodeFrame(picture, settings);
        EXPECT_EQ(frame.quantization_index, index);
        const double step = (index <= 128 ? index : 4.0 * index - 384) * 4 / 8;
        for (const OptimizationTarget target : targets()) {
            const double rms = rmsDifference(decoded(frame.bytes, picture, 10, target), expected);
            EXPECT_LE(rms, 2 * step / 2 + 0.5) << index;
            EXPECT_GE(rms, previous) << index;
            if (target == targets().back())
                previous = rms;
        }
    }
    EXPECT_GT(previous, 5);
}

// With the default matrix and index 1 the steps are 1/2, so no sample is off by more than 2 of 512 steps, a code of 8
// bits. A matrix of 255 makes steps of 32 and shows at once.
TEST(FrameEncoderTest, MatricesReachTheirComponentsInAllFourCombinations) {
    using Matrix = std::optional<std::array<std::uint8_t, 64>>;
    struct Case {
        Matrix luma, chroma;
        bool lumaIsFine, chromaIsFine;
    };
    const Case cases[4] = {{{}, {}, true, true},
                           {flatMatrix(255), {}, false, false},
                           {{}, flatMatrix(255), true, false},
                           {flatMatrix(255), flatMatrix(4), false, true}};
    Random random = seeded(609);
    const SourcePicture picture = noisePicture(emptyPicture(64, 32, ChromaFormat::C444, 8, 0), random);
    const DecodedPicture expected = interleaved(picture, 255);
    for (Case const& testCase : cases) {
        EncoderSettings settings;
        settings.quantization_index = 1;
        settings.lumaMatrix = testCase.luma;
        settings.chromaMatrix = testCase.chroma;
        const DecodedPicture out = decoded(encodeFrame(picture, settings).bytes, picture, 8, targets().back());
        int greatest[4] = {};
        for (std::size_t i = 0; i < out.samples.size(); ++i)
            greatest[i % 4] = std::max(greatest[i % 4], std::abs(out.samples[i] - expected.samples[i]));
        EXPECT_EQ(greatest[1] <= 1, testCase.lumaIsFine);
        EXPECT_EQ(greatest[2] <= 1, testCase.chromaIsFine);
        EXPECT_EQ(greatest[3] <= 1, testCase.chromaIsFine);
    }
}

TEST(FrameEncoderTest, AMatrixEntryOfZeroCodesNothing) {
    Random random = seeded(610);
    SourcePicture picture = noisePicture(emptyPicture(64, 16, ChromaFormat::C422, 8, 0), random);
    EncoderSettings settings;
    settings.lumaMatrix = flatMatrix(0);
    const DecodedPicture out = decoded(encodeFrame(picture, settings).bytes, picture, 8, targets().back());
    EXPECT_EQ(out.samples, std::vector<std::uint16_t>(out.samples.size(), 128));
}

TEST(FrameEncoderTest, AnIndexOfZeroMakesASliceMidGrey) {
    Random random = seeded(611);
    const SourcePicture picture = noisePicture(emptyPicture(32, 16, ChromaFormat::C422, 8, 0), random);
    EncoderSettings settings = finestSettings();
    settings.log2_slice_size_in_mb = 0;
    settings.quantization_indices = {0, 1};
    const DecodedPicture out = decoded(encodeFrame(picture, settings).bytes, picture, 8, targets().back());
    const DecodedPicture expected = interleaved(picture, 255);
    for (std::size_t i = 0; i < out.samples.size(); ++i)
        ASSERT_EQ(out.samples[i], i % 64 < 32 ? 128 : expected.samples[i]) << i;
}

TEST(FrameEncoderTest, EverySliceTakesItsOwnIndexInStreamOrder) {
    Random random = seeded(612);
    const SourcePicture picture = noisePicture(emptyPicture(40, 40, ChromaFormat::C444, 8, 0), random);
    EncoderSettings settings;
    settings.interlace_mode = 1;
    settings.log2_slice_size_in_mb = 1;
    // Two fields of two macroblock rows, each of a slice of two macroblocks and one of one.
    settings.quantization_indices = {3, 7, 11, 13, 17, 19, 23, 23};
    const EncodedFrame frame = encodeFrame(picture, settings);
    EXPECT_EQ(frame.quantization_index, 23u);
    std::size_t pictureOffset = 28;
    std::size_t next = 0;
    for (int field = 0; field < 2; ++field) {
        std::size_t slice = pictureOffset + 8 + 4 * 2;
        for (std::size_t i = 0; i < 4; ++i) {
            const std::size_t entry = pictureOffset + 8 + 2 * i;
            EXPECT_EQ(frame.bytes.at(slice + 1), settings.quantization_indices[next++]);
            slice += static_cast<std::size_t>(frame.bytes.at(entry) << 8 | frame.bytes.at(entry + 1));
        }
        pictureOffset = slice;
    }
    EXPECT_EQ(pictureOffset, frame.bytes.size());
}

TEST(FrameEncoderTest, HeadersOfEveryLengthLeaveThePictureAlone) {
    Random random = seeded(613);
    const SourcePicture plain = noisePicture(emptyPicture(50, 20, ChromaFormat::C422, 8, 0), random);
    const SourcePicture withAlpha = noisePicture(emptyPicture(50, 20, ChromaFormat::C444, 8, 8), random);
    for (std::uint32_t size = 8; size <= 31; ++size) {
        EncoderSettings settings = finestSettings();
        settings.header_size = size * 11;
        settings.picture_header_size = size;
        settings.slice_header_size = size;
        expectExact(plain, settings);
        expectExact(withAlpha, settings);
    }
}

TEST(FrameEncoderTest, TheHeaderSizeIsTheLeastThatHoldsTheFieldsOrWhatIsAsked) {
    const SourcePicture picture = emptyPicture(16, 16, ChromaFormat::C422, 8, 0);
    const auto headerSize = [&picture](EncoderSettings const& settings) {
        const std::vector<std::uint8_t> bytes = encodeFrame(picture, settings).bytes;
        return bytes[8] * 256 + bytes[9];
    };
    EncoderSettings settings;
    EXPECT_EQ(headerSize(settings), 20);
    settings.header_size = 21;
    EXPECT_EQ(headerSize(settings), 21);
    settings.chromaMatrix = flatMatrix(9);
    EXPECT_EQ(headerSize(settings), 84);
    settings.lumaMatrix = flatMatrix(9);
    EXPECT_EQ(headerSize(settings), 148);
    settings.header_size = 65535;
    EXPECT_EQ(headerSize(settings), 65535);
}

TEST(FrameEncoderTest, ColourFieldsReachTheHeader) {
    EncoderSettings settings;
    settings.color_primaries = 200;
    settings.transfer_characteristic = 201;
    settings.matrix_coefficients = 202;
    const std::vector<std::uint8_t> bytes = encodeFrame(emptyPicture(16, 16, ChromaFormat::C422, 8, 0), settings).bytes;
    EXPECT_EQ(bytes[8 + 14], 200);
    EXPECT_EQ(bytes[8 + 15], 201);
    EXPECT_EQ(bytes[8 + 16], 202);
}

TEST(FrameEncoderTest, AFieldWithoutLinesIsAPictureWithoutSlices) {
    const SourcePicture picture = emptyPicture(16, 1, ChromaFormat::C422, 8, 0);
    EncoderSettings settings;
    settings.interlace_mode = 3;
    const EncodedFrame frame = encodeFrame(picture, settings);
    EXPECT_EQ(frame.bytes.size(), 8u + 20 + 8);
    EXPECT_EQ(frame.bitsPerPixel, 36 * 8 / 16.0);
    EXPECT_EQ(decoded(frame.bytes, picture, 8, targets().back()).samples,
              std::vector<std::uint16_t>(32, DecodedPicture::kUntouched));
}

TEST(FrameEncoderTest, TheSamePictureGivesTheSameFrame) {
    Random random = seeded(614);
    const SourcePicture picture = wavePicture(emptyPicture(200, 120, ChromaFormat::C422, 10, 0), random);
    EncoderSettings settings;
    settings.bitsPerPixel = 2;
    EXPECT_EQ(encodeFrame(picture, settings).bytes, encodeFrame(picture, settings).bytes);
}

// With one thread nothing is done after the answer that stops the encode, in no stage: not while planes are checked
// line by line, nor while slices of each kind are transformed, alpha is coded and components are coded.
TEST(FrameEncoderTest, AStopEndsEveryStageAtOnce) {
    Random random(21);
    const SourcePicture picture = wavePicture(emptyPicture(40, 33, ChromaFormat::C444, 8, 8), random);
    EncoderSettings settings;
    settings.log2_slice_size_in_mb = 0;
    constexpr std::size_t kNumSlices = 3 * 3;
    std::size_t numAnswers = 0, numUntilStop = 0;
    settings.wantsStop = [&] { return ++numAnswers == numUntilStop; };
    EXPECT_NO_THROW(encodeFrame(picture, settings));
    const std::size_t numAll = numAnswers;
    EXPECT_EQ(numAll, 4 * 33 + 3 * kNumSlices);
    for (numUntilStop = 1; numUntilStop <= numAll; ++numUntilStop) {
        numAnswers = 0;
        EXPECT_THROW(encodeFrame(picture, settings), EncodeStopped) << numUntilStop;
        EXPECT_EQ(numAnswers, numUntilStop);
    }
}

TEST(FrameEncoderTest, RefusesSettingsThatNoFrameCanCarry) {
    using Settings = EncoderSettings&;
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.interlace_mode = 4; }), "interlace_mode is 4; it must be 0 to 3");
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.log2_slice_size_in_mb = 4; }),
              "log2_slice_size_in_mb is 4; it must be 0 to 3");
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.quantization_index = 256; }),
              "quantization_index is 256; it must be 0 to 255");
    EXPECT_EQ(refusalOfSettings([](Settings s) {
                  s.quantization_indices = {1, 2, 3};
              }),
              "quantization_indices.size() is 3; it must be the number of slices of the frame");
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.header_size = 65536; }),
              "header_size is 65536; it must be 0 to 65535");
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.picture_header_size = 7; }),
              "picture_header_size is 7; it must be 8 to 31");
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.picture_header_size = 32; }),
              "picture_header_size is 32; it must be 8 to 31");
    const std::string sliceRule = "; it must be 0, or 6 to 31 without and 8 to 31 with alpha";
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.slice_header_size = 5; }), "slice_header_size is 5" + sliceRule);
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.slice_header_size = 6; }), "");
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.slice_header_size = 7; }, 8), "slice_header_size is 7" + sliceRule);
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.slice_header_size = 32; }), "slice_header_size is 32" + sliceRule);
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.color_primaries = 256; }),
              "color_primaries is 256; it must be 0 to 255");
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.transfer_characteristic = 256; }),
              "transfer_characteristic is 256; it must be 0 to 255");
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.matrix_coefficients = 256; }),
              "matrix_coefficients is 256; it must be 0 to 255");
    EXPECT_EQ(refusalOfSettings([](Settings s) { s.bitsPerPixel = -1; }),
              "bitsPerPixel is -1.000000; it must be 0 or above");
    EXPECT_EQ(refusalOfSettings([](Settings s) {
                  s.quantization_indices = {1, 1, 1, 1};
                  s.bitsPerPixel = 3;
              }),
              "quantization_indices.size() is 4; it must be the number of slices of the frame");
    EXPECT_EQ(refusalOfSettings([](Settings s) {
                  s.quantization_indices = {1, 1};
                  s.bitsPerPixel = 3;
              }),
              "quantization_indices.size() is 2; it must be 0 where bitsPerPixel decides the indices");
}

TEST(FrameEncoderTest, RefusesPicturesThatNoFrameCanCarry) {
    const SourcePicture sound = emptyPicture(10, 10, ChromaFormat::C422, 8, 0);
    const auto refusal = [&sound](std::function<void(SourcePicture&)> const& change) {
        SourcePicture picture = sound;
        change(picture);
        return refusalOf(picture, {});
    };
    EXPECT_EQ(refusal([](SourcePicture&) {}), "");
    EXPECT_EQ(refusal([](SourcePicture& p) { p.width = 0; }), "width is 0; it must be 1 to 65535");
    EXPECT_EQ(refusal([](SourcePicture& p) { p.height = 65536; }), "height is 65536; it must be 1 to 65535");
    EXPECT_EQ(refusal([](SourcePicture& p) { p.bitDepth = 7; }), "bitDepth is 7; it must be 8 to 16");
    EXPECT_EQ(refusal([](SourcePicture& p) { p.bitDepth = 17; }), "bitDepth is 17; it must be 8 to 16");
    EXPECT_EQ(refusal([](SourcePicture& p) { p.alphaBits = 10; }), "alphaBits is 10; it must be 0, 8 or 16");
    EXPECT_EQ(refusal([](SourcePicture& p) { p.y.pop_back(); }),
              "y is 99; a plane has a sample for each of its places");
    EXPECT_EQ(refusal([](SourcePicture& p) { p.alphaBits = 8; }),
              "alpha is 0; a plane has a sample for each of its places");
    EXPECT_EQ(refusal([](SourcePicture& p) { p.cr[3] = 256; }), "cr is 256; its codes must lie below 1 << bitDepth");
}
