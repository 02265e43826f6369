#include <fmt/format.h>

#include "OutputFormat.h"
#include "RgbRows.h"

// Samples of more than 8 bits have their high byte first.

void writePpm(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink) {
    RgbRows rows(frame, options.rgb, 3);
    rows.write(fmt::format("P6\n{} {}\n{}\n", rows.width(), rows.height(), rows.maxValue()), true, sink);
}

void writePam(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink) {
    RgbRows rows(frame, options.rgb);
    rows.write(fmt::format("P7\nWIDTH {}\nHEIGHT {}\nDEPTH {}\nMAXVAL {}\nTUPLTYPE {}\nENDHDR\n", rows.width(),
                           rows.height(), rows.channels(), rows.maxValue(), rows.channels() == 4 ? "RGB_ALPHA" : "RGB"),
               true, sink);
}
