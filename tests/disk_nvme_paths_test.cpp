#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugPrint.h"
#include "disk_engine/NvmePaths.h"
#include "log/log.h"
#include "support/CapturedLog.h"
#include "support/DescribedDrives.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <functional>
#include <limits>

namespace orv::test {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::HasSubstr;

using Lines = std::vector<std::string>;

/// Bytes written as "B5 FE".
std::string bytes(const std::string& hex) {
    std::string text;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 3)
        text += static_cast<char>(std::stoul(hex.substr(i, 2), nullptr, 16));
    return text;
}

/// A block by its length and the runs of its bytes that are not 0, "44: 0=2c 6=1018".
std::string sparse(std::string_view block) {
    std::string text = fmt::format("{}:", block.size());
    for (std::size_t i = 0; i < block.size(); ++i) {
        if (block[i] == 0) continue;
        if (i == 0 || block[i - 1] == 0) text += fmt::format(" {}=", i);
        text += fmt::format("{:02x}", static_cast<std::uint8_t>(block[i]));
    }
    return text;
}

/// The record of requests, the blocks made short.
Lines recordOf(platform::Machine& machine) {
    Lines lines;
    for (std::string line : machine.requests().record()) {
        if (const auto at = line.find(" in"); at != std::string::npos && line.starts_with("deviceControl"))
            line = line.substr(0, at + 3) + " " + sparse(bytes(line.substr(std::min(at + 4, line.size()))));
        lines.push_back(std::move(line));
    }
    machine.requests().clearRecord();
    return lines;
}

// ---- What has to be sent

const std::string kDrive = R"(\\.\PhysicalDrive3)";
const std::string kMiniPort = R"(\\.\SCSI1:)"; // the name that the drive's address gives
const std::string kPort = R"(\\.\Scsi1:)";
const std::string kPlain = " attributes 0x0";
constexpr std::uint32_t kAll = 0xFFFFFFFF;
constexpr std::uint32_t kLog = 0x007F0002;
constexpr std::uint32_t kDriveWord = 0x86020504;

using Words = std::vector<std::pair<std::size_t, std::uint32_t>>;
using Texts = std::vector<std::pair<std::size_t, std::string>>;

/// A control code as it stands in the record. Input and output have one length.
std::string sent(const std::string& device, std::uint32_t code, std::size_t size, const Words& words,
                 const Texts& texts) {
    std::string block(size, '\0');
    for (const auto& [at, word] : words)
        for (std::size_t i = 0; i < 4; ++i)
            block.at(at + i) = static_cast<char>(word >> 8 * i);
    for (const auto& [at, text] : texts)
        block.replace(at, text.size(), text);
    return fmt::format("deviceControl {} {:#x} out {} in {}", device, code, size, sparse(block));
}

std::string query(std::uint32_t type, std::uint32_t value, std::uint32_t subValue) {
    const Words words = {{0, 49}, {8, 3}, {12, type}, {16, value}, {20, subValue}, {24, 40}, {28, 4096}};
    return sent(kDrive, 0x2D1400, 4144, words, {});
}

std::string mini(std::uint32_t opcode, std::uint32_t nsid, std::uint32_t dword10,
                 const std::string& port = kMiniPort, std::uint32_t address = 0) {
    const Words words = {{0, 28},    {12, 40},     {16, 0xE0002000}, {20, address},
                         {24, 4220}, {52, opcode}, {56, nsid},       {92, dword10},
                         {132, 2},   {140, 4096},  {148, 4248},      {152, address ? 1 : 0}};
    return sent(port, 0x4D008, 4248, words, {{4, address ? "NvmeRAID" : "NvmeMini"}});
}

std::string intelNvm(std::uint32_t opcode, std::uint32_t nsid, std::uint32_t dword10,
                     const std::string& port = kPort, const std::string& pathId = "02") {
    const Words words = {{0, 28},    {12, 10},      {16, 0xF0002808}, {24, 4232}, {32, opcode},
                         {36, nsid}, {72, dword10}, {116, 164},       {120, 4096}};
    return sent(port, 0x4D008, 4260, words, {{4, "IntelNvm"}, {28, bytes("01 " + pathId)}});
}

