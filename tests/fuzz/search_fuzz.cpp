// Any bytes as the rows of the management data, AMD's library and what the drives answer: the search ends,
// each drive stands in one of the two lists and once, and the records stand in their order.
//
// The input: the arguments of the search, then what each request takes in turn.

#include "Answering.h"
#include "log/Logger.h"
#include "log/log.h"
#include "platform/servers/ManagementRows.h"

#include <bit>
#include <set>

namespace {

/// Most commands fail: a drive costs few bytes, so that there can be many.
class AnsweringFile : public platform::DeviceFile {
  public:
    platform::Result<std::uint32_t> control(std::uint32_t code, std::span<const std::byte>,
                                            std::span<std::byte> out) override {
        const std::uint8_t how = nextByte();
        if (how & 1) return {0, (how & 2) ? platform::kTimedOut : platform::kIoDevice};
        if (input.empty()) return {0, platform::kInvalidFunction};
        std::size_t at = code == platform::IOCTL_ATA_PASS_THROUGH ? 44 : 0;
        if (code == platform::IOCTL_DISK_GET_DRIVE_GEOMETRY) {
            out[8] = std::byte{platform::kFixedMedia};
        } else if (at != 0 && out.size() >= at + kIdentifyBytes) {
            const std::string_view texts = "S   F  M  "; // serial number, firmware, model
            std::memcpy(out.data() + at + 20, texts.data(), 4);
            out[at + 47] = std::byte{'F'};
            out[at + 54] = out[at + 55] = static_cast<std::byte>(how);
            out[at + 160] = std::byte{0xFE}; // version, so that SMART support is told
            out[at + 164] = std::byte{1};
            at += 20 + (how >> 2);
        }
        if (at < out.size()) give(out.subspan(at), nextByte());
        return {static_cast<std::uint32_t>(out.size()), platform::kSuccess};
    }
    platform::Result<std::uint32_t> read(std::uint64_t, std::span<std::byte>) override { return {0}; }
};

platform::ManagementColumns nextRow() {
    platform::ManagementColumns row;
    for (const wchar_t* name : {L"DeviceID", L"Name", L"Model", L"DeviceName", L"DriverVersion",
                                L"PNPDeviceID", L"InterfaceType", L"MediaType", L"Size", L"FirmwareRevision"})
        if (const std::uint8_t how = nextByte(); how & 1) row.emplace(name, platform::bstr(nextText()));
    for (const wchar_t* name : {L"SCSIPort", L"SCSITargetId", L"SCSIBus"})
        if (const std::uint8_t how = nextByte(); how & 1) row.emplace(name, platform::i4(how));
    return row;
}

struct Services : platform::ManagementServices, platform::ManagementLocator {
    platform::ErrorCode setProxyBlanket() override { return platform::kSuccess; }
    platform::Result<std::unique_ptr<platform::ManagementEnumerator>>
    execQuery(std::wstring_view wql) override {
        std::vector<platform::ManagementColumns> rows(nextByte() & 7);
        std::ranges::generate(rows, nextRow);
        if (!rows.empty() && wql.find(L"PnPSignedDriver") != wql.npos)
            rows[0][L"DeviceName"] = platform::bstr(L"AMD-RAID Config");
        return {platform::enumerate(std::move(rows))};
    }
    platform::Result<std::unique_ptr<platform::ManagementServices>> connectServer(std::wstring_view,
                                                                                  std::uint32_t) override {
        return {std::make_unique<Services>()};
    }
};
class Management : public platform::ManagementData {
    platform::ErrorCode initialize() override { return platform::kSuccess; }
    void uninitialize() override {}
    platform::ErrorCode initializeSecurity() override { return platform::kSuccess; }
    platform::Result<std::unique_ptr<platform::ManagementLocator>> createLocator() override {
        return {std::make_unique<Services>()};
    }
};

class SearchedMachine : public AnsweringMachine<AnsweringFile> {
  public:
    platform::ManagementData& managementData() override { return management_; }

  private:
    Management management_;
};

std::pair<std::int64_t, std::uint8_t> rank(const AtaSmartInfo& asi, bool byLetter) {
    const std::int64_t id = asi.PhysicalDriveId == -1 ? 255 : asi.PhysicalDriveId;
    const std::int64_t letter = asi.DriveLetterMap & 0x3FFFFFE ? std::countr_zero(asi.DriveLetterMap) : 27;
    return {byLetter ? letter * 256 + id : id * 257, asi.sasPhyEntity[28]};
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static SearchedMachine machine;
    diskLogger.sinks().clear();
    platform::use(machine);
    ProcessState::renew();
    input = {bytes, size};
    const std::uint8_t how = nextByte();
    const bool byLetter = how & 1;
    CAtaSmart engine;
    engine.UseStandardPaths();
    engine.Init(!(how & 2), how >> 2 & 1, nullptr, 0, how >> 3 & 1, byLetter);

    const std::size_t records = engine.vars.size();
    require(records <= kMaxDrives && std::ranges::is_sorted(engine.vars, {}, [&](const AtaSmartInfo& asi) {
                return rank(asi, byLetter);
            }));
    std::set<std::int32_t> numbers;
    for (const AtaSmartInfo& asi : engine.vars)
        if (asi.PhysicalDriveId >= 0) numbers.insert(asi.PhysicalDriveId);
    for (const UnreadDrive& drive : engine.unreadDrives) {
        require(drive.physicalDriveId < 0 || numbers.insert(drive.physicalDriveId).second);
        require(drive.reason != UnreadDrive::Reason::twin || drive.twinOf >= 0);
    }
    for (std::size_t i = 0; i < records; ++i) {
        engine.UpdateSmartInfo(i);
        const DriveAnswering& now = engine.vars[i].answering;
        require(!now.answers || (now.lastAnswerNs >= 0 && now.failure == platform::kSuccess));
    }
    return 0;
}
