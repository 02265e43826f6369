#include "FrameMaker.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <sstream>

#include "Random.h"

void BitWriter::put(std::uint64_t value, std::uint32_t numBits) {
    for (std::uint32_t bit = numBits; bit-- > 0; ++m_numBits) {
        if (m_numBits % 8 == 0)
            m_bytes.push_back(0);
        if (((value >> bit) & 1) != 0)
            m_bytes.back() = static_cast<std::uint8_t>(m_bytes.back() | (0x80u >> (m_numBits % 8)));
    }
}

void BitWriter::putZeros(std::uint64_t numBits) {
    for (; numBits > 0; --numBits)
        put(0, 1);
}

namespace {

struct Book {
    std::uint32_t lastRiceQ, riceBits, expGolombBits;
};

Book dcBook(std::int64_t previousDifference) {
    constexpr Book books[4] = {{0, 0, 1}, {0, 1, 2}, {1, 2, 3}, {0, 3, 4}};
    return books[std::min<std::int64_t>(std::abs(previousDifference), 3)];
}

Book runBook(std::uint32_t previousRun) {
    if (previousRun <= 1)
        return {2, 0, 1};
    if (previousRun <= 3)
        return {1, 0, 1};
    if (previousRun == 4)
        return {0, 0, 1};
    if (previousRun <= 8)
        return {1, 1, 2};
    return previousRun <= 14 ? Book{0, 1, 2} : Book{0, 2, 3};
}

Book levelBook(std::uint32_t previousSymbol) {
    constexpr Book books[5] = {{2, 0, 2}, {1, 0, 1}, {2, 0, 1}, {0, 0, 1}, {0, 1, 2}};
    return previousSymbol >= 8 ? Book{0, 2, 3} : books[std::min(previousSymbol, 4u)];
}

void putCode(BitWriter& bits, Book const& book, std::uint64_t value) {
    const std::uint64_t firstEscape = std::uint64_t{book.lastRiceQ + 1} << book.riceBits;
    if (value < firstEscape) {
        bits.putZeros(value >> book.riceBits);
        bits.put(1, 1);
        bits.put(value, book.riceBits);
        return;
    }
    const std::uint64_t escaped = value - firstEscape + (std::uint64_t{1} << book.expGolombBits);
    const std::uint32_t n = static_cast<std::uint32_t>(std::bit_width(escaped)) - 1;
    bits.putZeros(n - book.expGolombBits + 1 + book.lastRiceQ);
    bits.put(1, 1);
    bits.put(escaped, n);
}

std::uint64_t unfolded(std::int64_t value) {
    return static_cast<std::uint64_t>(value >= 0 ? 2 * value : -2 * value - 1);
}

void putDcs(BitWriter& bits, std::vector<std::int16_t> const& coefficients) {
    std::int64_t previousDifference = 3;
    for (std::size_t i = 0; i < coefficients.size(); i += 64) {
        if (i == 0) {
            putCode(bits, {0, 5, 6}, unfolded(coefficients[0]));
            continue;
        }
        const std::int64_t difference = std::int64_t{coefficients[i]} - coefficients[i - 64];
        putCode(bits, dcBook(previousDifference), unfolded(previousDifference < 0 ? -difference : difference));
        previousDifference = difference;
    }
}

void putAcs(BitWriter& bits, std::vector<std::int16_t> const& coefficients) {
    const std::size_t numBlocks = coefficients.size() / 64;
    std::uint32_t run = 0;
    std::uint32_t previousRun = 4;
    std::uint32_t previousSymbol = 1;
    for (std::size_t position = numBlocks; position < coefficients.size(); ++position) {
        const int level = coefficients[position % numBlocks * 64 + position / numBlocks];
        if (level == 0) {
            ++run;
            continue;
        }
        const std::uint32_t symbol = static_cast<std::uint32_t>(std::abs(level)) - 1;
        putCode(bits, runBook(previousRun), run);
        putCode(bits, levelBook(previousSymbol), symbol);
        bits.put(level < 0 ? 1 : 0, 1);
        previousRun = run;
        previousSymbol = symbol;
        run = 0;
    }
}

void append(std::vector<std::uint8_t>& to, std::vector<std::uint8_t> const& from) {
    to.insert(to.end(), from.begin(), from.end());
}

// `field` shifted into the bits of `mask`, junk in the others.
std::uint8_t packed(std::uint32_t field, std::uint8_t mask, std::uint8_t junk) {
    const std::uint32_t shifted = field << std::countr_zero(mask);
    return static_cast<std::uint8_t>((shifted & mask) | (junk & ~std::uint32_t{mask}));
}

std::vector<std::uint8_t> frameHeader(FrameSpec const& spec) {
    std::vector<std::uint8_t> header(20, spec.junk);
    put16At(header, 8, spec.horizontal_size);
    put16At(header, 10, spec.vertical_size);
    header[12] = static_cast<std::uint8_t>((spec.chroma_format << 6) | (spec.interlace_mode << 2) | (spec.junk & 0x33));
    header[16] = static_cast<std::uint8_t>(spec.matrix_coefficients);
    header[17] = packed(spec.alpha_channel_type, 0x0F, spec.junk);
    header[19] = packed((spec.lumaMatrix ? 2u : 0u) | (spec.chromaMatrix ? 1u : 0u), 0x03, spec.junk);
    if (spec.lumaMatrix)
        header.insert(header.end(), spec.lumaMatrix->begin(), spec.lumaMatrix->end());
    if (spec.chromaMatrix)
        header.insert(header.end(), spec.chromaMatrix->begin(), spec.chromaMatrix->end());
    header.resize(header.size() + spec.extraHeaderBytes, spec.junk);
    put16At(header, 0, header.size());
    return header;
}

std::vector<std::uint8_t> encodedSlice(FrameSpec const& spec, SliceContent const& content) {
    const bool hasAlpha = spec.alpha_channel_type != 0;
    std::vector<std::uint8_t> slice((hasAlpha ? 8 : 6) + spec.extraSliceHeaderBytes, spec.junk);
    slice[0] = packed(static_cast<std::uint32_t>(slice.size()), 0xF8, spec.junk);
    slice[1] = content.quantization_index;
    std::size_t sizeField = 2;
    for (auto const* coefficients : {&content.y, &content.cb, &content.cr}) {
        std::vector<std::uint8_t> range = encodedComponent(*coefficients);
        range.resize(range.size() + content.numTailBytes, 0);
        if (sizeField < 6 || hasAlpha)
            put16At(slice, sizeField, range.size());
        sizeField += 2;
        append(slice, range);
    }
    if (hasAlpha)
        append(slice, encodedAlpha(content.alpha, spec.alpha_channel_type == 1 ? 8 : 16, spec.longAlphaRuns,
                                   spec.modularAlphaDifferences));
    return slice;
}

std::vector<std::uint32_t> rowDivision(FrameSpec const& spec) {
    std::vector<std::uint32_t> sizes;
    std::uint32_t left = (spec.horizontal_size + 15) / 16;
    for (std::uint32_t size = 1u << spec.log2_slice_size_in_mb; left > 0; size >>= 1) {
        while (left >= size) {
            sizes.push_back(size);
            left -= size;
        }
    }
    return sizes;
}

void appendPicture(FrameSpec const& spec, std::uint32_t pictureIndex, SliceMaker const& makeSlice, MadeFrame& frame) {
    const std::vector<std::uint32_t> sizes = rowDivision(spec);
    const std::uint32_t numRows = (spec.pictureHeight(pictureIndex) + 15) / 16;
    std::vector<std::uint8_t> picture(spec.picture_header_size, spec.junk);
    picture[0] = packed(spec.picture_header_size, 0xF8, spec.junk);
    picture[7] = packed(spec.log2_slice_size_in_mb, 0x30, spec.junk);
    const std::size_t tableOffset = picture.size();
    picture.insert(picture.end(), 2 * numRows * sizes.size(), 0);
    const std::size_t pictureOffset = frame.bytes.size();
    frame.pictureOffsets.push_back(pictureOffset);
    frame.sliceTableOffsets.push_back(pictureOffset + tableOffset);
    std::size_t entry = tableOffset;
    for (std::uint32_t row = 0; row < numRows; ++row) {
        for (std::uint32_t column = 0; column < sizes.size(); ++column, entry += 2) {
            const SlicePlace place{pictureIndex, row, column, sizes[column]};
            SliceContent content;
            content.y.resize(std::size_t{spec.lumaBlocks(place)} * 64);
            content.cb.resize(std::size_t{spec.chromaBlocks(place)} * 64);
            content.cr.resize(std::size_t{spec.chromaBlocks(place)} * 64);
            content.alpha.resize(spec.alphaSamples(place));
            makeSlice(place, content);
            frame.sliceOffsets.push_back(pictureOffset + picture.size());
            const std::vector<std::uint8_t> slice = encodedSlice(spec, content);
            put16At(picture, entry, slice.size());
            append(picture, slice);
            frame.slices.push_back(std::move(content));
        }
    }
    if (pictureIndex == 0 && spec.numPictures() == 2)
        picture.resize(picture.size() + spec.extraPictureBytes, spec.junk);
    put16At(picture, 1, picture.size() >> 16);
    put16At(picture, 3, picture.size() & 0xFFFF);
    append(frame.bytes, picture);
}

std::uint16_t maskOf(std::uint32_t alphaBits) {
    return alphaBits == 8 ? 0xFF : 0xFFFF;
}

void putAlphaRun(BitWriter& bits, std::uint32_t run, bool longRuns) {
    if (run == 1) {
        bits.put(1, 1);
    } else if (run <= 16 && !longRuns) {
        bits.put(0, 1);
        bits.put(run - 1, 4);
    } else {
        bits.put(0, 5);
        bits.put(run - 1, 11);
    }
}

} // namespace

