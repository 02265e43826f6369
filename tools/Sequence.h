#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// The maximum number of numbers in a list, and of items on a command line.
inline constexpr std::size_t kMaxNumbers = 10'000'000;

// The numbers of a list such as "1-100x2,200": ranges with both ends included and an optional step. Throws CommandError
// for a list that is invalid or has more than kMaxNumbers numbers; the message starts with `where`.
std::vector<std::uint64_t> parseNumberList(std::string const& text, std::string const& where = "");

// The name of a numbered sequence, in one of the usual spellings: shot.%04d.rvl, shot.####.rvl, shot.@@@@.rvl or
// shot.$F4.rvl, all with at least four digits; shot.%d.rvl, shot.#.rvl, shot.@.rvl and shot.$F.rvl have no leading
// zeros. A list may precede # and @: shot.1-100x2####.rvl.
class SequencePattern {
public:
    // Nothing if the last part of the path has no place for a number.
    static std::optional<SequencePattern> parse(std::string const& path);

    std::string nameOf(std::uint64_t number) const;

    // The numbers of the list in the name; empty if there is none.
    std::vector<std::uint64_t> const& listedNumbers() const { return m_listedNumbers; }

    // The numbers of the files that exist, in ascending order.
    std::vector<std::uint64_t> existingNumbers() const;

private:
    std::string m_prefix; // with the folder
    std::string m_suffix;
    std::uint32_t m_minDigits = 1;
    std::vector<std::uint64_t> m_listedNumbers;
};

// Whether the argument names a sequence. An existing file of that name is meant itself.
std::optional<SequencePattern> sequenceOf(std::string const& argument);

// One frame or picture of a command line.
struct SequenceItem {
    std::string path;
    std::uint64_t number = 0; // its number in the sequence; for other files, their position on the command line
    bool exists = true;       // false for a hole in a sequence; other files are not checked
    std::string standIn = ""; // for a hole: the frame before it on disk, or else the first; empty if there is none
};

// The items of the arguments, in order. A sequence without a list of numbers runs from its first to its last file; the
// numbers in between without a file are holes. `numbers` is a list for sequences that have none; it may be empty. What
// stands in for a hole depends on the files of the sequence alone, not on the numbers that are asked for.
std::vector<SequenceItem> expandSequences(std::vector<std::string> const& arguments, std::string const& numbers);
