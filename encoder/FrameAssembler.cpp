#include "FrameAssembler.h"

#include <stdexcept>
#include <string>

#include "VLCWriter.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kFrameHeaderFieldBytes = 20;

// Fields one after the other, each held against its number of bits.
class FieldWriter {
public:
    void field(const char* name, std::uint64_t value, std::uint32_t numBits) {
        if ((value >> numBits) != 0)
            throw std::invalid_argument(std::string(name) + " is " + std::to_string(value) +
                                        ", more than its field of " + std::to_string(numBits) + " bits can hold");
        m_bits.put(value, numBits);
    }

    Bytes takeBytes() { return m_bits.takeBytes(); }

private:
    VLCWriter m_bits;
};

void append(Bytes& to, Bytes const& from) {
    to.insert(to.end(), from.begin(), from.end());
}

bool hasCodedSizeCr(SliceFields const& slice, std::uint32_t alpha_channel_type) {
    return slice.has_coded_size_cr.value_or(alpha_channel_type != 0);
}

Bytes sliceHeader(SliceFields const& slice, bool hasSizeOfCr) {
    const std::size_t size = (hasSizeOfCr ? 8 : 6) + slice.headerTail.size();
    FieldWriter fields;
    fields.field("slice_header_size", slice.slice_header_size ? *slice.slice_header_size : size, 5);
    fields.field("byte_0_bits_2_0", slice.byte_0_bits_2_0, 3);
    fields.field("quantization_index", slice.quantization_index, 8);
    fields.field("coded_size_y", slice.coded_size_y ? *slice.coded_size_y : slice.y.size(), 16);
    fields.field("coded_size_cb", slice.coded_size_cb ? *slice.coded_size_cb : slice.cb.size(), 16);
    if (hasSizeOfCr)
        fields.field("coded_size_cr", slice.coded_size_cr ? *slice.coded_size_cr : slice.cr.size(), 16);
    Bytes header = fields.takeBytes();
    append(header, slice.headerTail);
    return header;
}

std::size_t sliceSize(SliceFields const& slice, bool hasSizeOfCr) {
    return (hasSizeOfCr ? 8 : 6) + slice.headerTail.size() + slice.y.size() + slice.cb.size() + slice.cr.size() +
           slice.alpha.size() + slice.tail.size();
}

void appendSlice(Bytes& frame, SliceFields const& slice, bool hasSizeOfCr) {
    append(frame, sliceHeader(slice, hasSizeOfCr));
    for (Bytes const* part : {&slice.y, &slice.cb, &slice.cr, &slice.alpha, &slice.tail})
        append(frame, *part);
}

Bytes sliceTable(PictureFields const& picture, std::uint32_t alpha_channel_type) {
    FieldWriter fields;
    if (picture.sliceTable) {
        for (const std::uint32_t entry : *picture.sliceTable)
            fields.field("coded_size_of_slice", entry, 16);
        return fields.takeBytes();
    }
    for (SliceFields const& slice : picture.slices) {
        const std::size_t size = sliceSize(slice, hasCodedSizeCr(slice, alpha_channel_type));
        fields.field("coded_size_of_slice", slice.coded_size_of_slice ? *slice.coded_size_of_slice : size, 16);
    }
    return fields.takeBytes();
}

Bytes pictureHeader(PictureFields const& picture, std::uint64_t pictureSize) {
    FieldWriter fields;
    const std::size_t headerSize = kPictureHeaderFieldBytes + picture.headerTail.size();
    fields.field("picture_header_size", picture.picture_header_size ? *picture.picture_header_size : headerSize, 5);
    fields.field("byte_0_bits_2_0", picture.byte_0_bits_2_0, 3);
    fields.field("picture_size", picture.picture_size ? *picture.picture_size : pictureSize, 32);
    fields.field("bytes_5_6", picture.bytes_5_6, 16);
    fields.field("byte_7_bits_7_6", picture.byte_7_bits_7_6, 2);
    fields.field("log2_slice_size_in_mb", picture.log2_slice_size_in_mb, 2);
    fields.field("byte_7_bits_3_0", picture.byte_7_bits_3_0, 4);
    Bytes header = fields.takeBytes();
    append(header, picture.headerTail);
    return header;
}

