#include "HashList.h"

#include <cctype>
#include <cstdint>
#include <filesystem>

#include <fmt/format.h>

#include "CommandError.h"
#include "InputFile.h"
#include "OutputFormat.h"
#include "Printable.h"

namespace {

constexpr std::uint64_t kMaxListBytes = std::uint64_t{1} << 28;
constexpr std::size_t kMaxLineBytes = 1 << 16; // more than a hash and the longest path, even where it is escaped
constexpr std::size_t kXxh3Digits = 16;
constexpr std::size_t kMd5Digits = 32;

std::string lastPartOf(std::string const& name) {
    return std::filesystem::path(name).filename().string();
}

} // namespace

const char* nameOf(HashAlgorithm algorithm) {
    return algorithm == HashAlgorithm::Xxh3 ? "xxh3" : "md5";
}

std::string PixelHash::text() const {
    return fmt::format("{}:{}", nameOf(algorithm), digits);
}

PixelHash hashOfPixels(DecodedFrame const& frame, HashAlgorithm algorithm) {
    return {algorithm, algorithm == HashAlgorithm::Xxh3 ? xxh3OfPixels(frame) : md5OfPixels(frame)};
}

std::optional<PixelHash> hashOfDigits(std::string const& digits) {
    PixelHash hash;
    if (digits.size() != kXxh3Digits && digits.size() != kMd5Digits)
        return std::nullopt;
    hash.algorithm = digits.size() == kXxh3Digits ? HashAlgorithm::Xxh3 : HashAlgorithm::Md5;
    for (const unsigned char digit : digits) {
        if (std::isxdigit(digit) == 0)
            return std::nullopt;
        hash.digits.push_back(static_cast<char>(std::tolower(digit)));
    }
    return hash;
}

PixelHash parsePixelHash(std::string const& text) {
    const std::size_t colon = text.find(':');
    const std::optional<PixelHash> hash = hashOfDigits(text.substr(colon == std::string::npos ? 0 : colon + 1));
    if (!hash || (colon != std::string::npos && text.substr(0, colon) != nameOf(hash->algorithm)))
        throw usageError("{} is not a hash; --hash takes xxh3: and {} digits, or md5: and {}", text, kXxh3Digits,
                         kMd5Digits);
    return *hash;
}

HashList::HashList(std::string const& path) : m_path(displayName(path)) {
    InputFile file(path);
    std::size_t lineNumber = 0;
    std::uint64_t numBytes = 0;
    for (std::string line; file.readLine(line, kMaxLineBytes);) {
        numBytes += line.size() + 1;
        if (numBytes > kMaxListBytes)
            throw limitExceeded("{} is larger than the limit of {} bytes", m_path, kMaxListBytes);
        add(line, ++lineNumber);
    }
}

void HashList::add(std::string const& line, std::size_t lineNumber) {
    if (line.empty() || line[0] == '#')
        return;
    const std::size_t blank = line.find(' ');
    const std::optional<PixelHash> hash = hashOfDigits(line.substr(0, blank));
    // Checksum tools separate the name by two blanks, or by a blank and an asterisk.
    if (!hash || blank == std::string::npos || line.size() < blank + 3 ||
        (line[blank + 1] != ' ' && line[blank + 1] != '*'))
        throw failure("{}, line {}: neither a hash followed by a name nor a comment", m_path, lineNumber);
    const std::string name = line.substr(blank + 2);
    const auto [place, isNew] = m_byName.emplace(name, *hash);
    if (!isNew && place->second != *hash)
        throw failure("{}, line {}: a second, different hash for {}", m_path, lineNumber, name);
    if (isNew)
        m_byLastPart.emplace(lastPartOf(name), *hash);
}

// Null if there is none.
PixelHash const* HashList::find(std::string const& name) const {
    const auto whole = m_byName.find(name);
    if (whole != m_byName.end())
        return &whole->second;
    const auto [first, end] = m_byLastPart.equal_range(lastPartOf(name));
    if (first == end)
        return nullptr;
    if (std::next(first) != end)
        throw failure("{} contains several hashes for names like {}", m_path, name);
    return &first->second;
}

PixelHash const& HashList::hashFor(std::string const& name) const {
    PixelHash const* hash = find(printable(name));
    if (hash == nullptr)
        hash = find(name);
    if (hash == nullptr)
        throw failure("{} does not contain a hash for {}", m_path, name);
    return *hash;
}
