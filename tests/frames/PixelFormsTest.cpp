// Forms other than the coded one, and regions, of whole frames: against the model, against the coded form, and a region
// against the whole.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "DecodeCheck.h"
#include "ForcedReconstruction.h"
#include "FormedPicture.h"
#include "Frame.h"
#include "FrameMaker.h"
#include "KernelChoice.h"
#include "OutputForm.h"
#include "PictureOutput.h"
#include "PixelBuffer.h"
#include "RaveloDecoderInterface.h"
#include "SlowForms.h"

namespace {

constexpr std::uint8_t kUnwritten = 0xA5;

struct FormRequest {
    PixelForm form = PixelForm::Rgba;
    std::uint32_t bitDepth = 8;
    std::uint32_t reduction = 0;
    ColorCoding coding = ColorCoding_YCbCr;
    OptimizationTarget target = OptimizationTarget::Baseline;
    std::uint32_t maxThreads = 1;

    std::string describe() const {
        return "form " + std::to_string(static_cast<std::uint32_t>(form)) + ", depth " + std::to_string(bitDepth) +
               ", reduction " + std::to_string(reduction) + ", coding " + std::to_string(coding) + ", target " +
               std::to_string(static_cast<int>(target));
    }
};

// A plane with its lines side by side and a margin of one line and sixteen bytes around it, which is checked.
struct TestPlane {
    std::uint32_t lineBytes = 0;
    std::uint32_t numLines = 0;
    std::vector<std::uint8_t> memory;

    TestPlane(std::uint32_t bytes, std::uint32_t lines)
        : lineBytes(bytes), numLines(lines), memory(std::size_t{stride()} * (lines + 2), kUnwritten) {}

    std::uint32_t stride() const { return lineBytes + 16; }
    std::uint8_t* line(std::uint32_t y) { return memory.data() + std::size_t{stride()} * (y + 1) + 8; }
    const std::uint8_t* line(std::uint32_t y) const { return memory.data() + std::size_t{stride()} * (y + 1) + 8; }
    OutputPlane output() { return {line(0), stride()}; }

