#include "json/numberText.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace orv::json {

namespace {

// The range of the short way below. From 2^-8 on the last of a double's 53 bits is worth at least 2^-60, so
// 60 bits behind the point hold every number exactly, and a tenfold of them still fits 64. From 999999.5 on
// six digits round up to the exponent form.
constexpr double kShortWayFrom = 1.0 / 256;
constexpr double kShortWayBelow = 999999.5;
constexpr int kFractionBits = 60;
constexpr std::uint64_t kOne = std::uint64_t{1} << kFractionBits;

/// A number as `digits` with the point before the last `decimals` of them.
struct Decimal {
    std::uint32_t digits;
    int decimals;
};

/// Six significant digits, a tie rounded to the even digit, without the zeros at the end. Whole numbers do
/// the work: general conversion takes several times as long, and a report's floats are nearly all in this
/// range.
Decimal sixDigits(double number) {
    auto digits = static_cast<std::uint32_t>(number);
    auto fraction = static_cast<std::uint64_t>((number - digits) * static_cast<double>(kOne));
    int decimals = 0;
    for (; digits < 100000; ++decimals) {
        fraction *= 10;
        digits = digits * 10 + static_cast<std::uint32_t>(fraction >> kFractionBits);
        fraction &= kOne - 1;
    }
    if (fraction > kOne / 2 || (fraction == kOne / 2 && digits % 2 == 1)) ++digits;
    for (; decimals > 0 && digits % 10 == 0; --decimals)
        digits /= 10;
    return {digits, decimals};
}

} // namespace

std::string_view fractionText(double number, int precision, NumberBuffer& buffer) {
    char* const first = buffer.data();
    char* const last = first + buffer.size();
    const double magnitude = number < 0 ? -number : number;
    if (precision != 6 || magnitude < kShortWayFrom || magnitude >= kShortWayBelow) {
        const auto end =
            std::to_chars(first, last, number, std::chars_format::general, std::min(precision, 40));
        return {first, end.ptr};
    }
    // From the last digit to the first.
    auto [digits, decimals] = sixDigits(magnitude);
    char* at = last;
    for (; decimals > 0; --decimals, digits /= 10)
        *--at = static_cast<char>('0' + digits % 10);
    if (at != last) *--at = '.';
    do
        *--at = static_cast<char>('0' + digits % 10);
    while ((digits /= 10) != 0);
    if (number < 0) *--at = '-';
    return {at, last};
}

} // namespace orv::json
