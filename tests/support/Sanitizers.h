#pragma once

// True with a sanitizer, whose own memory and time invalidate measured limits.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kHasSanitizer = true;
#else
inline constexpr bool kHasSanitizer = false;
#endif
