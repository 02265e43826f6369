#pragma once

#include "ravelo.h"

// Throws what a call of the library reports that did not succeed: ravelo::Error, std::bad_alloc, or the CommandError of
// a signal.
void throwUnlessDone(ravelo_status status, ravelo_error const& error);
