#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

// Memory between two unmapped pages. It is mapped once and used for many cases, since a mapping for each case would
// take longer than the case.
//
// Only address space is reserved: pages take memory when they are first touched, so a stretch may be as large as the
// output of the largest picture that a header can declare.
class GuardedMemory {
public:
    // Room for at least `capacityBytes`. Throws std::bad_alloc when the address space cannot be reserved.
    explicit GuardedMemory(std::size_t capacityBytes);
    ~GuardedMemory();
    GuardedMemory(GuardedMemory const&) = delete;
    GuardedMemory& operator=(GuardedMemory const&) = delete;

    // Places of `sizeBytes` bytes: the first byte is directly after an unmapped page, or the last byte directly before
    // one.
    std::uint8_t* atStart() const { return m_first; }
    std::uint8_t* atEnd(std::size_t sizeBytes) const { return m_end - sizeBytes; }

    // Copies bytes to one of the two places.
    const std::uint8_t* copyAtStart(std::span<const std::uint8_t> bytes);
    const std::uint8_t* copyAtEnd(std::span<const std::uint8_t> bytes);

    std::size_t capacityBytes() const { return static_cast<std::size_t>(m_end - m_first); }

    // Gives all touched pages back; the memory reads as zero afterwards.
    void clear();

    static std::size_t pageBytes();

private:
    void* m_mapping = nullptr;
    std::size_t m_mappingBytes = 0;
    std::uint8_t* m_first = nullptr;
    std::uint8_t* m_end = nullptr;
};
