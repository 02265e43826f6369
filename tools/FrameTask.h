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

// The loop of commands that decode many frames. Several frames are read, decoded and processed at once; their results
// are delivered one by one, in the order of the frames.

struct FrameLoopOptions {
    FrameLimits limits;
    std::size_t threads = 0;  // 0: one for each processor
    std::size_t inFlight = 0; // frames decoded at once; 0: one more than threads
};

class FrameLoop;

// One frame of the loop.
class FrameTask : public OrderedTask {
public:
    // Reads the frame, takes a DecodedFrame from the loop and calls process(). Errors of the libraries become
    // CommandErrors with the frame's name.
    void work() override;

    // Returns the DecodedFrame to the loop. Overridden by tasks that have results to deliver.
    void deliver() override;

protected:
    // `name` is the frame's name in messages.
    FrameTask(FrameLoop& loop, std::string const& path, std::string const& name)
        : m_loop(loop), m_path(path), m_name(name) {}

    // Decodes bytes() into decoded(), and does everything that does not depend on the order of the frames.
    virtual void process() = 0;

    std::string const& name() const { return m_name; }
    std::span<const std::uint8_t> bytes() const { return m_bytes; }
    FrameStructure const& structure() const { return m_structure; }
    DecodedFrame& decoded() { return *m_decoded; }

private:
    FrameLoop& m_loop;
    std::string m_path;
    std::string m_name;
    std::vector<std::uint8_t> m_bytes;
    FrameStructure m_structure;
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
