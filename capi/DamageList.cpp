#include "DamageList.h"

#include <algorithm>
#include <cstring>
#include <tuple>

#include "StructureSizes.h"

namespace {

bool isBefore(ravelo_damage const& a, ravelo_damage const& b) {
    return std::tie(a.picture, a.row, a.column) < std::tie(b.picture, b.row, b.column);
}

std::size_t strideOf(const ravelo_damage_report* report) {
    return report == nullptr || report->slice_size == 0 ? kFirstSize<ravelo_damage> : report->slice_size;
}

} // namespace

DamageList::DamageList(const ravelo_damage_report* report)
    : m_slices(report == nullptr ? nullptr : reinterpret_cast<unsigned char*>(report->slices)),
      m_stride(strideOf(report)),
      m_capacity(report == nullptr ? 0 : report->capacity) {}

ravelo_damage DamageList::at(std::size_t index) const {
    ravelo_damage damage{};
    std::memcpy(&damage, m_slices + index * m_stride, std::min(m_stride, sizeof damage));
    return damage;
}

void DamageList::set(std::size_t index, ravelo_damage const& damage) {
    unsigned char* const to = m_slices + index * m_stride;
    const std::size_t known = std::min(m_stride, sizeof damage);
    std::memcpy(to, &damage, known);
    std::memset(to + known, 0, m_stride - known);
}

// While slices are decoded the array is a heap with the last slice of the frame on top, which is replaced when an
// earlier one needs its place. So the report does not depend on the order in which threads find damage.
bool DamageList::add(ravelo_damage const& damage) {
    if (m_size == m_capacity) {
        if (m_capacity == 0 || !isBefore(damage, at(0)))
            return false;
        sink(0, m_size, damage);
        return true;
    }
    std::size_t place = m_size++;
    while (place != 0) {
        const std::size_t parent = (place - 1) / 2;
        const ravelo_damage above = at(parent);
        if (!isBefore(above, damage))
            break;
        set(place, above);
        place = parent;
    }
    set(place, damage);
    return true;
}

// Puts `damage` into the heap of the first `size` elements in place of the one at `index`.
void DamageList::sink(std::size_t index, std::size_t size, ravelo_damage const& damage) {
    for (std::size_t child = 2 * index + 1; child < size; child = 2 * index + 1) {
        if (child + 1 < size && isBefore(at(child), at(child + 1)))
            ++child;
        const ravelo_damage below = at(child);
        if (!isBefore(damage, below))
            break;
        set(index, below);
        index = child;
    }
    set(index, damage);
}

void DamageList::sort() {
    for (std::size_t size = m_size; size > 1; --size) {
        const ravelo_damage moved = at(size - 1);
        set(size - 1, at(0));
        sink(0, size - 1, moved);
    }
}
