/**
 * @file
 * The C interface of RaveloOpt: decodes frames of the Ravelo video format into memory of the caller.
 *
 * There is no context object. Every function may be called from any number of threads at once, and none of them throws,
 * prints or ends the process. The functions keep no pointer that they are given.
 *
 * Structures that may grow begin with `struct_size`, which the caller sets to the `sizeof` of the structure; all other
 * members may be zero, which selects the default. A macro for each structure does both:
 *
 * @code
 * ravelo_decode_options options = RAVELO_DECODE_OPTIONS_INIT;
 * options.reduction = RAVELO_HALF_SIZE;
 * @endcode
 *
 * A program that was built with an older header therefore runs with a newer library, and one that was built with a
 * newer header runs with an older library as long as it leaves the members that the library does not know at zero.
 * ravelo_error and the members of structures keep their sizes for good.
 *
 * Every size and offset has 64 bits. The library runs on 64-bit systems only.
 */
#ifndef RAVELO_H
#define RAVELO_H

#include <stdint.h>

#include "ravelo_version.h"

#if defined(__GNUC__)
/** Marks the exported functions. */
#define RAVELO_API __attribute__((visibility("default")))
#else
#define RAVELO_API
#endif

/** @def RAVELO_NODISCARD
 *  Marks functions whose result must not be ignored. */
#if (defined(__cplusplus) && __cplusplus >= 201703L) || (defined(__STDC_VERSION__) && __STDC_VERSION__ >= 202000L)
#define RAVELO_NODISCARD [[nodiscard]]
#elif defined(__GNUC__)
#define RAVELO_NODISCARD __attribute__((warn_unused_result))
#else
#define RAVELO_NODISCARD
#endif

/** @def RAVELO_NOEXCEPT
 *  Says to C++ that a function throws nothing. */
#if !defined(__cplusplus)
#define RAVELO_NOEXCEPT
#elif __cplusplus >= 201103L
#define RAVELO_NOEXCEPT noexcept
#else
#define RAVELO_NOEXCEPT throw()
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** The result of a call. */
typedef enum ravelo_status {
    RAVELO_OK = 0,                /**< Done. A decode is also done when slices failed; the damage report lists them. */
    RAVELO_STOPPED = 1,           /**< Stopped by the flag; slices that were not begun are unchanged. */
    RAVELO_ERROR_ARGUMENT = 2,    /**< A pointer is missing. */
    RAVELO_ERROR_STRUCTURE = 3,   /**< A structure has a wrong `struct_size`, or unknown members that are not zero. */
    RAVELO_ERROR_FRAME = 4,       /**< The frame is shorter than its header, or has no pixels. */
    RAVELO_ERROR_OPTION = 5,      /**< An option has a value that does not exist. */
    RAVELO_ERROR_COMBINATION = 6, /**< Options that contradict each other or the frame. */
    RAVELO_ERROR_LIMIT = 7,       /**< The frame exceeds `max_pixels` or `max_read_factor`. */
    RAVELO_ERROR_BUFFER = 8,      /**< The stride or the output memory is too small. */
    RAVELO_ERROR_MEMORY = 9,      /**< Memory is exhausted; some slices may be written. */
    RAVELO_ERROR_INTERNAL = 10    /**< Anything else; some slices may be written. */
} ravelo_status;

/** The reduction of the output: every step halves width and height. Reduced pictures come in 8 bits or half floats. */
typedef enum ravelo_reduction {
    RAVELO_FULL_SIZE = 0,
    RAVELO_HALF_SIZE = 1,
    RAVELO_QUARTER_SIZE = 2,
    RAVELO_EIGHTH_SIZE = 3
} ravelo_reduction;

/** What the samples of the output mean. RGB comes from 4:4:4 frames only. */
typedef enum ravelo_coding {
    RAVELO_YCBCR = 0,    /**< Y, Cb and Cr as coded. */
    RAVELO_RGB_FULL = 1, /**< Black is 0 and white is the maximum code. */
    RAVELO_RGB_VIDEO = 2 /**< Black is at 1/16 and white at 235/256 of the code range. */
} ravelo_coding;

