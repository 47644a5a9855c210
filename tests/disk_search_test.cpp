// Sessions of the management data, and the search for drives: what the rows of those data, the drive numbers
// and the letters make of them.

#include "frame/HWException.h"
#include "log/log.h"
#include "platform/servers/ManagementRows.h"
#include "support/CapturedLog.h"
#include "support/DescribedDrives.h"
#include "wmi/wmi.h"

namespace orv::test {
namespace {

using namespace platform;

constexpr const wchar_t* kQuery = L"SELECT * FROM Win32_PhysicalMemory";

class Wmi : public testing::Test {
  protected:
    void fail(const char* request, ErrorCode error) { machine->requests().plan({request, 0, error, 0}); }

    TestMachine machine{R"({"name": "m", "management":
        {"Empty": [], "Win32_PhysicalMemory": [{"A": "x", "N": -5, "B": {"type": 11, "number": 1}}, {"A": "y"}]}})"};
};

TEST_F(Wmi, StepsInTheirOrder) {
    {
        wmi session;
        EXPECT_TRUE(session.query(kQuery));
        const auto values = session.get(L"A");
        ASSERT_EQ(2u, values.size());
        EXPECT_EQ(L"x", values[0].text);
        EXPECT_EQ(ManagementType::bstr, values[1].type);
    }
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("initializeCom", "initializeSecurity", "createLocator",
                            R"(connectServer ROOT\CIMV2)", "setProxyBlanket",
                            "execQuery SELECT * FROM Win32_PhysicalMemory", "nextRow", "nextRow", "nextRow",
                            "getColumn A", "getColumn A", "uninitializeCom"));
}

TEST_F(Wmi, FailedStepsEndTheSessionWithTheirCode) {
    const std::pair<const char*, const char*> cases[] = {
        {"initializeSecurity", "CoInitializeSecurity failed, error code: 2147942405 message: "},
        {"connectServer", "ConnectServer failed: error code: 2147942405 message: "},
        {"setProxyBlanket", "CoSetProxyBlanket failed: error code: 2147942405 message: "},
    };
    for (const auto& [request, text] : cases) {
        machine->requests().clearFaults();
        fail(request, 0x80070005);
        EXPECT_THAT([] { wmi session; }, testing::ThrowsMessage<HWException>(HasSubstr(text))) << request;
        EXPECT_EQ("uninitializeCom", machine->requests().record().back()) << request;
    }
}

// What a host does to COM before: a thread of another model, security that was set already.
TEST_F(Wmi, AHostWithItsOwnComSettingsGetsASession) {
    fail("initializeCom", 0x80010106);
    fail("initializeSecurity", 0x80010119);
    EXPECT_TRUE(wmi().query(kQuery));
    EXPECT_THAT(machine->requests().record(), Not(Contains("uninitializeCom")));
}

TEST_F(Wmi, QueriesThatGiveNothing) {
    wmi empty;
    EXPECT_TRUE(empty.query(L"SELECT * FROM Empty"));
    EXPECT_TRUE(empty.get(L"A").empty());

    wmi failing;
    EXPECT_FALSE(failing.query(L"SELECT * FROM NoSuchClass"));
    EXPECT_THROW(failing.get(L"A"), HWException);
}

