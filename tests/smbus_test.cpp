#include "SMBUS/SMBUS.h"
#include "frame/HWException.h"
#include "log/log.h"
#include "memory/SPD.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"
#include "support/CapturedLog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace orv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;
using Lines = std::vector<std::string>;

class Smbus : public testing::Test {
  protected:
    Smbus() : before_(platform::current()) {}
    ~Smbus() override {
        ProcessState::renew();
        platform::use(before_);
    }

    void intel(const std::string& smbus) {
        use(R"("processor": {"vendor": "GenuineIntel", "highestLeaf": 1},
            "ring0": {"pci": [{"address": "00:02.0", "registers": [{"at": 8, "value": "0x03000000"}]}]},
            "smbus": {"controller": "intel", "base": "0xF040", )" +
            smbus + "}");
    }
    void amd(const std::string& smbus) {
        use(R"("processor": {"vendor": "AuthenticAMD", "highestLeaf": 1}, "ring0": {}, "smbus": {"controller": "amd", )" +
            smbus + "}");
    }
    void use(const std::string& sections) {
        ProcessState::renew();
        machine = platform::Machine::fromText(R"({"name": "m", )" + sections + "}");
        platform::use(*machine);
        machine->requests().keepRecord(true);
    }

    /// The requests so far of the named kinds, and forgets all.
    Lines taken(const std::string& kinds) {
        Lines lines;
        for (const std::string& line : machine->requests().record())
            if (kinds.find(line.substr(0, line.find(' '))) != kinds.npos) lines.push_back(line);
        machine->requests().clearRecord();
        return lines;
    }

    std::unique_ptr<platform::Machine> machine;

  private:
    platform::Platform& before_;
};

constexpr const char* kPorts = "ReadIoPortByte WriteIoPortByte WriteIoPortWord";
constexpr const char* kOneModule =
    R"("eeproms": [{"address": "0xA2", "kind": "DDR4", "bytes": {"0": "23", "7": "AB", "256": "11"}}])";

std::string reasonOfSearch() {
    try {
        SMBus smbus;
    } catch (const HWException& failure) {
        const std::string text = failure.what();
        return text.substr(text.find(": ") + 2);
    }
    return {};
}

TEST_F(Smbus, FindsTheIntelControllerAndSwitchesItOn) {
    test::CapturedLog log({&smbusLogger});
    intel(std::string(R"("enabled": false, )") + kOneModule);
    SMBus smbus;
    EXPECT_THAT(taken("WritePciConfigDword"),
                ElementsAre("WritePciConfigDword 00:1f.4 0x4 0x1", "WritePciConfigDword 00:1f.4 0x40 0x1"));
    EXPECT_THAT(log.lines(spdlog::level::debug),
                ElementsAre("info CPU Vendor: Intel", "info SMBus found at: 0xfc",
                            "info I/O Space state: 0x00000000", "info I/O Space disable, enable it",
                            "info HST_EN state: 0x00000000", "info HST_EN disable, enable it",
                            "debug SMBus Base: 0xf040"));
    intel(kOneModule);
    SMBus again;
    const Lines record = machine->requests().record();
    EXPECT_THAT(record, Not(Contains(StartsWith("WritePciConfigDword"))));
    EXPECT_THAT(record, Contains("ReadPciConfigWord 00:00.0 0x0"));
    EXPECT_THAT(record, Not(Contains("ReadPciConfigWord 00:1f.5 0x0"))) << "the search ends at the first";
}

TEST_F(Smbus, FindsTheAmdController) {
    test::CapturedLog log({&smbusLogger});
    amd(R"("base": "0x0B20")");
    SMBus smbus;
    EXPECT_THAT(taken(kPorts), ElementsAre("WriteIoPortByte 0xcd6 0x0", "ReadIoPortByte 0xcd7",
                                           "WriteIoPortByte 0xcd6 0x1", "ReadIoPortByte 0xcd7"));
    EXPECT_EQ(0xFF, smbus.readSlaveData(0xA0, 0)) << "the low half of the base plays no part";
    EXPECT_THAT(taken(kPorts),
                ElementsAre("WriteIoPortWord 0xb00 0x1e", "ReadIoPortByte 0xb00", "ReadIoPortByte 0xb02"));
    EXPECT_THAT(log.lines(spdlog::level::info),
                ElementsAre("info CPU Vendor: AMD", "info SMBus Base: 0xb00"));
    amd(R"("base": "0x0C00", "behaviour": "silent")");
    SMBus silent;
    taken(kPorts);
    EXPECT_EQ(0xFF, silent.readSlaveData(0xA0, 0));
    EXPECT_THAT(taken(kPorts).front(), HasSubstr("0xb00"));
}

