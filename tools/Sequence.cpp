#include "Sequence.h"

#include <algorithm>
#include <charconv>
#include <filesystem>
#include <regex>

#include "CommandError.h"

namespace {

constexpr std::size_t kMaxNumbers = 10'000'000;

std::optional<std::uint64_t> numberOf(std::string const& text) {
    std::uint64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

// One part of a list: "7", "1-100" or "1-100x2".
void appendRange(std::string const& part, std::vector<std::uint64_t>& numbers) {
    static const std::regex s_range(R"((\d{1,18})(?:-(\d{1,18})(?:x(\d{1,18}))?)?)");
    std::smatch match;
    if (!std::regex_match(part, match, s_range))
        throw usageError("'{}' is no list of numbers such as 1-100x2,200", part);
    const std::uint64_t first = *numberOf(match[1]);
    const std::uint64_t last = match[2].matched ? *numberOf(match[2]) : first;
    const std::uint64_t step = match[3].matched ? *numberOf(match[3]) : 1;
    if (last < first)
        throw usageError("the range '{}' runs backwards", part);
    if (step == 0)
        throw usageError("the range '{}' has a step of 0", part);
    if ((last - first) / step + 1 > kMaxNumbers - std::min(kMaxNumbers, numbers.size()))
        throw usageError("the range '{}' has too many numbers; the most is {}", part, kMaxNumbers);
    for (std::uint64_t i = 0; i <= (last - first) / step; ++i)
        numbers.push_back(first + i * step);
}

struct Spelling {
    std::regex expression; // prefix, list, place of the number, suffix
    bool isPercent;
};

std::vector<Spelling> const& spellings() {
    static const std::vector<Spelling> s_spellings = {
        {std::regex(R"((.*)()%(?:0(\d{1,2}))?d(.*))"), true},
        {std::regex(R"((.*?)(\d+-\d[\dx,-]*)?([#]+|[@]+)([^#@]*))"), false},
    };
    return s_spellings;
}

} // namespace

std::vector<std::uint64_t> parseNumberList(std::string const& text) {
    std::vector<std::uint64_t> numbers;
    for (std::size_t start = 0; start <= text.size();) {
        const std::size_t end = std::min(text.find(',', start), text.size());
        appendRange(text.substr(start, end - start), numbers);
        start = end + 1;
    }
    return numbers;
}

std::optional<SequencePattern> SequencePattern::parse(std::string const& path) {
    const std::filesystem::path whole(path);
    const std::string fileName = whole.filename().string();
    const std::string folder = path.substr(0, path.size() - fileName.size());
    for (Spelling const& spelling : spellings()) {
        std::smatch match;
        if (!std::regex_match(fileName, match, spelling.expression))
            continue;
        SequencePattern pattern;
        pattern.m_prefix = folder + match[1].str();
        pattern.m_suffix = match[4].str();
        if (spelling.isPercent)
            pattern.m_minDigits = static_cast<std::uint32_t>(numberOf(match[3].str()).value_or(1));
        else
            pattern.m_minDigits = static_cast<std::uint32_t>(std::min<std::ptrdiff_t>(match[3].length(), 99));
        if (match[2].length() > 0)
            pattern.m_listedNumbers = parseNumberList(match[2].str());
        return pattern;
    }
    return std::nullopt;
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
        const std::string name = entry.path().filename().string();
        if (name.size() <= start.size() + m_suffix.size() || !name.starts_with(start) || !name.ends_with(m_suffix))
            continue;
        const std::string digits = name.substr(start.size(), name.size() - start.size() - m_suffix.size());
        const std::optional<std::uint64_t> number = numberOf(digits);
        // The number alone makes the name, so that 7 and 0007 do not both count.
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
        throw failure("{} names files from {} to {}; give the wanted ones by --frames", argument, existing.front(),
                      existing.back());
    std::vector<std::uint64_t> numbers(count + 1);
    for (std::uint64_t i = 0; i <= count; ++i)
        numbers[i] = existing.front() + i;
    return numbers;
}

void appendSequence(std::string const& argument, SequencePattern const& pattern,
                    std::vector<std::uint64_t> const& givenNumbers, std::vector<SequenceItem>& items) {
    std::vector<std::uint64_t> numbers = pattern.listedNumbers().empty() ? givenNumbers : pattern.listedNumbers();
    if (numbers.empty()) {
        const std::vector<std::uint64_t> existing = pattern.existingNumbers();
        if (existing.empty())
            throw failure("no file has a name like {}", argument);
        numbers = everyNumberBetween(existing, argument);
    }
    for (const std::uint64_t number : numbers) {
        std::string path = pattern.nameOf(number);
        const bool exists = fileExists(path);
        items.push_back({std::move(path), number, exists});
    }
}

} // namespace

std::vector<SequenceItem> expandSequences(std::vector<std::string> const& arguments, std::string const& numbers) {
    const std::vector<std::uint64_t> givenNumbers =
        numbers.empty() ? std::vector<std::uint64_t>{} : parseNumberList(numbers);
    std::vector<SequenceItem> items;
    for (std::string const& argument : arguments) {
        // A file that really has such a name is meant itself.
        const std::optional<SequencePattern> pattern =
            argument == "-" || fileExists(argument) ? std::nullopt : SequencePattern::parse(argument);
        if (pattern)
            appendSequence(argument, *pattern, givenNumbers, items);
        else
            items.push_back({argument, items.size(), true});
    }
    return items;
}
