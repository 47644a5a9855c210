#include "drive_reading/ScsiReading.h"

#include "drive_reading/HealthVerdict.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>

namespace orv {

namespace {

using Bytes = std::span<const std::uint8_t>;

// Log pages, as kReadLogPages has them, and what a parameter of them is called.
constexpr std::uint8_t kWriteErrors = 0x02, kReadErrors = 0x03, kReverseReadErrors = 0x04,
                       kVerifyErrors = 0x05, kTemperature = 0x0D, kStartStop = 0x0E, kSolidState = 0x11,
                       kBackgroundScan = 0x15, kExceptions = 0x2F;
constexpr std::uint8_t kSerialPage = 0x80, kCharacteristicsPage = 0xB1;

std::uint64_t bigEndian(Bytes bytes, std::size_t at, std::size_t count) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < count; ++i)
        value = value << 8 | bytes[at + i];
    return value;
}

bool isAll(Bytes bytes, std::uint8_t byte) {
    return std::ranges::all_of(bytes, [&](std::uint8_t each) { return each == byte; });
}

/// The printable characters of a field, or of what is there of it.
std::string textAt(Bytes bytes, std::size_t at, std::size_t count) {
    std::string text;
    for (std::size_t i = at; i < std::min(at + count, bytes.size()); ++i)
        if (bytes[i] >= ' ' && bytes[i] <= '~') text.push_back(static_cast<char>(bytes[i]));
    const std::size_t first = std::min(text.find_first_not_of(' '), text.size());
    return text.substr(first, text.find_last_not_of(' ') + 1 - first);
}

using Faults = std::vector<std::string>;

/// The parameters of a log page: code (2 bytes), control, length, value. What comes behind the length that
/// the page tells is not looked at.
class LogPage {
  public:
    LogPage(const ScsiAnswers& answers, std::uint8_t number, Faults& faults)
        : number_(number), faults_(faults) {
        const auto found = answers.logPages.find(number);
        if (found == answers.logPages.end()) return;
        Bytes page = found->second;
        constexpr std::size_t head = 4;
        constexpr std::uint8_t codeBits = 0x7F; // with the bit that tells of a subpage
        if (page.size() < head)
            tell(fmt::format("{} bytes are no page", page.size()));
        else if (isAll(page, 0) || isAll(page, 0xFF))
            tell(page[0] == 0 ? "it has nothing but zeros" : "it has nothing but ones");
        else if ((page[0] & codeBits) != number || page[1] != 0)
            tell(fmt::format("the answer is page {:02X}h", page[0] & codeBits));
        else
            parameters_ = take(page.subspan(head), bigEndian(page, 2, 2), page.size() == kMostLogPageBytes);
    }

    /// The value of the first parameter of that code, if it has so many bytes at least; empty otherwise.
    Bytes parameter(std::uint16_t code, std::size_t least) {
        const auto found = parameters_.find(code);
        if (found == parameters_.end()) return {};
        if (found->second.size() >= least) return found->second;
        tell(fmt::format("parameter {:04X}h has {} bytes, not {}", code, found->second.size(), least));
        return {};
    }
    std::string basis(std::uint16_t code, const char* what = "") const {
        return fmt::format("log page {:02X}h, parameter {:04X}h{}", number_, code, what);
    }
    void tell(const std::string& fault) {
        faults_.push_back(fmt::format("log page {:02X}h: {}", number_, fault));
    }

  private:
    std::map<std::uint16_t, Bytes> take(Bytes rest, std::size_t length, bool cut) {
        constexpr std::size_t head = 4;
        std::map<std::uint16_t, Bytes> parameters;
        if (!cut && length > rest.size()) {
            tell(fmt::format("it tells of {} bytes, and {} came", length, rest.size()));
            cut = true;
        }
        rest = rest.first(std::min(length, rest.size()));
        while (rest.size() >= head) {
            const auto code = static_cast<std::uint16_t>(bigEndian(rest, 0, 2));
            const std::size_t bytes = rest[3];
            if (bytes > rest.size() - head) {
                if (!cut) tell(fmt::format("parameter {:04X}h runs over its end", code));
                break;
            }
            parameters.try_emplace(code, rest.subspan(head, bytes));
            rest = rest.subspan(head + bytes);
        }
        return parameters;
    }

    std::uint8_t number_;
    Faults& faults_;
    std::map<std::uint16_t, Bytes> parameters_;
};

/// A count of as many bytes as it pleases the disk; all ones are none.
std::optional<std::uint64_t> countOf(Bytes value) {
    if (value.empty() || isAll(value, 0xFF)) return std::nullopt;
    const std::size_t above = value.size() - std::min<std::size_t>(value.size(), 8);
    if (!isAll(value.first(above), 0)) return std::nullopt;
    return bigEndian(value, above, value.size() - above);
}

