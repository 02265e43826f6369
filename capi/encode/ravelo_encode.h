/**
 * @file
 * The C interface of the encoder: makes frames of the Ravelo video format from pictures in memory of the caller.
 *
 * It has a library of its own, libravelo-encode. What ravelo.h says of structures, threads and errors holds here too:
 * every function may be called from any number of threads at once, nothing is thrown, and structures begin with their
 * size.
 */
#ifndef RAVELO_ENCODE_H
#define RAVELO_ENCODE_H

#include "ravelo.h"

#ifdef __cplusplus
extern "C" {
#endif

/** One plane of a picture, or the only one. */
typedef struct ravelo_source_plane {
    const void* memory;    /**< Lowest address of the memory. */
    uint64_t memory_bytes; /**< Its size. Nothing outside it is read. */
    uint64_t first_line;   /**< Bytes from `memory` to the top line. */
    int64_t stride;        /**< Bytes from a line to the next; 0 means the bytes of a line. */
} ravelo_source_plane;

/**
 * A picture to encode.
 *
 * RAVELO_CODED is Cb Y Cr Y for 4:2:2 and A Y Cb Cr for 4:4:4, RAVELO_PLANAR is Y, Cb, Cr and, unless its memory is
 * null, A. Both are in video range, as they come from a decode. RAVELO_RGBA and RAVELO_BGRA are in full range.
 * RAVELO_RGBA_HALF is four IEEE binary16 numbers, black 0 and white 1; infinities and what is not a number count as the
 * greatest number of their sign. Samples of more than 8 bits take two bytes, in the order of the processor. The chroma
 * samples of 4:2:2 belong to the even columns.
 */
typedef struct ravelo_source_picture {
    uint64_t struct_size;   /**< Set by the caller. */
    uint32_t width;         /**< Pixels, 1 to 65535. */
    uint32_t height;        /**< Lines, 1 to 65535, both fields together. */
    uint32_t pixel_form;    /**< A ravelo_pixel_form. */
    uint32_t bit_depth;     /**< 8 to 16; RGBA and BGRA 8 or 16; halves 0. 0 means 8. */
    uint32_t chroma_format; /**< Of RAVELO_CODED and RAVELO_PLANAR: 2 is 4:2:2, 3 is 4:4:4; 0 means 2. Otherwise 0. */
    uint32_t reserved;      /**< Zero. */
    ravelo_source_plane planes[RAVELO_MAX_PLANES]; /**< Forms other than RAVELO_PLANAR have the first only. */
} ravelo_source_picture;

/** A picture without pixels. */
#define RAVELO_SOURCE_PICTURE_INIT                                                                                     \
    {                                                                                                                  \
        sizeof(ravelo_source_picture), 0, 0, 0, 0, 0, 0, {                                                             \
            {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {                                                                \
                0, 0, 0, 0                                                                                             \
            }                                                                                                          \
        }                                                                                                              \
    }

/** How to encode. Zero is the default of every member except the first. */
typedef struct ravelo_encode_options {
    uint64_t struct_size;        /**< Set by the caller. */
    uint32_t chroma_format;      /**< 2 is 4:2:2, 3 is 4:4:4; 0: that of the picture, 4:2:2 for RGB. */
    uint32_t alpha_bits;         /**< 0 no alpha plane, 8 or 16; of 4:2:2 no decode shows it. Without one: opaque. */
    uint32_t interlace_mode;     /**< 0 one picture; 1 two fields, even lines first; 2 odd first; 3 even lines only. */
    uint32_t slice_size;         /**< Macroblocks of the largest slice: 1, 2, 4 or 8; 0 means 8. */
    uint32_t quantization_index; /**< 1 (best) to 255; 0 means 4. */
    uint32_t max_threads;        /**< Maximum number of threads, including the calling one; 0 means 1. */
    double bits_per_pixel;       /**< Above 0: the rate that the frame meets within 3 %, instead of an index. */
    uint32_t color_primaries;    /**< A ravelo_color_primaries, to 255; 0 means BT.709. */
    uint32_t transfer_characteristic; /**< A ravelo_transfer_characteristic, to 255; 0 means BT.709. */
    uint32_t matrix_coefficients; /**< A ravelo_matrix_coefficients, to 255; 0 means the one that the height decides. */
    uint32_t reserved;            /**< Zero. */
    const uint8_t* luma_matrix;   /**< Null, or 64 quantisation weights in raster order; 0 drops the coefficient. */
    const uint8_t* chroma_matrix; /**< Null, which means that of luma, or 64 weights. */
    const volatile void* stop;    /**< Null, or a flag of four bytes as in ravelo_decode_options. */
} ravelo_encode_options;

/** The defaults. */
#define RAVELO_ENCODE_OPTIONS_INIT                                                                                     \
    { sizeof(ravelo_encode_options), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 }

/** A frame that was made. */
typedef struct ravelo_encoded_frame {
    uint64_t struct_size;        /**< Set by the caller. */
    void* data;                  /**< The frame's first byte; freed by ravelo_free_frame. */
    uint64_t bytes;              /**< Its size. */
    double bits_per_pixel;       /**< 8 * bytes / (width * height). */
    uint32_t quantization_index; /**< The index that most slices use. */
    uint32_t reserved;           /**< Zero. */
} ravelo_encoded_frame;

/** No frame. */
#define RAVELO_ENCODED_FRAME_INIT                                                                                      \
    { sizeof(ravelo_encoded_frame), 0, 0, 0, 0, 0 }

/**
 * Encodes a picture.
 *
 * The picture is copied into planes of 16 bits first, so a call takes about 30 bytes of memory for each pixel, and the
 * time is proportional to the pixels; a search for `bits_per_pixel` codes each slice several times. The threads of a
 * call end with it. The calling thread needs at most 64 KiB of stack.
 *
 * The stop flag is read before each line while the picture is copied and converted, and before each slice in every
 * stage after that. So a call that is stopped ends after the lines or slices that are under way, one in each thread.
 *
 * @param picture  the picture
 * @param options  null means the defaults
 * @param frame    filled in; on failure its `data` is null
 * @param error    filled in unless null
 * @return RAVELO_OK, RAVELO_STOPPED, or RAVELO_ERROR_ARGUMENT, RAVELO_ERROR_STRUCTURE, RAVELO_ERROR_OPTION,
 *     RAVELO_ERROR_COMBINATION (also for a rate that no index meets), RAVELO_ERROR_BUFFER (a plane is too small),
 *     RAVELO_ERROR_MEMORY, RAVELO_ERROR_INTERNAL
 */
RAVELO_NODISCARD RAVELO_API ravelo_status ravelo_encode(const ravelo_source_picture* picture,
                                                        const ravelo_encode_options* options,
                                                        ravelo_encoded_frame* frame,
                                                        ravelo_error* error) RAVELO_NOEXCEPT;

/** Frees the memory of a frame and sets `data` to null. A null pointer and a frame without data are left alone. */
RAVELO_API void ravelo_free_frame(ravelo_encoded_frame* frame) RAVELO_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