TEST(ManagementQueryTest, ReadsSelectionsAndAssociators) {
    const auto some = readManagementQuery(L"select DeviceName, DriverVersion from X_Y");
    ASSERT_TRUE(some);
    const auto rows = selected(*some, {{{L"devicename", bstr(L"a")}, {L"Other", i4(1)}}});
    EXPECT_THAT(rows, ElementsAre(ElementsAre(testing::Key(L"devicename"))));

    const auto assoc = readManagementQuery(
        LR"(ASSOCIATORS OF {Win32_SCSIController.DeviceID="PCI\\VEN_1&X"} WHERE AssocClass = Y)");
    ASSERT_TRUE(assoc && assoc->associators);
    EXPECT_EQ(L"Win32_SCSIController", assoc->className);
    EXPECT_EQ(L"DeviceID", assoc->key);
    EXPECT_TRUE(sameId(LR"(pci\ven_1&x)", assoc->id));
    EXPECT_EQ(L"AssocClass", assoc->filter);
    EXPECT_EQ(L"Y", assoc->filterClass);

    const auto disk = readManagementQuery(
        LR"(associators of {Win32_DiskDrive.DeviceID='\\.\PhysicalDrive0'} where ResultClass=Win32_PnPEntity)");
    ASSERT_TRUE(disk);
    EXPECT_TRUE(sameId(LR"(\\\\.\\PhysicalDrive0)", disk->id));
    EXPECT_FALSE(sameId(LR"(\\.\PhysicalDrive10)", disk->id));
    EXPECT_EQ(L"Win32_PnPEntity", disk->filterClass);
}

TEST(ManagementQueryTest, RefusesWhatItDoesNotRead) {
    for (const wchar_t* wql :
         {L"", L"SELECT a, FROM X", L"SELECT * FROM X WHERE A = 1", L"ASSOCIATORS OF {X.Id='a\"}",
          L"ASSOCIATORS OF {X.Id='a'} WHERE", L"ASSOCIATORS OF {X.Id='a'} WHERE AssocClass = Y more"})
        EXPECT_FALSE(readManagementQuery(wql)) << wql;
    EXPECT_TRUE(isNamespace(LR"(\\.\root\cimv2)", LR"(ROOT\CIMV2)"));
    EXPECT_FALSE(isNamespace(LR"(\\other\root\cimv2)", LR"(ROOT\CIMV2)"));
}

// ---- The search

/// An ATA disk behind a path.
std::string disk(int number, const std::string& model = "ACME Disk",
                 const std::string& path = "ataPassThrough", const std::string& more = {}) {
    return fmt::format(R"({{"number": {}, "paths": ["{}"], "identify": "{}", {}{}}})", number, path,
                       hexOf(smartIdentify({{76, 2}}, model, "F1", "S" + std::to_string(number))),
                       smartKeys(kSomeAttributes), more);
}

/// A machine on which the engine's search runs.
struct Searched : DriveOnMachine {
    explicit Searched(const std::string& drives, const std::string& sections = {}, bool atOnce = true)
        : DriveOnMachine(drives, sections) {
        engine->UseStandardPaths();
        if (atOnce) search();
    }

    /// With the arguments of the library, but without hiding and sorting by number.
    void search(BOOL useWmi = 1, BOOL hide = 0, BOOL byLetter = 0, BOOL skipOldFirmware = 0) {
        engine->Init(useWmi, 0, nullptr, skipOldFirmware, hide, byLetter);
    }
    /// The only record.
    const AtaSmartInfo& record() const {
        if (engine->vars.size() != 1) throw std::runtime_error("not one record");
        return engine->vars[0];
    }
    std::vector<int> numbers() const {
        std::vector<int> all;
        for (const AtaSmartInfo& asi : engine->vars)
            all.push_back(asi.PhysicalDriveId);
        return all;
    }
};

std::string management(const std::string& entries) {
    return R"(, "management": {)" + entries + "}";
}
std::string diskRows(const std::string& rows) {
    return management(R"("Win32_DiskDrive": [)" + rows + "]");
}
constexpr char kRemovable[] = R"(, "mediaType": 11)";
constexpr char kRow[] = R"({"DeviceID": "\\\\.\\PHYSICALDRIVE1", "Model": "ACME Disk")";

std::string volume(const char* letter, const std::string& extents, int type = 3) {
    return fmt::format(R"({{"letter": "{}", "type": {}, "extents": [{}]}})", letter, type, extents);
}
std::string on(int disk, int length = 1000) {
    return fmt::format(R"({{"disk": {}, "start": 0, "length": {}}})", disk, length);
}