// ---- Sense data

std::string exceptionWords(const ScsiSense& sense) {
    constexpr const char* warnings[] = {nullptr,
                                        "its specified temperature is exceeded",
                                        "its enclosure is degraded",
                                        "a background self-test failed",
                                        "a background pre-scan found a medium error",
                                        "a background medium scan found a medium error",
                                        "its non-volatile cache has become volatile",
                                        "degraded power to its non-volatile cache",
                                        "a loss of power is expected"};
    constexpr const char* parts[] = {nullptr, "hardware", "controller", "data channel",
                                     "servo", "spindle",  "firmware"};
    constexpr const char* causes[] = {"general failure",
                                      "drive error rate too high",
                                      "data error rate too high",
                                      "seek error rate too high",
                                      "too many block reassigns",
                                      "access times too high",
                                      "start times too high",
                                      "channel parametrics",
                                      "detected by the controller",
                                      "throughput",
                                      "seek time",
                                      "spin-up retries",
                                      "calibration retries"};
    const std::uint8_t qualifier = sense.qualifier;
    const std::size_t part = qualifier >> 4, cause = qualifier & 0x0F;
    if (sense.code == 0x0B)
        return qualifier > 0 && qualifier < std::size(warnings) ? warnings[qualifier] : "a warning";
    if (part > 0 && part < std::size(parts) && cause < std::size(causes))
        return fmt::format("{}, {}", parts[part], causes[cause]);
    return qualifier == 1 ? "medium" : qualifier == 2 ? "logical unit" : qualifier == 3 ? "spare area" : "";
}

/// What an additional sense code says of the disk's health; false for one that says nothing of it.
bool judgeException(Finding& finding, const ScsiSense& sense, const char* source) {
    constexpr std::uint8_t warning = 0x0B, prediction = 0x5D, asTest = 0xFF;
    const std::string code = fmt::format("{:02X}/{:02X}, {}", sense.code, sense.qualifier, source);
    const std::string words = exceptionWords(sense);
    if (sense.code == warning)
        finding.take(Verdict::caution, fmt::format("it warns: {} ({})", words, code));
    else if (sense.code == prediction && sense.qualifier == asTest)
        finding.take(Verdict::good, fmt::format("a prediction of its failure was made as a test ({})", code));
    else if (sense.code == prediction)
        finding.take(Verdict::failing,
                     fmt::format("it predicts its failure{}{} ({})", words.empty() ? "" : ": ", words, code));
    else
        return false;
    return true;
}

void judgeSense(Finding& finding, Faults& faults, const ScsiAnswers& answers) {
    constexpr std::uint8_t notReady = 2, mediumError = 3, hardwareError = 4;
    for (const ScsiBytes& data : answers.sense) {
        const auto sense = scsiSenseOf(data);
        if (!sense) {
            faults.emplace_back("REQUEST SENSE: the answer is no sense data");
        } else if (judgeException(finding, *sense, "REQUEST SENSE")) {
        } else if (sense->key == hardwareError || sense->key == mediumError) {
            finding.take(Verdict::caution,
                         fmt::format("it tells of an error of its {} ({}, REQUEST SENSE)",
                                     sense->key == mediumError ? "medium" : "hardware", senseText(*sense)));
        } else if (sense->key == notReady) {
            faults.push_back(fmt::format("it is not ready ({})", senseText(*sense)));
        }
    }
}

// ---- The pages

void readIdentity(ScsiDisk& disk, const ScsiAnswers& answers, Faults& faults) {
    disk.vendor = textAt(answers.inquiry, 8, 8);
    disk.product = textAt(answers.inquiry, 16, 16);
    disk.revision = textAt(answers.inquiry, 32, 4);

    constexpr std::size_t head = 4;
    const auto productData = [&](const ScsiBytes& page, std::uint8_t number) -> Bytes {
        if (page.empty()) return {};
        if (page.size() >= head && page[1] == number)
            return Bytes(page).subspan(head,
                                       std::min<std::size_t>(bigEndian(page, 2, 2), page.size() - head));
        faults.push_back(fmt::format("vital product data {:02X}h: the answer is another page", number));
        return {};
    };
    const Bytes serial = productData(answers.serialNumberPage, kSerialPage);
    disk.serialNumber = textAt(serial, 0, serial.size());

    constexpr std::uint16_t doesNotTurn = 1, slowest = 0x0401, fastest = 0xFFFE;
    const Bytes characteristics = productData(answers.characteristicsPage, kCharacteristicsPage);
    const auto rate =
        static_cast<std::uint16_t>(characteristics.size() < 2 ? 0 : bigEndian(characteristics, 0, 2));
    if (rate >= slowest && rate <= fastest) disk.rotationRate = rate;
    if (rate == doesNotTurn || disk.rotationRate != 0)
        disk.reading.solidState = {rate == doesNotTurn, "vital product data B1h, rotation rate"};
}

