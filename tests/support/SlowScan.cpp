#include "SlowScan.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

const std::uint32_t kSlowProgressivePattern[64] = {
    0,  1,  4,  5,  16, 17, 21, 22, //
    2,  3,  6,  7,  18, 20, 23, 28, //
    8,  9,  12, 13, 19, 24, 27, 29, //
    10, 11, 14, 15, 25, 26, 30, 31, //
    32, 33, 37, 38, 45, 46, 53, 54, //
    34, 36, 39, 44, 47, 52, 55, 60, //
    35, 40, 43, 48, 51, 56, 59, 61, //
    41, 42, 49, 50, 57, 58, 62, 63, //
};

std::uint32_t slowInterlacedPattern(std::uint32_t rasterPosition) {
    return kSlowProgressivePattern[(rasterPosition % 8) * 8 + rasterPosition / 8];
}

namespace {

// One member of the code family: prefixes to lastRiceQ take riceBits of suffix, longer ones escape.
struct Codebook {
    std::uint32_t lastRiceQ;
    std::uint32_t riceBits;
    std::uint32_t expGolombBits;
};

constexpr Codebook kFirstDc = {0, 5, 6};
constexpr Codebook kDcBooks[4] = {{0, 0, 1}, {0, 1, 2}, {1, 2, 3}, {0, 3, 4}};
constexpr Codebook kRunBooks[16] = {{2, 0, 1}, {2, 0, 1}, {1, 0, 1}, {1, 0, 1}, {0, 0, 1}, {1, 1, 2},
                                    {1, 1, 2}, {1, 1, 2}, {1, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 1, 2},
                                    {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 2, 3}};
constexpr Codebook kLevelBooks[9] = {{2, 0, 2}, {1, 0, 1}, {2, 0, 1}, {0, 0, 1}, {0, 1, 2},
                                     {0, 1, 2}, {0, 1, 2}, {0, 1, 2}, {0, 2, 3}};

constexpr std::uint32_t kFailedCode = 0xFFFFFFFFu;

std::uint32_t shiftedLeft(std::uint32_t value, std::uint32_t count) {
    return value << (count % 32);
}

// All values here may be wrapped ones, so sums are taken in unsigned numbers.
std::int32_t asSigned(std::uint32_t value) {
    return static_cast<std::int32_t>(value);
}

class SymbolReader {
public:
    SymbolReader(std::span<const std::uint8_t> range, OptimizationTarget target) : m_bits(range, target) {}

    std::int32_t firstDc() { return fold(code(kFirstDc)); }
    std::int32_t dcDifference();
    std::uint32_t run();
    std::int32_t absLevelMinus1();
    std::uint32_t sign() { return m_bits.getBits(1); }
    bool endOfData() const { return m_bits.onlyZerosRemain(); }
    bool invalidCode() const { return m_invalidCode; }
    bool wrapped() const { return m_bits.wrappedInData(); }

private:
    // The count of zeros before the first one bit, with the limit of the target; false when the limit is reached.
    bool prefix(std::uint32_t& q);
    std::uint32_t code(Codebook const& book);
    static std::int32_t fold(std::uint32_t value);

