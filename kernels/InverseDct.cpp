#include "InverseDct.h"

#include "JumpTable.h"

namespace {

// Serves a call that comes before any variant is chosen: chooses one and enters again.
template <typename Value, int (*entry)(const Value*, Value*)>
int stub(const Value* src, Value* dst) {
    ippSafeInit();
    return entry(src, dst);
}

constexpr auto kInverse8x8Float = jumpTable(stub<float, ippiDCT8x8Inv_32f_C1>, &KernelVariant::inverse8x8Float);
constexpr auto kInverse8x8 = jumpTable(stub<std::int16_t, ippiDCT8x8Inv_A10_16s_C1>, &KernelVariant::inverse8x8);
constexpr auto kInverse8x8To4x4 =
    jumpTable(stub<std::int16_t, ippiDCT8x8To4x4Inv_16s_C1>, &KernelVariant::inverse8x8To4x4);
constexpr auto kInverse8x8To2x2 =
    jumpTable(stub<std::int16_t, ippiDCT8x8To2x2Inv_16s_C1>, &KernelVariant::inverse8x8To2x2);

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
