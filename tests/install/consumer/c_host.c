/* The same in C. */
#include <stdio.h>

#include <ravelo.h>

int main(int argc, char** argv) {
    static unsigned char frame[1 << 20];
    static unsigned char pixels[1 << 20];
    ravelo_error error;
    ravelo_buffer_requirements needs = {.struct_size = sizeof needs};
    ravelo_decode_options options = {.struct_size = sizeof options, .target = RAVELO_TARGET_BASELINE};
    ravelo_output output = {.struct_size = sizeof output, .memory = pixels, .memory_bytes = sizeof pixels};
    FILE* file = argc == 2 ? fopen(argv[1], "rb") : NULL;
    size_t size, i;
    uint32_t sum = 1;
    if (file == NULL)
        return 2;
    size = fread(frame, 1, sizeof frame, file);
    fclose(file);
    if (ravelo_get_buffer_requirements(frame, size, &options, &needs, &error) != RAVELO_OK ||
        ravelo_decode(frame, size, &output, &options, &error) != RAVELO_OK) {
        fprintf(stderr, "%s\n", error.text);
        return 1;
    }
    for (i = 0; i < needs.bytes; ++i)
        sum = sum * 31 + pixels[i];
    printf("%u x %u: %u\n", (unsigned)needs.width, (unsigned)needs.height, (unsigned)sum);
    return 0;
}
