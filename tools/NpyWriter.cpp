#include <bit>
#include <cstdint>
#include <string>

#include <fmt/format.h>

#include "OutputFormat.h"
#include "RgbRows.h"

namespace {

// Version 1.0 of the format: the header is padded so that the samples start at a multiple of 64 bytes.
std::string npyHeader(RgbRows const& rows) {
    constexpr std::size_t kPrefixBytes = 10;
    const std::string type = rows.bytesPerSample() == 1                   ? "|u1"
                             : std::endian::native == std::endian::little ? "<u2"
                                                                          : ">u2";
    std::string text = fmt::format("{{'descr': '{}', 'fortran_order': False, 'shape': ({}, {}, {}), }}", type,
                                   rows.height(), rows.width(), rows.channels());
    text.append(63 - (kPrefixBytes + text.size()) % 64, ' ');
    text.push_back('\n');
    const std::string prefix = {
        '\x93', 'N', 'U', 'M', 'P', 'Y', 1, 0, static_cast<char>(text.size()), static_cast<char>(text.size() >> 8)};
    return prefix + text;
}

} // namespace

void writeNpy(DecodedFrame const& frame, OutputOptions const& options, ByteSink const& sink) {
    RgbRows rows(frame, options.rgb);
    rows.write(npyHeader(rows), false, sink);
}
