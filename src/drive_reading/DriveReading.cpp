#include "drive_reading/DriveReading.h"

#include "disk_engine/dialects/KnownValues.h"
#include "drive_reading/DeviceStatistics.h"
#include "drive_reading/FactTable.h"
#include "drive_reading/HealthVerdict.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace orv {

namespace {

constexpr std::uint64_t kGiB = std::uint64_t{1} << 30;
constexpr double kColdest = -40.0, kHottest = 150.0; // degrees Celsius that a drive can tell

/// The sources of one value, best first. The first that tells it counts; a later one that differs by more
/// than `rounding` makes a disagreement.
template <class T>
class Sources {
  public:
    Sources(const char* name, const char* unit, T rounding) : name_(name), unit_(unit), rounding_(rounding) {}

    void add(std::optional<T> value, std::string basis) {
        if (!value) return;
        if (!told_) {
            told_ = {value, std::move(basis)};
        } else if (differ(*told_.value, *value)) {
            disagreements_.push_back(fmt::format("{}: {}{} by {}, {}{} by {}", name_, *told_.value, unit_,
                                                 told_.basis, *value, unit_, basis));
        }
    }
    Told<T> end(DriveReading& reading) && {
        std::ranges::move(disagreements_, std::back_inserter(reading.disagreements));
        return std::move(told_);
    }

  private:
    bool differ(T a, T b) const { return (a < b ? b - a : a - b) > rounding_; }

