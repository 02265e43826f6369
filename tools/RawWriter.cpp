#include <cstdint>

#include "OutputFormat.h"

void writeRaw(DecodedFrame const& frame, OutputOptions const&, ByteSink const& sink) {
    FilePart part(sink);
    for (std::uint32_t y = 0; y < frame.height(); ++y)
        part.append(frame.row(y));
    part.flush();
}
