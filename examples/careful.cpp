// Decodes a file from a stranger: frames with more pixels than a screen wall are refused before any memory is asked
// for, one thread is enough, and a decode that takes too long is given up. Exit code 4: refused, 5: given up.
//
//     careful FRAME [SECONDS]
#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <mutex>
#include <thread>

#include "FrameFile.h"
#include "ravelo.hpp"

namespace {

// Requests a stop when it lives longer than its time.
class Deadline {
public:
    Deadline(ravelo::StopFlag& flag, std::chrono::duration<double> time)
        : m_thread([this, &flag, time] {
              std::unique_lock<std::mutex> lock(m_mutex);
              if (!m_ended.wait_for(lock, time, [this] { return m_isOver; }))
                  flag.request();
          }) {}
    ~Deadline() {
        {
            const std::lock_guard<std::mutex> lock(m_mutex);
            m_isOver = true;
        }
        m_ended.notify_one();
        m_thread.join();
    }

private:
    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_isOver = false;
    std::thread m_thread; // last, since it uses the others
};

} // namespace

int main(int argc, char** argv) try {
    if (argc != 2 && argc != 3) {
        std::cerr << "usage: careful FRAME [SECONDS]\n";
        return 2;
    }
    const std::vector<unsigned char> frame = readFrame(argv[1]);
    ravelo::StopFlag stop;
    ravelo::Options options;
    options.maxPixels = 8192 * 4320;
    options.maxThreads = 1;
    options.failedSlices = RAVELO_FAILED_BLACK;
    options.damageCapacity = 1;
    options.stop = &stop;
    const double seconds = argc == 3 ? std::atof(argv[2]) : 5;
    if (seconds <= 0)
        stop.request();
    ravelo::Image image;
    const Deadline deadline(stop, std::chrono::duration<double>(seconds));
    if (!image.decode(frame, options)) {
        std::cerr << "careful: given up after " << seconds << " seconds\n";
        return 5;
    }
    std::cout << image.width() << " x " << image.height() << " pixels, " << image.failedSlices() << " damaged slices\n";
    return 0;
} catch (ravelo::Error const& error) {
    std::cerr << "careful: " << error.what() << "\n";
    return error.status() == RAVELO_ERROR_LIMIT ? 4 : 1;
} catch (std::exception const& error) {
    std::cerr << "careful: " << error.what() << "\n";
    return 1;
}
