#pragma once

#include "platform/Clock.h"
#include "platform/FaultTrap.h"
#include "platform/NetworkTables.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"

#include <cstddef>

namespace orv::test {

/// Counts the requests that can fail, over all services, and fails the chosen one.
class FailurePlan {
  public:
    /// The `number`th request from now on fails with `error`; 0: none; `everyOne`: each.
    void failAt(std::size_t number, platform::ErrorCode error = platform::kAccessDenied) {
        failAt_ = number;
        error_ = error;
        everyOne_ = false;
        count_ = 0;
    }
    void failAlways(platform::ErrorCode error = platform::kAccessDenied) {
        failAt(0, error);
        everyOne_ = true;
    }
    /// The error of this request, 0 for none.
    platform::ErrorCode next() {
        ++count_;
        return everyOne_ || count_ == failAt_ ? error_ : platform::kSuccess;
    }
    /// True when the chosen request has come.
    bool reached() const { return count_ >= failAt_; }

  private:
    std::size_t failAt_ = 0;
    std::size_t count_ = 0;
    platform::ErrorCode error_ = platform::kSuccess;
    bool everyOne_ = false;
};

class FailingSystemFacts : public platform::SystemFacts {
  public:
    FailingSystemFacts(platform::SystemFacts& real, FailurePlan& plan) : real_(real), plan_(plan) {}
    platform::Result<platform::MemoryFacts> memoryStatus() override {
        if (const auto error = plan_.next()) return platform::Result<platform::MemoryFacts>::failed(error);
        return real_.memoryStatus();
    }
    platform::Architecture architecture() override {
        if (plan_.next()) return {platform::Architecture::Outcome::callFailed, 0, 0};
        return real_.architecture();
    }
    std::wstring errorText(platform::ErrorCode code) override { return real_.errorText(code); }

  private:
    platform::SystemFacts& real_;
    FailurePlan& plan_;
};

class FailingNetworkTables : public platform::NetworkTables {
  public:
    FailingNetworkTables(platform::NetworkTables& real, FailurePlan& plan) : real_(real), plan_(plan) {}
    platform::Result<std::vector<platform::AdapterRecord>> adapters() override {
        if (const auto error = plan_.next())
            return platform::Result<std::vector<platform::AdapterRecord>>::failed(error);
        return real_.adapters();
    }
    platform::ErrorCode interfaceRows(std::vector<platform::InterfaceRow>& rows) override {
        if (const auto error = plan_.next()) return error;
        return real_.interfaceRows(rows);
    }

  private:
    platform::NetworkTables& real_;
    FailurePlan& plan_;
};

/// Any platform, with the k-th request failing.
class FailingPlatform : public platform::Platform {
  public:
    explicit FailingPlatform(platform::Platform& real) : real_(real) {}
    FailurePlan& plan() { return plan_; }

    platform::SystemFacts& systemFacts() override { return systemFacts_; }
    platform::FaultTrap& faultTrap() override { return real_.faultTrap(); }
    platform::Clock& clock() override { return real_.clock(); }
    platform::NetworkTables& networkTables() override { return networkTables_; }

  private:
    platform::Platform& real_;
    FailurePlan plan_;
    FailingSystemFacts systemFacts_{real_.systemFacts(), plan_};
    FailingNetworkTables networkTables_{real_.networkTables(), plan_};
};

} // namespace orv::test
