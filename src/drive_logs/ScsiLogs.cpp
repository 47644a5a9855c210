#include "drive_logs/ScsiLogs.h"

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/paths/AtaCommands.h"
#include "drive_logs/ScsiCommands.h"
#include "platform/Clock.h"
#include "platform/Platform.h"
#include "platform/text.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <set>

namespace orv {

namespace {

// Sense keys and codes.
constexpr std::uint8_t kIllegalRequest = 5, kUnitAttention = 6;
constexpr std::uint8_t kFailurePrediction = 0x5D, kAsTest = 0xFF;

constexpr std::uint8_t kSerialNumber = 0x80, kCharacteristics = 0xB1; // vital product data

/// A drive that may be a SCSI disk, and what it was asked once and for all.
class AskedDisk {
  public:
    /// All that it tells now.
    ScsiDisk read(ScsiPath& path);
    /// The same when it cannot be asked.
    ScsiDisk unreachable(std::string why);
    /// It has said that it is a SCSI disk, or that it is none.
    bool isDisk() const { return !isOther_ && !lasting_.inquiry.empty(); }
    bool isOther() const { return isOther_; }
    void setOther() { isOther_ = true; }

    std::wstring model; ///< that the search gave; another one means another drive
    bool busIsKnown = false;

  private:
    std::optional<ScsiBytes> ask(ScsiPath& path, const ScsiCommand& command);
    void refuse(const ScsiCommand& command, const std::optional<ScsiSense>& sense);
    void keepSense(const ScsiBytes& sense);
    void forget();
    bool readIdentity(ScsiPath& path);
    void readFacts(ScsiPath& path);
    ScsiBytes readLogPage(ScsiPath& path, std::uint8_t page);
    ScsiDisk told(ScsiAnswers answers) const;

    bool isOther_ = false;
    ScsiAnswers lasting_; // identity, size, and the words for what it refuses
    bool factsAreKnown_ = false;
    std::set<std::vector<std::uint8_t>> refused_; // command blocks
    std::vector<std::uint8_t> logPages_;          // that it lists and that count
    std::string listFault_;
    ScsiBytes prediction_; // sense data that foretold a failure: a disk may send them only once

