#pragma once

// A described drive on one path, and the four ATA commands that the engine sends on it.

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugPrint.h"
#include "support/DriveControls.h"
#include "support/RequestText.h"
#include "support/TestMachine.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

namespace orv::test {

enum Operation { identify, readData, readThresholds, enable };

using platform::drives::block;
using platform::drives::drive;

constexpr std::uint8_t kKept = 0xEE; // what the record's blocks hold before

inline const std::string kOpenDrive = R"(openDevice \\.\PhysicalDrive0 attributes 0x0)";
inline const std::string kOpenPort = R"(openDevice \\.\Scsi2: attributes 0x0)";

/// A drive whose one path gives another answer than usual.
inline std::string answering(const std::string& path, const std::string& answer) {
    return drive(path, R"("answers": [{"path": ")" + path + R"(", )" + answer + "}]");
}

/// A machine with drives, and an engine whose record has the first one's address.
struct AtaPath {
    explicit AtaPath(const std::string& drives, std::uint32_t commandType = 1, std::uint8_t target = 0xA0,
                     const std::string& more = "")
        : machine(R"({"name": "m", "drives": [)" + drives + "]" + more + "}") {
        asi.CommandType = commandType;
        asi.Target = target;
        asi.AttributeCount = 1; // as after a good read of the attributes
        std::ranges::fill(asi.Identify, kKept);
        std::ranges::fill(asi.SmartReadData, kKept);
        std::ranges::fill(asi.SmartReadThreshold, kKept);
        setDebugListener([this](std::wstring_view text) { traces.emplace_back(text); });
        machine->requests().keepRecord(true);
    }

    bool ask(Operation operation) {
        const std::span<std::uint8_t> data(asi.Identify, kIdentifyBytes);
        machine->requests().clearRecord();
        traces.clear();
        switch (asi.CommandType) {
        case CMD_TYPE_PHYSICAL_DRIVE:
            return operation == identify   ? engine.DoIdentifyDevicePd(0, asi.Target, data)
                   : operation == readData ? engine.GetSmartAttributePd(0, asi.Target, asi)
                   : operation == enable   ? engine.ControlSmartStatusPd(0, asi.Target, 0xD8)
                                           : engine.GetSmartThresholdPd(0, asi.Target, asi);
        case CMD_TYPE_SCSI_MINIPORT:
            return operation == identify   ? engine.DoIdentifyDeviceScsi(2, 3, data)
                   : operation == readData ? engine.GetSmartAttributeScsi(2, 3, asi)
                   : operation == enable   ? engine.ControlSmartStatusScsi(2, 3, 0xD8)
                                           : engine.GetSmartThresholdScsi(2, 3, asi);
        default:
            return operation == identify   ? engine.DoIdentifyDeviceSat(0, asi.Target, data, asi.CommandType)
                   : operation == readData ? engine.GetSmartAttributeSat(0, asi.Target, asi)
                   : operation == enable ? engine.ControlSmartStatusSat(0, asi.Target, 0xD8, asi.CommandType)
                                         : engine.GetSmartThresholdSat(0, asi.Target, asi);
        }
    }

    std::vector<std::string> record() { return requestsOf(*machine); }
    std::span<const std::uint8_t> blockOf(Operation operation) const {
        return operation == identify   ? std::span(asi.Identify).first(kIdentifyBytes)
               : operation == readData ? std::span<const std::uint8_t>(asi.SmartReadData)
                                       : std::span<const std::uint8_t>(asi.SmartReadThreshold);
    }

    TestMachine machine;
    CAtaSmart engine;
    AtaSmartInfo asi;
    std::vector<std::wstring> traces;
};

/// A drive that answers on `path` alone, with SMART disabled: each operation works by one open and the one
/// control code in `sent`, in the order identify, data, thresholds, enable; an empty one is not compared.
inline void expectCommands(AtaPath& path, const std::string& opening,
                           const std::array<std::string, 4>& sent) {
    EXPECT_FALSE(path.ask(readData)) << "SMART is not enabled";
    for (const Operation operation : {identify, enable, readData, readThresholds}) {
        EXPECT_TRUE(path.ask(operation)) << operation;
        ASSERT_EQ(2U, path.record().size()) << operation;
        EXPECT_EQ(opening, path.record()[0]) << operation;
        if (!sent[operation].empty()) {
            EXPECT_EQ(sent[operation], path.record()[1]) << operation;
        }
    }
    EXPECT_THAT(path.blockOf(identify), testing::Each(1));
    EXPECT_THAT(path.blockOf(readData), testing::Each(2));
    EXPECT_THAT(path.blockOf(readThresholds), testing::Each(3));
    EXPECT_EQ(30U, path.asi.AttributeCount);
}

} // namespace orv::test
