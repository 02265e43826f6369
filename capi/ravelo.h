/**
 * @file
 * The C interface of RaveloOpt: decodes frames of the Ravelo video format into memory of the caller.
 *
 * There is no context object. Every function may be called from any number of threads at once, and none of them throws,
 * prints or ends the process. Nothing that the functions are handed is kept after they return.
 *
 * Structures that may grow begin with `struct_size`, which the caller sets to the `sizeof` of the structure; all other
 * members may be zero, which stands for the usual choice:
 *
 * @code
 * ravelo_decode_options options = {.struct_size = sizeof options};
 * options.reduction = RAVELO_HALF_SIZE;
 * @endcode
 *
 * A program that was built with an older header therefore runs with a newer library, and the other way round as long as
 * it leaves the members that the library does not know at zero.
 */
#ifndef RAVELO_H
#define RAVELO_H

#include <stddef.h>
#include <stdint.h>

#include "ravelo_version.h"

#if defined(__GNUC__)
/** Marks what the library exports. */
#define RAVELO_API __attribute__((visibility("default")))
#else
#define RAVELO_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** What came of a call. */
typedef enum ravelo_status {
    RAVELO_OK = 0,                /**< Done. A decode is also done when slices failed; the damage report tells which. */
    RAVELO_STOPPED = 1,           /**< The stop flag was seen; slices that were not begun are as they were. */
    RAVELO_ERROR_ARGUMENT = 2,    /**< A pointer is missing. */
    RAVELO_ERROR_STRUCTURE = 3,   /**< A structure has a wrong `struct_size`, or unknown members that are not zero. */
    RAVELO_ERROR_FRAME = 4,       /**< The frame is shorter than its header. */
    RAVELO_ERROR_OPTION = 5,      /**< An option has a value that does not exist. */
    RAVELO_ERROR_COMBINATION = 6, /**< Options that do not go together, or not with this frame. */
    RAVELO_ERROR_LIMIT = 7,       /**< The frame exceeds `max_pixels` or `max_read_factor`. */
    RAVELO_ERROR_BUFFER = 8,      /**< The stride or the output memory is too small. */
    RAVELO_ERROR_MEMORY = 9,      /**< Memory is exhausted; some slices may be written. */
    RAVELO_ERROR_INTERNAL = 10    /**< Anything else; some slices may be written. */
} ravelo_status;

/** The reduction of the output: every step halves width and height. Reduced pictures come in 8 bits. */
enum ravelo_reduction { RAVELO_FULL_SIZE = 0, RAVELO_HALF_SIZE = 1, RAVELO_QUARTER_SIZE = 2, RAVELO_EIGHTH_SIZE = 3 };

/** What the samples of the output mean. RGB comes from 4:4:4 frames alone. */
enum ravelo_coding {
    RAVELO_YCBCR = 0,    /**< Y, Cb and Cr as coded. */
    RAVELO_RGB_FULL = 1, /**< Black is 0 and white the greatest code. */
    RAVELO_RGB_VIDEO = 2 /**< Black at 1/16 and white at 235/256 of the code range. */
};

/** The code path that decodes. */
enum ravelo_target {
    RAVELO_TARGET_BEST = 0,     /**< The best that the processor can run. */
    RAVELO_TARGET_BASELINE = 1, /**< Needs SSSE3 only. */
    RAVELO_TARGET_AVX2 = 2      /**< AVX2 where the processor can, else the baseline. */
};

/** What becomes of the pixels of slices that fail. */
enum ravelo_failed_slices {
    RAVELO_FAILED_UNTOUCHED = 0, /**< They keep what the memory held before. */
    RAVELO_FAILED_BLACK = 1,     /**< Black in the coding of the output, opaque. */
    RAVELO_FAILED_MARKED = 2     /**< The colour of `mark_color`, opaque. */
};

/** The limit on pixels that holds where the options name none: 16384 x 16384. */
#define RAVELO_DEFAULT_MAX_PIXELS (UINT64_C(1) << 28)
/** A value of `max_pixels` that allows every frame. */
#define RAVELO_NO_PIXEL_LIMIT UINT64_MAX

/** The limit on the bytes that slices read that holds where the options name none: twice the size of the frame. */
#define RAVELO_DEFAULT_MAX_READ_FACTOR 2u
/** A value of `max_read_factor` that allows every frame. */
#define RAVELO_NO_READ_LIMIT UINT32_MAX

/** Says what was wrong and with which value. A caller who wants no text passes a null pointer instead. */
typedef struct ravelo_error {
    int32_t status; /**< The ravelo_status that the function returned. */
    char text[252]; /**< English, one line, ends in a zero byte; empty after RAVELO_OK. */
} ravelo_error;

