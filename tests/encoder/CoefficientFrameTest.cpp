#include "CoefficientFrame.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "NaiveReader.h"
#include "Random.h"
#include "TestPictures.h"

namespace {

std::array<std::uint8_t, 64> randomMatrix(Random& random) {
    std::array<std::uint8_t, 64> matrix{};
    for (std::uint8_t& entry : matrix)
        entry = static_cast<std::uint8_t>(random() & 0xFF);
    return matrix;
}

void fillRandomly(std::vector<std::int16_t>& coefficients, Random& random) {
    const std::uint32_t oneIn = 1 + randomBelow(random, 30);
    const std::uint32_t numBits = 1 + randomBelow(random, 16);
    for (std::int16_t& value : coefficients)
        if (randomBelow(random, oneIn) == 0)
            value = static_cast<std::int16_t>(static_cast<std::int32_t>(random() >> (32 - numBits)) -
                                              (std::int32_t{1} << (numBits - 1)));
}

CoefficientFrame randomCoefficientFrame(Random& random) {
    CoefficientFrame frame;
    frame.width = 1 + randomBelow(random, 200);
    frame.height = 1 + randomBelow(random, 90);
    frame.chromaFormat = randomBelow(random, 2) == 0 ? ChromaFormat::C422 : ChromaFormat::C444;
    frame.alphaBits = 8 * randomBelow(random, 3);
    frame.settings.interlace_mode = randomBelow(random, 4);
    frame.settings.log2_slice_size_in_mb = randomBelow(random, 4);
    if (randomBelow(random, 2) == 0)
        frame.settings.lumaMatrix = randomMatrix(random);
    if (randomBelow(random, 2) == 0)
        frame.settings.chromaMatrix = randomMatrix(random);
    frame.settings.header_size = randomBelow(random, 2) * randomBelow(random, 400);
    frame.settings.picture_header_size = 8 + randomBelow(random, 24);
    frame.settings.slice_header_size = randomBelow(random, 2) * (8 + randomBelow(random, 24));
    frame.settings.alphaRunCoding = static_cast<AlphaRunCoding>(randomBelow(random, 3));
    frame.settings.alphaDifferenceCoding = static_cast<AlphaDifferenceCoding>(randomBelow(random, 2));
    frame.makeEmptySlices();
    for (CoefficientSlice& slice : frame.slices) {
        slice.quantization_index = randomBelow(random, 256);
        for (std::vector<std::int16_t>* component : {&slice.y, &slice.cb, &slice.cr})
            fillRandomly(*component, random);
        for (std::uint16_t& sample : slice.alpha)
            sample = static_cast<std::uint16_t>(randomBelow(random, 3) == 0 ? randomBelow(random, 1u << frame.alphaBits)
                                                                            : 17);
    }
    return frame;
}

// Walks a sound frame with plain arithmetic on its bytes.
class NaiveFrameWalk {
public:
    explicit NaiveFrameWalk(std::vector<std::uint8_t> const& bytes) : m_bytes(bytes) {}

    std::uint32_t field(std::size_t offset, std::size_t numBytes) const {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < numBytes; ++i)
            value = value * 256 + m_bytes.at(offset + i);
        return value;
    }
    std::span<const std::uint8_t> range(std::size_t offset, std::size_t size) const {
        if (offset + size > m_bytes.size())
            throw std::out_of_range("a range leads past the end of the frame");
        return {m_bytes.data() + offset, size};
    }
    std::size_t firstPicture() const { return 8 + field(8, 2); }
    std::size_t size() const { return m_bytes.size(); }

private:
    std::vector<std::uint8_t> const& m_bytes;
};

void expectSlice(NaiveFrameWalk const& walk, std::size_t offset, std::size_t size, CoefficientSlice const& slice,
                 SliceShape const& shape, std::uint32_t alphaBits) {
    const std::size_t headerSize = walk.field(offset, 1) / 8;
    EXPECT_EQ(walk.field(offset + 1, 1), slice.quantization_index);
    const std::size_t ySize = walk.field(offset + 2, 2);
    const std::size_t cbSize = walk.field(offset + 4, 2);
    const std::size_t crSize = alphaBits != 0 ? walk.field(offset + 6, 2) : size - headerSize - ySize - cbSize;
    std::size_t at = offset + headerSize;
    EXPECT_EQ(readComponent(walk.range(at, ySize), shape.lumaBlocks).coefficients, slice.y);
    EXPECT_EQ(readComponent(walk.range(at += ySize, cbSize), shape.chromaBlocks).coefficients, slice.cb);
    EXPECT_EQ(readComponent(walk.range(at += cbSize, crSize), shape.chromaBlocks).coefficients, slice.cr);
    at += crSize;
    if (alphaBits != 0)
        EXPECT_EQ(samplesOf(readAlphaRuns(walk.range(at, offset + size - at), alphaBits, slice.alpha.size())),
                  slice.alpha);
    else
        EXPECT_EQ(at, offset + size);
}