    const char* name_;
    const char* unit_;
    T rounding_;
    Told<T> told_;
    std::vector<std::string> disagreements_;
};

// What two sources of a value may differ by without anything being wrong: they were read at different moments
// and count in different units.
Sources<std::int32_t> lifeSources() {
    return {"life", " %", 1};
}
Sources<std::uint64_t> hourSources() {
    return {"power-on hours", " h", 24};
}
Sources<std::uint64_t> cycleSources() {
    return {"power cycles", "", 10};
}
Sources<double> temperatureSources() {
    return {"temperature", " \u00B0C", 3.0};
}

std::string ruleBasis(const char* rule) {
    return rule ? fmt::format("the dialect's rule, {}", rule) : "the dialect's rule";
}

/// The years of the drafts in which drives of a major version (identify word 80) could first be built.
constexpr std::int32_t kFirstYear = 1995;
std::int32_t yearOf(const AtaSmartInfo& asi) {
    constexpr struct {
        std::uint32_t major;
        std::int32_t year;
    } years[] = {{4, 1996}, {5, 1998}, {6, 2000}, {7, 2001}, {8, 2004}, {9, 2008}, {10, 2010}, {11, 2013}};
    if (asi.IsNVMe) return 2011;
    std::int32_t year = kFirstYear;
    for (const auto& row : years)
        if (asi.Major >= row.major) year = row.year;
    return year;
}

/// The most hours that a drive of this kind can have run.
std::uint64_t mostHours(const AtaSmartInfo& asi, std::int64_t unixNow) {
    constexpr double hour = 3600.0, hoursOfYear = 8766.0;
    constexpr std::int32_t epoch = 1970;
    if (unixNow <= 0) return UINT64_MAX;
    const double since = (yearOf(asi) - epoch) * hoursOfYear;
    return static_cast<std::uint64_t>(std::max(static_cast<double>(unixNow) / hour - since, hoursOfYear));
}

// ---- ATA

/// The record of a drive that speaks another dialect than its own says, with the values by that one.
struct Spoken {
    AtaSmartInfo asi;
    Explanation why;
};

Spoken speak(const AtaSmartInfo& asi, const DialectFact& fact) {
    Spoken spoken{asi, {}};
    AtaSmartInfo& to = spoken.asi;
    to.DiskVendorId = fact.dialect;
    to.HostReadsWritesUnit = fact.unit;
    for (const auto flag :
         {&AtaSmartInfo::LifeIsRaw, &AtaSmartInfo::LifeIsRawInverted, &AtaSmartInfo::LifeHidden,
          &AtaSmartInfo::LifeIsRawHundredths, &AtaSmartInfo::LifeIsRawHighByte, &AtaSmartInfo::LifeIsCurrent})
        to.*flag = 0;
    if (fact.flag) to.*fact.flag = 1;
    to.Life = to.HostReads = to.HostWrites = kNone;
    for (std::uint32_t i = 0; i < std::min<std::uint32_t>(to.AttributeCount, kSmartEntries); ++i)
        applyAttributeRule(to, to.Attribute[i], Holds::onRead, &spoken.why);
    return spoken;
}

/// GiB of a record in bytes.
std::optional<std::uint64_t> bytesOf(std::int32_t gib) {
    const auto known = trafficOf(gib);
    if (!known) return std::nullopt;
    return static_cast<std::uint64_t>(*known) * kGiB;
}

struct Traffic {
    const char* name;
    Meaning meaning;
    std::int32_t AtaSmartInfo::*gib;
    std::optional<std::uint64_t> DeviceStatistics::*sectors;
    int byte; ///< of page 1
    Told<std::uint64_t> DriveReading::*to;
};
constexpr Traffic kTraffic[] = {
    {"host writes", Meaning::hostWrites, &AtaSmartInfo::HostWrites, &DeviceStatistics::logicalSectorsWritten,
     24, &DriveReading::hostWrittenBytes},
    {"host reads", Meaning::hostReads, &AtaSmartInfo::HostReads, &DeviceStatistics::logicalSectorsRead, 40,
     &DriveReading::hostReadBytes},
};

/// Many drives' sectors begin anew after 32 bits, so that an attribute which tells more is the better source.
void takeTraffic(DriveReading& reading, const AtaSmartInfo& asi, const Spoken* spoken,
                 const DialectFact* dialect, const DeviceStatistics& statistics) {
    for (const Traffic& row : kTraffic) {
        Told<std::uint64_t> attribute;
        if (const auto fact = valueByFact(asi, row.meaning))
            attribute = {fact->value, fact->basis};
        else if (dialect)
            attribute = {bytesOf(spoken->asi.*row.gib), dialect->basis};
        else
            attribute = {bytesOf(asi.*row.gib), "the dialect's rule"};
        Told<std::uint64_t> log;
        if (const auto& sectors = statistics.*row.sectors)
            log = {*sectors * asi.LogicalSectorSize,
                   fmt::format("device statistics, page 1, byte {}", row.byte)};
        const bool wrapped = log && attribute && *attribute.value > *log.value + kGiB;
        Sources<std::uint64_t> sources(row.name, " bytes", 32 * kGiB);
        for (const auto* each : {wrapped ? &attribute : &log, wrapped ? &log : &attribute})
            sources.add(each->value, each->basis);
        reading.*row.to = std::move(sources).end(reading);
        if (!(reading.*row.to)) (reading.*row.to).basis.clear();
    }
}

std::optional<std::uint64_t> plausibleHours(std::optional<std::uint64_t> hours, std::uint64_t most) {
    return hours && *hours <= most ? hours : std::nullopt;
}

std::optional<double> plausibleTemperature(std::optional<double> degrees) {
    return degrees && *degrees >= kColdest && *degrees <= kHottest ? degrees : std::nullopt;
}

void readAta(DriveReading& reading, const AtaSmartInfo& asi, const Explanation& why, const StandardLogs& logs,
             std::int64_t unixNow) {
    const DeviceStatistics statistics = readDeviceStatistics(logs.deviceStatistics);
    if (!statistics.fault.empty())
        reading.disagreements.push_back("the log of device statistics cannot be used whole: " +
                                        statistics.fault);
    const DialectFact* dialect = spokenDialect(asi);
    std::optional<Spoken> spoken;
    if (dialect) spoken = speak(asi, *dialect);

    auto life = lifeSources();
    if (statistics.percentageUsed)
        life.add(100 - static_cast<std::int32_t>(std::min(*statistics.percentageUsed, 100U)),
                 "device statistics, page 7, byte 8: 100 less the percentage used");
    const auto lifeByFact = valueByFact(asi, Meaning::life);
    if (lifeByFact) life.add(static_cast<std::int32_t>(lifeByFact->value), lifeByFact->basis);
    const std::int32_t lifeOfDialect = spoken ? spoken->asi.Life : asi.Life;
    // A fact stands in the place of the rule, which is known to be wrong there.
    if (lifeOfDialect >= 0 && lifeOfDialect <= 100 && !lifeByFact)
        life.add(lifeOfDialect, dialect ? dialect->basis : ruleBasis(why.life));
    reading.life = std::move(life).end(reading);

    const std::uint64_t most = mostHours(asi, unixNow);
    auto hours = hourSources();
    hours.add(plausibleHours(statistics.powerOnHours, most), "device statistics, page 1, byte 16");
    if (const auto fact = valueByFact(asi, Meaning::powerOnHours))
        hours.add(plausibleHours(fact->value, most), fact->basis);
    else if (asi.DetectedPowerOnHours >= 0)
        hours.add(plausibleHours(static_cast<std::uint64_t>(asi.DetectedPowerOnHours), most),
                  ruleBasis(why.powerOnHours));
    reading.powerOnHours = std::move(hours).end(reading);

    auto cycles = cycleSources();
    cycles.add(statistics.powerOnResets, "device statistics, page 1, byte 8");
    if (const auto count = powerCyclesOf(asi)) cycles.add(*count, ruleBasis(why.powerOnCount));
    reading.powerCycles = std::move(cycles).end(reading);

    auto temperature = temperatureSources();
    if (statistics.temperature)
        temperature.add(plausibleTemperature(*statistics.temperature), "device statistics, page 5, byte 8");
    temperature.add(plausibleTemperature(temperatureOf(asi)), ruleBasis(why.temperature));
    reading.temperature = std::move(temperature).end(reading);

    takeTraffic(reading, asi, spoken ? &*spoken : nullptr, dialect, statistics);

    if (const char* basis = solidStateByFact(asi))
        reading.solidState = {true, basis};
    else
        reading.solidState = {asi.IsSsd != 0, "identify word 217, or the dialect"};
}

// ---- NVMe: the SMART / Health Information page (NVM Express 1.4, 5.14.1.2)

/// Counts of the page have 16 bytes; one that needs more than 8 is none.
std::optional<std::uint64_t> pageCount(const AtaSmartInfo& asi, std::size_t at) {
    std::uint64_t value = 0;
    for (std::size_t i = 16; i-- > 0;) {
        if (i >= 8 && asi.SmartReadData[at + i] != 0) return std::nullopt;
        if (i < 8) value = value << 8 | asi.SmartReadData[at + i];
    }
    return value;
}

void readNvme(DriveReading& reading, const AtaSmartInfo& asi, std::int64_t unixNow) {
    constexpr std::uint64_t unit = 512'000; // a thousand sectors of 512 bytes
    constexpr std::uint64_t mostUnits = UINT64_MAX / unit;
    constexpr std::int32_t zeroCelsius = 273; // kelvin
    if (asi.AttributeCount == 0) return;
    const auto page = [](const char* bytes) { return fmt::format("health page, {}", bytes); };
    const std::uint8_t* data = asi.SmartReadData;
    reading.life = {100 - std::min<std::int32_t>(data[5], 100), page("byte 5: 100 less the percentage used")};
    if (const auto degrees = plausibleTemperature(data[1] + data[2] * 256 - zeroCelsius))
        reading.temperature = {degrees, page("bytes 1 and 2, kelvin")};
    const auto count = [&](Told<std::uint64_t>& to, std::size_t at, std::uint64_t most, std::uint64_t scale) {
        const auto value = pageCount(asi, at);
        if (value && *value <= most)
            to = {*value * scale, page(fmt::format("bytes {} to {}", at, at + 15).c_str())};
    };
    count(reading.hostReadBytes, 32, mostUnits, unit);
    count(reading.hostWrittenBytes, 48, mostUnits, unit);
    count(reading.powerCycles, 112, UINT64_MAX, 1);
    count(reading.powerOnHours, 128, mostHours(asi, unixNow), 1);
    reading.solidState = {true, "NVM Express"};
}

} // namespace

