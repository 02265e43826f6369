/* Decodes a frame and writes its luma as a grey picture.
 *
 *     frame_to_pgm FRAME PICTURE.pgm
 */
#include <stdio.h>
#include <stdlib.h>

#include "ravelo.h"

static unsigned char* readFrame(const char* name, size_t* size) {
    FILE* file = fopen(name, "rb");
    unsigned char* bytes = NULL;
    long length;
    *size = 0;
    if (file == NULL)
        return NULL;
    if (fseek(file, 0, SEEK_END) == 0 && (length = ftell(file)) > 0 && fseek(file, 0, SEEK_SET) == 0) {
        bytes = malloc((size_t)length);
        if (bytes != NULL)
            *size = fread(bytes, 1, (size_t)length, file);
    }
    fclose(file);
    return bytes;
}

/* Luma is the second sample of Cb Y Cr Y, and of A Y Cb Cr. */
static int writeLuma(const char* name, const unsigned char* pixels, const ravelo_buffer_requirements* needs) {
    FILE* file = fopen(name, "wb");
    uint32_t x, y;
    if (file == NULL)
        return 0;
    fprintf(file, "P5\n%u %u\n255\n", (unsigned)needs->width, (unsigned)needs->height);
    for (y = 0; y < needs->height; ++y) {
        const unsigned char* line = pixels + y * needs->safe_stride;
        for (x = 0; x < needs->width; ++x)
            fputc(line[x * needs->samples_per_pixel + 1], file);
    }
    return fclose(file) == 0;
}

int main(int argc, char** argv) {
    ravelo_error error = {.text = "out of memory, or a file that cannot be used"};
    ravelo_decode_options options = {.struct_size = sizeof options};
    ravelo_buffer_requirements needs = {.struct_size = sizeof needs};
    ravelo_output output = {.struct_size = sizeof output};
    size_t size;
    unsigned char* frame;
    int done = 0;

    if (argc != 3) {
        fprintf(stderr, "usage: frame_to_pgm FRAME PICTURE.pgm\n");
        return 2;
    }
    options.failed_slices = RAVELO_FAILED_BLACK;
    frame = readFrame(argv[1], &size);
    if (frame != NULL && ravelo_get_buffer_requirements(frame, size, &options, &needs, &error) == RAVELO_OK) {
        output.memory_bytes = (size_t)needs.bytes;
        output.memory = malloc(output.memory_bytes + 1);
        if (output.memory != NULL && ravelo_decode(frame, size, &output, &options, &error) == RAVELO_OK)
            done = writeLuma(argv[2], output.memory, &needs);
    }
    if (!done)
        fprintf(stderr, "%s: %s\n", argv[1], error.text);
    free(output.memory);
    free(frame);
    return done ? 0 : 1;
}
