#include "platform/machine/Requests.h"

#include "platform/FaultTrap.h"
#include "platform/machine/Node.h"

#include <limits>
#include <stdexcept>

namespace orv::platform {

void Requests::load(const Node& root) {
    constexpr std::uint64_t anyCode = std::numeric_limits<std::uint32_t>::max();
    for (const Node& entry : root.list("faults")) {
        Fault fault;
        fault.operation = entry.text("request");
        if (!isRequestName(fault.operation)) entry.fail("no request is named \"" + fault.operation + "\"");
        fault.nth = entry.number("nth", std::numeric_limits<std::uint32_t>::max(), 0);
        if (fault.nth == 0 && entry.has("nth"))
            entry.fail("nth counts from 1; leave it out for every request");
        fault.error = static_cast<ErrorCode>(entry.number("error", anyCode, 0));
        fault.hardwareFault = static_cast<std::uint32_t>(entry.number("hardwareFault", anyCode, 0));
        entry.done();
        if ((fault.error == 0) == (fault.hardwareFault == 0))
            entry.fail("needs either \"error\" or \"hardwareFault\", not 0");
        plan(std::move(fault));
    }
}

void Requests::plan(Fault fault) {
    if (!isRequestName(fault.operation)) throw std::invalid_argument("no request: " + fault.operation);
    faults_.push_back({std::move(fault)});
}

std::vector<Fault> Requests::unmetFaults() const {
    std::vector<Fault> unmet;
    for (const Planned& planned : faults_)
        if (!planned.met) unmet.push_back(planned.fault);
    return unmet;
}

void Requests::write(std::string_view operation, std::string detail) {
    std::string line(operation);
    if (!detail.empty()) line += " " + detail;
    record_.push_back(std::move(line));
}

ErrorCode Requests::faultFor(std::string_view operation) {
    auto count = counts_.find(operation);
    if (count == counts_.end()) count = counts_.emplace(operation, 0).first;
    const std::uint64_t number = ++count->second;
    for (Planned& planned : faults_) {
        const Fault& fault = planned.fault;
        if (fault.operation != operation || (fault.nth != 0 && fault.nth != number)) continue;
        planned.met = true;
        if (fault.hardwareFault != 0) raiseFault(fault.hardwareFault);
        return fault.error;
    }
    return kSuccess;
}

} // namespace orv::platform
