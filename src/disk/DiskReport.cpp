#include "disk/DiskReport.h"

#include "frame/EncodedText.h"
#include "json/value.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"
#include "state/ProcessState.h"

#include <fmt/format.h>

#include <algorithm>

namespace orv::disk {

namespace {

struct DiskState {
    std::vector<Disk> list;
};

} // namespace

std::vector<Disk>& diskList() {
    return processWide<DiskState>().list;
}

std::int32_t initialise() {
    auto& list = diskList();
    if (list.empty()) list = Disk::GetAllDisk();
    return static_cast<std::int32_t>(list.size());
}

std::string typeReport() {
    json::value report;
    for (Disk& disk : diskList()) {
        json::value object;
        object["SN"] = disk.SerialNumber();
        object["type"] = disk.diskType() == Disk::kSolidState ? "SSD" : "HDD";
        report.push_back(std::move(object));
    }
    return json::dump(report);
}

std::string speedReport(Disk& disk) {
    const auto [writeSpeed, readSpeed] = disk.GetReadWriteSpeed();
    // Not by printf, whose point is the host's locale's. No two counters make more than 80 bytes.
    return fmt::format("{{\"write\": {:f}, \"read\": {:f}}}", writeSpeed, readSpeed);
}

std::uint32_t letterBit(std::wstring_view path) {
    auto c = static_cast<std::uint32_t>(path.empty() ? 0 : path.front());
    if (c >= 'A' && c <= 'Z') c += 'a' - 'A';
    return std::uint32_t{1} << ((c - 'a') & 31);
}

std::string systemDiskReport() {
    initialise();
    const std::uint32_t bit = letterBit(platform::current().systemFacts().windowsDirectory());
    auto& list = diskList();
    const auto found =
        std::ranges::find_if(list, [&](Disk& disk) { return (disk.DriverLetterMap() & bit) != 0; });
    if (found == list.end()) return R"({"code":0, "data": "available disk not found"})";
    json::value object;
    object["code"] = 1;
    object["diskName"] = EncodedText(found->Model()).narrow;
    return json::dump(object);
}

} // namespace orv::disk
