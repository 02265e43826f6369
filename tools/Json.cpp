#include "Json.h"

#include <algorithm>
#include <type_traits>
#include <utility>

#include <nlohmann/json.hpp>

Json::Json() : m_value(nullptr) {}
Json::Json(std::string text) : m_value(std::move(text)) {}
Json::Json(Scalar scalar) : m_value(std::visit([](auto value) { return Value(value); }, scalar)) {}
Json::Json(std::initializer_list<Member> members) : m_value(Object(members)) {}
Json::Json(Json const&) = default;
Json::Json(Json&&) noexcept = default;
Json& Json::operator=(Json const&) = default;
Json& Json::operator=(Json&&) noexcept = default;
Json::~Json() = default;

Json Json::array() {
    Json json;
    json.m_value = Array();
    return json;
}

Json Json::object() {
    Json json;
    json.m_value = Object();
    return json;
}

Json& Json::operator[](std::string_view name) {
    if (std::holds_alternative<std::nullptr_t>(m_value))
        m_value = Object();
    Object& members = std::get<Object>(m_value);
    const auto found =
        std::find_if(members.begin(), members.end(), [name](Member const& member) { return member.name == name; });
    return found != members.end() ? found->value : members.emplace_back(Member{std::string(name), Json()}).value;
}

void Json::push_back(Json element) {
    std::get<Array>(m_value).push_back(std::move(element));
}

std::size_t Json::size() const {
    if (Array const* const elements = std::get_if<Array>(&m_value))
        return elements->size();
    Object const* const members = std::get_if<Object>(&m_value);
    return members != nullptr ? members->size() : 0;
}

namespace {

using LibraryValue = nlohmann::ordered_json;

LibraryValue convert(Json const& json);

LibraryValue convert(Json::Array const& elements) {
    LibraryValue result = LibraryValue::array();
    for (Json const& element : elements)
        result.push_back(convert(element));
    return result;
}

LibraryValue convert(Json::Object const& members) {
    LibraryValue result = LibraryValue::object();
    for (Json::Member const& member : members)
        result[member.name] = convert(member.value);
    return result;
}

LibraryValue convert(Json const& json) {
    return std::visit(
        [](auto const& value) -> LibraryValue {
            using Value = std::decay_t<decltype(value)>;
            if constexpr (std::is_same_v<Value, Json::Array> || std::is_same_v<Value, Json::Object>)
                return convert(value);
            else
                return LibraryValue(value);
        },
        json.value());
}

} // namespace

std::string Json::text() const {
    return convert(*this).dump(2, ' ', false, LibraryValue::error_handler_t::replace);
}

std::string Json::line() const {
    return convert(*this).dump(-1, ' ', false, LibraryValue::error_handler_t::replace);
}
