#pragma once

#include "platform/machine/Machine.h"

#include <fmt/format.h>

#include <string>
#include <vector>

namespace orv::test {

/// The record of requests. A control code stands as "DEVICE CODE OUT IN: 0=2c 6=1018", with its block's runs
/// of bytes that are not 0.
inline std::vector<std::string> requestsOf(platform::Machine& machine) {
    std::vector<std::string> lines = machine.requests().record();
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

} // namespace orv::test
