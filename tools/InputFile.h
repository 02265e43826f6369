#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

// Bytes from a file, from standard input ("-") or from memory, read in order.
class InputFile {
public:
    // Throws CommandError if the file cannot be opened.
    explicit InputFile(std::string const& path);

    // Bytes in memory; `name` is used in messages.
    InputFile(std::string const& name, std::vector<std::uint8_t> bytes);

    ~InputFile();
    InputFile(InputFile const&) = delete;
    InputFile& operator=(InputFile const&) = delete;

    std::string const& name() const { return m_name; }

    // Up to `numBytes` of the next bytes, without consuming them. Fewer only at the end of the file.
    std::span<const std::uint8_t> peek(std::size_t numBytes);

    // Consumes and copies `target.size()` bytes; false if fewer remain, which are consumed too.
    bool read(std::span<std::uint8_t> target);

    // The next line without its line end; false at the end of the file. Throws CommandError for one of more than
    // `maxBytes`.
    bool readLine(std::string& line, std::size_t maxBytes);

    // Appends the next bytes until `bytes` has `wantedBytes`; false if the file ends earlier. The memory that this
    // takes grows with the bytes that the file has, not with those that are wanted.
    bool readOn(std::vector<std::uint8_t>& bytes, std::uint64_t wantedBytes);

    // Puts bytes back in front of those that are delivered next.
    void unread(std::span<const std::uint8_t> bytes);

    // How many bytes remain, where that is known without reading them: not for a pipe.
    std::optional<std::uint64_t> remainingBytes() const;

    // All remaining bytes. Throws CommandError with ExitCode::Limit if they are more than `limitBytes`.
    std::vector<std::uint8_t> readAll(std::uint64_t limitBytes);

private:
    void reserve(std::vector<std::uint8_t>& bytes, std::uint64_t wantedBytes) const;
    std::size_t takePending(std::span<std::uint8_t> target);
    std::size_t readSome(std::uint8_t* target, std::size_t numBytes);

    std::string m_name;
    int m_descriptor = -1;               // -1 for bytes in memory
    bool m_ownsDescriptor = false;       // false for standard input
    std::vector<std::uint8_t> m_pending; // read from the file and not yet delivered
    std::size_t m_pendingStart = 0;      // [0, m_pending.size()]
};

// A whole file, or standard input for "-".
std::vector<std::uint8_t> readFile(std::string const& path, std::uint64_t limitBytes);

// The name of the file in messages: "standard input" for "-".
std::string displayName(std::string const& path);