/** What a frame's header says. */
typedef struct ravelo_frame_info {
    size_t struct_size;               /**< Set by the caller. */
    uint32_t width;                   /**< Pixels at full size. */
    uint32_t height;                  /**< Lines at full size, both fields together. */
    uint32_t samples_per_pixel;       /**< 2 for 4:2:2, 4 for 4:4:4. */
    uint32_t chroma_format;           /**< 3 is 4:4:4; every other value is decoded as 4:2:2, whose own value is 2. */
    uint32_t interlace_mode;          /**< 0 one picture; 1 two fields, even lines first; 2 odd first; 3 one field. */
    uint32_t pictures;                /**< Coded pictures in the frame: 2 for two fields, else 1. */
    uint32_t alpha_channel_type;      /**< 0 none, 1 eight bits, 2 sixteen bits. */
    uint32_t color_primaries;         /**< As the header has it. */
    uint32_t transfer_characteristic; /**< As the header has it. */
    uint32_t matrix_coefficients;     /**< 1 BT.709, 6 BT.601, 9 BT.2020; otherwise the height decides. */
    uint32_t header_bytes;            /**< From the frame's first byte to its first picture. */
    uint32_t has_luma_matrix;         /**< 1 when the frame brings a quantisation matrix for luma. */
    uint32_t has_chroma_matrix;       /**< The same for chroma. */
} ravelo_frame_info;

/** A slice that failed. */
typedef struct ravelo_damage {
    uint32_t picture;     /**< 0 for the first coded picture, 1 for the second. */
    uint32_t row;         /**< Row of macroblocks in that picture. */
    uint32_t column;      /**< Slice of the row, from the left. */
    uint32_t component;   /**< The first component that failed: 0 Y, 1 Cb, 2 Cr. */
    uint64_t byte_offset; /**< Of the slice's first byte in the frame; the frame's size for a slice behind its end. */
    uint32_t x;           /**< The slice's pixels in the output: the first column, */
    uint32_t y;           /**< the first line, */
    uint32_t width;       /**< columns, 0 when the reduced picture has none of them, */
    uint32_t height;      /**< and lines; */
    uint32_t line_step;   /**< 2 when the slice takes every second line, as those of fields do, else 1. */
    uint32_t reserved;    /**< Zero. */
} ravelo_damage;

/**
 * Where a decode reports the slices that failed. The caller brings the array.
 *
 * When more slices fail than the array holds, those that stand first in the frame are kept.
 */
typedef struct ravelo_damage_report {
    size_t struct_size;    /**< Set by the caller. */
    ravelo_damage* slices; /**< Set by the caller: room for `capacity` slices; may be null when `capacity` is 0. */
    size_t capacity;       /**< Set by the caller. */
    size_t stored;         /**< Slices in the array, ordered by picture, row and column. */
    uint64_t failed;       /**< Slices that failed, also those without room. */
} ravelo_damage_report;

/** What a decode shall do. Zero is the usual choice for every member but the first. */
typedef struct ravelo_decode_options {
    size_t struct_size;     /**< Set by the caller. */
    uint32_t reduction;     /**< A ravelo_reduction. */
    uint32_t coding;        /**< A ravelo_coding. */
    uint32_t bit_depth;     /**< Bits of an output sample: 8 (one byte), 10, 15 or 16 (two); 0 stands for 8. */
    uint32_t target;        /**< A ravelo_target. */
    uint32_t max_threads;   /**< Most threads, the calling one included; 0: as many as its arena allows. */
    uint32_t failed_slices; /**< A ravelo_failed_slices. */
    uint32_t mark_color;    /**< 0xRRGGBB for RAVELO_FAILED_MARKED; 0 stands for magenta. */
    /**
     * Frames whose slices may read more than so many times the size of the frame, all together, are refused; 0 stands
     * for RAVELO_DEFAULT_MAX_READ_FACTOR. Every slice of a sound frame has bytes of its own, so 1 is enough for it. A
     * damaged frame may exceed 2 where thousands of slices take their sizes from the wrong place; a file that is made
     * to cost time lets all slices read the same bytes.
     */
    uint32_t max_read_factor;
    uint64_t max_pixels; /**< Frames with more pixels are refused; 0 stands for RAVELO_DEFAULT_MAX_PIXELS. */
    const int32_t* stop; /**< Null, or a flag that ends the decode once it is not 0; see ravelo_request_stop. */
    ravelo_damage_report* damage; /**< Null, or where to report slices that failed. */
} ravelo_decode_options;