/// What a row's texts decide: whether the drive is read, on which paths, and what its record says of it.
TEST(DriveSearch, WhatARowDecides) {
    const std::string usb = R"(, "PNPDeviceID": "usbstor\\disk&x", "InterfaceType": "USB")";
    // Removable volumes count with a stick that is a drive alone, and none with the letter of a floppy disk.
    const std::string volumes =
        R"(, "volumes": [)" + volume("B", on(1), 2) + "," + volume("G", on(1), 2) + "]";
    // The command path, or why there is no record.
    // clang-format off
    const std::tuple<const char*, std::string, std::string, std::uint32_t, std::wstring> cases[] = {
        {"an internal disk without a medium's text", disk(1), R"("Model": "ACME Disk ATA Device")", CMD_TYPE_PHYSICAL_DRIVE, L"Serial ATA"},
        {"a USB disk", disk(1, "ACME Disk", "sat"), R"("Model": "ACME Disk USB Device", "MediaType": "External hard disk media")" + usb, CMD_TYPE_SAT, L"USB (Serial ATA)"},
        {"a stick", disk(1, "ACME Disk", "sat", kRemovable), R"("Model": "ACME Disk USB Device", "MediaType": "Removable Media")" + usb, 0, L"its medium can be taken out"},
        {"a stick with a drive", disk(1, "SanDisk Extreme", "sat", kRemovable), R"("Model": "SanDisk Extreme USB Device", "MediaType": "Removable Media")" + usb, CMD_TYPE_SAT, L"USB (Serial ATA)"},
        {"FireWire by its model", disk(1, "ACME Disk", "sat"), R"("Model": "ACME Disk IEEE 1394 SBP2 Device", "MediaType": "External hard disk media")", CMD_TYPE_SAT, L"IEEE 1394 (Serial ATA)"},
        {"a volume that looks like a drive", disk(1, "FuzeDrive X", "ataPassThrough", kRemovable), R"("Model": "AMD FuzeDrive X")", 0, L"its model names a volume of tiered storage"},
    };
    // clang-format on
    for (const auto& [what, drive, row, commandType, text] : cases) {
        SCOPED_TRACE(what);
        const Searched it(drive, diskRows(R"({"DeviceID": "\\\\.\\PHYSICALDRIVE1", )" + row + "}") + volumes);
        EXPECT_THAT(it.unread(), ElementsAreArray(commandType ? Labels{} : Labels{L"1: " + text}));
        ASSERT_EQ(commandType ? 1u : 0u, it.engine->vars.size());
        if (!commandType) continue;
        EXPECT_EQ(commandType, it.engine->vars[0].CommandType);
        EXPECT_EQ(text, it.engine->vars[0].Interface);
        EXPECT_EQ(what == std::string_view("a stick with a drive") ? L"G:" : L"",
                  it.engine->vars[0].DriveMap);
        EXPECT_THAT(it.trace, Contains(L"OK:Check Model Name"));
    }
}

/// The platform's own words about a drive: size, swapped texts, a firmware that must not be asked.
TEST(DriveSearch, TheRecordAgainstThePlatformsWords) {
    const Searched named(disk(1, "CAEM Disk1234567"),
                         diskRows(R"({"DeviceID": "1", "Model": "ACMED si1k325476"})"));
    EXPECT_EQ(L"ACMED si1k325476", named.record().Model);
    EXPECT_EQ(named.record().SerialNumberReverse, named.record().SerialNumber);

    const Searched other(disk(1),
                         diskRows(R"({"DeviceID": "1", "Model": "Another", "Size": "2000050000000"})"));
    EXPECT_EQ(L"Another", other.record().ModelWmi) << "another name is no reason to drop it";
    EXPECT_THAT(other.trace, Contains(L"DISABLED: vars.RemoveAt(index) - 2"));
    EXPECT_EQ(2000001u, other.record().DiskSizeWmi);
    EXPECT_EQ(2000001u, other.record().TotalDiskSize) << "of some gigabytes by the geometry alone";

    const Searched bridge(
        disk(1, "CAEM Disk1234567", "sat"),
        diskRows(R"({"DeviceID": "1", "Model": "ACMED si1k325476 USB Device", "MediaType": "External"})"));
    EXPECT_EQ(L"CAEM Disk1234567", bridge.record().Model) << "a bridge's words are not compared";

    const Searched misled(disk(1),
                          diskRows(R"({"DeviceID": "1", "InterfaceType": "USB", "MediaType": "External"})"));
    EXPECT_THAT(misled.numbers(), ElementsAre(1)) << "found by its number in the end";

    Searched firmware(
        disk(1, "SAMSUNG HD204UI", "ataPassThrough", kRemovable),
        diskRows(R"({"DeviceID": "1", "Model": "SAMSUNG HD204UI", "FirmwareRevision": "1AQ10001"})"), false);
    firmware.search(1, 0, 0, 1);
    EXPECT_THAT(firmware.engine->vars, IsEmpty());
}

