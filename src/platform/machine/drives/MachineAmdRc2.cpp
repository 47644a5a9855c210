#include "platform/machine/drives/MachineAmdRc2.h"

#include "platform/machine/Node.h"
#include "platform/machine/drives/MachineDriveFile.h"
#include "platform/text.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::platform {

namespace {

constexpr std::uint64_t kAny32 = 0xFFFFFFFF;
constexpr ErrorCode kNoSignature = 0x800B0100; // TRUST_E_NOSIGNATURE
constexpr std::uint32_t kBlockBytes = 512;

MachineAmdRc2* server = nullptr;

std::int32_t init() {
    return server ? server->init() : 0;
}
std::int32_t getStatus() {
    return 0;
}
std::int32_t getDrives() {
    return server ? server->drives() : 0;
}
std::int32_t reload() {
    return server ? server->reload() : 0;
}
std::int32_t getIdentify(rc2::IdentifyBlock* block) {
    return server ? server->identify(*block) : 0;
}
std::int32_t getSmartData(std::uint32_t index, std::uint8_t* data, std::uint32_t dataBytes,
                          std::uint8_t* thresholds, std::uint32_t thresholdBytes) {
    if (!server || dataBytes != kBlockBytes || thresholdBytes != kBlockBytes) return 0;
    return server->smartData(index, data, thresholds);
}

struct Row {
    std::string_view name;
    LibraryFunction function;
};

template <class Signature>
LibraryFunction plain(Signature* function) {
    return reinterpret_cast<LibraryFunction>(function);
}

const Row kRows[] = {
    {"AMD_RC2_Init", plain(init)},
    {"AMD_RC2_GetStatus", plain(getStatus)},
    {"AMD_RC2_GetDrives", plain(getDrives)},
    {"AMD_RC2_Reload", plain(reload)},
    {"AMD_RC2_GetIdentify", plain(getIdentify)},
    {"AMD_RC2_GetSmartData", plain(getSmartData)},
};

template <std::size_t Room>
void readText(const Node& entry, std::string_view key, char (&into)[Room]) {
    const std::string text = entry.text(key, "");
    if (text.size() >= Room) entry.at(key).fail(fmt::format("is longer than {} bytes", Room - 1));
    text.copy(into, Room);
}

DriveBlock readTable(const Node& entry, std::string_view key) {
    if (!entry.has(key)) return {};
    DriveBlock block = readDriveBlock(entry, key);
    if (block.size() != kBlockBytes) entry.at(key).fail("must be 512 bytes");
    return block;
}

} // namespace

MachineAmdRc2::Drive MachineAmdRc2::readDrive(const Node& entry) {
    Drive drive;
    drive.identify.physicalId = static_cast<std::uint32_t>(entry.number("physicalId", kAny32));
    drive.identify.diskSize = static_cast<std::uint32_t>(entry.number("size", kAny32, 0));
    drive.identify.ssd = entry.flag("ssd", false) ? 1 : 0;
    drive.identify.nvme = entry.flag("nvme", false) ? 1 : 0;
    readText(entry, "model", drive.identify.model);
    readText(entry, "serialNumber", drive.identify.serialNumber);
    readText(entry, "firmware", drive.identify.firmware);
    readText(entry, "description", drive.identify.description);
    drive.smart = readTable(entry, "smart");
    drive.thresholds = readTable(entry, "thresholds");
    entry.done();
    return drive;
}

MachineAmdRc2::MachineAmdRc2(const Node& root, Requests& requests) : requests_(requests) {
    const auto library = root.find("amdRaid");
    if (!library) return;
    installed_ = true;
    signed_ = library->flag("signed", true);
    publisher_ = utf8ToWide(library->text("publisher", "Advanced Micro Devices, Inc."));
    for (const Node& name : library->list("missing")) {
        if (std::ranges::find(kRows, name.asText(), &Row::name) == std::end(kRows))
            name.fail("the library has no function \"" + name.asText() + "\"");
        missing_.insert(name.asText());
    }
    initStatus_ = static_cast<std::int32_t>(library->number("initStatus", kAny32, 1));
    for (const Node& entry : library->list("drives"))
        drives_.push_back(readDrive(entry));
    count_ = static_cast<std::int32_t>(drives_.size());
    if (library->has("numberOfDrives"))
        count_ = static_cast<std::int32_t>(library->signedNumber("numberOfDrives", INT32_MIN, INT32_MAX));
    library->done();
}

MachineAmdRc2::~MachineAmdRc2() {
    if (server == this) server = nullptr;
}

void MachineAmdRc2::serve() {
    server = this;
}

Result<std::wstring> MachineAmdRc2::publisher() const {
    if (!signed_) return Result<std::wstring>::failed(kNoSignature);
    return {publisher_};
}

Result<LibraryFunction> MachineAmdRc2::function(const std::string& name) const {
    const auto row = std::ranges::find(kRows, name, &Row::name);
    if (row == std::end(kRows) || missing_.contains(name))
        return Result<LibraryFunction>::failed(kProcedureNotFound);
    return {row->function};
}

// A planned error is what the function gives: a status, or for the others their 0.

std::int32_t MachineAmdRc2::init() {
    if (const ErrorCode error = requests_.enter("AMD_RC2_Init")) return static_cast<std::int32_t>(error);
    return initStatus_;
}

std::int32_t MachineAmdRc2::reload() {
    return requests_.enter("AMD_RC2_Reload") == kSuccess ? 1 : 0;
}

std::int32_t MachineAmdRc2::drives() {
    return requests_.enter("AMD_RC2_GetDrives") == kSuccess ? count_ : 0;
}

std::int32_t MachineAmdRc2::identify(rc2::IdentifyBlock& block) {
    const auto detail = [&] {
        return fmt::format("size {} version {} index {}", +block.size, +block.version, +block.index);
    };
    if (requests_.enter("AMD_RC2_GetIdentify", detail) != kSuccess || block.index >= drives_.size() ||
        block.size != sizeof block || block.version != 1)
        return 0;
    const rc2::IdentifyBlock asked = block;
    block = drives_[asked.index].identify;
    block.size = asked.size;
    block.version = asked.version;
    block.index = asked.index;
    return 1;
}

std::int32_t MachineAmdRc2::smartData(std::uint32_t index, std::uint8_t* data, std::uint8_t* thresholds) {
    const auto detail = [&] {
        return fmt::format("{}{}", index, data == thresholds ? " into one block" : "");
    };
    if (requests_.enter("AMD_RC2_GetSmartData", detail) != kSuccess || index >= drives_.size()) return 0;
    const Drive& drive = drives_[index];
    if (drive.smart.empty()) return 0;
    std::ranges::copy(drive.smart, data);
    std::ranges::copy(drive.thresholds, thresholds);
    return 1;
}

} // namespace orv::platform
