#include "platform/linux/drives/DriveFile.h"

#include "platform/linux/drives/DiskFacts.h"
#include "platform/linux/drives/DriveAnswers.h"
#include "platform/linux/drives/DriveNode.h"
#include "platform/linux/drives/MegaRaid.h"
#include "platform/linux/drives/NvmeAdmin.h"
#include "platform/linux/drives/ScsiGeneric.h"
#include "platform/records/AtaSense.h"
#include "platform/servers/ManagementRows.h"
#include "platform/servers/MegaRaidRequests.h"
#include "platform/text.h"

#include <cstring>

namespace orv::platform {

namespace {

using Answer = Result<std::uint32_t>;

Answer runScsi(int file, const DriveRequest& request, std::span<const std::byte> in,
               std::span<std::byte> out) {
    const ScsiCommand command = scsiCommandOf(request);
    std::vector<std::uint8_t> data(command.dataBytes);
    if (command.way == DataWay::toDevice) std::memcpy(data.data(), in.data() + request.dataAt, data.size());
    const auto outcome = sendScsi(file, command, data);
    if (!outcome.ok()) return Answer::failed(outcome.error);
    return writeScsiAnswer(request, outcome.value, in, data, out);
}

Answer runNvme(const Result<int>& file, const nvme_admin_cmd& command, const DriveRequest& request,
               std::span<const std::byte> in, std::span<std::byte> out) {
    if (!file.ok()) return Answer::failed(file.error);
    std::vector<std::uint8_t> data(command.data_len);
    if (const ErrorCode error = sendNvme(file.value, command, data)) return Answer::failed(error);
    return writeDriveAnswer(request, in, data, out);
}

/// What a disk understands. A disk of the SCSI layer takes command blocks, and task files unless it hangs on
/// USB, where the bridge has to be spoken to in its own way.
bool understands(const CommandWay& way, const DriveRequest& request) {
    switch (request.path) {
    case DrivePath::ataPassThrough:
    case DrivePath::idePassThrough:
    case DrivePath::smartReceive:
    case DrivePath::smartSend:
        return way.scsi && !way.usb;
    case DrivePath::scsiPassThrough:
        return way.scsi;
    case DrivePath::storageQuery:
        return way.nvmeController.has_value();
    default: // the miniport forms go to a port
        return false;
    }
}

class PhysicalDrive : public DeviceFile {
  public:
    PhysicalDrive(DiskInventory& inventory, NumberedDisk disk)
        : inventory_(inventory), disk_(std::move(disk)) {}

    Answer control(std::uint32_t code, std::span<const std::byte> in, std::span<std::byte> out) override {
        if (const auto answer = answerFromSysfs(inventory_, disk_, facts_, code, in, out)) return *answer;
        const auto way = inventory_.commandWay(disk_);
        if (!way) return Answer::failed(kFileNotFound);
        const auto request = readDriveRequest(code, in, out.size());
        if (!request || !understands(*way, *request))
            return Answer::failed(inventory_.holds(disk_) ? kInvalidFunction : kFileNotFound);
        if (!request->isNvme()) {
            const auto file = commandNode(*way);
            return file.ok() ? runScsi(file.value, *request, in, out) : Answer::failed(file.error);
        }
        const auto command = nvmeCommandOf(*request);
        if (!command.ok()) return Answer::failed(command.error);
        return runNvme(commandNode(*way), command.value, *request, in, out);
    }

    Answer read(std::uint64_t offset, std::span<std::byte> into) override {
        const RootedFiles& files = inventory_.files();
        const auto block = wholeNumber(files.line(diskFolder(disk_.name) + "/queue/logical_block_size"));
        const auto file = openedAs(diskNode(files, disk_.name), true);
        if (!file.ok()) return Answer::failed(file.error);
        return readPastCache(file.value.get(), block.value_or(0), offset, into);
    }

