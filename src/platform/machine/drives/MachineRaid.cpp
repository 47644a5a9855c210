#include "platform/machine/drives/MachineRaid.h"

#include "platform/machine/Node.h"
#include "platform/machine/drives/MachineDriveAnswers.h"
#include "platform/servers/MegaRaidRequests.h"

#include <algorithm>
#include <cstring>

namespace orv::platform {

namespace {

using Answer = Result<std::uint32_t>;

constexpr std::uint64_t kAny32 = 0xFFFFFFFF;
constexpr std::string_view kCsmiRequests[] = {"driverInfo", "raidInfo", "raidConfig", "phyInfo",
                                              "csmiPassThrough"};
constexpr std::string_view kMegaRaidRequests[] = {"list", "megaRaidPassThrough"};

// Status of a MegaRAID answer.
constexpr std::uint8_t kUnknownCommand = 0x01;
constexpr std::uint8_t kNoSuchDriveStatus = 0x0C;
constexpr std::uint8_t kDoneWithError = 0x2D;

constexpr std::uint8_t kEnclosure = 0x0D; // SCSI device type

template <class Record>
void put(std::vector<std::byte>& block, const Record& record) {
    std::memcpy(block.data(), &record, std::min(block.size(), sizeof record));
}

/// Numbers of an array that has just so many.
std::vector<std::uint16_t> readNumbers(const Node& node, std::string_view key, std::size_t count) {
    std::vector<std::uint16_t> numbers;
    for (const Node& number : node.list(key))
        numbers.push_back(static_cast<std::uint16_t>(number.asNumber(0xFFFF)));
    numbers.resize(numbers.empty() ? count : numbers.size());
    if (numbers.size() != count) node.at(key).fail("must have " + std::to_string(count) + " numbers");
    return numbers;
}

CSMI_SAS_DRIVER_INFO_BUFFER readDriver(const Node& driver) {
    CSMI_SAS_DRIVER_INFO_BUFFER record{};
    const std::string name = driver.text("name");
    if (name.size() > sizeof record.szName) driver.at("name").fail("is longer than 81 bytes");
    name.copy(record.szName, sizeof record.szName);
    const auto revision = readNumbers(driver, "revision", 4);
    record.usMajorRevision = revision[0];
    record.usMinorRevision = revision[1];
    record.usBuildRevision = revision[2];
    record.usReleaseRevision = revision[3];
    const auto csmi = readNumbers(driver, "csmiRevision", 2);
    record.usCSMIMajorRevision = csmi[0];
    record.usCSMIMinorRevision = csmi[1];
    driver.done();
    return record;
}

CSMI_SAS_PHY_ENTITY phyOf(std::uint8_t target) {
    constexpr std::uint8_t endDevice = 0x10;
    CSMI_SAS_PHY_ENTITY phy{};
    phy.bPortIdentifier = phy.Attached.bPhyIdentifier = target;
    phy.Attached.bDeviceType = endDevice;
    phy.Attached.bSASAddress[2] = target;
    return phy;
}

/// The beginning of an answer, as far as its driver tells that it goes.
Answer give(const std::vector<std::byte>& block, std::optional<std::uint32_t> told,
            std::span<std::byte> out) {
    const std::size_t whole = std::min(block.size(), out.size());
    const std::size_t bytes = told ? std::min<std::size_t>(*told, whole) : whole;
    std::copy_n(block.begin(), bytes, out.begin());
    return {told.value_or(static_cast<std::uint32_t>(whole))};
}

} // namespace

MachineRaidPort::MachineRaidPort(const Node& entry, const MachineDrives& drives) {
    port = static_cast<std::uint32_t>(entry.number("port", 0xFF));
    drives_ = drives.ofPort(port);
    if (const auto section = entry.find("csmi")) readCsmi(*section);
    if (const auto section = entry.find("megaRaid")) readMegaRaid(*section);
    entry.done();
}

void MachineRaidPort::readAnswers(const Node& section, std::span<const std::string_view> requests) {
    for (const Node& entry : section.list("answers")) {
        RaidAnswer answer;
        answer.request = entry.text("request");
        if (std::ranges::find(requests, answer.request) == requests.end())
            entry.at("request").fail("no request is named \"" + answer.request + "\"");
        answer.nth = entry.number("nth", kAny32, 0);
        answer.error = static_cast<ErrorCode>(entry.number("error", kAny32, 0));
        if (entry.has("bytes")) answer.bytes = static_cast<std::uint32_t>(entry.number("bytes", kAny32));
        if (entry.has("status")) answer.status = static_cast<std::uint8_t>(entry.number("status", 0xFF));
        if (entry.has("dataBytes"))
            answer.dataBytes = static_cast<std::uint32_t>(entry.number("dataBytes", kAny32));
        entry.done();
        answers_.push_back(std::move(answer));
    }
}

void MachineRaidPort::readCsmi(const Node& section) {
    Csmi csmi;
    if (const auto driver = section.find("driver")) csmi.driver = readDriver(*driver);
    std::size_t most = 0;
    for (const Node& entry : section.list("sets")) {
        auto& set = csmi.sets.emplace_back();
        for (const Node& member : entry.list("drives")) {
            set.push_back({member.text("model"), static_cast<std::uint8_t>(member.number("target", 0xFF))});
            member.done();
        }
        entry.done();
        most = std::max(most, set.size());
    }
    const auto phys = std::ranges::count_if(
        drives_, [](const MachineDrive* drive) { return drive->ways.contains(DriveWay::csmi); });
    const auto number = [&](std::string_view key, std::uint64_t usual) {
        return static_cast<std::uint32_t>(section.number(key, kAny32, usual));
    };
    csmi.info.uNumRaidSets = number("numberOfSets", csmi.sets.size());
    csmi.info.uMaxDrivesPerSet = number("drivesPerSet", most);
    csmi.info.uMaxPhysicalDrives = number("maxPhysicalDrives", static_cast<std::uint64_t>(phys));
    csmi.numberOfPhys =
        static_cast<std::uint8_t>(section.number("numberOfPhys", 0xFF, static_cast<std::uint64_t>(phys)));
    readAnswers(section, kCsmiRequests);
    section.done();
    csmi_ = std::move(csmi);
}

void MachineRaidPort::readMegaRaid(const Node& section) {
    MegaRaid megaRaid;
    const auto add = [&](std::uint8_t id, std::uint8_t type) {
        MegaRaidListEntry entry{};
        entry.deviceId = id;
        entry.deviceType = type;
        megaRaid.entries.push_back(entry);
    };
    for (const Node& id : section.list("enclosures"))
        add(static_cast<std::uint8_t>(id.asNumber(0xFF)), kEnclosure);
    for (const MachineDrive* drive : drives_)
        if (drive->ways.contains(DriveWay::megaRaid)) add(drive->address->target, 0);
    megaRaid.count = static_cast<std::uint32_t>(section.number("count", kAny32, megaRaid.entries.size()));
    if (section.has("total")) megaRaid.total = static_cast<std::uint32_t>(section.number("total", kAny32));
    megaRaid.growing = section.flag("growing", false);
    readAnswers(section, kMegaRaidRequests);
    section.done();
    megaRaid_ = std::move(megaRaid);
}

RaidAnswer* MachineRaidPort::plannedFor(std::string_view request) {
    RaidAnswer* chosen = nullptr;
    for (RaidAnswer& answer : answers_) {
        if (answer.request != request) continue;
        ++answer.met;
        if (!chosen && (answer.nth == 0 || answer.nth == answer.met)) chosen = &answer;
    }
    return chosen;
}

MachineDrive* MachineRaidPort::driveOf(DriveWay way, std::uint8_t target) const {
    const auto found = std::ranges::find_if(drives_, [&](const MachineDrive* drive) {
        return drive->ways.contains(way) && drive->address->target == target;
    });
    return found == drives_.end() ? nullptr : *found;
}

std::optional<Answer> MachineRaidPort::answer(std::uint32_t code, std::span<const std::byte> in,
                                              std::span<std::byte> out) {
    if (megaRaid_)
        if (const auto head = readMegaRaidRequest(code, in, out.size()))
            return answerMegaRaid(*head, in, out);
    IOCTL_HEADER header;
    if (!csmi_ || code != IOCTL_SCSI_MINIPORT || in.size() < sizeof header || out.size() < in.size())
        return std::nullopt;
    std::memcpy(&header, in.data(), sizeof header);
    if (!std::string_view(header.Signature, sizeof header.Signature).starts_with("CSMI")) return std::nullopt;
    return answerCsmi(header, in, out);
}

Answer MachineRaidPort::answerCsmi(const IOCTL_HEADER& header, std::span<const std::byte> in,
                                   std::span<std::byte> out) {
    const struct {
        std::uint32_t code;
        const char* signature;
        std::string_view name;
    } rows[] = {{CC_CSMI_SAS_GET_DRIVER_INFO, CSMI_ALL_SIGNATURE, kCsmiRequests[0]},
                {CC_CSMI_SAS_GET_RAID_INFO, CSMI_RAID_SIGNATURE, kCsmiRequests[1]},
                {CC_CSMI_SAS_GET_RAID_CONFIG, CSMI_RAID_SIGNATURE, kCsmiRequests[2]},
                {CC_CSMI_SAS_GET_PHY_INFO, CSMI_SAS_SIGNATURE, kCsmiRequests[3]},
                {CC_CSMI_SAS_STP_PASSTHRU, CSMI_SAS_SIGNATURE, kCsmiRequests[4]}};
    for (const auto& row : rows) {
        if (row.code != header.ControlCode ||
            std::memcmp(row.signature, header.Signature, sizeof header.Signature) != 0)
            continue;
        const RaidAnswer* planned = plannedFor(row.name);
        if (planned && planned->error) return Answer::failed(planned->error);
        Block block(in.begin(), in.end());
        std::optional<std::uint32_t> told;
        if (const ErrorCode error = fillCsmi(header, block, told)) return Answer::failed(error);
        if (planned && planned->status) {
            IOCTL_HEADER head = header;
            head.ReturnCode = *planned->status;
            put(block, head);
        }
        return give(block, planned && planned->bytes ? planned->bytes : told, out);
    }
    return Answer::failed(kInvalidFunction);
}

ErrorCode MachineRaidPort::fillCsmi(const IOCTL_HEADER& header, Block& block,
                                    std::optional<std::uint32_t>& told) {
    switch (header.ControlCode) {
    case CC_CSMI_SAS_GET_DRIVER_INFO: {
        if (!csmi_->driver) return kInvalidFunction;
        auto driver = *csmi_->driver;
        driver.IoctlHeader = header;
        put(block, driver);
        return kSuccess;
    }
    case CC_CSMI_SAS_GET_RAID_INFO: {
        auto info = csmi_->info;
        info.IoctlHeader = header;
        put(block, info);
        return kSuccess;
    }
    case CC_CSMI_SAS_GET_RAID_CONFIG:
        fillConfig(block);
        return kSuccess;
    case CC_CSMI_SAS_GET_PHY_INFO: {
        CSMI_SAS_PHY_INFO_BUFFER phys{};
        phys.IoctlHeader = header;
        phys.bNumberOfPhys = csmi_->numberOfPhys;
        std::size_t at = 0;
        for (const MachineDrive* drive : drives_)
            if (drive->ways.contains(DriveWay::csmi) &&
                at < std::min<std::size_t>(kCsmiPhys, phys.bNumberOfPhys))
                phys.Phy[at++] = phyOf(drive->address->target);
        put(block, phys);
        return kSuccess;
    }
    default:
        return passThrough(block, told);
    }
}

/// As many members as the block has room for.
void MachineRaidPort::fillConfig(Block& block) const {
    CSMI_SAS_RAID_CONFIG_BUFFER head;
    if (block.size() < sizeof head) return;
    std::memcpy(&head, block.data(), sizeof head);
    if (head.uRaidSetIndex >= csmi_->sets.size()) return;
    const auto& set = csmi_->sets[head.uRaidSetIndex];
    std::size_t at = offsetof(CSMI_SAS_RAID_CONFIG_BUFFER, Drives);
    for (const Member& member : set) {
        CSMI_SAS_RAID_DRIVES drive{};
        member.model.copy(drive.bModel, sizeof drive.bModel);
        drive.bSASAddress[2] = member.target;
        if (at + sizeof drive > block.size()) return;
        std::memcpy(block.data() + at, &drive, sizeof drive);
        at += sizeof drive;
    }
}

ErrorCode MachineRaidPort::passThrough(Block& block, std::optional<std::uint32_t>& told) {
    constexpr std::size_t dataAt = offsetof(CSMI_SAS_STP_PASSTHRU_BUFFER, bDataBuffer);
    CSMI_SAS_STP_PASSTHRU_BUFFER head;
    if (block.size() < sizeof head) return kInvalidParameter;
    std::memcpy(&head, block.data(), sizeof head);
    const CSMI_SAS_STP_PASSTHRU& request = head.Parameters;
    if (request.uDataLength > block.size() - dataAt) return kInvalidParameter;
    MachineDrive* drive = driveOf(DriveWay::csmi, request.bPhyIdentifier);
    if (!drive || request.bPortIdentifier != request.bPhyIdentifier) return kIoDevice;
    const std::uint8_t* fis = request.bCommandFIS;
    constexpr std::uint8_t readLogExt = 0x2F, deviceToHost = 0x34;
    DriveRequest asked;
    asked.ata = {fis[3], fis[12], fis[4], fis[5], fis[6], fis[7], fis[2], 0};
    asked.ataHigh = {fis[11], fis[13], fis[8], fis[9], fis[10], 0, 0, 0};
    asked.is48Bit = fis[2] == readLogExt; // a FIS has room for the high bytes at every command
    asked.dataBytes = request.uDataLength;
    asked.timeOutSeconds = head.IoctlHeader.Timeout;
    const auto given = performAta(*drive, DriveWay::csmi, asked);
    if (!given.ok()) return given.error;
    if (given.value.registers) {
        const IDEREGS& left = *given.value.registers;
        const std::uint8_t answer[] = {deviceToHost,          0,
                                       left.bCommandReg,      left.bFeaturesReg,
                                       left.bSectorNumberReg, left.bCylLowReg,
                                       left.bCylHighReg,      left.bDriveHeadReg};
        std::ranges::copy(answer, head.Status.bStatusFIS);
        put(block, head);
    }
    if (!given.value.data.empty())
        std::memcpy(block.data() + dataAt, given.value.data.data(), given.value.data.size());
    told = given.value.bytes;
    return kSuccess;
}

Answer MachineRaidPort::answerMegaRaid(MegaRaidHead head, std::span<const std::byte> in,
                                       std::span<std::byte> out) {
    const bool list = head.frame.command == kMegaRaidFirmware;
    const RaidAnswer* planned = plannedFor(kMegaRaidRequests[list ? 0 : 1]);
    if (planned && planned->error) return Answer::failed(planned->error);
    DriveBlock data;
    std::optional<std::uint32_t> told;
    head.frame.status = kUnknownCommand;
    if (list && head.frame.firmwareCommand == kMegaRaidDriveList) fillList(head, data);
    if (head.frame.command == kMegaRaidPassThrough)
        if (const ErrorCode error = passThrough(head, data, told)) return Answer::failed(error);
    if (planned) {
        head.frame.status = planned->status.value_or(head.frame.status);
        head.frame.dataBytes = planned->dataBytes.value_or(head.frame.dataBytes);
        told = planned->bytes ? planned->bytes : told;
    }
    Block block(in.begin(), in.end());
    block.resize(out.size());
    put(block, head);
    if (!data.empty()) std::memcpy(block.data() + sizeof head, data.data(), data.size());
    return give(block, told, out);
}

void MachineRaidPort::fillList(MegaRaidHead& head, DriveBlock& data) const {
    const std::size_t room = head.frame.dataBytes;
    MegaRaidListHead list{static_cast<std::uint32_t>(sizeof(MegaRaidListHead) +
                                                     megaRaid_->entries.size() * sizeof(MegaRaidListEntry)),
                          megaRaid_->count};
    list.totalBytes = megaRaid_->total.value_or(list.totalBytes);
    if (megaRaid_->growing) list.totalBytes = static_cast<std::uint32_t>(room + sizeof(MegaRaidListEntry));
    data.resize(sizeof list + megaRaid_->entries.size() * sizeof(MegaRaidListEntry));
    std::memcpy(data.data(), &list, sizeof list);
    if (!megaRaid_->entries.empty())
        std::memcpy(data.data() + sizeof list, megaRaid_->entries.data(), data.size() - sizeof list);
    data.resize(room);
    head.frame.status = 0;
}

ErrorCode MachineRaidPort::passThrough(MegaRaidHead& head, DriveBlock& data,
                                       std::optional<std::uint32_t>& told) {
    MachineDrive* drive = driveOf(DriveWay::megaRaid, head.frame.deviceId);
    head.frame.status = kNoSuchDriveStatus;
    if (!drive) return kSuccess;
    head.frame.status = kDoneWithError;
    const std::uint8_t* cdb = head.frame.cdb;
    if (drive->facts().scsi) {
        const auto ended = performScsi(*drive, DriveWay::megaRaid, std::span(cdb, head.frame.cdbLength),
                                       head.header.Timeout);
        if (!ended.ok()) return ended.error == kIoDevice ? kSuccess : ended.error;
        head.frame.scsiStatus = ended.value.status;
        if (ended.value.status != 0) return kSuccess;
        head.frame.status = 0;
        data = ended.value.data;
        data.resize(head.frame.dataBytes);
        return kSuccess;
    }
    constexpr std::uint8_t ataPassThrough12[] = {0xA1, 8, 0x0E};
    constexpr std::uint8_t ataPassThrough16[] = {0x85, 9, 0x0E}; // of a 48-bit command
    const auto is = [&](std::uint8_t length, const auto& beginning) {
        return head.frame.cdbLength == length && std::equal(std::begin(beginning), std::end(beginning), cdb);
    };
    DriveRequest asked;
    asked.is48Bit = is(16, ataPassThrough16);
    if (!asked.is48Bit && !is(12, ataPassThrough12)) return kSuccess;
    asked.ata = asked.is48Bit ? IDEREGS{cdb[4], cdb[6], cdb[8], cdb[10], cdb[12], cdb[13], cdb[14], 0}
                              : IDEREGS{cdb[3], cdb[4], cdb[5], cdb[6], cdb[7], cdb[8], cdb[9], 0};
    if (asked.is48Bit) asked.ataHigh = {cdb[3], cdb[5], cdb[7], cdb[9], cdb[11], 0, 0, 0};
    asked.dataBytes = head.frame.dataBytes;
    asked.timeOutSeconds = head.header.Timeout;
    auto given = performAta(*drive, DriveWay::megaRaid, asked);
    if (given.error == kIoDevice) return kSuccess;
    if (!given.ok()) return given.error;
    head.frame.status = 0;
    data = std::move(given.value.data);
    told = given.value.bytes;
    return kSuccess;
}

MachineRaid::MachineRaid(const Node& root, const MachineDrives& drives) {
    for (const Node& entry : root.list("raidPorts")) {
        auto port = std::make_unique<MachineRaidPort>(entry, drives);
        if (ofPort(port->port)) entry.at("port").fail("another RAID driver has this port");
        ports_.push_back(std::move(port));
    }
}

MachineRaidPort* MachineRaid::ofPort(std::uint32_t port) const {
    const auto found = std::ranges::find(ports_, port, [](const auto& other) { return other->port; });
    return found == ports_.end() ? nullptr : found->get();
}

} // namespace orv::platform
