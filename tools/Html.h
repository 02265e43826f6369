#pragma once

#include <concepts>
#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>
#include <string_view>

// Text that is HTML already. Everything else that enters a page is escaped.
struct Html {
    std::string text = {};

    Html& operator+=(Html const& other) {
        text += other.text;
        return *this;
    }
};

// What fills a place in a form.
class HtmlValue {
public:
    HtmlValue(Html const& html) : m_text(html.text) {}
    HtmlValue(std::string_view text); // escaped; control characters become visible
    HtmlValue(std::string const& text) : HtmlValue(std::string_view(text)) {}
    HtmlValue(const char* text) : HtmlValue(std::string_view(text)) {}
    HtmlValue(std::integral auto number) : m_text(std::to_string(number)) {}

    std::string const& text() const { return m_text; }

private:
    std::string m_text;
};

// The form with each {} replaced by the next value. The number of both is the same.
Html html(std::string_view form, std::initializer_list<HtmlValue> values = {});

// The bytes of a picture as the address that an <img> takes.
Html pngAddress(std::span<const std::uint8_t> png);
