#include "ScanOrder.h"

#include <cstddef>

namespace {

using ScanOrder = std::array<std::uint8_t, 64>;

constexpr ScanOrder kProgressive = {
    0,  1,  4,  5,  16, 17, 21, 22, //
    2,  3,  6,  7,  18, 20, 23, 28, //
    8,  9,  12, 13, 19, 24, 27, 29, //
    10, 11, 14, 15, 25, 26, 30, 31, //
    32, 33, 37, 38, 45, 46, 53, 54, //
    34, 36, 39, 44, 47, 52, 55, 60, //
    35, 40, 43, 48, 51, 56, 59, 61, //
    41, 42, 49, 50, 57, 58, 62, 63, //
};

constexpr ScanOrder transposed(ScanOrder const& order) {
    ScanOrder result{};
    for (std::size_t row = 0; row < 8; ++row)
        for (std::size_t column = 0; column < 8; ++column)
            result[8 * row + column] = order[8 * column + row];
    return result;
}

constexpr ScanOrder kInterlaced = transposed(kProgressive);

} // namespace

std::array<std::uint8_t, 64> const& scanIndexOfRaster(bool isInterlaced) {
    return isInterlaced ? kInterlaced : kProgressive;
}