/// `lengths`: of command block and sense data, and the direction.
std::string scsi(const std::string& lengths, std::uint32_t dataAt, std::uint32_t senseAt, std::uint32_t size,
                 const std::string& cdb, Texts data = {}) {
    const Words words = {{0, 44}, {12, size}, {16, 2}, {20, dataAt}, {24, senseAt}};
    for (auto& [at, text] : data)
        at += dataAt;
    data.insert(data.end(), {{6, bytes(lengths)}, {28, bytes(cdb)}});
    return sent(kDrive, 0x4D004, dataAt + size, words, data);
}

const std::string kOpen = "openDevice " + kDrive + kPlain;
const std::string kAddress = "deviceControl " + kDrive + " 0x41018 out 8 in 0:";
const std::string kTakeMutex = R"(WaitForSingleObject Global\Access_JMicron_SMART)";
const std::string kGiveMutex = R"(ReleaseMutex Global\Access_JMicron_SMART)";
const std::string kAsk = "A1 80 00 00 02 00 00 00 00 00 00 00";
const std::string kHear = "A1 82 00 00 02 00 00 00 00 00 00 00";
const Texts kAskIdentify = {{0, "NVME"}, {8, bytes("06")}, {48, bytes("01")}};
const Texts kAskHealth = {
    {0, "NVME"},          {8, bytes("02")},  {10, bytes("56")}, {12, bytes("FF FF FF FF")},
    {33, bytes("40 7A")}, {48, bytes("02")}, {50, bytes("7F")}};

/// A way to a drive that has this one alone, and what the drive is sent.
struct PathCase {
    std::string path;
    std::function<bool(CAtaSmart&, NvmeIdentifyBlock, std::uint32_t&)> identify;
    std::function<bool(CAtaSmart&, AtaSmartInfo&)> health;
    Lines opening;
    Lines identifyRequests;
    Lines healthRequests;
    std::size_t dataAt;
    bool sumTest = true;
    bool sized = false; ///< it tells the size
    std::size_t identifyBytes = 4096;
};

template <class... More>
auto identifyBy(bool (CAtaSmart::*operation)(std::int32_t, NvmeIdentifyBlock, More...), More... more) {
    return [=](CAtaSmart& engine, NvmeIdentifyBlock block, std::uint32_t&) {
        return (engine.*operation)(3, block, more...);
    };
}
auto identifyBy(bool (CAtaSmart::*operation)(std::int32_t, std::int32_t, std::int32_t, NvmeIdentifyBlock,
                                             std::uint32_t&)) {
    return [=](CAtaSmart& engine, NvmeIdentifyBlock block, std::uint32_t& size) {
        return (engine.*operation)(3, 9, 9, block, size); // the port is that of the drive's address
    };
}
auto healthBy(bool (CAtaSmart::*operation)(std::int32_t, AtaSmartInfo&)) {
    return [=](CAtaSmart& engine, AtaSmartInfo& asi) { return (engine.*operation)(3, asi); };
}
auto healthBy(bool (CAtaSmart::*operation)(std::int32_t, std::int32_t, std::int32_t, AtaSmartInfo&)) {
    return [=](CAtaSmart& engine, AtaSmartInfo& asi) { return (engine.*operation)(3, 9, 9, asi); };
}

using E = CAtaSmart;
const Lines kJMicronHealth = {kTakeMutex, scsi("0c 18 00", 68, 44, 512, kAsk, kAskHealth),
                              scsi("0c 18 01", 68, 44, 512, kHear), kGiveMutex};
