#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "CombinationCode.h"

// Writes the symbols of one component of one slice and keeps the state from which their codes are chosen. It knows the
// codes, not the order of the symbols, so that any sequence can be written, those that no picture gives too.
//
// A sink is a VLCWriter or a VLCCounter; it must outlive the writer.
template <class Sink>
class CoeffVLCWriter {
public:
    explicit CoeffVLCWriter(Sink& sink) : m_sink(sink) {}

    void first_dc_coeff(std::int32_t value) { kFirstDCCode.put(m_sink, unfolded(value)); }

    // The sign in the stream is relative: a positive code continues in the direction of the last difference.
    void dc_coeff_difference(std::int32_t difference) {
        CombinationCode const& code = kDCDifferenceCodes[std::min(std::abs(m_previousDCDiff), 3)];
        code.put(m_sink, unfolded(m_previousDCDiff < 0 ? -difference : difference));
        m_previousDCDiff = difference;
    }

    void run(std::uint32_t length) {
        kRunCodes[std::min(m_previousRun, 15u)].put(m_sink, length);
        m_previousRun = length;
    }

    void abs_level_minus_1(std::uint32_t value) {
        kLevelCodes[std::min(m_previousLevelSymbol, 8u)].put(m_sink, value);
        m_previousLevelSymbol = value;
    }

    void sign(bool isNegative) { m_sink.put(isNegative ? 1 : 0, 1); }

    // The three symbols of a coefficient other than zero, `numZeros` positions after the last one.
    void coefficient(std::uint32_t numZeros, std::int32_t level) {
        const std::uint32_t levelSymbol = static_cast<std::uint32_t>(std::abs(level)) - 1;
        if ((numZeros | levelSymbol) >= kNumTableValues) {
            run(numZeros);
            abs_level_minus_1(levelSymbol);
            sign(level < 0);
            return;
        }
        const CodeBits first = kRunTable.codeOf(std::min(m_previousRun, 15u), numZeros);
        const CodeBits second = kLevelTable.codeOf(std::min(m_previousLevelSymbol, 8u), levelSymbol);
        m_sink.put((first.bits << second.numBits | second.bits) << 1 | (level < 0 ? 1 : 0),
                   first.numBits + second.numBits + 1);
        m_previousRun = numZeros;
        m_previousLevelSymbol = levelSymbol;
    }

private:
    // 0, -1, 1, -2, 2 become 0, 1, 2, 3, 4.
    static std::uint32_t unfolded(std::int32_t value) {
        const std::uint32_t doubled = 2 * static_cast<std::uint32_t>(std::abs(value));
        return value < 0 ? doubled - 1 : doubled;
    }

    Sink& m_sink;
    std::int32_t m_previousDCDiff = 3;
    std::uint32_t m_previousRun = 4;
    std::uint32_t m_previousLevelSymbol = 1;
};
