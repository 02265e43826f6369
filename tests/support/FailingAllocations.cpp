#include "FailingAllocations.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>
#include <new>

namespace {

std::atomic<long> s_numLive{0};
std::atomic<long> s_numUntilFailure{-1}; // below 0: no failure is planned
std::atomic<bool> s_hasFailed{false};

void* allocate(std::size_t numBytes, std::size_t alignment) {
    if (s_numUntilFailure.load() >= 0 && s_numUntilFailure.fetch_sub(1) == 0) {
        s_hasFailed = true;
        throw std::bad_alloc();
    }
    // Of exactly its size if possible, so that a sanitizer sees an access to the byte after it.
    void* const memory = alignment <= alignof(std::max_align_t)
                             ? std::malloc(numBytes == 0 ? 1 : numBytes)
                             : std::aligned_alloc(alignment, (numBytes + alignment - 1) / alignment * alignment);
    if (memory == nullptr)
        throw std::bad_alloc();
    ++s_numLive;
    return memory;
}

void* allocateOrNull(std::size_t numBytes, std::size_t alignment) noexcept {
    try {
        return allocate(numBytes, alignment);
    } catch (const std::bad_alloc&) {
        return nullptr;
    }
}

void release(void* memory) {
    if (memory != nullptr)
        --s_numLive;
    std::free(memory);
}

} // namespace

void planAllocationFailure(long number) {
    s_hasFailed = false;
    s_numUntilFailure = number;
}

void endAllocationFailure() {
    s_numUntilFailure = -1;
}

bool hasAllocationFailed() {
    return s_hasFailed;
}

long numLiveAllocations() {
    return s_numLive;
}

void* operator new(std::size_t numBytes) {
    return allocate(numBytes, alignof(std::max_align_t));
}
void* operator new[](std::size_t numBytes) {
    return allocate(numBytes, alignof(std::max_align_t));
}
void* operator new(std::size_t numBytes, std::align_val_t alignment) {
    return allocate(numBytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t numBytes, std::align_val_t alignment) {
    return allocate(numBytes, static_cast<std::size_t>(alignment));
}
// These too: a sanitizer's own would hand out memory that the deletes below give back in another way.
void* operator new(std::size_t numBytes, const std::nothrow_t&) noexcept {
    return allocateOrNull(numBytes, alignof(std::max_align_t));
}
void* operator new[](std::size_t numBytes, const std::nothrow_t&) noexcept {
    return allocateOrNull(numBytes, alignof(std::max_align_t));
}
void* operator new(std::size_t numBytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateOrNull(numBytes, static_cast<std::size_t>(alignment));
}
void* operator new[](std::size_t numBytes, std::align_val_t alignment, const std::nothrow_t&) noexcept {
    return allocateOrNull(numBytes, static_cast<std::size_t>(alignment));
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
void operator delete[](void* memory, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::size_t, std::align_val_t) noexcept {
    release(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete(void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    release(memory);
}
void operator delete[](void* memory, std::align_val_t, const std::nothrow_t&) noexcept {
    release(memory);
}
