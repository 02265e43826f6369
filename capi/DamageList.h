#pragma once

#include <cstddef>

#include "ravelo.h"

// The array of a host's damage report, which keeps the first of the slices that it is given, in the order of the frame.
// The host says how large an element is: hosts of other versions have shorter or longer ones.
class DamageList {
public:
    // A null report has no room.
    explicit DamageList(const ravelo_damage_report* report);

    // Returns false for a slice for which there is no room.
    bool add(ravelo_damage const& damage);

    // Sorts the slices. Called once, after the last of them.
    void sort();

    std::size_t size() const { return m_size; }

private:
    ravelo_damage at(std::size_t index) const;
    void set(std::size_t index, ravelo_damage const& damage);
    void sink(std::size_t index, std::size_t size, ravelo_damage const& damage);

    unsigned char* m_slices;
    std::size_t m_stride;   // bytes from an element to the next
    std::size_t m_capacity; // elements
    std::size_t m_size = 0;
};
