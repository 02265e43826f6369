#include "LibraryStatus.h"

#include <new>

#include "Interrupt.h"
#include "ravelo.hpp"

void throwUnlessDone(ravelo_status status, ravelo_error const& error) {
    if (status == RAVELO_STOPPED)
        throwIfInterrupted();
    if (status == RAVELO_ERROR_MEMORY)
        throw std::bad_alloc();
    if (status != RAVELO_OK)
        throw ravelo::Error(error);
}
