#pragma once

#include "frame/border/TextResults.h"
#include "platform/Platform.h"
#include "platform/machine/Machine.h"
#include "state/ProcessState.h"
#include "support/Paths.h"

#include <memory>
#include <string>
#include <string_view>

namespace orv::test {

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

/// A described machine in use for a scope.
class TestMachine {
  public:
    explicit TestMachine(std::string_view text)
        : machine_(platform::Machine::fromText(text)), inUse_(*machine_) {}
    /// A sample machine by its file's name, "laptop".
    static TestMachine sample(const std::string& name) { return TestMachine(name, 0); }
    /// A sample's name, or the text of a machine.
    static TestMachine of(const std::string& machine) {
        return machine.starts_with('{') ? TestMachine(machine) : sample(machine);
    }

    platform::Machine* operator->() { return machine_.get(); }
    platform::Machine& operator*() { return *machine_; }

  private:
    TestMachine(const std::string& name, int)
        : machine_(platform::Machine::fromFile(sourceDir() + "/machines/" + name + ".json")),
          inUse_(*machine_) {}

    std::unique_ptr<platform::Machine> machine_;
    InUse inUse_;
};

} // namespace orv::test
