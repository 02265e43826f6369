#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "TemporaryFile.h"

// One output. A file is written under a temporary name in its folder and renamed in commit(), so that an incomplete
// file is never visible; without commit() it is removed. Standard output ("-"), devices and pipes are written directly.
//
// A file that is overwritten keeps its permissions and its owner. If only its owner could create such a file, the
// content is copied into the existing one. A symbolic link is kept and its target overwritten, unless the link belongs
// to another user and is in a folder that all users may write, such as /tmp.
class OutputFile {
public:
    // Throws CommandError if the file cannot be written, or if it exists and `overwrite` is false.
    OutputFile(std::string const& path, bool overwrite);
    ~OutputFile();
    OutputFile(OutputFile const&) = delete;
    OutputFile& operator=(OutputFile const&) = delete;

    // Throws CommandError, with ExitCode::ClosedPipe if the reader of standard output has closed it.
    void write(std::span<const std::uint8_t> bytes);
    void write(std::string_view text);

    // Gives the file its final name. Nothing may be written afterwards.
    void commit();

private:
    void openRegular(std::string const& path);
    void openSpecial(std::string const& path, bool isPipe);
    void preparePipe();
    bool keepOwnerAndMode();
    void copyIntoExisting();
    [[noreturn]] void fail() const; // with the text of errno

    std::string m_displayName;
    std::string m_name;            // of a regular file, in its folder
    int m_folder = -1;             // of a regular file
    int m_descriptor = -1;         // of the output
    bool m_ownsDescriptor = false; // false for standard output and for temporary files
    bool m_isStandardOutput = false;
    bool m_isPipe = false;             // or a device: writing may have to wait
    std::size_t m_maxPiece = SIZE_MAX; // bytes of one write
    bool m_overwrite = false;
    std::unique_ptr<TemporaryFile> m_temporary; // of a regular file
};

// Throws the error of the OutputFile constructor for a file that exists and may not be overwritten, for a check before
// a long job starts.
void refuseExisting(std::string const& path, bool overwrite);

// Whether the output is there. An output gets its name when it is whole, so only an empty file may be left of one that
// a failing machine has lost.
bool isFinished(std::string const& path);

// Writes a whole output.
void writeFile(std::string const& path, bool overwrite, std::span<const std::uint8_t> bytes);
