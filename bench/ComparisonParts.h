#pragma once

#include <string>

#include "Comparison.h"
#include "FrameDecode.h"

class PeerDecode;

// The parts of compare_peer. Each prints its tables. They measure with the kernel variant that is selected and, where
// nothing else is said, with as many threads as the caller allows.

// Whole frames against one kind of the peer's decode. `form` describes ours in the title, `peerForm` the peer's.
struct PeerContest {
    std::string chromaFormat;
    std::string form;
    std::string peerForm;
    DecodeRequest request;
    void (PeerDecode::*peerDecode)();
};
void compareFrames(ComparisonOptions const& options, PeerContest const& peerContest);

// The scan of all coefficients against the peer's entropy decoding.
void compareEntropy(ComparisonOptions const& options);

// What reduced sizes cost beside full size, in 4:2:2 and in 4:4:4.
void compareReduced(ComparisonOptions const& options);

// What other forms of the pixels cost beside the native decode of the same frames.
void compareForms(ComparisonOptions const& options, OptimizationTarget target);

// A sixteenth of a picture, in its middle, beside the whole.
void compareRegions(ComparisonOptions const& options);

// Frames with alpha beside the same frames without.
void compareAlpha(ComparisonOptions const& options);

// What small frames cost.
void measureSmallFrames(ComparisonOptions const& options);

// Two threads beside one.
void compareThreads(ComparisonOptions const& options);

// What the probe of the core finds.
void measureCore(ComparisonOptions const& options);
