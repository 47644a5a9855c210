#include "regedit/regedit.h"

#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"
#include "platform/Privileges.h"
#include "platform/Registry.h"
#include "state/ProcessState.h"

namespace orv {

namespace {

constexpr std::uint32_t kNameRoom = 512;         // characters
constexpr std::uint32_t kMostSubkeys = 1u << 16; // where a key never says that it has no more

struct ElevatedPrivileges {
    bool done = false;
};

void doOnesElevatePrivileges() {
    log::entry(regeditLogger, L"doOnesElevatePrivileges");
    auto& elevated = processWide<ElevatedPrivileges>();
    if (elevated.done) return;
    log::info(regeditLogger, L"Do Elevate Privileges");
    platform::Privileges& system = platform::current().privileges();
    const auto token = system.openProcessToken();
    if (!token.ok()) throwHW(L"OpenProcessToken failed, {}", getSystemErrorText(token.error));
    std::vector<platform::PrivilegeId> wanted;
    for (const auto* name : {L"SeDebugPrivilege", L"SeBackupPrivilege", L"SeRestorePrivilege"}) {
        const auto id = system.lookup(name);
        if (!id.ok()) throwHW(L"LookupPrivilegeValue failed, {}", getSystemErrorText(id.error));
        wanted.push_back(id.value);
    }
    const auto error = token.value->enable(wanted);
    if (error) throwHW(L"AdjustTokenPrivileges failed, {}", getSystemErrorText(error));
    elevated.done = true;
}

} // namespace

class regeditImpl {
  public:
    bool open(std::wstring_view path, std::uint32_t access) {
        log::entry(regeditLogger, L"regedit::regeditImpl::open");
        log::info(regeditLogger, L"open path: {}", path);
        doOnesElevatePrivileges();
        hKey_.reset();
        auto key = platform::current().registry().open(path, access);
        if (!key.ok()) {
            log::error(regeditLogger, L"RegOpenKeyEx failed: {}", getSystemErrorText(key.error));
            return false;
        }
        hKey_ = std::move(key.value);
        return true;
    }

    bool enumKey(std::vector<std::wstring>& names) {
        log::entry(regeditLogger, L"regedit::regeditImpl::enumKey");
        if (!isOpen()) return false;
        for (std::uint32_t index = 0; index < kMostSubkeys; ++index) {
            auto name = hKey_->subkey(index, kNameRoom);
            if (name.error == platform::kNoMoreItems) return true;
            if (!name.ok()) {
                log::error(regeditLogger, L"RegEnumKeyEx failed: {}", getSystemErrorText(name.error));
                return false;
            }
            names.push_back(std::move(name.value));
        }
        return true;
    }

    bool queryValue(std::wstring_view name, std::vector<std::byte>& data, std::uint32_t* type) {
        log::entry(regeditLogger, L"regedit::regeditImpl::queryValue");
        log::info(regeditLogger, L"queryValue name: {}", name);
        if (!isOpen()) return false;
        const auto info = hKey_->valueInfo(name);
        if (!info.ok()) return queryFailed(info.error);
        if (type) {
            *type = info.value.type;
            log::info(regeditLogger, L"{} type: {}", name, *type);
        }
        data.resize(info.value.size);
        if (const auto error = hKey_->value(name, data)) return queryFailed(error);
        return true;
    }

  private:
    bool isOpen() const {
        if (!hKey_) log::error(regeditLogger, L"hKey is nullptr");
        return hKey_ != nullptr;
    }
    static bool queryFailed(platform::ErrorCode error) {
        log::error(regeditLogger, L"RegQueryValueEx failed: {}", getSystemErrorText(error));
        return false;
    }

    std::unique_ptr<platform::RegistryKey> hKey_;
};

regedit::regedit() : impl_(std::make_unique<regeditImpl>()) {}
regedit::~regedit() = default;
regedit::regedit(regedit&&) noexcept = default;
regedit& regedit::operator=(regedit&&) noexcept = default;

regeditImpl& regedit::impl() const {
    if (!impl_) throwHW(L"impl is nullptr");
    return *impl_;
}

bool regedit::open(std::wstring_view path, std::uint32_t access) {
    return impl().open(path, access);
}

bool regedit::enumKey(std::vector<std::wstring>& names) {
    return impl().enumKey(names);
}

bool regedit::queryValue(std::wstring_view name, std::vector<std::byte>& data, std::uint32_t* type) {
    return impl().queryValue(name, data, type);
}

} // namespace orv
