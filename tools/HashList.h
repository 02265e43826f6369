#pragma once

#include <map>
#include <optional>
#include <string>

#include "DecodedFrame.h"

enum class HashAlgorithm { Xxh3, Md5 };

// A hash of the pixels of a frame, as decode --format xxh3 and md5 print it.
struct PixelHash {
    HashAlgorithm algorithm = HashAlgorithm::Xxh3;
    std::string digits; // hexadecimal, lower case

    std::string text() const; // "xxh3:0123456789abcdef"
    bool operator==(PixelHash const&) const = default;
};

const char* nameOf(HashAlgorithm algorithm);

PixelHash hashOfPixels(DecodedFrame const& frame, HashAlgorithm algorithm);

// The number of digits selects the algorithm. Nothing for a text that is not a hash.
std::optional<PixelHash> hashOfDigits(std::string const& digits);

// Parses "xxh3:DIGITS", "md5:DIGITS" or the digits alone. Throws CommandError with ExitCode::Usage.
PixelHash parsePixelHash(std::string const& text);

// A file of lines "DIGITS  NAME". Empty lines and those that begin with # are ignored.
class HashList {
public:
    // Throws CommandError for a file that cannot be read or contains other lines.
    explicit HashList(std::string const& path);

    // The hash for a frame: that of its whole name, or else that of a name with the same last part, since the list may
    // have been made in another folder. Names in the list may be escaped by printable() or not. Throws CommandError if
    // there is none, or more than one.
    PixelHash const& hashFor(std::string const& name) const;

private:
    void add(std::string const& line, std::size_t lineNumber);
    PixelHash const* find(std::string const& name) const;

    std::string m_path;
    std::map<std::string, PixelHash> m_byName;
    std::multimap<std::string, PixelHash> m_byLastPart;
};
