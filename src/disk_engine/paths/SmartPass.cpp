#include "disk_engine/paths/SmartPass.h"

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/CommandPath.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/dialects/Interpretation.h"

#include <algorithm>

namespace orv {

namespace {

constexpr std::uint8_t kMaster = 0xA0;

bool readTraced(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi, int label) {
    const wchar_t* text = path.labels[label];
    if (text && debugWanted())
        DebugPrint(fmt::format(fmt::runtime(text), asi.PhysicalDriveId, commandTypeCode(asi.CommandType)));
    return path.readAttributes(engine, asi);
}

/// Two reads that list the same attributes make the data good; the thresholds are read in any case, into the
/// scratch record when they are not to be kept.
void attempt(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi, int firstLabel,
             bool keepThresholds = true) {
    if (!readTraced(engine, path, asi, firstLabel)) return;
    ClassifyDrive(asi);
    AtaSmartInfo scratch = asi;
    if (!readTraced(engine, path, scratch, firstLabel + 1)) return;
    if (CheckSmartAttributeCorrect(asi, scratch)) asi.IsSmartCorrect = 1;
    if (path.readThresholds(engine, keepThresholds ? asi : scratch)) asi.IsThresholdCorrect = 1;
    asi.IsSmartEnabled = 1;
}

} // namespace

void readTwice(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi) {
    attempt(engine, path, asi, 0);
    if (!asi.IsSmartCorrect && path.enable(engine, asi)) attempt(engine, path, asi, 2);
}

void readUnlessEqual(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi) {
    readTwice(engine, path, asi);
    if (std::ranges::equal(asi.SmartReadData, asi.SmartReadThreshold) &&
        asi.DiskVendorId != VENDOR_INDILINX) {
        DebugPrint(L"asi.SmartReadData == asi.SmartReadThreshold");
        asi.IsSmartCorrect = asi.IsThresholdCorrect = asi.IsSmartEnabled = 0;
    }
}

void readTwiceIfNeeded(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi) {
    if (!asi.IsSmartEnabled || !asi.IsSmartCorrect || !asi.IsThresholdCorrect) readTwice(engine, path, asi);
}

void readWithoutThresholds(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi) {
    attempt(engine, path, asi, 0, false);
}

void readSiliconImage(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi) {
    if (!readTraced(engine, path, asi, 0)) return;
    ClassifyDrive(asi);
    asi.IsSmartEnabled = 1;
    AtaSmartInfo scratch = asi;
    if (!readTraced(engine, path, scratch, 1)) return;
    DebugPrint(L"CheckSmartAttributeCorrect(&asi, &asiCheck) - 1");
    if (!CheckSmartAttributeCorrect(asi, scratch)) return;
    asi.IsSmartCorrect = 1;
    if (!engine.GetSmartAttributePd(asi.PhysicalDriveId, kMaster, scratch)) return;
    DebugPrint(L"CheckSmartAttributeCorrect(&asi, &asiCheck) - 2");
    if (CheckSmartAttributeCorrect(asi, scratch) && path.readThresholds(engine, asi))
        asi.IsThresholdCorrect = 1;
}

void readOnce(CAtaSmart& engine, const SmartReads& path, AtaSmartInfo& asi) {
    if (path.readAttributes(engine, asi)) {
        asi.IsSmartCorrect = asi.IsSmartEnabled = 1;
        ClassifyDrive(asi);
    }
    if (path.readThresholds(engine, asi)) asi.IsThresholdCorrect = 1;
}

bool readAttributes(CAtaSmart& engine, AtaSmartInfo& asi, std::uint32_t commandType) {
    const CommandPath& path = commandPath(commandType);
    return (path.smart && path.smart->readAttributes(engine, asi)) ||
           (path.smartBehind && path.smartBehind->readAttributes(engine, asi));
}

bool readSmart(CAtaSmart& engine, AtaSmartInfo& asi) {
    if (!asi.IsSmartSupported && !asi.Is9126MB && !engine.AdvancedDiskSearch) return true;
    const CommandPath& path = commandPath(asi.CommandType);
    if (path.readHealth && !path.smart) return false;
    for (const SmartReads* reads : {path.smart, path.smartBehind})
        if (reads) reads->pass(engine, *reads, asi);
    return true;
}

bool readHealthPage(CAtaSmart& engine, AtaSmartInfo& asi) {
    const CommandPath& path = commandPath(asi.CommandType);
    return path.readHealth && path.readHealth(engine, asi);
}

} // namespace orv
