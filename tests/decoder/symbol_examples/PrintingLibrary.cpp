#include <cstdio>
#include <cstdlib>

// What the library must never do.
void failLoudly(const char* text) {
    std::fputs(text, stderr);
    std::abort();
}
