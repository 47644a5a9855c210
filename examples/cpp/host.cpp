// A host that links the library and polls it. Built by find_package with the CMakeLists.txt beside it, or
// with pkg-config:
//
//     c++ -std=c++17 host.cpp $(pkg-config --cflags --libs orvane-hwprobe) -o host
//
// The library also writes its log to standard output.

#include <chrono>
#include <iostream>
#include <mutex>
#include <orvane/hwprobe.h>
#include <stdexcept>
#include <string>
#include <thread>

/// The functions as a C++ host likes them: a failure is an exception, a text is its own copy, and threads
/// wait for each other. The library is one for the process, so this is too.
namespace probe {

inline std::mutex oneAtATime;

template <class Number, class... Index, class... Argument>
Number number(Number (*function)(Index...), Argument... index) {
    const std::lock_guard lock(oneAtATime);
    const Number value = function(index...);
    if (value == -1) throw std::runtime_error(getLastError());
    return value;
}

/// A text tells its failure itself.
template <class... Index, class... Argument>
std::string text(const char* (*function)(Index...), Argument... index) {
    const std::lock_guard lock(oneAtATime);
    return function(index...); // copied before the lock goes
}

} // namespace probe

namespace {

/// Prints what `read` gives, or why it gives nothing.
template <class Read>
void show(const char* name, const char* unit, Read&& read) {
    std::cout << name << ": ";
    try {
        std::cout << read() << ' ' << unit << std::endl;
    } catch (const std::runtime_error& failure) {
        std::cout << "failed: " << failure.what() << std::endl;
    }
}

void showMoving() {
    show("getCpuLoad", "of 1", [] { return probe::number(getCpuLoad); });
    show("getCpuFrequency", "MHz", [] { return probe::number(getCpuFrequency); });
    show("getMemoryLoad", "percent", [] { return probe::number(getMemoryLoad); });
    show("getNetCurrentSpeed", "", [] { return probe::text(getNetCurrentSpeed); });
}

/// The count that makes the indices valid; none after a failure.
std::uint32_t countOf(const char* name, std::int32_t (*initialise)()) {
    std::int32_t count = 0;
    show(name, "found", [&] { return count = probe::number(initialise); });
    return static_cast<std::uint32_t>(count);
}

} // namespace

int main() {
    showMoving();
    std::this_thread::sleep_for(
        std::chrono::seconds(1)); // loads and rates tell what happened between two calls
    showMoving();
    show("getCpuTemperature", "degrees Celsius", [] { return probe::number(getCpuTemperature); });
    show("getCpuBaseFrequency", "MHz", [] { return probe::number(getCpuBaseFrequency); });
    show("getGpuLoad", "of 1", [] { return probe::number(getGpuLoad); });
    show("getGpuTemperature", "degrees Celsius", [] { return probe::number(getGpuTemperature); });
    show("getMemoryManufacturerAndModel", "", [] { return probe::text(getMemoryManufacturerAndModel); });
    const std::uint32_t drives = countOf("initDisk", initDisk);
    for (std::uint32_t i = 0; i < drives; ++i) {
        show("getDiskTemperature", "degrees Celsius", [i] { return probe::number(getDiskTemperature, i); });
        show("getDiskReadWriteSpeed", "", [i] { return probe::text(getDiskReadWriteSpeed, i); });
    }
    show("getAllDiskType", "", [] { return probe::text(getAllDiskType); });
    show("getDiskNameWhichOsInstalled", "", [] { return probe::text(getDiskNameWhichOsInstalled); });
    const std::uint32_t batteries = countOf("initBattery", initBattery);
    for (std::uint32_t i = 0; i < batteries; ++i)
        show("getBatteryAllMessage", "", [i] { return probe::text(getBatteryAllMessage, i); });
    show("getNetCardMessage", "", [] { return probe::text(getNetCardMessage); });
    releaseRing0();
}
