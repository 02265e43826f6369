#include "HostileFrames.h"

#include <array>

#include "Random.h"

namespace {

constexpr std::size_t kOuterWordBytes = 8;

struct Recipe {
    const char* name;
    std::uint32_t width, height;
    std::uint32_t chroma_format, interlace_mode, alpha_channel_type, log2_slice_size_in_mb;
    Texture texture;
    bool lumaMatrix, chromaMatrix;
    std::uint32_t extraHeaderBytes, picture_header_size, extraSliceHeaderBytes, extraPictureBytes;
};

constexpr Recipe kRecipes[] = {
    {"422 flat", 48, 32, 2, 0, 0, 3, Texture::Flat, false, false, 0, 8, 0, 0},
    {"422 photo", 40, 35, 2, 0, 0, 3, Texture::Photo, false, false, 0, 8, 0, 0},
    {"422 dense", 16, 16, 2, 0, 0, 0, Texture::Dense, false, false, 0, 8, 0, 0},
    {"422 sparse", 33, 18, 2, 0, 0, 1, Texture::Sparse, false, false, 0, 8, 0, 0},
    {"422 extreme", 17, 17, 2, 0, 0, 0, Texture::Extreme, false, false, 0, 8, 0, 0},
    {"422 one pixel", 1, 1, 2, 0, 0, 3, Texture::Photo, false, false, 0, 8, 0, 0},
    {"422 wide slices", 250, 12, 2, 0, 0, 3, Texture::Flat, true, false, 0, 8, 0, 0},
    {"422 mixed slices", 120, 9, 2, 0, 0, 2, Texture::Photo, false, true, 0, 8, 0, 0},
    {"422 fields", 31, 33, 2, 1, 0, 1, Texture::Photo, false, false, 0, 8, 0, 0},
    {"422 lower field first", 45, 35, 2, 2, 0, 2, Texture::Sparse, true, true, 0, 8, 0, 9},
    {"422 one field", 18, 50, 2, 3, 0, 3, Texture::Photo, false, false, 0, 8, 0, 0},
    {"422 padded headers", 34, 16, 2, 0, 0, 0, Texture::Photo, true, true, 41, 31, 20, 0},
    {"422 with alpha", 32, 20, 2, 0, 1, 1, Texture::Flat, false, false, 0, 8, 0, 0},
    {"format 0", 20, 14, 0, 0, 0, 1, Texture::Photo, false, false, 0, 8, 0, 0},
    {"format 1 with alpha", 20, 14, 1, 1, 2, 1, Texture::Flat, false, false, 0, 9, 1, 3},
    {"444 flat", 64, 24, 3, 0, 0, 3, Texture::Flat, false, false, 0, 8, 0, 0},
    {"444 photo", 37, 19, 3, 0, 0, 2, Texture::Photo, false, false, 0, 8, 0, 0},
    {"444 dense", 15, 13, 3, 0, 0, 0, Texture::Dense, false, false, 0, 8, 0, 0},
    {"444 extreme", 16, 9, 3, 0, 0, 0, Texture::Extreme, true, true, 3, 8, 0, 0},
    {"444 fields", 20, 33, 3, 2, 0, 1, Texture::Sparse, false, false, 0, 8, 0, 5},
    {"444 wide slices", 132, 7, 3, 0, 0, 3, Texture::Flat, false, false, 0, 8, 0, 0},
    {"4444 8-bit alpha", 30, 20, 3, 0, 1, 1, Texture::Flat, false, false, 0, 8, 0, 0},
    {"4444 16-bit alpha", 19, 21, 3, 0, 2, 0, Texture::Flat, false, false, 0, 8, 0, 0},
    {"4444 photo", 33, 10, 3, 0, 2, 2, Texture::Photo, true, false, 0, 8, 0, 0},
    {"4444 fields", 18, 37, 3, 1, 1, 3, Texture::Photo, false, false, 0, 12, 3, 0},
    {"4444 undefined alpha", 18, 11, 3, 0, 7, 1, Texture::Flat, false, false, 0, 8, 0, 0},
    {"4444 last undefined alpha", 23, 17, 3, 3, 15, 1, Texture::Sparse, false, true, 0, 8, 0, 0},
    {"4444 wide slices", 129, 3, 3, 0, 1, 3, Texture::Flat, false, false, 0, 8, 2, 0},
};

std::array<std::uint8_t, 64> risingMatrix(std::uint8_t step) {
    std::array<std::uint8_t, 64> matrix{};
    for (std::size_t i = 0; i < matrix.size(); ++i)
        matrix[i] = static_cast<std::uint8_t>(2 + i * step);
    return matrix;
}

HostileFrame frameOf(Recipe const& recipe, std::uint32_t seed) {
    HostileFrame frame;
    frame.name = recipe.name;
    FrameSpec& spec = frame.spec;
    spec.horizontal_size = recipe.width;
    spec.vertical_size = recipe.height;
    spec.chroma_format = recipe.chroma_format;
    spec.interlace_mode = recipe.interlace_mode;
    spec.alpha_channel_type = recipe.alpha_channel_type;
    spec.log2_slice_size_in_mb = recipe.log2_slice_size_in_mb;
    if (recipe.lumaMatrix)
        spec.lumaMatrix = risingMatrix(3);
    if (recipe.chromaMatrix)
        spec.chromaMatrix = risingMatrix(1);
    spec.extraHeaderBytes = recipe.extraHeaderBytes;
    spec.picture_header_size = recipe.picture_header_size;
    spec.extraSliceHeaderBytes = recipe.extraSliceHeaderBytes;
    spec.extraPictureBytes = recipe.extraPictureBytes;
    spec.longAlphaRuns = seed % 2 == 0;
    spec.modularAlphaDifferences = seed % 3 == 0;
    Random random(seed);
    frame.made = makeFrame(spec, randomSlices(spec, recipe.texture, random));
    return frame;
}

std::size_t sliceHeaderBytes(FrameSpec const& spec) {
    return (spec.alpha_channel_type != 0 ? 8 : 6) + spec.extraSliceHeaderBytes;
}

} // namespace

