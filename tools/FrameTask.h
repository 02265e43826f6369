#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "DecodedFrame.h"
#include "FrameFile.h"
#include "OrderedPipeline.h"

// The loop of commands that decode many frames. Frames are read, decoded and worked on side by side; their results are
// delivered one after the other, in the order of the frames.

struct FrameLoopOptions {
    FrameLimits limits;
    std::size_t threads = 0;  // 0: all that the machine has
    std::size_t inFlight = 0; // frames under way at once; 0: one more than there are threads
};

class FrameLoop;

// One frame of the loop.
class FrameTask : public OrderedTask {
public:
    // Reads the frame, takes a DecodedFrame from the loop and calls process(). Other errors than CommandError become
    // one with the frame's name.
    void work() override;

    // Gives the DecodedFrame back. Overridden by tasks that have more to do in their turn.
    void deliver() override;

protected:
    // `name` is the frame's name in messages.
    FrameTask(FrameLoop& loop, std::string const& path, std::string const& name)
        : m_loop(loop), m_path(path), m_name(name) {}

    // Decodes bytes() into decoded(), and does everything that need not wait for the frame's turn.
    virtual void process() = 0;

    std::string const& name() const { return m_name; }
    std::span<const std::uint8_t> bytes() const { return m_bytes; }
    DecodedFrame& decoded() { return *m_decoded; }

private:
    FrameLoop& m_loop;
    std::string m_path;
    std::string m_name;
    std::vector<std::uint8_t> m_bytes;
    std::unique_ptr<DecodedFrame> m_decoded;
};

class FrameLoop {
public:
    explicit FrameLoop(FrameLoopOptions const& options) : m_options(options) {}

    // Runs the tasks that `makeTask` returns for 0 to `numFrames` - 1. The first exception ends the loop.
    void run(std::size_t numFrames, std::function<std::unique_ptr<FrameTask>(std::size_t)> const& makeTask);

private:
    friend class FrameTask;

    FrameLoopOptions m_options;
    ObjectPool<DecodedFrame> m_decodedFrames;
};