void put16At(std::vector<std::uint8_t>& bytes, std::size_t offset, std::size_t value) {
    bytes[offset] = static_cast<std::uint8_t>((value >> 8) & 0xFF);
    bytes[offset + 1] = static_cast<std::uint8_t>(value & 0xFF);
}

std::string FrameSpec::describe() const {
    std::ostringstream text;
    text << horizontal_size << "x" << vertical_size << " chroma_format " << chroma_format << " interlace_mode "
         << interlace_mode << " alpha_channel_type " << alpha_channel_type << " matrix_coefficients "
         << matrix_coefficients << " log2_slice_size_in_mb " << log2_slice_size_in_mb << " matrices "
         << lumaMatrix.has_value() << chromaMatrix.has_value() << " extra " << extraHeaderBytes << "/"
         << picture_header_size << "/" << extraSliceHeaderBytes << "/" << extraPictureBytes << " junk " << int{junk};
    return text.str();
}

std::uint32_t FrameSpec::pictureHeight(std::uint32_t pictureIndex) const {
    if (interlace_mode == 0)
        return vertical_size;
    const bool isEvenField = interlace_mode != 3 && pictureIndex == interlace_mode - 1;
    return isEvenField ? (vertical_size + 1) / 2 : vertical_size / 2;
}

std::uint32_t FrameSpec::alphaSamples(SlicePlace const& place) const {
    if (alpha_channel_type == 0)
        return 0;
    return place.sliceMbs * 16 * std::min(16u, pictureHeight(place.pictureIndex) - 16 * place.mbRow);
}

