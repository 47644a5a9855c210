#include "CurrentReading.h"

#include "Printable.h"
#include "disk_engine/CAtaSmart.h"
#include "disk_engine/dialects/Interpretation.h"
#include "drive_logs/AtaLogs.h"
#include "drive_logs/ScsiLogs.h"
#include "platform/CalendarTime.h"
#include "state/ProcessState.h"

#include <fmt/format.h>

#include <chrono>

namespace tool {

namespace {

using namespace orv;

constexpr std::int64_t kReadAgainNs = 5'000'000'000; // as the library reads a record

AtaLogReader& ataLogs() {
    static AtaLogReader reader;
    return reader;
}

} // namespace

std::int64_t unixNow() {
    using namespace std::chrono;
    return floor<seconds>(platform::wallClock().time_since_epoch()).count();
}

Explanation rulesOf(const AtaSmartInfo& asi) {
    Explanation why;
    if (asi.IsNVMe || !asi.IsSmartCorrect) return why;
    AtaSmartInfo again = asi; // for the rules alone: the values are those of the record
    ClassifyDrive(again, &why);
    FillSmartData(again, &why);
    return why;
}

DriveReading currentReading(const AtaSmartInfo& asi) {
    if (!asi.answering.answers) return {};
    const StandardLogs logs =
        asi.IsNVMe ? StandardLogs{} : ataLogs().read(processWide<CAtaSmart>(), asi, kReadAgainNs).standard();
    return readingOf(asi, rulesOf(asi), logs, unixNow());
}

const std::vector<ScsiDisk>& scsiDisks() {
    static ScsiDiskReader reader;
    return reader.read(processWide<CAtaSmart>(), kReadAgainNs);
}

std::string placeOf(const ScsiDisk& disk) {
    if (disk.physicalDriveId >= 0) return fmt::format("drive {}", disk.physicalDriveId);
    return fmt::format("port {} disk {}", disk.scsiPort, disk.deviceId);
}

std::string modelOf(const ScsiDisk& disk) {
    return printable(disk.vendor.empty() ? disk.product : disk.vendor + " " + disk.product);
}

const char* kindOf(const ScsiDisk& disk) {
    return disk.solidState ? "SCSI SSD" : "SCSI hard disk";
}

} // namespace tool