    bool hasCleanMargin() const {
        const std::vector<std::uint8_t> clean(stride() + 8, kUnwritten);
        const auto isClean = [&](const std::uint8_t* bytes, std::size_t size) {
            return std::memcmp(bytes, clean.data(), size) == 0;
        };
        if (!isClean(memory.data(), stride() + 8) || !isClean(line(numLines) - 8, stride()))
            return false;
        for (std::uint32_t y = 0; y < numLines; ++y)
            if (!isClean(line(y) + lineBytes, 16))
                return false;
        return true;
    }
};

std::uint32_t bytesOfSample(FormRequest const& request) {
    return request.bitDepth > 8 || request.form == PixelForm::RgbaHalf ? 2 : 1;
}

// The planes that a region needs.
std::vector<TestPlane> planesFor(FrameHeader const& header, FormRequest const& request, PixelRectangle const& region) {
    const std::uint32_t sample = bytesOfSample(request);
    if (request.form == PixelForm::Coded)
        return {TestPlane(region.width * header.samplesPerPixel() * sample, region.height)};
    if (request.form != PixelForm::Planar)
        return {TestPlane(region.width * 4 * sample, region.height)};
    const std::uint32_t chroma = header.is444() ? region.width : (region.width + 1) / 2;
    std::vector<TestPlane> planes = {TestPlane(region.width * sample, region.height),
                                     TestPlane(chroma * sample, region.height),
                                     TestPlane(chroma * sample, region.height)};
    if (header.hasAlphaOutput())
        planes.emplace_back(region.width * sample, region.height);
    return planes;
}

PixelRectangle wholeOf(FrameHeader const& header, std::uint32_t reduction) {
    return {0, 0, header.horizontal_size >> reduction, header.vertical_size >> reduction};
}

// Whether rows of RGB pixels of a 4:2:2 picture go past the caches to such an output.
bool streamsTo(PictureOutput const& output, FormRequest const& request) {
    PixelBuffer picture;
    picture.samplesPerPixel = 2;
    picture.bitDepth = request.bitDepth;
    return FormedPicture(output, picture, 0).streams;
}

std::vector<TestPlane> decodedForm(std::vector<std::uint8_t> const& bytes, FormRequest const& request,
                                   PixelRectangle const& region) {
    const Bitstream bits{bytes.data(), bytes.size()};
    std::vector<TestPlane> planes = planesFor(FrameHeader::frame_header(bits), request, region);
    PictureOutput output;
    output.form = request.form;
    output.region = region;
    for (std::size_t i = 0; i < planes.size(); ++i)
        output.planes[i] = planes[i].output();
    // Halves of full size are made of samples that are not cut to any depth.
    const std::uint32_t depth =
        request.form == PixelForm::RgbaHalf ? (request.reduction == 0 ? 16 : 8) : request.bitDepth;
    const Frame frame(bits, output, request.coding, depth, request.target, request.reduction, nullptr,
                      request.maxThreads);
    for (TestPlane const& plane : planes)
        EXPECT_TRUE(plane.hasCleanMargin()) << request.describe();
    return planes;
}

std::uint32_t sampleAt(TestPlane const& plane, std::uint32_t y, std::size_t index, std::uint32_t sampleBytes) {
    std::uint32_t sample = 0;
    std::memcpy(&sample, plane.line(y) + index * sampleBytes, sampleBytes);
    return sample;
}

// How many halves lie between two of them.
std::int32_t halvesBetween(std::uint16_t a, std::uint16_t b) {
    const auto ordered = [](std::uint16_t half) -> std::int32_t { return half & 0x8000 ? 0x8000 - half : half; };
    return std::abs(ordered(a) - ordered(b));
}

// How far a code may be from its exact value: by its own rounding, and by at most 0.15 where it is computed in single
// precision, which is done for samples up to 2^18 (8 bits) and 2^10 (16 bits): 5 * 2^-24 of the sum of all terms.
constexpr long double kCodeError = 0.65L;

// Whether a sample is that of an exact value. Halves are at most one unit in the last place off.
testing::AssertionResult isSampleOf(std::uint32_t sample, long double value, FormRequest const& request) {
    if (request.form == PixelForm::RgbaHalf) {
        const std::uint16_t exact = slowHalf(value);
        if (halvesBetween(static_cast<std::uint16_t>(sample), exact) <= 1)
            return testing::AssertionSuccess();
        return testing::AssertionFailure() << std::hex << sample << " for " << exact;
    }
    const long double maximum = request.bitDepth > 8 ? 65535 : 255;
    const long double code = std::clamp(value * maximum, 0.0L, maximum);
    if (std::fabs(sample - code) <= kCodeError)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << sample << " for " << static_cast<double>(code);
}

testing::AssertionResult agreesWithModel(std::vector<std::uint8_t> const& bytes, SlowPicture const& picture,
                                         FormRequest const& request) {
    if (picture.open)
        return testing::AssertionSuccess() << "open";
    const auto planes = decodedForm(bytes, request, {0, 0, picture.width, picture.height});
    const std::uint32_t sampleBytes = bytesOfSample(request);
    for (std::uint32_t y = 0; y < picture.height; ++y) {
        for (std::uint32_t x = 0; x < picture.width; ++x) {
            SlowPixel const& pixel = picture.at(x, y);
            SlowRgb rgb = slowRgb(picture.header, pixel);
            if (request.form == PixelForm::Bgra)
                std::swap(rgb.red, rgb.blue);
            const long double values[4] = {rgb.red, rgb.green, rgb.blue, pixel.alpha};
            for (std::size_t i = 0; i < 4; ++i) {
                const std::uint32_t sample = sampleAt(planes[0], y, 4 * x + i, sampleBytes);
                if (!pixel.isWritten) {
                    if (sample != (sampleBytes == 1 ? kUnwritten : kUnwritten * 0x101u))
                        return testing::AssertionFailure() << "written at " << x << ", " << y;
                    continue;
                }
                const auto result = isSampleOf(sample, values[i], request);
                if (!result)
                    return testing::AssertionFailure() << result.message() << " at " << x << ", " << y << ", sample "
                                                       << i << ", " << request.describe();
            }
        }
    }
    return testing::AssertionSuccess();
}

std::vector<FormRequest> rgbRequests() {
    std::vector<FormRequest> requests;
    for (const OptimizationTarget target : {OptimizationTarget::Baseline, OptimizationTarget::AVX2}) {
        if (target == OptimizationTarget::AVX2 && RaveloDecoderInterface::GetMaxOptType() == 0)
            continue;
        for (const PixelForm form : {PixelForm::Rgba, PixelForm::Bgra, PixelForm::RgbaHalf})
            for (std::uint32_t reduction = 0; reduction < 4; ++reduction)
                for (const std::uint32_t depth : {8u, 16u})
                    if (depth == 8 || (reduction == 0 && form != PixelForm::RgbaHalf))
                        requests.push_back({form, depth, reduction, ColorCoding_YCbCr, target});
    }
    return requests;
}

// Every RGB form of a frame. The model makes one picture for all forms of a target and size.
testing::AssertionResult rgbAgreesWithModel(std::vector<std::uint8_t> const& bytes) {
    std::map<std::pair<OptimizationTarget, std::uint32_t>, SlowPicture> pictures;
    for (FormRequest const& request : rgbRequests()) {
        const auto [picture, isNew] = pictures.try_emplace({request.target, request.reduction});
        if (isNew) {
            DecodeRequest slowRequest;
            slowRequest.downSampleFactor = request.reduction;
            slowRequest.target = request.target;
            picture->second = slowPicture(bytes, slowRequest);
        }
        const auto result = agreesWithModel(bytes, picture->second, request);
        if (!result)
            return result;
    }
    return testing::AssertionSuccess();
}

// Every form in which a region can be decoded.
std::vector<FormRequest> allRequests(bool is444) {
    std::vector<FormRequest> requests = rgbRequests();
    std::vector<FormRequest> others;
    for (const std::uint32_t depth : {8u, 10u, 15u, 16u}) {
        for (std::uint32_t reduction = 0; reduction < (depth == 8 ? 4u : 1u); ++reduction) {
            for (std::uint32_t coding = 0; coding < (is444 ? 3u : 1u); ++coding)
                others.push_back({PixelForm::Coded, depth, reduction, static_cast<ColorCoding>(coding)});
            if (depth != 15)
                others.push_back({PixelForm::Planar, depth, reduction});
        }
    }
    for (FormRequest request : others) {
        requests.push_back(request);
        request.target = OptimizationTarget::AVX2;
        if (RaveloDecoderInterface::GetMaxOptType() != 0)
            requests.push_back(request);
    }
    return requests;
}

FrameSpec specOf(std::uint32_t chroma, std::uint32_t interlace, std::uint32_t alpha, std::uint32_t width,
                 std::uint32_t height, std::uint32_t log2Slice) {
    FrameSpec spec;
    spec.horizontal_size = width;
    spec.vertical_size = height;
    spec.chroma_format = chroma;
    spec.interlace_mode = interlace;
    spec.alpha_channel_type = alpha;
    spec.log2_slice_size_in_mb = log2Slice;
    return spec;
}

std::vector<FrameSpec> formSpecs() {
    std::vector<FrameSpec> specs;
    for (std::uint32_t chroma = 2; chroma < 4; ++chroma) {
        for (std::uint32_t interlace = 0; interlace < 4; ++interlace)
            specs.push_back(specOf(chroma, interlace, (interlace + 1) % 3, 75 + interlace, 52 - interlace, interlace));
        specs.push_back(specOf(chroma, 0, 2, 130, 17, 3)); // a slice beyond the reduced picture
        specs.push_back(specOf(chroma, 0, 1, 300, 33, 3));
        specs.push_back(specOf(chroma, 1, 0, 9, 7, 0));
        specs.push_back(specOf(chroma, 2, 0, 35, 40, 1)); // fields that end before the reduced picture
        specs.push_back(specOf(chroma, 3, 0, 35, 40, 1));
        specs.push_back(specOf(chroma, 0, 3, 40, 21, 1)); // alpha of a type that no encoder writes
    }
    return specs;
}

MadeFrame made(FrameSpec const& spec, Texture texture, Random& random) {
    return makeFrame(spec, randomSlices(spec, texture, random));
}

// The part of the whole that a region is.
testing::AssertionResult isPartOf(std::vector<TestPlane> const& part, std::vector<TestPlane> const& whole,
                                  PixelRectangle const& region, FormRequest const& request, FrameHeader const& header) {
    for (std::size_t plane = 0; plane < part.size(); ++plane) {
        const bool isHalved = request.form == PixelForm::Planar && !header.is444() && (plane == 1 || plane == 2);
        const std::uint32_t samples = request.form == PixelForm::Planar  ? 1
                                      : request.form == PixelForm::Coded ? header.samplesPerPixel()
                                                                         : 4;
        const std::uint32_t before = (isHalved ? region.x / 2 : region.x) * samples * bytesOfSample(request);
        for (std::uint32_t y = 0; y < region.height; ++y)
            if (std::memcmp(part[plane].line(y), whole[plane].line(region.y + y) + before, part[plane].lineBytes) != 0)
                return testing::AssertionFailure()
                       << "line " << y << " of plane " << plane << " of " << region.width << "x" << region.height
                       << " at " << region.x << ", " << region.y << ", " << request.describe();
    }
    return testing::AssertionSuccess();
}

PixelRectangle randomRegion(PixelRectangle const& whole, bool isPaired, Random& random) {
    PixelRectangle region;
    region.width = 1 + randomBelow(random, whole.width);
    region.height = 1 + randomBelow(random, whole.height);
    region.x = randomBelow(random, whole.width - region.width + 1);
    region.y = randomBelow(random, whole.height - region.height + 1);
    if (!isPaired)
        return region;
    region.x -= region.x % 2;
    if (region.width % 2 != 0 && region.x + region.width != whole.width)
        ++region.width;
    return region;
}

} // namespace

