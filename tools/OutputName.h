#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "Sequence.h"

// The destination that -o names: one file, a numbered sequence of files, or a folder in which each file has the name of
// its source.
class OutputName {
public:
    explicit OutputName(std::string const& text);

    bool isStandardOutput() const { return m_text == "-"; }
    bool isFolder() const { return m_isFolder; }
    bool isSequence() const { return m_pattern.has_value(); }

    // All results go to one file.
    bool isSingleFile() const { return !m_isFolder && !m_pattern; }

    std::string const& text() const { return m_text; }

    // The file for one result. `extension` has no dot and is used in a folder only.
    std::string pathFor(std::string const& sourcePath, std::uint64_t number, std::string const& extension) const;

private:
    std::string m_text;
    bool m_isFolder = false;
    std::optional<SequencePattern> m_pattern;
};
