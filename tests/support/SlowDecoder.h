#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "SlowCanvas.h"
#include "SlowFrame.h"
#include "SlowWriter.h"

// A slow model of the whole decoder, the judge of the fast one: one thread, one form of everything, no vectors, one
// operation after the other as the format describes them.
//
// Where the format leaves a choice it takes this one: bits and fields beyond the end of the data are zeros, the float
// transform is the plain form on both targets, and a sample beyond the range of 32-bit integers clamps to the nearer
// end.

struct SlowDecodeReport {
    SlowFrame frame;
    bool open = false; // at least one slice may hold anything; the canvas knows which bytes
};

// Decodes `frame` into `canvas`. Throws std::runtime_error with the text of the decode call for a request that fails;
// the canvas then holds nothing of the frame.
SlowDecodeReport slowDecode(std::span<const std::uint8_t> frame, DecodeRequest const& request, SlowCanvas& canvas);

// The samples of a slice that decoded, macroblock by macroblock.
std::vector<SlowMacroblock> slowSamples(SlowFrameHeader const& header, DecodeRequest const& request,
                                        SlowSlice const& slice);