TEST(PixelFormsTest, RgbIsThatOfTheModel) {
    const SelectedVariant variant(kPlainVariant);
    Random random = seeded(1);
    for (FrameSpec const& spec : formSpecs()) {
        const MadeFrame frame = made(spec, Texture::Photo, random);
        ASSERT_TRUE(rgbAgreesWithModel(frame.bytes)) << spec.describe();
    }
}

TEST(PixelFormsTest, RgbOfSamplesOfAnySizeIsThatOfTheModel) {
    const SelectedVariant variant(kPlainVariant);
    Random random = seeded(2);
    const std::vector<FrameSpec> specs = formSpecs();
    for (const Texture texture : {Texture::Dense, Texture::Sparse, Texture::Extreme}) {
        const std::uint32_t first = random() % specs.size();
        for (std::uint32_t i = 0; i < numRounds(static_cast<std::uint32_t>(specs.size())); ++i) {
            FrameSpec const& spec = specs[(first + i) % specs.size()];
            const MadeFrame frame = made(spec, texture, random);
            ASSERT_TRUE(rgbAgreesWithModel(frame.bytes)) << spec.describe();
        }
    }
}

TEST(PixelFormsTest, EveryMatrixIsThatOfTheModel) {
    const SelectedVariant variant(kPlainVariant);
    Random random = seeded(3);
    for (const std::uint32_t matrix : {0u, 1u, 2u, 6u, 9u}) {
        for (const std::uint32_t height : {64u, 577u}) {
            FrameSpec spec = specOf(2 + matrix % 2, 0, 0, 32, height, 1);
            spec.matrix_coefficients = matrix;
            const MadeFrame frame = made(spec, Texture::Photo, random);
            ASSERT_TRUE(rgbAgreesWithModel(frame.bytes)) << spec.describe();
        }
    }
}

