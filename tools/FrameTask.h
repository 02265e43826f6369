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
#include "FrameQueue.h"
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
    // Reads the frame unless the queue has, takes a DecodedFrame from the loop and calls process(). Errors of the
    // libraries become CommandErrors with the frame's name.
    void work() override;

    // Returns the DecodedFrame to the loop. Overridden by tasks that have results to deliver.
    void deliver() override;

protected:
    // `path` is read where the queue has not read the frame; `name` is its name in messages.
    FrameTask(FrameLoop& loop, QueuedFrame queued, std::string const& path, std::string const& name)
        : m_loop(loop), m_queued(std::move(queued)), m_path(path), m_name(name) {}

    // Decodes bytes() into decoded(), and does everything that does not depend on the order of the frames.
    virtual void process() = 0;

    std::string const& name() const { return m_name; }
    std::span<const std::uint8_t> bytes() const { return m_queued.loaded->bytes; }
    FrameStructure const& structure() const { return m_queued.loaded->structure; }
    DecodedFrame& decoded() { return *m_decoded; }

private:
    FrameLoop& m_loop;
    QueuedFrame m_queued;
    std::string m_path;
    std::string m_name;
    std::unique_ptr<DecodedFrame> m_decoded;
};

class FrameLoop {
public:
    explicit FrameLoop(FrameLoopOptions const& options) : m_options(options) {}

    // Runs the tasks that `makeTask` makes of the frames of `paths`, as runInOrder() does; it may return null for a
    // frame that needs no work.
    void run(std::vector<std::string> paths,
             std::function<std::unique_ptr<FrameTask>(QueuedFrame)> const& makeTask) const;

private:
    friend class FrameTask;

    FrameLoopOptions m_options;
    ObjectPool<DecodedFrame> m_decodedFrames;
};
