#pragma once

#include <atomic>
#include <cstdint>

#include "KernelVariants.h"
#include "ProcessorDispatch.h"

// The forms of one entry by variant index. The slot before index 0 holds a stub that selects a variant and enters
// again, so that an entry works before static initialisation is over.
template <typename Function>
struct JumpTable {
    Function* slots[1 + kNumVariants]; // for the indices from -1 up

    // The form for the present index: one load and an indirect jump. The load is relaxed, since the tables never
    // change.
    Function* current() const {
        return slots[std::atomic_ref<std::int32_t>(ippJumpIndexForMergedLibs).load(std::memory_order_relaxed) + 1];
    }
};

// The table of one kernel: `stub`, then the kernel of each variant.
template <typename Function>
constexpr JumpTable<Function> jumpTable(Function* stub, Function* KernelVariant::*kernel) {
    JumpTable<Function> table = {{stub}};
    for (KernelVariant const& variant : kKernelVariants)
        table.slots[1 + variant.index] = variant.*kernel;
    return table;
}
