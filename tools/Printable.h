#pragma once

#include <string>
#include <string_view>

// A text from a file, a file name or a stream, as it may go to a terminal or into a line of a report: \xNN for each
// byte of a control character, of a character that ends lines or turns their direction, and of what is not UTF-8;
// \\ for a backslash, so that different texts stay different.
std::string printable(std::string_view text);