DriveReading readingOf(const AtaSmartInfo& asi, const Explanation& why, const StandardLogs& logs,
                       std::int64_t unixNow) {
    DriveReading reading;
    if (asi.IsNVMe)
        readNvme(reading, asi, unixNow);
    else
        readAta(reading, asi, why, logs, unixNow);
    judgeHealth(reading, asi, why, logs.saysItFails);
    return reading;
}

std::vector<std::string> differencesFromRule(const DriveReading& reading, const AtaSmartInfo& asi) {
    std::vector<std::string> names;
    const auto compare = [&](const char* name, const auto& told, std::optional<double> rule,
                             double rounding) {
        const bool same = told.value.has_value() == rule.has_value() &&
                          (!rule || std::abs(static_cast<double>(*told.value) - *rule) <= rounding);
        if (!same) names.emplace_back(name);
    };
    const auto number = [](const auto& value) {
        return value ? std::optional(static_cast<double>(*value)) : std::nullopt;
    };
    const auto unlessNone = [](std::int32_t value) {
        return value < 0 ? std::nullopt : std::optional<double>(value);
    };
    compare("life", reading.life, unlessNone(asi.Life), 0.0);
    const std::uint32_t status = reading.health == Verdict::unknown   ? DISK_STATUS_UNKNOWN
                                 : reading.health == Verdict::good    ? DISK_STATUS_GOOD
                                 : reading.health == Verdict::caution ? DISK_STATUS_CAUTION
                                                                      : DISK_STATUS_BAD;
    if (status != asi.DiskStatus) names.emplace_back("health");
    compare("powerOnHours", reading.powerOnHours, unlessNone(asi.DetectedPowerOnHours), 24.0);
    compare("powerCycles", reading.powerCycles, number(powerCyclesOf(asi)), 10.0);
    compare("hostReadBytes", reading.hostReadBytes, number(bytesOf(asi.HostReads)), 2.0 * kGiB);
    compare("hostWrittenBytes", reading.hostWrittenBytes, number(bytesOf(asi.HostWrites)), 2.0 * kGiB);
    compare("temperature", reading.temperature, temperatureOf(asi), 3.0);
    return names;
}

} // namespace orv
