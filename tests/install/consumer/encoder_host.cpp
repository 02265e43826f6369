// Encodes a grey picture, and says so with the geometry that its own frame has.
#include <cstdio>

#include <FrameEncoder.h>

int main(int, char**) {
    SourcePicture picture;
    picture.width = 64;
    picture.height = 32;
    picture.y.assign(64 * 32, 128);
    picture.cb.assign(32 * 32, 128);
    picture.cr.assign(32 * 32, 128);
    const EncodedFrame frame = encodeFrame(picture, EncoderSettings());
    std::printf("%zu bytes\n", frame.bytes.size());
    return frame.bytes.size() > 28 && frame.bytes[17] == 64 && frame.bytes[19] == 32 ? 0 : 1;
}
