#include "Sequence.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <utility>

#include "CommandError.h"
#include "Interrupt.h"
#include "ParsedNumber.h"

namespace {

constexpr std::string_view kDigits = "0123456789";

// Reads a text in order.
class TextCursor {
public:
    explicit TextCursor(std::string_view text) : m_rest(text) {}

    bool atEnd() const { return m_rest.empty(); }

    bool take(char wanted) {
        if (!m_rest.starts_with(wanted))
            return false;
        m_rest.remove_prefix(1);
        return true;
    }

    // A number of up to 18 digits, which cannot overflow.
    std::optional<std::uint64_t> takeNumber() {
        const std::size_t digits = std::min(m_rest.find_first_not_of(kDigits), m_rest.size());
        if (digits == 0 || digits > 18)
            return std::nullopt;
        const std::optional<std::uint64_t> number = parsedNumber<std::uint64_t>(m_rest.substr(0, digits));
        m_rest.remove_prefix(digits);
        return number;
    }

private:
    std::string_view m_rest;
};

struct Range {
    std::uint64_t first;
    std::uint64_t last;
    std::uint64_t step;
};

// One part of a list: "7", "1-100" or "1-100x2".
std::optional<Range> parseRange(std::string_view part) {
    TextCursor cursor(part);
    const std::optional<std::uint64_t> first = cursor.takeNumber();
    std::optional<std::uint64_t> last = first;
    std::optional<std::uint64_t> step = 1;
    if (cursor.take('-')) {
        last = cursor.takeNumber();
        if (cursor.take('x'))
            step = cursor.takeNumber();
    }
    if (!first || !last || !step || !cursor.atEnd())
        return std::nullopt;
    return Range{*first, *last, *step};
}

void appendRange(std::string const& part, std::string const& where, std::vector<std::uint64_t>& numbers) {
    const std::optional<Range> range = parseRange(part);
    if (!range)
        throw usageError("{}'{}' is not a list of numbers such as 1-100x2,200", where, part);
    if (range->last < range->first)
        throw usageError("{}the range '{}' ends before it starts", where, part);
    if (range->step == 0)
        throw usageError("{}the range '{}' has the step 0; it must be at least 1", where, part);
    const std::uint64_t count = (range->last - range->first) / range->step + 1;
    if (count > kMaxNumbers - std::min(kMaxNumbers, numbers.size()))
        throw usageError("{}with the range '{}' there are more than {} numbers, the maximum", where, part, kMaxNumbers);
    for (std::uint64_t i = 0; i < count; ++i)
        numbers.push_back(range->first + i * range->step);
}

// The place of a number in a file name.
struct NumberPlace {
    std::size_t start;
    std::size_t end;
    std::uint32_t minDigits;
};

// The last %d or %04d.
std::optional<NumberPlace> findPercent(std::string const& name) {
    for (std::size_t start = name.rfind('%'); start != std::string::npos;
         start = start == 0 ? std::string::npos : name.rfind('%', start - 1)) {
        TextCursor cursor(std::string_view(name).substr(start + 1));
        if (cursor.take('d'))
            return NumberPlace{start, start + 2, 1};
        const std::size_t end = name.find('d', start);
        if (!cursor.take('0') || end == std::string::npos || end - start > 4)
            continue;
        const std::optional<std::uint64_t> digits = cursor.takeNumber();
        if (digits && cursor.take('d'))
            return NumberPlace{start, end + 1, static_cast<std::uint32_t>(*digits)};
    }
    return std::nullopt;
}

// The last $F, with a digit for the number of digits or without.
std::optional<NumberPlace> findFrameVariable(std::string const& name) {
    const std::size_t start = name.rfind("$F");
    if (start == std::string::npos)
        return std::nullopt;
    const std::size_t end = start + 2;
    const bool hasDigit = end < name.size() && name[end] >= '1' && name[end] <= '9';
    if (!hasDigit)
        return NumberPlace{start, end, 1};
    return NumberPlace{start, end + 1, static_cast<std::uint32_t>(name[end] - '0')};
}

// The last run of # or @.
std::optional<NumberPlace> findRun(std::string const& name) {
    const std::size_t last = name.find_last_of("#@");
    if (last == std::string::npos)
        return std::nullopt;
    const std::size_t before = name.find_last_not_of(name[last], last);
    const std::size_t start = before == std::string::npos ? 0 : before + 1;
    return NumberPlace{start, last + 1, static_cast<std::uint32_t>(last + 1 - start)};
}

// The start of a list such as "1-100x2" that ends at `end`; `end` itself if there is none. A single number is part of
// the name, so a list starts with a range.
std::size_t listStart(std::string const& name, std::size_t end) {
    const std::size_t before = end == 0 ? std::string::npos : name.find_last_not_of("0123456789x,-", end - 1);
    for (std::size_t start = before == std::string::npos ? 0 : before + 1; start < end; ++start) {
        const std::size_t dash = name.find_first_not_of(kDigits, start);
        if (dash > start && dash + 1 < end && name[dash] == '-' &&
            kDigits.find(name[dash + 1]) != std::string_view::npos)
            return start;
        if (dash >= end)
            break;
    }
    return end;
}

} // namespace

