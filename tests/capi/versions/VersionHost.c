/* Calls every function of the C interface that takes a structure, and prints what it gets. Compiled with the header of
 * one version and run with the library of another, it prints the same.
 *
 *     version_host FRAME [refused]
 *
 * With RAVELO_LATER the structures have a member more, which is zero, or not zero with the second argument: then the
 * library must know it or refuse it. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ravelo.h"
#include "ravelo_encode.h"

#define CANARY 0xA5

/* A structure at the start of memory that shows whether more than the structure is written. */
static void* guarded(size_t size) {
    unsigned char* memory = malloc(size + 256);
    if (memory == NULL)
        exit(9);
    memset(memory, 0, size);
    memset(memory + size, CANARY, 256);
    memcpy(memory, &size, sizeof size);
    return memory;
}

static void release(void* structure, size_t size) {
    const unsigned char* memory = structure;
    size_t i;
    for (i = 0; i < 256; ++i)
        if (memory[size + i] != CANARY) {
            printf("the library has written beyond a structure of %u bytes\n", (unsigned)size);
            exit(8);
        }
    free(structure);
}

static void check(ravelo_status status, const ravelo_error* error) {
    if (status != RAVELO_OK) {
        printf("status %d: %s\n", (int)status, error->text);
        exit(7);
    }
}

static void describe(const unsigned char* frame, size_t size) {
    ravelo_error error;
    ravelo_frame_info* info = guarded(sizeof *info);
    ravelo_frame_check* found = guarded(sizeof *found);
    check(ravelo_get_frame_info(frame, size, info, &error), &error);
    check(ravelo_check_frame(frame, size, found, &error), &error);
    printf("%u x %u, %s\n", (unsigned)info->width, (unsigned)info->height, found->text);
#ifdef RAVELO_LATER
    if (info->later_member != 0 || found->later_member != 0)
        exit(6);
#endif
    release(info, sizeof *info);
    release(found, sizeof *found);
}

/* Decodes and prints the sum of the bytes, and the slices that failed. */
static void printDecoded(const unsigned char* frame, size_t size, const ravelo_output* output,
                         const ravelo_decode_options* options) {
    const ravelo_damage_report* report = options->damage;
    ravelo_error error;
    unsigned sum = 1;
    size_t i;
    check(ravelo_decode(frame, size, output, options, &error), &error);
    for (i = 0; i < output->memory_bytes; ++i)
        sum = sum * 31 + ((const unsigned char*)output->memory)[i];
    printf("%u bytes, sum %u, %u failed, %u stored\n", (unsigned)output->memory_bytes, sum, (unsigned)report->failed,
           (unsigned)report->stored);
    for (i = 0; i < report->stored; ++i)
        printf("row %u, slice %u, at %u, %u\n", (unsigned)report->slices[i].row, (unsigned)report->slices[i].column,
               (unsigned)report->slices[i].x, (unsigned)report->slices[i].y);
}

/* Decodes the first half of the frame, so that slices fail. Returns the status. */
static ravelo_status decode(const unsigned char* frame, size_t size, int isRefused) {
    ravelo_error error;
    ravelo_damage* slices = calloc(4, sizeof *slices);
    ravelo_damage_report* report = guarded(sizeof *report);
    ravelo_decode_options* options = guarded(sizeof *options);
    ravelo_buffer_requirements* needs = guarded(sizeof *needs);
    ravelo_output* output = guarded(sizeof *output);
    ravelo_status status;
    size_t i;
    if (slices == NULL)
        exit(9);
    report->slices = slices;
    report->slice_size = sizeof *slices;
    report->capacity = 3;
    memset(&slices[3], CANARY, sizeof *slices);
    options->damage = report;
    options->failed_slices = RAVELO_FAILED_BLACK;
#ifdef RAVELO_LATER
    options->later_member = isRefused ? 1 : 0;
#else
    (void)isRefused;
#endif
    status = ravelo_get_buffer_requirements(frame, size / 2, options, needs, &error);
    if (!isRefused) {
        check(status, &error);
        output->memory_bytes = needs->bytes;
        output->memory = calloc(1, (size_t)needs->bytes);
        printDecoded(frame, size / 2, output, options);
    }
    for (i = 0; i < sizeof *slices; ++i)
        if (((const unsigned char*)&slices[3])[i] != CANARY)
            exit(8);
    free(output->memory);
    free(slices);
    release(report, sizeof *report);
    release(options, sizeof *options);
    release(needs, sizeof *needs);
    release(output, sizeof *output);
    return status;
}

/* Encodes a grey picture. */
static ravelo_status encode(int isRefused) {
    static unsigned char pixels[32 * 16 * 4];
    ravelo_error error;
    ravelo_source_picture* picture = guarded(sizeof *picture);
    ravelo_encode_options* options = guarded(sizeof *options);
    ravelo_encoded_frame* frame = guarded(sizeof *frame);
    ravelo_status status;
    memset(pixels, 77, sizeof pixels);
    picture->width = 32;
    picture->height = 16;
    picture->pixel_form = RAVELO_RGBA;
    picture->planes[0].memory = pixels;
    picture->planes[0].memory_bytes = sizeof pixels;
    options->quantization_index = 7;
#ifdef RAVELO_LATER
    options->later_member = isRefused ? 1 : 0;
#endif
    status = ravelo_encode(picture, options, frame, &error);
    if (!isRefused) {
        check(status, &error);
        printf("%u bytes with index %u\n", (unsigned)frame->bytes, (unsigned)frame->quantization_index);
    }
    if (status == RAVELO_OK)
        ravelo_free_frame(frame);
    release(picture, sizeof *picture);
    release(options, sizeof *options);
    release(frame, sizeof *frame);
    return status;
}

/* What the library takes for the size of the options, from the text of an error: it shows which library this is. */
static void identify(const unsigned char* frame, size_t size) {
    ravelo_error error;
    ravelo_buffer_requirements needs;
    const char* place;
    memset(&needs, 0, sizeof needs);
    if (ravelo_get_buffer_requirements(frame, size, NULL, &needs, &error) == RAVELO_OK)
        exit(5);
    place = strstr(error.text, "here ");
    fprintf(stderr, "host %u, library %s\n", (unsigned)sizeof needs, place == NULL ? "?" : place + 5);
}

int main(int argc, char** argv) {
    unsigned char* frame = malloc(1u << 20);
    FILE* file = argc >= 2 ? fopen(argv[1], "rb") : NULL;
    size_t size;
    int numRefused = 0;
    if (frame == NULL || file == NULL)
        return 2;
    size = fread(frame, 1, 1u << 20, file);
    fclose(file);
    identify(frame, size);
    if (argc == 3) {
        numRefused = (decode(frame, size, 1) == RAVELO_ERROR_STRUCTURE) + (encode(1) == RAVELO_ERROR_STRUCTURE);
    } else {
        describe(frame, size);
        decode(frame, size, 0);
        encode(0);
    }
    free(frame);
    return numRefused;
}