/** How the pixels of the output are stored. Forms other than RAVELO_CODED come from every frame. */
typedef enum ravelo_pixel_form {
    RAVELO_CODED = 0,     /**< Cb Y Cr Y, A Y Cb Cr or A R G B: by the frame, `coding` and `bit_depth`. */
    RAVELO_RGBA = 1,      /**< R G B A of 8 or 16 bits: full range, opaque where the frame has no alpha. */
    RAVELO_BGRA = 2,      /**< B G R A, the same. */
    RAVELO_RGBA_HALF = 3, /**< R G B A as IEEE binary16 (uint16_t): black 0, white 1, nothing clipped. */
    RAVELO_PLANAR = 4     /**< Y, Cb, Cr as coded, and A where the frame has it: each in a plane of its own. */
} ravelo_pixel_form;

/** The code path that decodes. */
typedef enum ravelo_target {
    RAVELO_TARGET_BEST = 0,     /**< The best that the processor can run. */
    RAVELO_TARGET_BASELINE = 1, /**< Needs SSSE3 only. */
    RAVELO_TARGET_AVX2 = 2      /**< AVX2 if the processor can run it, else the baseline. */
} ravelo_target;

/** What happens to the pixels of slices that fail. */
typedef enum ravelo_failed_slices {
    RAVELO_FAILED_UNTOUCHED = 0, /**< They keep the previous content of the memory. */
    RAVELO_FAILED_BLACK = 1,     /**< Black in the coding of the output, opaque. */
    RAVELO_FAILED_MARKED = 2     /**< The colour of `mark_color`, opaque. */
} ravelo_failed_slices;

/** Names for `color_primaries`, by the usual code points. The decoder passes the value on. */
typedef enum ravelo_color_primaries {
    RAVELO_PRIMARIES_BT709 = 1,
    RAVELO_PRIMARIES_UNSPECIFIED = 2,
    RAVELO_PRIMARIES_BT601_625 = 5, /**< 625 lines. */
    RAVELO_PRIMARIES_BT601_525 = 6, /**< 525 lines. */
    RAVELO_PRIMARIES_BT2020 = 9,
    RAVELO_PRIMARIES_DCI_P3 = 11,
    RAVELO_PRIMARIES_DISPLAY_P3 = 12 /**< With the white of BT.709. */
} ravelo_color_primaries;

/** Names for `transfer_characteristic`, by the usual code points. The decoder passes the value on. */
typedef enum ravelo_transfer_characteristic {
    RAVELO_TRANSFER_BT709 = 1,
    RAVELO_TRANSFER_UNSPECIFIED = 2,
    RAVELO_TRANSFER_GAMMA_22 = 4,
    RAVELO_TRANSFER_GAMMA_28 = 5,
    RAVELO_TRANSFER_BT601 = 6,
    RAVELO_TRANSFER_LINEAR = 8,
    RAVELO_TRANSFER_SRGB = 13,
    RAVELO_TRANSFER_BT2020_10 = 14, /**< 10 bits. */
    RAVELO_TRANSFER_BT2020_12 = 15, /**< 12 bits. */
    RAVELO_TRANSFER_PQ = 16,
    RAVELO_TRANSFER_HLG = 18
} ravelo_transfer_characteristic;

/** Names for `matrix_coefficients`. Other values mean BT.709 above 576 lines, else BT.601. */
typedef enum ravelo_matrix_coefficients {
    RAVELO_MATRIX_BT709 = 1,
    RAVELO_MATRIX_UNSPECIFIED = 2,
    RAVELO_MATRIX_BT601 = 6,
    RAVELO_MATRIX_BT2020 = 9
} ravelo_matrix_coefficients;

/** What the structure of a frame shows. The first that applies is the verdict. */
typedef enum ravelo_frame_verdict {
    RAVELO_FRAME_FOREIGN = 1,  /**< The data begin as a file of another kind does. */
    RAVELO_FRAME_CUT_OFF = 2,  /**< The data end before the last slice does. */
    RAVELO_FRAME_BROKEN = 3,   /**< Sizes contradict each other: a header or a picture does not fit into its own size,
                                    or there are no pixels. */
    RAVELO_FRAME_FOLLOWED = 4, /**< Bytes other than zeros come after the last slice. */
    RAVELO_FRAME_WHOLE = 5     /**< The frame is there, and after it at most zeros. */
} ravelo_frame_verdict;

