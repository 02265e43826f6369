#include "RandomComponents.h"

#include "Random.h"

namespace {

std::int32_t randomLevel(Random& random) {
    const std::uint32_t magnitude = 1 + randomBelow(random, 1u << randomBelow(random, 16)) % 32767;
    return randomBelow(random, 2) == 0 ? static_cast<std::int32_t>(magnitude) : -static_cast<std::int32_t>(magnitude);
}

} // namespace

SymbolWriter validComponent(Random& random, std::uint32_t numBlocks) {
    SymbolWriter writer;
    const std::uint32_t dcRange = 1u << randomBelow(random, 16);
    writer.firstDc(static_cast<std::int64_t>(randomBelow(random, 2 * dcRange)) - dcRange);
    for (std::uint32_t block = 1; block < numBlocks; ++block)
        writer.dcDifference(static_cast<std::int64_t>(randomBelow(random, 2 * dcRange)) - dcRange);
    const std::uint32_t longestRun = 1u << randomBelow(random, 12);
    const std::uint32_t levelBits = 1 + randomBelow(random, 16);
    const std::uint32_t stopEarly = randomBelow(random, 3) == 0 ? randomBelow(random, 64 * numBlocks) : 64 * numBlocks;
    for (std::uint32_t position = numBlocks; position < stopEarly;) {
        const std::uint32_t run =
            randomBelow(random, 4) == 0 ? randomBelow(random, longestRun) : randomBelow(random, 3);
        if (position + run >= 64 * numBlocks)
            break;
        const std::int32_t level = randomBelow(random, 16) == 0 ? randomLevel(random) : [&] {
            const auto magnitude = static_cast<std::int32_t>(1 + randomBelow(random, 1u << levelBits) % 32767);
            return randomBelow(random, 2) == 0 ? magnitude : -magnitude;
        }();
        writer.triple(run, level);
        position += run + 1;
    }
    return writer;
}

namespace {

// Symbols of any size in the right order: codes up to the longest prefixes, in books that may or may not fit.
SymbolWriter randomSymbols(Random& random, std::uint32_t numBlocks) {
    SymbolWriter writer = validComponent(random, numBlocks);
    for (std::uint32_t n = randomBelow(random, 12); n > 0; --n) {
        writer.prefix(randomBelow(random, 34));
        writer.bits(random(), randomBelow(random, 33));
    }
    return writer;
}

} // namespace

std::vector<std::uint8_t> randomRange(Random& random, ComponentContent content, std::uint32_t numBlocks) {
    if (content == ComponentContent::RandomBytes || content == ComponentContent::SparseBytes ||
        content == ComponentContent::NearZeros) {
        std::vector<std::uint8_t> bytes(randomBelow(random, 200));
        for (std::uint8_t& byte : bytes) {
            std::uint32_t value = random();
            if (content != ComponentContent::RandomBytes)
                value &= random();
            if (content == ComponentContent::NearZeros)
                value = randomBelow(random, 5) == 0 ? value & random() : 0;
            byte = static_cast<std::uint8_t>(value);
        }
        return bytes;
    }
    SymbolWriter writer = content == ComponentContent::RandomSymbols ? randomSymbols(random, numBlocks)
                                                                     : validComponent(random, numBlocks);
    if (content == ComponentContent::CutSuffix) {
        writer.prefix(8 + randomBelow(random, 21));
        writer.bits(random(), randomBelow(random, 12));
    }
    if (content == ComponentContent::LongTail)
        writer.zeros(randomBelow(random, 71));
    std::vector<std::uint8_t> bytes = writer.bytes();
    if (content == ComponentContent::Truncated && !bytes.empty())
        bytes.resize(randomBelow(random, static_cast<std::uint32_t>(bytes.size())));
    for (std::uint32_t n = content == ComponentContent::Flipped ? 1 + randomBelow(random, 4) : 0;
         n > 0 && !bytes.empty(); --n)
        bytes[randomBelow(random, static_cast<std::uint32_t>(bytes.size()))] ^=
            static_cast<std::uint8_t>(1u << randomBelow(random, 8));
    return bytes;
}
