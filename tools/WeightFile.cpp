#include "WeightFile.h"

#include <algorithm>
#include <string>
#include <string_view>
#include <vector>

#include "CommandError.h"
#include "InputFile.h"
#include "ParsedNumber.h"
#include "Printable.h"

namespace {

// Far more than 64 numbers take.
constexpr std::uint64_t kMaxWeightFileBytes = 4096;
constexpr std::string_view kSeparators = " \t\r\n,";

} // namespace

WeightMatrix readWeights(std::string const& path) {
    const std::vector<std::uint8_t> bytes = readFile(path, kMaxWeightFileBytes);
    const std::string content(bytes.begin(), bytes.end());
    WeightMatrix weights{};
    std::size_t count = 0;
    for (std::size_t start = content.find_first_not_of(kSeparators); start != std::string::npos; ++count) {
        const std::size_t end = std::min(content.find_first_of(kSeparators, start), content.size());
        const std::string text = content.substr(start, end - start);
        const std::uint32_t weight = parsedNumber<std::uint32_t>(text).value_or(0);
        if (weight < 1 || weight > 255)
            throw failure("{}: weight {} is {}; it can be 1 to 255", path, count + 1, printable(text.substr(0, 20)));
        if (count < weights.size())
            weights[count] = static_cast<std::uint8_t>(weight);
        start = content.find_first_not_of(kSeparators, end);
    }
    if (count != weights.size())
        throw failure("{} contains {} weights; a matrix has {}", path, count, weights.size());
    return weights;
}