/// Lists of controllers: what hangs on them is told by its device id.
TEST(DriveSearch, WhatAControllerSaysOfItsDrives) {
    const auto sections = [](const char* name) {
        return management(fmt::format(R"("Win32_SCSIController": [{{"Name": "{}", "DeviceID": "PCI\\C1"}}],
            "Win32_IDEController": [{{"Name": "NVIDIA nForce", "DeviceID": "PCIIDE\\IDECHANNEL\\0"}}],
            "Win32_DiskDrive": [{{"DeviceID": "1", "Model": "ACME Disk", "PNPDeviceID": "scsi\\d1", "MediaType": "Fixed"}}],
            "associators": [{{"of": "Win32_SCSIController", "id": "PCI\\C1", "filter": "Win32_SCSIControllerDevice", "rows": [{{"DeviceID": "SCSI\\D1&0"}}]}}])",
                                      name));
    };
    const Searched plain(disk(1), sections("ACME SAS"));
    EXPECT_EQ(L"SCSI\\D1", plain.record().PnpDeviceId);
    EXPECT_THAT(plain.trace, Contains(L"WakeUp(1)"));
    EXPECT_EQ(0, plain.engine->IsNvidiaController) << "a controller without devices says nothing";
    EXPECT_THAT(plain.engine->IdeController, ElementsAre(L"NVIDIA nForce (0)"));

    for (const char* name : {"ACME USB Bridge", "ACME UAS Bridge"}) {
        const Searched uasp(disk(1, "ACME Disk", "sat"), sections(name));
        EXPECT_EQ(L"UASP (Serial ATA)", uasp.record().Interface);
        EXPECT_EQ(1, uasp.record().IsUasp);
    }
    const Searched dvd(disk(1), sections("DVDFab Virtual Drive (USB)"));
    EXPECT_THAT(dvd.engine->UASPController, IsEmpty()) << "its devices are none";

    const Searched black(disk(1, "ACME Disk", "ataPassThrough", kRemovable), sections("VIA VT6410 RAID"));
    EXPECT_THAT(black.engine->vars, IsEmpty());
    EXPECT_THAT(black.unread(), ElementsAre(StartsWith(L"1: no command path gives its identify data; ")));
    EXPECT_THAT(black.trace, Not(Contains(L"flagTarget && GetDiskInfo")));

    const Searched silicon(disk(1), sections("Silicon Image SiI 3114 SATARaid"));
    EXPECT_EQ(3114, silicon.record().SiliconImageType);
}

