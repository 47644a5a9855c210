#include "disk_engine/dialects/AttributeNames.h"

#include "disk_engine/dialects/AttributeRules.h"

#include <algorithm>
#include <iterator>

namespace orv {

namespace {

/// Fields of the SMART / Health Information log page (NVM Express 1.4), in the order of the pseudo
/// attributes.
constexpr const char* kNvmeNames[] = {
    "Critical warning",
    "Composite temperature",
    "Available spare",
    "Available spare threshold",
    "Percentage used",
    "Data units read",
    "Data units written",
    "Host read commands",
    "Host write commands",
    "Controller busy time",
    "Power cycles",
    "Power-on hours",
    "Unsafe shutdowns",
    "Media and data integrity errors",
    "Error information log entries",
};

struct CommonName {
    std::uint8_t id;
    const char* name;
};

constexpr CommonName kCommonNames[] = {
    {1, "Read error rate"},
    {2, "Throughput performance"},
    {3, "Spin-up time"},
    {4, "Start/stop count"},
    {5, "Reallocated sectors count"},
    {6, "Read channel margin"},
    {7, "Seek error rate"},
    {8, "Seek time performance"},
    {9, "Power-on hours"},
    {10, "Spin retry count"},
    {11, "Recalibration retries"},
    {12, "Power cycle count"},
    {13, "Soft read error rate"},
    {22, "Current helium level"},
    {170, "Available reserved space"},
    {171, "Program fail count"},
    {172, "Erase fail count"},
    {173, "Average block-erase count"},
    {174, "Unexpected power loss count"},
    {175, "Program fail count (chip)"},
    {176, "Erase fail count (chip)"},
    {177, "Wear leveling count"},
    {178, "Used reserved block count (chip)"},
    {179, "Used reserved block count (total)"},
    {180, "Unused reserved block count (total)"},
    {181, "Program fail count (total)"},
    {182, "Erase fail count (total)"},
    {183, "Runtime bad block (total)"},
    {184, "End-to-end error"},
    {187, "Reported uncorrectable errors"},
    {188, "Command timeout"},
    {189, "High fly writes"},
    {190, "Airflow temperature"},
    {191, "G-sense error rate"},
    {192, "Power-off retract count"},
    {193, "Load cycle count"},
    {194, "Temperature"},
    {195, "Hardware ECC recovered"},
    {196, "Reallocation event count"},
    {197, "Current pending sector count"},
    {198, "Offline uncorrectable sector count"},
    {199, "UltraDMA CRC error count"},
    {200, "Write error rate"},
    {201, "Soft read error rate"},
    {202, "Data address mark errors"},
    {203, "Run out cancel"},
    {204, "Soft ECC correction"},
    {205, "Thermal asperity rate"},
    {206, "Flying height"},
    {207, "Spin high current"},
    {208, "Spin buzz"},
    {209, "Offline seek performance"},
    {220, "Disk shift"},
    {221, "G-sense error rate"},
    {222, "Loaded hours"},
    {223, "Load/unload retry count"},
    {224, "Load friction"},
    {225, "Load/unload cycle count"},
    {226, "Load-in time"},
    {227, "Torque amplification count"},
    {228, "Power-off retract cycle"},
    {230, "Drive life protection status"},
    {231, "Life left"},
    {232, "Available reserved space"},
    {233, "Media wearout indicator"},
    {234, "Average erase count"},
    {235, "Good block count"},
    {240, "Head flying hours"},
    {241, "Total LBAs written"},
    {242, "Total LBAs read"},
    {243, "Total LBAs written (expanded)"},
    {244, "Total LBAs read (expanded)"},
    {249, "NAND writes"},
    {250, "Read error retry rate"},
    {251, "Minimum spares remaining"},
    {254, "Free fall protection"},
};
static_assert(std::is_sorted(std::begin(kCommonNames), std::end(kCommonNames),
                             [](const CommonName& a, const CommonName& b) { return a.id < b.id; }));

constexpr const char* kUnknown = "Vendor-specific attribute";

const char* commonName(std::uint8_t id) {
    const auto* found =
        std::lower_bound(std::begin(kCommonNames), std::end(kCommonNames), id,
                         [](const CommonName& row, std::uint8_t wanted) { return row.id < wanted; });
    return found != std::end(kCommonNames) && found->id == id ? found->name : kUnknown;
}

const char* nameOf(Meaning meaning) {
    switch (meaning) {
    case Meaning::temperature:
        return "Temperature";
    case Meaning::powerOnHours:
        return "Power-on hours";
    case Meaning::powerOnCount:
        return "Power cycle count";
    case Meaning::life:
        return "Life left";
    case Meaning::wear:
        return "Wear leveling count";
    case Meaning::erased:
        return "Data erased";
    case Meaning::hostWrites:
        return "Host writes";
    case Meaning::hostReads:
        return "Host reads";
    case Meaning::nandWrites:
        return "NAND writes";
    }
    return kUnknown;
}

} // namespace

const char* AttributeName(const AtaSmartInfo& asi, const SMART_ATTRIBUTE& attribute) {
    if (asi.DiskVendorId == VENDOR_NVME)
        return attribute.Id >= 1 && attribute.Id <= std::size(kNvmeNames) ? kNvmeNames[attribute.Id - 1]
                                                                          : kUnknown;
    // A rule for all drives adds nothing to the common name, which is the closer one (190 is the air's).
    const AttributeRule* rule = findAttributeRule(asi, attribute, Holds::onRead);
    return rule && rule->vendors != kAnyVendor ? nameOf(rule->action.meaning) : commonName(attribute.Id);
}

} // namespace orv