/** The default limit on pixels: 16384 x 16384. */
#define RAVELO_DEFAULT_MAX_PIXELS (UINT64_C(1) << 28)
/** A value of `max_pixels` that allows every frame. */
#define RAVELO_NO_PIXEL_LIMIT UINT64_MAX

/** The default limit on the bytes that slices read: twice the size of the frame. */
#define RAVELO_DEFAULT_MAX_READ_FACTOR 2u
/** A value of `max_read_factor` that allows every frame. */
#define RAVELO_NO_READ_LIMIT UINT32_MAX

/** Says what was wrong and with which value. A caller who does not need the text passes a null pointer instead. */
typedef struct ravelo_error {
    int32_t status; /**< The ravelo_status that the function returned. */
    char text[252]; /**< English, one line, ends in a zero byte; empty after RAVELO_OK. */
} ravelo_error;

/** An error without a text. */
#define RAVELO_ERROR_INIT                                                                                              \
    { RAVELO_OK, "" }

/** The content of a frame's header, and how its pictures are divided into slices. */
typedef struct ravelo_frame_info {
    uint64_t struct_size;             /**< Set by the caller. */
    uint32_t width;                   /**< Pixels at full size. */
    uint32_t height;                  /**< Lines at full size, both fields together. */
    uint32_t samples_per_pixel;       /**< 2 for 4:2:2, 4 for 4:4:4. */
    uint32_t chroma_format;           /**< 3 is 4:4:4, 2 is 4:2:2; other values are decoded as 4:2:2. */
    uint32_t interlace_mode;          /**< 0 one picture; 1 two fields, even lines first; 2 odd first; 3 one field. */
    uint32_t pictures;                /**< Coded pictures in the frame: 2 for two fields, else 1. */
    uint32_t alpha_channel_type;      /**< 0 none, 1 eight bits, 2 sixteen bits. */
    uint32_t color_primaries;         /**< As in the header. */
    uint32_t transfer_characteristic; /**< As in the header. */
    uint32_t matrix_coefficients;     /**< A ravelo_matrix_coefficients; otherwise the height decides. */
    uint32_t header_bytes;            /**< From the frame's first byte to its first picture. */
    uint32_t has_luma_matrix;         /**< 1 if the header contains a quantisation matrix for luma. */
    uint32_t has_chroma_matrix;       /**< The same for chroma. */
    uint32_t reserved;                /**< Zero. */
    /**
     * The grid of slices that ravelo_damage names by `row` and `column`: rows of macroblocks of the first and of the
     * second picture, 0 for a second one that the frame does not have.
     */
    uint32_t slice_rows[2];
    /** Slices of a row of each picture, by its header. Without that header there is a slice for each macroblock. */
    uint32_t slice_columns[2];
} ravelo_frame_info;

/** The structure as the caller sets it. */
#define RAVELO_FRAME_INFO_INIT                                                                                         \
    {                                                                                                                  \
        sizeof(ravelo_frame_info), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, {0, 0}, {                                 \
            0, 0                                                                                                       \
        }                                                                                                              \
    }

/** What ravelo_check_frame finds. */
typedef struct ravelo_frame_check {
    uint64_t struct_size;    /**< Set by the caller. */
    uint32_t verdict;        /**< A ravelo_frame_verdict. */
    uint32_t pictures;       /**< Coded pictures that the header declares; 0 where it is missing. */
    uint64_t declared_bytes; /**< To the end of the last picture's last slice, by headers and tables of slices. Where
                                  these end too early, the least that they leave open; 0 for a foreign file. */
    uint64_t present_bytes;  /**< The size of the data. */
    uint64_t slices;         /**< Slices of all pictures, by the headers. */
    uint64_t slices_out_of_data; /**< Those of which the data lack bytes, or their entry in the table. */
    char text[80];               /**< The verdict in English, one line, such as "cut off at byte 100000 of 518401". */
} ravelo_frame_check;

/** The structure as the caller sets it. */
#define RAVELO_FRAME_CHECK_INIT                                                                                        \
    { sizeof(ravelo_frame_check), 0, 0, 0, 0, 0, 0, "" }

