#pragma once

#include "platform/Platform.h"
#include "platform/machine/Machine.h"
#include "support/Paths.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace orv::test {

/// A platform side that can run in this build: the host's own and a described machine. A contract test runs
/// against each with the same assertions:
///   class XContract : public Contract {};  TEST_P(XContract, ...)  INSTANTIATE_SIDES(XContract);
class Contract : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        if (isHost())
            platform_ = platform::makeHostPlatform();
        else
            platform_ = platform::Machine::fromFile(sourceDir() + "/machines/" + std::string(GetParam()));
    }
    bool isHost() const { return std::string_view(GetParam()) == "host"; }
    platform::Platform& side() { return *platform_; }

  private:
    std::unique_ptr<platform::Platform> platform_;
};

#define INSTANTIATE_SIDES(Suite)                                                                             \
    INSTANTIATE_TEST_SUITE_P(                                                                                \
        Sides, Suite, ::testing::Values("host", "intel-desktop.json"),                                       \
        [](const auto& parameter) { return parameter.index == 0 ? "Host" : "Machine"; })

} // namespace orv::test