void readCapacity(ScsiDisk& disk, Bytes capacity, Faults& faults) {
    constexpr std::size_t shortBytes = 8, longBytes = 12;
    if (capacity.empty()) return;
    const std::size_t addressBytes = capacity.size() >= longBytes ? 8 : 4;
    if (capacity.size() < shortBytes) {
        faults.push_back(fmt::format("READ CAPACITY: {} bytes are too few", capacity.size()));
        return;
    }
    const std::uint64_t last = bigEndian(capacity, 0, addressBytes);
    const std::uint64_t blockBytes = bigEndian(capacity, addressBytes, 4);
    if (blockBytes == 0 || isAll(capacity.first(addressBytes), 0xFF) || last >= UINT64_MAX / blockBytes)
        faults.push_back(fmt::format("READ CAPACITY: {} blocks of {} bytes are no size", last, blockBytes));
    else
        disk.sizeBytes = (last + 1) * blockBytes;
}

void readTemperature(ScsiDisk& disk, Finding& finding, const ScsiAnswers& answers, Faults& faults) {
    constexpr std::uint8_t unknown = 0xFF;
    constexpr double rounding = 3.0; // the two pages may be measured at different moments
    LogPage page(answers, kTemperature, faults);
    const Bytes now = page.parameter(0, 2), reference = page.parameter(1, 2);
    const std::uint8_t limit = reference.empty() || reference[1] == unknown ? 0 : reference[1];
    const bool onlyZeros = !now.empty() && now[1] == 0 && !reference.empty() && limit == 0;
    auto& told = disk.reading.temperature;
    if (!now.empty() && now[1] != unknown && !onlyZeros) told = {now[1], page.basis(0)};
    if (told && limit > 0 && *told.value > limit)
        finding.take(Verdict::caution,
                     fmt::format("its temperature, {} \u00B0C, is above its reference of {} \u00B0C, by {}",
                                 *told.value, limit, page.basis(1)));

    LogPage exceptions(answers, kExceptions, faults);
    const Bytes exception = exceptions.parameter(0, 2);
    if (!exception.empty() && exception[0] == 0)
        finding.take(Verdict::good, "it tells of nothing wrong, by " + exceptions.basis(0));
    else if (!exception.empty() && !judgeException(finding, {0, exception[0], exception[1]}, "log page 2Fh"))
        exceptions.tell(fmt::format("{:02X}/{:02X} is no exception", exception[0], exception[1]));
    if (exception.size() < 3 || exception[2] == 0 || exception[2] == unknown) return;
    if (!told)
        told = {exception[2], exceptions.basis(0, ", latest temperature")};
    else if (std::abs(*told.value - exception[2]) > rounding)
        disk.reading.disagreements.push_back(fmt::format("temperature: {} \u00B0C by {}, {} \u00B0C by {}",
                                                         *told.value, told.basis, exception[2],
                                                         exceptions.basis(0)));
}

void readUse(ScsiDisk& disk, const ScsiAnswers& answers, Faults& faults) {
    constexpr std::uint64_t minutesOfHour = 60, mostHours = 50 * 8766; // fifty years
    DriveReading& reading = disk.reading;

    LogPage startStop(answers, kStartStop, faults);
    constexpr std::uint16_t accumulatedStarts = 4;
    if (const auto starts = countOf(startStop.parameter(accumulatedStarts, 4)))
        reading.powerCycles = {starts, startStop.basis(accumulatedStarts, ", starts and stops")};

    LogPage scan(answers, kBackgroundScan, faults);
    const Bytes status = scan.parameter(0, 4);
    const auto minutes = countOf(status.first(std::min<std::size_t>(status.size(), 4)));
    if (minutes && *minutes / minutesOfHour > mostHours)
        scan.tell(fmt::format("{} power-on hours are too many", *minutes / minutesOfHour));
    else if (minutes)
        reading.powerOnHours = {*minutes / minutesOfHour, scan.basis(0, ", power-on minutes")};

    LogPage solidState(answers, kSolidState, faults);
    constexpr std::uint16_t endurance = 1;
    const Bytes used = solidState.parameter(endurance, 4);
    if (used.empty()) return;
    reading.life = {100 - std::min<std::int32_t>(used[3], 100),
                    solidState.basis(endurance, ": 100 less the percentage used")};
    if (!reading.solidState) reading.solidState = {true, solidState.basis(endurance)};
}

struct CounterPage {
    std::uint8_t page;
    UncorrectedErrors errors;
    Told<std::uint64_t> DriveReading::*bytes; ///< null: the bytes are not the host's
};
constexpr CounterPage kCounterPages[] = {
    {kReadErrors, readErrors, &DriveReading::hostReadBytes},
    {kReverseReadErrors, readErrors, nullptr},
    {kWriteErrors, writeErrors, &DriveReading::hostWrittenBytes},
    {kVerifyErrors, verifyErrors, nullptr},
};