/** A slice that failed. */
typedef struct ravelo_damage {
    uint32_t picture;     /**< 0 for the first coded picture, 1 for the second. */
    uint32_t row;         /**< Row of macroblocks in that picture. */
    uint32_t column;      /**< Slice of the row, from the left. */
    uint32_t component;   /**< The first component that failed: 0 Y, 1 Cb, 2 Cr. */
    uint64_t byte_offset; /**< Of the slice's first byte in the frame; the frame's size for a slice after its end. */
    uint32_t x;           /**< The slice's pixels in the output, of a region those in it: the first column, */
    uint32_t y;           /**< the first line, */
    uint32_t width;       /**< columns, 0 if none of them is in the output, */
    uint32_t height;      /**< and lines; */
    uint32_t line_step;   /**< 2 if the slice covers every second line, as in a field, else 1. */
    uint32_t reserved;    /**< Zero. */
} ravelo_damage;

/**
 * Where a decode reports the slices that failed. The caller provides the array.
 *
 * If more slices fail than the array has room for, it receives the first of them in the order of the frame.
 */
typedef struct ravelo_damage_report {
    uint64_t struct_size;  /**< Set by the caller. */
    ravelo_damage* slices; /**< Set by the caller: room for `capacity` slices; may be null if `capacity` is 0. */
    uint64_t capacity;     /**< Set by the caller. */
    uint64_t stored;       /**< Slices in the array, ordered by picture, row and column. */
    uint64_t failed;       /**< Slices that failed, including those without room. */
    uint64_t slice_size;   /**< Set by the caller: sizeof(ravelo_damage), from one slice to the next; 0: as in 1.0. */
} ravelo_damage_report;

/** A report that counts the slices that fail and lists none. */
#define RAVELO_DAMAGE_REPORT_INIT                                                                                      \
    { sizeof(ravelo_damage_report), 0, 0, 0, 0, sizeof(ravelo_damage) }

/** How to decode. Zero is the default of every member except the first. */
typedef struct ravelo_decode_options {
    uint64_t struct_size;   /**< Set by the caller. */
    uint32_t reduction;     /**< A ravelo_reduction. */
    uint32_t coding;        /**< A ravelo_coding. */
    uint32_t bit_depth;     /**< Bits of an output sample: 8 (one byte), 10, 15 or 16 (two); 0 means 8. */
    uint32_t target;        /**< A ravelo_target. */
    uint32_t max_threads;   /**< Maximum number of threads, including the calling one; 0: as its arena allows. */
    uint32_t failed_slices; /**< A ravelo_failed_slices. */
    uint32_t mark_color;    /**< 0xRRGGBB for RAVELO_FAILED_MARKED; 0 means magenta. */
    /**
     * Frames whose slices together may read more than this factor times the size of the frame are refused; 0 means
     * RAVELO_DEFAULT_MAX_READ_FACTOR. Slices of an intact frame do not share bytes, so 1 is enough for it. A damaged
     * frame may exceed 2 where thousands of slices take their sizes from the wrong place, or in a frame of a few
     * slices most of them; in a file that is made to cost time all slices read the same bytes.
     */
    uint32_t max_read_factor;
    uint64_t max_pixels; /**< Frames with more pixels are refused; 0 means RAVELO_DEFAULT_MAX_PIXELS. */
    /**
     * Null, or a flag of four bytes that ends the decode when it is not 0: an int32_t for ravelo_request_stop, or an
     * atomic of the host's own, such as atomic_int or std::atomic<int>, which the host sets with any memory order.
     */
    const volatile void* stop;
    ravelo_damage_report* damage; /**< Null, or where to report slices that failed. */
    /**
     * A ravelo_pixel_form. With any but RAVELO_CODED `coding` is 0, and `bit_depth` is 0, 8 or 16 for RAVELO_RGBA and
     * RAVELO_BGRA, 0 for RAVELO_RGBA_HALF, and 0, 8, 10 or 16 for RAVELO_PLANAR. At reduced sizes it is 0 or 8.
     */
    uint32_t pixel_form;
    uint32_t region_x;     /**< The part of the picture that is decoded, in pixels of the reduced size: first column, */
    uint32_t region_y;     /**< first line, */
    uint32_t region_width; /**< columns */
    uint32_t region_height; /**< and lines. All four 0: the whole picture. */
    uint32_t reserved;      /**< Zero. */
} ravelo_decode_options;

/** The defaults. */
#define RAVELO_DECODE_OPTIONS_INIT                                                                                     \
    { sizeof(ravelo_decode_options), 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0 }

/** The planes of RAVELO_PLANAR. Every other form has one plane, the first. */
#define RAVELO_MAX_PLANES 4

