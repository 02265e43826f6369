#pragma once

#include <cstring>
#include <exception>
#include <new>

#include "HostError.h"

// The ends of the functions of the C interface: no exception leaves them.

inline ravelo_status answer(ravelo_error* error, ravelo_status status, const char* text) noexcept {
    if (error != nullptr) {
        error->status = status;
        std::memset(error->text, 0, sizeof error->text);
        std::strncpy(error->text, text, sizeof error->text - 1);
    }
    return status;
}

inline const char* textOf(ravelo_status status) noexcept {
    switch (status) {
    case RAVELO_OK:
        return "";
    case RAVELO_STOPPED:
        return "stopped by the caller";
    case RAVELO_ERROR_MEMORY:
        return "memory is exhausted";
    default:
        return "an unexpected failure";
    }
}

// Runs `work`, which returns a status, and turns every exception into one.
template <typename Work>
ravelo_status guarded(ravelo_error* error, Work const& work) noexcept {
    try {
        const ravelo_status status = work();
        return answer(error, status, textOf(status));
    } catch (HostError const& refusal) {
        return answer(error, refusal.status, refusal.text);
    } catch (std::bad_alloc const&) {
        return answer(error, RAVELO_ERROR_MEMORY, textOf(RAVELO_ERROR_MEMORY));
    } catch (std::exception const& exception) {
        return answer(error, RAVELO_ERROR_INTERNAL, exception.what());
    } catch (...) {
        return answer(error, RAVELO_ERROR_INTERNAL, textOf(RAVELO_ERROR_INTERNAL));
    }
}
