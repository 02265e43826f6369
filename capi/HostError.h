#pragma once

#include <cstdarg>
#include <cstdio>

#include "ravelo.h"

// An error on its way to the host. It contains its text, so that nothing is allocated besides the exception itself.
struct HostError {
    ravelo_status status;
    char text[sizeof(ravelo_error::text)];
};

[[noreturn]] [[gnu::format(printf, 2, 3)]] inline void refuse(ravelo_status status, const char* format, ...) {
    HostError error{status, {}};
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(error.text, sizeof error.text, format, arguments);
    va_end(arguments);
    throw error;
}