TEST(DriveSearch, AUsbDiskTakesItsIdsFromItsParent) {
    const Searched it(disk(1, "ACME Disk", "jmicron"),
                      management(R"("Win32_USBController": [{"Name": "xHCI", "DeviceID": "PCI\\U"}],
        "Win32_DiskDrive": [{"DeviceID": "1", "Model": "JM Box USB Device", "MediaType": "External hard disk media"}],
        "associators": [{"of": "Win32_USBController", "id": "PCI\\U", "rows": [{"DeviceID": "USBSTOR\\ORPHAN", "Name": "Orphan"},
            {"DeviceID": "USB\\VID_152D&PID_A583\\0001"}, {"DeviceID": "USBSTOR\\DISK&VEN_JM", "Name": "JM Box USB Device"},
            {"DeviceID": "USB\\VID_1111&PID_2222\\1"}, {"DeviceID": "USBSTOR\\NAMELESS"}]}])"));
    ASSERT_EQ(3u, it.engine->usbDevices.size());
    EXPECT_EQ(0u, it.engine->usbDevices[0].VendorId);
    const AtaSmartInfo& asi = it.record();
    EXPECT_EQ(CMD_TYPE_JMICRON, asi.CommandType) << "asked first for that vendor";
    EXPECT_EQ(0x152Du, asi.UsbVendorId);
    EXPECT_EQ(0xA583u, asi.UsbProductId);
    EXPECT_EQ(L"JM Box USB Device", asi.Enclosure);
}

/// Which RAID scans run, by the version of AMD's driver.
TEST(DriveSearch, TheDriverDecidesWhichRaidScansRun) {
    static constexpr char driver[] =
        R"("Win32_PnPSignedDriver": [{{"DeviceName": "AMD-RAID Config Device", "DriverVersion": "{}"}}])";
    const std::tuple<const char*, bool, bool> cases[] = {
        {"9.2.0.1", false, false}, {"9.3.0.1", true, true}, {"9.1.0.1", false, true}, {"8", false, true}};
    for (const auto& [version, library, csmi] : cases) {
        const Searched it(disk(1), management(fmt::format(driver, version)));
        EXPECT_EQ(library, std::ranges::count(it.trace, L"AddDiskAMD_RC2") == 1) << version;
        const wchar_t* label = library ? L"AMD RAID (CSMI)" : L"Intel/AMD RAID (CSMI)";
        EXPECT_EQ(csmi, std::ranges::count(it.trace, label) == 1) << version;
        EXPECT_THAT(it.trace, Contains(L"MegaRAID"));
    }
}

/// A service that breaks off between two rows: what was told of AMD's driver counts.
TEST(DriveSearch, AVersionOutlivesTheRowsBehindIt) {
    struct Breaking : platform::ManagementServices, platform::ManagementEnumerator, platform::ManagementRow {
        explicit Breaking(int row) : row_(row) {}
        platform::ErrorCode setProxyBlanket() override { return platform::kSuccess; }
        platform::Result<std::unique_ptr<platform::ManagementEnumerator>>
        execQuery(std::wstring_view) override {
            return {std::make_unique<Breaking>(0)};
        }
        std::unique_ptr<platform::ManagementRow> next(std::uint32_t) override {
            return std::make_unique<Breaking>(++row_);
        }
        platform::Result<platform::ManagementValue> get(std::wstring_view column) override {
            if (row_ == 2) throw std::runtime_error("gone");
            return {platform::bstr(column == L"DeviceName" ? L"AMD-RAID Config" : L"9.3.0.1")};
        }
        int row_;
    } services(0);
    int version = 0;
    EXPECT_THROW(readAmdRaidDriverVersion(services, version), std::runtime_error);
    EXPECT_EQ(93, version);

    Searched rows(disk(1), "", false); // which is the number that the first row's id ends in
    bool removable = false;
    searchDiskRows(*rows.engine, services, removable);
    EXPECT_EQ(L"9.3.0.1", rows.record().ModelWmi);
}

TEST(DriveSearch, AStageThatThrowsEndsAlone) {
    struct Throwing : platform::PlatformOf<platform::MachineServices> {
        using PlatformOf::PlatformOf;
        platform::ManagementData& managementData() override { throw std::runtime_error("gone"); }
    } throwing(platform::Node::parseText(R"({"name": "m", "drives": [)" + disk(1) + "]}", "machine"));
    const InUse inUse(throwing);
    const CapturedLog log({&diskLogger});
    CAtaSmart engine;
    engine.Init(1, 0, nullptr, 0, 0, 0);
    ASSERT_EQ(1u, engine.vars.size()) << "the walk over the numbers goes on";
    EXPECT_THAT(log.lines(spdlog::level::warn),
                ElementsAre(::testing::EndsWith("the connection to the management data ended early: gone")));
    engine.vars[0].PnpDeviceId = L"IDE\\DISK";
    EXPECT_FALSE(engine.GetSmartAttributeWmi(engine.vars[0]));
}

/// The walks over the ports, one of which a flag allows, the other the advanced search.
TEST(DriveSearch, PortsAreWalkedWhereThatIsWanted) {
    const std::string unnumbered = nvmeDrive(R"("nvmeRaid")", kAtPort).replace(1, 12, "");
    for (const bool wanted : {false, true}) {
        Searched vroc(disk(1) + "," + unnumbered, diskRows(""), false);
        vroc.engine->FlagIntelVroc = wanted;
        vroc.search();
        EXPECT_EQ(wanted ? 2u : 1u, vroc.engine->vars.size());
        Searched port(ataDrive(R"("scsiDisk")", 0xA0, kAtPort, smartIdentify({}, "DW CABCDEFGH")), "", false);
        port.engine->Init(0, wanted, nullptr, 0, 0, 0);
        ASSERT_EQ(wanted ? 1u : 0u, port.engine->vars.size());
        if (!wanted) continue;
        EXPECT_EQ(L"iv", vroc.engine->vars.back().CommandTypeString);
        EXPECT_EQ(L"sm WDC BADCFEHG", port.record().CommandTypeString + L" " + port.record().Model);
    }
}

/// The road to the management data breaks at each of its steps: the walk over the numbers finds the drive.
TEST(DriveSearch, WithoutManagementDataTheNumbersAreWalked) {
    const std::tuple<const char*, const char*, const wchar_t*> steps[] = {
        {R"(, "services": {"Winmgmt": {"state": 1}})", "", L"NG:WMI Init 3"},
        {"", "createLocator", L"NG:WMI Init 1"},
        {"", "connectServer", L"NG:WMI Init 2"},
        {"", "execQuery", L"OK:WMI Init"},
    };
    for (const auto& [section, request, text] : steps) {
        Searched it(disk(1), diskRows(std::string(kRow) + "}") + section, false);
        if (*request) it.machine->requests().plan({.operation = request, .nth = 0, .error = 0x80004005});
        it.search();
        EXPECT_THAT(it.trace, Contains(text));
        EXPECT_THAT(it.numbers(), ElementsAre(1)) << text;
        EXPECT_EQ(L"", it.engine->vars[0].ModelWmi) << "no row was read";
        EXPECT_THAT(it.trace, Not(Contains(L"MegaRAID")));
    }
    // The walk itself knows a bridge and swapped texts.
    Searched walked(disk(0, "DW CABCDEFGH", "sat") + "," + disk(55) + "," + disk(56) + "," +
                        disk(3, "ACME Disk", "ataPassThrough", kRemovable),
                    "", false);
    walked.search(0);
    EXPECT_THAT(walked.numbers(), ElementsAre(0, 55));
    EXPECT_EQ(L"USB (Serial ATA)", walked.engine->vars[0].Interface);
    EXPECT_EQ(L"WDC BADCFEHG", walked.engine->vars[0].Model);
    EXPECT_EQ(0, walked.engine->IsWmi);
}

/// A service that comes up late, one that has to be set to start by itself, and one that never does.
TEST(DriveSearch, TheServiceIsStarted) {
    const std::tuple<const char*, bool, bool, std::int64_t> cases[] = {
        {R"("state": 1, "startsAfterMilliseconds": 150)", true, false, 300},
        {R"("state": 1, "startsAfterMilliseconds": 2000)", true, true, 2100},
        {R"("state": 1)", false, true, 5600},
        {R"("openError": 5)", false, false, 0},
    };
    for (const auto& [service, runs, shell, milliseconds] : cases) {
        Searched it({}, fmt::format(R"(, "services": {{"Winmgmt": {{{}}}}}, "management": {{}})", service),
                    false);
        const std::int64_t start = it.machine->clock().monotonicNs();
        it.search();
        EXPECT_EQ(runs, it.engine->IsWmi != 0) << service;
        EXPECT_EQ(runs ? 1 : 0, std::ranges::count(it.machine->requests().record(), "initializeSecurity"));
        EXPECT_EQ(shell, std::ranges::count(it.machine->requests().record(),
                                            "runInShell sc config Winmgmt start= auto") == 1)
            << service;
        EXPECT_NEAR(static_cast<double>(milliseconds),
                    static_cast<double>(it.machine->clock().monotonicNs() - start) / 1e6, 50)
            << service;
    }
}

TEST(DriveSearch, LettersFiltersAndOrder) {
    const std::string volumes = R"(, "volumes": [)" + volume("C", on(2)) + "," + volume("D", on(1)) + "," +
                                volume("A", on(3)) + "," + volume("E", on(1) + "," + on(3)) + "," +
                                volume("F", on(0) + "," + on(1) + "," + on(2) + "," + on(3)) + "," +
                                volume("G", on(0), 2) + "," + volume("H", on(0, 0)) + "," +
                                volume("I", on(300)) + "," +
                                R"({"letter": "J", "type": 3, "openError": 5, "extents": []}])";
    const std::string noSmart = R"({"number": 4, "paths": ["ataPassThrough"], "identify": ")" +
                                hexOf(identifyOf({{82, 0}}, "No SMART")) + R"("})";
    const std::string drives = disk(0) + "," + disk(1) + "," + disk(2) + "," + disk(3) + "," + noSmart + "," +
                               disk(5, "ACME raid 5") + R"(, {"number": 6, "openError": 5}, {"number": 7})";
    Searched it(drives, volumes, false);
    it.search(0, 1, 1);
    EXPECT_THAT(it.numbers(), ElementsAre(2, 1, 0, 3)) << "C, D, then none and A";
    std::wstring maps;
    for (const AtaSmartInfo& asi : it.engine->vars)
        maps += asi.DriveMap + L"|";
    EXPECT_EQ(L"C:|D: E:||A: E:|", maps);
    EXPECT_EQ(0x11u, it.engine->vars[3].DriveLetterMap);

    EXPECT_THAT(it.unread(),
                ElementsAre(StartsWith(L"6: no command path gives its identify data; "), StartsWith(L"7: no"),
                            L"4: it has no SMART data", L"5: its model names a RAID volume"));
    EXPECT_EQ(platform::kAccessDenied, it.engine->unreadDrives[0].error);

    it.search(0, 0, 0);
    EXPECT_THAT(it.numbers(), ElementsAre(0, 1, 2, 3, 4))
        << "by number, nothing hidden but what is named RAID";
}

