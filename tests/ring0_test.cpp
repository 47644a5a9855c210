// The states of the ring-0 component, the system-wide mutex of the PCI bus, and the SMBus controller.

#include "SMBUS/SMBUS.h"
#include "WinRing0/WinRing0.h"
#include "WinRing0/include_impl/WinRing0/Mutexes.h"
#include "frame/HWException.h"
#include "memory/SPD.h"
#include "support/CapturedLog.h"
#include "support/TestMachine.h"

#include <algorithm>
#include <optional>

namespace orv::test {
namespace {

/// The failure's text without its place; empty when there was none.
template <class Body>
std::string thrown(Body body) {
    try {
        body();
        return {};
    } catch (const HWException& failure) {
        const std::string text = failure.what();
        return text.substr(text.find(": ") + 2);
    }
}

std::string machineWith(const std::string& sections) {
    return R"({"name": "m", )" + sections + "}";
}

TEST(WinRing0, EachStatusHasItsStateAndText) {
    const std::tuple<const char*, int, const char*> rows[] = {
        {"0", 0, ""},
        {"1", 1, "DLL Status Error: UNSUPPORTED_PLATFORM"},
        {"4", 4, "DLL Status Error: DRIVER_UNLOADED"},
        {"5", 5, "DLL Status Error: DRIVER_NOT_LOADED_ON_NETWORK"},
        {"6", 9, "DLL Status Error: UNKNOWN_ERROR, error code: 0 message: "},
    };
    for (const auto& [statuses, state, text] : rows) {
        SCOPED_TRACE(statuses);
        TestMachine machine(machineWith(std::string(R"("ring0": {"statuses": [)") + statuses + "]}"));
        EXPECT_EQ(11, ring0State());
        EXPECT_THAT(thrown(WinRing0Init), StartsWith(text));
        EXPECT_EQ(state, ring0State());
    }
}

TEST(WinRing0, StartsOnceAsksAgainAfterATroubleAndIsReleasedForGood) {
    TestMachine machine(machineWith(R"("ring0": {"statuses": [3, 0]},
        "faults": [{"request": "InitializeOls", "error": 5}])"));
    CapturedLog log({&winRing0Logger});
    WinRing0Release(); // nothing to release yet, and no harm
    EXPECT_EQ("DLL Status Error: DRIVER_NOT_FOUND", thrown(WinRing0Init));
    WinRing0Init();
    WinRing0Init();
    releaseRing0();
    releaseRing0();
    EXPECT_EQ(12, ring0State());
    EXPECT_EQ("WinRing0 has been released", thrown(WinRing0Init));
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("InitializeOls", "GetDllStatus", "GetDllStatus", "releaseOls"));
    ProcessState::renew(); // the exit list's call finds nothing to do
    EXPECT_THAT(log.lines(spdlog::level::info),
                Contains("warning InitializeOls failed, describe: error code: 5 message: Access is denied."));
}

TEST(Mutexes, OpenInOrderAndCloseWithTheProcess) {
    TestMachine machine(machineWith(R"("mutexes": [{"name": "Global\\Access_EC", "error": 5}])"));
    EXPECT_EQ(0u, Mutexes::WaitPciBus());
    Mutexes::ReleasePciBus();
    Mutexes::Open();
    EXPECT_EQ("ReleaseMutex failed: error code: 288 message: ", thrown(Mutexes::ReleasePciBus));
    Mutexes::Close();
    Mutexes::ReleasePciBus(); // no handle is no failure
    ProcessState::renew();
    EXPECT_THAT(machine->requests().record(),
                ElementsAre("CreateMutexW Global\\Access_ISABUS.HTP.Method",
                            "CreateMutexW Global\\Access_PCI", "CreateMutexW Global\\Access_EC",
                            "OpenMutexW Global\\Access_EC", "CreateMutexW Global\\RazerReadWriteGuardMutex",
                            "WaitForSingleObject Global\\Access_PCI", "ReleaseMutex Global\\Access_PCI",
                            "ReleaseMutex Global\\Access_PCI", "CloseHandle Global\\Access_ISABUS.HTP.Method",
                            "CloseHandle Global\\Access_PCI",
                            "CloseHandle Global\\RazerReadWriteGuardMutex"));
}

TEST(Mutexes, AWaitThatDoesNotOwnIsToldAsItIs) {
    // The wait and the one after it.
    const std::tuple<const char*, std::uint32_t, std::uint32_t> rows[] = {
        {R"("heldForMs": 60000)", 0x102, 0x102},
        {R"("heldForMs": 10)", 0, 0}, // it waits that long and no longer
        {R"("heldForMs": 11)", 0x102, 0},
        {R"("heldForMs": 5, "abandoned": true)", 0x80, 0},
        {R"("error": 5)", 0xFFFFFFFF, 0xFFFFFFFF},
    };
    for (const auto& [mutex, wait, next] : rows) {
        SCOPED_TRACE(mutex);
        TestMachine machine(
            machineWith(R"("mutexes": [{"name": "Global\\Access_PCI", )" + std::string(mutex) + "}]"));
        EXPECT_EQ(wait, Mutexes::WaitPciBus());
        // An abandoned mutex is handed back at once: other threads would wait for it for ever.
        EXPECT_EQ(wait == 0x80 ? 1 : 0,
                  std::ranges::count(machine->requests().record(), "ReleaseMutex Global\\Access_PCI"));
        EXPECT_EQ(next, Mutexes::WaitPciBus());
    }
}

TEST(Mutexes, TheLockReleasesOnEveryPath) {
    TestMachine machine(machineWith(R"("faults": [{"request": "ReleaseMutex", "nth": 2, "error": 6},
        {"request": "ReleaseMutex", "nth": 3, "error": 6}])"));
    const auto locked = [](bool fails) {
        Mutexes::WaitPciBus();
        const PciBusLock lock;
        if (fails) throwHW(L"the reading's own failure");
    };
    EXPECT_EQ("", thrown([&] { locked(false); }));
    EXPECT_THAT(thrown([&] { locked(false); }), HasSubstr("ReleaseMutex failed: error code: 6"));
    EXPECT_EQ("the reading's own failure", thrown([&] { locked(true); }));
    EXPECT_EQ(3, std::ranges::count(machine->requests().record(), "ReleaseMutex Global\\Access_PCI"));
}

// ---- The SMBus controller and the EEPROMs behind it

using Lines = std::vector<std::string>;

const std::string kNothingButAmd =
    R"("processor": {"vendor": "AuthenticAMD", "highestLeaf": 1}, "ring0": {})";

class Smbus : public testing::Test {
  protected:
    void intel(const std::string& smbus) {
        use(R"("processor": {"vendor": "GenuineIntel", "highestLeaf": 1}, "ring0": {},
            "smbus": {"controller": "intel", "base": "0xF040", )" +
            smbus + "}");
    }
    void amd(const std::string& smbus) {
        use(kNothingButAmd + R"(, "smbus": {"controller": "amd", )" + smbus + "}");
    }
    void use(const std::string& sections) { machine_.emplace(R"({"name": "m", )" + sections + "}"); }
    platform::Machine& machine() { return **machine_; }
    platform::Requests& requests() { return machine().requests(); }

