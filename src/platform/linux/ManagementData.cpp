#include "platform/linux/ManagementData.h"

#include "platform/linux/drives/DriveManagement.h"
#include "platform/servers/Smbios.h"

namespace orv::platform {

namespace {

std::span<const std::uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class LinuxServices : public ManagementServices {
  public:
    LinuxServices(const RootedFiles& files, DiskInventory& disks) : files_(files), disks_(disks) {}
    ErrorCode setProxyBlanket() override { return kSuccess; }

    Result<std::unique_ptr<ManagementEnumerator>> execQuery(std::wstring_view wql) override {
        using Answer = Result<std::unique_ptr<ManagementEnumerator>>;
        const auto query = readManagementQuery(wql);
        if (!query) return Answer::failed(kManagementClass);
        if (auto rows = answerDriveQuery(disks_, *query, latest_)) {
            // Without a descriptor nothing is seen, which is no answer.
            if (rows->empty() && !files_.canOpen()) return Answer::failed(kComWin32 | kTooManyOpenFiles);
            return {enumerate(std::move(*rows))};
        }
        if (query->associators || !sameName(query->className, L"Win32_PhysicalMemory"))
            return Answer::failed(kManagementClass);
        const auto table = files_.read("/sys/firmware/dmi/tables/DMI");
        if (!table.ok()) return Answer::failed(kComWin32 | table.error);
        return {enumerate(selected(*query, physicalMemoryRows(bytesOf(table.value))))};
    }

  private:
    const RootedFiles& files_;
    DiskInventory& disks_;
    std::optional<Drive> latest_; // that a query was answered with
};

class LinuxLocator : public ManagementLocator {
  public:
    LinuxLocator(const RootedFiles& files, DiskInventory& disks) : files_(files), disks_(disks) {}

    Result<std::unique_ptr<ManagementServices>> connectServer(std::wstring_view space,
                                                              std::uint32_t) override {
        using Answer = Result<std::unique_ptr<ManagementServices>>;
        if (!isNamespace(space, L"ROOT\\CIMV2")) return Answer::failed(kManagementNamespace);
        return {std::make_unique<LinuxServices>(files_, disks_)};
    }

  private:
    const RootedFiles& files_;
    DiskInventory& disks_;
};

} // namespace

Result<std::unique_ptr<ManagementLocator>> LinuxManagementData::createLocator() {
    return {std::make_unique<LinuxLocator>(files_, disks_)};
}

} // namespace orv::platform
