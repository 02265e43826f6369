#include "FrameTask.h"

#include <utility>

#include "CommandError.h"

void FrameTask::work() {
    m_queued.load(m_path, m_loop.m_options.limits);
    m_decoded = m_loop.m_decodedFrames.take();
    withName(m_name, [this] { process(); });
}

void FrameTask::deliver() {
    if (m_decoded)
        m_loop.m_decodedFrames.giveBack(std::move(m_decoded));
}

void FrameLoop::run(std::vector<std::string> paths,
                    std::function<std::unique_ptr<FrameTask>(QueuedFrame)> const& makeTask) const {
    const ThreadLimit limit(m_options.threads);
    const std::size_t inFlight = m_options.inFlight != 0 ? m_options.inFlight : ThreadLimit::current() + 1;
    FrameQueue queue(std::move(paths), m_options.limits);
    runInOrder(inFlight, [&]() -> std::unique_ptr<OrderedTask> {
        while (std::optional<QueuedFrame> frame = queue.next())
            if (std::unique_ptr<FrameTask> task = makeTask(*std::move(frame)))
                return task;
        return nullptr;
    });
}