void readCounters(ScsiDisk& disk, const ScsiAnswers& answers, Faults& faults) {
    constexpr std::uint16_t bytesProcessed = 5, uncorrected = 6;
    for (const CounterPage& row : kCounterPages) {
        LogPage page(answers, row.page, faults);
        if (const auto bytes = countOf(page.parameter(bytesProcessed, 1)); bytes && row.bytes)
            disk.reading.*row.bytes = {bytes, page.basis(bytesProcessed, ", bytes processed")};
        auto& errors = disk.uncorrectedErrors[row.errors];
        if (const auto count = countOf(page.parameter(uncorrected, 1))) errors = errors.value_or(0) + *count;
    }
}

bool tellsAnything(const DriveReading& reading) {
    return reading.temperature || reading.powerOnHours || reading.powerCycles || reading.hostReadBytes ||
           reading.hostWrittenBytes;
}

} // namespace

std::optional<ScsiSense> scsiSenseOf(Bytes sense) {
    constexpr std::uint8_t fixedFormat = 0x70, descriptorFormat = 0x72; // with bit 0: of an earlier command
    constexpr std::size_t fixedBytes = 14, fixedLengthAt = 7, descriptorBytes = 4;
    if (sense.empty()) return std::nullopt;
    const std::uint8_t form = sense[0] & 0x7E;
    const auto keyOf = [](std::uint8_t byte) { return static_cast<std::uint8_t>(byte & 0x0F); };
    if (form == descriptorFormat && sense.size() >= descriptorBytes)
        return ScsiSense{keyOf(sense[1]), sense[2], sense[3]};
    if (form != fixedFormat || sense.size() <= fixedLengthAt) return std::nullopt;
    const bool tellsCode =
        sense.size() >= fixedBytes && fixedLengthAt + 1U + sense[fixedLengthAt] >= fixedBytes;
    if (!tellsCode) return ScsiSense{keyOf(sense[2]), 0, 0};
    return ScsiSense{keyOf(sense[2]), sense[12], sense[13]};
}

std::string senseText(const ScsiSense& sense) {
    return fmt::format("{:02X}/{:02X}/{:02X}", sense.key, sense.code, sense.qualifier);
}

bool isScsiDisk(Bytes inquiry) {
    constexpr std::size_t standardBytes = 36;
    constexpr std::uint8_t removable = 0x80, oldest = 2, newest = 0x0F; // SCSI-2 to those to come
    if (inquiry.size() < standardBytes) return false;
    const std::string vendor = textAt(inquiry, 8, 8);
    return inquiry[0] == 0 && (inquiry[1] & removable) == 0 && inquiry[2] >= oldest && inquiry[2] <= newest &&
           vendor != "ATA" && vendor != "NVMe" && !textAt(inquiry, 16, 16).empty();
}

std::vector<std::uint8_t> listedLogPages(Bytes page, std::string& fault) {
    constexpr std::size_t head = 4;
    std::vector<std::uint8_t> listed;
    if (page.size() < head || (page[0] & 0x7F) != kSupportedPages || page[1] != 0) {
        fault = "log page 00h: the answer is no list of pages";
        return listed;
    }
    const Bytes names = page.subspan(head, std::min<std::size_t>(bigEndian(page, 2, 2), page.size() - head));
    for (const std::uint8_t wanted : kReadLogPages)
        if (std::ranges::find(names, wanted) != names.end()) listed.push_back(wanted);
    if (isAll(names, 0) && !std::ranges::equal(names, Bytes(&kSupportedPages, 1)))
        fault = names.empty() ? "log page 00h: the list of pages is empty"
                              : "log page 00h: the list of pages has nothing but zeros";
    return listed;
}

ScsiDisk scsiDiskOf(const ScsiAnswers& answers) {
    ScsiDisk disk;
    Faults faults = answers.refusals;
    Finding finding;
    readIdentity(disk, answers, faults);
    readCapacity(disk, answers.capacity, faults);
    judgeSense(finding, faults, answers);
    readTemperature(disk, finding, answers, faults);
    readUse(disk, answers, faults);
    readCounters(disk, answers, faults);
    judgeLife(finding, disk.reading.life);
    if (finding.verdict == Verdict::unknown && tellsAnything(disk.reading))
        finding.take(Verdict::good, "nothing that it tells is wrong");
    disk.solidState = disk.reading.solidState.value.value_or(false);
    disk.reading.health = finding.verdict;
    disk.reading.healthReason =
        finding.verdict == Verdict::unknown ? "nothing tells its health" : std::move(finding.reason);
    disk.fault = fmt::format("{}", fmt::join(faults, "; "));
    return disk;
}

} // namespace orv
