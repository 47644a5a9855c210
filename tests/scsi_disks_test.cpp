// SCSI disks: what becomes of their bytes, and what they are asked, in which order and how often.

#include "drive_logs/ScsiLogs.h"
#include "support/DescribedDrives.h"

namespace orv::test {
namespace {

using Pages = std::map<std::uint8_t, ScsiBytes>;

/// Parameters by their codes.
ScsiBytes pageOf(std::uint8_t number, const std::vector<std::pair<std::uint16_t, ScsiBytes>>& parameters) {
    ScsiBytes page = {number, 0, 0, 0};
    for (const auto& [code, value] : parameters) {
        page.insert(page.end(), {static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(code), 3,
                                 static_cast<std::uint8_t>(value.size())});
        page.insert(page.end(), value.begin(), value.end());
    }
    page[2] = static_cast<std::uint8_t>((page.size() - 4) >> 8);
    page[3] = static_cast<std::uint8_t>(page.size() - 4);
    return page;
}
ScsiBytes with(ScsiBytes page, std::size_t at, std::uint8_t byte) {
    page.at(at) = byte;
    return page;
}
ScsiBytes senseOf(std::uint8_t key, std::uint8_t code, std::uint8_t qualifier) {
    return {0x70, 0, key, 0, 0, 0, 0, 10, 0, 0, 0, 0, code, qualifier, 0, 0, 0, 0};
}

const ScsiBytes kDegrees = pageOf(0x0D, {{0, {0, 38}}, {1, {0, 60}}});
const ScsiBytes kNothingWrong = pageOf(0x2F, {{0, {0, 0, 38}}});
ScsiBytes exception(std::uint8_t code, std::uint8_t qualifier, std::uint8_t degrees = 38) {
    return pageOf(0x2F, {{0, {code, qualifier, degrees}}});
}
ScsiBytes used(std::uint8_t percent) {
    return pageOf(0x11, {{1, {0, 0, 0, percent}}});
}

/// The values that a disk tells, its health, and its fault behind '!'.
std::string lineOf(const ScsiDisk& disk) {
    const DriveReading& reading = disk.reading;
    std::string line;
    const auto add = [&](const auto&... told) {
        ((line += told.second ? fmt::format("{} {} ", told.first, *told.second) : ""), ...);
    };
    const auto& errors = disk.uncorrectedErrors;
    add(std::pair("life", reading.life.value), std::pair("hours", reading.powerOnHours.value),
        std::pair("starts", reading.powerCycles.value), std::pair("read", reading.hostReadBytes.value),
        std::pair("written", reading.hostWrittenBytes.value), std::pair("degrees", reading.temperature.value),
        std::pair("read errors", errors[readErrors]), std::pair("write errors", errors[writeErrors]),
        std::pair("verify errors", errors[verifyErrors]));
    if (disk.solidState) line += "ssd ";
    line += verdictWord(reading.health) + (": " + reading.healthReason);
    for (const std::string& disagreement : reading.disagreements)
        line += " | " + disagreement;
    return line + (disk.fault.empty() ? "" : " ! " + disk.fault);
}

TEST(ScsiDisks, LogPagesAndSenseData) {
    const std::string degrees = "degrees 38 ", nothing = "unknown: nothing tells its health",
                      good = "good: it tells of nothing wrong, by log page 2Fh, parameter 0000h",
                      told = "good: nothing that it tells is wrong";
    const auto counters = [](std::uint8_t page, std::uint8_t bytes, std::uint8_t errors) {
        return pageOf(page, {{5, {0, 0, 0, 0, 0, 0, bytes, 0}}, {6, {errors}}});
    };
    const ScsiBytes unknownCounts = pageOf(2, {{5, ScsiBytes(8, 0xFF)}, {6, ScsiBytes(9, 1)}});
    // clang-format off
    const struct {
        Pages pages;
        std::vector<ScsiBytes> sense;
        std::string line;
    } rows[] = {
        {{{0x02, counters(2, 1, 7)}, {0x03, counters(3, 2, 5)}, {0x04, counters(4, 3, 1)}, {0x05, counters(5, 4, 0)}, {0x0D, kDegrees}, {0x0E, pageOf(0x0E, {{3, {9, 9, 9, 9}}, {4, {0, 0, 1, 2}}})},
          {0x11, used(12)}, {0x15, pageOf(0x15, {{0, {0, 0, 0x0E, 0x10, 0, 1, 0, 44, 0, 0, 0, 0}}})}, {0x2F, kNothingWrong}}, {},
         "life 88 hours 60 starts 258 read 512 written 256 degrees 38 read errors 6 write errors 7 verify errors 0 ssd " + good},
        // The verdicts, worst first.
        {{{0x2F, exception(0x5D, 0x14)}, {0x11, used(104)}}, {}, "life 0 degrees 38 ssd failing: it predicts its failure: hardware, too many block reassigns (5D/14, log page 2Fh)"},
        {{{0x2F, kNothingWrong}}, {senseOf(1, 0x5D, 0x03)}, degrees + "failing: it predicts its failure: spare area (5D/03, REQUEST SENSE)"},
        {{{0x11, used(100)}, {0x2F, kNothingWrong}}, {}, "life 0 degrees 38 ssd worn out: no life left, by log page 11h, parameter 0001h: 100 less the percentage used"},
        {{{0x2F, exception(0x0B, 0x01, 0)}}, {}, "caution: it warns: its specified temperature is exceeded (0B/01, log page 2Fh)"},
        {{{0x0D, pageOf(0x0D, {{0, {0, 66}}, {1, {0, 60}}})}}, {}, "degrees 66 caution: its temperature, 66 \u00B0C, is above its reference of 60 \u00B0C, by log page 0Dh, parameter 0001h"},
        {{}, {senseOf(4, 0x44, 0)}, "caution: it tells of an error of its hardware (04/44/00, REQUEST SENSE)"},
        {{{0x11, used(91)}}, {}, "life 9 ssd caution: 9 % of its life left, by log page 11h, parameter 0001h: 100 less the percentage used"},
        {{{0x2F, exception(0x5D, 0xFF)}}, {{0x72, 0, 0x5D, 0xFF}}, degrees + "good: a prediction of its failure was made as a test (5D/FF, REQUEST SENSE)"},
        {{{0x0D, kDegrees}}, {senseOf(2, 4, 2)}, degrees + told + " ! it is not ready (02/04/02)"},
        {{}, {senseOf(0, 0, 0), senseOf(6, 0x29, 0)}, nothing},
        // What says that it is unknown.
        {{{0x0D, pageOf(0x0D, {{0, {0, 0xFF}}, {1, {0, 0xFF}}})}, {0x02, unknownCounts}, {0x0E, pageOf(0x0E, {{4, {0xFF, 0xFF, 0xFF, 0xFF}}})}}, {}, nothing},
        {{{0x0D, pageOf(0x0D, {{0, {0, 0}}, {1, {0, 0}}})}, {0x2F, exception(0, 0, 0)}}, {}, good},
        {{{0x0D, kDegrees}, {0x2F, exception(0, 0, 45)}}, {}, degrees + good + " | temperature: 38 \u00B0C by log page 0Dh, parameter 0000h, 45 \u00B0C by log page 2Fh, parameter 0000h"},
        // Pages that lie: what is left is told.
        {{{0x0D, ScsiBytes(64)}, {0x2F, kNothingWrong}}, {}, degrees + good + " ! log page 0Dh: it has nothing but zeros"},
        {{{0x0D, ScsiBytes(64, 0xFF)}}, {}, nothing + " ! log page 0Dh: it has nothing but ones"},
        {{{0x0D, kNothingWrong}}, {}, nothing + " ! log page 0Dh: the answer is page 2Fh"},
        {{{0x0D, {0x0D, 0, 0}}}, {}, nothing + " ! log page 0Dh: 3 bytes are no page"},
        {{{0x0D, with(kDegrees, 3, 13)}}, {}, degrees + told + " ! log page 0Dh: it tells of 13 bytes, and 12 came"},
        {{{0x0D, with(kDegrees, 13, 3)}}, {}, degrees + told + " ! log page 0Dh: parameter 0001h runs over its end"},
        {{{0x0D, with(pageOf(0x0D, {{0, {0, 38}}, {1, {0, 30}}}), 3, 6)}}, {}, degrees + told}, // cut off
        {{{0x11, pageOf(0x11, {{1, {0, 7}}})}}, {}, nothing + " ! log page 11h: parameter 0001h has 2 bytes, not 4"},
        {{{0x15, pageOf(0x15, {{0, {0xFF, 0xFF, 0xFF, 0}}})}}, {}, nothing + " ! log page 15h: 71582784 power-on hours are too many"},
        {{{0x2F, exception(0x11, 0, 0)}}, {}, nothing + " ! log page 2Fh: 11/00 is no exception"},
        {{}, {ScsiBytes(18)}, nothing + " ! REQUEST SENSE: the answer is no sense data"},
    };
    // clang-format on
    for (const auto& row : rows)
        EXPECT_EQ(row.line, lineOf(scsiDiskOf({.logPages = row.pages, .sense = row.sense})));

    std::string fault;
    EXPECT_THAT(listedLogPages(std::vector<std::uint8_t>{0, 0, 0, 4, 0, 0x0D, 0x3F, 0x2F, 0x11}, fault),
                ElementsAre(0x0D, 0x2F))
        << "11h stands behind the end of the list";
    EXPECT_EQ("", fault);
    EXPECT_THAT(listedLogPages(std::vector<std::uint8_t>(252), fault), IsEmpty());
    EXPECT_EQ("log page 00h: the list of pages is empty", fault);
    EXPECT_THAT(listedLogPages(kDegrees, fault), IsEmpty());
    EXPECT_EQ("log page 00h: the answer is no list of pages", fault);
}

ScsiBytes inquiryOf(std::string_view vendor, std::string_view product = "DISK") {
    std::array<char, 36> text{};
    text.fill(' ');
    vendor.copy(text.data() + 8, 8);
    product.copy(text.data() + 16, 16);
    ScsiBytes data(text.begin(), text.end());
    data[0] = data[1] = 0;
    data[2] = 6;
    return data;
}

TEST(ScsiDisks, WhoIsOneAndHowLargeItIs) {
    const ScsiBytes acme = inquiryOf("ACME");
    EXPECT_TRUE(isScsiDisk(acme));
    for (const ScsiBytes& other :
         {inquiryOf("ATA"), inquiryOf("NVMe"), inquiryOf("ACME", ""), with(acme, 0, 0x0D),
          with(acme, 0, 0x20), with(acme, 1, 0x80), with(acme, 2, 0), ScsiBytes(35), ScsiBytes(96, 0xFF)})
        EXPECT_FALSE(isScsiDisk(other)) << hexOf(other);
    const std::pair<ScsiBytes, std::uint64_t> rows[] = {
        {{0, 0, 0, 1, 0, 0, 2, 0}, 1024},
        {{0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0x10, 0}, 0x1'0000'0001 * 4096},
        {{0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 2, 0}, 0},
        {{0, 0, 0, 1, 0, 0, 0, 0}, 0},
        {{0, 0, 0, 1}, 0},
        {{0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 2, 0}, 0}};
    for (const auto& [capacity, bytes] : rows) {
        const ScsiDisk disk = scsiDiskOf({.inquiry = acme, .capacity = capacity});
        EXPECT_EQ(bytes, disk.sizeBytes) << hexOf(capacity);
        EXPECT_EQ(bytes == 0, disk.fault.starts_with("READ CAPACITY: ")) << disk.fault;
    }
    const ScsiDisk wrongPages =
        scsiDiskOf({.serialNumberPage = {0, 0x83, 0, 1, 'X'}, .characteristicsPage = {0, 0xB1, 0, 9, 0x1C}});
    EXPECT_EQ("", wrongPages.serialNumber);
    EXPECT_EQ("vital product data 80h: the answer is another page", wrongPages.fault);
    EXPECT_EQ(0, wrongPages.rotationRate);
}

// ---- The reader

std::string scsiKeys(const std::string& more, const std::string& pages = "") {
    return fmt::format(R"("scsi": {{"vendor": "ACME", "product": "SAS DISK", "serial": "S1", "blocks": 2000)"
                       R"({}, "logPages": {{{}}}}})",
                       more, pages);
}
std::string scsiDrive(const std::string& keys, const std::string& more = "") {
    return R"({"number": 1, "paths": ["scsi"], )" + keys + more + "}";
}
const std::string kPages =
    fmt::format(R"("0d": "{}", "2f": "{}", "11": null, "31": null)", hexOf(kDegrees), hexOf(kNothingWrong));

const std::string kGoodLine =
    "degrees 38 good: it tells of nothing wrong, by log page 2Fh, parameter 0000h ! "
    "log page 11h is refused";

/// A machine with a drive that has no record, and a reader.
struct ReadDisks {
    explicit ReadDisks(const std::string& drive) : on(drive) {
        on.engine->unreadDrives = {{.physicalDriveId = 1, .model = L"SAS DISK"}};
    }
    /// The lines of the disks.
    std::vector<std::string> read(std::int64_t atMostEveryNs = 0) {
        on.machine->requests().clearRecord();
        std::vector<std::string> lines;
        for (const ScsiDisk& disk : reader.read(*on.engine, atMostEveryNs))
            lines.push_back(lineOf(disk));
        return lines;
    }
    /// The command blocks that were sent for them, without their zeros: "28=12 32=fc".
    std::vector<std::string> commands() {
        std::vector<std::string> blocks;
        for (const std::string& line : requestsOf(*on.machine))
            if (const auto at = line.find(" 28="); at != line.npos) blocks.push_back(line.substr(at + 1));
        return blocks;
    }
    DriveOnMachine on;
    ScsiDiskReader reader;
};

TEST(ScsiDisks, IsAskedByTheseBytesAndWhatItRefusesOnce) {
    ReadDisks disks(scsiDrive(scsiKeys("", kPages)));
    const std::string line = kGoodLine + " (05/24/00)";
    EXPECT_THAT(disks.read(), ElementsAre(line));
    EXPECT_EQ("28=12 32=fc|28=120180 32=fc|28=03 32=fc|28=1201b1 32=fc|28=9e10 41=20|28=4d 30=40 36=fc|"
              "28=4d 30=4d 36=fc|28=4d 30=51 36=fc|28=4d 30=6f 36=fc",
              fmt::format("{}", fmt::join(disks.commands(), "|")));
    EXPECT_THAT(requestsOf(*disks.on.machine)[2],
                HasSubstr("PhysicalDrive1 0x4d004 332 44: 0=2c 6=061801 12=fc 16=0a 20=50 24=30 28=12"));
    const ScsiDisk& disk = disks.reader.read(*disks.on.engine, INT64_MAX)[0];
    EXPECT_EQ("1 ACME|SAS DISK||S1 1024000",
              fmt::format("{} {}|{}|{}|{} {}", disk.physicalDriveId, disk.vendor, disk.product, disk.revision,
                          disk.serialNumber, disk.sizeBytes));

    EXPECT_THAT(disks.read(), ElementsAre(line));
    EXPECT_THAT(disks.commands(), ElementsAre("28=12 32=fc", "28=120180 32=fc", "28=03 32=fc",
                                              "28=4d 30=4d 36=fc", "28=4d 30=6f 36=fc"));

    disks.on.machine->machineClock().sleepNs(2 * kSecond);
    EXPECT_THAT(disks.read(3 * kSecond), ElementsAre(line));
    EXPECT_THAT(disks.commands(), IsEmpty()) << "it was asked two seconds ago";
    disks.on.machine->machineClock().sleepNs(kSecond);
    disks.read(3 * kSecond);
    EXPECT_EQ(5U, disks.commands().size());
}

TEST(ScsiDisks, DisksThatRefuseOrFail) {
    const auto attentions = [](const ScsiBytes& one, const ScsiBytes& two) {
        return fmt::format(R"(, "unitAttentions": ["{}", "{}"])", hexOf(one), hexOf(two));
    };
    const std::string degreesAlone = R"("0d": ")" + hexOf(kDegrees) + '"', keys = scsiKeys("", degreesAlone),
                      good = "degrees 38 good: nothing that it tells is wrong",
                      nothing = "unknown: nothing tells its health";
    ScsiBytes longPage = pageOf(0x15, {{1, ScsiBytes(200)}, {2, ScsiBytes(50)}, {0, {0, 0, 2, 0}}});
    std::string noLogs = keys;
    noLogs.replace(noLogs.find(", \"logPages\""), std::string::npos, "}");
    const std::string predicts = "degrees 38 failing: it predicts its failure: hardware, general failure "
                                 "(5D/10, REQUEST SENSE)",
                      hours = "hours 8 good: nothing that it tells is wrong",
                      noPages = nothing + " ! log page 00h is refused (05/20/00)";
    // clang-format off
    const struct {
        std::string drive;
        std::vector<std::string> first, second;
    } rows[] = {
        {scsiDrive(noLogs), {noPages}, {noPages}},
        {scsiDrive(scsiKeys(attentions(senseOf(6, 0x29, 0), senseOf(6, 0x2A, 1)), degreesAlone)), {good}, {good}},
        {scsiDrive(scsiKeys(attentions(senseOf(6, 0x29, 0), senseOf(6, 0x5D, 0x10)), degreesAlone)), {predicts}, {predicts}},
        {scsiDrive(scsiKeys("", R"("15": ")" + hexOf(longPage) + '"')), {hours}, {hours}},
        // The third command hangs, the seventh fails: the rest of that reading is left out.
        {scsiDrive(keys, answers("scsi", R"("nth": 3, "hang": true)")), {nothing + " ! REQUEST SENSE fails with error 121"}, {good}},
        {scsiDrive(keys, answers("scsi", R"("nth": 7, "error": 1117)")), {nothing + " ! log page 0Dh fails with error 1117"}, {good}},
        {scsiDrive(keys, answers("scsi", R"("nth": 9, "vanish": true)")), {good}, {nothing + " ! vital product data 80h fails with error 433"}},
        // Another disk in its place
        {scsiDrive(keys, R"(, "changes": [{"atSeconds": 1, )" + scsiKeys(R"(, "revision": "2")", kPages) + "}]"), {good}, {kGoodLine + " (05/24/00)"}},
        // No SCSI disks
        {scsiDrive(scsiKeys(R"(, "inquiry": ")" + hexOf(inquiryOf("ATA")) + '"')), {}, {}},
        {scsiDrive(keys, R"(, "descriptor": {"busType": 7})"), {}, {}},
        {ataDrive(R"("ataPassThrough")"), {}, {}},
        {scsiDrive(keys, R"(, "openError": 5)"), {}, {}},
    };
    // clang-format on
    for (const auto& row : rows) {
        SCOPED_TRACE(row.drive);
        ReadDisks disks(row.drive);
        EXPECT_EQ(row.first, disks.read());
        disks.on.machine->machineClock().sleepNs(kSecond);
        EXPECT_EQ(row.second, disks.read());
    }
    ReadDisks closed(scsiDrive(keys, R"(, "openError": 5)"));
    closed.on.engine->unreadDrives[0].reason = UnreadDrive::Reason::noAtaCommands;
    EXPECT_THAT(closed.read(), ElementsAre(nothing + " ! it does not open (error 5)"));
    EXPECT_EQ("SAS DISK", closed.reader.read(*closed.on.engine, INT64_MAX)[0].product);

    ReadDisks other(ataDrive(R"("ataPassThrough")"));
    other.read();
    EXPECT_EQ(1U, other.commands().size());
    other.read();
    EXPECT_THAT(other.commands(), IsEmpty()) << "what is no SCSI disk is asked once";
}

TEST(ScsiDisks, BehindMegaRaidAndOfTheSample) {
    const std::string drive =
        fmt::format(R"({{"scsiAddress": {{"port": 2, "target": 9}}, "paths": ["megaRaid"], {}}}], )"
                    R"("raidPorts": [{{"port": 2, "megaRaid": {{}}}})",
                    scsiKeys("", kPages));
    ReadDisks raid(drive);
    raid.on.engine->CsmiMode = 1;
    EXPECT_TRUE(raid.on.engine->AddDiskMegaRaid(2));
    EXPECT_THAT(raid.read(), ElementsAre(kGoodLine));
    const ScsiDisk& disk = raid.reader.read(*raid.on.engine, INT64_MAX)[0];
    EXPECT_EQ("-1 2 9 S1", fmt::format("{} {} {} {}", disk.physicalDriveId, disk.scsiPort, disk.deviceId,
                                       disk.serialNumber));

    ReadDisks sample("server-sas");
    sample.on.engine->UseStandardPaths();
    sample.on.engine->Init(1, 0, nullptr, 0, 0, 0);
    EXPECT_EQ(1U, sample.on.engine->vars.size());
    Lines lines;
    for (const ScsiDisk& each : sample.reader.read(*sample.on.engine, 0))
        lines.push_back(fmt::format("{} {} {} GB, {} rpm: {}", each.physicalDriveId, each.product,
                                    each.sizeBytes / 1'000'000'000, each.rotationRate,
                                    verdictWord(each.reading.health)));
    EXPECT_THAT(
        lines, ElementsAre("1 PX05SVB096 960 GB, 0 rpm: good", "2 ST1200MM0088 1200 GB, 10500 rpm: failing"));
}

} // namespace
} // namespace orv::test
