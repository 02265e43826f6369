#pragma once

#include "CoeffVLCStream_Impl.h"
#include "CoefficientScan.h"

// The plain form of the coefficient scan: one component, one symbol after the other. It is the definition that every
// other form is held against, and it reads what those leave to it.

// The place of a coefficient in the two orders.
template <OptimizationTarget target>
struct FrequencyOrder {
    static std::uint32_t index(ComponentScan const& scan, std::uint32_t block, std::uint32_t scanIndex) {
        return scanIndex * scan.numBlocks + block;
    }
};

template <OptimizationTarget target>
struct BlockOrder {
    static std::uint32_t index(ComponentScan const& scan, std::uint32_t block, std::uint32_t scanIndex) {
        return block * scan.keptCoefficients + scanIndex;
    }
};

// The low 16 bits of a magnitude with its sign.
static inline std::int16_t signedLevel(int absLevelMinus1, unsigned int sign) {
    const std::uint32_t magnitude = static_cast<std::uint32_t>(absLevelMinus1) + 1;
    return static_cast<std::int16_t>(sign != 0 ? 0u - magnitude : magnitude);
}

template <OptimizationTarget target, template <OptimizationTarget> class Order>
void scanDcCoefficients(CoeffVLCStream<target>& stream, ComponentScan const& scan) {
    // The sum is not cut to 16 bits; the low half of the true sum is stored.
    std::uint32_t sum = static_cast<std::uint32_t>(stream.first_dc_coeff());
    scan.coefficients[0] = static_cast<std::int16_t>(sum);
    for (std::uint32_t block = 1; block < scan.numBlocks; ++block) {
        sum += static_cast<std::uint32_t>(stream.dc_coeff_difference());
        scan.coefficients[Order<target>::index(scan, block, 0)] = static_cast<std::int16_t>(sum);
    }
}

// Reads runs, levels and signs from `position` on until only a tail of zero bits is left.
template <OptimizationTarget target, template <OptimizationTarget> class Order>
bool scanAcCoefficients(CoeffVLCStream<target>& stream, ComponentScan const& scan, std::uint32_t position) {
    const std::uint32_t numPositions = scan.numBlocks << 6;
    while (!stream.endOfData()) {
        const std::uint64_t target64 = std::uint64_t{position} + stream.run();
        if (target64 >= numPositions) {
            stream.setInvalidCode();
            return false;
        }
        position = static_cast<std::uint32_t>(target64);
        const std::int16_t level = [&stream] {
            const int absLevelMinus1 = stream.abs_level_minus_1();
            return signedLevel(absLevelMinus1, stream.sign());
        }();
        const std::uint32_t scanIndex = position >> scan.log2NumBlocks;
        if (scanIndex < scan.keptCoefficients)
            scan.coefficients[Order<target>::index(scan, position & (scan.numBlocks - 1), scanIndex)] = level;
        ++position;
    }
    return !stream.invalidCode();
}

template <OptimizationTarget target, template <OptimizationTarget> class Order>
bool scanComponentInOrder(ComponentScan const& scan) {
    const std::uint32_t numKept = scan.numBlocks * scan.keptCoefficients;
    __builtin_memset(scan.coefficients, 0, numKept * sizeof scan.coefficients[0]);
    CoeffVLCStream<target> stream(scan.range, scan.range.size);
    scanDcCoefficients<target, Order>(stream, scan);
    if (scan.dcOnly)
        return !stream.invalidCode();
    return scanAcCoefficients<target, Order>(stream, scan, scan.numBlocks);
}

template <OptimizationTarget target>
bool scanComponentPlainly(ComponentScan const& scan) {
    return scanComponentInOrder<target, FrequencyOrder>(scan);
}

template <OptimizationTarget target>
bool scanComponentIntoBlocks(ComponentScan const& scan) {
    return scanComponentInOrder<target, BlockOrder>(scan);
}

template <OptimizationTarget target>
bool scanPairsPlainly(ComponentScan const& scan, CoeffVLCState const& state, std::uint32_t position) {
    CoeffVLCStream<target> stream(scan.range, scan.range.size, state);
    return scanAcCoefficients<target, FrequencyOrder>(stream, scan, position);
}
