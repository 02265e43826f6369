#pragma once

#include <cstdint>
#include <vector>

#include "CoefficientScan.h"
#include "Slice.h"

// The component ranges of a progressive frame without alpha, for measurements of the coefficient scan alone.
class FrameScan {
public:
    // Slices that are scanned together, as many as the decoder takes for most frames.
    static constexpr std::size_t kSlicesPerGroup = SliceGroup<OptimizationTarget::AVX2>::kMaxSlices422;

    // Throws std::runtime_error for a frame that has fields or alpha, or whose symbols are not all valid.
    explicit FrameScan(std::vector<std::uint8_t> frame);

    FrameScan(FrameScan const&) = delete;
    FrameScan& operator=(FrameScan const&) = delete;

    // Scans every component of the frame, several side by side.
    template <OptimizationTarget target>
    void scanAll();

    // The same with the definition of the scan, one component after the other.
    template <OptimizationTarget target>
    void scanAllPlainly();

    std::uint64_t numCoefficients() const {
        return m_numCoefficients;
    }                                                   // coded ones: every DC, other values if not zero
    std::uint64_t numBits() const { return m_numBits; } // of all ranges
    std::uint64_t numBlocks() const { return m_numBlocks; }
    std::uint64_t numPixels() const { return m_numPixels; }

private:
    void addSlice(Bitstream slice, std::uint32_t codedSize, std::uint32_t numMbs, std::uint32_t chromaBlocksPerMb);
    void placeCoefficients();
    void countCoefficients();

    std::vector<std::uint8_t> m_frame;
    std::vector<ComponentScan> m_scans;       // three of each slice
    std::vector<std::int16_t> m_coefficients; // of one group; all groups share it
    std::uint64_t m_numCoefficients = 0;
    std::uint64_t m_numBits = 0;
    std::uint64_t m_numBlocks = 0;
    std::uint64_t m_numPixels = 0;
};
