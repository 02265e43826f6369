#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "FrameFile.h"

// A frame in memory.
struct FrameInMemory {
    std::vector<std::uint8_t> bytes;
    FrameStructure structure;
};

// One frame of a command line.
struct QueuedFrame {
    std::size_t item = 0;                // its place in the list of files
    std::uint64_t extra = 0;             // frames of standard input so far beyond the first; they shift all numbers
    std::string name;                    // in messages
    std::optional<FrameInMemory> loaded; // of standard input; files are read by the tasks
    std::exception_ptr error;            // of the read
    bool hasNext = false;                // another frame of the same item follows
    bool isFirst = true;                 // of its item

    // Reads the frame from the file unless it has been read. Throws the error of standard input, too.
    FrameInMemory& load(std::string const& path, FrameLimits const& limits);
};

// The frames of several files in order. A file is one frame. Standard input ("-") is any number of them, one after the
// other; what follows a frame and is not another one is reported in its FrameStructure.
class FrameQueue {
public:
    // `standardInput` is that of "-" where its first bytes have been looked at already.
    FrameQueue(std::vector<std::string> paths, FrameLimits const& limits,
               std::unique_ptr<InputFile> standardInput = nullptr);
    ~FrameQueue();

    // Errors of standard input are part of the result, and end it.
    std::optional<QueuedFrame> next();

    // How many frames there are; nothing with standard input.
    std::optional<std::size_t> total() const;

private:
    void readStandardInput(QueuedFrame& frame);

    std::vector<std::string> m_paths;
    FrameLimits m_limits;
    std::size_t m_item = 0;
    std::unique_ptr<InputFile> m_standardInput;
    std::uint64_t m_framesRead = 0; // of standard input
    std::uint64_t m_extra = 0;
};