TEST(PixelFormsTest, FailedSlicesStayAndTheirNeighboursRepeatTheirChroma) {
    const SelectedVariant variant(kPlainVariant);
    Random random = seeded(4);
    for (FrameSpec const& spec : formSpecs()) {
        for (std::uint32_t round = 0; round < numRounds(4); ++round) {
            MadeFrame frame = made(spec, Texture::Photo, random);
            for (const std::size_t offset : frame.sliceOffsets)
                if (randomBelow(random, 3) == 0)
                    std::fill_n(frame.bytes.begin() + static_cast<std::ptrdiff_t>(offset) + 2, 4, std::uint8_t{0});
            ASSERT_TRUE(rgbAgreesWithModel(frame.bytes)) << spec.describe();
        }
    }
}

TEST(PixelFormsTest, PlanesHoldTheCodedSamples) {
    Random random = seeded(5);
    for (FrameSpec const& spec : formSpecs()) {
        for (const Texture texture : {Texture::Photo, Texture::Extreme}) {
            const MadeFrame frame = made(spec, texture, random);
            const FrameHeader header = FrameHeader::frame_header({frame.bytes.data(), frame.bytes.size()});
            const PixelRectangle whole = wholeOf(header, 0);
            for (FormRequest request : allRequests(header.is444())) {
                if (request.form != PixelForm::Planar || request.reduction != 0)
                    continue;
                const auto planes = decodedForm(frame.bytes, request, whole);
                request.form = PixelForm::Coded;
                const auto coded = decodedForm(frame.bytes, request, whole);
                const std::uint32_t sample = bytesOfSample(request);
                for (std::uint32_t y = 0; y < whole.height; ++y) {
                    for (std::uint32_t x = 0; x < whole.width; ++x) {
                        const auto codedAt = [&](std::size_t i) { return sampleAt(coded[0], y, i, sample); };
                        const auto planeAt = [&](std::size_t p, std::size_t i) {
                            return sampleAt(planes[p], y, i, sample);
                        };
                        if (!header.is444()) {
                            ASSERT_EQ(planeAt(0, x), codedAt(2 * x + 1)) << request.describe();
                            ASSERT_EQ(planeAt(1 + x % 2, x / 2), codedAt(2 * x)) << request.describe();
                            continue;
                        }
                        for (std::size_t i = 0; i < 3; ++i)
                            ASSERT_EQ(planeAt(i, x), codedAt(4 * x + 1 + i)) << request.describe();
                        if (header.hasAlphaOutput()) {
                            ASSERT_EQ(planeAt(3, x), codedAt(4 * x)) << request.describe();
                        }
                    }
                }
            }
        }
    }
}

