#include "drive_reading/DeviceStatistics.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv {

namespace {

constexpr std::size_t kPageBytes = 512;
constexpr std::uint16_t kRevision = 1;
constexpr std::size_t kListCountAt = 8; // of page 0; the page numbers follow
constexpr std::uint8_t kGeneral = 1, kTemperature = 5, kSolidState = 7;

// The head of a statistic is its highest byte.
constexpr std::uint8_t kSupported = 0x80;
constexpr std::uint8_t kValid = 0x40;
constexpr std::uint8_t kNormalized = 0x20;

using Page = std::span<const std::uint8_t>;

std::uint64_t littleEndian(Page page, std::size_t at, std::size_t bytes) {
    std::uint64_t value = 0;
    for (std::size_t i = bytes; i-- > 0;)
        value = value << 8 | page[at + i];
    return value;
}

bool isAll(Page page, std::uint8_t byte) {
    return std::ranges::all_of(page, [&](std::uint8_t each) { return each == byte; });
}

/// The pages of a log by their numbers, and what is wrong with them.
class Log {
  public:
    explicit Log(Page log) : log_(log) {
        if (log.empty()) return;
        if (log.size() % kPageBytes != 0)
            tell(fmt::format("{} bytes are no whole pages of {}", log.size(), kPageBytes));
        else if (isAll(log, 0) || isAll(log, 0xFF))
            tell("it is empty");
        else if (!isPage(log.first(kPageBytes), 0))
            tell("it does not begin with the list of its pages");
        else
            listed_ = log.subspan(kListCountAt + 1,
                                  std::min<std::size_t>(log[kListCountAt], kPageBytes - kListCountAt - 1));
    }

    /// Empty when the list does not name the page, or the log has it not.
    Page page(std::uint8_t number) {
        if (!lists(number)) return {};
        for (std::size_t at = kPageBytes; at + kPageBytes <= log_.size(); at += kPageBytes)
            if (isPage(log_.subspan(at, kPageBytes), number)) return log_.subspan(at, kPageBytes);
        tell(fmt::format("page {} is listed and not there", number));
        return {};
    }

    bool lists(std::uint8_t number) const { return std::ranges::find(listed_, number) != listed_.end(); }

    const std::string& fault() const { return fault_; }

  private:
    static bool isPage(Page page, std::uint8_t number) {
        return littleEndian(page, 0, 2) == kRevision && page[2] == number;
    }
    void tell(std::string fault) {
        if (fault_.empty()) fault_ = std::move(fault);
    }

    Page log_;
    Page listed_;
    std::string fault_;
};

/// `bytes` of a statistic, which has eight with its head. All ones are no count; in one byte they are a
/// value.
std::optional<std::uint64_t> statistic(Page page, std::size_t at, std::size_t bytes,
                                       bool normalizedToo = false) {
    if (page.empty()) return std::nullopt;
    const std::uint8_t head = page[at + 7];
    if ((head & kSupported) == 0 || (head & kValid) == 0) return std::nullopt;
    if ((head & kNormalized) != 0 && !normalizedToo) return std::nullopt;
    if (isAll(page.subspan(at, bytes == 1 ? 8 : bytes), 0xFF)) return std::nullopt;
    return littleEndian(page, at, bytes);
}

template <class T>
void take(std::optional<T>& to, std::optional<std::uint64_t> value) {
    if (value) to = static_cast<T>(*value);
}

} // namespace

std::vector<std::uint8_t> listedPages(std::span<const std::uint8_t> list) {
    const Log pages(list);
    std::vector<std::uint8_t> listed;
    for (const std::uint8_t number : {kGeneral, kTemperature, kSolidState})
        if (pages.lists(number)) listed.push_back(number);
    return listed;
}

DeviceStatistics readDeviceStatistics(std::span<const std::uint8_t> log) {
    DeviceStatistics statistics;
    Log pages(log);
    const Page counts = pages.page(kGeneral);
    take(statistics.powerOnResets, statistic(counts, 8, 4));
    take(statistics.powerOnHours, statistic(counts, 16, 4));
    take(statistics.logicalSectorsWritten, statistic(counts, 24, 6));
    take(statistics.logicalSectorsRead, statistic(counts, 40, 6));
    // One byte with a sign.
    if (const auto degrees = statistic(pages.page(kTemperature), 8, 1, true))
        statistics.temperature = static_cast<std::int8_t>(*degrees);
    take(statistics.percentageUsed, statistic(pages.page(kSolidState), 8, 1, true));
    statistics.fault = pages.fault();
    return statistics;
}

} // namespace orv
