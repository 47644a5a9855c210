#include "platform/machine/drives/MachineDriveAnswers.h"

#include "platform/machine/drives/MachineBridges.h"
#include "platform/machine/drives/MachineDriveLogs.h"
#include "platform/records/NvmeRecords.h"
#include "platform/records/StorageRecords.h"

#include <algorithm>
#include <cstring>

namespace orv::platform {

namespace {

using Answer = Result<std::uint32_t>;

constexpr std::int64_t kNsPerSecond = 1'000'000'000;
constexpr std::uint32_t kDriversTimeOut = 10; // seconds, for a block that has none of its own

constexpr std::uint8_t kIdentifyDevice = 0xEC;
constexpr std::uint8_t kSmart = 0xB0;
constexpr std::uint8_t kReadData = 0xD0;
constexpr std::uint8_t kReadThresholds = 0xD1;
constexpr std::uint8_t kEnable = 0xD8;
constexpr std::uint8_t kDisable = 0xD9;

/// What a command gave: its data, and the length to tell when it is not the right one.
struct Reply {
    DriveBlock data;
    std::optional<std::uint32_t> bytes;
    bool refused = false;                          ///< the drive or its bridge said no
    std::optional<IDEREGS> registers = kEndedWell; ///< none: who carries the command keeps them to itself
};
using Performed = Result<Reply>;

Performed refusal() {
    return {Reply{{}, {}, true, {}}, kIoDevice};
}

/// What an entry of "answers" does to a request before any data.
ErrorCode planned(MachineDrive& drive, const DriveAnswer* answer, std::uint32_t timeOutSeconds) {
    if (!answer) return kSuccess;
    if (answer->vanish) {
        drive.gone = true;
        return kNoSuchDevice;
    }
    if (answer->hang) {
        drive.clock().sleepNs((timeOutSeconds ? timeOutSeconds : kDriversTimeOut) * kNsPerSecond);
        return kTimedOut;
    }
    return answer->error;
}

const DriveBlock& blockOf(const DriveFacts& facts, DriveOperation operation) {
    static const DriveBlock none;
    switch (operation) {
    case DriveOperation::identify:
        return facts.identify;
    case DriveOperation::smart:
        return facts.smart;
    case DriveOperation::thresholds:
        return facts.thresholds;
    case DriveOperation::namespaceData:
        return facts.namespaceData;
    case DriveOperation::health:
        return facts.health;
    default:
        return none;
    }
}

bool hasData(DriveOperation operation) {
    return operation != DriveOperation::control && operation != DriveOperation::request &&
           operation != DriveOperation::status;
}

Performed statusAnswer(const MachineDrive& drive) {
    if (!drive.smartEnabled) return refusal();
    Reply reply;
    reply.registers = registersOf(drive.facts().status);
    return {reply};
}

/// A page of a log that the drive has.
Performed logAnswer(const DriveFacts& facts, const DriveCommand& command) {
    const DriveBlock page = logPage(facts.deviceStatistics, command.log, command.page);
    return page.empty() ? refusal() : Performed{Reply{page, {}}};
}

/// The drive's own answer to a command that reached it.
Performed ownAnswer(MachineDrive& drive, const DriveCommand& command) {
    if (command.target && *command.target != drive.target) return refusal();
    if (command.operation == DriveOperation::control) {
        if (command.feature == kEnable) drive.smartEnabled = true;
        if (command.feature == kDisable) drive.smartEnabled = false;
        return {};
    }
    if (command.operation == DriveOperation::status) return statusAnswer(drive);
    if (command.operation == DriveOperation::log) return logAnswer(drive.facts(), command);
    drive.pending.reset();
    if (command.asked) drive.pending = {command.way, *command.asked};
    if (!hasData(command.operation)) return {};
    const bool smart =
        command.operation == DriveOperation::smart || command.operation == DriveOperation::thresholds;
    const DriveBlock& block = blockOf(drive.facts(), command.operation);
    if (block.empty() || (smart && !drive.smartEnabled)) return refusal();
    return {Reply{block, {}}};
}

/// Carries a command out; its data are `dataBytes` long.
Performed perform(MachineDrive& drive, const DriveCommand& command, std::uint32_t timeOutSeconds,
                  std::size_t dataBytes) {
    const DriveAnswer* answer = drive.answerFor(command.way, command.operation);
    if (const ErrorCode error = planned(drive, answer, timeOutSeconds)) return Performed::failed(error);
    if (const ErrorCode error = drive.awaken(timeOutSeconds)) return Performed::failed(error);
    Performed performed = ownAnswer(drive, command);
    if (answer && answer->data) performed = {Reply{*answer->data, {}}};
    if (!performed.ok()) return performed;
    if (answer) performed.value.bytes = answer->bytes;
    if (hasData(command.operation)) performed.value.data.resize(dataBytes);
    return performed;
}

Answer told(Answer answer, const Reply& reply) {
    if (answer.ok() && reply.bytes) answer.value = *reply.bytes;
    return answer;
}

/// Reads the registers of an ATA command. A form that names the drive otherwise has no device byte.
std::optional<DriveCommand> readAtaCommand(DriveWay way, const DriveRequest& request) {
    constexpr std::uint8_t readLogExt = 0x2F;
    DriveCommand command{way, DriveOperation::control, {}, request.ata.bFeaturesReg, {}};
    if (way != DriveWay::scsiDisk && way != DriveWay::siliconImage && way != DriveWay::megaRaid)
        command.target = request.ata.bDriveHeadReg;
    if (request.ata.bCommandReg == kIdentifyDevice)
        command.operation = DriveOperation::identify;
    else if (request.ata.bCommandReg == readLogExt && request.is48Bit &&
             request.dataBytes == kAtaBlockBytes && request.ata.bSectorCountReg == 1 &&
             request.ataHigh.bSectorCountReg == 0) {
        command.operation = DriveOperation::log;
        command.log = request.ata.bSectorNumberReg;
        command.page = static_cast<std::uint16_t>(request.ata.bCylLowReg | request.ataHigh.bCylLowReg << 8);
    } else if (request.ata.bCommandReg != kSmart || request.ata.bCylLowReg != 0x4F ||
               request.ata.bCylHighReg != 0xC2)
        return std::nullopt;
    else if (asksForStatus(request.ata))
        command.operation = DriveOperation::status;
    else if (command.feature == kReadData)
        command.operation = DriveOperation::smart;
    else if (command.feature == kReadThresholds)
        command.operation = DriveOperation::thresholds;
    if (hasData(command.operation) != (request.dataBytes != 0)) return std::nullopt;
    return command;
}

/// Reads an NVMe command: which structure or log page it wants, in the low byte of dword 10.
std::optional<DriveCommand> readNvmeCommand(DriveWay way, const DriveRequest& request) {
    const std::uint32_t wanted = request.commandDword10 & 0xFF;
    const auto is = [&](std::uint8_t opcode, std::uint32_t structure) {
        return request.nvmeOpcode == opcode && wanted == structure;
    };
    DriveCommand command{way, DriveOperation::identify, {}, 0, {}};
    if (is(kNvmeIdentify, kNvmeIdentifyController) && request.namespaceId == 0) return command;
    command.operation = DriveOperation::namespaceData;
    if (is(kNvmeIdentify, kNvmeIdentifyNamespace) && request.namespaceId == 1) return command;
    command.operation = DriveOperation::health;
    if (is(kNvmeGetLogPage, kNvmeHealthLog) && request.namespaceId == kNvmeAllNamespaces) return command;
    return std::nullopt;
}

DriveWay wayOf(DrivePath path) {
    switch (path) {
    case DrivePath::ataPassThrough:
        return DriveWay::ataPassThrough;
    case DrivePath::idePassThrough:
        return DriveWay::idePassThrough;
    case DrivePath::smartReceive:
    case DrivePath::smartSend:
        return DriveWay::smartIoctl;
    case DrivePath::scsiDisk:
        return DriveWay::scsiDisk;
    case DrivePath::siliconImage:
        return DriveWay::siliconImage;
    case DrivePath::storageQuery:
        return DriveWay::storageQuery;
    case DrivePath::nvmeMini:
        return DriveWay::nvmeMini;
    case DrivePath::nvmeRaid:
        return DriveWay::nvmeRaid;
    case DrivePath::intelNvm:
    default:
        return DriveWay::intelNvm;
    }
}

Answer carryOut(MachineDrive& drive, const DriveRequest& request, std::span<const std::byte> in,
                std::span<std::byte> out) {
    const DriveWay way = wayOf(request.path);
    const auto command = request.isNvme() ? readNvmeCommand(way, request) : readAtaCommand(way, request);
    if (!command) return Answer::failed(kIoDevice);
    const Performed performed = perform(drive, *command, request.timeOutSeconds, request.dataBytes);
    if (!performed.ok()) return Answer::failed(performed.error);
    const Answer answer = told(writeDriveAnswer(request, in, performed.value.data, out), performed.value);
    if (answer.ok() && performed.value.registers) writeAtaRegisters(request, *performed.value.registers, out);
    return answer;
}

/// The registers of a command that ended well, as a bridge hands them on.
std::vector<std::uint8_t> senseOf(const IDEREGS& r) {
    return {0x72,
            1,
            0,
            0x1D,
            0,
            0,
            0,
            14,
            9,
            12,
            0,
            r.bFeaturesReg,
            0,
            r.bSectorCountReg,
            0,
            r.bSectorNumberReg,
            0,
            r.bCylLowReg,
            0,
            r.bCylHighReg,
            r.bDriveHeadReg,
            r.bCommandReg};
}

/// The end of a command block that a call carried, whatever the end was.
Answer endOfScsi(const DriveRequest& request, const ScsiReply& reply, std::span<const std::byte> in,
                 std::span<std::byte> out) {
    SCSI_PASS_THROUGH head;
    if (out.size() < sizeof head) return Answer::failed(kInsufficientBuffer);
    const auto data = std::span(reply.data).first(std::min(reply.data.size(), request.dataBytes));
    const Answer answer = writeDriveAnswer(request, in, data, out);
    std::memcpy(&head, in.data(), sizeof head);
    const std::size_t sense = std::min(reply.sense.size(), request.senseAt == 0 ? 0 : request.senseBytes);
    head.ScsiStatus = reply.status;
    head.DataTransferLength = static_cast<std::uint32_t>(data.size());
    head.SenseInfoLength = static_cast<std::uint8_t>(sense);
    std::memcpy(out.data(), &head, sizeof head);
    if (sense != 0) std::memcpy(out.data() + request.senseAt, reply.sense.data(), sense);
    return answer;
}

Answer carryOutByScsiDisk(MachineDrive& drive, const DriveRequest& request, std::span<const std::byte> in,
                          std::span<std::byte> out) {
    const auto performed = performScsi(drive, DriveWay::scsi, std::span(request.cdb).first(request.cdbLength),
                                       request.timeOutSeconds);
    if (!performed.ok()) return Answer::failed(performed.error);
    return endOfScsi(request, performed.value, in, out);
}

Answer carryOutScsi(MachineDrive& drive, const DriveRequest& request, std::span<const std::byte> in,
                    std::span<std::byte> out) {
    if (drive.ways.contains(DriveWay::scsi)) return carryOutByScsiDisk(drive, request, in, out);
    const auto command = readBridgeCommand(drive, request, in);
    const Performed performed =
        command ? perform(drive, *command, request.timeOutSeconds, request.dataBytes) : refusal();
    if (performed.value.refused && drive.checksCondition) return endOfScsi(request, refusedByScsi(), in, out);
    if (!performed.ok()) return Answer::failed(performed.error);
    if (command->operation == DriveOperation::status && performed.value.registers)
        return endOfScsi(request, {kCheckCondition, {}, senseOf(*performed.value.registers)}, in, out);
    return told(writeDriveAnswer(request, in, performed.value.data, out), performed.value);
}

template <class T>
DriveBlock blockOf(const T& record) {
    DriveBlock block(sizeof record);
    std::memcpy(block.data(), &record, sizeof record);
    return block;
}

DriveBlock geometryOf(const DriveFacts& facts) {
    constexpr std::uint32_t heads = 255;
    constexpr std::uint32_t sectors = 63;
    constexpr std::uint32_t sectorBytes = 512;
    DISK_GEOMETRY geometry{};
    geometry.Cylinders = static_cast<std::int64_t>(facts.capacityBytes / (heads * sectors * sectorBytes));
    geometry.MediaType = facts.mediaType;
    geometry.TracksPerCylinder = heads;
    geometry.SectorsPerTrack = sectors;
    geometry.BytesPerSector = sectorBytes;
    return blockOf(geometry);
}

/// A text of the identify block as the system's driver tells it.
std::string identifyText(const MachineDrive& drive, std::size_t ataAt, std::size_t nvmeAt,
                         std::size_t bytes) {
    const DriveBlock& block = drive.facts().identify;
    std::string text;
    for (std::size_t i = 0; !block.empty() && i < bytes; ++i)
        text.push_back(static_cast<char>(block[drive.isNvme() ? nvmeAt + i : ataAt + (i ^ 1)]));
    text.erase(std::min(text.find_last_not_of(std::string_view(" \0", 2)) + 1, text.size()));
    return text;
}

std::uint32_t busTypeOf(const MachineDrive& drive) {
    constexpr std::uint32_t busTypeSas = 10, busTypeSata = 11;
    const auto isUsbBridge = [](DriveWay way) { return isBridge(way) && way != DriveWay::samsung; };
    if (drive.usb || std::ranges::any_of(drive.ways, isUsbBridge)) return kBusTypeUsb;
    if (drive.facts().scsi) return busTypeSas;
    return drive.isNvme() ? kBusTypeNvme : busTypeSata;
}

DriveBlock descriptorOf(const MachineDrive& drive) {
    const DriveDescriptor told = toldDescriptor(drive);
    STORAGE_DEVICE_DESCRIPTOR head{};
    head.Version = sizeof head;
    head.BusType = *told.busType;
    DriveBlock texts;
    const auto place = [&](const std::string& text) {
        if (text.empty()) return std::uint32_t{0};
        const auto at = static_cast<std::uint32_t>(sizeof head + texts.size());
        texts.insert(texts.end(), text.begin(), text.end());
        texts.push_back(0);
        return at;
    };
    head.VendorIdOffset = place(*told.vendor);
    head.ProductIdOffset = place(*told.product);
    head.ProductRevisionOffset = place(*told.revision);
    head.SerialNumberOffset = place(*told.serial);
    head.Size = static_cast<std::uint32_t>(sizeof head + texts.size());
    DriveBlock block = blockOf(head);
    block.insert(block.end(), texts.begin(), texts.end());
    return block;
}

DriveBlock performanceOf(const MachineDrive& drive, const DrivePerformance& performance) {
    constexpr std::int64_t nsPerTick = 100;
    const std::int64_t now = drive.clock().now();
    const double seconds = static_cast<double>(now - performance.sinceNs) / static_cast<double>(kNsPerSecond);
    const auto moved = [&](std::uint64_t base, std::uint64_t perSecond) {
        constexpr double most = 4e18; // with the largest base it stays in range
        const double since = std::min(static_cast<double>(perSecond) * seconds, most);
        return static_cast<std::int64_t>(base + static_cast<std::uint64_t>(since));
    };
    DISK_PERFORMANCE record{};
    record.BytesRead = moved(performance.bytesRead, performance.readPerSecond);
    record.BytesWritten = moved(performance.bytesWritten, performance.writtenPerSecond);
    record.QueryTime = now / nsPerTick;
    record.StorageDeviceNumber = drive.number.value_or(0);
    constexpr std::u16string_view manager = u"PhysDisk";
    std::copy(manager.begin(), manager.end(), std::begin(record.StorageManagerName));
    return blockOf(record);
}

/// What the system's drivers know without asking the drive; empty when they do not.
DriveBlock driversBlock(const MachineDrive& drive, DriveWay way) {
    if (way == DriveWay::geometry) return geometryOf(drive.facts());
    if (way == DriveWay::descriptor) return descriptorOf(drive);
    if (way == DriveWay::performance)
        return drive.facts().performance ? performanceOf(drive, *drive.facts().performance) : DriveBlock();
    if (!drive.address) return {};
    const DriveAddress& place = *drive.address;
    return blockOf(SCSI_ADDRESS{sizeof(SCSI_ADDRESS), place.port, place.path, place.target, place.lun});
}

Answer answerByDriver(MachineDrive& drive, DriveWay way, std::span<std::byte> out) {
    const DriveAnswer* answer = drive.answerFor(way, std::nullopt);
    if (const ErrorCode error = planned(drive, answer, 0)) return Answer::failed(error);
    const DriveBlock block = answer && answer->data ? *answer->data : driversBlock(drive, way);
    if (block.empty()) return Answer::failed(kInvalidFunction);
    const bool inPart = way == DriveWay::descriptor; // its size field tells the reader
    if (!inPart && block.size() > out.size()) return Answer::failed(kInsufficientBuffer);
    const std::size_t bytes = std::min(block.size(), out.size());
    if (bytes != 0) std::memcpy(out.data(), block.data(), bytes);
    return {answer && answer->bytes ? *answer->bytes : static_cast<std::uint32_t>(bytes)};
}

Answer predictFailure(MachineDrive& drive, std::span<std::byte> out) {
    if (!drive.ways.contains(DriveWay::predictFailure)) return Answer::failed(kInvalidFunction);
    STORAGE_PREDICT_FAILURE record{};
    if (out.size() < sizeof record) return Answer::failed(kInsufficientBuffer);
    const DriveCommand command{DriveWay::predictFailure, DriveOperation::smart, {}, 0, {}};
    const Performed performed = perform(drive, command, 0, kAtaBlockBytes);
    if (!performed.ok()) return Answer::failed(performed.error);
    std::ranges::copy(performed.value.data, record.VendorSpecific);
    std::memcpy(out.data(), &record, sizeof record);
    return told({static_cast<std::uint32_t>(sizeof record)}, performed.value);
}

/// The two first fields of a property query, both 0: the device descriptor.
bool asksForDescriptor(std::span<const std::byte> in) {
    constexpr std::size_t fields = 2 * sizeof(std::uint32_t);
    return in.size() >= fields &&
           std::ranges::all_of(in.first(fields), [](std::byte b) { return b == std::byte{0}; });
}

/// The drives of a port whom a request means.
bool isMeant(const DriveAddress& place, const DriveRequest& request) {
    switch (request.path) {
    case DrivePath::scsiDisk:
        return request.target == place.target;
    case DrivePath::siliconImage:
        return request.target == place.path;
    case DrivePath::intelNvm:
        return request.pathId == place.path;
    case DrivePath::nvmeRaid:
        return request.pathId == place.path && request.target == place.target;
    default:
        return true; // "NvmeMini" names no drive
    }
}

} // namespace

DriveDescriptor toldDescriptor(const MachineDrive& drive) {
    DriveDescriptor told = drive.facts().descriptor;
    if (const auto& scsi = drive.facts().scsi) {
        if (!told.vendor) told.vendor = scsi->vendor;
        if (!told.product) told.product = scsi->product;
        if (!told.revision) told.revision = scsi->revision;
        if (!told.serial) told.serial = scsi->serial;
    }
    if (!told.vendor) told.vendor.emplace();
    if (!told.product) told.product = identifyText(drive, 54, 24, 40);
    if (!told.revision) told.revision = identifyText(drive, 46, 64, 8);
    if (!told.serial) told.serial = identifyText(drive, 20, 4, 20);
    if (!told.busType) told.busType = busTypeOf(drive);
    return told;
}

Answer answerDrive(MachineDrive& drive, std::uint32_t code, std::span<const std::byte> in,
                   std::span<std::byte> out) {
    if (!drive.present()) return Answer::failed(kNoSuchDevice);
    switch (code) {
    case IOCTL_SCSI_GET_ADDRESS:
        return answerByDriver(drive, DriveWay::address, out);
    case IOCTL_DISK_GET_DRIVE_GEOMETRY:
        return answerByDriver(drive, DriveWay::geometry, out);
    case IOCTL_DISK_PERFORMANCE:
        return answerByDriver(drive, DriveWay::performance, out);
    case IOCTL_STORAGE_PREDICT_FAILURE:
        return predictFailure(drive, out);
    case IOCTL_STORAGE_QUERY_PROPERTY:
        if (asksForDescriptor(in)) return answerByDriver(drive, DriveWay::descriptor, out);
        break;
    case IOCTL_SCSI_MINIPORT: // the port's
        return Answer::failed(kInvalidFunction);
    default:
        break;
    }
    const auto request = readDriveRequest(code, in, out.size());
    if (!request) return Answer::failed(kInvalidFunction);
    if (request->path == DrivePath::scsiPassThrough) return carryOutScsi(drive, *request, in, out);
    if (!drive.ways.contains(wayOf(request->path))) return Answer::failed(kInvalidFunction);
    return carryOut(drive, *request, in, out);
}

Answer answerPort(const std::vector<MachineDrive*>& drives, std::uint32_t code, std::span<const std::byte> in,
                  std::span<std::byte> out) {
    if (code != IOCTL_SCSI_MINIPORT) return Answer::failed(kInvalidFunction);
    const auto request = readDriveRequest(code, in, out.size());
    if (!request) return Answer::failed(kInvalidFunction);
    bool known = false;
    for (MachineDrive* drive : drives) {
        if (!drive->ways.contains(wayOf(request->path))) continue;
        known = true;
        if (drive->present() && isMeant(*drive->address, *request))
            return carryOut(*drive, *request, in, out);
    }
    return Answer::failed(known ? kIoDevice : kInvalidFunction);
}

Result<DriveData> performAta(MachineDrive& drive, DriveWay way, const DriveRequest& request) {
    if (!drive.present()) return Result<DriveData>::failed(kNoSuchDevice);
    const auto command = readAtaCommand(way, request);
    if (!command) return Result<DriveData>::failed(kIoDevice);
    Performed performed = perform(drive, *command, request.timeOutSeconds, request.dataBytes);
    if (!performed.ok()) return Result<DriveData>::failed(performed.error);
    return {DriveData{std::move(performed.value.data), performed.value.bytes, performed.value.registers}};
}

Result<ScsiReply> performScsi(MachineDrive& drive, DriveWay way, std::span<const std::uint8_t> cdb,
                              std::uint32_t timeOutSeconds) {
    using Ended = Result<ScsiReply>;
    if (!drive.present()) return Ended::failed(kNoSuchDevice);
    const DriveAnswer* answer = drive.answerFor(way, std::nullopt);
    if (const ErrorCode error = planned(drive, answer, timeOutSeconds)) return Ended::failed(error);
    if (const ErrorCode error = drive.awaken(timeOutSeconds)) return Ended::failed(error);
    ScsiReply reply = answerScsi(*drive.facts().scsi, drive.attentionsGiven, cdb);
    if (answer && answer->data) reply = {0, *answer->data, {}};
    return {std::move(reply)};
}

Answer readDrive(MachineDrive& drive, std::span<std::byte> into) {
    if (!drive.present()) return Answer::failed(kNoSuchDevice);
    if (const ErrorCode error = drive.awaken(0)) return Answer::failed(error);
    std::ranges::fill(into, std::byte{0});
    return {static_cast<std::uint32_t>(into.size())};
}

} // namespace orv::platform
