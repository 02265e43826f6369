#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "ravelo.h"

/* Decodes the frame in its first argument, and sees to it that a wrong call is answered. */

static unsigned char* readFile(const char* name, size_t* size) {
    FILE* file = fopen(name, "rb");
    unsigned char* bytes = malloc(1u << 20);
    *size = 0;
    if (file != NULL && bytes != NULL)
        *size = fread(bytes, 1, 1u << 20, file);
    if (file != NULL)
        fclose(file);
    return bytes;
}

static int fail(const char* what, const ravelo_error* error) {
    fprintf(stderr, "%s: status %d, %s\n", what, (int)error->status, error->text);
    return 1;
}

static int decode(const unsigned char* frame, size_t size) {
    ravelo_error error;
    ravelo_frame_info info = {.struct_size = sizeof info};
    ravelo_buffer_requirements needs = {.struct_size = sizeof needs};
    ravelo_decode_options options = {.struct_size = sizeof options};
    ravelo_output output = {.struct_size = sizeof output};
    ravelo_status status;

    if (ravelo_get_frame_info(frame, size, &info, &error) != RAVELO_OK)
        return fail("frame information", &error);
    options.reduction = RAVELO_HALF_SIZE;
    if (ravelo_get_buffer_requirements(frame, size, &options, &needs, &error) != RAVELO_OK)
        return fail("buffer requirements", &error);
    if (needs.width != info.width / 2 || needs.height != info.height / 2)
        return fail("sizes", &error);
    output.memory_bytes = (size_t)needs.bytes;
    output.memory = calloc(1, output.memory_bytes);
    status = output.memory == NULL ? RAVELO_ERROR_MEMORY : ravelo_decode(frame, size, &output, &options, &error);
    free(output.memory);
    return status == RAVELO_OK && error.text[0] == '\0' ? 0 : fail("decode", &error);
}

static int refuse(const unsigned char* frame, size_t size) {
    ravelo_error error;
    ravelo_buffer_requirements needs = {.struct_size = sizeof needs};
    ravelo_decode_options options = {.struct_size = sizeof options, .reduction = 4};
    if (ravelo_get_buffer_requirements(frame, size, &options, &needs, &error) != RAVELO_ERROR_OPTION)
        return fail("wrong reduction", &error);
    return strstr(error.text, "reduction is 4") != NULL ? 0 : fail("text", &error);
}

int main(int argc, char** argv) {
    size_t size = 0;
    unsigned char* frame = argc == 2 ? readFile(argv[1], &size) : NULL;
    int result = frame == NULL || size == 0 || RAVELO_VERSION != ravelo_version();
    if (result == 0)
        result = decode(frame, size) || refuse(frame, size);
    free(frame);
    return result;
}
