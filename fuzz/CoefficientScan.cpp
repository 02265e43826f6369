// Coefficient scans of several components at once, against the plain scan and against the slow model, on both targets.

#include "CoefficientScan.h"

#include <algorithm>
#include <bit>
#include <vector>

#include "FuzzSupport.h"
#include "SlowScan.h"

namespace {

constexpr std::uint32_t kMaxComponents = 12;
constexpr std::uint32_t kKept[4] = {64, 16, 4, 1};

struct Component {
    ExactCopy range;
    std::vector<std::int16_t> fast;
    std::vector<std::int16_t> plain;
    std::uint32_t numBlocks;
    std::uint32_t kept;

    ComponentScan scanInto(std::vector<std::int16_t>& coefficients) const {
        ComponentScan scan;
        scan.range = {range.data(), range.size()};
        scan.coefficients = coefficients.data();
        scan.numBlocks = numBlocks;
        scan.log2NumBlocks = static_cast<std::uint32_t>(std::countr_zero(numBlocks));
        scan.keptCoefficients = kept;
        scan.dcOnly = kept == 1;
        return scan;
    }
};

std::vector<Component> componentsOf(FuzzInput& input) {
    std::vector<Component> components;
    const std::uint32_t count = 1 + input.below(kMaxComponents);
    const std::uint32_t kept = kKept[input.byte() & 3];
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t numBlocks = 2u << input.byte() % 5;
        // The last component takes the rest, so that long ranges need no long length.
        const std::size_t numBytes = i + 1 == count ? input.rest().size() : input.byte();
        components.push_back(Component{ExactCopy(input.bytes(numBytes)),
                                       std::vector<std::int16_t>(numBlocks * kept + kScanPadding),
                                       std::vector<std::int16_t>(numBlocks * kept + kScanPadding), numBlocks, kept});
    }
    return components;
}

bool sameCoefficients(Component const& component) {
    return std::equal(component.fast.begin(), component.fast.begin() + component.numBlocks * component.kept,
                      component.plain.begin());
}

// Frequency order, in which the decoder keeps coefficients, against the model's block order.
bool equalsModel(Component const& component, std::vector<std::int16_t> const& model) {
    for (std::uint32_t block = 0; block < component.numBlocks; ++block)
        for (std::uint32_t s = 0; s < component.kept; ++s)
            if (component.plain[s * component.numBlocks + block] != model[block * component.kept + s])
                return false;
    return true;
}

template <OptimizationTarget target>
void compare(FuzzInput input) {
    std::vector<Component> components = componentsOf(input);
    std::vector<ComponentScan> scans;
    for (Component& component : components)
        scans.push_back(component.scanInto(component.fast));
    scanComponents<target>(scans.data(), static_cast<unsigned int>(scans.size()));
    for (std::size_t i = 0; i < components.size(); ++i) {
        Component& component = components[i];
        const SlowScanResult model = slowScanCoefficients({component.range.data(), component.range.size()},
                                                          component.numBlocks, component.kept, target);
        // What a scan of DCs alone returns behind a wrapped bit count is left open.
        if (model.wrapped && component.kept == 1)
            continue;
        const bool plainSucceeds = scanComponentPlainly<target>(component.scanInto(component.plain));
        require(plainSucceeds == model.ok, "the plain scan succeeds like the model");
        require(scans[i].succeeded == plainSucceeds, "the fast scan succeeds like the plain one");
        if (!plainSucceeds)
            continue;
        require(equalsModel(component, model.coefficients), "the plain scan's coefficients equal the model's");
        require(sameCoefficients(component), "the fast scan's coefficients equal the plain one's");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    compare<OptimizationTarget::Baseline>(FuzzInput(data, size));
    if (canRunAvx2())
        compare<OptimizationTarget::AVX2>(FuzzInput(data, size));
    return 0;
}
