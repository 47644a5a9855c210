#pragma once

#include "json/value.h"

#include <cstdint>
#include <ostream>
#include <string_view>

namespace orv::json {

enum class token {
    true_value = 1,
    false_value,
    null_value,
    string_follows, // these three write nothing themselves
    integer_follows,
    float_follows,
    array_begins,
    array_ends,
    object_begins,
    object_ends,
    name_separator,
    value_separator,
};

/// Walks a value and hands its parts to a writer.
class basic_serializer {
  public:
    virtual ~basic_serializer() = default;
    virtual void put_token(token mark) = 0;
    virtual void put_integer(std::int64_t number) = 0;
    virtual void put_float(double number) = 0;
    virtual void put_string(const std::string& text) = 0;
    virtual void dump(const value& document);
};

/// Writes compact JSON to a stream.
class json_serializer final : public basic_serializer {
  public:
    explicit json_serializer(std::ostream& output);
    ~json_serializer() override = default;
    void put_token(token mark) override;
    void put_integer(std::int64_t number) override;
    void put_float(double number) override;
    void put_string(const std::string& text) override;

  private:
    void put(char letter);
    void put(std::string_view clean);
    void put_code_point(std::uint32_t codePoint);
    void put_code_points(std::string_view text);

    std::ostream& output_;
    std::streambuf& target_;
};

} // namespace orv::json
