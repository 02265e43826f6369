#pragma once

#include <cstdint>
#include <map>
#include <vector>

// The output of the slow model: a stretch of bytes around the caller's first line, where each byte remembers who wrote
// it. Offsets count bytes from the caller's buffer address and may be negative.
//
// Two slices of one picture may write the same byte (the excess columns of a reduced picture's right edge, when the
// stride has no room for them). Nothing orders them, so such a byte may hold what either of them left.
class SlowCanvas {
public:
    SlowCanvas(std::int64_t lowestOffset, std::uint64_t numBytes, std::uint8_t fill);
    // Starts with what a buffer holds before the call.
    SlowCanvas(std::int64_t lowestOffset, std::vector<std::uint8_t> const& before);

    // The stores that follow belong to this slice. Slices of a later picture come after all those of an earlier one.
    void beginSlice(std::uint32_t pictureIndex, std::uint32_t sliceIndex);
    void store8(std::int64_t offset, std::uint8_t value);
    void store16(std::int64_t offset, std::uint16_t value); // native-endian, at any address
    // The slice may write this byte, with any value.
    void storeAnything(std::int64_t offset);

    std::int64_t lowestOffset() const { return m_lowestOffset; }
    std::uint64_t size() const { return m_bytes.size(); }
    const std::uint8_t* bytes() const { return m_values.data(); }
    bool isWritten(std::int64_t offset) const;
    // True when a decoder may leave `value` at this byte.
    bool allows(std::int64_t offset, std::uint8_t value) const;
    // Stores that fell outside the stretch and were dropped.
    std::uint64_t numStoresOutside() const { return m_numStoresOutside; }
    std::uint64_t numSharedBytes() const { return m_alternatives.size(); }

private:
    struct Owner {
        std::uint32_t picture = kNobody;
        std::uint32_t slice = kNobody;
        bool holdsAnything = false;
    };
    static constexpr std::uint32_t kNobody = 0xFFFFFFFFu;
    // The byte's owner after the current slice has taken it, or null outside the stretch.
    Owner* take(std::int64_t offset);

    std::int64_t m_lowestOffset;
    std::vector<std::uint8_t> m_values;
    std::vector<Owner> m_bytes;
    std::map<std::uint64_t, std::vector<std::uint8_t>> m_alternatives; // by index; what other slices left
    std::uint32_t m_picture = 0;
    std::uint32_t m_slice = 0;
    std::uint64_t m_numStoresOutside = 0;
};
