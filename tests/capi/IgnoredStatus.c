/* A host that ignores a status, of which its compiler warns. */
#include "ravelo.h"

void ignore(const void* frame, uint64_t size);

void ignore(const void* frame, uint64_t size) {
    ravelo_frame_info info = RAVELO_FRAME_INFO_INIT;
    ravelo_get_frame_info(frame, size, &info, 0);
}
