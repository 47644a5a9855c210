#pragma once

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugPrint.h"
#include "disk_engine/search/SearchStages.h"
#include "support/DriveBlocks.h"
#include "support/TestMachine.h"

#include <fmt/xchar.h>

#include <optional>
#include <string>
#include <vector>

namespace orv::test {

inline constexpr std::int64_t kSecond = 1'000'000'000; // ns

using Lines = std::vector<std::string>;
using Labels = std::vector<std::wstring>;

template <class Block>
std::string hexOf(const Block& block) {
    std::string text;
    for (const std::uint8_t byte : block)
        text += fmt::format("{:02x}", byte);
    return text;
}

/// The two blocks of the attributes, as keys of a drive.
inline std::string smartKeys(const std::vector<DriveAttribute>& attributes) {
    AtaSmartInfo asi;
    putBlocks(asi, attributes);
    return fmt::format(R"("smart": "{}", "thresholds": "{}")", hexOf(asi.SmartReadData),
                       hexOf(asi.SmartReadThreshold));
}

inline const std::vector<DriveAttribute> kSomeAttributes = {{.id = 5, .threshold = 10},
                                                            {.id = 194, .raw = 35}};
inline const IdentifyWords kSmartWords = {{0, 0x0040}, {80, 0x00FE}, {82, 1}, {60, 0}, {61, 0x0100}};

inline AtaBlock smartIdentify(IdentifyWords words = {}, std::string_view model = "ACME Disk",
                              std::string_view firmware = "F1", std::string_view serial = "S1") {
    words.insert(words.end(), kSmartWords.begin(), kSmartWords.end());
    return identifyOf(words, model, firmware, serial);
}

inline NvmeBlock nvmeIdentifyOf(std::string_view model = "ACME NV", std::string_view serial = "S1") {
    NvmeBlock block{};
    putText(block, 4, 20, serial);
    putText(block, 24, 40, model);
    putText(block, 64, 8, "F1");
    return block;
}

/// A drive's further key: what becomes of the requests on one of its paths.
inline std::string answers(std::string_view path, std::string_view what) {
    return fmt::format(R"(, "answers": [{{"path": "{}", {}}}])", path, what);
}

/// A health page of a temperature and a percentage used.
inline std::array<std::uint8_t, kSmartBytes> healthOf(std::uint16_t kelvin, std::uint8_t used = 3) {
    std::array<std::uint8_t, kSmartBytes> page{};
    putLittleEndian(page, 1, kelvin);
    page[5] = used;
    return page;
}

/// The entry of a drive on these paths, which are written as in the file: R"("sat", "asm1352r")".
inline std::string ataDrive(const std::string& paths, int target = 0xA0, const std::string& more = {},
                            const AtaBlock& identify = smartIdentify(),
                            const std::string& smart = smartKeys(kSomeAttributes)) {
    return fmt::format(R"({{"number": 1, "paths": [{}], "target": {}, "identify": "{}", {}{}}})", paths,
                       target, hexOf(identify), smart, more);
}
inline std::string nvmeDrive(const std::string& paths, const std::string& more = {},
                             const NvmeBlock& identify = nvmeIdentifyOf(), std::uint16_t kelvin = 273 + 41,
                             std::uint8_t used = 3) {
    return fmt::format(R"({{"number": 1, "paths": [{}], "identify": "{}", "health": "{}", )"
                       R"("namespace": {{"blocks": 2000000}}{}}})",
                       paths, hexOf(identify), hexOf(healthOf(kelvin, used)), more);
}

/// Counters that move by 1000 bytes read and 2048 written a millisecond.
inline const std::string kCounters = R"(, "performance": {"bytesRead": 10, "bytesReadPerSecond": 1000000,)"
                                     R"( "bytesWrittenPerSecond": 2048000})";

inline std::string machineWithADrive() {
    return R"({"name": "m", "drives": [)" + ataDrive(R"("ataPassThrough")", 0xA0, kCounters) + "]}";
}

/// An NVMe drive behind the one of ataDrive, with counters.
inline std::string secondDrive() {
    std::string drive = nvmeDrive(R"("storageQuery")", kCounters, nvmeIdentifyOf("ACME NV", "S2"));
    return drive.replace(drive.find("1"), 1, "2");
}

inline constexpr const char* kDeadDrive = R"({"number": 1})";
inline const std::string kAtPort = R"(, "scsiAddress": {"port": 2, "target": 3})";

template <class T>
std::vector<T> plus(std::vector<T> first, const std::vector<std::type_identity_t<T>>& second) {
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

/// The record. A control code stands as "DEVICE CODE OUT IN: 0=2c 6=1018", with runs of bytes that are not 0.
inline Lines requestsOf(platform::Machine& machine) {
    Lines lines = machine.requests().record();
    for (std::string& line : lines) {
        const auto in = line.find(" in");
        if (in == line.npos || !line.starts_with("deviceControl")) continue;
        const std::string hex = line.substr(in + 3); // " b5 fe"
        std::string runs;
        for (std::size_t i = 0; i < hex.size() / 3; ++i) {
            const std::string byte = hex.substr(3 * i + 1, 2);
            if (byte == "00") continue;
            if (i == 0 || hex.substr(3 * i - 2, 2) == "00") runs += fmt::format(" {}=", i);
            runs += byte;
        }
        line = line.substr(18, in - 18) + fmt::format(" {}:", hex.size() / 3) + runs;
        line.erase(line.find("out "), 4);
    }
    return lines;
}

/// A machine of drives and other sections, or a sample by its name, an engine, and what the engine traced.
class DriveOnMachine {
  public:
    explicit DriveOnMachine(const std::string& drives, const std::string& sections = {})
        : machine(TestMachine::of(drives.empty() || drives.starts_with('{')
                                      ? R"({"name": "x", "drives": [)" + drives + "]" + sections + "}"
                                      : drives)) {
        setDebugListener([this](std::wstring_view text) { trace.emplace_back(text); });
        engine.emplace();
        machine->requests().clearRecord();
    }
    ~DriveOnMachine() { setDebugListener({}); }

    /// Every path that a flag allows but the 4096-byte mode of the JMicron NVMe bridge, which no drive of the
    /// 512-byte mode would be asked behind.
    void allowAll() {
        using E = CAtaSmart;
        // clang-format off
        for (const auto flag : {&E::FlagUsbSat, &E::FlagUsbSunplus, &E::FlagUsbIoData, &E::FlagUsbLogitec, &E::FlagUsbProlific, &E::FlagUsbJmicron, &E::FlagUsbCypress,
                                &E::FlagUsbNvmeJmicron, &E::FlagUsbNvmeJmicronUsb2, &E::FlagUsbNvmeAsmedia, &E::FlagUsbNvmeRealtek, &E::FlagUsbAsm1352r})
            (*engine).*flag = 1;
        // clang-format on
    }

    /// The trace without what begins with one of these.
    std::vector<std::wstring> traceWithout(std::initializer_list<std::wstring_view> heads) const {
        std::vector<std::wstring> left;
        for (const std::wstring& text : trace)
            if (std::ranges::none_of(heads, [&](std::wstring_view head) { return text.starts_with(head); }))
                left.push_back(text);
        return left;
    }

    /// "NUMBER: REASON" of each drive without a record.
    Labels unread() const {
        Labels all;
        for (const UnreadDrive& each : engine->unreadDrives)
            all.push_back(std::to_wstring(each.physicalDriveId) + L": " + whyUnread(each));
        return all;
    }

    std::vector<std::wstring> trace;
    TestMachine machine;
    std::optional<CAtaSmart> engine;
};

} // namespace orv::test
