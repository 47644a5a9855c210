#include "disk_engine/paths/AmdRc2.h"

#include "disk_engine/CAtaSmart.h"
#include "disk_engine/DebugFormat.h"
#include "disk_engine/dialects/Interpretation.h"
#include "platform/Libraries.h"
#include "platform/Platform.h"
#include "platform/SystemFacts.h"
#include "state/ProcessState.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace orv {

namespace {

constexpr wchar_t kPublisher[] = L"Advanced Micro Devices, Inc."; // whose signature the library has to have
constexpr std::uint32_t kLoaded = 1;
constexpr std::int32_t kMostDrives = 256; // more than a driver can have, and than the list takes

/// By the status that `AMD_RC2_Init` gives; what lies above counts as the last one.
constexpr std::array kStatusNames = {
    L"AMD_RC2_uninitial",           L"AMD_RC2_loaded",           L"AMD_RC2_unloaded",
    L"AMD_RC2_failed_signature",    L"AMD_RC2_driver_not_found", L"AMD_RC2_cannot_open",
    L"AMD_RC2_failed_memory_alloc", L"AMD_RC2_offset_overflow",  L"AMD_RC2_driver_version_old",
    L"AMD_RC2_not_admin",           L"AMD_RC2_name_failed",      L"AMD_RC2_unknown"};

// Where the texts stand in an image of the drive's identify data.
struct ImagePlaces {
    std::size_t serialNumber;
    std::size_t firmware;
    std::size_t model;
    std::size_t description;
};
constexpr ImagePlaces kAtaPlaces = {20, 46, 54, 352};
constexpr ImagePlaces kNvmePlaces = {4, 64, 24, 84};
constexpr std::size_t kSerialLength = 20;
constexpr std::size_t kFirmwareLength = 8;
constexpr std::size_t kModelLength = 40;
constexpr std::size_t kDescriptionLength = 60;
constexpr std::size_t kSsdAt = 152; // identify word 76

using Image = std::array<std::uint8_t, kNvmeIdentifyBytes>;

/// Beside the program; empty where the program's folder is not known, for no other place is meant.
std::wstring libraryPath() {
    const std::wstring module = platform::current().systemFacts().mainModule();
    if (module.empty()) return {};
    return module.substr(0, module.find_last_of(L"\\/") + 1) + platform::rc2::kLibraryName;
}

/// All six functions; false when one is missing.
bool findFunctions(const std::wstring& path, AmdRc2Library& library) {
    auto& libraries = platform::current().libraries();
    const auto loaded = libraries.load(path);
    if (!loaded.ok()) return false;
    const auto find = [&](const char* name, auto& function) {
        const auto found = libraries.function(loaded.value, name);
        function = reinterpret_cast<std::remove_reference_t<decltype(function)>>(found.value);
        return found.ok();
    };
    return find("AMD_RC2_Init", library.Init) && find("AMD_RC2_GetStatus", library.GetStatus) &&
           find("AMD_RC2_GetDrives", library.GetDrives) && find("AMD_RC2_Reload", library.Reload) &&
           find("AMD_RC2_GetIdentify", library.GetIdentify) &&
           find("AMD_RC2_GetSmartData", library.GetSmartData);
}

/// A failure before `AMD_RC2_Init` is not remembered: the next use tries again.
void load(AmdRc2Library& library) {
    const std::wstring path = libraryPath();
    if (path.empty()) return;
    const auto publisher = platform::current().libraries().publisher(path);
    if (!publisher.ok() || publisher.value != kPublisher) return;
    AmdRc2Library found;
    if (!findFunctions(path, found)) return;
    const auto status = static_cast<std::uint32_t>(found.Init());
    found.Rc2Tried = true;
    found.Rc2Loaded = status == kLoaded;
    if (!found.Rc2Loaded) DebugPrint(kStatusNames[std::min<std::size_t>(status, kStatusNames.size() - 1)]);
    library = found;
}

/// The library, if it is there and works.
AmdRc2Library* usable() {
    auto& library = processWide<AmdRc2Library>();
    if (!library.Rc2Tried) load(library);
    return library.Rc2Loaded ? &library : nullptr;
}

template <std::size_t Room>
void putText(Image& image, std::size_t at, const char (&text)[Room], std::size_t length) {
    const auto letters = std::span(text).first(std::min(length, Room));
    std::copy(letters.begin(), std::ranges::find(letters, '\0'),
              image.begin() + static_cast<std::ptrdiff_t>(at));
}

void putTexts(Image& image, const platform::rc2::IdentifyBlock& drive, const ImagePlaces& places) {
    putText(image, places.serialNumber, drive.serialNumber, kSerialLength);
    putText(image, places.firmware, drive.firmware, kFirmwareLength);
    putText(image, places.model, drive.model, kModelLength);
    putText(image, places.description, drive.description, kDescriptionLength);
}

/// As an ATA drive has its texts.
void swapPairs(Image& image, std::size_t at, std::size_t length) {
    for (std::size_t i = at; i < at + length; i += 2)
        std::swap(image[i], image[i + 1]);
}

Image ataImage(const platform::rc2::IdentifyBlock& drive) {
    Image image{};
    putTexts(image, drive, kAtaPlaces);
    if (drive.ssd) image[kSsdAt] = 1;
    swapPairs(image, kAtaPlaces.serialNumber, kSerialLength);
    swapPairs(image, kAtaPlaces.firmware, kFirmwareLength);
    swapPairs(image, kAtaPlaces.model, kModelLength);
    return image;
}

Image nvmeImage(const platform::rc2::IdentifyBlock& drive) {
    Image image{};
    putTexts(image, drive, kNvmePlaces);
    return image;
}

void traceDrive(std::int32_t index, const wchar_t* kind, const platform::rc2::IdentifyBlock& drive) {
    if (!debugWanted()) return;
    const auto model = std::span(drive.model).first(kModelLength);
    DebugFormat(L"DoIdentifyDeviceAMD_RC2:{} > {} / diskSize:{} / PhysicalID:{} / Model:{}", index, kind,
                std::uint32_t{drive.diskSize}, static_cast<std::int32_t>(drive.physicalId),
                std::wstring(model.begin(), std::ranges::find(model, '\0')));
}

bool addDrive(CAtaSmart& engine, const AmdRc2Library& library, std::int32_t index) {
    platform::rc2::IdentifyBlock drive{};
    drive.size = sizeof drive;
    drive.version = 1;
    drive.index = static_cast<std::uint32_t>(index);
    if (library.GetIdentify(&drive) == 0) return false;
    DriveAddress address{.physicalDriveId = static_cast<std::int32_t>(drive.physicalId),
                         .scsiPort = 0,
                         .scsiTargetId = 0,
                         .scsiBus = index,
                         .target = 0,
                         .commandType = CMD_TYPE_AMD_RC2};
    traceDrive(index, drive.nvme ? L"NVMe" : L"ATA", drive);
    bool added = false;
    if (drive.nvme) {
        Image image = nvmeImage(drive);
        const std::uint32_t diskSize = drive.diskSize;
        added = engine.AddDiskNVMe(address, image, &diskSize);
    } else {
        Image image = ataImage(drive);
        address.siliconImageType = -1;
        added = engine.AddDisk(address, std::span(image).first<kIdentifyBytes>());
    }
    DebugFormat(L"DoIdentifyDeviceAMD_RC2:{} > AddDisk:end", index);
    return added;
}

} // namespace

