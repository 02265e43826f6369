#include "NaiveReader.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

std::string bitsOf(std::span<const std::uint8_t> bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes)
        for (int bit = 7; bit >= 0; --bit)
            text += (byte >> bit) % 2 != 0 ? '1' : '0';
    return text;
}

NaiveBits::NaiveBits(std::span<const std::uint8_t> bytes) {
    for (const char bit : bitsOf(bytes))
        m_bits.push_back(bit == '1');
}

std::uint64_t NaiveBits::take(std::uint32_t numBits) {
    std::uint64_t value = 0;
    for (; numBits > 0; --numBits)
        value = 2 * value + (m_bits.at(m_position++) ? 1 : 0);
    return value;
}

bool NaiveBits::onlyZerosLeft() const {
    return std::find(m_bits.begin() + static_cast<std::ptrdiff_t>(m_position), m_bits.end(), true) == m_bits.end();
}

NaiveValue readCode(NaiveBits& bits, NaiveCode const& code) {
    NaiveValue result;
    while (bits.take(1) == 0)
        ++result.prefix;
    const std::uint64_t one = 1;
    if (result.prefix <= code.lastRiceQ) {
        result.value = (std::uint64_t{result.prefix} << code.riceBits) + bits.take(code.riceBits);
        return result;
    }
    const std::uint32_t n = code.expGolombBits + (result.prefix - code.lastRiceQ) - 1;
    result.value =
        (one << n) + bits.take(n) - (one << code.expGolombBits) + (std::uint64_t{code.lastRiceQ + 1} << code.riceBits);
    return result;
}

namespace {

std::int64_t folded(std::uint64_t value) {
    const std::int64_t v = static_cast<std::int64_t>(value);
    return v % 2 == 0 ? v / 2 : -((v + 1) / 2);
}

NaiveCode dcCode(std::int64_t previousDifference) {
    switch (std::abs(previousDifference)) {
    case 0:
        return {0, 0, 1};
    case 1:
        return {0, 1, 2};
    case 2:
        return {1, 2, 3};
    default:
        return {0, 3, 4};
    }
}

NaiveCode runCode(std::uint64_t previousRun) {
    if (previousRun < 2)
        return {2, 0, 1};
    if (previousRun < 4)
        return {1, 0, 1};
    if (previousRun == 4)
        return {0, 0, 1};
    if (previousRun < 9)
        return {1, 1, 2};
    if (previousRun < 15)
        return {0, 1, 2};
    return {0, 2, 3};
}

NaiveCode levelCode(std::uint64_t previousSymbol) {
    switch (previousSymbol) {
    case 0:
        return {2, 0, 2};
    case 1:
        return {1, 0, 1};
    case 2:
        return {2, 0, 1};
    case 3:
        return {0, 0, 1};
    case 4:
    case 5:
    case 6:
    case 7:
        return {0, 1, 2};
    default:
        return {0, 2, 3};
    }
}

std::int16_t low16(std::int64_t value) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(static_cast<std::uint64_t>(value) & 0xFFFF));
}

class ComponentReader {
public:
    ComponentReader(std::span<const std::uint8_t> range, std::uint32_t numBlocks)
        : m_bits(range), m_numBlocks(numBlocks) {
        m_result.coefficients.resize(std::size_t{numBlocks} * 64);
    }

    NaiveComponent read() {
        readDcs();
        readAcs();
        m_result.tailBits = m_bits.left();
        return m_result;
    }

private:
    std::uint64_t code(NaiveCode const& code) {
        const NaiveValue value = readCode(m_bits, code);
        m_result.longestPrefix = std::max(m_result.longestPrefix, value.prefix);
        return value.value;
    }

    void readDcs() {
        std::int64_t dc = folded(code({0, 5, 6}));
        std::int64_t difference = 3;
        m_result.coefficients[0] = low16(dc);
        for (std::size_t block = 1; block < m_numBlocks; ++block) {
            const std::int64_t relative = folded(code(dcCode(difference)));
            difference = difference < 0 ? -relative : relative;
            dc += difference;
            m_result.coefficients[block * 64] = low16(dc);
        }
    }

    void readAcs() {
        std::uint64_t position = m_numBlocks;
        std::uint64_t run = 4;
        std::uint64_t symbol = 1;
        while (m_bits.left() > 64 || !m_bits.onlyZerosLeft()) {
            run = code(runCode(run));
            position += run;
            if (position >= std::uint64_t{m_numBlocks} * 64)
                throw std::runtime_error("a run leads past the last position");
            symbol = code(levelCode(symbol));
            const bool isNegative = m_bits.take(1) != 0;
            const std::int64_t level = static_cast<std::int64_t>(symbol) + 1;
            m_result.coefficients[position % m_numBlocks * 64 + position / m_numBlocks] =
                low16(isNegative ? -level : level);
            ++position;
        }
    }

    NaiveBits m_bits;
    std::uint32_t m_numBlocks;
    NaiveComponent m_result;
};

} // namespace

NaiveComponent readComponent(std::span<const std::uint8_t> range, std::uint32_t numBlocks) {
    return ComponentReader(range, numBlocks).read();
}

std::vector<NaiveAlphaRun> readAlphaRuns(std::span<const std::uint8_t> range, std::uint32_t alphaBits,
                                         std::size_t numSamples) {
    NaiveBits bits(range);
    std::vector<NaiveAlphaRun> runs;
    std::int64_t value = -1;
    for (std::size_t position = 0; position < numSamples; position += runs.back().length) {
        NaiveAlphaRun& run = runs.emplace_back();
        run.longDifference = bits.take(1) != 0;
        if (run.longDifference) {
            const std::int64_t modulus = std::int64_t{1} << alphaBits;
            value = (value + static_cast<std::int64_t>(bits.take(alphaBits)) + modulus) % modulus;
        } else {
            const std::int64_t magnitude = static_cast<std::int64_t>(bits.take(alphaBits == 8 ? 3 : 6)) + 1;
            value += bits.take(1) != 0 ? -magnitude : magnitude;
        }
        run.value = static_cast<std::uint16_t>(value & 0xFFFF);
        run.length = 1;
        run.lengthBits = 1;
        if (bits.take(1) == 0) {
            run.length = static_cast<std::uint32_t>(bits.take(4)) + 1;
            run.lengthBits = 5;
            if (run.length == 1) {
                run.length = static_cast<std::uint32_t>(bits.take(11)) + 1;
                run.lengthBits = 16;
            }
        }
    }
    return runs;
}

std::vector<std::uint16_t> samplesOf(std::vector<NaiveAlphaRun> const& runs) {
    std::vector<std::uint16_t> samples;
    for (NaiveAlphaRun const& run : runs)
        samples.insert(samples.end(), run.length, run.value);
    return samples;
}
