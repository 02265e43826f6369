#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

#include "CommandError.h"
#include "Comparison.h"
#include "FrameFile.h"

// What a comparison reads; each of both sides is a file, a sequence, or "-" for standard input.
struct ComparedInputs {
    std::string first;
    std::string second;
    std::string numbers; // --frames; may be empty
    FrameLimits limits;
};

// A side that is compared next: a file that is not read yet, or what standard input contained.
struct PendingSide {
    std::string path; // empty if it is read already
    std::optional<Side> loaded;

    // Null where it is there.
    std::string const* missing() const;

    // Throws CommandError. Once.
    Side load(FrameLimits const& limits);
};

struct PendingPair {
    std::string name; // in messages
    PendingSide first;
    PendingSide second;
    std::optional<CommandError> error; // what is wrong with the pair before it is read

    // The path of a side that does not exist, or null.
    std::string const* missing() const;
};

// The pairs of two inputs, in order.
class PairSource {
public:
    virtual ~PairSource() = default;

    // Nothing at the end. A frame of standard input without a counterpart, or the reverse, is a pair with an error.
    virtual std::optional<PendingPair> next() = 0;

    // False for one pair of single files.
    virtual bool isSequence() const { return true; }

    // How many pairs there are; nothing where standard input decides.
    virtual std::optional<std::size_t> total() const = 0;

    // Looks for every file that will be compared; the path of the first that does not exist.
    virtual std::optional<std::string> firstMissing() const = 0;
};

// Throws CommandError for inputs that do not fit each other.
std::unique_ptr<PairSource> openPairs(ComparedInputs const& inputs);