void appendPicture(AssembledFrame& frame, PictureFields const& picture, std::uint32_t alpha_channel_type) {
    const Bytes table = sliceTable(picture, alpha_channel_type);
    std::uint64_t pictureSize =
        kPictureHeaderFieldBytes + picture.headerTail.size() + table.size() + picture.tail.size();
    for (SliceFields const& slice : picture.slices)
        pictureSize += sliceSize(slice, hasCodedSizeCr(slice, alpha_channel_type));

    frame.pictureOffsets.push_back(frame.bytes.size());
    append(frame.bytes, pictureHeader(picture, pictureSize));
    frame.sliceTableOffsets.push_back(frame.bytes.size());
    append(frame.bytes, table);
    for (SliceFields const& slice : picture.slices) {
        frame.sliceOffsets.push_back(frame.bytes.size());
        appendSlice(frame.bytes, slice, hasCodedSizeCr(slice, alpha_channel_type));
    }
    append(frame.bytes, picture.tail);
}

Bytes frameHeader(FrameFields const& frame) {
    const std::size_t size =
        kFrameHeaderFieldBytes + frame.luma_matrix.size() + frame.chroma_matrix.size() + frame.headerTail.size();
    FieldWriter fields;
    fields.field("header_size", frame.header_size ? *frame.header_size : size, 16);
    fields.field("header_byte_2", frame.header_byte_2, 8);
    fields.field("header_byte_3", frame.header_byte_3, 8);
    fields.field("header_word_4", frame.header_word_4, 32);
    fields.field("horizontal_size", frame.horizontal_size, 16);
    fields.field("vertical_size", frame.vertical_size, 16);
    fields.field("chroma_format", frame.chroma_format, 2);
    fields.field("byte_12_bits_5_4", frame.byte_12_bits_5_4, 2);
    fields.field("interlace_mode", frame.interlace_mode, 2);
    fields.field("byte_12_bits_1_0", frame.byte_12_bits_1_0, 2);
    fields.field("header_nibble_13_high", frame.header_nibble_13_high, 4);
    fields.field("header_nibble_13_low", frame.header_nibble_13_low, 4);
    fields.field("color_primaries", frame.color_primaries, 8);
    fields.field("transfer_characteristic", frame.transfer_characteristic, 8);
    fields.field("matrix_coefficients", frame.matrix_coefficients, 8);
    fields.field("byte_17_bits_7_4", frame.byte_17_bits_7_4, 4);
    fields.field("alpha_channel_type", frame.alpha_channel_type, 4);
    fields.field("header_byte_18", frame.header_byte_18, 8);
    fields.field("byte_19_bits_7_2", frame.byte_19_bits_7_2, 6);
    fields.field("load_luma_matrix", frame.load_luma_matrix.value_or(!frame.luma_matrix.empty()) ? 1 : 0, 1);
    fields.field("load_chroma_matrix", frame.load_chroma_matrix.value_or(!frame.chroma_matrix.empty()) ? 1 : 0, 1);
    Bytes header = fields.takeBytes();
    append(header, frame.luma_matrix);
    append(header, frame.chroma_matrix);
    append(header, frame.headerTail);
    return header;
}

// The word precedes everything whose size it gives, so it is written last.
void writeOuterWord0(Bytes& frame, std::optional<std::uint32_t> value) {
    FieldWriter fields;
    fields.field("outer_word_0", value ? *value : frame.size(), 32);
    const Bytes word = fields.takeBytes();
    for (std::size_t i = 0; i < word.size(); ++i)
        frame[i] = word[i];
}

} // namespace

AssembledFrame assembleFrameWithOffsets(FrameFields const& fields) {
    AssembledFrame frame;
    frame.bytes.assign(4, 0);
    FieldWriter outer;
    outer.field("outer_word_1", fields.outer_word_1, 32);
    append(frame.bytes, outer.takeBytes());
    append(frame.bytes, frameHeader(fields));
    for (PictureFields const& picture : fields.pictures)
        appendPicture(frame, picture, fields.alpha_channel_type);
    append(frame.bytes, fields.tail);
    writeOuterWord0(frame.bytes, fields.outer_word_0);
    return frame;
}

std::vector<std::uint8_t> assembleFrame(FrameFields const& fields) {
    return assembleFrameWithOffsets(fields).bytes;
}
