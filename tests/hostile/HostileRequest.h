#pragma once

#include <cstdint>
#include <string>

#include "DecodeRequest.h"

// How one hostile frame is passed to the decode call. The stride is computed from `stride` for each frame.
struct HostileRequest : DecodeRequest {
    enum class Stride {
        Least, // the least that the call accepts; reduced pictures then write over the start of the next line
        Safe,  // no write leaves its own line
        Wide,  // some bytes more, which must stay untouched
    };

    Stride stride = Stride::Safe;
    bool strideIsNegative = false;
    bool inputAtEnd = true;  // the input ends before an unmapped page, else it starts after one
    bool outputAtEnd = true; // the same of the output
    bool inParallel = false; // through the task library's threads, else in the calling thread alone

    // RGB output of 4:2:2 frames is refused before a picture is looked at, so only some of the cases ask for it.
    bool asksForRgbOf422 = false;

    std::string describe() const;
};

// Requests are drawn from all combinations by a number, so that a case is the same in every run.
HostileRequest requestOf(std::uint64_t number);

// The number of a case among all: well mixed, so that neighbouring cases get unlike requests.
std::uint64_t mixed(std::uint64_t a, std::uint64_t b, std::uint64_t c);
