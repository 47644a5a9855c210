#include "json/serializer.h"

#include "json/streams.h"

#include <array>
#include <charconv>
#include <cmath>
#include <iomanip>

namespace orv::json {

namespace {

constexpr std::array<std::string_view, 13> kTokenTexts = {"",  "true", "false", "null", "",  "", "",
                                                          "[", "]",    "{",     "}",    ":", ","};

/// What is written for a byte: itself (0), nothing (1), or a backslash and the letter.
constexpr std::array<char, 256> makeEscapes() {
    std::array<char, 256> escapes{};
    for (int control = 0; control < 32; ++control)
        escapes[control] = 1;
    escapes['\b'] = 'b';
    escapes['\t'] = 't';
    escapes['\n'] = 'n';
    escapes['\f'] = 'f';
    escapes['\r'] = 'r';
    escapes['"'] = '"';
    escapes['\\'] = '\\';
    return escapes;
}
constexpr std::array<char, 256> kEscapes = makeEscapes();

[[noreturn]] void throwEncodingFailed(unsigned char codePoint) {
    fast_basic_ostringstream text;
    text << "encoding failed with codepoint '\\u" << std::hex << std::uppercase << std::setw(4)
         << std::setfill('0') << static_cast<unsigned>(codePoint) << "'";
    throw json_serialization_error(text.str());
}

} // namespace

void basic_serializer::dump(const value& document) {
    switch (document.type()) {
    case kind::null:
        put_token(token::null_value);
        break;
    case kind::boolean:
        put_token(document.as<bool>() ? token::true_value : token::false_value);
        break;
    case kind::integer:
        put_token(token::integer_follows);
        put_integer(document.as<std::int64_t>());
        break;
    case kind::floating:
        put_token(token::float_follows);
        put_float(document.as<double>());
        break;
    case kind::string:
        put_token(token::string_follows);
        put_string(document.as<std::string>());
        break;
    case kind::array: {
        put_token(token::array_begins);
        bool first = true;
        for (const value& element : document.as<value::array_type>()) {
            if (!std::exchange(first, false)) put_token(token::value_separator);
            dump(element);
        }
        put_token(token::array_ends);
        break;
    }
    case kind::object: {
        put_token(token::object_begins);
        bool first = true;
        for (const auto& [key, entry] : document.as<value::object_type>()) {
            if (!std::exchange(first, false)) put_token(token::value_separator);
            put_string(key);
            put_token(token::name_separator);
            dump(entry);
        }
        put_token(token::object_ends);
        break;
    }
    }
}

json_serializer::json_serializer(std::ostream& output) : output_(output), target_(*output.rdbuf()) {
    // put_float writes decimal numbers, whatever the stream was used for before.
    constexpr auto hexFloat = std::ios_base::fixed | std::ios_base::scientific;
    if ((output_.flags() & std::ios_base::floatfield) == hexFloat) output_.unsetf(std::ios_base::floatfield);
}

// Straight to the stream's buffer: a formatted write would build a sentry for every comma.
void json_serializer::put(std::string_view text) {
    const auto size = static_cast<std::streamsize>(text.size());
    if (target_.sputn(text.data(), size) != size)
        throwEncodingFailed(static_cast<unsigned char>(text.front()));
}

void json_serializer::put_token(token mark) {
    put(kTokenTexts[static_cast<std::size_t>(mark)]);
}

void json_serializer::put_integer(std::int64_t number) {
    std::array<char, 24> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
    put({digits.data(), end});
}

void json_serializer::put_float(double number) {
    if (!std::isfinite(number)) return put_token(token::null_value);
    constexpr double beyondInteger = 9223372036854775808.0; // 2^63
    if (std::ceil(number) == std::floor(number) && number >= -beyondInteger && number < beyondInteger) {
        put_integer(static_cast<std::int64_t>(number));
        return put(".0");
    }
    // The text of a default-formatted stream of the classic locale. A whole number beyond 64 bits takes this
    // form too, since its integer conversion is not defined.
    std::array<char, 40> digits{};
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number,
                                   std::chars_format::general, static_cast<int>(output_.precision()))
                         .ptr;
    put({digits.data(), end});
}

void json_serializer::put_string(const std::string& text) {
    put("\"");
    bool ascii = true;
    for (const char letter : text)
        ascii &= static_cast<unsigned char>(letter) < 0x80;
    if (ascii) {
        put_code_points(text);
    } else {
        std::string clean = text;
        stripInvalidUtf8(clean);
        put_code_points(clean);
    }
    put("\"");
}

/// Runs of letters that stand for themselves go out in one piece. Only ASCII is ever escaped or dropped, so
/// the bytes of a longer code point are part of a run.
void json_serializer::put_code_points(std::string_view text) {
    std::size_t runStart = 0;
    for (std::size_t i = 0; i < text.size(); ++i) {
        const char escape = kEscapes[static_cast<unsigned char>(text[i])];
        if (escape == 0) continue;
        if (i > runStart) put(text.substr(runStart, i - runStart));
        if (escape != 1) {
            const char pair[] = {'\\', escape};
            put({pair, 2});
        }
        runStart = i + 1;
    }
    if (text.size() > runStart) put(text.substr(runStart));
}

std::string dump(const value& document) {
    std::string text;
    fast_string_ostreambuf buffer(text);
    std::ostream output(&buffer);
    json_serializer(output).dump(document);
    return text;
}

} // namespace orv::json