bool CAtaSmart::AddDiskAMD_RC2() {
    auto& library = processWide<AmdRc2Library>();
    if (!library.Rc2Tried)
        load(library);
    else if (library.Rc2Loaded)
        library.Reload();
    if (!library.Rc2Loaded) return false;
    DebugPrint(L"DoIdentifyDeviceAMD_RC2:begin");
    const std::int32_t count = library.GetDrives();
    int added = 0;
    for (std::int32_t index = 0; index < std::min(count, kMostDrives); ++index)
        if (addDrive(*this, library, index)) ++added;
    DebugFormat(L"DoIdentifyDeviceAMD_RC2:count={}, Drives={}", count, added);
    return added > 0;
}

bool CAtaSmart::GetSmartAttributeAmdRc2(std::int32_t index, AtaSmartInfo& asi) {
    const AmdRc2Library* library = usable();
    std::uint8_t data[kSmartBytes] = {};
    std::uint8_t thresholds[kSmartBytes] = {};
    if (!library || library->GetSmartData(static_cast<std::uint32_t>(index), data, sizeof data, thresholds,
                                          sizeof thresholds) == 0)
        return false;
    std::ranges::copy(data, asi.SmartReadData);
    std::ranges::copy(thresholds, asi.SmartReadThreshold);
    return asi.IsNVMe || FillSmartData(asi);
}

bool CAtaSmart::GetSmartThresholdAmdRc2(std::int32_t index, AtaSmartInfo& asi) {
    const AmdRc2Library* library = usable();
    std::uint8_t thresholds[kSmartBytes] = {}; // for both blocks: the second one is written last
    if (!library || library->GetSmartData(static_cast<std::uint32_t>(index), thresholds, sizeof thresholds,
                                          thresholds, sizeof thresholds) == 0)
        return false;
    std::ranges::copy(thresholds, asi.SmartReadThreshold);
    return FillSmartThreshold(asi);
}

} // namespace orv
