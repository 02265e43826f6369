#pragma once

#include <string>
#include <vector>

#include "Json.h"

// Writes a report to standard output.
void printReport(std::string const& text);

// The same in JSON. Bytes of file names that are not UTF-8 are replaced.
void printJson(Json const& report);

// One line of comma-separated values. Control characters and line ends in a value are escaped, so that it stays one.
std::string csvLine(std::vector<std::string> const& values);
