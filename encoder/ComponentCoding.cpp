#include "ComponentCoding.h"

#include <bit>
#include <cstring>

#include "CoeffVLCWriter.h"
#include "VLCWriter.h"

namespace {

// The first position from `position` on that holds something other than zero, or the end. Most positions of a picture
// hold zero, so four are looked at together.
std::size_t nextNonZero(std::span<const std::int16_t> values, std::size_t position) {
    for (; position + 4 <= values.size(); position += 4) {
        std::uint64_t four = 0;
        std::memcpy(&four, values.data() + position, sizeof four);
        if (four != 0)
            return position + static_cast<std::size_t>(std::countr_zero(four)) / 16;
    }
    while (position < values.size() && values[position] == 0)
        ++position;
    return position;
}

template <class Sink>
void putComponent(Sink& sink, std::span<const std::int16_t> values, std::uint32_t numBlocks) {
    CoeffVLCWriter<Sink> writer(sink);
    writer.first_dc_coeff(values[0]);
    for (std::uint32_t block = 1; block < numBlocks; ++block)
        writer.dc_coeff_difference(std::int32_t{values[block]} - values[block - 1]);
    std::size_t nextPosition = numBlocks;
    for (;;) {
        const std::size_t position = nextNonZero(values, nextPosition);
        if (position == values.size())
            return;
        writer.coefficient(static_cast<std::uint32_t>(position - nextPosition), values[position]);
        nextPosition = position + 1;
    }
}

} // namespace

std::vector<std::int16_t> streamOrderOf(std::span<const std::int16_t> blockOrder) {
    const std::size_t numBlocks = blockOrder.size() / 64;
    std::vector<std::int16_t> streamOrder(blockOrder.size());
    for (std::size_t block = 0; block < numBlocks; ++block)
        for (std::size_t scanIndex = 0; scanIndex < 64; ++scanIndex)
            streamOrder[scanIndex * numBlocks + block] = blockOrder[block * 64 + scanIndex];
    return streamOrder;
}

std::vector<std::uint8_t> codedComponent(std::span<const std::int16_t> streamOrder, std::uint32_t numBlocks) {
    VLCWriter bits;
    putComponent(bits, streamOrder, numBlocks);
    return bits.takeBytes();
}

std::uint32_t codedComponentSize(std::span<const std::int16_t> streamOrder, std::uint32_t numBlocks) {
    VLCCounter bits;
    putComponent(bits, streamOrder, numBlocks);
    return static_cast<std::uint32_t>((bits.numBits() + 7) / 8);
}
