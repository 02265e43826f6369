/* Says what a frame is, from its header alone.
 *
 *     frame_info FRAME
 */
#include <stdio.h>

#include "ravelo.h"

/* The longest header: 8 bytes before it, and 65535 bytes. */
enum { HEADER_ROOM = 8 + 65535 };

int main(int argc, char** argv) {
    static unsigned char header[HEADER_ROOM];
    static const char* const scans[] = {"one picture", "two fields, even lines first", "two fields, odd lines first",
                                        "one field"};
    ravelo_frame_info info = {.struct_size = sizeof info};
    ravelo_error error;
    size_t size;
    FILE* file = argc == 2 ? fopen(argv[1], "rb") : NULL;

    if (file == NULL) {
        fprintf(stderr, "usage: frame_info FRAME\n");
        return 2;
    }
    size = fread(header, 1, sizeof header, file);
    fclose(file);

    if (ravelo_get_frame_info(header, size, &info, &error) != RAVELO_OK) {
        fprintf(stderr, "%s: %s\n", argv[1], error.text);
        return 1;
    }
    printf("%s: %u x %u pixels, %s, %s, %s\n", argv[1], (unsigned)info.width, (unsigned)info.height,
           info.samples_per_pixel == 4 ? "4:4:4" : "4:2:2", scans[info.interlace_mode],
           info.alpha_channel_type == 0 ? "no alpha" : "alpha");
    printf("decoded by RaveloOpt %s, %s\n", ravelo_version_text(),
           ravelo_best_target() == RAVELO_TARGET_AVX2 ? "AVX2" : "baseline");
    return 0;
}
