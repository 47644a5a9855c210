#include "platform/linux/processor/ThermalDrivers.h"

#include <charconv>
#include <map>

namespace orv::platform {

namespace {

constexpr char kMonitors[] = "/sys/class/hwmon";
constexpr char kNorthbridgeMonitors[] = "/sys/bus/pci/devices/0000:00:18.3/hwmon"; // of the first node
constexpr double kMilliPerDegree = 1000.0;

constexpr std::string_view kCoreLabel = "Core ";
constexpr std::string_view kPackageLabel = "Package id ";
constexpr std::string_view kControlLabel = "Tctl";

/// A folder of the driver coretemp, which has one a package, or one a die.
struct CoreMonitor {
    std::string folder;
    std::string package;                      // by its label; older processors have no sensor of that kind
    std::map<std::string, std::string> cores; // number to file
};

/// Files "tempN_input" of a folder by what their "tempN_label" says.
std::vector<std::pair<std::string, std::string>> labelled(const RootedFiles& files,
                                                          const std::string& folder) {
    constexpr std::string_view end = "_label";
    std::vector<std::pair<std::string, std::string>> sensors;
    for (const std::string& name : files.list(folder).value) {
        if (!name.starts_with("temp") || !name.ends_with(end)) continue;
        const std::string input = name.substr(0, name.size() - end.size()) + "_input";
        sensors.emplace_back(files.line(folder + "/" + name), folder + "/" + input);
    }
    return sensors;
}

CoreMonitor coreMonitor(const RootedFiles& files, const std::string& folder) {
    CoreMonitor monitor{folder, {}, {}};
    for (const auto& [label, input] : labelled(files, folder)) {
        if (label.starts_with(kCoreLabel)) monitor.cores.emplace(label.substr(kCoreLabel.size()), input);
        if (label.starts_with(kPackageLabel)) monitor.package = label.substr(kPackageLabel.size());
    }
    return monitor;
}

} // namespace

/// A monitor without a label for the package is known by its device "coretemp.N", or by being the only one.
void ThermalDrivers::findCores() {
    std::vector<CoreMonitor> monitors;
    for (const std::string& name : files_.list(kMonitors).value) {
        const std::string folder = kMonitors + ("/" + name);
        if (files_.line(folder + "/name") == "coretemp") monitors.push_back(coreMonitor(files_, folder));
    }
    const auto& numbers = processors_.numbers();
    coreIds_.resize(numbers.size());
    for (std::size_t bit = 0; bit < numbers.size(); ++bit) {
        const std::string topology = processorFolder(numbers[bit]) + "/topology/";
        if (package_.empty()) package_ = files_.line(topology + "physical_package_id");
        if (coreIds_[bit].empty()) coreIds_[bit] = files_.line(topology + "core_id");
    }
    std::map<std::string, std::string> cores;
    for (CoreMonitor& monitor : monitors) {
        const bool ours = monitor.package.empty()
                              ? monitors.size() == 1 ||
                                    files_.linkName(monitor.folder + "/device") == "coretemp." + package_
                              : monitor.package == package_;
        if (ours) cores.merge(monitor.cores);
    }
    cores_.assign(numbers.size(), {});
    if (cores.empty()) return;
    for (std::size_t bit = 0; bit < numbers.size(); ++bit)
        cores_[bit] = cores[coreIds_[bit]];
}

/// Older kernels, and older families in all of them, give the control temperature without a label; some give
/// the one of the die as the first.
void ThermalDrivers::findControl() {
    control_.clear();
    for (const std::string& name : files_.list(kNorthbridgeMonitors).value) {
        const std::string folder = kNorthbridgeMonitors + ("/" + name);
        if (files_.line(folder + "/name") != "k10temp") continue;
        control_ = folder + "/temp1_input";
        for (const auto& [label, input] : labelled(files_, folder))
            if (label == kControlLabel) control_ = input;
        return;
    }
}

bool ThermalDrivers::find() {
    findCores();
    findControl();
    if (!control_.empty()) return true;
    for (const std::string& file : cores_)
        if (!file.empty()) return true;
    return false;
}

std::optional<double> ThermalDrivers::read(const std::string& path) {
    const std::string text = path.empty() ? std::string() : files_.line(path);
    int value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return value / kMilliPerDegree;
}

template <class Path>
std::optional<double> ThermalDrivers::readOrFind(Path path) {
    if (path().empty()) return std::nullopt;
    if (const auto value = read(path())) return value;
    find();
    return read(path());
}

std::optional<double> ThermalDrivers::core(std::size_t bit) {
    if (bit >= cores_.size()) return std::nullopt;
    return readOrFind([&] { return cores_[bit]; });
}

std::optional<double> ThermalDrivers::control() {
    return readOrFind([&] { return control_; });
}

} // namespace orv::platform
