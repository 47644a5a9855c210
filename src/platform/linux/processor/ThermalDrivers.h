#pragma once

#include "platform/linux/files/RootedFiles.h"
#include "platform/linux/processor/ProcessorSet.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orv::platform {

/// Temperatures of the processor, degrees Celsius, as the kernel's own drivers read them from its registers:
/// coretemp a core, k10temp AMD's control temperature. Anybody may read their files, and the drivers know the
/// models. The files are looked for once, and again when one fails: a driver may be unloaded and loaded.
class ThermalDrivers {
  public:
    ThermalDrivers(const RootedFiles& files, ProcessorSet& processors)
        : files_(files), processors_(processors) {}

    /// Looks for the files anew; whether one of the drivers is there.
    bool find();
    /// Of the core of a processor, by its bit in the set.
    std::optional<double> core(std::size_t bit);
    std::optional<double> control();

  private:
    std::optional<double> read(const std::string& path);
    template <class Path>
    std::optional<double> readOrFind(Path path);
    void findCores();
    void findControl();

    const RootedFiles& files_;
    ProcessorSet& processors_;
    std::vector<std::string> cores_; // a file a bit; empty where the driver has none
    // Numbers of the package and of each bit's core, kept for when a processor is off line and tells none.
    std::string package_;
    std::vector<std::string> coreIds_;
    std::string control_;
};

} // namespace orv::platform
