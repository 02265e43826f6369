/* Encodes a grey picture through the C interface, and reads the header of its frame. */
#include <ravelo_encode.h>
#include <stdio.h>
#include <string.h>

int main(void) {
    static unsigned char pixels[64 * 32 * 4];
    ravelo_error error = RAVELO_ERROR_INIT;
    ravelo_source_picture picture = RAVELO_SOURCE_PICTURE_INIT;
    ravelo_encoded_frame frame = RAVELO_ENCODED_FRAME_INIT;
    ravelo_frame_info info = RAVELO_FRAME_INFO_INIT;
    memset(pixels, 128, sizeof pixels);
    picture.width = 64;
    picture.height = 32;
    picture.pixel_form = RAVELO_RGBA;
    picture.planes[0].memory = pixels;
    picture.planes[0].memory_bytes = sizeof pixels;
    if (ravelo_encode(&picture, NULL, &frame, &error) != RAVELO_OK ||
        ravelo_get_frame_info(frame.data, frame.bytes, &info, &error) != RAVELO_OK) {
        fprintf(stderr, "%s\n", error.text);
        return 1;
    }
    printf("%u bytes\n", (unsigned)frame.bytes);
    ravelo_free_frame(&frame);
    return info.width == 64 && info.height == 32 ? 0 : 1;
}
