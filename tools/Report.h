#pragma once

#include <string>

#include "Json.h"

// Writes a report to standard output.
void printReport(std::string const& text);

// The same in JSON. Bytes of file names that are not UTF-8 are replaced.
void printJson(Json const& report);
