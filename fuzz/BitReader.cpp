// The bit reader against the slow model's, read by read, until a read wraps the bit count and its results mean nothing.

#include <cstdint>

#include "FuzzSupport.h"
#include "SlowBitReader.h"
#include "VLCStream_Impl.h"

namespace {

template <OptimizationTarget target>
class OpenStream : public VLCStream<target> {
public:
    using VLCStream<target>::VLCStream;
    using VLCStream<target>::peekBits32;
};

template <OptimizationTarget target>
void compare(FuzzInput input) {
    const std::size_t rangeBytes = input.below(64);
    const ExactCopy range(input.bytes(rangeBytes));
    OpenStream<target> stream(Bitstream{range.data(), range.size()});
    SlowBitReader slow({range.data(), range.size()}, target);
    // Reads after the range give only zeros.
    for (int i = 0; i < 400; ++i) {
        const std::uint32_t request = input.byte();
        if (request >= 0xE0)
            require(stream.peekBits32() == slow.peekBits32(), "peekBits32");
        const std::uint32_t n = request % 36;
        const std::uint32_t expected = slow.getBits(n);
        const std::uint32_t value = stream.getBits(n);
        if (slow.wrappedInData())
            return;
        require(value == expected, "getBits");
        require(stream.readPastEnd() == slow.readPastEnd(), "readPastEnd");
        if (input.empty())
            return;
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    compare<OptimizationTarget::Baseline>(FuzzInput(data, size));
    // The reader is a template without vector code: instances in this unit serve both targets.
    compare<OptimizationTarget::AVX2>(FuzzInput(data, size));
    return 0;
}