    /// The requests so far of the named kinds, and forgets all.
    Lines taken(const std::string& kinds) {
        Lines lines;
        for (const std::string& line : requests().record())
            if (kinds.find(line.substr(0, line.find(' '))) != kinds.npos) lines.push_back(line);
        requests().clearRecord();
        return lines;
    }

  private:
    std::optional<TestMachine> machine_;
};

constexpr const char* kPorts = "ReadIoPortByte WriteIoPortByte WriteIoPortWord";
constexpr const char* kOneModule =
    R"("eeproms": [{"address": "0xA2", "kind": "DDR4", "bytes": {"0": "23", "7": "AB", "256": "11"}}])";

// Neither the class nor the subclass alone is enough; other bits are kept.
TEST_F(Smbus, FindsTheIntelControllerAndSwitchesItOn) {
    use(R"("processor": {"vendor": "GenuineIntel", "highestLeaf": 1}, "ring0": {"pci": [
        {"address": "00:02.0", "registers": [{"at": 8, "value": "0x03050000"}]},
        {"address": "00:14.0", "registers": [{"at": 8, "value": "0x0C030000"}]},
        {"address": "02:1f.4", "registers": [{"at": 4, "value": "0x02800002"}, {"at": 8, "value": "0x0C050000"},
            {"at": 32, "value": "0xF041"}, {"at": 64, "value": "0x12"}]},
        {"address": "03:00.0", "registers": [{"at": 8, "value": "0x0C050000"}]}]})");
    SMBus smbus;
    EXPECT_THAT(requests().record(), Not(Contains("ReadPciConfigWord 02:1f.5 0x0")))
        << "the search ends at the first";
    EXPECT_THAT(taken("WritePciConfigDword"), ElementsAre("WritePciConfigDword 02:1f.4 0x4 0x2800003",
                                                          "WritePciConfigDword 02:1f.4 0x40 0x13"));
    intel(kOneModule);
    SMBus enabled;
    EXPECT_THAT(taken("WritePciConfigDword"), IsEmpty());
}

