#pragma once

#include <cstdlib>
#include <string>

// Whether the environment asks for the long forms of the hostile tests, with RAVELO_HOSTILE=all.
inline bool longFormWanted() {
    const char* const wish = std::getenv("RAVELO_HOSTILE");
    return wish != nullptr && std::string(wish) == "all";
}