  private:
    /// What an open file is of does not change, so a look after the open tells that it is this disk's.
    Result<OwnedDescriptor> openedAs(const DriveNode& node, bool direct = false) {
        auto file = openNode(inventory_.files(), node, direct);
        if (file.ok() && !inventory_.holds(disk_)) return Result<OwnedDescriptor>::failed(kFileNotFound);
        return file;
    }

    /// The node that takes the commands, opened by the first of them.
    Result<int> commandNode(const CommandWay& way) {
        if (!node_ || nodeNumber_ != way.node.number) {
            auto file = openedAs(way.node);
            if (!file.ok()) return Result<int>::failed(file.error);
            node_ = std::move(file.value);
            nodeNumber_ = way.node.number;
        }
        return {node_->get()};
    }

    DiskInventory& inventory_;
    NumberedDisk disk_;
    // read and opened once in the handle's short life
    std::optional<DiskFacts> facts_;
    std::optional<OwnedDescriptor> node_;
    std::string nodeNumber_;
};

/// A port takes the miniport forms of NVMe, where it is an NVMe controller, and that of MegaRAID, where it is
/// one of those.
class ScsiPort : public DeviceFile {
  public:
    ScsiPort(const RootedFiles& files, std::uint64_t port) : files_(files), port_(port) {}

    Answer control(std::uint32_t code, std::span<const std::byte> in, std::span<std::byte> out) override {
        if (const auto raid = readMegaRaidRequest(code, in, out.size());
            raid && port_ < kFirstNvmePort && isMegaRaidHost(files_, port_))
            return runMegaRaid(files_, port_, *raid, out);
        const auto request = readDriveRequest(code, in, out.size());
        const bool miniport = request && request->isNvme() && request->path != DrivePath::storageQuery;
        if (!miniport || port_ < kFirstNvmePort) return Answer::failed(kInvalidFunction);
        const auto command = nvmeCommandOf(*request);
        if (!command.ok()) return Answer::failed(command.error);
        const auto file = openNode(files_, nvmeControllerNode(files_, port_ - kFirstNvmePort));
        return runNvme({file.value.get(), file.error}, command.value, *request, in, out);
    }
    Answer read(std::uint64_t, std::span<std::byte>) override { return Answer::failed(kInvalidFunction); }

  private:
    const RootedFiles& files_;
    std::uint64_t port_;
};

/// The number between a prefix, whatever its case, and an end.
std::optional<std::uint32_t> numberIn(std::wstring_view path, std::wstring_view prefix,
                                      std::wstring_view end) {
    if (path.size() < prefix.size() + end.size() || !path.ends_with(end)) return std::nullopt;
    if (!sameName(path.substr(0, prefix.size()), prefix)) return std::nullopt;
    path = path.substr(prefix.size(), path.size() - prefix.size() - end.size());
    const auto number = wholeNumber(wideToUtf8(path));
    return number && *number <= UINT32_MAX ? std::optional(static_cast<std::uint32_t>(*number))
                                           : std::nullopt;
}

} // namespace

Result<std::unique_ptr<DeviceFile>> openDrive(DiskInventory& inventory, std::wstring_view path) {
    using File = Result<std::unique_ptr<DeviceFile>>;
    if (const auto number = numberIn(path, LR"(\\.\PhysicalDrive)", L"")) {
        std::string name = inventory.nameOf(*number);
        if (name.empty()) return File::failed(kFileNotFound);
        return {std::make_unique<PhysicalDrive>(inventory, NumberedDisk{*number, std::move(name)})};
    }
    if (const auto port = numberIn(path, LR"(\\.\Scsi)", L":")) {
        const std::string folder = *port < kFirstNvmePort
                                       ? "/sys/class/scsi_host/host" + std::to_string(*port)
                                       : nvmeControllerFolder(*port - kFirstNvmePort);
        if (!inventory.files().exists(folder)) return File::failed(kFileNotFound);
        return {std::make_unique<ScsiPort>(inventory.files(), *port)};
    }
    return File::failed(kFileNotFound);
}

} // namespace orv::platform