// clang-format off
const std::vector<PathCase> kPaths = {
    {"storageQuery", identifyBy(&E::DoIdentifyDeviceNVMeStorageQuery), healthBy(&E::GetSmartAttributeNVMeStorageQuery),
     {"openDevice " + kDrive}, {query(1, 0, 1), query(1, 1, 0)}, {query(2, 2, 0)}, 48, false, true},
    {"nvmeMini", identifyBy(&E::DoIdentifyDeviceNVMeIntel), healthBy(&E::GetSmartAttributeNVMeIntel),
     {kOpen, kAddress, "openDevice " + kMiniPort},
     {mini(6, 1, 0), mini(6, 0, 1)}, {mini(2, kAll, kLog)}, 152, true, true},
    {"intelNvm", identifyBy(&E::DoIdentifyDeviceNVMeIntelRst), healthBy(&E::GetSmartAttributeNVMeIntelRst),
     {kOpen, kAddress, "openDevice " + kPort + kPlain},
     {intelNvm(6, 1, 0), intelNvm(6, 0, 1)}, {intelNvm(2, kAll, kLog)}, 164, false, true},
    {"nvmeRaid", identifyBy(&E::DoIdentifyDeviceNVMeIntelVroc), healthBy(&E::GetSmartAttributeNVMeIntelVroc),
     {kOpen, kAddress, "openDevice " + kPort},
     {mini(6, 1, 0, kPort, kDriveWord), mini(6, 0, 1, kPort, kDriveWord)},
     {mini(2, kAll, kLog, kPort, kDriveWord)}, 152, true, true},
    {"samsung", identifyBy(&E::DoIdentifyDeviceNVMeSamsung), healthBy(&E::GetSmartAttributeNVMeSamsung), {kOpen},
     {scsi("10 18 00", 68, 44, 4096, "B5 FE 00 05 00 00 00 00 00 40 00 00 00 00 00 00", {{0, bytes("01")}}),
      scsi("10 18 01", 68, 44, 4096, "A2 FE 00 05 00 00 00 00 01 00 00 00 00 00 00 00")},
     {scsi("10 18 00", 68, 44, 512, "B5 FE 00 06 00 00 00 00 00 40 00 00 00 00 00 00",
           {{0, bytes("02")}, {4, bytes("FF FF FF FF")}}),
      scsi("10 18 01", 68, 44, 512, "A2 FE 00 06 00 00 00 00 01 00 00 00 00 00 00 00")}, 68},
    {"jmicronNvme", identifyBy<bool>(&E::DoIdentifyDeviceNVMeJMicron, false),
     healthBy(&E::GetSmartAttributeNVMeJMicron), {kOpen},
     {kTakeMutex, scsi("0c 18 00", 68, 44, 4096, kAsk, kAskIdentify),
      scsi("0c 18 01", 68, 44, 4096, kHear), kGiveMutex}, kJMicronHealth, 68},
    {"jmicronNvmeUsb2", identifyBy<bool>(&E::DoIdentifyDeviceNVMeJMicron, true),
     healthBy(&E::GetSmartAttributeNVMeJMicron), {kOpen},
     {kTakeMutex, scsi("0c 18 00", 68, 44, 512, kAsk, kAskIdentify),
      scsi("0c 18 01", 68, 44, 512, kHear), kGiveMutex}, kJMicronHealth, 68, true, false, 512},
    {"asmediaNvme", identifyBy(&E::DoIdentifyDeviceNVMeASMedia), healthBy(&E::GetSmartAttributeNVMeASMedia), {kOpen},
     {scsi("10 18 01", 80, 48, 4096, "E6 06 00 01 00 00 00 00 00 00 00 00 00 00 00 00")},
     {scsi("10 18 01", 80, 48, 512, "E6 02 00 02 00 00 00 7F 00 00 00 00 00 00 00 00")}, 80},
    {"realtekNvme", identifyBy(&E::DoIdentifyDeviceNVMeRealtek), healthBy(&E::GetSmartAttributeNVMeRealtek), {kOpen},
     {scsi("10 20 01", 80, 48, 4096, "E4 00 10 06 01 00 00 00 00 00 00 00 00 00 00 00")},
     {scsi("10 20 01", 80, 48, 512, "E4 00 02 02 00 00 00 00 00 00 00 00 00 00 00 00")}, 80},
};
// clang-format on

// ---- The drive

constexpr std::uint32_t kUnset = 4711;
constexpr std::uint8_t kFormer = 0xAA;

template <class Block>
Block pattern(unsigned step) {
    Block block{};
    for (std::size_t i = 0; i < block.size(); ++i)
        block[i] = static_cast<std::uint8_t>(i * step + i / 256 + 1);
    return block;
}
const auto kIdentify = pattern<NvmeBlock>(7);
const auto kHealth = pattern<AtaBlock>(3);

