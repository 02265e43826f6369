#pragma once

#include <filesystem>

// The first decode of a process.

// Decodes a frame as the first thing that a process does, with this many threads allowed, and prints the microseconds
// of the first call and of a later one. It is for a process of its own.
void printFirstCall(std::filesystem::path const& frame, unsigned int numThreads);

// Starts processes of this program with the options "--first-call THREADS FRAME", which call printFirstCall, and prints
// a table of what they print: at least 15 of each kind.
void measureFirstCalls(unsigned int numRounds);