// The low half of the base plays no part, but that ones in either half stand for no answer.
TEST_F(Smbus, FindsTheAmdController) {
    const std::pair<const char*, const char*> cases[] = {{"0x0C20", "WriteIoPortWord 0xc00 0x1e"},
                                                         {"0x0CFF", "WriteIoPortWord 0xb00 0x1e"},
                                                         {"0xFF20", "WriteIoPortWord 0xb00 0x1e"}};
    for (const auto& [base, firstAccess] : cases) {
        amd(fmt::format(R"("base": "{}")", base));
        SMBus smbus;
        EXPECT_THAT(taken(kPorts), ElementsAre("WriteIoPortByte 0xcd6 0x0", "ReadIoPortByte 0xcd7",
                                               "WriteIoPortByte 0xcd6 0x1", "ReadIoPortByte 0xcd7"));
        EXPECT_EQ(0xFF, smbus.readSlaveData(0xA0, 0));
        EXPECT_EQ(firstAccess, taken(kPorts).front());
    }
}

TEST_F(Smbus, MachinesWithoutAController) {
    const auto expectNone = [&](const char* vendor, const char* ring0, const char* reason) {
        use(fmt::format(
            R"("processor": {{"vendor": "{}", "highestLeaf": 1}}, "ring0": {}, "management": {{}})", vendor,
            ring0));
        EXPECT_THAT([] { SMBus smbus; }, testing::ThrowsMessage<HWException>(EndsWith(reason)));
    };
    expectNone("GenuineIntel", "{}", ": SMBus not found");
    expectNone("GenuineMaker", "{}", ": Unknown CPU Vendor");
    expectNone("GenuineIntel", R"({"statuses": [2]})", ": DLL Status Error: DRIVER_NOT_LOADED");
}

TEST_F(Smbus, AReadAndAWriteAreTheseAccesses) {
    intel(kOneModule);
    SMBus smbus;
    taken("");
    EXPECT_EQ(0xAB, smbus.readSlaveData(0xA2, 7));
    EXPECT_THAT(taken(kPorts),
                ElementsAre("WriteIoPortWord 0xf040 0x1e", "ReadIoPortByte 0xf040", "ReadIoPortByte 0xf040",
                            "WriteIoPortByte 0xf040 0x0", "WriteIoPortByte 0xf044 0xa3",
                            "WriteIoPortByte 0xf043 0x7", "WriteIoPortByte 0xf042 0x48",
                            "ReadIoPortByte 0xf040", "ReadIoPortByte 0xf040", "ReadIoPortByte 0xf045"));
    EXPECT_EQ(0xFF, smbus.readSlaveData(0xA0, 7)) << "nobody there";
    EXPECT_EQ(0xAB, smbus.readSlaveData(0xA2, 7)) << "the error bit is cleared";
    taken("");
    EXPECT_TRUE(smbus.writeSlaveData(0x6E, 0, 5));
    EXPECT_THAT(taken(kPorts),
                testing::IsSupersetOf({"WriteIoPortByte 0xf044 0x6f", "WriteIoPortByte 0xf043 0x0",
                                       "WriteIoPortByte 0xf045 0x5", "WriteIoPortByte 0xf042 0x50"}));
    EXPECT_EQ(0x11, smbus.readSlaveData(0xA2, 0)) << "the second page is selected";
    amd(std::string(R"("base": "0x0B00", )") + kOneModule);
    SMBus().writeSlaveData(0x6F, 0, 0);
    EXPECT_THAT(taken(kPorts), Contains("WriteIoPortByte 0xb04 0x6e")) << "no direction bit on this maker's";
    for (const char* behaviour : {"busy", "failing"}) {
        amd(fmt::format(R"("base": "0x0B00", "behaviour": "{}", {})", behaviour, kOneModule));
        EXPECT_EQ(0xFF, SMBus().readSlaveData(0xA2, 7)) << behaviour;
    }
}

