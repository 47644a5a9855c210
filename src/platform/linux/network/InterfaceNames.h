#pragma once

#include "platform/linux/files/RootedFiles.h"
#include "state/HeldMutex.h"

#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

/// Descriptions of network interfaces that a person would know. Each interface gets one text, kept from its
/// first use on, that serves adapters, interface rows and network cards alike; no two interfaces share one.
class InterfaceNames {
  public:
    explicit InterfaceNames(const RootedFiles& files) : files_(files) {}

    /// The reference stays valid as long as this object.
    const std::string& descriptionOf(std::string_view interface);

  private:
    struct Entry {
        std::string interface;
        std::string description;
    };

    /// Empty when the interface cannot be looked into.
    std::string describe(const std::string& interface) const;
    std::string pciProduct(const std::string& device) const;
    std::string usbProduct(const std::string& device) const;
    bool taken(const std::string& description) const;

    const RootedFiles& files_;
    HeldMutex mutex_;
    std::vector<std::unique_ptr<Entry>> entries_;
    std::set<std::string> unknown_; // could not be looked into yet: their own names serve
};

} // namespace orv::platform
