# Runs the include check on the tree of violations and expects it to fail with exactly these complaints.
execute_process(COMMAND "${CHECK}" "${TREE}" RESULT_VARIABLE result ERROR_VARIABLE complaints)

set(expected
    "kernels/UpwardKernel.cpp: includes Slice.h of slice"
    "decoder/BigEndian.h: includes Codes.h of entropy"
    "decoder/PixelBuffer.h: a public header includes <immintrin.h>"
    "decoder/PixelBuffer.h: includes Slice.h of slice"
    "decoder/PixelBuffer.h: a public header includes Slice.h"
    "decoder/entropy/Codes.h: includes Writer.h of output"
    "decoder/frame/Picture.h: includes Codes.h of entropy"
    "decoder/frame/Picture.h: includes Writer.h of output"
    "decoder/output/Writer.h: includes Slice.h of slice"
    "decoder/slice/Group.h: includes Picture.h of frame"
    "decoder/slice/Slice.h: a header includes <tbb/parallel_for.h>"
    "decoder/slice/Slice.h: includes CommandLine.h of tools"
    "decoder/stray/Stray.h: includes PixelBuffer.h of public; stray may include: nothing"
    "tools/InsideUser.cpp: includes Slice.h of slice"
    "tools/InsideUser.cpp: includes <CLI/App.hpp>"
    "tools/InsideUser.cpp: includes <nlohmann/json.hpp>"
    "check-includes: 16 violations"
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
