#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

// Bytes from a file, from standard input ("-") or from memory, read from front to back.
class InputFile {
public:
    // Throws CommandError when the file cannot be opened.
    explicit InputFile(std::string const& path);

    // Bytes that are already there; `name` stands in messages.
    InputFile(std::string const& name, std::vector<std::uint8_t> bytes);

    ~InputFile();
    InputFile(InputFile const&) = delete;
    InputFile& operator=(InputFile const&) = delete;

    std::string const& name() const { return m_name; }

    // Up to `numBytes` of the bytes ahead, without moving on. Fewer only at the end of the file.
    std::span<const std::uint8_t> peek(std::size_t numBytes);

    // Moves `target.size()` bytes on and copies them; false when fewer remain (they are consumed all the same).
    bool read(std::span<std::uint8_t> target);

    // The next line without its end; false at the end of the file. Throws CommandError for one of more than `maxBytes`.
    bool readLine(std::string& line, std::size_t maxBytes);

    // Appends the bytes from here on until `bytes` has `wantedBytes`; false when the file ends before. The memory that
    // this takes grows with the bytes that are there, not with those that are wanted.
    bool readOn(std::vector<std::uint8_t>& bytes, std::uint64_t wantedBytes);

    // Everything from here to the end. Throws CommandError with ExitCode::Limit when it is more than `limitBytes`.
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

// "-" as users know it.
std::string displayName(std::string const& path);