    // Of one reading:
    std::vector<std::string> faults_;
    std::vector<ScsiBytes> sense_;
    bool ended_ = false; // a command failed in another way than by a refusal; the rest would wait as long
};

void AskedDisk::refuse(const ScsiCommand& command, const std::optional<ScsiSense>& sense) {
    refused_.insert(command.cdb);
    if (command.support == Support::expected)
        lasting_.refusals.push_back(sense ? fmt::format("{} is refused ({})", command.name, senseText(*sense))
                                          : command.name + " is refused");
}

void AskedDisk::keepSense(const ScsiBytes& data) {
    const auto sense = scsiSenseOf(data);
    if (!sense || sense->key == kIllegalRequest) return;
    if (sense->code == kFailurePrediction && sense->qualifier != kAsTest) prediction_ = data;
    sense_.push_back(data);
}

/// The data of a command that ended well. A disk that has something to tell first is asked again.
std::optional<ScsiBytes> AskedDisk::ask(ScsiPath& path, const ScsiCommand& command) {
    constexpr int mostTries = 4;
    if (ended_ || refused_.contains(command.cdb)) return std::nullopt;
    for (int tried = 1; tried <= mostTries; ++tried) {
        ScsiEnding ending = path.send(command);
        if (ending.error != platform::kSuccess) {
            faults_.push_back(fmt::format("{} fails with error {}", command.name, ending.error));
            ended_ = true;
            return std::nullopt;
        }
        keepSense(ending.sense);
        if (ending.good) return std::move(ending.data);
        const auto sense = scsiSenseOf(ending.sense);
        if ((sense && sense->key == kUnitAttention) || (ending.maybeRefused && tried == 1)) continue;
        const bool refused = ending.maybeRefused || (sense && sense->key == kIllegalRequest);
        if (refused && command.support != Support::every)
            refuse(command, sense);
        else
            faults_.push_back(
                fmt::format("{} fails ({})", command.name, sense ? senseText(*sense) : "without sense data"));
        return std::nullopt;
    }
    faults_.push_back(command.name + ": it is not done with its unit attentions");
    ended_ = true;
    return std::nullopt;
}

/// Another disk in the place of this one is asked everything anew.
void AskedDisk::forget() {
    AskedDisk other;
    other.model = model;
    other.busIsKnown = busIsKnown;
    *this = std::move(other);
}

/// False when it does not answer, or is no SCSI disk.
bool AskedDisk::readIdentity(ScsiPath& path) {
    const auto inquiry = ask(path, inquiryCommand());
    if (!inquiry) return false;
    if (!lasting_.inquiry.empty() && *inquiry != lasting_.inquiry) forget();
    lasting_.inquiry = *inquiry;
    isOther_ = !isScsiDisk(*inquiry);
    if (isOther_) return false;
    const auto serial = ask(path, productDataCommand(kSerialNumber));
    if (!serial) return true;
    if (!lasting_.serialNumberPage.empty() && *serial != lasting_.serialNumberPage) forget();
    lasting_.inquiry = *inquiry;
    lasting_.serialNumberPage = *serial;
    return true;
}

void AskedDisk::readFacts(ScsiPath& path) {
    lasting_.characteristicsPage = ask(path, productDataCommand(kCharacteristics)).value_or(ScsiBytes());
    auto capacity = ask(path, readCapacity16Command());
    if (!capacity) capacity = ask(path, readCapacity10Command());
    lasting_.capacity = capacity.value_or(ScsiBytes());
    listFault_.clear();
    if (const auto list = ask(path, logSenseCommand(kSupportedPages, kLogPageBytes)))
        logPages_ = listedLogPages(*list, listFault_);
    factsAreKnown_ = !ended_;
}

/// A longer page is asked for again, with the room that it wants.
ScsiBytes AskedDisk::readLogPage(ScsiPath& path, std::uint8_t page) {
    constexpr std::size_t head = 4;
    ScsiBytes data = ask(path, logSenseCommand(page, kLogPageBytes)).value_or(ScsiBytes());
    if (data.size() < kLogPageBytes) return data;
    const std::size_t whole = head + data[2] * 256U + data[3];
    if (whole <= kLogPageBytes || (data[0] & 0x7F) != page) return data;
    auto more = ask(path, logSenseCommand(page, std::min(whole, kMostLogPageBytes)));
    return more ? std::move(*more) : data;
}

ScsiDisk AskedDisk::told(ScsiAnswers answers) const {
    answers.refusals.insert(answers.refusals.end(), faults_.begin(), faults_.end());
    if (!listFault_.empty()) answers.refusals.push_back(listFault_);
    answers.sense = sense_;
    if (!prediction_.empty()) answers.sense.push_back(prediction_);
    ScsiDisk disk = scsiDiskOf(answers);
    if (answers.inquiry.empty()) disk.product = platform::wideToUtf8(model);
    return disk;
}

ScsiDisk AskedDisk::read(ScsiPath& path) {
    faults_.clear();
    sense_.clear();
    ended_ = false;
    if (!readIdentity(path)) return told(lasting_);
    // First, before another command meets what it has to tell.
    if (const auto sense = ask(path, requestSenseCommand())) {
        keepSense(*sense);
        if (!scsiSenseOf(*sense)) sense_.push_back(*sense);
    }
    if (!factsAreKnown_) readFacts(path);
    std::map<std::uint8_t, ScsiBytes> pages;
    for (const std::uint8_t page : logPages_)
        if (auto data = readLogPage(path, page); !data.empty()) pages[page] = std::move(data);
    ScsiAnswers answers = lasting_;
    answers.logPages = std::move(pages);
    return told(std::move(answers));
}

ScsiDisk AskedDisk::unreachable(std::string why) {
    faults_ = {std::move(why)};
    sense_.clear();
    return told(lasting_);
}

/// What does not say at once that it is a disk is left alone, unless the search knows that it is one.
ScsiDisk askOrGiveUp(AskedDisk& asked, ScsiPath& path, bool saidToBe) {
    ScsiDisk disk = asked.read(path);
    if (!saidToBe && !asked.isDisk()) asked.setOther();
    return disk;
}

ScsiDisk readDrive(AskedDisk& asked, std::int32_t physicalDriveId, bool saidToBe) {
    auto file = platform::current().deviceFiles().open(physicalDrivePath(physicalDriveId), kCommandOpening);
    if (!file.ok()) return asked.unreachable(fmt::format("it does not open (error {})", file.error));
    ScsiDrivePath path(*file.value);
    if (!asked.busIsKnown && path.hasOtherBus()) asked.setOther();
    asked.busIsKnown = true;
    return asked.isOther() ? ScsiDisk{} : askOrGiveUp(asked, path, saidToBe);
}

} // namespace

struct ScsiDiskReader::Disks {
    std::map<std::int32_t, AskedDisk> ofDrives;
    std::map<std::pair<std::int32_t, std::int32_t>, AskedDisk> behindMegaRaid;
};

ScsiDiskReader::ScsiDiskReader() : known_(std::make_unique<Disks>()) {}
ScsiDiskReader::~ScsiDiskReader() = default;

const std::vector<ScsiDisk>& ScsiDiskReader::read(CAtaSmart& engine, std::int64_t atMostEveryNs) {
    const std::int64_t now = platform::current().clock().monotonicNs();
    if (lastNs_ && now - *lastNs_ < atMostEveryNs) return disks_;
    lastNs_ = now;
    disks_.clear();
    for (const UnreadDrive& drive : engine.unreadDrives) {
        const bool saidToBe = drive.reason == UnreadDrive::Reason::noAtaCommands;
        if (drive.physicalDriveId < 0 || (!saidToBe && drive.reason != UnreadDrive::Reason::noAnswer))
            continue;
        AskedDisk& asked = known_->ofDrives[drive.physicalDriveId];
        if (asked.model != drive.model) asked = AskedDisk();
        asked.model = drive.model;
        if (asked.isOther()) continue;
        ScsiDisk disk = readDrive(asked, drive.physicalDriveId, saidToBe);
        disk.physicalDriveId = drive.physicalDriveId;
        if (asked.isDisk() || (saidToBe && !asked.isOther())) disks_.push_back(std::move(disk));
    }
    for (const MegaRaidDisk& place : engine.silentMegaRaidDisks) {
        AskedDisk& asked = known_->behindMegaRaid[{place.scsiPort, place.deviceId}];
        if (asked.isOther()) continue;
        ScsiMegaRaidPath path(engine, place);
        ScsiDisk disk = askOrGiveUp(asked, path, false);
        disk.scsiPort = place.scsiPort;
        disk.deviceId = place.deviceId;
        // The system may see a disk of the controller itself.
        const bool isListed = std::ranges::any_of(disks_, [&](const ScsiDisk& other) {
            return !disk.serialNumber.empty() && other.serialNumber == disk.serialNumber &&
                   other.product == disk.product;
        });
        if (asked.isDisk() && !isListed) disks_.push_back(std::move(disk));
    }
    return disks_;
}

} // namespace orv
