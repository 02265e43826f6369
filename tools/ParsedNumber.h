#pragma once

#include <charconv>
#include <optional>
#include <string_view>
#include <system_error>

// The number that a text is from its first to its last character; nothing where it is none or does not fit. The base of
// whole numbers is 10 unless it is given.
template <typename Number, typename... Base>
std::optional<Number> parsedNumber(std::string_view text, Base... base) {
    Number number{};
    const char* const textEnd = text.data() + text.size();
    const auto [end, error] = std::from_chars(text.data(), textEnd, number, base...);
    if (error != std::errc() || end != textEnd)
        return std::nullopt;
    return number;
}
