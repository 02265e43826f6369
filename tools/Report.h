#pragma once

#include <string>

#include "Json.h"

// Writes a report to standard output.
void printReport(std::string const& text);

// The same in JSON. Names of files may hold bytes that are not UTF-8; JSON gets a replacement for those.
void printJson(Json const& report);