/// A machine with one drive on one path, and an engine.
struct Drive {
    explicit Drive(const std::string& path, const std::string& answers = "",
                   const std::string& where = R"("number": 3, "scsiAddress": {"port": 1, "path": 2,)"
                                              R"("target": 5, "lun": 4})")
        : machine(fmt::format(R"({{"name": "m", "drives": [{{{}, "paths": ["{}"], "answers": [{}],)"
                              R"("namespace": {{"blocks": 268435456, "exponent": 12}},)"
                              R"("identify": "{}", "health": "{}"}}]}})",
                              where, path, answers, hexOf(kIdentify), hexOf(kHealth))) {
        identify.fill(kFormer);
        std::fill(std::begin(asi.SmartReadData), std::end(asi.SmartReadData), kFormer);
        machine->requests().keepRecord(true);
    }
    bool identifyBy(const PathCase& path) { return path.identify(engine, identify, diskSize); }
    bool healthBy(const PathCase& path) { return path.health(engine, asi); }

    TestMachine machine;
    CAtaSmart engine;
    NvmeBlock identify{};
    AtaSmartInfo asi;
    std::uint32_t diskSize = kUnset;
};

/// An entry of "answers": what becomes of a request.
std::string answer(const std::string& path, const std::string& operation, const std::string& what) {
    return fmt::format(R"({{"path": "{}", "operation": "{}", {}}})", path, operation, what);
}
std::string told(std::size_t length) {
    return fmt::format(R"("bytes": {})", length);
}
Lines joined(Lines lines, const Lines& more) {
    lines.insert(lines.end(), more.begin(), more.end());
    return lines;
}

const PathCase& pathCase(std::string_view name) {
    return *std::find_if(kPaths.begin(), kPaths.end(),
                         [&](const PathCase& path) { return path.path == name; });
}

TEST(NvmePathsTest, EachPathSendsItsBlocksAndReadsTheDrive) {
    for (const PathCase& path : kPaths) {
        SCOPED_TRACE(path.path);
        Drive drive(path.path);
        EXPECT_TRUE(drive.identifyBy(path));
        EXPECT_THAT(recordOf(*drive.machine), ElementsAreArray(joined(path.opening, path.identifyRequests)));
        NvmeBlock expected = kIdentify;
        std::fill(expected.begin() + static_cast<std::ptrdiff_t>(path.identifyBytes), expected.end(), 0);
        EXPECT_EQ(expected, drive.identify);
        EXPECT_EQ(path.sized ? 1'099'511U : kUnset, drive.diskSize);
        EXPECT_TRUE(drive.healthBy(path));
        EXPECT_THAT(recordOf(*drive.machine), ElementsAreArray(joined(path.opening, path.healthRequests)));
        EXPECT_THAT(drive.asi.SmartReadData, ElementsAreArray(kHealth));
        EXPECT_EQ(platform::kSuccess, drive.engine.probeFailure());
        for (const PathCase& other : kPaths) {
            if (other.path.substr(0, 7) == path.path.substr(0, 7)) continue; // JMicron's two differ in length
            EXPECT_FALSE(drive.identifyBy(other)) << other.path;
        }
    }
}

TEST(NvmePathsTest, NothingIsKeptOfAFailure) {
    const std::string error = R"("error": 1117)";
    const std::string zeros = R"("data": "00")";
    for (const PathCase& path : kPaths) {
        SCOPED_TRACE(path.path);
        const std::size_t whole = path.dataAt + path.identifyBytes;
        for (const auto& what : {error, told(0), told(whole - 1), told(whole + 1)}) {
            Drive drive(path.path, answer(path.path, "identify", what));
            EXPECT_FALSE(drive.identifyBy(path)) << what;
            EXPECT_THAT(drive.identify, Each(kFormer)) << what;
            EXPECT_NE(platform::kSuccess, drive.engine.probeFailure()) << what;
        }
        for (const auto& what : {error, told(path.dataAt + kSmartBytes - 1)}) {
            Drive drive(path.path, answer(path.path, "health", what));
            EXPECT_FALSE(drive.healthBy(path)) << what;
            EXPECT_EQ(path.path != "storageQuery", drive.asi.SmartReadData[511] == kFormer) << what;
        }
        Drive shortest(path.path, answer(path.path, "health", told(path.dataAt + kSmartBytes)));
        EXPECT_TRUE(shortest.healthBy(path));

        Drive blank(path.path,
                    answer(path.path, "identify", zeros) + ", " + answer(path.path, "health", zeros));
        EXPECT_EQ(!path.sumTest, blank.identifyBy(path));
        EXPECT_THAT(blank.identify, Each(path.sumTest ? kFormer : 0));
        EXPECT_EQ(!path.sumTest, blank.healthBy(path));
        EXPECT_THAT(blank.asi.SmartReadData, Each(path.sumTest ? kFormer : 0));

        if (!path.sized) continue;
        for (const auto& what : {error, told(path.dataAt + 200)}) {
            Drive drive(path.path, answer(path.path, "namespace", what));
            EXPECT_TRUE(drive.identifyBy(path)) << "the namespace need not answer";
            EXPECT_EQ(kUnset, drive.diskSize);
        }
    }
}

