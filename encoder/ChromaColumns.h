#pragma once

#include <cstdint>
#include <functional>
#include <vector>

// Chroma of 4:4:4 and of 4:2:2. Samples of 4:2:2 belong to the even columns. `beforeLine` is called before each line;
// an exception of it ends the conversion.

// One plane of 4:4:4 with half the columns, each weighted 1:2:1 with its neighbours.
std::vector<std::uint16_t> halfColumns(
    std::vector<std::uint16_t> const& plane, std::uint32_t width, std::uint32_t height,
    std::function<void()> const& beforeLine = [] {});

// One plane of 4:2:2 with all columns: an odd column is the mean of its neighbours.
std::vector<std::uint16_t> allColumns(
    std::vector<std::uint16_t> const& plane, std::uint32_t width, std::uint32_t height,
    std::function<void()> const& beforeLine = [] {});