TEST_F(Smbus, MachinesWithoutAController) {
    use(R"("processor": {"vendor": "GenuineIntel", "highestLeaf": 1}, "ring0": {})");
    EXPECT_EQ("SMBus not found", reasonOfSearch());
    use(R"("processor": {"vendor": "GenuineMaker", "highestLeaf": 1}, "ring0": {})");
    EXPECT_EQ("Unknown CPU Vendor", reasonOfSearch());
    use(R"("processor": {"vendor": "GenuineIntel", "highestLeaf": 1}, "ring0": {"statuses": [2]}, "management": {})");
    EXPECT_EQ("DLL Status Error: DRIVER_NOT_LOADED", reasonOfSearch());
    EXPECT_THROW(memory::readSPD(), HWException);
    EXPECT_THAT(taken("GetDllStatus"), ElementsAre("GetDllStatus", "GetDllStatus"))
        << "each use searches again";
}

TEST_F(Smbus, OneReadIsTheseAccesses) {
    intel(kOneModule);
    SMBus smbus;
    taken("");
    EXPECT_EQ(0xAB, smbus.readSlaveData(0xA2, 7));
    EXPECT_EQ((Lines{"WriteIoPortWord 0xf040 0x1e", "ReadIoPortByte 0xf040", "ReadIoPortByte 0xf040",
                     "WriteIoPortByte 0xf040 0x0", "WriteIoPortByte 0xf044 0xa3",
                     "WriteIoPortByte 0xf043 0x7", "WriteIoPortByte 0xf042 0x48", "ReadIoPortByte 0xf040",
                     "ReadIoPortByte 0xf040", "ReadIoPortByte 0xf045"}),
              taken(kPorts));
    EXPECT_EQ(0xFF, smbus.readSlaveData(0xA0, 7)) << "nobody there";
    EXPECT_EQ(0xAB, smbus.readSlaveData(0xA2, 7)) << "the error bit is cleared";
}

TEST_F(Smbus, OneWriteIsTheseAccesses) {
    intel(kOneModule);
    SMBus smbus;
    taken("");
    EXPECT_TRUE(smbus.writeSlaveData(0x6E, 0, 5));
    EXPECT_EQ((Lines{"WriteIoPortByte 0xf040 0x1e", "ReadIoPortByte 0xf040", "WriteIoPortByte 0xf040 0x0",
                     "WriteIoPortByte 0xf044 0x6f", "WriteIoPortByte 0xf043 0x0",
                     "WriteIoPortByte 0xf045 0x5", "WriteIoPortByte 0xf042 0x50", "ReadIoPortByte 0xf040",
                     "ReadIoPortByte 0xf040", "ReadIoPortByte 0xf040", "WriteIoPortByte 0xf040 0x2"}),
              taken(kPorts));
    EXPECT_EQ(0x11, smbus.readSlaveData(0xA2, 0)) << "the second page is selected";
    amd(std::string(R"("base": "0x0B00", )") + kOneModule);
    SMBus other;
    other.writeSlaveData(0x6E, 0, 0);
    EXPECT_THAT(taken(kPorts), Contains("WriteIoPortByte 0xb04 0x6e")) << "no direction bit on this maker's";
}

TEST_F(Smbus, DeviceErrorsOfAWriteAreRetried) {
    intel(kOneModule);
    SMBus smbus;
    taken("");
    EXPECT_FALSE(smbus.writeSlaveData(0xA8, 0x0B, 1));
    EXPECT_THAT(taken("smbusWrite"), ElementsAreArray(Lines(5, "smbusWrite A8 0B 01")));
    for (std::uint64_t nth = 1; nth <= 4; ++nth)
        machine->requests().plan({"smbusWrite", nth, 1, 0});
    EXPECT_TRUE(smbus.writeSlaveData(0x6C, 0, 0)) << "the fifth attempt is taken";
    EXPECT_EQ(5u, taken("smbusWrite").size());
}

TEST_F(Smbus, AControllerThatStaysBusyOrFails) {
    intel(std::string(R"("behaviour": "busy", )") + kOneModule);
    SMBus busy;
    taken("");
    test::CapturedLog log({&smbusLogger});
    EXPECT_EQ(0xFF, busy.readSlaveData(0xA2, 0));
    EXPECT_EQ(1u + 501u, Lines(taken("ReadIoPortByte")).size());
    EXPECT_FALSE(busy.writeSlaveData(0x6C, 0, 0));
    EXPECT_THAT(log.lines(spdlog::level::info),
                ElementsAre("error SMBus busy, timeout", "error SMBus busy, timeout"));

    intel(std::string(R"("busyReads": 600, )") + kOneModule); // idle at first, then never done
    SMBus slow;
    EXPECT_EQ(0xFF, slow.readSlaveData(0xA2, 0));
    intel(std::string(R"("busyReads": 600, )") + kOneModule);
    SMBus slower;
    EXPECT_FALSE(slower.writeSlaveData(0x6C, 0, 0));
    EXPECT_EQ(4u, log.lines(spdlog::level::err).size());

    intel(std::string(R"("behaviour": "failing", )") + kOneModule);
    SMBus failing;
    EXPECT_EQ(0xFF, failing.readSlaveData(0xA2, 0));
    EXPECT_FALSE(failing.writeSlaveData(0x6C, 0, 0));
}