TEST(NvmePathsTest, TheSizeOfANamespace) {
    constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
    constexpr std::uint64_t fits = std::numeric_limits<std::uint64_t>::max() >> 12;
    const std::tuple<std::uint64_t, std::uint8_t, std::uint32_t> cases[] = {
        {268'435'456, 12, 1'099'511},
        {1, 19, 0},
        {1, 20, 1},
        {4'294'967'294'999'999, 0, largest - 1},
        {4'294'967'296'000'000, 0, largest},
        {fits, 12, largest},
        {fits + 2, 12, largest}, // without its upper bits it would be 4096 bytes
        {2, 63, largest},
        {1, 64, kUnset},
        {1, 255, kUnset},
    };
    NvmeDataBlock block{};
    for (const auto& [sectors, exponent, megabytes] : cases) {
        putLittleEndian(block, 0, sectors);
        block[130] = exponent;
        std::uint32_t diskSize = kUnset;
        readNamespaceSize(block, diskSize);
        EXPECT_EQ(megabytes, diskSize) << sectors << " << " << int{exponent};
    }
    block[130] = 9;
    block[134] = 12; // of format 1
    block[190] = 9;  // of format 15
    const CapturedLog log({&diskLogger});
    for (const std::uint8_t format : {0x10, 0x1F, 0x01}) { // the upper half is not the format
        block[26] = format;
        std::uint32_t diskSize = kUnset;
        readNamespaceSize(block, diskSize);
    }
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("format 1 with 2^12 bytes")));
}

TEST(NvmePathsTest, TheHealthQueryIsSentAgainForAllNamespaces) {
    const PathCase& path = pathCase("storageQuery");
    Drive drive(path.path, answer(path.path, "health", R"("nth": 1, "error": 1117)"));
    EXPECT_TRUE(drive.healthBy(path));
    EXPECT_THAT(recordOf(*drive.machine),
                ElementsAre("openDevice " + kDrive, query(2, 2, 0), query(2, 2, kAll)));
    EXPECT_THAT(drive.asi.SmartReadData, ElementsAreArray(kHealth));

    Drive refused(path.path, answer(path.path, "health", R"("error": 1117)"));
    EXPECT_FALSE(refused.healthBy(path));
    EXPECT_THAT(refused.asi.SmartReadData, Each(0)) << "the block that nothing was written to";

    Drive absent(path.path, "", R"("number": 4)");
    EXPECT_FALSE(absent.healthBy(path));
    EXPECT_THAT(absent.asi.SmartReadData, Each(kFormer)) << "there was no block";
}

TEST(NvmePathsTest, ADriveThatIsKnownByItsPort) {
    const std::string port = R"(\\.\Scsi2:)";
    Drive raid("nvmeRaid", "", R"("scsiAddress": {"port": 2, "target": 3})");
    EXPECT_TRUE(raid.engine.DoIdentifyDeviceNVMeIntelVroc(-1, 2, 3, raid.identify, raid.diskSize));
    EXPECT_TRUE(raid.engine.GetSmartAttributeNVMeIntelVroc(-2, 2, 3, raid.asi));
    EXPECT_THAT(recordOf(*raid.machine), ElementsAre("openDevice " + port, mini(6, 1, 0, port, 0x86000300),
                                                     mini(6, 0, 1, port, 0x86000300), "openDevice " + port,
                                                     mini(2, kAll, kLog, port, 0x86000300)));
    EXPECT_FALSE(raid.engine.GetSmartAttributeNVMeIntelVroc(-2, 2, 4, raid.asi)) << "another drive";

    Drive rst("intelNvm", "", R"("scsiAddress": {"port": 2, "path": 3})");
    EXPECT_TRUE(rst.engine.DoIdentifyDeviceNVMeIntelRst(-1, 2, 3, rst.identify, rst.diskSize));
    EXPECT_TRUE(rst.engine.GetSmartAttributeNVMeIntelRst(-1, 2, 3, rst.asi));
    EXPECT_THAT(recordOf(*rst.machine),
                ElementsAre("openDevice " + port + kPlain, intelNvm(6, 1, 0, port, "03"),
                            intelNvm(6, 0, 1, port, "03"), "openDevice " + port + kPlain,
                            intelNvm(2, kAll, kLog, port, "03")));
    EXPECT_FALSE(rst.engine.GetSmartAttributeNVMeIntelRst(-2, 2, 3, rst.asi)) << "-1 alone stands for none";
    EXPECT_FALSE(rst.engine.GetSmartAttributeNVMeIntelRst(-1, 2, 4, rst.asi)) << "another drive";
}