/// An AMD controller whose status gives values in turn, the last one for good.
class Scripted : public platform::PortDevice {
  public:
    explicit Scripted(std::vector<std::uint8_t> statuses, std::uint8_t control = 0)
        : statuses_(std::move(statuses)), control_(control) {}

    std::optional<std::uint8_t> readByte(std::uint16_t port) override {
        if (port == 0xB00) return statuses_[std::min(at_++, statuses_.size() - 1)];
        if (port == 0xB02) return control_;
        return port == 0xB05 ? std::optional<std::uint8_t>(0x5A) : std::nullopt;
    }
    bool writeByte(std::uint16_t port, std::uint8_t value) override {
        if (port == 0xB02 && (value & 0x40) != 0) ++started;
        return port >= 0xB00 && port < 0xB10;
    }

    int started = 0;

  private:
    std::vector<std::uint8_t> statuses_;
    std::size_t at_ = 0;
    std::uint8_t control_;
};

/// `count` times a status between others.
std::vector<std::uint8_t> script(std::vector<std::uint8_t> first, std::size_t count, std::uint8_t status,
                                 std::vector<std::uint8_t> last) {
    first.insert(first.end(), count, status);
    first.insert(first.end(), last.begin(), last.end());
    return first;
}

const Lines kTimeout = {"error SMBus busy, timeout"};

TEST_F(Smbus, WhatTheStatusTells) {
    constexpr int kFailed = 0xFF;
    const Lines noAnswer = {"debug readSlaveData 0xff"};
    // Statuses, of which a read's first is the look for a controller that is not there, the control register,
    // a read's answer or whether a write was taken, how often one was started, and the log.
    using Case = std::tuple<const char*, std::vector<std::uint8_t>, std::uint8_t, int, int, Lines>;
    const Case cases[] = {
        {"read: idle at the 500th look", script({0}, 499, 1, {0, 2}), 0, 0x5A, 1, {}},
        {"read: idle at the 501st", script({0}, 500, 1, {0, 2}), 0, kFailed, 0, kTimeout},
        {"read: done at the 500th look", script({0, 0}, 499, 0, {2}), 0, 0x5A, 1, {}},
        {"read: done at the 501st", script({0, 0}, 500, 0, {2}), 0, kFailed, 1, kTimeout},
        {"read: done and in error", {0, 0, 6}, 0, kFailed, 1, noAnswer},
        {"write: idle at the 501st look", script({}, 500, 1, {0, 2}), 0, true, 1, {}},
        {"write: idle at the 502nd", script({}, 501, 1, {0, 2}), 0, false, 0, kTimeout},
        {"write: done at the 501st", script({0}, 500, 0, {2}), 0, false, 1, kTimeout},
        {"write: in error five times", {0, 4, 0, 0, 4, 0, 0, 4, 0, 0, 4, 0, 0, 4, 0, 0, 2}, 0, false, 5, {}},
        {"write: gone after the first attempt", {0, 0xFF, 0}, 0xFF, false, 1, {}},
        {"write: ones at the status alone", {0, 0xFF, 0, 0, 2}, 0, true, 2, {}},
    };
    for (const auto& [why, statuses, control, answer, started, lines] : cases) {
        SCOPED_TRACE(why);
        use(kNothingButAmd);
        Scripted controller(statuses, control);
        machine().ring0().attach(controller);
        SMBus smbus;
        const CapturedLog log({&smbusLogger});
        const bool write = *why == 'w';
        EXPECT_EQ(answer, write ? smbus.writeSlaveData(0x6C, 0, 0) : smbus.readSlaveData(0xA0, 0));
        EXPECT_EQ(started, controller.started);
        EXPECT_THAT(log.lines(spdlog::level::debug), ElementsAreArray(lines));
    }
}

std::string withRows(int type, const std::string& eeproms) {
    return fmt::format(R"("base": "0x0B00", "eeproms": [{}]}}, "management": {{"Win32_PhysicalMemory": [
        {{"SMBIOSMemoryType": {}}}])",
                       eeproms, type);
}

