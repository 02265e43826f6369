#include "SliceLoop.h"

#include <tbb/parallel_for.h>

void forEachSliceGroup(std::uint32_t numRows, std::uint32_t groupsPerRow, SliceGroupBody* body, void const* context) {
    if (numRows == 0 || groupsPerRow == 0)
        return;
    tbb::parallel_for(std::uint32_t{0}, numRows, [=](std::uint32_t row) {
        tbb::parallel_for(std::uint32_t{0}, groupsPerRow, [=](std::uint32_t group) { body(context, row, group); });
    });
}