/// What is not listed stands once, with what kept it from the list and not what was tried after it.
TEST(DriveSearch, EachUnlistedDriveHasItsOwnReason) {
    const auto nvme = [](int number, const std::string& more = {}) {
        std::string drive = nvmeDrive(R"("storageQuery")", more);
        return drive.replace(drive.find('1'), 1, std::to_string(number));
    };
    const std::string plainRow = diskRows(std::string(kRow) + "}");
    const auto scsi = [](const char* vendor, int bus, const std::string& more) {
        return fmt::format(R"({{"number": 1, "paths": ["ataPassThrough"], "model": "M", "firmware": "F",
                           "descriptor": {{"vendor": "{}", "busType": {}}}{}}})",
                           vendor, bus, more);
    };
    const std::string refused = answers("ataPassThrough", R"("operation": "identify", "error": 1117)"),
                      late = answers("ataPassThrough", R"("operation": "identify", "error": 121)");
    // clang-format off
    const std::tuple<const char*, std::string, std::string, Labels> rows[] = {
        {"a second namespace", nvme(1) + "," + nvme(2), "", {L"2: it has the model and the serial number of drive 1"}},
        {"an NVMe drive without a health page, and a row that calls it a disk", nvme(1, answers("storageQuery", R"("operation": "health", "error": 121)")), plainRow, {L"1: it has no SMART data; it did not answer in time"}},
        {"a drive that answers late, then not at all", disk(1, "ACME Disk", "ataPassThrough", late), plainRow, {L"1: no command path gives its identify data; it did not answer in time"}},
        {"a SAS disk", scsi("SEAGATE ", 10, refused), plainRow, {L"1: it is a SCSI disk, which has no ATA commands"}},
        {"a SATA disk on a SAS controller", scsi("ATA     ", 10, refused), "", {L"1: no command path"}},
        {"a SAS disk that is asleep", scsi("SEAGATE ", 10, late), "", {L"1: no command path gives its identify data; it did not answer in time"}},
        {"a disk of a RAID driver", scsi("AMD", 8, refused), "", {L"1: no command path"}},
        {"a row without a number", disk(1), diskRows(R"({"Model": "ACME Disk"})"), {}},
    };
    // clang-format on
    for (const auto& [what, drives, sections, unread] : rows) {
        SCOPED_TRACE(what);
        Searched it(drives, sections, false);
        it.search(1, 1);
        const Labels told = it.unread();
        ASSERT_EQ(unread.size(), told.size());
        for (std::size_t i = 0; i < told.size(); ++i)
            EXPECT_THAT(told[i], StartsWith(unread[i]));
    }
}

