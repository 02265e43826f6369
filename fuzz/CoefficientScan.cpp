// Coefficient scans of several components at once, against the plain scan and against the slow model. On AVX2 the scan
// in lanes reads them too, with emulated instructions.
//
// The first byte of the input chooses the number of components, what is kept of each block and the target, the second
// the component that the model reads too: the model takes longer than all scans together, and many short executions
// find more than a few long ones.

#include "CoefficientScan.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <vector>

#include "EmulatedLaneScan.h"
#include "FuzzSupport.h"
#include "SlowScan.h"

namespace {

constexpr std::uint32_t kMaxComponents = 12;
constexpr std::uint32_t kKept[4] = {64, 16, 4, 1};

// The scans set every value that they are to set, so the memory needs no values before them.
struct Component {
    std::unique_ptr<ExactCopy> range;
    std::unique_ptr<std::int16_t[]> fast;
    std::unique_ptr<std::int16_t[]> plain;
    std::uint32_t numBlocks = 0;
    std::uint32_t kept = 0;

    std::size_t numValues() const { return std::size_t{numBlocks} * kept; }
    ComponentScan scanInto(std::int16_t* coefficients) const {
        ComponentScan scan;
        scan.range = {range->data(), range->size()};
        scan.coefficients = coefficients;
        scan.numBlocks = numBlocks;
        scan.log2NumBlocks = static_cast<std::uint32_t>(std::countr_zero(numBlocks));
        scan.keptCoefficients = kept;
        scan.dcOnly = kept == 1;
        return scan;
    }
};

struct Request {
    Component components[kMaxComponents];
    std::uint32_t count = 0;
    std::uint32_t modelled = 0;
    OptimizationTarget target = OptimizationTarget::Baseline;
};

Request requestOf(FuzzInput input) {
    Request request;
    const std::uint8_t choices = input.byte();
    request.count = 1 + choices % 16 % kMaxComponents;
    request.target = (choices & 64) != 0 && canRunAvx2() ? OptimizationTarget::AVX2 : OptimizationTarget::Baseline;
    request.modelled = input.below(request.count);
    for (std::uint32_t i = 0; i < request.count; ++i) {
        Component& component = request.components[i];
        component.numBlocks = 2u << input.byte() % 5;
        component.kept = kKept[choices >> 4 & 3];
        // The last component takes the rest, so that long ranges need no long length.
        const std::size_t numBytes = i + 1 == request.count ? input.rest().size() : input.byte();
        component.range = std::make_unique<ExactCopy>(input.bytes(numBytes));
        component.fast = std::make_unique_for_overwrite<std::int16_t[]>(component.numValues() + kScanPadding);
        component.plain = std::make_unique_for_overwrite<std::int16_t[]>(component.numValues());
    }
    return request;
}

// Frequency order, in which the decoder keeps coefficients, against the model's block order.
bool equalsModel(Component const& component, std::vector<std::int16_t> const& model) {
    for (std::uint32_t block = 0; block < component.numBlocks; ++block)
        for (std::uint32_t s = 0; s < component.kept; ++s)
            if (component.plain[s * component.numBlocks + block] != model[block * component.kept + s])
                return false;
    return true;
}

// What a scan of DCs alone returns after a wrapped bit count is left open, and so is not compared.
template <OptimizationTarget target>
bool isOpen(Component const& component) {
    return component.kept == 1 &&
           slowScanCoefficients({component.range->data(), component.range->size()}, component.numBlocks, 1, target)
               .wrapped;
}

template <OptimizationTarget target>
void compareWithPlain(Component const& component, bool fastSucceeds) {
    const bool plainSucceeds = scanComponentPlainly<target>(component.scanInto(component.plain.get()));
    if (fastSucceeds == plainSucceeds &&
        (!plainSucceeds ||
         std::equal(component.plain.get(), component.plain.get() + component.numValues(), component.fast.get())))
        return;
    require(isOpen<target>(component), "the fast scan gives the result of the plain one");
}

template <OptimizationTarget target>
void compareWithModel(Component const& component) {
    const SlowScanResult model = slowScanCoefficients({component.range->data(), component.range->size()},
                                                      component.numBlocks, component.kept, target);
    if (model.wrapped && component.kept == 1)
        return;
    const bool succeeds = scanComponentPlainly<target>(component.scanInto(component.plain.get()));
    require(succeeds == model.ok, "the plain scan succeeds like the model");
    require(!succeeds || equalsModel(component, model.coefficients), "the plain scan's coefficients equal the model's");
}

template <OptimizationTarget target>
void compare(Request const& request) {
    ComponentScan scans[kMaxComponents];
    for (std::uint32_t i = 0; i < request.count; ++i)
        scans[i] = request.components[i].scanInto(request.components[i].fast.get());
    scanComponents<target>(scans, request.count);
    for (std::uint32_t i = 0; i < request.count; ++i)
        compareWithPlain<target>(request.components[i], scans[i].succeeded);
    compareWithModel<target>(request.components[request.modelled]);
}

// The lanes load past the end of a range, so the ranges follow each other in one piece of memory that goes on after
// them.
void compareInLanes(Request const& request, LaneScanFunction* scanInLanes) {
    std::vector<std::uint8_t> bytes;
    std::size_t numValues = 0;
    for (std::uint32_t i = 0; i < request.count; ++i) {
        ExactCopy const& range = *request.components[i].range;
        bytes.insert(bytes.end(), range.data(), range.data() + range.size());
        numValues += request.components[i].numValues() + kScanPadding;
    }
    bytes.insert(bytes.end(), kLaneOverread, std::uint8_t{0xFF});
    std::vector<std::int16_t> values(numValues);
    ComponentScan scans[kMaxComponents];
    ComponentScan* pointers[kMaxComponents];
    std::size_t firstByte = 0;
    std::size_t firstValue = 0;
    for (std::uint32_t i = 0; i < request.count; ++i) {
        Component const& component = request.components[i];
        scans[i] = component.scanInto(values.data() + firstValue);
        scans[i].range.data = bytes.data() + firstByte;
        pointers[i] = &scans[i];
        firstByte += component.range->size();
        firstValue += component.numValues() + kScanPadding;
    }
    scanInLanes({pointers, request.count, scanComponentPlainly<OptimizationTarget::AVX2>,
                 scanPairsPlainly<OptimizationTarget::AVX2>});
    for (std::uint32_t i = 0; i < request.count; ++i) {
        Component const& component = request.components[i];
        std::copy_n(scans[i].coefficients, component.numValues(), component.fast.get());
        compareWithPlain<OptimizationTarget::AVX2>(component, scans[i].succeeded);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Request request = requestOf(FuzzInput(data, size));
    if (request.target == OptimizationTarget::AVX2) {
        compare<OptimizationTarget::AVX2>(request);
        compareInLanes(request, emulatedScanInLanesScattering);
        compareInLanes(request, emulatedScanInLanesStoringSingly);
    } else {
        compare<OptimizationTarget::Baseline>(request);
    }
    return 0;
}
