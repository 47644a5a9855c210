#pragma once

#include "platform/linux/files/RootedFiles.h"
#include "state/HeldMutex.h"

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace orv::platform {

/// The folder of the innermost PCI function on a path of sysfs; empty when there is none.
std::string pciFunctionOf(std::string_view path);

/// Base class, sub-class and interface, 0x010802; 0 where the folder tells none.
std::uint32_t pciClass(const RootedFiles& files, const std::string& folder);

/// Folders of the PCI functions, by address, whose class without its interface lies between the two.
std::vector<std::string> pciFunctions(const RootedFiles& files, std::uint32_t firstClass,
                                      std::uint32_t lastClass);

inline constexpr std::uint32_t kFirstStorageClass = 0x0100; // SCSI
inline constexpr std::uint32_t kLastStorageClass = 0x0108;  // NVM Express
inline constexpr std::uint32_t kUsbControllerClass = 0x0C03;

/// The device id of a PCI function in the form of Windows,
/// "PCI\VEN_8086&DEV_2922&SUBSYS_11001AF4&REV_02\3&00000000&0&FA": the instance is domain and bus, then
/// device and function in one byte.
std::string pciDeviceId(const RootedFiles& files, const std::string& folder);

/// What does not change about PCI functions. It is read once for a folder, as long as that is the same
/// device's.
class PciFunctionFacts {
  public:
    struct Facts {
        std::uint32_t code = 0;                      ///< as pciClass
        std::string id;                              ///< as pciDeviceId
        std::optional<std::uint32_t> mostGeneration; ///< of its link
        std::optional<std::uint32_t> mostWidth;
    };

    explicit PciFunctionFacts(const RootedFiles& files) : files_(files) {}
    Facts of(const std::string& folder);
    /// Folder and facts of the function in the place that an id tells; both empty when there is none.
    std::pair<std::string, Facts> at(std::string_view id);

  private:
    const RootedFiles& files_;
    HeldMutex mutex_;
    std::map<std::string, std::pair<FolderStamp, Facts>> known_;
};

/// Vendor and product by the hardware database, or what the class is called where there is none.
std::string pciName(const RootedFiles& files, const std::string& folder);

/// Of a link the generation of its speed, and its lanes. Empty what is not known.
std::optional<std::uint32_t> linkGeneration(std::string_view speed);
std::optional<std::uint32_t> linkWidth(std::string_view width);

} // namespace orv::platform
