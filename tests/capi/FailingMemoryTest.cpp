#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "HostFrames.h"

// Every allocation of a call fails once, and the C interface turns that into its status: nothing is thrown. This
// executable replaces operator new, also for the libraries that it loads, so it holds nothing else.

namespace {

std::atomic<long> s_numUntilFailure{-1}; // below 0: no failure is planned
std::atomic<bool> s_hasFailed{false};

void* allocate(std::size_t numBytes, std::size_t alignment) {
    if (s_numUntilFailure.load() >= 0 && s_numUntilFailure.fetch_sub(1) == 0) {
        s_hasFailed = true;
        throw std::bad_alloc();
    }
    void* const memory = std::aligned_alloc(alignment, (numBytes + alignment) / alignment * alignment);
    if (memory == nullptr)
        throw std::bad_alloc();
    return memory;
}

// Out of line, since the compiler takes a free() that it sees beside an operator new for a mistake.
[[gnu::noinline]] void release(void* memory) {
    std::free(memory);
}

} // namespace

void* operator new(std::size_t numBytes) {
    return allocate(numBytes, alignof(std::max_align_t));
}
void* operator new[](std::size_t numBytes) {
    return allocate(numBytes, alignof(std::max_align_t));
}
void* operator new(std::size_t numBytes, std::align_val_t alignment) {
    return allocate(numBytes, static_cast<std::size_t>(alignment));
}
void operator delete(void* memory) noexcept {
    release(memory);
}
void operator delete[](void* memory) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}

TEST(FailingMemoryTest, EveryFailureBecomesAStatus) {
    const std::vector<std::uint8_t> frame = smallFrame(smallSpec(2, 1, 0), 1).bytes;
    std::vector<std::uint8_t> memory(1 << 16);
    ravelo_output output{};
    output.struct_size = sizeof output;
    output.memory = memory.data();
    output.memory_bytes = memory.size();
    for (const std::uint32_t maxThreads : {0u, 1u}) {
        ravelo_decode_options options = usualOptions();
        options.max_threads = maxThreads;
        ASSERT_EQ(ravelo_decode(frame.data(), frame.size(), &output, &options, nullptr), RAVELO_OK);
        int numFailures = 0;
        for (long k = 0;; ++k) {
            s_hasFailed = false;
            s_numUntilFailure = k;
            ravelo_error error{};
            const ravelo_status status = ravelo_decode(frame.data(), frame.size(), &output, &options, &error);
            s_numUntilFailure = -1;
            if (!s_hasFailed) {
                ASSERT_EQ(status, RAVELO_OK);
                break;
            }
            ASSERT_EQ(status, RAVELO_ERROR_MEMORY) << "allocation " << k;
            ASSERT_STREQ(error.text, "memory is exhausted");
            ++numFailures;
        }
        EXPECT_GT(numFailures, 0);
    }
}
