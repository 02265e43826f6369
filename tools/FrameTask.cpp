#include "FrameTask.h"

#include <utility>

#include "CommandError.h"

void FrameTask::work() {
    m_bytes = readFrame(m_path, m_loop.m_options.limits, &m_structure);
    m_decoded = m_loop.m_decodedFrames.take();
    withName(m_name, [this] { process(); });
}

void FrameTask::deliver() {
    if (m_decoded)
        m_loop.m_decodedFrames.giveBack(std::move(m_decoded));
}

void FrameLoop::run(std::size_t numFrames, std::function<std::unique_ptr<FrameTask>(std::size_t)> const& makeTask) {
    const ThreadLimit limit(m_options.threads);
    const std::size_t inFlight = m_options.inFlight != 0 ? m_options.inFlight : ThreadLimit::current() + 1;
    std::size_t next = 0;
    runInOrder(inFlight,
               [&]() -> std::unique_ptr<OrderedTask> { return next == numFrames ? nullptr : makeTask(next++); });
}
