#include "platform/machine/drives/MachineDrives.h"

#include "platform/machine/Node.h"
#include "platform/machine/drives/MachineDriveFile.h"
#include "platform/text.h"

#include <algorithm>

namespace orv::platform {

namespace {

constexpr std::uint64_t kAny32 = 0xFFFFFFFF;
constexpr std::int64_t kNsPerSecond = 1'000'000'000;

DriveAddress readAddress(const Node& place) {
    DriveAddress address;
    address.port = static_cast<std::uint8_t>(place.number("port", 0xFF));
    address.path = static_cast<std::uint8_t>(place.number("path", 0xFF, 0));
    address.target = static_cast<std::uint8_t>(place.number("target", 0xFF, 0));
    address.lun = static_cast<std::uint8_t>(place.number("lun", 0xFF, 0));
    address.device = utf8ToWide(place.text("device", ""));
    place.done();
    return address;
}

bool readRejection(const Node& entry) {
    const std::string rejection = entry.text("rejection", "error");
    if (rejection != "error" && rejection != "checkCondition")
        entry.at("rejection").fail("must be \"error\" or \"checkCondition\"");
    return rejection == "checkCondition";
}

} // namespace

MachineDrive::MachineDrive(const Node& entry, MachineClock& clock) : clock_(clock) {
    if (entry.has("number")) number = static_cast<std::uint32_t>(entry.number("number", 999));
    if (const auto place = entry.find("scsiAddress")) address = readAddress(*place);
    ways = readWays(entry);
    target = static_cast<std::uint8_t>(entry.number("target", 0xFF, target));
    checksCondition = readRejection(entry);
    smartEnabled = entry.flag("smartEnabled", true);
    pnpDeviceId = utf8ToWide(entry.text("pnpDeviceId", ""));
    controllerId = utf8ToWide(entry.text("controllerId", ""));
    if (const auto place = entry.find("link")) {
        if (controllerId.empty()) place->fail("needs the drive's \"controllerId\"");
        link = readLink(*place);
    }
    if (const auto place = entry.find("usb")) {
        if (controllerId.empty()) place->fail("needs the drive's \"controllerId\"");
        usb = readUsb(*place);
    }
    if (!number && !address) entry.fail("needs a \"number\" or a \"scsiAddress\"");

    DriveFacts facts;
    readDriveFacts(entry, *this, 0, facts);
    if (ways.contains(DriveWay::scsi) && !facts.scsi) entry.fail("needs \"scsi\" for the path of that name");
    stages_.push_back({0, std::make_unique<DriveFacts>(facts)});
    for (const Node& change : entry.list("changes")) {
        const auto fromNs = static_cast<std::int64_t>(change.number("atSeconds", kAny32)) * kNsPerSecond;
        if (fromNs < stages_.back().fromNs) change.fail("comes before the change above it");
        readDriveFacts(change, *this, fromNs, facts);
        change.done();
        stages_.push_back({fromNs, std::make_unique<DriveFacts>(facts)});
    }
    entry.done();
}

bool MachineDrive::isNvme() const {
    return !ways.empty() && isNvmeWay(*ways.begin());
}

const MachineDrive::Stage& MachineDrive::stage() const {
    const Stage* now = &stages_.front();
    for (const Stage& stage : stages_)
        if (stage.fromNs <= clock_.now()) now = &stage;
    return *now;
}

const DriveAnswer* MachineDrive::answerFor(DriveWay way, std::optional<DriveOperation> operation) {
    const DriveAnswer* chosen = nullptr;
    for (DriveAnswer& answer : stage().facts->answers) {
        if (answer.way != way || (answer.operation && answer.operation != operation)) continue;
        ++answer.met;
        if (!chosen && (answer.nth == 0 || answer.nth == answer.met)) chosen = &answer;
    }
    return chosen;
}

ErrorCode MachineDrive::awaken(std::uint32_t timeOutSeconds) {
    const DriveFacts& now = facts();
    if (now.sleep != wakingFrom_) {
        wakingFrom_ = now.sleep;
        readyAtNs_ = clock_.now() + now.spinUpNs;
    }
    const std::int64_t rest = readyAtNs_ - clock_.now();
    if (rest <= 0) return kSuccess;
    const std::int64_t limit = static_cast<std::int64_t>(timeOutSeconds) * kNsPerSecond;
    const bool tooLong = limit != 0 && rest > limit;
    clock_.sleepNs(tooLong ? limit : rest);
    return tooLong ? kTimedOut : kSuccess;
}

MachineDrives::MachineDrives(const Node& root, MachineClock& clock) {
    for (const Node& entry : root.list("drives")) {
        auto drive = std::make_unique<MachineDrive>(entry, clock);
        for (const auto& other : drives_) {
            if (drive->number && other->number == drive->number)
                entry.at("number").fail("another drive has this number");
            if (drive->address && other->address && other->address->place() == drive->address->place())
                entry.at("scsiAddress").fail("another drive has this address");
        }
        drives_.push_back(std::move(drive));
    }
    readControllers(root);
}

void MachineDrives::readControllers(const Node& root) {
    const auto find = [&](const std::wstring& id) {
        return std::ranges::find(controllers_, id, &DriveController::id);
    };
    for (const Node& entry : root.list("controllers")) {
        DriveController controller = readController(entry);
        if (find(controller.id) != controllers_.end()) entry.at("id").fail("another controller has this id");
        controllers_.push_back(std::move(controller));
    }
    for (const auto& drive : drives_) {
        if (!drive->link) continue;
        auto controller = find(drive->controllerId);
        if (controller == controllers_.end())
            controller = controllers_.insert(controller, DriveController{drive->controllerId, {}, {}, {}});
        if (controller->link)
            root.at("drives").fail("the link of \"" + wideToUtf8(controller->id) + "\" is told twice");
        controller->link = drive->link;
    }
}

MachineDrive* MachineDrives::byNumber(std::uint32_t number) const {
    for (const auto& drive : drives_)
        if (drive->number == number) return drive.get();
    return nullptr;
}

std::vector<MachineDrive*> MachineDrives::ofPort(std::uint32_t port) const {
    std::vector<MachineDrive*> found;
    for (const auto& drive : drives_)
        if (drive->address && drive->address->port == port && drive->address->device.empty())
            found.push_back(drive.get());
    return found;
}

std::vector<MachineDrive*> MachineDrives::ofPort(std::wstring_view device) const {
    std::vector<MachineDrive*> found;
    for (const auto& drive : drives_)
        if (drive->address && !device.empty() && sameName(drive->address->device, device))
            found.push_back(drive.get());
    return found;
}

bool MachineDrives::managed() const {
    const auto fillsIn = [](const auto& drive) {
        return drive->number || !drive->pnpDeviceId.empty() || drive->facts().failurePredict;
    };
    return std::ranges::any_of(drives_, fillsIn) ||
           std::ranges::any_of(controllers_,
                               [](const auto& controller) { return controller.kind.has_value(); });
}

} // namespace orv::platform
