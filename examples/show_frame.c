/* Shows a frame as RGBA, whole and a region of it, as a viewer does with its textures: here two PAM pictures.
 *
 *     show_frame FRAME WHOLE.pam REGION.pam
 */
#include <stdio.h>
#include <stdlib.h>

#include "ravelo.h"

/* Decodes with these options into memory of just the size, and writes it. */
static int show(const void* frame, size_t size, const ravelo_decode_options* options, const char* name) {
    ravelo_error error = RAVELO_ERROR_INIT;
    ravelo_buffer_requirements needs = RAVELO_BUFFER_REQUIREMENTS_INIT;
    ravelo_output output = RAVELO_OUTPUT_INIT;
    FILE* file = NULL;
    int isWritten = 0;
    if (ravelo_get_buffer_requirements(frame, size, options, &needs, &error) == RAVELO_OK) {
        output.memory = malloc((size_t)needs.bytes);
        output.memory_bytes = needs.bytes;
        if (output.memory != NULL && ravelo_decode(frame, size, &output, options, &error) == RAVELO_OK &&
            (file = fopen(name, "wb")) != NULL) {
            fprintf(file, "P7\nWIDTH %u\nHEIGHT %u\nDEPTH 4\nMAXVAL 255\nTUPLTYPE RGB_ALPHA\nENDHDR\n",
                    (unsigned)needs.width, (unsigned)needs.height);
            isWritten = fwrite(output.memory, (size_t)needs.bytes, 1, file) == 1 && fclose(file) == 0;
        }
    }
    if (!isWritten)
        fprintf(stderr, "%s: %s\n", name, error.text[0] != '\0' ? error.text : "cannot be written");
    free(output.memory);
    return isWritten;
}

int main(int argc, char** argv) {
    static unsigned char frame[1 << 24];
    ravelo_decode_options options = RAVELO_DECODE_OPTIONS_INIT;
    FILE* file = argc == 4 ? fopen(argv[1], "rb") : NULL;
    size_t size = file == NULL ? 0 : fread(frame, 1, sizeof frame, file);
    if (file == NULL || fclose(file) != 0) {
        fprintf(stderr, "usage: show_frame FRAME WHOLE.pam REGION.pam\n");
        return 2;
    }
    options.pixel_form = RAVELO_RGBA;
    if (!show(frame, size, &options, argv[2]))
        return 1;
    options.region_x = options.region_y = 4;
    options.region_width = options.region_height = 24;
    return show(frame, size, &options, argv[3]) ? 0 : 1;
}
