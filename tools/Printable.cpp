#include "Printable.h"

#include <cstddef>
#include <cstdint>
#include <iterator>

#include <fmt/format.h>

namespace {

struct Character {
    char32_t code = 0;
    std::size_t numBytes = 0; // 0 for bytes that are not UTF-8
};

std::uint8_t byteAt(std::string_view text, std::size_t place) {
    return place < text.size() ? static_cast<std::uint8_t>(text[place]) : 0;
}

// The character at the start of a text that is not empty.
Character firstCharacter(std::string_view text) {
    const std::uint8_t first = byteAt(text, 0);
    if (first < 0x80)
        return {first, 1};
    const std::size_t numBytes = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    char32_t code = first & (0x7Fu >> numBytes);
    for (std::size_t i = 1; i < numBytes; ++i) {
        if ((byteAt(text, i) & 0xC0) != 0x80)
            return {};
        code = code << 6 | (byteAt(text, i) & 0x3F);
    }
    constexpr char32_t kLeastCode[] = {0, 0, 0x80, 0x800, 0x10000};
    const bool isSurrogate = code >= 0xD800 && code < 0xE000;
    const bool isWhole = first >= 0xC0 && first < 0xF8 && code >= kLeastCode[numBytes] && code <= 0x10FFFF;
    return isWhole && !isSurrogate ? Character{code, numBytes} : Character{};
}

bool isHarmless(char32_t code) {
    const bool isControl = code < 0x20 || (code >= 0x7F && code < 0xA0);
    const bool endsLine = code == 0x2028 || code == 0x2029;
    const bool turnsDirection = code == 0x061C || code == 0x200E || code == 0x200F ||
                                (code >= 0x202A && code <= 0x202E) || (code >= 0x2066 && code <= 0x2069);
    return !isControl && !endsLine && !turnsDirection;
}

} // namespace

std::string printable(std::string_view text) {
    std::string result;
    while (!text.empty()) {
        const Character character = firstCharacter(text);
        const std::string_view bytes = text.substr(0, character.numBytes == 0 ? 1 : character.numBytes);
        text.remove_prefix(bytes.size());
        if (bytes == "\\")
            result += "\\\\";
        else if (character.numBytes != 0 && isHarmless(character.code))
            result += bytes;
        else
            for (const char byte : bytes)
                fmt::format_to(std::back_inserter(result), "\\x{:02x}", static_cast<std::uint8_t>(byte));
    }
    return result;
}
