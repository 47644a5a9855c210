#include "platform/machine/MachineDevices.h"
#include "platform/machine/Node.h"
#include "platform/text.h"

#include <charconv>

namespace orv::platform {

namespace {

constexpr std::uint64_t kAny32 = 0xFFFFFFFF;
constexpr std::int64_t kNsPerSecond = 1'000'000'000;

void read32(const Node& node, const char* key, std::uint32_t& into) {
    into = static_cast<std::uint32_t>(node.number(key, kAny32, into));
}

void readLevel(const Node& node, const char* key, std::optional<std::uint32_t>& into) {
    if (node.has(key)) into = static_cast<std::uint32_t>(node.number(key, kAny32));
}

void readLevel(const Node& node, const char* key, std::optional<std::wstring>& into) {
    if (node.has(key)) into = utf8ToWide(node.text(key));
}

/// "answers": by the level's number, raw bytes as text or an error code as a number.
void readAnswers(const Node& node, BatteryFacts& facts) {
    const auto answers = node.find("answers");
    if (!answers) return;
    for (const std::string& key : answers->keys()) {
        std::int32_t level = 0;
        const auto [end, error] = std::from_chars(key.data(), key.data() + key.size(), level);
        if (error != std::errc() || end != key.data() + key.size())
            answers->fail("\"" + key + "\" is no level number");
        if (answers->at(key).isText()) {
            facts.rawAnswers[level].clear();
            for (const std::uint8_t byte : answers->bytes(key))
                facts.rawAnswers[level].push_back(std::byte{byte});
        } else {
            facts.levelErrors[level] = static_cast<ErrorCode>(answers->number(key, kAny32));
        }
    }
}

/// What a place of the file says about a battery; keys that are missing leave `facts` as they are.
void readFacts(const Node& node, BatteryFacts& facts) {
    BATTERY_INFORMATION& information = facts.information;
    BATTERY_STATUS& status = facts.status;
    read32(node, "tag", facts.tag);
    read32(node, "capabilities", information.Capabilities);
    read32(node, "designCapacity", information.DesignedCapacity);
    read32(node, "fullChargedCapacity", information.FullChargedCapacity);
    read32(node, "criticalBias", information.CriticalBias);
    read32(node, "cycleCount", information.CycleCount);
    read32(node, "powerState", status.PowerState);
    read32(node, "capacity", status.Capacity);
    read32(node, "voltage", status.Voltage);
    if (node.has("rate"))
        status.Rate = static_cast<std::int32_t>(node.signedNumber("rate", INT32_MIN, INT32_MAX));
    read32(node, "statusError", facts.statusError);
    readLevel(node, "temperature", facts.temperature);
    readLevel(node, "estimatedTime", facts.estimatedTime);
    readLevel(node, "deviceName", facts.deviceName);
    readLevel(node, "manufacturer", facts.manufactureName);
    readLevel(node, "serialNumber", facts.serialNumber);
    if (node.has("uniqueId")) facts.uniqueId = node.text("uniqueId");
    if (const auto date = node.find("manufactureDate")) {
        facts.manufactureDate =
            BATTERY_MANUFACTURE_DATE{static_cast<std::uint8_t>(date->number("day", 0xFF)),
                                     static_cast<std::uint8_t>(date->number("month", 0xFF)),
                                     static_cast<std::uint16_t>(date->number("year", 0xFFFF))};
        date->done();
    }
    readAnswers(node, facts);
}

} // namespace

MachineBatteries::MachineBatteries(const Node& root, const MachineClock& clock) : clock_(clock) {
    for (const Node& entry : root.list("batteries")) {
        Stage stage;
        stage.facts.information.Capabilities = BATTERY_SYSTEM_BATTERY;
        stage.present = entry.flag("present", true);
        readFacts(entry, stage.facts);
        Stages stages{stage};
        for (const Node& change : entry.list("changes")) {
            stage.fromNs = static_cast<std::int64_t>(change.number("atSeconds", kAny32)) * kNsPerSecond;
            if (stage.fromNs < stages.back().fromNs) change.fail("comes before the change above it");
            stage.present = change.flag("present", true);
            readFacts(change, stage.facts);
            change.done();
            stages.push_back(stage);
        }
        entry.done();
        batteries_.push_back(std::move(stages));
    }
}

std::vector<std::size_t> MachineBatteries::present() const {
    std::vector<std::size_t> numbers;
    for (std::size_t number = 0; number < batteries_.size(); ++number)
        if (facts(number)) numbers.push_back(number);
    return numbers;
}

const BatteryFacts* MachineBatteries::facts(std::size_t number) const {
    if (number >= batteries_.size()) return nullptr;
    const Stage* now = &batteries_[number].front();
    for (const Stage& stage : batteries_[number])
        if (stage.fromNs <= clock_.now()) now = &stage;
    return now->present ? &now->facts : nullptr;
}

} // namespace orv::platform
