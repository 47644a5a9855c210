#include "json/serializer.h"
#include "json/streams.h"
#include "json/utf8.h"
#include "json/value.h"

#include <gmock/gmock.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <locale>
#include <random>
#include <sstream>
#include <tuple>

namespace orv::json {
namespace {

using ::testing::ThrowsMessage;

std::string dumped(const std::string& text) {
    return dump(value(text));
}

TEST(JsonValue, BuildsArraysAndObjectsFromNull) {
    value entry;
    entry["up"] = 1;
    entry["model"] = "x";
    entry["down"] = 2.5;
    value report;
    report.push_back(std::move(entry));
    // NOLINTNEXTLINE(bugprone-use-after-move,clang-analyzer-cplusplus.Move): null by contract
    EXPECT_EQ(kind::null, entry.type());
    report.emplace_back(true);
    report.emplace_back();
    const value copy = report;
    report.push_back(7);
    EXPECT_EQ(R"([{"down":2.5,"model":"x","up":1},true,null])", dump(copy));
    EXPECT_EQ(R"({"B":2,"a":4,"b":1})", dump(value{{"b", 1}, {"B", 2}, {"a", 4}, {"b", 5}}));
}

TEST(JsonValue, AValueMayBecomeAPartOfItself) {
    value outer{{"inner", value{{"deep", value{{"x", 1}}}}}};
    outer = outer["inner"];
    EXPECT_EQ(R"({"deep":{"x":1}})", dump(outer));
    outer = std::move(outer["deep"]);
    EXPECT_EQ(R"({"x":1})", dump(outer));
}

TEST(JsonValue, WrongUseThrows) {
    EXPECT_THAT(
        [] { value(1)["key"]; },
        ThrowsMessage<json_invalid_key>("invalid value key error: operator[] called on a non-object object"));
    EXPECT_THAT([] { value("text").push_back(1); },
                ThrowsMessage<json_type_error>(
                    "value type error: use push_back() or emplace_back() with non-array value"));
}

TEST(JsonValue, IntegersKeepTheirSignAndWholeNumbersGetAPointAndAZero) {
    value numbers;
    for (const value& number : {value(0xFFFFFFFFu), value(INT64_MIN)})
        numbers.push_back(number);
    for (const double number : {12.0, 0.0, -3.0, 99.5, 1e6, 1e18, 1e19, 0.1 + 0.2, 1234.5678, 1234567.5,
                                1.2345e-05, double{NAN}, double{INFINITY}, -double{INFINITY}})
        numbers.push_back(number);
    EXPECT_EQ("[4294967295,-9223372036854775808,12.0,0.0,-3.0,99.5,1000000.0,1000000000000000000.0,1e+19,"
              "0.3,1234.57,1.23457e+06,1.2345e-05,null,null,null]",
              dump(numbers));
}

void expectClassicText(double number) {
    if (std::ceil(number) == std::floor(number)) return;
    std::ostringstream expected;
    expected.imbue(std::locale::classic());
    expected << number;
    ASSERT_EQ(expected.str(), dump(value(number)));
}

TEST(JsonFloat, FractionsHaveTheTextOfAClassicStream) {
    std::mt19937_64 random(20261124);
    std::uniform_real_distribution<double> mantissa(-10.0, 10.0);
    std::uniform_int_distribution<int> exponent(-30, 14);
    std::uniform_int_distribution<int> sixDigits(100000, 999999);
    std::uniform_int_distribution<int> halves(-1999998, 1999998);
    for (int i = 0; i < 20000; ++i) {
        expectClassicText(mantissa(random) * std::pow(10.0, exponent(random)));
        // Ties between two last digits, one, two and three digits further behind the point.
        for (const double scale : {2.0, 4.0, 8.0, 16.0, 1024.0})
            expectClassicText(halves(random) / scale);
        // The closest that a number comes to a decimal tie without being one.
        expectClassicText((sixDigits(random) + 0.5) / std::pow(10.0, i % 12));
    }
    // Where the form or the number of digits changes, and its neighbours on both sides.
    for (const double edge : {1.0 / 256, 0.0001, 0.001, 0.00999999499, 0.0999999499, 0.1, 0.9999995,
                              9.9999951, 99999.95, 999999.5, 99999.5, 123456.5, 5e-324, 1e15 + 0.5})
        for (const double number : {std::nextafter(edge, 0.0), edge, std::nextafter(edge, 1e300), -edge})
            expectClassicText(number);
}

TEST(JsonString, EscapesAndDropsControls) {
    EXPECT_EQ(R"("\b\t\n\f\r\"\\/")", dumped("\b\t\n\f\r\"\\/"));
    EXPECT_EQ("\"Gg\x7F\"", dumped("G\x01g\x1F\x7F" + std::string(3, '\0')));
    EXPECT_EQ("{\"k\\n\":1}", dump(value{{"k\n", 1}}));
}

