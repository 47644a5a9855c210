#pragma once

#include "disk_engine/DiskTypes.h"
#include "disk_engine/SmartRecords.h"
#include "platform/Result.h"
#include "platform/records/StorageRecords.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

namespace orv {

class CAtaSmart;
struct AtaSmartInfo;
struct AtaTask;
struct DriveSighting;

/// The path on which a drive answers. Each has a row in paths/CommandPaths.cpp.
enum CommandType : std::uint32_t {
    CMD_TYPE_UNKNOWN = 0,
    CMD_TYPE_PHYSICAL_DRIVE = 1,       ///< SMART ioctl or ATA pass-through on the physical drive
    CMD_TYPE_SCSI_MINIPORT = 2,        ///< "SCSIDISK" miniport
    CMD_TYPE_SILICON_IMAGE = 3,        ///< "CMD_IDE " miniport
    CMD_TYPE_SAT = 4,                  ///< SAT bridge
    CMD_TYPE_SUNPLUS = 5,              ///< Sunplus bridge
    CMD_TYPE_IO_DATA = 6,              ///< I-O DATA bridge
    CMD_TYPE_LOGITEC = 7,              ///< Logitec bridge
    CMD_TYPE_PROLIFIC = 8,             ///< Prolific bridge
    CMD_TYPE_JMICRON = 9,              ///< JMicron bridge
    CMD_TYPE_CYPRESS = 10,             ///< Cypress bridge
    CMD_TYPE_SAT_ASM1352R = 11,        ///< SAT variant for the ASM1352R
    CMD_TYPE_CSMI = 12,                ///< CSMI STP pass-through
    CMD_TYPE_CSMI_PHYSICAL_DRIVE = 13, ///< physical drive first, CSMI as fallback
    CMD_TYPE_WMI = 14,                 ///< the platform's failure-prediction data
    CMD_TYPE_NVME_SAMSUNG = 15,        ///< SCSI pass-through, vendor CDB
    CMD_TYPE_NVME_INTEL = 16,          ///< "NvmeMini" miniport
    CMD_TYPE_NVME_STORAGE_QUERY = 17,  ///< storage property query
    CMD_TYPE_NVME_JMICRON = 18,        ///< JMicron USB bridge
    CMD_TYPE_NVME_ASMEDIA = 19,        ///< ASMedia USB bridge
    CMD_TYPE_NVME_REALTEK = 20,        ///< Realtek USB bridge
    CMD_TYPE_NVME_INTEL_RST = 21,      ///< "IntelNvm" miniport
    CMD_TYPE_NVME_INTEL_VROC = 22,     ///< "NvmeRAID" miniport
    CMD_TYPE_MEGARAID = 23,            ///< "LSILOGIC" miniport
    CMD_TYPE_AMD_RC2 = 24,             ///< AMD_RC2t7x86.dll
    CMD_TYPE_RESERVED_25 = 25,         ///< no drive answers on these three
    CMD_TYPE_RESERVED_26 = 26,
    CMD_TYPE_RESERVED_27 = 27,
    kCommandTypes ///< the number of paths
};

/// Which paths are allowed. All are off at first but the AMD library.
struct AllowedPaths {
    BOOL FlagUsbSat = 0;
    BOOL FlagUsbSunplus = 0;
    BOOL FlagUsbIoData = 0;
    BOOL FlagUsbLogitec = 0;
    BOOL FlagUsbProlific = 0;
    BOOL FlagUsbJmicron = 0;
    BOOL FlagUsbCypress = 0;
    BOOL FlagUsbNvmeJmicron = 0;     ///< 4096-byte mode
    BOOL FlagUsbNvmeJmicronUsb2 = 0; ///< 512-byte mode
    BOOL FlagUsbNvmeAsmedia = 0;
    BOOL FlagUsbNvmeRealtek = 0;
    BOOL FlagMegaRaid = 0;
    BOOL FlagIntelVroc = 0; ///< port scan for VROC drives
    BOOL FlagUsbAsm1352r = 0;
    BOOL FlagAmdRc2 = 1;
    BOOL FlagAtaPassThrough = 0;
    BOOL FlagAtaPassThroughSmart = 0;
    BOOL FlagStorageQuery = 0;

