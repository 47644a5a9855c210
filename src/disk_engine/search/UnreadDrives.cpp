// Drives without a record: why there is none, and whether a drive that has one still answers.

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/search/SearchStages.h"
#include "frame/HWException.h"
#include "platform/Clock.h"
#include "platform/Platform.h"

#include <algorithm>

namespace orv {

namespace {

using Reason = UnreadDrive::Reason;

/// A medium is looked at before the drive is asked, which says more, but less than what is certain.
int weightOf(Reason reason) {
    return reason == Reason::removable ? 0 : reason == Reason::noAnswer ? 1 : 2;
}

std::wstring failureText(platform::ErrorCode error) {
    if (error == platform::kSuccess) return {};
    if (error == platform::kTimedOut) return L"; it did not answer in time";
    const std::wstring text = L"; " + getSystemErrorText(error);
    return text.substr(0, text.find_last_not_of(L"\r\n") + 1);
}

} // namespace

std::wstring whyUnread(const UnreadDrive& drive) {
    switch (drive.reason) {
    case Reason::noAttributes:
        return L"it has no SMART data" + failureText(drive.error);
    case Reason::raidVolume:
        return L"its model names a RAID volume";
    case Reason::twin:
        return L"it has the model and the serial number of drive " + std::to_wstring(drive.twinOf);
    case Reason::listFull:
        return L"the list takes no more than " + std::to_wstring(kMaxDrives) + L" drives";
    case Reason::removable:
        return L"its medium can be taken out";
    case Reason::tieredStorage:
        return L"its model names a volume of tiered storage";
    case Reason::noAtaCommands:
        return L"it is a SCSI disk, which has no ATA commands";
    case Reason::noAnswer:
        break;
    }
    return L"no command path gives its identify data" + failureText(drive.error);
}

void CAtaSmart::forgetProbe() {
    devices.forget();
    probed_ = {};
}

void CAtaSmart::noteTwin(std::int32_t twinOf) {
    probed_.reason = Reason::twin;
    probed_.twinOf = twinOf;
}

void CAtaSmart::noteFullList(const AtaSmartInfo& asi) {
    if (asi.Model.empty()) return;
    const auto record = std::ranges::find_if(vars, [&](const AtaSmartInfo& each) {
        return each.Model == asi.Model && each.SerialNumber == asi.SerialNumber;
    });
    if (record != vars.end()) {
        noteTwin(record->PhysicalDriveId);
        return;
    }
    probed_ = {.physicalDriveId = asi.PhysicalDriveId,
               .model = asi.Model,
               .reason = Reason::listFull,
               .serialNumber = asi.SerialNumber};
    // A drive behind a RAID driver has no number, or gets one when it is met again.
    const auto known = std::ranges::find_if(unreadDrives, [&](const UnreadDrive& each) {
        return each.reason == Reason::listFull && each.model == asi.Model &&
               each.serialNumber == asi.SerialNumber;
    });
    if (known != unreadDrives.end() && known->physicalDriveId < 0)
        known->physicalDriveId = asi.PhysicalDriveId;
    else if (known == unreadDrives.end() && asi.PhysicalDriveId < 0)
        unreadDrives.push_back(probed_);
    else
        noteUnread(probed_);
}

void CAtaSmart::noteAnswer(AtaSmartInfo& asi, bool answered) const {
    asi.answering.answers = answered;
    asi.answering.failure = answered ? platform::kSuccess : probeFailure();
    if (answered) asi.answering.lastAnswerNs = platform::current().clock().monotonicNs();
}

void CAtaSmart::noteUnread(std::int32_t physicalDriveId, const std::wstring& model) {
    UnreadDrive found = probed_;
    found.physicalDriveId = physicalDriveId;
    found.model = model;
    if (found.reason == Reason::noAnswer) found.error = probeFailure();
    noteUnread(found);
}

void CAtaSmart::noteUnread(const UnreadDrive& found) {
    if (found.physicalDriveId < 0) return;
    const auto known = std::ranges::find(unreadDrives, found.physicalDriveId, &UnreadDrive::physicalDriveId);
    if (known == unreadDrives.end()) {
        unreadDrives.push_back(found);
        return;
    }
    if (known->model.empty()) known->model = found.model;
    if (weightOf(found.reason) < weightOf(known->reason)) return;
    known->reason = found.reason;
    known->twinOf = found.twinOf;
    known->error = found.reason == Reason::noAnswer ? tellingMore(known->error, found.error) : found.error;
}

} // namespace orv
