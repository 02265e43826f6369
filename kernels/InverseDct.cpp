#include "InverseDct.h"

#include "PlainInverseDct.h"

namespace {

constexpr int kStatusOk = 0;
constexpr int kStatusNullPointer = -8;

template <typename Value>
int checkedTransform(void (*transform)(const Value*, Value*), const Value* src, Value* dst) {
    if (src == nullptr || dst == nullptr)
        return kStatusNullPointer;
    transform(src, dst);
    return kStatusOk;
}

} // namespace

int ippiDCT8x8Inv_32f_C1(const float* src, float* dst) {
    return checkedTransform(plain_dct_8x8_inv_32f, src, dst);
}

int ippiDCT8x8Inv_A10_16s_C1(const std::int16_t* src, std::int16_t* dst) {
    return checkedTransform(plain_dct_8x8_inv_a10_16s, src, dst);
}

int ippiDCT8x8To4x4Inv_16s_C1(const std::int16_t* src, std::int16_t* dst) {
    return checkedTransform(plain_dct_8x8To4x4_inv_16s, src, dst);
}

int ippiDCT8x8To2x2Inv_16s_C1(const std::int16_t* src, std::int16_t* dst) {
    return checkedTransform(plain_dct_8x8To2x2_inv_16s, src, dst);
}
