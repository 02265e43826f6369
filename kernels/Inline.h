#pragma once

// For functions whose vectors must stay in registers, which they do only inside one function, whatever the compiler
// makes of its limits for a unit. In units with instructions of their own it also keeps a function from being shared.
#define RAVELO_INLINE inline __attribute__((always_inline))