std::vector<std::uint8_t> encodedComponent(std::vector<std::int16_t> const& coefficients) {
    BitWriter bits;
    putDcs(bits, coefficients);
    putAcs(bits, coefficients);
    return bits.bytes();
}

std::vector<std::uint8_t> encodedAlpha(std::vector<std::uint16_t> const& samples, std::uint32_t alphaBits,
                                       bool longRuns, bool modularDifferences) {
    BitWriter bits;
    const std::int32_t longestShort = alphaBits == 8 ? 8 : 64;
    std::int32_t previous = -1;
    for (std::size_t i = 0; i < samples.size();) {
        std::size_t run = 1;
        while (i + run < samples.size() && samples[i + run] == samples[i] && run < 2048)
            ++run;
        const std::int32_t difference = samples[i] - previous;
        const bool fitsShort = difference != 0 && std::abs(difference) <= longestShort;
        if (fitsShort && !modularDifferences) {
            bits.put(0, 1);
            bits.put(static_cast<std::uint32_t>(2 * (std::abs(difference) - 1) + (difference < 0 ? 1 : 0)),
                     alphaBits == 8 ? 4 : 7);
        } else {
            bits.put(1, 1);
            bits.put(static_cast<std::uint32_t>(difference) & maskOf(alphaBits), alphaBits);
        }
        putAlphaRun(bits, static_cast<std::uint32_t>(run), longRuns);
        previous = samples[i];
        i += run;
    }
    return bits.bytes();
}

MadeFrame makeFrame(FrameSpec const& spec, SliceMaker const& makeSlice) {
    MadeFrame frame;
    frame.bytes.assign(8, spec.junk);
    append(frame.bytes, frameHeader(spec));
    for (std::uint32_t picture = 0; picture < spec.numPictures(); ++picture)
        appendPicture(spec, picture, makeSlice, frame);
    return frame;
}

// --- random frames ---------------------------------------------------------------------------------------------------