void expectFrame(std::vector<std::uint8_t> const& bytes, CoefficientFrame const& frame) {
    const NaiveFrameWalk walk(bytes);
    const std::vector<SliceShape> shapes = frame.shape().slices();
    std::size_t slice = 0;
    std::size_t picture = walk.firstPicture();
    for (std::uint32_t pictureIndex = 0; pictureIndex < frame.shape().numPictures(); ++pictureIndex) {
        std::size_t numSlices = 0;
        for (SliceShape const& shape : shapes)
            numSlices += shape.pictureIndex == pictureIndex ? 1 : 0;
        const std::size_t table = picture + walk.field(picture, 1) / 8;
        std::size_t at = table + 2 * numSlices;
        for (std::size_t i = 0; i < numSlices; ++i, ++slice) {
            const std::size_t size = walk.field(table + 2 * i, 2);
            expectSlice(walk, at, size, frame.slices[slice], shapes[slice], frame.alphaBits);
            at += size;
        }
        picture += walk.field(picture + 1, 4);
        EXPECT_EQ(picture, at);
    }
    EXPECT_EQ(slice, shapes.size());
    EXPECT_EQ(picture, walk.size());
}

std::string refusalOf(CoefficientFrame const& frame) {
    try {
        assembleCoefficientFrame(frame);
    } catch (std::invalid_argument const& error) {
        return error.what();
    }
    return "";
}

} // namespace

TEST(CoefficientFrameTest, RandomFramesHoldTheCoefficientsTheyWereMadeOf) {
    Random random = seeded(401);
    for (int i = 0; i < 150; ++i) {
        SCOPED_TRACE("case " + std::to_string(i));
        const CoefficientFrame frame = randomCoefficientFrame(random);
        expectFrame(assembleCoefficientFrame(frame), frame);
        if (testing::Test::HasFailure())
            return;
    }
}

// The largest slice there is: eight macroblocks with full chroma and alpha in the longest codes of 16-bit values. No
// slice outgrows its entry in the slice table.
TEST(CoefficientFrameTest, TheLargestSliceFitsItsFields) {
    CoefficientFrame frame;
    frame.width = 128;
    frame.chromaFormat = ChromaFormat::C444;
    frame.alphaBits = 16;
    frame.settings.alphaDifferenceCoding = AlphaDifferenceCoding::LongForm;
    frame.settings.slice_header_size = 31;
    frame.makeEmptySlices();
    for (std::vector<std::int16_t>* component : {&frame.slices.at(0).y, &frame.slices.at(0).cb, &frame.slices.at(0).cr})
        for (std::size_t i = 0; i < component->size(); ++i)
            (*component)[i] = i / 64 % 2 == 0 ? std::int16_t{-32768} : std::int16_t{32767};
    for (std::size_t i = 0; i < frame.slices[0].alpha.size(); ++i)
        frame.slices[0].alpha[i] = i % 2 == 0 ? 0 : 40000;
    const std::vector<std::uint8_t> bytes = assembleCoefficientFrame(frame);
    EXPECT_GT(bytes.size(), 25000u);
    expectFrame(bytes, frame);
}

TEST(CoefficientFrameTest, RefusesSlicesThatDoNotFitTheirShape) {
    CoefficientFrame frame;
    EXPECT_EQ(refusalOf(frame), "slices.size() is 0; it must be the number of slices of the frame");
    frame.makeEmptySlices();
    EXPECT_EQ(refusalOf(frame), "");
    frame.slices[0].cr.pop_back();
    EXPECT_EQ(refusalOf(frame), "cr.size() is 127; a slice has 64 values for each chroma block");
}

TEST(CoefficientFrameTest, RefusesAlphaBeyondItsDepth) {
    CoefficientFrame frame;
    frame.alphaBits = 8;
    frame.makeEmptySlices();
    frame.slices[0].alpha[5] = 256;
    EXPECT_EQ(refusalOf(frame), "alpha is 256; 8 bits hold 0 to 255");
}