TEST(PixelFormsTest, ReducedPlanesHoldTheSamplesOfTheModel) {
    Random random = seeded(6);
    for (FrameSpec const& spec : formSpecs()) {
        for (const Texture texture : {Texture::Photo, Texture::Extreme}) {
            const MadeFrame frame = made(spec, texture, random);
            const FrameHeader header = FrameHeader::frame_header({frame.bytes.data(), frame.bytes.size()});
            for (FormRequest const& request : allRequests(header.is444())) {
                if (request.form != PixelForm::Planar || request.reduction == 0)
                    continue;
                DecodeRequest slowRequest;
                slowRequest.downSampleFactor = request.reduction;
                slowRequest.target = request.target;
                const SlowPicture picture = slowPicture(frame.bytes, slowRequest);
                const auto planes = decodedForm(frame.bytes, request, wholeOf(header, request.reduction));
                const auto code = [](long double sample) {
                    return std::clamp(std::floor((sample + 257) / 2), 0.0L, 255.0L);
                };
                for (std::uint32_t y = 0; y < picture.height; ++y) {
                    for (std::uint32_t x = 0; x < picture.width; ++x) {
                        SlowPixel const& pixel = picture.at(x, y);
                        if (!pixel.isWritten)
                            continue;
                        ASSERT_EQ(planes[0].line(y)[x], code(pixel.y)) << request.describe();
                        if (header.hasAlphaOutput()) {
                            ASSERT_EQ(planes[3].line(y)[x], std::floor(pixel.alpha * 255 + 0.5)) << request.describe();
                        }
                        if (!header.is444() && x % 2 != 0)
                            continue;
                        const std::uint32_t chroma = header.is444() ? x : x / 2;
                        ASSERT_EQ(planes[1].line(y)[chroma], code(pixel.cb)) << request.describe();
                        ASSERT_EQ(planes[2].line(y)[chroma], code(pixel.cr)) << request.describe();
                    }
                }
            }
        }
    }
}