std::vector<std::uint64_t> parseNumberList(std::string const& text, std::string const& where) {
    std::vector<std::uint64_t> numbers;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        appendRange(text.substr(start, end - start), where, numbers);
        start = end + 1;
    }
    return numbers;
}

std::optional<SequencePattern> SequencePattern::parse(std::string const& path) {
    const std::filesystem::path whole(path);
    const std::string fileName = whole.filename().string();
    const std::string folder = path.substr(0, path.size() - fileName.size());
    std::optional<NumberPlace> place = findPercent(fileName);
    if (!place)
        place = findFrameVariable(fileName);
    const bool mayHaveList = !place.has_value();
    if (!place)
        place = findRun(fileName);
    if (!place)
        return std::nullopt;
    const std::size_t prefixEnd = mayHaveList ? listStart(fileName, place->start) : place->start;
    SequencePattern pattern;
    pattern.m_prefix = folder + fileName.substr(0, prefixEnd);
    pattern.m_suffix = fileName.substr(place->end);
    pattern.m_minDigits = place->minDigits;
    if (prefixEnd < place->start)
        pattern.m_listedNumbers = parseNumberList(fileName.substr(prefixEnd, place->start - prefixEnd));
    return pattern;
}

std::string SequencePattern::nameOf(std::uint64_t number) const {
    return fmt::format("{}{:0{}}{}", m_prefix, number, m_minDigits, m_suffix);
}

std::vector<std::uint64_t> SequencePattern::existingNumbers() const {
    const std::filesystem::path prefix(m_prefix);
    const std::string start = prefix.filename().string();
    const std::filesystem::path folder = prefix.has_parent_path() ? prefix.parent_path() : ".";
    std::vector<std::uint64_t> numbers;
    std::error_code error;
    for (auto const& entry : std::filesystem::directory_iterator(folder, error)) {
        throwIfInterrupted();
        const std::string name = entry.path().filename().string();
        if (name.size() <= start.size() + m_suffix.size() || !name.starts_with(start) || !name.ends_with(m_suffix))
            continue;
        const std::string digits = name.substr(start.size(), name.size() - start.size() - m_suffix.size());
        const std::optional<std::uint64_t> number = parsedNumber<std::uint64_t>(digits);
        // Only the name that nameOf() gives counts, so that 7 and 0007 are not both found.
        if (number && std::filesystem::path(nameOf(*number)).filename() == name)
            numbers.push_back(*number);
    }
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

namespace {

bool fileExists(std::string const& path) {
    std::error_code error;
    return std::filesystem::exists(path, error);
}

std::vector<std::uint64_t> everyNumberBetween(std::vector<std::uint64_t> const& existing, std::string const& argument) {
    const std::uint64_t count = existing.back() - existing.front();
    if (count >= kMaxNumbers)
        throw failure("{} matches files from {} to {}, which is too many; select some with --frames", argument,
                      existing.front(), existing.back());
    std::vector<std::uint64_t> numbers(count + 1);
    for (std::uint64_t i = 0; i <= count; ++i)
        numbers[i] = existing.front() + i;
    return numbers;
}

// The file that stands in for a hole: the last before it, or else the first.
std::string standInFor(std::uint64_t number, SequencePattern const& pattern,
                       std::vector<std::uint64_t> const& existing) {
    if (existing.empty())
        return "";
    const auto after = std::lower_bound(existing.begin(), existing.end(), number);
    return pattern.nameOf(after == existing.begin() ? existing.front() : *(after - 1));
}

void appendSequence(std::string const& argument, SequencePattern const& pattern,
                    std::vector<std::uint64_t> const& givenNumbers, std::vector<SequenceItem>& items) {
    std::vector<std::uint64_t> numbers = pattern.listedNumbers().empty() ? givenNumbers : pattern.listedNumbers();
    std::optional<std::vector<std::uint64_t>> existing; // read once, where it is needed
    if (numbers.empty()) {
        existing = pattern.existingNumbers();
        if (existing->empty())
            throw failure("no file matches {}", argument);
        numbers = everyNumberBetween(*existing, argument);
    }
    if (numbers.size() > kMaxNumbers - std::min(kMaxNumbers, items.size()))
        throw usageError("with {} there are more than {} files, the maximum", argument, kMaxNumbers);
    for (const std::uint64_t number : numbers) {
        throwIfInterrupted();
        std::string path = pattern.nameOf(number);
        const bool exists = fileExists(path);
        if (!exists && !existing)
            existing = pattern.existingNumbers();
        items.push_back({std::move(path), number, exists, exists ? "" : standInFor(number, pattern, *existing)});
    }
}

} // namespace

std::optional<SequencePattern> sequenceOf(std::string const& argument) {
    return argument == "-" || fileExists(argument) ? std::nullopt : SequencePattern::parse(argument);
}

std::vector<SequenceItem> expandSequences(std::vector<std::string> const& arguments, std::string const& numbers) {
    const std::vector<std::uint64_t> givenNumbers =
        numbers.empty() ? std::vector<std::uint64_t>{} : parseNumberList(numbers, "--frames: ");
    std::vector<SequenceItem> items;
    for (std::string const& argument : arguments) {
        if (const std::optional<SequencePattern> pattern = sequenceOf(argument))
            appendSequence(argument, *pattern, givenNumbers, items);
        else
            items.push_back({argument, items.size()});
    }
    return items;
}
