# Shared by the scripts that build and test: phases with their times, builds through the compiler cache where there is one,
# and the count of the tests. Sourced with the project's folder as the current one.

jobs=${JOBS:-$(nproc)}
phaseNames=()
phaseSeconds=()
phaseStart=$SECONDS

launcher=()
if command -v ccache >/dev/null && [ -z "${CCACHE_DISABLE:-}" ]; then
    # Without these the cache leaves units with a precompiled header alone.
    cache="cmake;-E;env;CCACHE_SLOPPINESS=pch_defines,time_macros;ccache"
    launcher=("-DCMAKE_C_COMPILER_LAUNCHER=$cache" "-DCMAKE_CXX_COMPILER_LAUNCHER=$cache")
fi

phase() { # NAME: ends the phase before it
    endPhase
    phaseNames+=("$1")
    phaseStart=$SECONDS
    printf '\n== %s (%d s since the start)\n' "$1" "$SECONDS"
}

endPhase() {
    if [ ${#phaseNames[@]} -gt ${#phaseSeconds[@]} ]; then
        phaseSeconds+=($((SECONDS - phaseStart)))
    fi
}

buildPreset() { # PRESET [OPTION...]: options of cmake --build
    cmake --preset "$1" "${launcher[@]}"
    cmake --build --preset "$1" --parallel "$jobs" "${@:2}"
}

# One entry more than there are jobs, since some entries wait for a part of their time.
testPreset() { # PRESET [OPTION...]: the suite, with options of ctest; its last line is the runner's count of entries
    ctest --preset "$1" --parallel $((jobs + 1)) --no-tests=error --timeout 300 "${@:2}" || {
        failedCases "$1"
        return 1
    }
}

# The failed cases of GoogleTest once more, at the end of a log that may be thousands of lines long.
failedCases() { # PRESET
    awk '/^\[ RUN / { lines = "" }
         { lines = lines $0 "\n" }
         /^\[  FAILED  \] .* ms\)$/ { printf "\n%s", lines }
        ' "build/$1/Testing/Temporary/LastTest.log"
}

# The tests that the last run of a preset carried out: the cases of its GoogleTest programs, and its other entries.
countTests() { # PRESET
    awk '/^[0-9]+\/[0-9]+ Testing: / { ++entries; inCases = 0 }
         /^\[=+\] [0-9]+ tests? from .* ran\./ { cases += $2; if (!inCases) ++programs; inCases = 1 }
         END { printf "%d tests: %d cases of GoogleTest, %d others\n", cases + entries - programs, cases, entries - programs }
        ' "build/$1/Testing/Temporary/LastTest.log"
}

summary() {
    local i
    endPhase
    printf '\n'
    for i in "${!phaseNames[@]}"; do
        printf '%6d s  %s\n' "${phaseSeconds[i]}" "${phaseNames[i]}"
    done
    printf '%6d s  in all\n' "$SECONDS"
}
