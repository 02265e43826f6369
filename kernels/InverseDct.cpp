#include "InverseDct.h"

#include "JumpTable.h"
#include "KernelVariants.h"

namespace {

using FloatTransform = int(const float* src, float* dst);
using FixedPointTransform = int(const std::int16_t* src, std::int16_t* dst);

// Serves a call that comes before any variant is chosen: chooses one and enters again.
template <typename Value, int (*entry)(const Value*, Value*)>
int stub(const Value* src, Value* dst) {
    ippSafeInit();
    return entry(src, dst);
}

constexpr JumpTable<FloatTransform> kInverse8x8Float = {{
    stub<float, ippiDCT8x8Inv_32f_C1>,
    y8_ippiDCT8x8Inv_32f_C1,
    e9_ippiDCT8x8Inv_32f_C1,
    l9_ippiDCT8x8Inv_32f_C1,
    k0_ippiDCT8x8Inv_32f_C1,
}};

constexpr JumpTable<FixedPointTransform> kInverse8x8 = {{
    stub<std::int16_t, ippiDCT8x8Inv_A10_16s_C1>,
    y8_ippiDCT8x8Inv_A10_16s_C1,
    e9_ippiDCT8x8Inv_A10_16s_C1,
    l9_ippiDCT8x8Inv_A10_16s_C1,
    k0_ippiDCT8x8Inv_A10_16s_C1,
}};

constexpr JumpTable<FixedPointTransform> kInverse8x8To4x4 = {{
    stub<std::int16_t, ippiDCT8x8To4x4Inv_16s_C1>,
    y8_ippiDCT8x8To4x4Inv_16s_C1,
    e9_ippiDCT8x8To4x4Inv_16s_C1,
    l9_ippiDCT8x8To4x4Inv_16s_C1,
    k0_ippiDCT8x8To4x4Inv_16s_C1,
}};

constexpr JumpTable<FixedPointTransform> kInverse8x8To2x2 = {{
    stub<std::int16_t, ippiDCT8x8To2x2Inv_16s_C1>,
    y8_ippiDCT8x8To2x2Inv_16s_C1,
    e9_ippiDCT8x8To2x2Inv_16s_C1,
    l9_ippiDCT8x8To2x2Inv_16s_C1,
    k0_ippiDCT8x8To2x2Inv_16s_C1,
}};

} // namespace

int ippiDCT8x8Inv_32f_C1(const float* src, float* dst) {
    return kInverse8x8Float.current()(src, dst);
}

int ippiDCT8x8Inv_A10_16s_C1(const std::int16_t* src, std::int16_t* dst) {
    return kInverse8x8.current()(src, dst);
}

int ippiDCT8x8To4x4Inv_16s_C1(const std::int16_t* src, std::int16_t* dst) {
    return kInverse8x8To4x4.current()(src, dst);
}

int ippiDCT8x8To2x2Inv_16s_C1(const std::int16_t* src, std::int16_t* dst) {
    return kInverse8x8To2x2.current()(src, dst);
}
