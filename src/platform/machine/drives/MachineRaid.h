#pragma once

#include "platform/machine/drives/MachineDrives.h"
#include "platform/records/CsmiRecords.h"
#include "platform/records/MegaRaidRecords.h"

#include <optional>
#include <span>
#include <string>
#include <vector>

namespace orv::platform {

/// An entry of "answers" of a RAID driver: what a request gets instead of the right answer.
struct RaidAnswer {
    std::string request;
    std::uint64_t nth = 0; ///< 0: every request
    ErrorCode error = kSuccess;
    std::optional<std::uint32_t> bytes;     ///< length told, and where the answer is cut
    std::optional<std::uint8_t> status;     ///< of a MegaRAID frame, or the return code of a CSMI header
    std::optional<std::uint32_t> dataBytes; ///< of a MegaRAID answer
    std::uint64_t met = 0;
};

/// The driver of a port whose drives it hides. Its drives are those of the port with the path "csmi" or
/// "megaRaid"; their target number is phy and port of the one, device id of the other.
class MachineRaidPort {
  public:
    MachineRaidPort(const Node& entry, const MachineDrives& drives);

    /// Empty for a block that is no request of such a driver.
    std::optional<Result<std::uint32_t>> answer(std::uint32_t code, std::span<const std::byte> in,
                                                std::span<std::byte> out);

    std::uint32_t port = 0;

  private:
    struct Member {
        std::string model;
        std::uint8_t target = 0;
    };
    struct Csmi {
        std::optional<CSMI_SAS_DRIVER_INFO_BUFFER> driver;
        std::vector<std::vector<Member>> sets;
        CSMI_SAS_RAID_INFO_BUFFER info{};
        std::uint8_t numberOfPhys = 0;
    };
    struct MegaRaid {
        std::vector<MegaRaidListEntry> entries;
        std::uint32_t count = 0;
        std::optional<std::uint32_t> total;
        bool growing = false;
    };
    void readCsmi(const Node& section);
    void readMegaRaid(const Node& section);
    void readAnswers(const Node& section, std::span<const std::string_view> requests);
    RaidAnswer* plannedFor(std::string_view request);

    using Block = std::vector<std::byte>;
    Result<std::uint32_t> answerCsmi(const IOCTL_HEADER& header, std::span<const std::byte> in,
                                     std::span<std::byte> out);
    ErrorCode fillCsmi(const IOCTL_HEADER& header, Block& block, std::optional<std::uint32_t>& told);
    ErrorCode passThrough(Block& block, std::optional<std::uint32_t>& told);
    void fillConfig(Block& block) const;
    Result<std::uint32_t> answerMegaRaid(MegaRaidHead head, std::span<const std::byte> in,
                                         std::span<std::byte> out);
    void fillList(MegaRaidHead& head, DriveBlock& data) const;
    ErrorCode passThrough(MegaRaidHead& head, DriveBlock& data, std::optional<std::uint32_t>& told);
    MachineDrive* driveOf(DriveWay way, std::uint8_t target) const;

    std::vector<MachineDrive*> drives_; // of the port
    std::optional<Csmi> csmi_;
    std::optional<MegaRaid> megaRaid_;
    std::vector<RaidAnswer> answers_;
};

/// Section "raidPorts" of a machine file (docs/machine/raid.md).
class MachineRaid {
  public:
    MachineRaid(const Node& root, const MachineDrives& drives);

    /// Null when the port has no RAID driver.
    MachineRaidPort* ofPort(std::uint32_t port) const;

  private:
    std::vector<std::unique_ptr<MachineRaidPort>> ports_;
};

} // namespace orv::platform
