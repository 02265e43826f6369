#include "GuardedBytes.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <new>
#include <stdexcept>

GuardedBytes::GuardedBytes() {
    const std::size_t pageBytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    m_mappingBytes = kCapacity + pageBytes;
    m_mapping = mmap(nullptr, m_mappingBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (m_mapping == MAP_FAILED)
        throw std::bad_alloc();
    m_end = static_cast<std::uint8_t*>(m_mapping) + kCapacity;
    if (mprotect(m_end, pageBytes, PROT_NONE) != 0)
        throw std::runtime_error("The guard page cannot be protected.");
    m_bits = {m_end, 0};
}

GuardedBytes::~GuardedBytes() {
    munmap(m_mapping, m_mappingBytes);
}

Bitstream GuardedBytes::hold(std::vector<std::uint8_t> const& bytes) {
    if (bytes.size() > kCapacity)
        throw std::length_error("More bytes than a guarded range holds.");
    m_bits = {m_end - bytes.size(), bytes.size()};
    if (!bytes.empty())
        std::memcpy(m_end - bytes.size(), bytes.data(), bytes.size());
    return m_bits;
}
