#include "GuardedMemory.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <new>

std::size_t GuardedMemory::pageBytes() {
    static const std::size_t bytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    return bytes;
}

GuardedMemory::GuardedMemory(std::size_t capacityBytes) {
    const std::size_t page = pageBytes();
    const std::size_t usableBytes = (capacityBytes + page - 1) / page * page + page;
    m_mappingBytes = usableBytes + 2 * page;
    m_mapping = mmap(nullptr, m_mappingBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (m_mapping == MAP_FAILED)
        throw std::bad_alloc();
    m_first = static_cast<std::uint8_t*>(m_mapping) + page;
    m_end = m_first + usableBytes;
    if (mprotect(m_first, usableBytes, PROT_READ | PROT_WRITE) != 0)
        std::abort();
}

GuardedMemory::~GuardedMemory() {
    munmap(m_mapping, m_mappingBytes);
}

const std::uint8_t* GuardedMemory::copyAtStart(std::span<const std::uint8_t> bytes) {
    if (!bytes.empty())
        std::memcpy(atStart(), bytes.data(), bytes.size());
    return atStart();
}

const std::uint8_t* GuardedMemory::copyAtEnd(std::span<const std::uint8_t> bytes) {
    std::uint8_t* const place = atEnd(bytes.size());
    if (!bytes.empty())
        std::memcpy(place, bytes.data(), bytes.size());
    return place;
}

void GuardedMemory::clear() {
    if (madvise(m_first, capacityBytes(), MADV_DONTNEED) != 0)
        std::abort();
}