std::vector<HostileFrame> const& hostileFrames() {
    static const std::vector<HostileFrame> frames = [] {
        std::vector<HostileFrame> made;
        std::uint32_t seed = 7000;
        for (Recipe const& recipe : kRecipes)
            made.push_back(frameOf(recipe, seed++));
        return made;
    }();
    return frames;
}

std::uint64_t fieldOf(std::vector<std::uint8_t> const& bytes, FrameField const& field) {
    std::uint64_t number = 0;
    for (std::uint32_t i = 0; i < field.numBytes; ++i)
        number = number << 8 | (field.offset + i < bytes.size() ? bytes[field.offset + i] : 0);
    return number >> field.bitShift & field.limit();
}

void setField(std::vector<std::uint8_t>& bytes, FrameField const& field, std::uint64_t value) {
    const std::uint64_t mask = field.limit() << field.bitShift;
    const std::uint64_t shifted = value << field.bitShift & mask;
    for (std::uint32_t i = 0; i < field.numBytes; ++i) {
        const std::size_t place = field.offset + i;
        if (place >= bytes.size())
            return;
        const std::uint32_t down = 8 * (field.numBytes - 1 - i);
        bytes[place] = static_cast<std::uint8_t>((bytes[place] & ~(mask >> down)) | (shifted >> down & 0xFF));
    }
}

std::vector<FrameField> componentSizeFields(HostileFrame const& frame, std::size_t sliceIndex) {
    const std::size_t slice = frame.made.sliceOffsets[sliceIndex];
    std::vector<FrameField> fields = {{"coded_size_y", slice + 2, 0, 16, 2}, {"coded_size_cb", slice + 4, 0, 16, 2}};
    if (frame.spec.alpha_channel_type != 0)
        fields.push_back({"coded_size_cr", slice + 6, 0, 16, 2});
    return fields;
}

FrameField tableEntryField(HostileFrame const& frame, std::size_t sliceIndex) {
    // The tables of two pictures hold the slices in stream order, each picture its own.
    std::size_t picture = 0;
    std::size_t inPicture = sliceIndex;
    if (frame.made.pictureOffsets.size() == 2 && frame.made.sliceOffsets[sliceIndex] > frame.made.pictureOffsets[1]) {
        picture = 1;
        while (inPicture > 0 && frame.made.sliceOffsets[sliceIndex - inPicture] < frame.made.pictureOffsets[1])
            --inPicture;
    }
    return {"coded_size_of_slice", frame.made.sliceTableOffsets[picture] + 2 * inPicture, 0, 16, 2};
}

std::vector<FrameField> sizeFields(HostileFrame const& frame) {
    const std::size_t picture = frame.made.pictureOffsets[0];
    const std::size_t lastSlice = frame.made.sliceOffsets.size() - 1;
    std::vector<FrameField> fields = {
        {"header_size", kOuterWordBytes, 0, 16, 2},
        {"horizontal_size", kOuterWordBytes + 8, 0, 16, 2},
        {"vertical_size", kOuterWordBytes + 10, 0, 16, 2},
        {"picture_header_size", picture, 3, 5, 1},
        {"picture_size", picture + 1, 0, 32, 4},
        {"log2_slice_size_in_mb", picture + 7, 4, 2, 1},
        tableEntryField(frame, 0),
        tableEntryField(frame, lastSlice),
        {"slice_header_size", frame.made.sliceOffsets[0], 3, 5, 1},
        {"slice_header_size of the last", frame.made.sliceOffsets[lastSlice], 3, 5, 1},
    };
    for (const std::size_t slice : {std::size_t{0}, lastSlice})
        for (FrameField const& field : componentSizeFields(frame, slice))
            fields.push_back(field);
    return fields;
}

std::vector<std::size_t> headerBytes(HostileFrame const& frame) {
    std::vector<std::size_t> offsets;
    const auto add = [&offsets, &frame](std::size_t from, std::size_t to) {
        for (std::size_t i = from; i < to && i < frame.bytes().size(); ++i)
            offsets.push_back(i);
    };
    add(0, frame.made.pictureOffsets[0]);
    std::size_t slice = 0;
    for (std::size_t picture = 0; picture < frame.made.pictureOffsets.size(); ++picture) {
        while (slice < frame.made.sliceOffsets.size() &&
               frame.made.sliceOffsets[slice] < frame.made.sliceTableOffsets[picture])
            ++slice;
        add(frame.made.pictureOffsets[picture], frame.made.sliceOffsets[slice]);
    }
    for (const std::size_t offset : frame.made.sliceOffsets)
        add(offset, offset + sliceHeaderBytes(frame.spec));
    return offsets;
}
