#include "frame/HWException.h"
#include "memory/SPDDecoders.h"
#include "support/MemoryImages.h"

#include <gtest/gtest.h>

#include <random>

namespace orv::memory {
namespace {

using test::Bytes;
using test::spdOf;

template <class Call>
std::string reason(Call call) {
    try {
        call();
    } catch (const HWException& failure) {
        const std::string text = failure.what();
        return text.substr(text.find(": ") + 2);
    }
    return "nothing thrown";
}

// Bytes 20 to 23, and 24 to 28.
TEST(SpdDecoders, HighestLatencyOfEachRange) {
    const std::pair<Bytes, std::uint32_t> ddr4[] = {{{0x80, 0x00, 0x00, 0x00}, 14},
                                                    {{0xFF, 0xFF, 0x04, 0x00}, 25},
                                                    {{0x01, 0x00, 0x00, 0x80}, 23},
                                                    {{0x00, 0x00, 0x00, 0xBF}, 52}};
    for (const auto& [bytes, latency] : ddr4)
        EXPECT_EQ(latency, parseLargeCLDDR4(spdOf(512, {{20, bytes}}))) << latency;
    EXPECT_EQ(36u, parseLargeCLDDR5(spdOf(1024, {{24, {0xFF, 0x01, 0, 0, 0}}})));
    EXPECT_EQ(98u, parseLargeCLDDR5(spdOf(1024, {{24, {0, 0, 0, 0, 0x80}}})));
}

// Times are in units of 125 ps with a correction of -128 to 127 ps.
TEST(SpdDDR4, TimingRoundsUp) {
    using Runs = std::vector<std::pair<std::size_t, Bytes>>;
    const std::tuple<const char*, Runs, const wchar_t*> cases[] = {
        {"the upper half of byte 27 belongs to tRC: 48 ns",
         {{18, {0x08}}, {20, {0x01}}, {25, {0x08, 0x10, 0x21, 0x80}}},
         L"07-01-02-48"},
        {"no clock", {{20, {0x01}}, {25, {0x6E, 0x6E, 0x01, 0x00}}}, L"00-00-00-00"},
        {"a correction takes the whole clock", {{18, {1}}, {20, {1}}, {125, {0x83}}}, L"00-00-00-00"},
    };
    for (const auto& [why, runs, timing] : cases)
        EXPECT_EQ(timing, parseDDR4TimingBySPD(spdOf(512, runs))) << why;
}

// Little-endian picoseconds: CK at 20, tRCD, tRP and tRAS from 32 on.
TEST(SpdDDR5, TimingRoundsUp) {
    const std::tuple<Bytes, Bytes, Bytes, const wchar_t*> cases[] = {
        // 416 ps; 16000 / 416 is 38.46, 32000 / 416 is 76.9. Bit 2 of byte 26 is 20 + 2 * 18 = 56.
        {{0xA0, 0x01}, {0, 0, 0x04}, {0x80, 0x3E, 0x80, 0x3E, 0x00, 0x7D}, L"56-39-39-77"},
        // 357 ps (0x0165); 14280 / 357 is 40 and 14281 a little more; 65535 is not negative.
        {{0x65, 0x01}, {0x01}, {0xC8, 0x37, 0xC9, 0x37, 0xFF, 0xFF}, L"20-40-41-184"},
        {{0x00, 0x00}, {0x01}, {0x80, 0x3E, 0x80, 0x3E, 0x00, 0x7D}, L"00-00-00-00"},
    };
    for (const auto& [clock, latencies, times, timing] : cases)
        EXPECT_EQ(timing, parseDDR5TimingBySPD(spdOf(1024, {{20, clock}, {24, latencies}, {32, times}})));
}

// Exact arithmetic in whole picoseconds says how many cycles cover a time; in doubles some whole quotients
// come out a last bit above.
TEST(SpdDDR4, CyclesAreThoseOfWholePicoseconds) {
    std::mt19937 random(5);
    for (int i = 0; i < 20000; ++i) {
        const auto byte = [&](unsigned most) { return static_cast<std::uint8_t>(random() % (most + 1)); };
        // A clock that a module can have, and any times.
        const Bytes clock = {static_cast<std::uint8_t>(4 + byte(8))};
        const Bytes times = {byte(255), byte(255), byte(15), byte(255)};
        const Bytes fine = {byte(255), byte(255), 0, 0, byte(255)}; // of tRP, tRCD and, last, the clock
        const auto ps = [](unsigned medium, std::uint8_t correction) {
            return static_cast<int>(medium) * 125 + static_cast<std::int8_t>(correction);
        };
        const int period = ps(clock[0], fine[4]);
        const auto cycles = [&](int time) {
            return time <= 0 ? time / period : (time + period - 1) / period;
        };
        EXPECT_EQ(fmt::format(L"14-{:02}-{:02}-{:02}", cycles(ps(times[0], fine[1])),
                              cycles(ps(times[1], fine[0])), cycles(ps(times[2] * 256u + times[3], 0))),
                  parseDDR4TimingBySPD(spdOf(512, {{18, clock}, {20, {0x80}}, {25, times}, {121, fine}})));
    }
}

TEST(SpdDecoders, UnusableContent) {
    const std::pair<const char*, std::function<void()>> cases[] = {
        {"SPD data size is less than 512, size: 511", [] { parseLargeCLDDR4(Spd(511)); }},
        {"SPD data size is less than 1024, size: 1023", [] { parseLargeCLDDR5(Spd(1023)); }},
        {"parseDDR4TimingBySPD failed, timebase is not standard",
         [] { parseDDR4TimingBySPD(Spd(512, 0xFF)); }},
        {"parseLargeCLDDR4 failed", [] { parseDDR4TimingBySPD(Spd(512)); }},
    };
    for (const auto& [expected, call] : cases)
        EXPECT_EQ(expected, reason(call));
    EXPECT_EQ(L"98-01-01-01", parseDDR5TimingBySPD(Spd(1024, 0xFF)));
}

} // namespace
} // namespace orv::memory
