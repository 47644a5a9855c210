#pragma once

#include "frame/border/TextResults.h"
#include "orvane/hwprobe.h"
#include "platform/Platform.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"
#include "support/Paths.h"

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orv::test {

using ::testing::AllOf, ::testing::Contains, ::testing::Each, ::testing::ElementsAre,
    ::testing::ElementsAreArray, ::testing::EndsWith, ::testing::HasSubstr, ::testing::IsEmpty,
    ::testing::Not, ::testing::StartsWith;

/// Puts a platform in use for a scope, in a process state of its own.
class InUse {
  public:
    explicit InUse(platform::Platform& next) : former_(platform::current()) {
        ProcessState::renew();
        frame::makeRoomForFailures(); // as loading does
        platform::use(next);
    }
    ~InUse() {
        ProcessState::renew();
        platform::use(former_);
    }
    InUse(const InUse&) = delete;
    InUse& operator=(const InUse&) = delete;

  private:
    platform::Platform& former_;
};

/// A described machine in use for a scope, which keeps the record of its requests.
class TestMachine {
  public:
    explicit TestMachine(std::string_view text) : TestMachine(platform::Machine::fromText(text)) {}
    /// A sample machine by its file's name, "laptop".
    static TestMachine sample(const std::string& name) {
        return TestMachine(platform::Machine::fromFile(sourceDir() + "/machines/" + name + ".json"));
    }
    /// A sample's name, or the text of a machine.
    static TestMachine of(const std::string& machine) {
        return machine.starts_with('{') ? TestMachine(machine) : sample(machine);
    }

    platform::Machine* operator->() { return machine_.get(); }
    /// The requests that begin like this.
    std::vector<std::string> asked(std::string_view head) const {
        std::vector<std::string> lines = machine_->requests().record();
        std::erase_if(lines, [&](const std::string& line) { return !line.starts_with(head); });
        return lines;
    }
    platform::Machine& operator*() { return *machine_; }

  private:
    explicit TestMachine(std::unique_ptr<platform::Machine> machine)
        : machine_(std::move(machine)), inUse_(*machine_) {
        machine_->requests().keepRecord(true);
    }

    std::unique_ptr<platform::Machine> machine_;
    InUse inUse_;
};

} // namespace orv::test