TEST(JsonString, KeepsUtf8AndStripsTheRest) {
    const std::pair<std::string, std::string> cases[] = {
        {"gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80",
         "gr\xC3\xBC\xC3\x9F \xE2\x82\xAC \xF0\x9F\x98\x80"},
        {"M\xFCnchen", "Mnchen"},       // a legacy code page loses its letters
        {"\x80\x80x", "x"},             // trailing bytes without a lead
        {"\xE2\x28\xA1", "\x28"},       // a broken sequence is judged anew byte by byte
        {"\xC1\xA1\xE0\x81\xA2", "ab"}, // an overlong form stands for its code point
        {"x\xC0\x80\xC0\xA2", "x\\\""}, // and is dropped or escaped like it
        {"\xE0\x9F\xBF\xF0\x8F\xBF\xBF", "\xDF\xBF\xEF\xBF\xBF"},         // the longest overlong forms
        {"\xE0\xA0\x80\xF0\x90\x80\x80", "\xE0\xA0\x80\xF0\x90\x80\x80"}, // and their neighbours
        {"\xFD\xBF\xBF\xBF\xBF\xBFz", "z"},
    };
    for (const auto& [input, clean] : cases)
        EXPECT_EQ("\"" + clean + "\"", dumped(input));
}

TEST(JsonString, EscapesAreFoundAtEveryPlace) {
    const std::pair<const char*, const char*> cases[] = {
        {"\"", "\\\""}, {"\\", "\\\\"}, {"\x1F", ""}, {"\xC3\xA4", "\xC3\xA4"}, {"\x7F", "\x7F"}};
    for (std::size_t at = 0; at < 20; ++at) {
        for (const auto& [letter, written] : cases) {
            const std::string before(at, '!');
            const std::string after(19 - at, '~');
            EXPECT_EQ('"' + before + written + after + '"', dumped(before + letter + after));
        }
    }
}

/// An output with room for a few bytes.
class ShortBuffer : public std::streambuf {
  public:
    explicit ShortBuffer(std::size_t room) { setp(room_.data(), room_.data() + room); }

  private:
    std::array<char, 16> room_{};
};

TEST(JsonWriter, AnOutputThatFailsIsReportedWithItsCodePoint) {
    const std::tuple<std::size_t, const char*, const char*> cases[] = {{3, "abcd", "'\\u0063'"},
                                                                       {3, "\xF0\x9F\x98\x80", "'\\u1F600'"}};
    for (const auto& [room, text, codePoint] : cases) {
        ShortBuffer refusing(room);
        std::ostream output(&refusing);
        const value written(text);
        EXPECT_THAT(
            [&] { json_serializer(output).dump(written); },
            ThrowsMessage<json_serialization_error>(
                std::string("value serialization error: encoding failed with codepoint ") + codePoint));
    }
}

TEST(JsonStreams, OutputGrowsBehindWhatTheStringHolds) {
    std::string text = "kept ";
    std::string expected = text;
    {
        fast_string_ostreambuf buffer(text);
        for (int i = 0; i < 500; ++i) {
            buffer.sputc('a');
            buffer.sputn("bcdefgh", i % 8);
            expected += "a" + std::string("bcdefgh", i % 8);
            if (i % 100 != 0) continue;
            buffer.pubsync();
            ASSERT_EQ(expected, text);
        }
    }
    EXPECT_EQ(expected, text);
}

} // namespace
} // namespace orv::json