/** What the output of one decode needs. */
typedef struct ravelo_buffer_requirements {
    size_t struct_size;         /**< Set by the caller. */
    uint32_t width;             /**< Pixels of the output. */
    uint32_t height;            /**< Lines of the output. */
    uint32_t lines;             /**< Lines that may be written; in rare cases one or two more than `height`. */
    uint32_t samples_per_pixel; /**< 2 or 4. */
    uint32_t bytes_per_sample;  /**< 1 or 2. */
    uint32_t reserved;          /**< Zero. */
    uint64_t least_stride;      /**< Bytes that the pixels of one line take. */
    uint64_t safe_stride; /**< Least magnitude of a stride: room for the columns that are written behind a line. */
    uint64_t bytes;       /**< lines * safe_stride: the size of output memory with that stride. */
} ravelo_buffer_requirements;

/**
 * The memory that takes the pixels.
 *
 * Line y starts at `memory + first_line + y * stride`. For a picture that runs towards lower addresses the stride is
 * negative and `first_line` is that of its last line in memory: `(lines - 1) * -stride`. No alignment is needed.
 */
typedef struct ravelo_output {
    size_t struct_size;  /**< Set by the caller. */
    void* memory;        /**< Lowest address of the memory. */
    size_t memory_bytes; /**< Its size. Nothing outside is written. */
    size_t first_line;   /**< Bytes from `memory` to the top line. */
    int64_t stride;      /**< Bytes from a line to the next; 0 stands for the safe stride. */
} ravelo_output;

/** The version of the library as a number that compares with RAVELO_VERSION. */
RAVELO_API uint32_t ravelo_version(void);

/** The version of the library, such as "1.0.0". */
RAVELO_API const char* ravelo_version_text(void);

/** The best code path that processor and operating system can run: RAVELO_TARGET_BASELINE or RAVELO_TARGET_AVX2. */
RAVELO_API uint32_t ravelo_best_target(void);

/** A few words for a status; never null. */
RAVELO_API const char* ravelo_status_text(int32_t status);

/**
 * Reads the header of a frame.
 *
 * @param data   the frame's first byte
 * @param size   bytes at `data`; the header is enough
 * @param info   filled in
 * @param error  filled in unless null
 * @return RAVELO_OK, or RAVELO_ERROR_ARGUMENT, RAVELO_ERROR_STRUCTURE, RAVELO_ERROR_FRAME
 */
RAVELO_API ravelo_status ravelo_get_frame_info(const void* data, size_t size, ravelo_frame_info* info,
                                               ravelo_error* error);

/**
 * Tells what the output of a decode needs. Refuses all that ravelo_decode refuses, the output itself left aside.
 *
 * @param data          the frame's first byte
 * @param size          bytes at `data`; the header is enough, but `max_read_factor` applies to what is there
 * @param options       those of the decode; null stands for the usual choices
 * @param requirements  filled in
 * @param error         filled in unless null
 * @return RAVELO_OK or an error
 */
RAVELO_API ravelo_status ravelo_get_buffer_requirements(const void* data, size_t size,
                                                        const ravelo_decode_options* options,
                                                        ravelo_buffer_requirements* requirements, ravelo_error* error);

/**
 * Decodes a frame.
 *
 * Only [data, data + size) is read and only the output's memory is written; everything is checked before the first
 * pixel. Damaged slices are no error: they are treated as `failed_slices` says and listed in the damage report.
 *
 * The decode takes place in the calling thread and in helpers, which are threads of the library. Together they are no
 * more than `max_threads`, than the caller's oneTBB arena has and than tbb::global_control allows; helpers do not enter
 * the arena. A thread that the system refuses costs time and nothing else. The calling thread needs at most 64 KiB of
 * stack.
 *
 * @param data     the frame's first byte
 * @param size     bytes at `data`
 * @param output   the memory that takes the pixels
 * @param options  null stands for the usual choices
 * @param error    filled in unless null
 * @return RAVELO_OK, RAVELO_STOPPED or an error
 */
RAVELO_API ravelo_status ravelo_decode(const void* data, size_t size, const ravelo_output* output,
                                       const ravelo_decode_options* options, ravelo_error* error);

/**
 * Sets a stop flag to 1, from any thread and from signal handlers. Decodes look at their flag before they begin slices.
 * The caller sets the flag to 0 before the decode.
 */
RAVELO_API void ravelo_request_stop(int32_t* stop);

#ifdef __cplusplus
}
#endif

#endif