TEST(DriveSearch, ASecondSearchTellsWhatChanged) {
    Searched it(
        disk(0) + "," +
            disk(1, "ACME Disk", "ataPassThrough", R"(, "changes": [{"atSeconds": 100, "present": false}])"),
        "", false);
    BOOL changed = 7;
    const auto again = [&] { it.engine->Init(0, 0, &changed, 0, 0, 0); };
    again();
    EXPECT_EQ(1, changed);
    again();
    EXPECT_EQ(0, changed);
    EXPECT_EQ(2u, it.engine->vars.size()) << "a search begins anew";
    it.machine->clock().sleepNs(100'000'000'000);
    again();
    EXPECT_EQ(1, changed);
    EXPECT_THAT(it.numbers(), ElementsAre(0));
}

/// Each request of a search fails in turn: what the others find stays, and a record is a whole one.
TEST(DriveSearch, AnyRequestMayFail) {
    const std::string row = diskRows(std::string(kRow) + "}"),
                      volumes = R"(, "volumes": [)" + volume("C", on(1)) + "]";
    const std::pair<std::string, std::string> machines[] = {
        {disk(1), row + volumes},
        {ataDrive(R"("ataPassThrough", "smartIoctl")", 0xA0, kAtPort), ""},
        {ataDrive(R"("sat", "asm1352r")"), ""},
        {nvmeDrive(R"("nvmeMini")", kAtPort), ""},
    };
    for (const auto& [drive, sections] : machines) {
        std::uint64_t requests = 1, found = 0;
        for (std::uint64_t number = 0; number <= requests; ++number) {
            SCOPED_TRACE(number);
            Searched it(drive, sections, false);
            it.machine->requests().failRequest(number, platform::kAccessDenied);
            it.search();
            if (number == 0) requests = it.machine->requests().count();
            ASSERT_LE(it.engine->vars.size(), 1u);
            found += it.engine->vars.size();
            const auto unread = std::ranges::count(it.engine->unreadDrives, 1, &UnreadDrive::physicalDriveId);
            EXPECT_TRUE(it.engine->vars.empty() || unread == 0);
            for (const AtaSmartInfo& asi : it.engine->vars) {
                EXPECT_EQ(L"S1", asi.SerialNumber);
                EXPECT_EQ(asi.IsNVMe ? asi.DiskVendorId == VENDOR_NVME : asi.IsSmartCorrect != 0,
                          asi.Temperature != kNoTemperature);
            }
        }
        EXPECT_GT(requests, 30u);
        EXPECT_GT(found, requests / 2) << "a failure that is not of the only path is tolerated";
    }
}

} // namespace
} // namespace orv::test
