# Runs the include check on the tree of violations and expects it to fail with exactly these complaints.
execute_process(COMMAND "${CHECK}" "${TREE}" RESULT_VARIABLE result ERROR_VARIABLE complaints)

set(expected
    "kernels/UpwardKernel.cpp: includes Slice.h of decoder"
    "decoder/Slice.h: a header includes <tbb/parallel_for.h>"
    "decoder/Slice.h: includes CommandLine.h of tools"
    "decoder/PixelBuffer.h: a public header includes <immintrin.h>"
    "decoder/PixelBuffer.h: a public header includes Slice.h"
    "tools/InsideUser.cpp: includes Slice.h of decoder"
    "tools/InsideUser.cpp: includes <CLI/App.hpp>"
    "tools/InsideUser.cpp: includes <nlohmann/json.hpp>"
    "check-includes: 8 violations"
)
foreach(complaint IN LISTS expected)
    string(FIND "${complaints}" "${complaint}" position)
    if(position EQUAL -1)
        message(FATAL_ERROR "the check does not say \"${complaint}\"; it says:\n${complaints}")
    endif()
endforeach()
if(NOT result EQUAL 1)
    message(FATAL_ERROR "the check exits with ${result} and not with 1")
endif()
