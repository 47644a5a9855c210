#include "disk_engine/CAtaSmart.h"
#include "support/TestMachine.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

namespace orv::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string kDrive = R"("number": 0, "paths": [], "pnpDeviceId": "SCSI\\DISK&VEN_NVME\\4&1")";
const std::string kController = R"("controllerId": "PCI\\VEN_144D&DEV_A808\\3&2")";
const std::string kLink = R"("link": {"maxSpeed": 4, "maxWidth": 4, "currentSpeed": 3, "currentWidth": 2})";

/// A machine with a drive, and what else stands in its file.
std::string machineWith(const std::string& driveKeys, const std::string& more = "") {
    return fmt::format(R"({{"name": "m", "drives": [{{{}{}}}]{}}})", kDrive, driveKeys, more);
}

std::vector<std::uint32_t> linkOn(const std::string& text, const std::string& fault = "",
                                  platform::ErrorCode error = 0, std::uint64_t nth = 0) {
    TestMachine machine(text);
    machine->managementData().initialize();
    if (!fault.empty()) machine->requests().plan({fault, nth, error});
    const PcieLink link = GetPcieLink(0);
    machine->managementData().uninitialize();
    EXPECT_THAT(machine->requests().unmetFaults(), IsEmpty());
    return {link.MaxLinkSpeed, link.MaxLinkWidth, link.CurrentLinkSpeed, link.CurrentLinkWidth};
}

TEST(DiskLinkTest, OfTheControllerInTheDeviceTree) {
    const std::string described = ", " + kController + ", " + kLink;
    const std::string others = R"(, "controllers": [{"id": "PCI\\VEN_1", "link": {"maxSpeed": 1}}])";
    EXPECT_THAT(linkOn(machineWith(described)), ElementsAre(4, 4, 3, 2));
    EXPECT_THAT(linkOn(machineWith(described, others)), ElementsAre(4, 4, 3, 2));
    const auto none = ElementsAre(0, 0, 0, 0);
    EXPECT_THAT(linkOn(machineWith(", " + kController, others)), none) << "not listed";
    EXPECT_THAT(linkOn(machineWith(", " + kController,
                                   R"(, "controllers": [{"id": "PCI\\VEN_144D&DEV_a808\\3&2", )" + kLink +
                                       "}," + R"({"id": "PCI\\VEN_144D&DEV_A808\\3&", )" + kLink + "}]")),
                none)
        << "not that name";
    for (const char* request : {"deviceProperty", "devices", "device", "deviceId"})
        EXPECT_THAT(linkOn(machineWith(described), request, platform::kModuleNotFound), none) << request;
}

TEST(DiskLinkTest, TheLastRowNamesTheController) {
    TestMachine machine(machineWith("", R"(, "management": {"associators": [
        {"of": "Win32_DiskDrive", "id": "\\\\.\\PhysicalDrive0", "filter": "Win32_PnPEntity",
         "rows": [{"DeviceID": "A"}, {"DeviceID": "B\\1"}, {"Name": "no id"}]},
        {"of": "Win32_PnPEntity", "id": "B\\1", "filter": "Win32_SCSIControllerDevice",
         "rows": [{"DeviceID": "C"}, {"DeviceID": "PCI\\D"}]}]})"));
    machine->managementData().initialize();
    EXPECT_EQ(LR"(PCI\D)", GetControllerDeviceId(0));
    EXPECT_EQ(L"", GetControllerDeviceId(1)) << "a drive that has no device";
    machine->managementData().uninitialize();
}

} // namespace
} // namespace orv::test
