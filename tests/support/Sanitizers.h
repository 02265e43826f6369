#pragma once

// True where a sanitizer takes memory and time of its own, so that measured limits do not hold.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kHasSanitizer = true;
#else
inline constexpr bool kHasSanitizer = false;
#endif
