#include "platform/machine/drives/MachineDriveFile.h"

#include "platform/machine/MachineColumns.h"
#include "platform/machine/drives/MachineDriveLogs.h"
#include "platform/text.h"

#include <algorithm>
#include <numeric>
#include <span>

namespace orv::platform {

namespace {

constexpr std::uint64_t kAny32 = 0xFFFFFFFF;
constexpr std::size_t kNvmeBlockBytes = 4096;

/// In the order of DriveWay.
constexpr std::string_view kWayNames[] = {
    "ataPassThrough", "idePassThrough", "smartIoctl", "scsiDisk", "siliconImage", "predictFailure",
    "csmi",           "megaRaid",       "scsi",       "sat",      "asm1352r",     "sunplus",
    "ioData",         "logitec",        "prolific",   "jmicron",  "cypress",      "storageQuery",
    "nvmeMini",       "intelNvm",       "nvmeRaid",   "samsung",  "jmicronNvme",  "jmicronNvmeUsb2",
    "asmediaNvme",    "realtekNvme",    "address",    "geometry", "descriptor",   "performance"};
static_assert(std::size(kWayNames) == static_cast<std::size_t>(DriveWay::performance) + 1);

/// In the order of DriveOperation.
constexpr std::string_view kOperationNames[] = {"identify", "smart",   "thresholds", "control", "namespace",
                                                "health",   "request", "log",        "status"};
static_assert(std::size(kOperationNames) == static_cast<std::size_t>(DriveOperation::status) + 1);

/// In the order of ControllerKind.
constexpr std::string_view kKindNames[] = {"ide", "scsi", "usb"};

template <class T>
std::optional<T> named(std::span<const std::string_view> names, std::string_view name) {
    const auto found = std::ranges::find(names, name);
    if (found == names.end()) return std::nullopt;
    return static_cast<T>(found - names.begin());
}

void readBlock(const Node& node, std::string_view key, std::size_t bytes, DriveBlock& into) {
    if (!node.has(key)) return;
    into = readDriveBlock(node, key);
    if (into.size() != bytes)
        node.at(key).fail("must be " + std::to_string(bytes) + " bytes, not " + std::to_string(into.size()));
}

void put64(DriveBlock& block, std::size_t at, std::uint64_t value) {
    for (std::size_t i = 0; i < sizeof value; ++i)
        block[at + i] = static_cast<std::uint8_t>(value >> (8 * i));
}

/// A whole namespace block, its beginning, or the two values that its size is made of.
void readNamespace(const Node& node, DriveBlock& into) {
    constexpr std::size_t formatExponent = 130;
    if (!node.has("namespace")) return;
    const Node value = node.at("namespace");
    if (value.isObject() && value.has("blocks")) {
        into.assign(kNvmeBlockBytes, 0);
        put64(into, 0, value.number("blocks", UINT64_MAX));
        into[formatExponent] = static_cast<std::uint8_t>(value.number("exponent", 0xFF, 9));
        value.done();
        return;
    }
    into = readDriveBlock(node, "namespace");
    if (into.empty() || into.size() > kNvmeBlockBytes)
        value.fail("must be 1 to 4096 bytes, not " + std::to_string(into.size()));
    into.resize(kNvmeBlockBytes);
}

/// A text of which each character is a byte of the block.
void readText(const Node& node, std::string_view key, std::size_t room, std::optional<std::string>& into) {
    if (!node.has(key)) return;
    std::string bytes;
    for (const wchar_t letter : utf8ToWide(node.text(key))) {
        if (static_cast<std::uint32_t>(letter) > 0xFF) node.at(key).fail("has a character above U+00FF");
        bytes.push_back(static_cast<char>(letter));
    }
    if (bytes.size() > room) node.at(key).fail("is longer than " + std::to_string(room) + " characters");
    into = bytes;
}

struct TextPlace {
    std::optional<std::string> DriveFacts::*text;
    std::string_view key;
    std::size_t bytes;
    std::size_t ataAt;
    std::size_t nvmeAt;
};
constexpr TextPlace kTexts[] = {
    {&DriveFacts::serialNumber, "serialNumber", 20, 20, 4},
    {&DriveFacts::model, "model", 40, 54, 24},
    {&DriveFacts::firmware, "firmware", 8, 46, 64},
};

bool sumsToZero(const DriveBlock& block) {
    return std::accumulate(block.begin(), block.end(), 0U) % 256 == 0;
}

/// Writes the texts over the block, and that there are logs. ATA has the two bytes of a word swapped, and a
/// check sum at the end.
void finishIdentify(DriveFacts& facts, bool nvme) {
    facts.identify = facts.identifyAsGiven;
    const bool hasLogs = !facts.deviceStatistics.empty();
    if (!facts.model && !facts.serialNumber && !facts.firmware && !hasLogs) return;
    DriveBlock& block = facts.identify;
    if (block.empty()) block.resize(nvme ? kNvmeBlockBytes : kAtaBlockBytes);
    const bool checked = !nvme && sumsToZero(block);
    for (const TextPlace& place : kTexts) {
        if (!(facts.*place.text)) continue;
        std::string text = *(facts.*place.text);
        text.resize(place.bytes, ' ');
        for (std::size_t i = 0; i < text.size(); ++i)
            block[nvme ? place.nvmeAt + i : place.ataAt + (i ^ 1)] = static_cast<std::uint8_t>(text[i]);
    }
    if (hasLogs) tellOfLogs(block);
    if (!checked) return;
    block.back() = 0;
    block.back() = static_cast<std::uint8_t>(-std::accumulate(block.begin(), block.end(), 0U));
}

DriveAnswer readAnswer(const Node& entry, const std::set<DriveWay>& ways) {
    DriveAnswer answer;
    const auto way = named<DriveWay>(kWayNames, entry.text("path"));
    if (!way || (*way < DriveWay::address && !ways.contains(*way)))
        entry.at("path").fail("\"" + entry.text("path") + "\" is no path of this drive");
    answer.way = *way;
    if (entry.has("operation")) {
        answer.operation = named<DriveOperation>(kOperationNames, entry.text("operation"));
        if (!answer.operation)
            entry.at("operation").fail("\"" + entry.text("operation") + "\" is no operation");
    }
    answer.nth = entry.number("nth", kAny32, 0);
    if (answer.nth == 0 && entry.has("nth"))
        entry.at("nth").fail("counts from 1; leave it out for every request");
    if (entry.has("bytes")) answer.bytes = static_cast<std::uint32_t>(entry.number("bytes", kAny32));
    if (entry.has("data")) answer.data = readDriveBlock(entry, "data");
    answer.error = static_cast<ErrorCode>(entry.number("error", kAny32, 0));
    answer.hang = entry.flag("hang", false);
    answer.vanish = entry.flag("vanish", false);
    entry.done();
    const int kinds = (answer.bytes || answer.data ? 1 : 0) + (answer.error ? 1 : 0) + (answer.hang ? 1 : 0) +
                      (answer.vanish ? 1 : 0);
    if (kinds != 1)
        entry.fail("needs \"bytes\", \"data\" or both, or one of \"error\", \"hang\", \"vanish\"");
    return answer;
}

void readDescriptor(const Node& node, DriveDescriptor& into) {
    const auto descriptor = node.find("descriptor");
    if (!descriptor) return;
    constexpr std::size_t room = 255;
    readText(*descriptor, "vendor", room, into.vendor);
    readText(*descriptor, "product", room, into.product);
    readText(*descriptor, "revision", room, into.revision);
    readText(*descriptor, "serial", room, into.serial);
    if (descriptor->has("busType"))
        into.busType = static_cast<std::uint32_t>(descriptor->number("busType", kAny32));
    descriptor->done();
}

void readPerformance(const Node& node, std::int64_t fromNs, std::optional<DrivePerformance>& into) {
    const auto performance = node.find("performance");
    if (!performance) return;
    constexpr std::uint64_t most = INT64_MAX / 2;
    constexpr std::uint64_t fastest = std::uint64_t{1} << 40;
    into = DrivePerformance{performance->number("bytesRead", most, 0),
                            performance->number("bytesWritten", most, 0),
                            performance->number("bytesReadPerSecond", fastest, 0),
                            performance->number("bytesWrittenPerSecond", fastest, 0), fromNs};
    performance->done();
}

void readFailurePredict(const Node& node, DriveFacts& facts) {
    const auto predict = node.find("failurePredict");
    if (!predict) return;
    FailurePredict told;
    if (predict->has("instanceName")) told.instanceName = utf8ToWide(predict->text("instanceName"));
    readBlock(*predict, "data", kAtaBlockBytes, told.data);
    readBlock(*predict, "thresholds", kAtaBlockBytes, told.thresholds);
    predict->done();
    facts.failurePredict = std::move(told);
}

/// The columns of the row, or false for none.
void readManagementRow(const Node& node, DriveRow& into) {
    if (!node.has("managementRow")) return;
    const Node row = node.at("managementRow");
    if (!row.isObject()) {
        if (node.flag("managementRow", true)) row.fail("must be an object, or false");
        into = {.present = false, .columns = {}};
        return;
    }
    into = {.present = true, .columns = readColumns(row)};
}

void readBlocks(const Node& node, bool nvme, DriveFacts& facts) {
    for (const char* key : {"smart", "thresholds"})
        if (nvme && node.has(key)) node.at(key).fail("an NVMe drive has none");
    for (const char* key : {"namespace", "health"})
        if (!nvme && node.has(key)) node.at(key).fail("only a drive with NVMe paths has one");
    readBlock(node, "identify", nvme ? kNvmeBlockBytes : kAtaBlockBytes, facts.identifyAsGiven);
    readBlock(node, "smart", kAtaBlockBytes, facts.smart);
    readBlock(node, "thresholds", kAtaBlockBytes, facts.thresholds);
    readBlock(node, "health", kHealthBytes, facts.health);
    readNamespace(node, facts.namespaceData);
    readDriveLogs(node, nvme, facts);
    for (const TextPlace& place : kTexts)
        readText(node, place.key, place.bytes, facts.*place.text);
    finishIdentify(facts, nvme);
}

} // namespace

DriveBlock readDriveBlock(const Node& node, std::string_view key) {
    const Node value = node.at(key);
    if (value.isText()) return node.bytes(key);
    if (!value.isObject()) value.fail("must be hexadecimal bytes or {\"file\": NAME}");
    DriveBlock block = value.fileBytes("file");
    value.done();
    return block;
}

std::set<DriveWay> readWays(const Node& entry) {
    std::set<DriveWay> ways;
    for (const Node& name : entry.list("paths")) {
        const auto way = named<DriveWay>(kWayNames, name.asText());
        if (!way || *way >= DriveWay::address) name.fail("no path is named \"" + name.asText() + "\"");
        if (!ways.empty() && isNvmeWay(*ways.begin()) != isNvmeWay(*way))
            name.fail("a drive has either ATA or NVMe paths");
        ways.insert(*way);
    }
    if (ways.contains(DriveWay::scsi) && ways.size() > 1)
        entry.at("paths").fail("a SCSI disk has no other path than \"scsi\"");
    return ways;
}

DriveLink readLink(const Node& link) {
    DriveLink values;
    constexpr const char* keys[] = {"maxSpeed", "maxWidth", "currentSpeed", "currentWidth"};
    for (std::size_t i = 0; i < values.size(); ++i)
        if (link.has(keys[i])) values[i] = static_cast<std::uint32_t>(link.number(keys[i], kAny32));
    link.done();
    return values;
}

DriveController readController(const Node& entry) {
    DriveController controller;
    controller.id = utf8ToWide(entry.text("id"));
    controller.name = utf8ToWide(entry.text("name", ""));
    if (entry.has("kind")) {
        controller.kind = named<ControllerKind>(kKindNames, entry.text("kind"));
        if (!controller.kind) entry.at("kind").fail("must be \"ide\", \"scsi\" or \"usb\"");
    }
    if (const auto link = entry.find("link")) controller.link = readLink(*link);
    entry.done();
    return controller;
}

DriveUsb readUsb(const Node& usb) {
    constexpr std::uint64_t most = 0xFFFF;
    DriveUsb device;
    device.vendorId = static_cast<std::uint16_t>(usb.number("vendorId", most));
    device.productId = static_cast<std::uint16_t>(usb.number("productId", most));
    device.name = utf8ToWide(usb.text("name", "USB Mass Storage Device"));
    usb.done();
    return device;
}

void readDriveFacts(const Node& node, const MachineDrive& drive, std::int64_t fromNs, DriveFacts& facts) {
    facts.present = node.flag("present", true);
    facts.openError = static_cast<ErrorCode>(node.number("openError", kAny32, facts.openError));
    readBlocks(node, drive.isNvme(), facts);
    if (const auto asleep = node.find("asleep")) {
        constexpr std::int64_t nsPerMillisecond = 1'000'000;
        facts.spinUpNs =
            static_cast<std::int64_t>(asleep->number("spinUpMilliseconds", 3'600'000)) * nsPerMillisecond;
        ++facts.sleep;
        asleep->done();
    }
    if (node.has("answers")) {
        facts.answers.clear();
        for (const Node& entry : node.list("answers"))
            facts.answers.push_back(readAnswer(entry, drive.ways));
    }
    facts.mediaType = static_cast<std::uint32_t>(node.number("mediaType", kAny32, facts.mediaType));
    facts.capacityBytes = node.number("capacityBytes", INT64_MAX, facts.capacityBytes);
    readDescriptor(node, facts.descriptor);
    readPerformance(node, fromNs, facts.performance);
    readFailurePredict(node, facts);
    if (const auto scsi = node.find("scsi")) {
        if (!drive.ways.contains(DriveWay::scsi) && !drive.ways.contains(DriveWay::megaRaid))
            scsi->fail("needs the path \"scsi\" or \"megaRaid\"");
        facts.scsi = readScsiDisk(*scsi);
        if (facts.capacityBytes == 0) facts.capacityBytes = facts.scsi->blocks * facts.scsi->blockBytes;
    }
    readManagementRow(node, facts.managementRow);
}

} // namespace orv::platform
