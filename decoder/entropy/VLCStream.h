#pragma once

#include <cstdint>

#include "Bitstream.h"
#include "OptimizationTarget.h"

// Reads bit fields, most significant bit first, from one byte range of a slice.
//
// Never reads outside the range and never throws. Past the end it delivers zero bits and remembers that it did; the
// layers above decide what that means.
template <OptimizationTarget target>
class VLCStream {
public:
    explicit VLCStream(Bitstream const& bitstream) : m_bitstream(bitstream) {}

    // The next `n` bits, right-aligned; n in [0, 32] for a meaningful result. The format's longest suffix asks for 35
    // bits, of which the low 32 are returned.
    //
    // A request that goes beyond what one refill supplies wraps the bit count. That happens in two places: in the last
    // partial word of a range, where what later reads return is unspecified, but they stay in the range and a scan
    // fails; and past the end, where a refill supplies eight bits, and later reads return zeros all the same.
    unsigned int getBits(unsigned int n);

    bool readPastEnd() const { return m_readPastEnd; }
    bool invalidCode() const { return m_invalidCode; }

protected:
    struct Word {
        std::uint64_t bits;  // right-aligned
        std::uint64_t count; // of valid bits
    };

    // The next up to eight bytes, or a zero byte when none are left.
    Word refill();

    // Continues at a bit of the range, as if everything before it had been read bit by bit: words start at multiples of
    // eight bytes from the start of the range. To be called before any read; the position is inside the range.
    void startAt(std::uint64_t bitPosition);

    // The next 32 bits without taking them; bits beyond the range are zero.
    std::uint32_t peekBits32() const;

    // Until the bit count wraps (see getBits), bits of the buffer at and above the count are zero.
    std::uint64_t m_bitBuffer = 0; // unread bits, right-aligned
    std::uint64_t m_bitCount = 0;  // [0, 63] between reads; close to 2 to the 64 once it has wrapped
    Bitstream m_bitstream;         // bytes not yet loaded
    bool m_readPastEnd = false;    // a refill found no bytes
    bool m_invalidCode = false;    // set by the layers above
};