    /// Those that the library runs with, beside what the system's version allows.
    void allowStandard() {
        FlagUsbSat = FlagUsbSunplus = FlagUsbIoData = FlagUsbLogitec = FlagUsbProlific = 1;
        FlagUsbJmicron = FlagUsbCypress = FlagUsbNvmeJmicronUsb2 = FlagUsbNvmeAsmedia = 1;
        FlagUsbNvmeRealtek = FlagMegaRaid = FlagUsbAsm1352r = 1;
        FlagAtaPassThroughSmart = 1;
    }
};

using IdentifyBlock = std::span<std::uint8_t, kIdentifyBytes>;
using NvmeIdentifyBlock = std::span<std::uint8_t, kNvmeIdentifyBytes>;

/// The registers that a command left, where the path tells them: the error in bFeaturesReg, the status in
/// bCommandReg.
using TaskAnswer = platform::Result<std::optional<platform::IDEREGS>>;

/// How a new record gets its SMART data by a path. Each function is for the drive of the record.
struct SmartReads {
    void (*pass)(CAtaSmart&, const SmartReads&, AtaSmartInfo&); ///< SmartPass.h
    bool (*readAttributes)(CAtaSmart&, AtaSmartInfo&);
    bool (*enable)(CAtaSmart&, const AtaSmartInfo&); ///< null: no such command
    bool (*readThresholds)(CAtaSmart&, AtaSmartInfo&);
    /// Traced before the reads: first and scratch read of the first attempt, then of the second. {} takes the
    /// drive's number and the letters of the path. Null: none.
    const wchar_t* labels[4];
};

/// What a kind of USB bridge understands as an ATA command: a command block with places that the sender
/// fills.
struct AtaBridgeCommand {
    std::uint8_t length;
    std::array<std::uint16_t, 16> bytes; ///< AtaBridges.h: kDeviceByte and kFeature are such places
};
struct AtaBridge {
    AtaBridgeCommand identify, readData, readThresholds, control;
};

/// How Identify Controller is asked for. `diskSize` (megabytes) is set only by a path that learns it.
struct NvmeIdentify {
    BOOL AllowedPaths::*allowedBy; ///< null: always
    bool (*identify)(CAtaSmart&, const DriveSighting&, NvmeIdentifyBlock, std::uint32_t& diskSize);
};

/// All that is known of one command path. Search, record, refresh and trace ask the row.
struct CommandPath {
    CommandType type;
    const wchar_t* letters;   ///< two, for a record
    bool tellsSelect = false; ///< "1" or "2" for the device select follows the letters in a record
    bool isPlain = false;     ///< trusted with a geometry that no drive has
    bool hidesSizes = false;  ///< its identify data tell neither geometry nor features
    bool isUsbNvme = false;   ///< an NVMe drive behind a USB bridge
    BOOL AllowedPaths::*allowedBy = nullptr; ///< null: always
    /// IDENTIFY DEVICE, for the device select 0xA0 or 0xB0.
    bool (*identify)(CAtaSmart&, const DriveSighting&, std::uint8_t target, IdentifyBlock) = nullptr;
    const AtaBridge* bridge = nullptr;
    const SmartReads* smart = nullptr;       ///< null: no ATA drive is reached
    const SmartReads* smartBehind = nullptr; ///< asked after them, where these leave something open
    NvmeIdentify nvme[2] = {};               ///< the second is a mode of the first's; null: none
    bool sizeCounts = false;                 ///< the record takes the size that they found
    bool (*readHealth)(CAtaSmart&,
                       AtaSmartInfo&) = nullptr; ///< SMART / Health Information page; null: no NVMe drive
    enum class Wake {
        never,
        first,
        ifSilent
    } wake = Wake::never;                       ///< a sleeping drive, before it is read again
    CommandType takenOverBy = CMD_TYPE_UNKNOWN; ///< path for good of a drive that is silent on this one
    /// Any ATA command; null: no way for it.
    TaskAnswer (*sendTask)(CAtaSmart&, const AtaSmartInfo&, const AtaTask&,
                           std::span<std::uint8_t>) = nullptr;
    bool tellsRegisters = false; ///< which that command left
};

/// The row of a path; for a number that is none, that of CMD_TYPE_UNKNOWN.
const CommandPath& commandPath(std::uint32_t commandType);

/// The two letters of a path; empty for a number without a row.
std::wstring commandTypeCode(std::uint32_t commandType);

/// As it stands in a record: for a path with two device selects "1" or "2" follows the letters.
std::wstring commandTypeString(std::uint32_t commandType, std::uint8_t target);

} // namespace orv
