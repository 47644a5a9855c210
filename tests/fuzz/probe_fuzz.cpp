// Any bytes as what a drive answers, from the first command of the search for its path to its record: the
// search ends, and the list has what it had, or a whole record more.
//
// The input: how the drive was met, the flags, bytes of which each request takes one, then the drive's
// blocks.

#include "Answering.h"
#include "disk_engine/dialects/Interpretation.h"

#include <array>

namespace {

/// The blocks of the drive, by the two bits of an answer that choose one.
struct Drive {
    std::array<std::array<std::uint8_t, kNvmeIdentifyBytes>, 4> blocks{};
    std::array<std::size_t, 4> sizes = {kIdentifyBytes, kSmartBytes, kSmartBytes, kNvmeIdentifyBytes};
};

/// Answers with a failure, or a block at the end of the room, or a byte off it, in full length or another.
class AnsweringFile : public platform::DeviceFile {
  public:
    platform::Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte>,
                                            std::span<std::byte> out) override {
        const std::uint8_t answer = plan.empty() ? 0 : plan[0];
        plan = plan.subspan(plan.empty() ? 0 : 1);
        if ((answer & 1) == 0) return {0, platform::kInvalidFunction};
        const std::size_t which = answer >> 1 & 3;
        const std::size_t behind = code == platform::IOCTL_SCSI_MINIPORT && (answer & 8) ? 1 : 0;
        if (out.size() >= drive.sizes[which] + behind)
            std::memcpy(out.data() + out.size() - behind - drive.sizes[which], drive.blocks[which].data(),
                        drive.sizes[which]);
        else if (!out.empty())
            std::memcpy(out.data(), drive.blocks[which].data(), out.size());
        const auto full = static_cast<std::uint32_t>(out.size());
        return {(answer & 16) ? full - std::min<std::uint32_t>(full, answer >> 5) : full, platform::kSuccess};
    }

    platform::Result<std::uint32_t> read(std::uint64_t, std::span<std::byte> into) override {
        return {static_cast<std::uint32_t>(into.size()), platform::kSuccess};
    }

    static inline std::span<const std::uint8_t> plan;
    static inline Drive drive;
};

void setFlags(CAtaSmart& engine, unsigned bits) {
    static constexpr BOOL CAtaSmart::*flags[] = {
        &CAtaSmart::FlagUsbSat,         &CAtaSmart::FlagUsbSunplus,     &CAtaSmart::FlagUsbIoData,
        &CAtaSmart::FlagUsbLogitec,     &CAtaSmart::FlagUsbProlific,    &CAtaSmart::FlagUsbJmicron,
        &CAtaSmart::FlagUsbCypress,     &CAtaSmart::FlagUsbNvmeJmicron, &CAtaSmart::FlagUsbNvmeJmicronUsb2,
        &CAtaSmart::FlagUsbNvmeAsmedia, &CAtaSmart::FlagUsbNvmeRealtek, &CAtaSmart::FlagUsbAsm1352r,
        &CAtaSmart::FlagStorageQuery,   &CAtaSmart::FlagAtaPassThrough, &CAtaSmart::AdvancedDiskSearch,
    };
    for (std::size_t i = 0; i < std::size(flags); ++i)
        engine.*flags[i] = bits >> i & 1;
    engine.FlagAtaPassThroughSmart = engine.FlagAtaPassThrough;
}

DriveSighting sightingOf() {
    static constexpr std::uint32_t vendors[] = {0,      0x0789, 0x05E3, 0x152D, 0x0BDA,
                                                0x04BB, 0x04FC, 0x04B4, 0x13FD, 0x0928};
    const std::uint8_t how = nextByte();
    const std::uint8_t usb = nextByte();
    DriveSighting drive;
    drive.interfaceType = how & 7;
    drive.physicalDriveId = (how & 8) ? -1 : 1;
    drive.scsiPort = (how & 16) ? 2 : -1;
    drive.scsiTargetId = (how & 32) ? 3 : -1;
    drive.siliconImageType = (how & 64) ? 3112 : 0;
    drive.isNvidiaController = how >> 7;
    drive.usbVendorId = vendors[usb % std::size(vendors)];
    drive.usbProductId = (usb & 64) ? 0x0122 : 0;
    drive.nvmeHint = usb >> 7;
    return drive;
}

void checkRecord(CAtaSmart& engine, const AtaSmartInfo& asi) {
    require(!asi.Model.empty() && asi.CommandType != CMD_TYPE_UNKNOWN && !asi.CommandTypeString.empty());
    require(asi.AttributeCount <= kSmartEntries && asi.Temperature <= 100);
    require(asi.IsNVMe || asi.IsSmartCorrect || asi.Temperature == kNoTemperature);
    require(asi.DiskStatus == DISK_STATUS_UNKNOWN && engine.CheckDiskStatus(0) <= DISK_STATUS_BAD);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static AnsweringMachine<AnsweringFile> machine;
    platform::use(machine);
    input = {bytes, size};
    const DriveSighting drive = sightingOf();
    const unsigned low = nextByte(), flags = low | nextByte() << 8;
    AnsweringFile::plan = take(nextByte());
    AnsweringFile::drive = {};
    for (std::size_t i = 0; i < 4; ++i)
        std::ranges::copy(take(AnsweringFile::drive.sizes[i]), AnsweringFile::drive.blocks[i].begin());

    CAtaSmart engine;
    setFlags(engine, flags);
    const bool added = engine.GetDiskInfo(drive);
    // An ASM1352R may be two drives.
    const std::size_t most = engine.FlagUsbAsm1352r && engine.FlagUsbSat ? 2 : 1;
    const std::size_t records = engine.vars.size();
    require(added ? records >= 1 && records <= most : records == 0);
    for (const AtaSmartInfo& asi : engine.vars)
        checkRecord(engine, asi);
    if (added && drive.physicalDriveId >= 0) // the number is known now
        require(!engine.GetDiskInfo(drive) && engine.vars.size() == records);
    return 0;
}
