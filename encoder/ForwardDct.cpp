#include "ForwardDct.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace {

using Basis = std::array<std::array<float, 8>, 8>;

// Row u holds the basis function of frequency u.
Basis basisByFrequency() {
    Basis basis{};
    for (std::size_t u = 0; u < 8; ++u) {
        const double scale = u == 0 ? std::sqrt(0.125) : 0.5;
        for (std::size_t x = 0; x < 8; ++x) {
            const double angle = static_cast<double>((2 * x + 1) * u) * std::numbers::pi / 16;
            basis[u][x] = static_cast<float>(scale * std::cos(angle));
        }
    }
    return basis;
}

Basis transposed(Basis const& basis) {
    Basis result{};
    for (std::size_t i = 0; i < 8; ++i)
        for (std::size_t j = 0; j < 8; ++j)
            result[j][i] = basis[i][j];
    return result;
}

// One row of a product of matrices: the rows of `rows`, each times its weight, added up. The inner loop runs along a
// row in both passes below, so the compiler keeps a whole row in vector registers.
inline void weightedRows(float const* weights, float const* rows, float* out) {
    float sum[8] = {};
    for (std::size_t k = 0; k < 8; ++k)
        for (std::size_t x = 0; x < 8; ++x)
            sum[x] += weights[k] * rows[8 * k + x];
    for (std::size_t x = 0; x < 8; ++x)
        out[x] = sum[x];
}

} // namespace

void forwardDct8x8(float const* samples, float* coefficients) {
    static const Basis s_byFrequency = basisByFrequency();
    static const Basis s_bySample = transposed(s_byFrequency);
    float columnsDone[64];
    for (std::size_t u = 0; u < 8; ++u)
        weightedRows(s_byFrequency[u].data(), samples, columnsDone + 8 * u);
    for (std::size_t u = 0; u < 8; ++u)
        weightedRows(columnsDone + 8 * u, s_bySample[0].data(), coefficients + 8 * u);
}