TEST(PixelFormsTest, ARegionIsThatPartOfTheWhole) {
    Random random = seeded(7);
    for (Variant const& kernels : runnableVariants()) {
        const SelectedVariant variant(kernels);
        for (FrameSpec const& spec : formSpecs()) {
            const MadeFrame frame = made(spec, random() % 2 == 0 ? Texture::Photo : Texture::Extreme, random);
            const FrameHeader header = FrameHeader::frame_header({frame.bytes.data(), frame.bytes.size()});
            for (FormRequest const& request : allRequests(header.is444())) {
                const PixelRectangle whole = wholeOf(header, request.reduction);
                if (whole.width == 0 || whole.height == 0)
                    continue;
                const auto planes = decodedForm(frame.bytes, request, whole);
                const bool isPaired =
                    !header.is444() && (request.form == PixelForm::Coded || request.form == PixelForm::Planar);
                for (std::uint32_t i = 0; i < numRounds(4); ++i) {
                    const PixelRectangle region = randomRegion(whole, isPaired, random);
                    ASSERT_TRUE(isPartOf(decodedForm(frame.bytes, request, region), planes, region, request, header))
                        << spec.describe();
                }
            }
        }
    }
}

TEST(PixelFormsTest, TheWholeAsARegionIsTheCodedPicture) {
    Random random = seeded(8);
    for (FrameSpec const& spec : formSpecs()) {
        const MadeFrame frame = made(spec, Texture::Photo, random);
        const FrameHeader header = FrameHeader::frame_header({frame.bytes.data(), frame.bytes.size()});
        for (FormRequest const& request : allRequests(header.is444())) {
            if (request.form != PixelForm::Coded)
                continue;
            const auto planes = decodedForm(frame.bytes, request, wholeOf(header, request.reduction));
            // Room for what is written around a reduced picture.
            const std::int64_t stride = planes[0].stride() + 256;
            std::vector<std::uint8_t> memory(static_cast<std::size_t>(stride) * (planes[0].numLines + 4), kUnwritten);
            RaveloDecoderInterface::DecompressFrameFromBits(frame.bytes.data(), frame.bytes.size(), request.reduction,
                                                            request.coding, request.bitDepth, memory.data(), stride,
                                                            request.target);
            for (std::uint32_t y = 0; y < planes[0].numLines; ++y)
                ASSERT_EQ(std::memcmp(planes[0].line(y), memory.data() + y * stride, planes[0].lineBytes), 0)
                    << "line " << y << ", " << request.describe() << ", " << spec.describe();
        }
    }
}

TEST(PixelFormsTest, ThreadsChangeNothing) {
    Random random = seeded(9);
    for (std::uint32_t chroma = 2; chroma < 4; ++chroma) {
        const MadeFrame frame = made(specOf(chroma, 0, 1, 700, 400, 2), Texture::Photo, random);
        const FrameHeader header = FrameHeader::frame_header({frame.bytes.data(), frame.bytes.size()});
        std::vector<FormRequest> requests = allRequests(header.is444());
        std::shuffle(requests.begin(), requests.end(), random);
        requests.resize(numRounds(static_cast<std::uint32_t>(requests.size())));
        for (FormRequest request : requests) {
            const PixelRectangle region{2, 3, (header.horizontal_size >> request.reduction) - 4,
                                        (header.vertical_size >> request.reduction) - 5};
            const auto alone = decodedForm(frame.bytes, request, region);
            request.maxThreads = 4;
            const auto together = decodedForm(frame.bytes, request, region);
            for (std::size_t i = 0; i < alone.size(); ++i)
                ASSERT_EQ(alone[i].memory, together[i].memory) << request.describe();
        }
    }
}

TEST(PixelFormsTest, VerticalAndWideFormsGiveTheSamePixelsAsThePlainOne) {
    Random random = seeded(10);
    for (Variant const& kernels : runnableVariants()) {
        const SelectedVariant variant(kernels);
        for (FrameSpec const& spec : formSpecs()) {
            const MadeFrame frame = made(spec, random() % 2 == 0 ? Texture::Photo : Texture::Extreme, random);
            const FrameHeader header = FrameHeader::frame_header({frame.bytes.data(), frame.bytes.size()});
            for (FormRequest const& request : allRequests(header.is444())) {
                if (request.form == PixelForm::Coded)
                    continue;
                const auto usual = decodedForm(frame.bytes, request, wholeOf(header, request.reduction));
                const ForcedReconstruction plainly(ReconstructionForm::Plain);
                const auto plain = decodedForm(frame.bytes, request, wholeOf(header, request.reduction));
                for (std::size_t i = 0; i < usual.size(); ++i)
                    ASSERT_EQ(usual[i].memory, plain[i].memory) << request.describe() << ", " << spec.describe();
            }
        }
    }
}

