#pragma once

#include <cstdint>
#include <initializer_list>
#include <map>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace orv::json {

class json_exception : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

class json_type_error : public json_exception {
  public:
    explicit json_type_error(const std::string& message);
};

class json_invalid_key : public json_exception {
  public:
    explicit json_invalid_key(const std::string& message);
};

class json_serialization_error : public json_exception {
  public:
    explicit json_serialization_error(const std::string& message);
};

/// The kinds of a value, by their numeric tags.
enum class kind { null, integer, floating, string, array, object, boolean };

/// The types a value is made of.
struct value_tplargs {
    using integer_type = std::int64_t;
    using float_type = double;
    using string_type = std::string; // UTF-8
};

/// A JSON document: it owns what it holds, copies deeply, and is null after a move. An object keeps its keys
/// sorted by bytes, so a report's keys come out in alphabetical order.
template <class Args>
class basic_value {
  public:
    using integer_type = typename Args::integer_type;
    using float_type = typename Args::float_type;
    using string_type = typename Args::string_type;
    using array_type = std::vector<basic_value>;
    using object_type = std::map<string_type, basic_value>;

    basic_value() = default;
    /// An empty value of a kind: 0, 0.0, false, an empty text, array or object.
    explicit basic_value(kind empty);
    basic_value(string_type text) : held_(std::move(text)) {}
    basic_value(const char* text) : held_(string_type(text)) {}
    basic_value(float_type number) : held_(number) {}
    template <class Integer, std::enable_if_t<std::is_integral_v<Integer>, int> = 0>
    basic_value(Integer number) {
        if constexpr (std::is_same_v<Integer, bool>)
            held_ = number;
        else
            held_ = static_cast<integer_type>(number);
    }
    /// An object of key and value pairs. On a repeated key the first entry wins.
    basic_value(std::initializer_list<std::pair<const string_type, basic_value>> entries)
        : held_(object_type(entries)) {}

    basic_value(const basic_value&) = default;
    /// By a copy of its own, since `other` may be a part of this value.
    basic_value& operator=(const basic_value& other) { // NOLINT(bugprone-unhandled-self-assignment)
        return *this = basic_value(other);
    }
    basic_value(basic_value&& other) noexcept : held_(std::exchange(other.held_, std::monostate())) {}
    basic_value& operator=(basic_value&& other) noexcept {
        held_ = std::exchange(other.held_, std::monostate());
        return *this;
    }
    ~basic_value() = default;

    kind type() const { return static_cast<kind>(held_.index()); }

    /// The entry of a key, added as null when missing; a null value becomes an object first.
    /// Throws json_invalid_key on any other kind.
    basic_value& operator[](const string_type& key) {
        if (type() == kind::null) held_ = object_type();
        if (auto* entries = std::get_if<object_type>(&held_)) return (*entries)[key];
        throw json_invalid_key("operator[] called on a non-object object");
    }

    /// Appends; a null value becomes an array first. Throws json_type_error on any other kind.
    void push_back(basic_value element) { emplace_back(std::move(element)); }
    template <class... Source>
    basic_value& emplace_back(Source&&... source) {
        if (type() == kind::null) held_ = array_type();
        if (auto* elements = std::get_if<array_type>(&held_))
            return elements->emplace_back(std::forward<Source>(source)...);
        throw json_type_error("use push_back() or emplace_back() with non-array value");
    }

    /// What the value holds, for the writer; the type must be the value's own.
    template <class Held>
    const Held& as() const {
        return std::get<Held>(held_);
    }

  private:
    std::variant<std::monostate, integer_type, float_type, string_type, array_type, object_type, bool> held_;
};

template <class Args>
basic_value<Args>::basic_value(kind empty) {
    switch (empty) {
    case kind::null:
        break;
    case kind::integer:
        held_ = integer_type{0};
        break;
    case kind::floating:
        held_ = float_type{0.0};
        break;
    case kind::string:
        held_ = string_type();
        break;
    case kind::array:
        held_ = array_type();
        break;
    case kind::object:
        held_ = object_type();
        break;
    case kind::boolean:
        held_ = false;
        break;
    }
}

using value = basic_value<value_tplargs>;

/// The compact text of a value: no blank, no line break.
std::string dump(const value& document);

} // namespace orv::json
