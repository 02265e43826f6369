#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

// One output. A file grows under a temporary name in its folder and takes its final name in commit(), so that nobody
// ever sees half of it; without commit() it disappears. Standard output ("-"), devices and pipes are written directly.
class OutputFile {
public:
    // Throws CommandError when the place is not writable, or when the file exists and `overwrite` is false.
    OutputFile(std::string const& path, bool overwrite);
    ~OutputFile();
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    void write(std::span<const std::uint8_t> bytes);
    void write(std::string_view text);

    // Gives the file its final name. Nothing may be written afterwards.
    void commit();

private:
    void openTemporary();
    void openSpecial(bool isPipe);
    void preparePipe();
    void takeFinalName();

    std::string m_path;
    std::string m_displayName;
    std::string m_temporaryPath; // empty for outputs that are written directly
    int m_descriptor = -1;
    bool m_ownsDescriptor = true;      // false for standard output
    bool m_isPipe = false;             // or a device: what may have to be waited for
    std::size_t m_maxPiece = SIZE_MAX; // bytes of one write
    bool m_overwrite = false;
};

// Throws the error of the OutputFile constructor for a file that exists and may not be overwritten, so that a long job
// finds out before it starts.
void refuseExisting(std::string const& path, bool overwrite);

// Writes a whole output.
void writeFile(std::string const& path, bool overwrite, std::span<const std::uint8_t> bytes);
