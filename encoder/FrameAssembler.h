#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

// The fixed fields of a picture header.
inline constexpr std::uint32_t kPictureHeaderFieldBytes = 8;

// Frames field by field. The records below contain every field of a frame, including those that no decoder reads, and
// raw bytes for coded data. Nothing in them has to be consistent: a damaged frame is written by setting the one field
// that is wrong, and the rest stays valid.
//
// An absent size is computed. A value that does not fit the bits of its field is refused.

struct SliceFields {
    std::optional<std::uint32_t> slice_header_size; // 5 bits, bytes; absent: the bytes that the header takes
    std::uint32_t byte_0_bits_2_0 = 0;              // not read
    std::uint32_t quantization_index = 4;           // 8 bits
    std::optional<std::uint32_t> coded_size_y;      // 16 bits, bytes
    std::optional<std::uint32_t> coded_size_cb;     // 16 bits, bytes
    std::optional<std::uint32_t> coded_size_cr;     // 16 bits, bytes; written only if the field is present
    // Whether the header contains coded_size_cr. Absent: if the frame's alpha_channel_type is not 0.
    std::optional<bool> has_coded_size_cr;
    std::vector<std::uint8_t> headerTail; // bytes of the header after its fields

    std::vector<std::uint8_t> y;
    std::vector<std::uint8_t> cb;
    std::vector<std::uint8_t> cr;
    std::vector<std::uint8_t> alpha;
    std::vector<std::uint8_t> tail; // bytes of the slice after everything else

    std::optional<std::uint32_t> coded_size_of_slice; // 16 bits, the entry in the slice table; absent: the true size
};

struct PictureFields {
    std::optional<std::uint32_t> picture_header_size; // 5 bits, bytes; absent: the bytes that the header takes
    std::uint32_t byte_0_bits_2_0 = 0;                // not read
    std::optional<std::uint32_t> picture_size;        // 32 bits; absent: header, table, slices and tail together
    std::uint32_t bytes_5_6 = 0;                      // 16 bits, not read
    std::uint32_t byte_7_bits_7_6 = 0;                // not read
    std::uint32_t log2_slice_size_in_mb = 3;          // 2 bits
    std::uint32_t byte_7_bits_3_0 = 0;                // not read
    std::vector<std::uint8_t> headerTail;             // bytes of the header after its fields

    // The entries of the slice table, 16 bits each. Absent: one for each slice below.
    std::optional<std::vector<std::uint32_t>> sliceTable;
    std::vector<SliceFields> slices;
    std::vector<std::uint8_t> tail; // bytes of the picture after its slices
};

struct FrameFields {
    std::optional<std::uint32_t> outer_word_0; // 32 bits, not read; absent: the size of the frame in bytes
    std::uint32_t outer_word_1 = 0;            // 32 bits, not read

    std::optional<std::uint32_t> header_size;  // 16 bits, bytes; absent: the bytes that the header takes
    std::uint32_t header_byte_2 = 0;           // 8 bits, not read
    std::uint32_t header_byte_3 = 0;           // 8 bits
    std::uint32_t header_word_4 = 0;           // 32 bits
    std::uint32_t horizontal_size = 0;         // 16 bits, pixels
    std::uint32_t vertical_size = 0;           // 16 bits, lines of the frame
    std::uint32_t chroma_format = 2;           // 2 bits
    std::uint32_t byte_12_bits_5_4 = 0;        // not read
    std::uint32_t interlace_mode = 0;          // 2 bits
    std::uint32_t byte_12_bits_1_0 = 0;        // not read
    std::uint32_t header_nibble_13_high = 0;   // 4 bits
    std::uint32_t header_nibble_13_low = 0;    // 4 bits
    std::uint32_t color_primaries = 1;         // 8 bits
    std::uint32_t transfer_characteristic = 1; // 8 bits
    std::uint32_t matrix_coefficients = 1;     // 8 bits
    std::uint32_t byte_17_bits_7_4 = 0;        // not read
    std::uint32_t alpha_channel_type = 0;      // 4 bits
    std::uint32_t header_byte_18 = 0;          // 8 bits, not read
    std::uint32_t byte_19_bits_7_2 = 0;        // not read
    std::optional<bool> load_luma_matrix;      // absent: whether there are bytes of it
    std::optional<bool> load_chroma_matrix;    // the same
    std::vector<std::uint8_t> luma_matrix;     // 64 bytes in a valid frame
    std::vector<std::uint8_t> chroma_matrix;   // 64 bytes in a valid frame
    std::vector<std::uint8_t> headerTail;      // bytes of the header after its fields and matrices

    std::vector<PictureFields> pictures;
    std::vector<std::uint8_t> tail; // bytes of the frame after its pictures
};

// The bytes of a frame and where its parts begin, so that a test can damage one of them by name.
struct AssembledFrame {
    std::vector<std::uint8_t> bytes;
    std::vector<std::size_t> pictureOffsets;
    std::vector<std::size_t> sliceTableOffsets; // one for each picture
    std::vector<std::size_t> sliceOffsets;      // in stream order, over all pictures
};

// Both throw std::invalid_argument, with the field and its value in the text, for a value that its field cannot hold;
// that includes true sizes, for instance those of a slice of more than 65535 bytes.
std::vector<std::uint8_t> assembleFrame(FrameFields const& fields);
AssembledFrame assembleFrameWithOffsets(FrameFields const& fields);
