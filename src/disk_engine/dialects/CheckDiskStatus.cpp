#include "disk_engine/WideText.h"
#include "disk_engine/dialects/AttributeRules.h"
#include "disk_engine/dialects/Interpretation.h"

#include <array>
#include <bitset>

namespace orv {

namespace {

/// A drive's health while it is being looked at: the worst finding so far, with the rule that made it.
struct Findings {
    bool known = false; ///< something on this drive tells its health
    const char* bad = nullptr;
    const char* caution = nullptr;

    void isBad(const char* why) {
        if (!bad) bad = why;
    }
    void isCaution(const char* why) {
        if (!caution) caution = why;
    }
};

// ---- Life left --------------------------------------------------------------------------------------------

// The rows in which a drive tells its life. They have a table of their own beside the rules that read
// Life: two dialects with a reading are not judged by it (173 of Toshiba, 231 of Seagate), the raw flags hold
// for every id here, and a value above 100 is a full life where a reading takes it as none.

/// -1: nothing to judge. Below that an inverted value has run past its end.
std::int32_t lifeByFlags(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    if (asi.LifeIsRawInverted) return 100 - a.RawValue[0];
    return std::min<std::int32_t>(asi.LifeIsRaw ? a.RawValue[0] : a.CurrentValue, 100);
}

void judge(std::int32_t life, const AtaSmartInfo& asi, Findings& findings) {
    if (life == 0)
        findings.isBad("no life left");
    else if (life <= asi.AlarmLimitLife)
        findings.isCaution("life at its alarm limit");
}

void judgeByFlags(AtaSmartInfo& asi, const SMART_ATTRIBUTE& a, std::uint8_t threshold, Findings& findings) {
    const std::int32_t life = lifeByFlags(asi, a);
    if (life == kNone) return;
    if (!asi.LifeIsRaw && !asi.LifeIsRawInverted && life != 0 && life < threshold)
        findings.isBad("life below its threshold");
    else
        judge(life, asi, findings);
}

void judgeUsed(AtaSmartInfo& asi, const SMART_ATTRIBUTE& a, std::uint8_t, Findings& findings) {
    if (asi.LifeHidden) return;
    const std::int32_t used = asi.LifeIsRawHundredths ? rawWord(a) / 100 : a.RawValue[1];
    judge(std::max(100 - used, 0), asi, findings);
}

void judgeAndStoreCurrent(AtaSmartInfo& asi, const SMART_ATTRIBUTE& a, std::uint8_t, Findings& findings) {
    asi.Life = std::min<std::int32_t>(a.CurrentValue, 100);
    judge(asi.Life, asi, findings);
}

struct LifeRow {
    std::uint8_t id;
    VendorSet vendors;
    UnitSet units;
    void (*judge)(AtaSmartInfo&, const SMART_ATTRIBUTE&, std::uint8_t threshold, Findings&);
    const char* stores; ///< name for an Explanation where the row writes Life
};

// clang-format off
constexpr LifeRow kLifeRows[] = {
    {169, vendors(VENDOR_REALTEK, VENDOR_SILICON_MOTION), kAnyUnit, judgeByFlags, nullptr},
    {169, vendors(VENDOR_KINGSTON), units(HOST_UNIT_32MB), judgeByFlags, nullptr},
    {173, vendors(VENDOR_KIOXIA), kAnyUnit, judgeByFlags, nullptr},
    {177, vendors(VENDOR_SAMSUNG), kAnyUnit, judgeByFlags, nullptr},
    {187, vendors(VENDOR_MTRON), kAnyUnit, judgeByFlags, nullptr},
    {201, vendors(VENDOR_SANDISK_HP, VENDOR_SANDISK_HP_VENUS), kAnyUnit, judgeAndStoreCurrent, "201: current value, at most 100 percent left"},
    {202, vendors(VENDOR_MICRON, VENDOR_MICRON_MU03, VENDOR_INTEL_DC), kAnyUnit, judgeByFlags, nullptr},
    {209, vendors(VENDOR_INDILINX), kAnyUnit, judgeByFlags, nullptr},
    {230, vendors(VENDOR_WDC, VENDOR_SANDISK), kAnyUnit, judgeUsed, nullptr},
    {230, vendors(VENDOR_SANDISK_DELL, VENDOR_SANDISK_LENOVO), kAnyUnit, judgeAndStoreCurrent, "230: current value, at most 100 percent left"},
    {231, vendors(VENDOR_JMICRON, VENDOR_SANDFORCE, VENDOR_SANDISK, VENDOR_CORSAIR, VENDOR_KINGSTON, VENDOR_REALTEK,
                  VENDOR_SKHYNIX, VENDOR_SSSTC, VENDOR_APACER, VENDOR_PHISON, VENDOR_MAXIOTEK, VENDOR_YMTC, VENDOR_SCY,
                  VENDOR_RECADATA), kAnyUnit, judgeByFlags, nullptr},
    {232, vendors(VENDOR_PLEXTOR), kAnyUnit, judgeByFlags, nullptr},
    {233, vendors(VENDOR_INTEL, VENDOR_OCZ, VENDOR_OCZ_VECTOR, VENDOR_SKHYNIX, VENDOR_SANDISK_LENOVO_HELEN_VENUS), kAnyUnit, judgeByFlags, nullptr},
};
// clang-format on

const LifeRow* findLifeRow(const AtaSmartInfo& asi, std::uint8_t id) {
    const VendorSet vendor = vendorBit(asi.DiskVendorId);
    const UnitSet unit = unitBit(asi.HostReadsWritesUnit);
    for (const LifeRow& row : kLifeRows)
        if (row.id == id && (row.vendors & vendor) && (row.units & unit)) return &row;
    return nullptr;
}

// ---- Thresholds and sector counts -------------------------------------------------------------------------

/// The ids whose threshold says something on a hard disk. On an SSD every threshold does.
constexpr auto kJudgedOnHardDisk = [] {
    struct {
        int first, last;
    } constexpr ranges[] = {{1, 13},    {22, 22},   {187, 189}, {191, 193}, {195, 209}, {211, 212},
                            {220, 228}, {230, 231}, {240, 240}, {250, 250}, {254, 254}};
    std::array<bool, 256> judged{};
    for (const auto& [first, last] : ranges)
        for (int id = first; id <= last; ++id)
            judged[static_cast<std::size_t>(id)] = true;
    return judged;
}();

/// Current value and threshold cannot be compared.
bool isIncomparable(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& a) {
    const bool neverCounted =
        asi.DiskVendorId == VENDOR_SANDFORCE && a.Id == 1 && a.CurrentValue == 0 && rawWord(a) == 0;
    return neverCounted || (a.Id == 232 && asi.LifeHidden) || a.Id == 194 || (asi.IsSsd && asi.IsRawValues8);
}

void judgeThreshold(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& a, std::uint8_t threshold,
                    Findings& findings) {
    if (threshold == 0) return;
    if (asi.IsSsd) findings.known = true;
    const bool failing = a.CurrentValue < threshold && (asi.IsSsd || kJudgedOnHardDisk[a.Id]);
    if (failing && !isIncomparable(asi, a)) findings.isBad("a current value below its threshold");
}

/// Reallocated, pending and uncorrectable sectors, which only a hard disk is judged by.
void judgeSectors(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& a, Findings& findings) {
    if (asi.IsSsd) return;
    findings.known = true;
    const std::uint16_t limit = a.Id == 5     ? asi.AlarmLimitReallocated
                                : a.Id == 197 ? asi.AlarmLimitPending
                                              : asi.AlarmLimitUncorrectable;
    constexpr std::uint32_t allOnes = 0xFFFFFFFF; // a count that the drive does not keep
    if (static_cast<std::uint32_t>(a.raw()) != allOnes && limit != 0 && rawWord(a) >= limit)
        findings.isCaution("a count of bad sectors at its alarm limit");
}

// ---- The two kinds of drive -------------------------------------------------------------------------------

struct Health {
    DiskHealth status;
    const char* why;
};

const char* reasonForUnknown(const AtaSmartInfo& asi) {
    if (!asi.IsSmartCorrect) return "no SMART data that two reads agree on";
    if (!asi.IsSsd && !asi.IsThresholdCorrect) return "a hard disk without thresholds";
    if (asi.IsThresholdBug) return "a firmware with wrong thresholds";
    if (asi.AttributeCount == 0) return "no attributes";
    return nullptr;
}

Health ataHealth(AtaSmartInfo& asi, Explanation* why) {
    if (const char* reason = reasonForUnknown(asi)) return {DISK_STATUS_UNKNOWN, reason};
    Findings findings;
    std::bitset<256> seen;
    for (std::uint32_t i = 0; i < asi.AttributeCount; ++i) {
        const SMART_ATTRIBUTE& attribute = asi.Attribute[i];
        const std::uint8_t threshold = asi.Threshold[i].ThresholdValue;
        if (attribute.Id != 0 && seen.test(attribute.Id))
            return {DISK_STATUS_UNKNOWN, "an attribute id twice"};
        seen.set(attribute.Id);

        judgeThreshold(asi, attribute, threshold, findings);
        if (attribute.Id == 5 || attribute.Id == 197 || attribute.Id == 198) {
            judgeSectors(asi, attribute, findings);
        } else if (const LifeRow* row = findLifeRow(asi, attribute.Id)) {
            findings.known = true;
            row->judge(asi, attribute, threshold, findings);
            if (why && row->stores) why->life = row->stores;
        }
    }
    if (findings.bad) return {DISK_STATUS_BAD, findings.bad};
    if (!findings.known) return {DISK_STATUS_UNKNOWN, "no threshold and no life to go by"};
    if (findings.caution) return {DISK_STATUS_CAUTION, findings.caution};
    return {DISK_STATUS_GOOD, "nothing below its threshold"};
}

Health nvmeHealth(const AtaSmartInfo& asi) {
    for (const wchar_t* virtualDrive : {L"Parallels", L"VMware", L"QEMU"})
        if (Begins(asi.Model, virtualDrive)) return {DISK_STATUS_UNKNOWN, "a virtual drive"};
    const std::uint8_t criticalWarning = asi.Attribute[0].RawValue[0];
    const std::uint8_t spare = asi.Attribute[2].RawValue[0];
    const std::uint8_t spareThreshold = asi.Attribute[3].RawValue[0];
    if (criticalWarning != 0) return {DISK_STATUS_BAD, "a critical warning"};
    if (spareThreshold >= 1 && spareThreshold <= 100) {
        if (spare < spareThreshold) return {DISK_STATUS_BAD, "available spare below its threshold"};
        // A drive whose threshold is all of the spare says nothing by it.
        if (spare == spareThreshold && spareThreshold != 100)
            return {DISK_STATUS_CAUTION, "available spare at its threshold"};
    }
    if (asi.Life <= asi.AlarmLimitLife) return {DISK_STATUS_CAUTION, "life at its alarm limit"};
    return {DISK_STATUS_GOOD, "no warning, spare and life left"};
}

} // namespace

DiskHealth CheckDiskStatus(AtaSmartInfo& asi, Explanation* why) {
    const Health health = asi.DiskVendorId == VENDOR_NVME ? nvmeHealth(asi) : ataHealth(asi, why);
    if (why) why->health = health.why;
    return health.status;
}

} // namespace orv
