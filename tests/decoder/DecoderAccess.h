#pragma once

#include <cstdint>
#include <memory>

#include "Bitstream.h"
#include "CoefficientScan.h"
#include "OptimizationTarget.h"

// The templates of the decoder that have no instance of their own in the library, behind plain names. They are
// instantiated in two units with the instructions of their targets, as the library's units have them: a test that
// instantiated them itself would test other code than the one that ships.

// A VLCStream with its state in reach.
template <OptimizationTarget target>
class BitReader {
public:
    explicit BitReader(Bitstream const& range);
    ~BitReader();
    BitReader(BitReader const&) = delete;
    BitReader& operator=(BitReader const&) = delete;

    unsigned int getBits(unsigned int n);
    std::uint32_t peekBits32() const;
    bool readPastEnd() const;
    bool invalidCode() const;
    std::uint64_t bitBuffer() const;
    std::uint64_t bitCount() const;
    std::uint64_t bytesLeft() const;

private:
    class Stream;
    std::unique_ptr<Stream> m_stream;
};

// gatherBlocks for corners of 8, 4 or 2.
template <OptimizationTarget target>
void gatherCorners(int size, ComponentScan const& scan, const std::uint32_t* pattern, std::int16_t* blocks);

// gatherBlocksPlainly, the definition of the same.
template <OptimizationTarget target>
void gatherCornersPlainly(int size, ComponentScan const& scan, const std::uint32_t* pattern, std::int16_t* blocks);

// dequantizeCorners for corners of 4 or 2.
template <OptimizationTarget target>
void dequantizeCornersOfSize(int size, std::int16_t* corners, const float* matrix, std::uint32_t numBlocks);

struct ThreeRanges {
    Bitstream bits[3]; // cursor to the end of the data
    std::uint64_t sizes[3];
    std::int16_t* coefficients[3];
    std::uint32_t numBlocks[3];
    std::uint32_t log2NumBlocks[3];
};

template <OptimizationTarget target>
void scanThreeStreams(ThreeRanges const& ranges);

// Eight floats as binary16: by the processor's instruction, where it has one, or by integers.
template <OptimizationTarget target>
void convertToHalves(const float* values, bool byInstruction, std::uint16_t* halves);
