#include <cstdio>
#include <cstring>

#include "RaveloDecoderInterface.h"

// Reports what a processor, above all an emulated one, can do. Without an argument it prints the answer of
// GetMaxOptType. With the name of an instruction set it executes one instruction of that set, so that a processor
// without it ends the program by a signal.

int main(int argumentCount, char** arguments) {
    if (argumentCount == 1) {
        std::printf("%d\n", RaveloDecoderInterface::GetMaxOptType());
    } else if (std::strcmp(arguments[1], "ssse3") == 0) {
        __asm__ volatile("pabsd %%xmm0, %%xmm0" : : : "xmm0");
    } else if (std::strcmp(arguments[1], "sse4.1") == 0) {
        __asm__ volatile("pmulld %%xmm0, %%xmm0" : : : "xmm0");
    } else if (std::strcmp(arguments[1], "avx2") == 0) {
        __asm__ volatile("vpabsd %%ymm0, %%ymm0" : : : "xmm0");
    } else if (std::strcmp(arguments[1], "avx512f") == 0) {
        __asm__ volatile("vpabsd %%zmm0, %%zmm0" : : : "xmm0");
    } else {
        return 2;
    }
    return 0;
}