/** The memory that one plane of the output needs. */
typedef struct ravelo_plane_requirements {
    uint32_t width;        /**< Samples of a line for RAVELO_PLANAR, otherwise pixels. */
    uint32_t height;       /**< Lines of the output. */
    uint64_t least_stride; /**< Bytes of a line: the least magnitude of a stride. */
    uint64_t bytes;        /**< The size of memory with that stride. */
} ravelo_plane_requirements;

/** The memory that the output of a decode needs. */
typedef struct ravelo_buffer_requirements {
    uint64_t struct_size;       /**< Set by the caller. */
    uint32_t width;             /**< Pixels of the output. */
    uint32_t height;            /**< Lines of the output. */
    uint32_t lines;             /**< Lines that may be written; in rare cases one or two more than `height`. */
    uint32_t samples_per_pixel; /**< 2 or 4; 1 for RAVELO_PLANAR. */
    uint32_t bytes_per_sample;  /**< 1 or 2. */
    uint32_t num_planes;        /**< 3 or 4 for RAVELO_PLANAR, otherwise 1. */
    uint64_t least_stride;      /**< Bytes that the pixels of one line take. */
    uint64_t safe_stride; /**< Least magnitude of a stride, with room for columns written beyond the right edge. */
    uint64_t bytes;       /**< lines * safe_stride, or of all planes: the size of output memory with that stride. */
    ravelo_plane_requirements planes[RAVELO_MAX_PLANES]; /**< Y, Cb, Cr and A for RAVELO_PLANAR; else the first. */
} ravelo_buffer_requirements;

