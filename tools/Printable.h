#pragma once

#include <string>
#include <string_view>

// A text from a file, a file name or a stream, escaped for a terminal or a line of a report: \xNN for each byte of a
// control character, of a character that ends lines or changes their direction, and of invalid UTF-8; \\ for a
// backslash, so that different texts stay different.
std::string printable(std::string_view text);
