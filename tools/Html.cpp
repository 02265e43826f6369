#include "Html.h"

#include <stdexcept>

#include "Printable.h"

HtmlValue::HtmlValue(std::string_view text) {
    for (const char character : printable(text)) {
        switch (character) {
        case '&':
            m_text += "&amp;";
            break;
        case '<':
            m_text += "&lt;";
            break;
        case '>':
            m_text += "&gt;";
            break;
        case '"':
            m_text += "&quot;";
            break;
        case '\'':
            m_text += "&#39;";
            break;
        default:
            m_text += character;
        }
    }
}

Html html(std::string_view form, std::initializer_list<HtmlValue> values) {
    Html result;
    for (HtmlValue const& value : values) {
        const std::size_t place = form.find("{}");
        if (place == std::string_view::npos)
            throw std::logic_error("a form has fewer places than values");
        result.text += form.substr(0, place);
        result.text += value.text();
        form.remove_prefix(place + 2);
    }
    if (form.find("{}") != std::string_view::npos)
        throw std::logic_error("a form has more places than values");
    result.text += form;
    return result;
}

Html pngAddress(std::span<const std::uint8_t> png) {
    constexpr std::string_view kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Html result{"data:image/png;base64,"};
    for (std::size_t i = 0; i < png.size(); i += 3) {
        std::uint32_t group = 0;
        for (std::size_t byte = 0; byte < 3; ++byte)
            group = group << 8 | (i + byte < png.size() ? png[i + byte] : 0u);
        for (std::size_t digit = 0; digit < 4; ++digit)
            result.text += i + digit <= png.size() ? kDigits[group >> (18 - 6 * digit) & 63] : '=';
    }
    return result;
}
