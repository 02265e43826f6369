/* Decodes a frame a number of times on one thread, by the plain code path: what scripts/count-instructions counts.
 *
 *   CountedDecodes FRAME TIMES REDUCTION BITS CODING
 */
#include <stdio.h>
#include <stdlib.h>

#include "ravelo.h"

static unsigned char s_frame[1 << 24];

int main(int argc, char** argv) {
    ravelo_decode_options options = RAVELO_DECODE_OPTIONS_INIT;
    ravelo_buffer_requirements needs = RAVELO_BUFFER_REQUIREMENTS_INIT;
    ravelo_output output = RAVELO_OUTPUT_INIT;
    FILE* file = argc == 6 ? fopen(argv[1], "rb") : NULL;
    size_t size;
    int times;
    if (file == NULL)
        return 2;
    size = fread(s_frame, 1, sizeof s_frame, file);
    fclose(file);
    options.target = RAVELO_TARGET_BASELINE;
    options.max_threads = 1;
    options.reduction = (uint32_t)atoi(argv[3]);
    options.bit_depth = (uint32_t)atoi(argv[4]);
    options.coding = (uint32_t)atoi(argv[5]);
    if (ravelo_get_buffer_requirements(s_frame, size, &options, &needs, NULL) != RAVELO_OK)
        return 3;
    output.memory_bytes = needs.bytes;
    output.memory = calloc(1, needs.bytes);
    output.stride = (int64_t)needs.safe_stride;
    for (times = atoi(argv[2]); times > 0; --times) {
        if (ravelo_decode(s_frame, size, &output, &options, NULL) != RAVELO_OK)
            return 4;
    }
    free(output.memory);
    return 0;
}