std::string withRows(int type, const std::string& eeproms) {
    return fmt::format(R"("base": "0x0B00", "eeproms": [{}]}}, "management": {{"Win32_PhysicalMemory": [
        {{"SMBIOSMemoryType": {}}}])",
                       eeproms, type);
}

TEST_F(Smbus, ReadsDDR4ByTwoSharedPages) {
    amd(withRows(
        26,
        R"({"address": "0xA2", "kind": "DDR4", "bytes": {"0": "23", "255": "AA", "256": "BB", "511": "CC"}},
        {"address": "0xAE", "kind": "DDR4", "fill": "0x55"})"));
    const auto spds = memory::readSPD();
    ASSERT_EQ(2u, spds.size());
    EXPECT_EQ((memory::Spd{0x23, 0xAA, 0xBB, 0xCC}),
              (memory::Spd{spds[0][0], spds[0][255], spds[0][256], spds[0][511]}));
    EXPECT_EQ(memory::Spd(512, 0x55), spds[1]);
    const Lines record = taken("smbusRead smbusWrite");
    const Lines writes = {"smbusWrite 6C 00 00", "smbusWrite 6E 00 00"};
    ASSERT_EQ(8u + 2 * 2 + 2 * 512, record.size());
    EXPECT_EQ((Lines{"smbusRead A0 00", "smbusRead A2 00", writes[0], "smbusRead A2 00", "smbusRead A2 01"}),
              Lines(record.begin(), record.begin() + 5));
    EXPECT_EQ((Lines{"smbusRead A2 FF", writes[1], "smbusRead A2 00"}),
              Lines(record.begin() + 258, record.begin() + 261));
}

TEST_F(Smbus, ReadsDDR5ByItsPageRegister) {
    std::string pages;
    for (int page = 0; page < 8; ++page)
        pages += fmt::format(R"({}"{}": "{:02X}", "{}": "{:02X}")", page ? "," : "", page * 128, page + 1,
                             page * 128 + 127, page + 0x81);
    const std::string module = R"({"address": "0xA0", "kind": "DDR5", "bytes": {)" + pages + "}}";
    // A type that tells nothing of the layout leaves that of DDR5.
    for (const int type : {34, 35, 24, 0}) {
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
    EXPECT_EQ((Lines{"smbusRead A0 00", "smbusWrite A0 0B 00", "smbusRead A0 80"}),
              Lines(record.begin(), record.begin() + 3));
    EXPECT_EQ((Lines{"smbusRead A0 FF", "smbusWrite A0 0B 01", "smbusRead A0 80"}),
              Lines(record.begin() + 129, record.begin() + 132));
}

TEST_F(Smbus, UnreadableBytesAndEmptyBuses) {
    amd(withRows(26, R"({"address": "0xA0", "kind": "DDR4"})"));
    machine->requests().plan({"smbusRead", 3, 1, 0});
    auto spds = memory::readSPD();
    ASSERT_EQ(1u, spds.size());
    EXPECT_EQ((memory::Spd{0x00, 0xFF, 0x00}), memory::Spd(spds[0].begin(), spds[0].begin() + 3));
    // The layout is settled once: other rows do not change it, and a query costs nothing any more.
    EXPECT_THAT(taken("execQuery"), testing::SizeIs(1));
    machine->requests().plan({"execQuery", 0, 0x80041001, 0});
    EXPECT_EQ(512u, memory::readSPD().at(0).size());
    EXPECT_THAT(taken("execQuery"), testing::IsEmpty());

    amd(withRows(26, ""));
    EXPECT_TRUE(memory::readSPD().empty());
    EXPECT_THAT(taken("smbusWrite"), testing::IsEmpty());
    for (const char* behaviour : {"busy", "failing", "silent"}) {
        amd(fmt::format(R"("behaviour": "{}", )", behaviour) +
            withRows(26, R"({"address": "0xA0", "kind": "DDR4"})"));
        EXPECT_TRUE(memory::readSPD().empty()) << behaviour;
    }
}

// The pause behind a page selection is 10 ms, and each access of a transaction waits a microsecond.
TEST_F(Smbus, WaitsAsTheDevicesNeed) {
    amd(withRows(26, R"({"address": "0xA0", "kind": "DDR4"})"));
    SMBus smbus;
    const auto start = machine->machineClock().now();
    smbus.readSlaveData(0xA0, 0);
    const auto one = machine->machineClock().now() - start;
    EXPECT_GE(one, 6 * 1000);
    memory::readSPD();
    EXPECT_GE(machine->machineClock().now() - start, 2 * 10'000'000 + 512 * one);
}

} // namespace
} // namespace orv
