#include "HostileRequest.h"

#include <sstream>

#include "RaveloDecoderInterface.h"

namespace {} // namespace

std::string HostileRequest::describe() const {
    const char* const strides[3] = {"least", "safe", "wide"};
    std::ostringstream text;
    text << (target == OptimizationTarget::AVX2 ? "AVX2" : "Baseline") << " reduction " << downSampleFactor
         << " coding " << colorCoding << " depth " << bitDepth << " stride " << (strideIsNegative ? "-" : "")
         << strides[static_cast<int>(stride)] << " input at " << (inputAtEnd ? "end" : "start") << " output at "
         << (outputAtEnd ? "end" : "start") << (inParallel ? " in parallel" : "");
    return text.str();
}

HostileRequest requestOf(std::uint64_t number) {
    const auto take = [&number](std::uint64_t count) {
        const std::uint64_t taken = number % count;
        number /= count;
        return static_cast<std::uint32_t>(taken);
    };
    HostileRequest request;
    request.target = take(2) == 1 && RaveloDecoderInterface::GetMaxOptType() == 1 ? OptimizationTarget::AVX2
                                                                                  : OptimizationTarget::Baseline;
    request.downSampleFactor = take(4);
    request.bitDepth = kBitDepths[take(4)];
    // The value 3 represents those that select RGB output without levels.
    request.colorCoding = take(4);
    request.strideIsNegative = take(2) == 1;
    request.stride = static_cast<HostileRequest::Stride>(take(3));
    request.inputAtEnd = take(2) == 1;
    request.outputAtEnd = take(2) == 1;
    request.inParallel = take(16) == 0;
    request.asksForRgbOf422 = take(8) == 0;
    return request;
}

std::uint64_t mixed(std::uint64_t a, std::uint64_t b, std::uint64_t c) {
    std::uint64_t x = a * 0x9E3779B97F4A7C15u ^ b * 0xC2B2AE3D27D4EB4Fu ^ c * 0x165667B19E3779F9u;
    x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9u;
    x = (x ^ x >> 27) * 0x94D049BB133111EBu;
    return x ^ x >> 31;
}
