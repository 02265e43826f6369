#pragma once

#include <cstdint>
#include <vector>

#include "CoefficientScan.h"
#include "Slice.h"
#include "SliceGroupForm.h"

// The component ranges of a progressive frame without alpha, for measurements of the coefficient scan alone.
class FrameScan {
public:
    // Throws std::runtime_error for a frame that has fields or alpha, or whose symbols are not all valid.
    explicit FrameScan(std::vector<std::uint8_t> frame);

    FrameScan(FrameScan const&) = delete;
    FrameScan& operator=(FrameScan const&) = delete;

    // Scans every component of the frame, several side by side, in the groups that a decode in one thread makes with
    // the kernel variant that is selected.
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
    void countCoefficients();

    std::size_t numSlices() const { return m_scans.size() / 3; }
    std::int16_t* groupCoefficients();
    void prefetchGroup(std::size_t firstSlice, std::size_t count) const;
    template <OptimizationTarget target>
    SliceGroupForm groupForm(std::size_t mostSlices) const;
    template <OptimizationTarget target>
    void scanGroup(SliceGroupForm const& form, std::size_t firstSlice, std::size_t count);
    // Groups that reach over rows, as a picture has them where its slices are read in lanes.
    template <OptimizationTarget target>
    void scanRanges(SliceGroupForm const& form);
    template <OptimizationTarget target>
    void scanRows();

    std::vector<std::uint8_t> m_frame;
    std::vector<ComponentScan> m_scans;       // three of each slice
    std::vector<std::int16_t> m_coefficients; // of one group; all groups share it
    std::size_t m_slicesPerRow = 0;
    std::uint64_t m_numCoefficients = 0;
    std::uint64_t m_numBits = 0;
    std::uint64_t m_numBlocks = 0;
    std::uint64_t m_numPixels = 0;
};