namespace {

std::int16_t randomSigned(Random& random, std::uint32_t magnitude) {
    return static_cast<std::int16_t>(static_cast<int>(randomBelow(random, 2 * magnitude + 1)) -
                                     static_cast<int>(magnitude));
}

void fillComponent(std::vector<std::int16_t>& coefficients, Texture texture, Random& random) {
    const bool isExtreme = texture == Texture::Extreme;
    for (std::size_t i = 0; i < coefficients.size(); i += 64)
        coefficients[i] = randomSigned(random, isExtreme ? 32767 : 1000);
    for (std::size_t i = 0; i < coefficients.size(); ++i) {
        const std::uint32_t scanIndex = i % 64;
        if (scanIndex == 0)
            continue;
        if (texture == Texture::Photo && randomBelow(random, 4 + scanIndex) < 3)
            coefficients[i] = randomSigned(random, 1 + 160 / scanIndex);
        else if (texture == Texture::Dense)
            coefficients[i] = randomSigned(random, 12);
        else if (texture == Texture::Sparse && randomBelow(random, 40) == 0)
            coefficients[i] = randomSigned(random, 2000);
        else if (isExtreme && randomBelow(random, 5) == 0)
            coefficients[i] = randomSigned(random, 32767);
    }
}

void fillAlpha(std::vector<std::uint16_t>& samples, std::uint32_t alphaBits, Random& random) {
    const std::uint32_t longestRun = 1 + randomBelow(random, 2) * randomBelow(random, 400);
    const std::uint32_t mask = maskOf(alphaBits);
    std::uint32_t value = random() & mask;
    for (std::size_t i = 0; i < samples.size();) {
        value = randomBelow(random, 3) == 0 ? random() & mask : (value + randomBelow(random, 20) - 10) & mask;
        for (std::uint32_t run = 1 + randomBelow(random, longestRun); run > 0 && i < samples.size(); --run)
            samples[i++] = static_cast<std::uint16_t>(value);
    }
}

std::array<std::uint8_t, 64> randomMatrix(Random& random) {
    std::array<std::uint8_t, 64> matrix{};
    const std::uint32_t limit = randomBelow(random, 4) == 0 ? 256 : 12;
    for (std::uint8_t& entry : matrix)
        entry = static_cast<std::uint8_t>(randomBelow(random, limit));
    return matrix;
}

// Mostly a few macroblocks, with every remainder against the macroblock grid.
std::uint32_t randomSize(Random& random) {
    return randomBelow(random, 4) == 0 ? 1 + randomBelow(random, 20) : 1 + randomBelow(random, 180);
}

} // namespace

FrameSpec randomSpec(Random& random) {
    constexpr std::uint32_t matrices[5] = {0, 1, 2, 6, 9};
    FrameSpec spec;
    spec.horizontal_size = randomSize(random);
    spec.vertical_size = randomSize(random) / 2 + 1;
    spec.chroma_format = randomBelow(random, 8) == 0 ? randomBelow(random, 2) : 2 + randomBelow(random, 2);
    spec.interlace_mode = randomBelow(random, 2) * randomBelow(random, 4);
    spec.alpha_channel_type = randomBelow(random, 2) * randomBelow(random, 3);
    if (randomBelow(random, 12) == 0)
        spec.alpha_channel_type = 3 + randomBelow(random, 13);
    spec.matrix_coefficients = matrices[randomBelow(random, 5)];
    if (randomBelow(random, 2) == 0)
        spec.lumaMatrix = randomMatrix(random);
    if (randomBelow(random, 2) == 0)
        spec.chromaMatrix = randomMatrix(random);
    spec.log2_slice_size_in_mb = randomBelow(random, 4);
    spec.extraHeaderBytes = randomBelow(random, 2) * randomBelow(random, 90);
    spec.picture_header_size = 8 + randomBelow(random, 2) * randomBelow(random, 24);
    spec.extraSliceHeaderBytes = randomBelow(random, 2) * randomBelow(random, 24);
    spec.extraPictureBytes = randomBelow(random, 2) * randomBelow(random, 50);
    spec.junk = static_cast<std::uint8_t>(randomBelow(random, 3) == 0 ? random() & 0xFF : 0);
    spec.longAlphaRuns = randomBelow(random, 3) == 0;
    spec.modularAlphaDifferences = randomBelow(random, 3) == 0;
    return spec;
}

SliceMaker randomSlices(FrameSpec const& spec, Texture texture, Random& random) {
    const std::uint32_t alphaBits = spec.alpha_channel_type == 1 ? 8 : 16;
    return [texture, alphaBits, &random](SlicePlace const&, SliceContent& content) {
        const bool isExtreme = texture == Texture::Extreme;
        content.quantization_index = static_cast<std::uint8_t>(randomBelow(random, isExtreme ? 256 : 10));
        content.numTailBytes = randomBelow(random, 8);
        fillComponent(content.y, texture, random);
        fillComponent(content.cb, texture, random);
        fillComponent(content.cr, texture, random);
        fillAlpha(content.alpha, alphaBits, random);
    };
}

MadeFrame randomFrame(FrameSpec const& spec, Random& random) {
    constexpr Texture textures[8] = {Texture::Flat,  Texture::Photo, Texture::Photo,  Texture::Photo,
                                     Texture::Photo, Texture::Dense, Texture::Sparse, Texture::Extreme};
    return makeFrame(spec, randomSlices(spec, textures[randomBelow(random, 8)], random));
}
