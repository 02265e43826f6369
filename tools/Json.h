#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// A value of a report in JSON. Members of an object keep the order in which they were added.
//
// Reports need little of a JSON library, and its headers take longer to compile than the rest of a subcommand. This
// class stores the values; only its own unit includes the library, which writes the text.
class Json {
public:
    struct Member;

    Json(); // null
    Json(std::nullptr_t) : Json() {}
    Json(std::string text);
    Json(std::string_view text) : Json(std::string(text)) {}
    Json(const char* text) : Json(std::string(text)) {}
    Json(std::same_as<bool> auto truth) : Json(Scalar(truth)) {}
    Json(std::floating_point auto number) : Json(Scalar(static_cast<double>(number))) {}
    Json(std::signed_integral auto number) : Json(Scalar(static_cast<std::int64_t>(number))) {}
    template <std::unsigned_integral Number>
    requires(!std::same_as<Number, bool>) Json(Number number) : Json(Scalar(static_cast<std::uint64_t>(number))) {}

    // {{"width", 16}, {"height", 9}}
    Json(std::initializer_list<Member> members);

    Json(Json const&);
    Json(Json&&) noexcept;
    Json& operator=(Json const&);
    Json& operator=(Json&&) noexcept;
    ~Json();

    static Json array();
    static Json object();

    // An array of the elements of a container.
    static Json list(auto const& elements) {
        Json json = array();
        for (auto const& element : elements)
            json.push_back(element);
        return json;
    }

    // The member of an object; a missing one is added as null. A null becomes an object.
    Json& operator[](std::string_view name);

    // Appends to an array.
    void push_back(Json element);

    std::size_t size() const; // elements of an array or members of an object; 0 for other values

    // The text, indented by two spaces. Bytes that are not UTF-8, which file names may contain, become U+FFFD.
    std::string text() const;
    std::string line() const; // the same without line ends and indentation

    using Array = std::vector<Json>;
    using Object = std::vector<Member>;
    using Value = std::variant<std::nullptr_t, bool, std::int64_t, std::uint64_t, double, std::string, Array, Object>;
    Value const& value() const { return m_value; }

private:
    // The members of an object are incomplete here, and clang requires them to be complete where m_value is
    // initialised.
    using Scalar = std::variant<bool, std::int64_t, std::uint64_t, double>;
    explicit Json(Scalar scalar);

    Value m_value;
};

struct Json::Member {
    std::string name;
    Json value;
};
