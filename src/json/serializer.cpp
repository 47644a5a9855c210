#include "json/serializer.h"

#include "json/numberText.h"
#include "json/streams.h"
#include "json/utf8.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstring>

namespace orv::json {

namespace {

// By token; those without a letter have a word or write nothing.
constexpr std::array<char, 13> kTokenLetters = {0, 0, 0, 0, 0, 0, 0, '[', ']', '{', '}', ':', ','};

// What becomes of a byte: it stands for itself, nothing is written, it is part of a longer code point, or a
// backslash and the letter of the table are written.
constexpr char kPlain = 0;
constexpr char kDropped = 1;
constexpr char kNotAscii = 2;
constexpr std::array<char, 256> makeEscapes() {
    std::array<char, 256> escapes{};
    for (int control = 0; control < 32; ++control)
        escapes[control] = kDropped;
    for (int byte = 128; byte < 256; ++byte)
        escapes[byte] = kNotAscii;
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

constexpr std::uint64_t eightTimes(unsigned char byte) {
    return 0x0101010101010101u * byte;
}

/// Whether one of eight bytes is zero. A borrow runs into a higher byte only from one that is.
constexpr std::uint64_t hasZero(std::uint64_t bytes) {
    return (bytes - eightTimes(1)) & ~bytes & eightTimes(0x80);
}

/// How many of eight bytes, from the first, are ASCII letters that stand for themselves.
std::size_t plainOfEight(const char* at) {
    static_assert(std::endian::native == std::endian::little);
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, at, sizeof bytes);
    const std::uint64_t notAsciiOrControl = (bytes | (bytes - eightTimes(0x20))) & eightTimes(0x80);
    // The lowest mark is exact: a borrow marks only what stands behind another mark.
    const std::uint64_t marks =
        notAsciiOrControl | hasZero(bytes ^ eightTimes('"')) | hasZero(bytes ^ eightTimes('\\'));
    return static_cast<std::size_t>(std::countr_zero(marks)) / 8;
}

/// How many bytes at the start of the text stand for themselves: clean UTF-8 in its shortest form without a
/// letter to escape or to drop.
std::size_t plainLength(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        if (i + 8 <= text.size()) {
            const std::size_t plain = plainOfEight(text.data() + i);
            i += plain;
            if (plain == 8) continue;
        }
        const char escape = kEscapes[static_cast<unsigned char>(text[i])];
        const std::size_t length = escape == kPlain      ? 1
                                   : escape == kNotAscii ? shortestSequence(text.substr(i))
                                                         : 0;
        if (length == 0) break;
        i += length;
    }
    return i;
}

[[noreturn]] void throwEncodingFailed(std::uint32_t codePoint) {
    throw json_serialization_error("encoding failed with codepoint " + quotedCodePoint(codePoint));
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
void json_serializer::put(char letter) {
    using traits = std::streambuf::traits_type;
    if (traits::eq_int_type(target_.sputc(letter), traits::eof()))
        throwEncodingFailed(static_cast<unsigned char>(letter));
}

void json_serializer::put(std::string_view clean) {
    const auto size = static_cast<std::streamsize>(clean.size());
    const std::streamsize written = target_.sputn(clean.data(), size);
    if (written == size) return;
    auto at = static_cast<std::size_t>(written); // inside the code point that did not go out whole
    while (at > 0 && (static_cast<unsigned char>(clean[at]) & 0xC0) == 0x80)
        --at;
    fast_string_istreambuf rest(clean.substr(at));
    throwEncodingFailed(readCodePoint(rest));
}

void json_serializer::put_token(token mark) {
    if (const char letter = kTokenLetters[static_cast<std::size_t>(mark)]) return put(letter);
    if (mark == token::true_value) return put("true");
    if (mark == token::false_value) return put("false");
    if (mark == token::null_value) return put("null");
}

void json_serializer::put_integer(std::int64_t number) {
    NumberBuffer buffer;
    put({buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr});
}

/// A whole number beyond 64 bits takes the form of a fraction, since its integer conversion is not defined.
void json_serializer::put_float(double number) {
    constexpr double beyondInteger = 9223372036854775808.0; // 2^63
    if (number >= -beyondInteger && number < beyondInteger) {
        const auto whole = static_cast<std::int64_t>(number);
        if (static_cast<double>(whole) == number) {
            NumberBuffer buffer;
            char* end = std::to_chars(buffer.data(), buffer.data() + buffer.size(), whole).ptr;
            *end++ = '.';
            *end++ = '0';
            return put({buffer.data(), end});
        }
    } else if (!std::isfinite(number)) {
        return put("null");
    }
    NumberBuffer buffer;
    put(fractionText(number, static_cast<int>(output_.precision()), buffer));
}

void json_serializer::put_string(const std::string& text) {
    put('"');
    const std::size_t plain = plainLength(text);
    if (plain == text.size()) {
        put(std::string_view(text));
    } else if (isCleanUtf8(std::string_view(text).substr(plain))) {
        put_code_points(text);
    } else {
        std::string clean = text;
        stripInvalidUtf8(clean);
        put_code_points(clean);
    }
    put('"');
}

/// Runs of letters that stand for themselves go out in one piece.
void json_serializer::put_code_points(std::string_view text) {
    fast_string_istreambuf input(text);
    while (!input.rest().empty()) {
        const std::string_view run = input.rest().substr(0, plainLength(input.rest()));
        if (!run.empty()) put(run);
        input.skip(run.size());
        if (!input.rest().empty()) put_code_point(readCodePoint(input));
    }
}

/// An overlong form is judged by what it stands for, and written in its shortest form.
void json_serializer::put_code_point(std::uint32_t codePoint) {
    if (codePoint >= 0x80) {
        std::array<char, 4> bytes{};
        for (const char byte : utf8Of(codePoint, bytes))
            if (target_.sputc(byte) == std::streambuf::traits_type::eof()) throwEncodingFailed(codePoint);
        return;
    }
    const char escape = kEscapes[codePoint];
    if (escape == kDropped) return;
    if (escape == kPlain) return put(static_cast<char>(codePoint));
    put('\\');
    put(escape);
}

std::string dump(const value& document) {
    std::string text;
    {
        fast_string_ostreambuf buffer(text);
        std::ostream output(&buffer);
        json_serializer(output).dump(document);
    }
    return text;
}

} // namespace orv::json