    SlowBitReader m_bits;
    std::int32_t m_previousDcDifference = 3;
    std::uint32_t m_previousRun = 4;
    std::int32_t m_previousLevelSymbol = 1;
    bool m_invalidCode = false;
};

bool SymbolReader::prefix(std::uint32_t& q) {
    if (m_bits.target() == OptimizationTarget::AVX2) {
        q = static_cast<std::uint32_t>(std::countl_zero(m_bits.peekBits32()));
        if (q >= 30)
            return false;
        m_bits.getBits(q + 1);
        return true;
    }
    q = 0;
    while (m_bits.getBits(1) == 0) {
        ++q;
        if (q == 31)
            return false;
    }
    return true;
}

std::uint32_t SymbolReader::code(Codebook const& book) {
    std::uint32_t q = 0;
    if (!prefix(q)) {
        m_invalidCode = true;
        return kFailedCode;
    }
    if (q <= book.lastRiceQ)
        return shiftedLeft(q, book.riceBits) + m_bits.getBits(book.riceBits);
    const std::uint32_t n = book.expGolombBits + (q - book.lastRiceQ) - 1;
    const std::uint32_t suffix = m_bits.getBits(n);
    return (shiftedLeft(1, n) | suffix) - shiftedLeft(1, book.expGolombBits) +
           shiftedLeft(book.lastRiceQ + 1, book.riceBits);
}

// 0, 1, 2, 3, 4 become 0, -1, 1, -2, 2, and the value of a failed code becomes 0.
std::int32_t SymbolReader::fold(std::uint32_t value) {
    if (value % 2 == 0)
        return asSigned(value) / 2;
    return -(asSigned(value + 1) / 2);
}

std::int32_t SymbolReader::dcDifference() {
    const std::int32_t index = std::min(std::abs(m_previousDcDifference), 3);
    std::int32_t difference = fold(code(kDcBooks[index]));
    if (m_previousDcDifference < 0)
        difference = -difference;
    m_previousDcDifference = difference;
    return difference;
}

std::uint32_t SymbolReader::run() {
    m_previousRun = code(kRunBooks[std::min(m_previousRun, 15u)]);
    return m_previousRun;
}

std::int32_t SymbolReader::absLevelMinus1() {
    m_previousLevelSymbol = asSigned(code(kLevelBooks[std::clamp(m_previousLevelSymbol, 0, 8)]));
    return m_previousLevelSymbol;
}

std::int16_t low16(std::uint32_t value) {
    return static_cast<std::int16_t>(value & 0xFFFF);
}

void scanDcs(SymbolReader& symbols, std::uint32_t numBlocks, std::uint32_t kept, std::vector<std::int16_t>& out) {
    std::uint32_t sum = static_cast<std::uint32_t>(symbols.firstDc());
    if (kept != 0)
        out[0] = low16(sum);
    for (std::uint32_t block = 1; block < numBlocks; ++block) {
        sum += static_cast<std::uint32_t>(symbols.dcDifference());
        if (kept != 0)
            out[std::size_t{block} * kept] = low16(sum);
    }
}

// False if a position is after the last one.
bool scanAcs(SymbolReader& symbols, std::uint32_t numBlocks, std::uint32_t kept, std::vector<std::int16_t>& out) {
    std::uint64_t position = numBlocks;
    while (!symbols.endOfData()) {
        position += symbols.run();
        if (position >= std::uint64_t{numBlocks} * 64)
            return false;
        const std::uint64_t scanIndex = position / numBlocks;
        const std::uint64_t block = position % numBlocks;
        const std::uint32_t magnitude = static_cast<std::uint32_t>(symbols.absLevelMinus1()) + 1;
        const std::uint32_t level = symbols.sign() != 0 ? 0u - magnitude : magnitude;
        if (scanIndex < kept)
            out[block * kept + scanIndex] = low16(level);
        ++position;
    }
    return true;
}

std::uint32_t alphaDifference(SlowBitReader& bits, std::uint32_t alphaBits, bool& isModulo) {
    isModulo = bits.getBits(1) != 0;
    if (isModulo)
        return bits.getBits(alphaBits);
    const std::uint32_t v = bits.getBits(alphaBits == 16 ? 7 : 4);
    const std::uint32_t magnitude = v / 2 + 1;
    return v % 2 != 0 ? 0u - magnitude : magnitude;
}

std::uint32_t alphaRun(SlowBitReader& bits) {
    if (bits.getBits(1) != 0)
        return 1;
    const std::uint32_t shortRun = bits.getBits(4);
    if (shortRun != 0)
        return shortRun + 1;
    return bits.getBits(11) + 1;
}

} // namespace

SlowScanResult slowScanCoefficients(std::span<const std::uint8_t> range, std::uint32_t numBlocks,
                                    std::uint32_t keptCoefficients, OptimizationTarget target) {
    SymbolReader symbols(range, target);
    SlowScanResult result;
    result.coefficients.assign(std::size_t{numBlocks} * keptCoefficients, 0);
    scanDcs(symbols, numBlocks, keptCoefficients, result.coefficients);
    bool positionsHold = true;
    if (keptCoefficients > 1)
        positionsHold = scanAcs(symbols, numBlocks, keptCoefficients, result.coefficients);
    result.ok = positionsHold && !symbols.invalidCode();
    result.wrapped = symbols.wrapped();
    return result;
}

SlowAlphaResult slowScanAlpha(std::span<const std::uint8_t> range, std::uint32_t numSamples, std::uint32_t alphaBits,
                              OptimizationTarget target) {
    SlowBitReader bits(range, target);
    const std::uint32_t mask = alphaBits == 8 ? 0xFFu : 0xFFFFu;
    SlowAlphaResult result;
    std::uint32_t value = 0xFFFFFFFFu;
    do {
        bool isModulo = false;
        value += alphaDifference(bits, alphaBits, isModulo);
        if (isModulo)
            value &= mask;
        const std::uint32_t run = alphaRun(bits);
        for (std::uint32_t i = 0; i < run && result.samples.size() < numSamples; ++i)
            result.samples.push_back(static_cast<std::uint16_t>(value & 0xFFFF));
        result.wrapped = result.wrapped || bits.wrappedInData();
    } while (result.samples.size() < numSamples);
    return result;
}