/** The structure as the caller sets it. */
#define RAVELO_BUFFER_REQUIREMENTS_INIT                                                                                \
    {                                                                                                                  \
        sizeof(ravelo_buffer_requirements), 0, 0, 0, 0, 0, 0, 0, 0, 0, {                                               \
            {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {                                                                \
                0, 0, 0, 0                                                                                             \
            }                                                                                                          \
        }                                                                                                              \
    }

/** The memory for one plane of RAVELO_PLANAR. The members are those of ravelo_output. */
typedef struct ravelo_plane {
    void* memory;          /**< Lowest address of the memory. */
    uint64_t memory_bytes; /**< Its size. Nothing outside it is written. */
    uint64_t first_line;   /**< Bytes from `memory` to the top line. */
    int64_t stride;        /**< Bytes from a line to the next; 0 means the least stride. */
} ravelo_plane;

/**
 * The memory for the pixels.
 *
 * Line y starts at `memory + first_line + y * stride`. For a picture that runs towards lower addresses the stride is
 * negative and `first_line` is that of its last line in memory: `(lines - 1) * -stride`. No alignment is needed.
 */
typedef struct ravelo_output {
    uint64_t struct_size;  /**< Set by the caller. */
    void* memory;          /**< Lowest address of the memory. */
    uint64_t memory_bytes; /**< Its size. Nothing outside it is written. */
    uint64_t first_line;   /**< Bytes from `memory` to the top line. */
    int64_t stride;        /**< Bytes from a line to the next; 0 means the safe stride. */
    /** For RAVELO_PLANAR, which uses none of the members above: Y, Cb, Cr, and A where the frame has it. */
    ravelo_plane planes[RAVELO_MAX_PLANES];
} ravelo_output;

/** The structure as the caller sets it. */
#define RAVELO_OUTPUT_INIT                                                                                             \
    {                                                                                                                  \
        sizeof(ravelo_output), 0, 0, 0, 0, {                                                                           \
            {0, 0, 0, 0}, {0, 0, 0, 0}, {0, 0, 0, 0}, {                                                                \
                0, 0, 0, 0                                                                                             \
            }                                                                                                          \
        }                                                                                                              \
    }

/** The version of the library as a number that can be compared with RAVELO_VERSION. */
RAVELO_API uint32_t ravelo_version(void) RAVELO_NOEXCEPT;

/** The version of the library, such as "1.0.0". */
RAVELO_API const char* ravelo_version_text(void) RAVELO_NOEXCEPT;

/** The best code path that processor and operating system can run: RAVELO_TARGET_BASELINE or RAVELO_TARGET_AVX2. */
RAVELO_API uint32_t ravelo_best_target(void) RAVELO_NOEXCEPT;

/** A short text for a status; never null. */
RAVELO_API const char* ravelo_status_text(int32_t status) RAVELO_NOEXCEPT;

/**
 * Reads the header of a frame, and those of its pictures as far as they are there.
 *
 * Takes the same short time for every frame, needs neither threads nor memory of its own, and applies no limit: a host
 * compares width and height with what it expects.
 *
 * @param data   the frame's first byte
 * @param size   bytes at `data`; the header is enough for all but `slice_columns`
 * @param info   filled in
 * @param error  filled in unless null
 * @return RAVELO_OK, or RAVELO_ERROR_ARGUMENT, RAVELO_ERROR_STRUCTURE, RAVELO_ERROR_FRAME
 */
RAVELO_NODISCARD RAVELO_API ravelo_status ravelo_get_frame_info(const void* data, uint64_t size,
                                                                ravelo_frame_info* info,
                                                                ravelo_error* error) RAVELO_NOEXCEPT;

/**
 * Says whether data are a whole frame, without decoding it.
 *
 * Reads the header, the headers of the pictures and their tables of slices, which takes microseconds, and the bytes
 * after the frame as long as they are zeros. The bytes of slices are not read, so damage inside them is not found; a
 * decode with a damage report finds most of it. No verdict depends on the first eight bytes of a frame, except that
 * they may be the signature of another kind of file. A decode refuses no data for a signature.
 *
 * It needs neither threads nor memory of its own. No limit applies: the time grows with the bytes of the slice tables
 * that are present, at most two for each slice, and with the zeros after the frame.
 *
 * @param data   the first byte
 * @param size   bytes at `data`, any number
 * @param check  filled in
 * @param error  filled in unless null
 * @return RAVELO_OK with every verdict, or RAVELO_ERROR_ARGUMENT, RAVELO_ERROR_STRUCTURE
 */
RAVELO_NODISCARD RAVELO_API ravelo_status ravelo_check_frame(const void* data, uint64_t size, ravelo_frame_check* check,
                                                             ravelo_error* error) RAVELO_NOEXCEPT;

/**
 * Computes the memory that the output of a decode needs. Refuses everything that ravelo_decode refuses, except outputs.
 *
 * Runs in the calling thread. For `max_read_factor` it looks at the first bytes of every slice that is present, and
 * holds a few bytes of memory for each row of macroblocks; without that limit it reads the header alone.
 *
 * @param data          the frame's first byte
 * @param size          bytes at `data`; the header is enough, but `max_read_factor` applies to the bytes given
 * @param options       those of the decode; null means the defaults
 * @param requirements  filled in
 * @param error         filled in unless null
 * @return RAVELO_OK or an error
 */
RAVELO_NODISCARD RAVELO_API ravelo_status ravelo_get_buffer_requirements(const void* data, uint64_t size,
                                                                         const ravelo_decode_options* options,
                                                                         ravelo_buffer_requirements* requirements,
                                                                         ravelo_error* error) RAVELO_NOEXCEPT;

/**
 * Decodes a frame.
 *
 * Only [data, data + size) is read and only the output's memory is written; everything is checked before the first
 * pixel. Damaged slices are not an error: they are treated as `failed_slices` says and listed in the damage report.
 *
 * The decode runs in the calling thread and in helpers, which are threads of the library. Their number is limited by
 * `max_threads`, by the caller's oneTBB arena and by tbb::global_control; helpers do not enter the arena. If the system
 * refuses a thread, the decode takes longer but does not fail. The calling thread needs at most 64 KiB of stack.
 *
 * @param data     the frame's first byte
 * @param size     bytes at `data`
 * @param output   the memory for the pixels
 * @param options  null means the defaults
 * @param error    filled in unless null
 * @return RAVELO_OK, RAVELO_STOPPED or an error
 */
RAVELO_NODISCARD RAVELO_API ravelo_status ravelo_decode(const void* data, uint64_t size, const ravelo_output* output,
                                                        const ravelo_decode_options* options,
                                                        ravelo_error* error) RAVELO_NOEXCEPT;

/**
 * Sets a stop flag to 1, from any thread or from a signal handler. Decodes read their flag before they begin slices.
 * The caller sets the flag to 0 before the decode.
 */
RAVELO_API void ravelo_request_stop(volatile void* stop) RAVELO_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif
