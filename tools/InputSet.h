#pragma once

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "Sequence.h"

// The files that a command reads, identified by device and inode, so that the command never overwrites them.
class InputSet {
public:
    explicit InputSet(std::vector<SequenceItem> const& items);

    // Throws CommandError if the output ("-" for standard output) is one of the files.
    void refuse(std::string const& outputPath) const;

private:
    std::set<std::pair<std::uint64_t, std::uint64_t>> m_identities; // device and inode
};
