#include "memory/SPDDecoders.h"

#include "frame/HWException.h"
#include "log/log.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>

namespace orv::memory {

namespace {

constexpr std::size_t kSizeDDR4 = 512;
constexpr std::size_t kSizeDDR5 = 1024;

constexpr double kMediumTimebase = 0.125; // ns
constexpr double kFineTimebase = 0.001;   // ns

constexpr const wchar_t* kNoTiming = L"00-00-00-00";

void requireDDR4Size(const Spd& spd) {
    if (spd.size() < kSizeDDR4) throwHW(L"SPD data size is less than 512, size: {}", spd.size());
}

void requireDDR5Size(const Spd& spd) {
    if (spd.size() < kSizeDDR5) throwHW(L"SPD data size is less than 1024, size: {}", spd.size());
}

/// Position of the highest set bit of a value that is not 0.
std::uint32_t highestBit(unsigned value) {
    return static_cast<std::uint32_t>(std::bit_width(value)) - 1;
}

/// Medium timebase units, corrected by a signed number of fine ones.
double nanoseconds(unsigned medium, std::uint8_t fine) {
    return medium * kMediumTimebase + static_cast<std::int8_t>(fine) * kFineTimebase;
}

double picoseconds(const Spd& spd, std::size_t at) {
    return spd[at] | spd[at + 1] << 8;
}

/// Whole clock cycles that cover a time. A clock next to 0 would give more than 32 bits hold.
std::int32_t cycles(double time, double clock) {
    // Times are whole picoseconds, so a quotient that is not whole is farther from it than this; what is
    // nearer comes from the rounding of the decimal fractions.
    constexpr double roundingError = 1e-6;
    const double quotient = time / clock;
    const double nearest = std::round(quotient);
    const double count = std::abs(quotient - nearest) < roundingError ? nearest : std::ceil(quotient);
    constexpr double largest = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::clamp(count, -largest, largest));
}

std::wstring timingText(std::uint32_t cl, std::int32_t rcd, std::int32_t rp, std::int32_t ras) {
    return fmt::format(L"{:02}-{:02}-{:02}-{:02}", cl, rcd, rp, ras);
}

std::wstring serialText(const Spd& spd, std::size_t at) {
    return fmt::format(L"{:02X}{:02X}{:02X}{:02X}", spd[at], spd[at + 1], spd[at + 2], spd[at + 3]);
}

} // namespace

std::uint32_t parseLargeCLDDR4(const Spd& spd) {
    log::entry(spdLogger, L"parseLargeCLDDR4");
    requireDDR4Size(spd);
    if (spd[17] != 0) throwHW(L"parseLargeCLDDR4 failed, timebase is not standard");
    const std::uint32_t highRange = (spd[23] & 0x80) != 0 ? 16 : 0;
    // Four bytes of latencies, the top one with six bits. The lowest bit of byte 20 stands for 7 cycles.
    if (const unsigned top = spd[23] & 0x3F; top != 0) return 31 + highestBit(top) + highRange;
    for (std::uint32_t i = 22; i >= 20; --i)
        if (spd[i] != 0) return i * 8 + highestBit(spd[i]) - 153 + highRange;
    throwHW(L"parseLargeCLDDR4 failed");
}

std::wstring parseDDR4TimingBySPD(const Spd& spd) {
    log::entry(spdLogger, L"parseDDR4TimingBySPD");
    requireDDR4Size(spd);
    if (spd[17] != 0) throwHW(L"parseDDR4TimingBySPD failed, timebase is not standard");
    const std::uint32_t cl = parseLargeCLDDR4(spd);
    const double clock = nanoseconds(spd[18], spd[125]);
    const double rcd = nanoseconds(spd[25], spd[122]);
    const double rp = nanoseconds(spd[26], spd[121]);
    const double ras = ((spd[27] & 0x0Fu) * 256 + spd[28]) * kMediumTimebase;
    log::debug(spdLogger, L"CKAVGMin: {}, RCD: {}, RP: {}, RAS: {}", clock, rcd, rp, ras);
    if (clock <= 0) {
        log::warn(spdLogger, L"CKAVGMin is not above 0, no timing: {}", clock);
        return kNoTiming;
    }
    return timingText(cl, cycles(rcd, clock), cycles(rp, clock), cycles(ras, clock));
}

std::uint32_t parseLargeCLDDR5(const Spd& spd) {
    log::entry(spdLogger, L"parseLargeCLDDR5");
    requireDDR5Size(spd);
    // Five bytes of latencies, even ones only. The lowest bit of byte 24 stands for 20 cycles.
    for (std::uint32_t i = 28; i >= 24; --i)
        if (spd[i] != 0) return (i * 8 + highestBit(spd[i])) * 2 - 364;
    throwHW(L"parseLargeCLDDR5 failed");
}

std::wstring parseDDR5TimingBySPD(const Spd& spd) {
    log::entry(spdLogger, L"parseDDR5TimingBySPD");
    requireDDR5Size(spd);
    const std::uint32_t cl = parseLargeCLDDR5(spd);
    const double clock = picoseconds(spd, 20);
    const double rcd = picoseconds(spd, 32);
    const double rp = picoseconds(spd, 34);
    const double ras = picoseconds(spd, 36);
    if (clock <= 0) {
        log::warn(spdLogger, L"CK is 0, no timing");
        return kNoTiming;
    }
    return timingText(cl, cycles(rcd, clock), cycles(rp, clock), cycles(ras, clock));
}

std::wstring parseSerialNumberDDR3(const Spd&) {
    log::entry(spdLogger, L"parseSerialNumberDDR3");
    throwHW(L"Not implemented");
}

std::wstring parseSerialNumberDDR4(const Spd& spd) {
    log::entry(spdLogger, L"parseSerialNumberDDR4");
    requireDDR4Size(spd);
    return serialText(spd, 325);
}

std::wstring parseSerialNumberDDR5(const Spd& spd) {
    log::entry(spdLogger, L"parseSerialNumberDDR5");
    requireDDR5Size(spd);
    return serialText(spd, 517);
}

} // namespace orv::memory