TEST_F(Smbus, ReadsDDR4ByTwoSharedPages) {
    const std::string modules =
        R"({"address": "0xA2", "kind": "DDR4", "bytes": {"0": "23", "255": "AA", "256": "BB", "511": "CC"}},
        {"address": "0xAE", "kind": "DDR4", "fill": "0x55"})";
    amd(withRows(30, modules)); // LPDDR4 has the same layout
    const auto spds = memory::readSPD();
    ASSERT_EQ(2u, spds.size());
    EXPECT_EQ((memory::Spd{0x23, 0xAA, 0xBB, 0xCC}),
              (memory::Spd{spds[0][0], spds[0][255], spds[0][256], spds[0][511]}));
    EXPECT_EQ(memory::Spd(512, 0x55), spds[1]);
    const Lines record = taken("smbusRead smbusWrite");
    ASSERT_EQ(8u + 2 * 2 + 2 * 512, record.size());
    EXPECT_EQ((Lines{"smbusRead A2 FF", "smbusWrite 6E 00 00", "smbusRead A2 00"}),
              Lines(record.begin() + 258, record.begin() + 261));
}

TEST_F(Smbus, ReadsDDR5ByItsPageRegister) {
    const std::string module = R"({"address": "0xA0", "kind": "DDR5", "bytes": {"0": "01", "127": "8102",
        "255": "8203", "383": "8304", "511": "8405", "639": "8506", "767": "8607", "895": "8708", "1023": "88"}})";
    // A type that tells nothing of the layout leaves that of DDR5.
    for (const int type : {34, 24}) {
        amd(withRows(type, module));
        const auto spds = memory::readSPD();
        ASSERT_EQ(1u, spds.size());
        ASSERT_EQ(1024u, spds[0].size());
        for (std::size_t page = 0; page < 8; ++page) {
            EXPECT_EQ(page + 1, spds[0][page * 128]);
            EXPECT_EQ(page + 0x81, spds[0][page * 128 + 127]);
        }
    }
    const Lines record = taken("smbusRead smbusWrite");
    EXPECT_EQ((Lines{"smbusRead A0 FF", "smbusWrite A0 0B 01", "smbusRead A0 80"}),
              Lines(record.begin() + 129, record.begin() + 132));
}

TEST_F(Smbus, AByteThatCannotBeReadIsOnes) {
    amd(withRows(26, R"({"address": "0xA0", "kind": "DDR4"})"));
    requests().plan({"smbusRead", 3, 1, 0});
    auto spds = memory::readSPD();
    ASSERT_EQ(1u, spds.size());
    EXPECT_EQ((memory::Spd{0x00, 0xFF, 0x00}), memory::Spd(spds[0].begin(), spds[0].begin() + 3));
    // The layout is settled once: other rows do not change it, and a query costs nothing any more.
    EXPECT_THAT(taken("execQuery"), testing::SizeIs(1));
    requests().plan({"execQuery", 0, 0x80041001, 0});
    EXPECT_EQ(512u, memory::readSPD().at(0).size());
    EXPECT_THAT(taken("execQuery"), IsEmpty());
}

// A pause lasts until a look at the clock, 1 ns later each time, finds 1000 ns gone.
TEST_F(Smbus, WaitsExactlyAsTheDevicesNeed) {
    use(kNothingButAmd + R"(, "clock": {"stepNs": 1}, "smbus": {"controller": "amd", )" +
        withRows(26, R"({"address": "0xA0", "kind": "DDR4"})") + "}");
    SMBus smbus;
    const auto spent = [&](auto&& action) {
        const auto start = machine().machineClock().now();
        action();
        return machine().machineClock().now() - start;
    };
    // Idle, address, register, control, a busy look, the answer's look, the data.
    constexpr std::int64_t pause = 1001, read = 7 * pause, noAnswer = 6 * pause;
    constexpr std::int64_t write = 5 * pause; // address, register, data, a busy look, the answer's look
    EXPECT_EQ(read, spent([&] { smbus.readSlaveData(0xA0, 0); }));
    EXPECT_EQ(write, spent([&] { smbus.writeSlaveData(0x6C, 0, 0); }));
    memory::getSmbus();
    constexpr std::int64_t settle = 10'000'003; // 10 ms, the look before and the one behind them
    EXPECT_EQ(513 * read + 7 * noAnswer + 2 * (write + settle), spent([] { memory::readSPD(); }));
}

} // namespace
} // namespace orv::test
