// Any bytes as what the kernel tells of a disk: in the files of sysfs, of which rows, ids and descriptors are
// made, and as the end of a command with its sense data.
//
// The input: how a command ended, then the files, each behind its length.

#include "Answering.h"
#include "log/Logger.h"
#include "log/log.h"
#include "platform/linux/LinuxPlatform.h"
#include "platform/linux/drives/ScsiGeneric.h"

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace {

const std::string kFunction = "/sys/devices/pci0000:00/0000:00:17.0";
const std::string kUnit = kFunction + "/ata1/host0/target0:0:0/0:0:0:0";

/// Below the folder for temporary files, taken away at its end.
struct Tree {
    Tree() {
        for (const std::string& folder : {kUnit + "/block/sda/queue", kFunction + "/nvme/nvme0/nvme0n1",
                                          std::string("/sys/block"), std::string("/sys/class/nvme")})
            std::filesystem::create_directories(root + folder);
        const auto link = [&](const std::string& target, const std::string& path) {
            std::filesystem::create_symlink(target, root + path);
        };
        link("../devices" + kUnit.substr(12) + "/block/sda", "/sys/block/sda");
        link("../../../0:0:0:0", kUnit + "/block/sda/device");
        link("../devices" + kFunction.substr(12) + "/nvme/nvme0/nvme0n1", "/sys/block/nvme0n1");
        link("../../nvme0", kFunction + "/nvme/nvme0/nvme0n1/device");
        link("../../devices" + kFunction.substr(12) + "/nvme/nvme0", "/sys/class/nvme/nvme0");
    }
    ~Tree() { std::filesystem::remove_all(root); }

    std::string root =
        (std::filesystem::temp_directory_path() / ("fuzz-tree-" + std::to_string(::getpid()))).string();
};

void checkOutcome() {
    platform::ScsiOutcome outcome{nextByte(), nextByte(), nextByte(), nextByte(), {}};
    const auto sense = take(nextByte());
    outcome.sense.assign(sense.begin(), sense.end());
    platform::DriveRequest request;
    request.path =
        (nextByte() & 1) ? platform::DrivePath::ataPassThrough : platform::DrivePath::scsiPassThrough;
    platform::errorOf(request, outcome);
    require(platform::dataOf(outcome) <= outcome.transferred);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const Tree tree;
    diskLogger.sinks().clear();
    input = {bytes, size};
    checkOutcome();
    const std::string disk = kUnit + "/block/sda", nvme = kFunction + "/nvme/nvme0";
    for (const std::string& path :
         {kFunction + "/class", kFunction + "/vendor", kFunction + "/device", kUnit + "/vendor",
          kUnit + "/model", kUnit + "/rev", kUnit + "/vpd_pg80", kUnit + "/vpd_pg89", disk + "/size",
          disk + "/removable", disk + "/stat", disk + "/dev", nvme + "/model", nvme + "/serial",
          nvme + "/firmware_rev", nvme + "/nvme0n1/size"}) {
        const auto content = take(std::size_t{nextByte()} * (path.ends_with("pg89") ? 4 : 1));
        std::ofstream(tree.root + path, std::ios::binary)
            .write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
    }
    platform::LinuxPlatform system(tree.root);
    platform::use(system);
    ProcessState::renew();
    CAtaSmart engine;
    engine.UseStandardPaths();
    engine.Init(1, 0, nullptr, 0, 1, 1);
    // No node, so no command: each disk is one that gives no record.
    require(engine.vars.empty() && engine.unreadDrives.size() == 2);
    platform::DISK_PERFORMANCE counters{};
    const auto drive = system.deviceFiles().open(physicalDrivePath(0));
    require(drive.ok());
    drive.value->control(platform::IOCTL_DISK_PERFORMANCE, {},
                         std::as_writable_bytes(std::span(&counters, 1)));
    return 0;
}
