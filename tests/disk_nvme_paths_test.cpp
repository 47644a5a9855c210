#include "disk_engine/paths/NvmePaths.h"
#include "support/CapturedLog.h"
#include "support/DescribedDrives.h"

#include <limits>

namespace orv::test {
namespace {

// ---- What has to be sent

/// A way to a drive that has this one alone, and what the drive is sent.
struct PathCase {
    std::string path;
    bool (*identify)(CAtaSmart&, NvmeIdentifyBlock, std::uint32_t&);
    bool (*health)(CAtaSmart&, AtaSmartInfo&);
    std::string opening, identifyRequests, healthRequests;
    std::size_t dataAt;
    bool sumTest = true, sized = false; ///< whether it tells the size
    std::size_t identifyBytes = 4096;
};

using E = CAtaSmart;
using A = AtaSmartInfo;
using B = NvmeIdentifyBlock;
using Size = std::uint32_t;
const std::string kOpen = "openDevice \\\\.\\PhysicalDrive3 attributes 0x0\n";
const std::string kTakeMutex = "WaitForSingleObject Global\\Access_JMicron_SMART\n";
const std::string kGiveMutex = "ReleaseMutex Global\\Access_JMicron_SMART\n";
// clang-format off
const std::string kAddress = kOpen + "PhysicalDrive3 0x41018 8 0:\n";
const std::string kJMicronHealth = kTakeMutex + "PhysicalDrive3 0x4d004 580 580: 0=2c 6=0c18 13=02 16=02 20=44 24=2c 28=a180 32=02 68=4e564d45 76=02 78=56 80=ffffffff 101=407a 116=02 118=7f\n"
         "PhysicalDrive3 0x4d004 580 580: 0=2c 6=0c1801 13=02 16=02 20=44 24=2c 28=a182 32=02\n" + kGiveMutex;
const std::vector<PathCase> kPaths = {
    {"storageQuery", [](E& e, B b, Size& s) { return e.DoIdentifyDeviceNVMeStorageQuery(3, 9, 9, b, s); }, [](E& e, A& a) { return e.GetSmartAttributeNVMeStorageQuery(3, a); },
     "openDevice \\\\.\\PhysicalDrive3\n",
     "PhysicalDrive3 0x2d1400 4144 4144: 0=31 8=03 12=01 20=01 24=28 29=10\n"
     "PhysicalDrive3 0x2d1400 4144 4144: 0=31 8=03 12=01 16=01 24=28 29=10\n",
     "PhysicalDrive3 0x2d1400 4144 4144: 0=31 8=03 12=02 16=02 24=28 29=10\n", 48, false, true},
    {"nvmeMini", [](E& e, B b, Size& s) { return e.DoIdentifyDeviceNVMeIntel(3, 9, 9, b, s); }, [](E& e, A& a) { return e.GetSmartAttributeNVMeIntel(3, a); },
     kAddress + "openDevice \\\\.\\SCSI1:\n",
     "SCSI1: 0x4d008 4248 4248: 0=1c 4=4e766d654d696e6928 17=20 19=e0 24=7c10 52=06 56=01 132=02 141=10 148=9810\n"
     "SCSI1: 0x4d008 4248 4248: 0=1c 4=4e766d654d696e6928 17=20 19=e0 24=7c10 52=06 92=01 132=02 141=10 148=9810\n",
     "SCSI1: 0x4d008 4248 4248: 0=1c 4=4e766d654d696e6928 17=20 19=e0 24=7c10 52=02 56=ffffffff 92=02 94=7f 132=02 141=10 148=9810\n", 152, true, true},
    {"intelNvm", [](E& e, B b, Size& s) { return e.DoIdentifyDeviceNVMeIntelRst(3, 9, 9, b, s); }, [](E& e, A& a) { return e.GetSmartAttributeNVMeIntelRst(3, 9, 9, a); },
     kAddress + "openDevice \\\\.\\Scsi1: attributes 0x0\n",
     "Scsi1: 0x4d008 4260 4260: 0=1c 4=496e74656c4e766d0a 16=0828 19=f0 24=8810 28=0102 32=06 36=01 116=a4 121=10\n"
     "Scsi1: 0x4d008 4260 4260: 0=1c 4=496e74656c4e766d0a 16=0828 19=f0 24=8810 28=0102 32=06 72=01 116=a4 121=10\n",
     "Scsi1: 0x4d008 4260 4260: 0=1c 4=496e74656c4e766d0a 16=0828 19=f0 24=8810 28=0102 32=02 36=ffffffff 72=02 74=7f 116=a4 121=10\n", 164, false, true},
    {"nvmeRaid", [](E& e, B b, Size& s) { return e.DoIdentifyDeviceNVMeIntelVroc(3, 9, 9, b, s); }, [](E& e, A& a) { return e.GetSmartAttributeNVMeIntelVroc(3, 9, 9, a); },
     kAddress + "openDevice \\\\.\\Scsi1:\n",
     "Scsi1: 0x4d008 4248 4248: 0=1c 4=4e766d655241494428 17=20 19=e0040502867c10 52=06 56=01 132=02 141=10 148=9810 152=01\n"
     "Scsi1: 0x4d008 4248 4248: 0=1c 4=4e766d655241494428 17=20 19=e0040502867c10 52=06 92=01 132=02 141=10 148=9810 152=01\n",
     "Scsi1: 0x4d008 4248 4248: 0=1c 4=4e766d655241494428 17=20 19=e0040502867c10 52=02 56=ffffffff 92=02 94=7f 132=02 141=10 148=9810 152=01\n", 152, true, true},
    {"samsung", [](E& e, B b, Size&) { return e.DoIdentifyDeviceNVMeSamsung(3, b); }, [](E& e, A& a) { return e.GetSmartAttributeNVMeSamsung(3, a); }, kOpen,
     "PhysicalDrive3 0x4d004 4164 4164: 0=2c 6=1018 13=10 16=02 20=44 24=2c 28=b5fe 31=05 37=40 68=01\n"
     "PhysicalDrive3 0x4d004 4164 4164: 0=2c 6=101801 13=10 16=02 20=44 24=2c 28=a2fe 31=05 36=01\n",
     "PhysicalDrive3 0x4d004 580 580: 0=2c 6=1018 13=02 16=02 20=44 24=2c 28=b5fe 31=06 37=40 68=02 72=ffffffff\n"
     "PhysicalDrive3 0x4d004 580 580: 0=2c 6=101801 13=02 16=02 20=44 24=2c 28=a2fe 31=06 36=01\n", 68},
    {"jmicronNvme", [](E& e, B b, Size&) { return e.DoIdentifyDeviceNVMeJMicron(3, b, false); }, [](E& e, A& a) { return e.GetSmartAttributeNVMeJMicron(3, a); }, kOpen,
     kTakeMutex + "PhysicalDrive3 0x4d004 4164 4164: 0=2c 6=0c18 13=10 16=02 20=44 24=2c 28=a180 32=02 68=4e564d45 76=06 116=01\n"
     "PhysicalDrive3 0x4d004 4164 4164: 0=2c 6=0c1801 13=10 16=02 20=44 24=2c 28=a182 32=02\n" + kGiveMutex, kJMicronHealth, 68},
    {"jmicronNvmeUsb2", [](E& e, B b, Size&) { return e.DoIdentifyDeviceNVMeJMicron(3, b, true); }, [](E& e, A& a) { return e.GetSmartAttributeNVMeJMicron(3, a); }, kOpen,
     kTakeMutex + "PhysicalDrive3 0x4d004 580 580: 0=2c 6=0c18 13=02 16=02 20=44 24=2c 28=a180 32=02 68=4e564d45 76=06 116=01\n"
     "PhysicalDrive3 0x4d004 580 580: 0=2c 6=0c1801 13=02 16=02 20=44 24=2c 28=a182 32=02\n" + kGiveMutex, kJMicronHealth, 68, true, false, 512},
    {"asmediaNvme", [](E& e, B b, Size&) { return e.DoIdentifyDeviceNVMeASMedia(3, b); }, [](E& e, A& a) { return e.GetSmartAttributeNVMeASMedia(3, a); }, kOpen,
     "PhysicalDrive3 0x4d004 4176 4176: 0=2c 6=101801 13=10 16=02 20=50 24=30 28=e606 31=01\n",
     "PhysicalDrive3 0x4d004 592 592: 0=2c 6=101801 13=02 16=02 20=50 24=30 28=e602 31=02 35=7f\n", 80},
    {"realtekNvme", [](E& e, B b, Size&) { return e.DoIdentifyDeviceNVMeRealtek(3, b); }, [](E& e, A& a) { return e.GetSmartAttributeNVMeRealtek(3, a); }, kOpen,
     "PhysicalDrive3 0x4d004 4176 4176: 0=2c 6=102001 13=10 16=02 20=50 24=30 28=e4 30=100601\n",
     "PhysicalDrive3 0x4d004 592 592: 0=2c 6=102001 13=02 16=02 20=50 24=30 28=e4 30=0202\n", 80},
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

constexpr char kAtPort1[] = R"("number": 3, "scsiAddress": {"port": 1, "path": 2, "target": 5, "lun": 4})";
constexpr char kOnPath[] =
    R"({{{}, "paths": ["{}"], "answers": [{}], "namespace": {{"blocks": 268435456, "exponent": 12}}, "identify": "{}", "health": "{}"}})";

/// A machine with one drive on one path, and an engine.
struct Drive : DriveOnMachine {
    explicit Drive(const std::string& path, const std::string& answers = "",
                   const std::string& where = kAtPort1)
        : DriveOnMachine(fmt::format(kOnPath, where, path, answers, hexOf(kIdentify), hexOf(kHealth))) {
        identify.fill(kFormer);
        std::fill(std::begin(asi.SmartReadData), std::end(asi.SmartReadData), kFormer);
    }
    /// The record of requests as one text, which is begun anew.
    std::string record() {
        const auto text = fmt::format("{}\n", fmt::join(requestsOf(*machine), "\n"));
        machine->requests().clearRecord();
        return text;
    }
    bool identifyBy(const PathCase& path) { return path.identify(*engine, identify, diskSize); }
    bool healthBy(const PathCase& path) { return path.health(*engine, asi); }

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
const PathCase& pathCase(std::string_view name) {
    return *std::find_if(kPaths.begin(), kPaths.end(),
                         [&](const PathCase& path) { return path.path == name; });
}

TEST(NvmePathsTest, EachPathSendsItsBlocksAndReadsTheDrive) {
    for (const PathCase& path : kPaths) {
        SCOPED_TRACE(path.path);
        Drive drive(path.path);
        EXPECT_TRUE(drive.identifyBy(path));
        EXPECT_EQ(path.opening + path.identifyRequests, drive.record());
        NvmeBlock expected = kIdentify;
        std::fill(expected.begin() + static_cast<std::ptrdiff_t>(path.identifyBytes), expected.end(), 0);
        EXPECT_EQ(expected, drive.identify);
        EXPECT_EQ(path.sized ? 1'099'511U : kUnset, drive.diskSize);
        EXPECT_TRUE(drive.healthBy(path));
        EXPECT_EQ(path.opening + path.healthRequests, drive.record());
        EXPECT_THAT(drive.asi.SmartReadData, ElementsAreArray(kHealth));
        EXPECT_EQ(platform::kSuccess, drive.engine->probeFailure());
    }
}

TEST(NvmePathsTest, NothingIsKeptOfAFailure) {
    const std::string error = R"("error": 1117)", zeros = R"("data": "00")";
    for (const PathCase& path : kPaths) {
        SCOPED_TRACE(path.path);
        const std::size_t whole = path.dataAt + path.identifyBytes;
        for (const auto& what : {error, told(0), told(whole - 1), told(whole + 1)}) {
            Drive drive(path.path, answer(path.path, "identify", what));
            EXPECT_FALSE(drive.identifyBy(path)) << what;
            EXPECT_THAT(drive.identify, Each(kFormer)) << what;
            EXPECT_NE(platform::kSuccess, drive.engine->probeFailure()) << what;
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
        Drive drive(path.path, answer(path.path, "namespace", told(path.dataAt + 200)));
        EXPECT_TRUE(drive.identifyBy(path)) << "the namespace need not answer";
        EXPECT_EQ(kUnset, drive.diskSize);
    }
}

TEST(NvmePathsTest, TheSizeOfANamespace) {
    constexpr std::uint32_t largest = std::numeric_limits<std::uint32_t>::max();
    constexpr std::uint64_t fits = std::numeric_limits<std::uint64_t>::max() >> 12;
    // Without its upper bits the last would be 4096 bytes.
    // clang-format off
    const std::tuple<std::uint64_t, std::uint8_t, std::uint32_t> cases[] = {
        {268'435'456, 12, 1'099'511}, {1, 19, 0}, {1, 20, 1}, {4'294'967'294'999'999, 0, largest - 1}, {2, 63, largest}, {1, 64, kUnset}, {fits + 2, 12, largest}};
    // clang-format on
    NvmeDataBlock block{};
    for (const auto& [sectors, exponent, megabytes] : cases) {
        putLittleEndian(block, 0, sectors);
        block[130] = exponent;
        std::uint32_t diskSize = kUnset;
        readNamespaceSize(block, diskSize, true);
        EXPECT_EQ(megabytes, diskSize) << sectors << " << " << int{exponent};
    }
    // Another format in use is worth a line where a record takes the size.
    block[26] = 1;
    for (const bool counts : {false, true}) {
        const CapturedLog log{&diskLogger};
        std::uint32_t diskSize = 0;
        readNamespaceSize(block, diskSize, counts);
        EXPECT_EQ(counts ? 1u : 0u, log.lines(spdlog::level::warn).size());
    }
}

TEST(NvmePathsTest, TheHealthQueryIsSentAgainForAllNamespaces) {
    const PathCase& path = pathCase("storageQuery");
    Drive drive(path.path, answer(path.path, "health", R"("nth": 1, "error": 1117)"));
    EXPECT_TRUE(drive.healthBy(path));
    const std::string again =
        "PhysicalDrive3 0x2d1400 4144 4144: 0=31 8=03 12=02 16=02 20=ffffffff28 29=10\n";
    EXPECT_EQ(path.opening + path.healthRequests + again, drive.record());
    EXPECT_THAT(drive.asi.SmartReadData, ElementsAreArray(kHealth));

    Drive refused(path.path, answer(path.path, "health", R"("error": 1117)"));
    EXPECT_FALSE(refused.healthBy(path));
    EXPECT_THAT(refused.asi.SmartReadData, Each(0)) << "the block that nothing was written to";

    Drive absent(path.path, "", R"("number": 4)");
    EXPECT_FALSE(absent.healthBy(path));
    EXPECT_THAT(absent.asi.SmartReadData, Each(kFormer)) << "there was no block";
}

TEST(NvmePathsTest, ADriveThatIsKnownByItsPort) {
    Drive raid("nvmeRaid", "", R"("scsiAddress": {"port": 2, "target": 3})");
    EXPECT_TRUE(raid.engine->DoIdentifyDeviceNVMeIntelVroc(-1, 2, 3, raid.identify, raid.diskSize));
    EXPECT_THAT(raid.record(), HasSubstr("Scsi2: 0x4d008 4248 4248: 0=1c 4=4e766d655241494428 "
                                         "17=20 19=e0 21=03 23=867c10 52=06"));
    EXPECT_TRUE(raid.engine->GetSmartAttributeNVMeIntelVroc(-2, 2, 3, raid.asi));
    EXPECT_FALSE(raid.engine->GetSmartAttributeNVMeIntelVroc(-2, 2, 4, raid.asi)) << "another drive";

    Drive rst("intelNvm", "", R"("scsiAddress": {"port": 2, "path": 3})");
    EXPECT_TRUE(rst.engine->DoIdentifyDeviceNVMeIntelRst(-1, 2, 3, rst.identify, rst.diskSize));
    EXPECT_THAT(rst.record(), HasSubstr(" 28=0103 "));
    EXPECT_TRUE(rst.engine->GetSmartAttributeNVMeIntelRst(-1, 2, 3, rst.asi));
    EXPECT_FALSE(rst.engine->GetSmartAttributeNVMeIntelRst(-2, 2, 3, rst.asi)) << "-1 alone stands for none";
    EXPECT_FALSE(rst.engine->GetSmartAttributeNVMeIntelRst(-1, 2, 4, rst.asi)) << "another drive";
}

TEST(NvmePathsTest, TheMutexIsGivenBackAfterEveryFailure) {
    const PathCase& path = pathCase("jmicronNvme");
    Drive refused(path.path, answer(path.path, "request", R"("error": 1117)"));
    EXPECT_FALSE(refused.identifyBy(path));
    EXPECT_THAT(refused.record(), EndsWith(kGiveMutex));

    Drive silent(path.path, answer(path.path, "health", R"("hang": true)"));
    EXPECT_FALSE(silent.healthBy(path));
    EXPECT_EQ(kOpen + kJMicronHealth, silent.record());

    Drive absent(path.path, "", R"("number": 4)");
    EXPECT_FALSE(absent.identifyBy(path));
    EXPECT_EQ(kOpen, absent.record()) << "nothing to lock for";
}

TEST(NvmePathsTest, SumsThatAreNoAnswer) {
    const std::string echo = "4e564d450000000006" + std::string(78, '0') + "01"; // of the sum 317
    const auto takes = [](const char* name, const std::string& data) {
        Drive drive(name, answer(name, "identify", fmt::format(R"("data": "{}")", data)));
        return drive.identifyBy(pathCase(name));
    };
    EXPECT_FALSE(takes("jmicronNvme", echo));
    EXPECT_TRUE(takes("jmicronNvme", echo + "01"));
    EXPECT_TRUE(takes("samsung", std::string(1022, '0') + "01"));
    EXPECT_FALSE(takes("samsung", std::string(1024, '0') + "01")) << "the sum is of the first 512 bytes";
}

} // namespace
} // namespace orv::test
