#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Sequence.h"

// The files that a command reads, known by what they are and not by their names, so that it never writes over them.
class InputSet {
public:
    explicit InputSet(std::vector<SequenceItem> const& items);

    // Throws CommandError when the output ("-" for standard output) is one of the files.
    void refuse(std::string const& outputPath) const;

private:
    std::set<std::pair<std::uint64_t, std::uint64_t>> m_identities; // device and inode
};