// A frame of one line has a field of one line, whose stride is never used but multiplied.
TEST(PixelFormsTest, PlanesOfOneLineTakeAnyStride) {
    Random random = seeded(12);
    const MadeFrame frame = made(specOf(2, 1, 0, 128, 1, 3), Texture::Photo, random);
    for (FormRequest const& request : allRequests(false)) {
        if (request.form != PixelForm::Planar || request.reduction != 0)
            continue;
        const PixelRectangle whole{0, 0, 128, 1};
        const auto usual = decodedForm(frame.bytes, request, whole);
        auto planes = planesFor(FrameHeader::frame_header({frame.bytes.data(), frame.bytes.size()}), request, whole);
        PictureOutput output;
        output.form = request.form;
        output.region = whole;
        for (std::size_t i = 0; i < planes.size(); ++i)
            output.planes[i] = {planes[i].line(0), std::numeric_limits<std::int64_t>::max()};
        const Frame decodedFrame({frame.bytes.data(), frame.bytes.size()}, output, ColorCoding_YCbCr, request.bitDepth,
                                 request.target, 0);
        for (std::size_t i = 0; i < planes.size(); ++i)
            ASSERT_EQ(planes[i].memory, usual[i].memory) << request.describe();
    }
}

// A picture of four mebibytes in memory that is aligned to cache lines is written past the caches. Its size is that of
// its lines with what lies between them.
TEST(PixelFormsTest, StreamedPixelsAreTheSame) {
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };
    Random random = seeded(11);
    const MadeFrame frame = made(specOf(2, 0, 0, 343, 70, 3), Texture::Photo, random);
    for (FormRequest const& request : allRequests(false)) {
        const bool isPlanar = request.form == PixelForm::Planar;
        if (request.reduction != 0 || request.form == PixelForm::Coded || (isPlanar && request.bitDepth == 8))
            continue;
        for (const std::uint32_t x : {0u, isPlanar ? 2u : 3u, 16u, 32u}) {
            const PixelRectangle region{x, 2, 343 - x - (isPlanar ? 0 : 1), 67};
            const auto usual = decodedForm(frame.bytes, request, region);
            const std::size_t stride = (kLeastStreamedFormBytes / region.height / 64 + 1) * 64;
            const std::vector<std::uint8_t> unwritten(stride, kUnwritten);
            std::vector<std::unique_ptr<std::uint8_t, Free>> memory;
            PictureOutput output;
            output.form = request.form;
            output.region = region;
            for (std::size_t i = 0; i < usual.size(); ++i) {
                memory.emplace_back(static_cast<std::uint8_t*>(std::aligned_alloc(64, stride * region.height)));
                std::memset(memory[i].get(), kUnwritten, stride * region.height);
                output.planes[i] = {memory[i].get(), static_cast<std::int64_t>(stride)};
            }
            ASSERT_TRUE(streamsTo(output, request)) << request.describe();
            const Frame streamed({frame.bytes.data(), frame.bytes.size()}, output, ColorCoding_YCbCr,
                                 request.form == PixelForm::RgbaHalf ? 16 : request.bitDepth, request.target, 0);
            for (std::size_t i = 0; i < usual.size(); ++i) {
                for (std::uint32_t y = 0; y < region.height; ++y) {
                    const std::uint8_t* const line = memory[i].get() + y * stride;
                    const std::size_t lineBytes = usual[i].lineBytes;
                    ASSERT_EQ(std::memcmp(line, usual[i].line(y), lineBytes), 0) << request.describe();
                    ASSERT_EQ(std::memcmp(line + lineBytes, unwritten.data(), stride - lineBytes), 0)
                        << request.describe();
                }
            }
        }
    }
}