TEST(NvmePathsTest, WithoutAnAddressThereIsNoPort) {
    for (const std::string what : {R"("error": 1)", R"("bytes": 7)"})
        for (const char* name : {"nvmeMini", "intelNvm", "nvmeRaid"}) {
            Drive drive(name, R"({"path": "address", )" + what + "}");
            EXPECT_FALSE(drive.identifyBy(pathCase(name))) << name;
            EXPECT_FALSE(drive.healthBy(pathCase(name))) << name;
            EXPECT_THAT(recordOf(*drive.machine), ElementsAre(kOpen, kAddress, kOpen, kAddress));
        }
}

TEST(NvmePathsTest, SamsungsHealthByTheMiniport) {
    Drive drive("nvmeMini");
    EXPECT_TRUE(drive.engine.GetSmartAttributeNVMeSamsungMiniport(3, drive.asi));
    EXPECT_EQ(mini(2, kAll, 2), recordOf(*drive.machine).back());
    EXPECT_THAT(drive.asi.SmartReadData, ElementsAreArray(kHealth));
}

TEST(NvmePathsTest, TheMutexIsGivenBackAfterEveryFailure) {
    const PathCase& path = pathCase("jmicronNvme");
    Drive refused(path.path, answer(path.path, "request", R"("error": 1117)"));
    EXPECT_FALSE(refused.identifyBy(path));
    EXPECT_THAT(recordOf(*refused.machine),
                ElementsAre(kOpen, kTakeMutex, path.identifyRequests[1], kGiveMutex));

    Drive silent(path.path, answer(path.path, "health", R"("hang": true)"));
    EXPECT_FALSE(silent.healthBy(path));
    EXPECT_THAT(recordOf(*silent.machine), ElementsAreArray(joined(path.opening, path.healthRequests)));

    Drive absent(path.path, "", R"("number": 4)");
    EXPECT_FALSE(absent.identifyBy(path));
    EXPECT_THAT(recordOf(*absent.machine), ElementsAre(kOpen)) << "nothing to lock for";
}

TEST(NvmePathsTest, SumsThatAreNoAnswer) {
    const std::string echo = "4e564d450000000006" + std::string(78, '0') + "01"; // of the sum 317
    const std::tuple<const char*, std::string, bool> cases[] = {
        {"jmicronNvme", echo, false},
        {"jmicronNvmeUsb2", echo, false},
        {"jmicronNvme", echo + "01", true},
        {"samsung", echo, true},
        {"samsung", std::string(1022, '0') + "01", true},
        {"samsung", std::string(1024, '0') + "01", false}, // the sum is of the first 512 bytes
        {"nvmeMini", std::string(1024, '0') + "01", false},
    };
    for (const auto& [name, data, accepted] : cases) {
        Drive drive(name, answer(name, "identify", fmt::format(R"("data": "{}")", data)));
        EXPECT_EQ(accepted, drive.identifyBy(pathCase(name))) << name << " " << data.size();
    }
    Drive page("jmicronNvme", answer("jmicronNvme", "health", R"("data": ")" + echo + R"(")"));
    EXPECT_TRUE(page.healthBy(pathCase("jmicronNvme"))) << "a health page may have that sum";
}

TEST(NvmePathsTest, OnePathTracesItsName) {
    Drive drive("realtekNvme");
    std::vector<std::wstring> trace;
    setDebugListener([&](std::wstring_view text) { trace.emplace_back(text); });
    for (const PathCase& path : kPaths) {
        drive.identifyBy(path);
        drive.healthBy(path);
    }
    setDebugListener({});
    EXPECT_THAT(trace, ElementsAre(L"GetSmartAttributeNVMeRealtek"));
}

} // namespace
} // namespace orv::test
