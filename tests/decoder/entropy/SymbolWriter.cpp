#include "SymbolWriter.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace {

// The value that the first escape class starts from, in a form whose bit width identifies the class.
std::uint64_t escaped(TestCodebook const& book, std::uint64_t value) {
    const std::uint64_t firstEscape = std::uint64_t{book.lastRiceQ + 1} << book.riceBits;
    return value - firstEscape + (std::uint64_t{1} << book.expGolombBits);
}

bool isRice(TestCodebook const& book, std::uint64_t value) {
    return value < std::uint64_t{book.lastRiceQ + 1} << book.riceBits;
}

std::uint64_t unfolded(std::int64_t value) {
    return static_cast<std::uint64_t>(value >= 0 ? 2 * value : -2 * value - 1);
}

} // namespace

std::uint32_t prefixOf(TestCodebook const& book, std::uint64_t value) {
    if (isRice(book, value))
        return static_cast<std::uint32_t>(value >> book.riceBits);
    const auto suffixBits = static_cast<std::uint32_t>(std::bit_width(escaped(book, value))) - 1;
    return suffixBits - book.expGolombBits + 1 + book.lastRiceQ;
}

void SymbolWriter::code(TestCodebook const& book, std::uint64_t value) {
    prefix(prefixOf(book, value));
    if (isRice(book, value)) {
        m_bits.put(value, book.riceBits);
        return;
    }
    const std::uint64_t coded = escaped(book, value);
    m_bits.put(coded, static_cast<std::uint32_t>(std::bit_width(coded)) - 1);
}

void SymbolWriter::prefix(std::uint32_t numZeros) {
    m_bits.putZeros(numZeros);
    m_bits.put(1, 1);
}

void SymbolWriter::firstDc(std::int64_t value) {
    code(kFirstDcBook, unfolded(value));
}

void SymbolWriter::dcDifference(std::int64_t value) {
    const std::int64_t relative = m_previousDifference < 0 ? -value : value;
    code(kDcBooks[std::min<std::int64_t>(std::abs(m_previousDifference), 3)], unfolded(relative));
    m_previousDifference = value;
}

void SymbolWriter::run(std::uint32_t value) {
    code(kRunBooks[std::min(m_previousRun, 15u)], value);
    m_previousRun = value;
}

void SymbolWriter::level(std::uint32_t absLevelMinus1) {
    code(kLevelBooks[std::min(m_previousLevel, 8u)], absLevelMinus1);
    m_previousLevel = absLevelMinus1;
}

void SymbolWriter::triple(std::uint32_t runLength, std::int32_t levelWithSign) {
    run(runLength);
    level(static_cast<std::uint32_t>(std::abs(levelWithSign)) - 1);
    sign(levelWithSign < 0 ? 1 : 0);
}

std::vector<std::uint8_t> bytesOfBits(const char* bits) {
    BitWriter writer;
    for (; *bits != 0; ++bits) {
        if (*bits == '0' || *bits == '1')
            writer.put(*bits == '1' ? 1 : 0, 1);
    }
    return writer.bytes();
}
