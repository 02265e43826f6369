// Any text as a list of numbers and as the name of a sequence, against a plain reading of the same grammar.

#include "Sequence.h"

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "CommandError.h"
#include "FuzzInput.h"

namespace {

// Longer lists are slow; the tests of the command cover them.
constexpr std::uint64_t kMaxNumbers = 20'000;

struct PlainList {
    bool isValid = true;
    bool isLong = false;
    std::vector<std::uint64_t> numbers;
};

bool takeNumber(std::string const& text, std::size_t& at, std::uint64_t& number) {
    const std::size_t start = at;
    number = 0;
    while (at < text.size() && text[at] >= '0' && text[at] <= '9' && at - start < 19)
        number = 10 * number + static_cast<std::uint64_t>(text[at++] - '0');
    return at > start && at - start <= 18;
}

// FIRST, FIRST-LAST or FIRST-LASTxSTEP up to a comma or the end.
bool takeRange(std::string const& text, std::size_t& at, PlainList& list) {
    std::uint64_t first = 0;
    std::uint64_t step = 1;
    if (!takeNumber(text, at, first))
        return false;
    std::uint64_t last = first;
    if (at < text.size() && text[at] == '-') {
        if (!takeNumber(text, ++at, last))
            return false;
        if (at < text.size() && text[at] == 'x' && !takeNumber(text, ++at, step))
            return false;
    }
    if (last < first || step == 0 || (at < text.size() && text[at] != ','))
        return false;
    if ((last - first) / step >= kMaxNumbers || list.numbers.size() >= kMaxNumbers) {
        list.isLong = true;
        return true;
    }
    for (std::uint64_t i = 0; i <= (last - first) / step; ++i)
        list.numbers.push_back(first + i * step);
    return true;
}

PlainList plainList(std::string const& text) {
    PlainList list;
    for (std::size_t at = 0; at <= text.size(); ++at) {
        list.isValid = takeRange(text, at, list);
        if (!list.isValid || list.isLong)
            break;
    }
    return list;
}

void compareLists(std::string const& text) {
    const PlainList expected = plainList(text);
    if (expected.isLong)
        return;
    try {
        require(parseNumberList(text) == expected.numbers && expected.isValid, "a list has the numbers that it names");
    } catch (CommandError const& error) {
        require(!expected.isValid, "only a wrong list is refused");
        require(error.exitCode() == ExitCode::Usage, "a wrong list is a wrong command line");
    }
}

// The digits of the longest list before the place of the number must be few enough to be worth it here.
bool mayBeLong(std::string const& name) {
    std::size_t numDigits = 0;
    for (const char letter : name) {
        numDigits = letter >= '0' && letter <= '9' ? numDigits + 1 : 0;
        if (numDigits > 4)
            return true;
    }
    return false;
}

void lookAtPattern(std::string const& name, std::uint64_t number) {
    if (name.find('\0') != std::string::npos || mayBeLong(name))
        return;
    try {
        const std::optional<SequencePattern> pattern = SequencePattern::parse(name);
        if (!pattern)
            return;
        const std::string first = pattern->nameOf(number);
        require(first.find(std::to_string(number)) != std::string::npos, "a name holds its number");
        require(first != pattern->nameOf(number + 1), "every number has a different name");
        require(first.find('/') == name.find('/'), "the folder stays");
    } catch (CommandError const& error) {
        require(error.exitCode() == ExitCode::Usage, "a wrong list in a name is a wrong command line");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    FuzzInput input(data, size);
    const std::uint64_t number = std::uint64_t{input.word()} << input.byte() % 32;
    const std::span<const std::uint8_t> rest = input.rest();
    const std::string text(rest.begin(), rest.end());
    compareLists(text);
    lookAtPattern(text, number);
    return 0;
}
