#include "platform/linux/drives/ScsiGeneric.h"

#include "platform/linux/ErrorCodes.h"
#include "platform/records/AtaSense.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <scsi/sg.h>
#include <sys/ioctl.h>

namespace orv::platform {

namespace {

/// More than a disk takes to spin up. At the end of a time-out the kernel aborts the command and resets what
/// does not let go of it, the port of the system's disk too.
constexpr std::uint32_t kUsualSeconds = 60;
constexpr std::uint32_t kMostSeconds = 600;
constexpr std::size_t kSenseRoom = 252;

// ATA PASS-THROUGH (16)
constexpr std::uint8_t kAtaPassThrough16 = 0x85;
constexpr std::uint8_t kExtended = 1; // beside the protocol: the high bytes count
constexpr std::uint8_t kNonData = 3 << 1;
constexpr std::uint8_t kPioIn = 4 << 1;
constexpr std::uint8_t kSectorsInByCount =
    0x0E; // from the device, in blocks, as many as the count register says
constexpr std::uint8_t kRegistersBack = 0x20; // in sense data, also of a command that ended well

// Sense data (SPC-4, 4.5)
constexpr std::uint8_t kNoSense = 0;
constexpr std::uint8_t kRecovered = 1;
constexpr std::uint8_t kAtaErrorBits = 0x21; // ERR and DF of the status register

/// The key that says what kind of an end it was; an error where the data are too short to tell.
std::uint8_t senseKey(std::span<const std::uint8_t> sense) {
    constexpr std::uint8_t aborted = 0x0B;
    const std::size_t at = isSenseFormat(sense, kDescriptorSense) ? 1 : 2;
    return sense.size() > at ? sense[at] & 0x0F : aborted;
}

bool endedBadly(const ScsiOutcome& outcome) {
    const std::uint8_t key = senseKey(outcome.sense);
    return outcome.status != 0 && key != kNoSense && key != kRecovered;
}

ScsiCommand passThrough16(const DriveRequest& request) {
    const IDEREGS& ata = request.ata;
    ScsiCommand command;
    command.cdbLength = 16;
    const std::size_t sectors = (request.dataBytes + kAtaSectorBytes - 1) / kAtaSectorBytes;
    command.dataBytes = sectors * kAtaSectorBytes;
    command.way = sectors == 0 ? DataWay::none : DataWay::fromDevice;
    command.cdb[0] = kAtaPassThrough16;
    command.cdb[1] = sectors == 0 ? kNonData : kPioIn;
    command.cdb[2] = sectors == 0 ? 0 : kSectorsInByCount;
    command.cdb[4] = ata.bFeaturesReg;
    command.cdb[6] = sectors == 0 ? ata.bSectorCountReg : static_cast<std::uint8_t>(sectors);
    command.cdb[8] = ata.bSectorNumberReg;
    command.cdb[10] = ata.bCylLowReg;
    command.cdb[12] = ata.bCylHighReg;
    command.cdb[13] = ata.bDriveHeadReg;
    command.cdb[14] = ata.bCommandReg;
    if (asksForStatus(ata)) command.cdb[2] |= kRegistersBack;
    if (!request.is48Bit) return command;
    command.cdb[1] |= kExtended;
    command.cdb[3] = request.ataHigh.bFeaturesReg;
    command.cdb[5] = request.ataHigh.bSectorCountReg;
    command.cdb[7] = request.ataHigh.bSectorNumberReg;
    command.cdb[9] = request.ataHigh.bCylLowReg;
    command.cdb[11] = request.ataHigh.bCylHighReg;
    return command;
}

ScsiCommand asGiven(const DriveRequest& request) {
    ScsiCommand command;
    command.cdb = request.cdb;
    command.cdbLength = request.cdbLength;
    command.dataBytes = request.dataBytes;
    if (request.dataBytes > 0) command.way = request.toDevice ? DataWay::toDevice : DataWay::fromDevice;
    return command;
}

/// What the drive's SCSI status, sense data and length of transfer were, in the answer's head.
void writeScsiEnd(const DriveRequest& request, const ScsiOutcome& outcome, std::span<std::byte> out) {
    SCSI_PASS_THROUGH head;
    if (out.size() < sizeof head) return;
    std::memcpy(&head, out.data(), sizeof head);
    const std::size_t sense = std::min(request.senseBytes, outcome.sense.size());
    head.ScsiStatus = outcome.status;
    head.SenseInfoLength = static_cast<std::uint8_t>(sense);
    head.DataTransferLength = static_cast<std::uint32_t>(dataOf(outcome));
    std::memcpy(out.data(), &head, sizeof head);
    if (request.senseAt >= sizeof head && request.senseAt + sense <= out.size() && sense > 0)
        std::memcpy(out.data() + request.senseAt, outcome.sense.data(), sense);
}

int directionOf(DataWay way) {
    if (way == DataWay::none) return SG_DXFER_NONE;
    return way == DataWay::toDevice ? SG_DXFER_TO_DEV : SG_DXFER_FROM_DEV;
}

} // namespace

ScsiCommand scsiCommandOf(const DriveRequest& request) {
    ScsiCommand command = request.isAta() ? passThrough16(request) : asGiven(request);
    const std::uint32_t seconds = request.timeOutSeconds == 0 ? kUsualSeconds : request.timeOutSeconds;
    command.milliseconds = std::min(seconds, kMostSeconds) * 1000;
    return command;
}

bool tellsAtaError(std::span<const std::uint8_t> sense) {
    const auto registers = ataRegistersOf(sense);
    return registers && (registers->bCommandReg & kAtaErrorBits) != 0;
}

ErrorCode errorOf(const DriveRequest& request, const ScsiOutcome& outcome) {
    constexpr std::uint16_t driverSense = 8;    // the driver has sense data: no error of its own
    constexpr std::uint16_t hostTimedOut = 3;   // DID_TIME_OUT
    constexpr std::uint16_t driverTimedOut = 6; // DRIVER_TIMEOUT, of older kernels
    const ErrorCode failed = errorFromErrno(EIO);
    if (outcome.hostStatus == hostTimedOut || (outcome.driverStatus & 0x0F) == driverTimedOut)
        return kTimedOut;
    if (outcome.hostStatus != 0 || (outcome.driverStatus & 0x0F & ~driverSense) != 0) return failed;
    if (outcome.status == 0) return kSuccess;
    if (outcome.status != kScsiCheckCondition || tellsAtaError(outcome.sense)) return failed;
    return request.isAta() && endedBadly(outcome) ? failed : kSuccess;
}

std::size_t dataOf(const ScsiOutcome& outcome) {
    return endedBadly(outcome) ? 0 : outcome.transferred;
}

Result<std::uint32_t> writeScsiAnswer(const DriveRequest& request, const ScsiOutcome& outcome,
                                      std::span<const std::byte> in, std::span<const std::uint8_t> data,
                                      std::span<std::byte> out) {
    if (const ErrorCode error = errorOf(request, outcome)) return Result<std::uint32_t>::failed(error);
    const std::size_t came = std::min({dataOf(outcome), request.dataBytes, data.size()});
    const auto answer = writeDriveAnswer(request, in, data.first(came), out);
    if (answer.ok() && request.path == DrivePath::scsiPassThrough) writeScsiEnd(request, outcome, out);
    if (answer.ok()) writeAtaRegisters(request, ataRegistersOf(outcome.sense).value_or(kEndedWell), out);
    return answer;
}

Result<ScsiOutcome> sendScsi(int file, const ScsiCommand& command, std::span<std::uint8_t> data) {
    std::array<std::uint8_t, 16> cdb = command.cdb;
    std::array<std::uint8_t, kSenseRoom> sense{};
    sg_io_hdr_t header{};
    header.interface_id = 'S';
    header.dxfer_direction = directionOf(command.way);
    header.cmd_len = command.cdbLength;
    header.mx_sb_len = static_cast<unsigned char>(sense.size());
    header.dxfer_len = static_cast<unsigned>(data.size());
    header.dxferp = data.data();
    header.cmdp = cdb.data();
    header.sbp = sense.data();
    header.timeout = command.milliseconds;
    if (::ioctl(file, SG_IO, &header) < 0) return Result<ScsiOutcome>::failed(errorFromErrno(errno));
    ScsiOutcome outcome;
    outcome.status = header.status;
    outcome.hostStatus = header.host_status;
    outcome.driverStatus = header.driver_status;
    const std::size_t left = header.resid < 0 ? 0 : static_cast<std::size_t>(header.resid);
    outcome.transferred = data.size() - std::min(left, data.size());
    outcome.sense.assign(sense.begin(),
                         sense.begin() + std::min<std::size_t>(header.sb_len_wr, sense.size()));
    return {std::move(outcome)};
}

} // namespace orv::platform
