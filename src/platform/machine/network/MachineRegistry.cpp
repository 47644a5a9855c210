#include "platform/machine/network/MachineRegistry.h"

#include "platform/text.h"

#include <fmt/format.h>

namespace orv::platform {

namespace {

class RecordedKey : public RegistryKey {
  public:
    RecordedKey(Requests& requests, std::unique_ptr<RegistryKey> key)
        : requests_(requests), key_(std::move(key)) {}

    Result<std::wstring> subkey(std::uint32_t index, std::uint32_t room) override {
        if (const ErrorCode error = requests_.enter("registrySubkey", [&] { return std::to_string(index); }))
            return Result<std::wstring>::failed(error);
        return key_->subkey(index, room);
    }
    Result<RegistryValueInfo> valueInfo(std::wstring_view name) override {
        if (const ErrorCode error = requests_.enter("registryValueInfo", [&] { return wideToUtf8(name); }))
            return Result<RegistryValueInfo>::failed(error);
        return key_->valueInfo(name);
    }
    ErrorCode value(std::wstring_view name, std::span<std::byte> data) override {
        if (const ErrorCode error = requests_.enter("registryValue", [&] { return wideToUtf8(name); }))
            return error;
        return key_->value(name, data);
    }

  private:
    Requests& requests_;
    std::unique_ptr<RegistryKey> key_;
};

class RecordedToken : public ProcessToken {
  public:
    explicit RecordedToken(Requests& requests) : requests_(requests) {}
    ErrorCode enable(std::span<const PrivilegeId> privileges) override {
        return requests_.enter("enablePrivileges", [&] { return std::to_string(privileges.size()); });
    }

  private:
    Requests& requests_;
};

} // namespace

Result<std::unique_ptr<RegistryKey>> MachineRegistry::open(std::wstring_view path, std::uint32_t access) {
    using Answer = Result<std::unique_ptr<RegistryKey>>;
    const auto detail = [&] { return fmt::format("{} {:#x}", wideToUtf8(path), access); };
    if (const ErrorCode error = requests_.enter("openRegistryKey", detail)) return Answer::failed(error);
    if (!cards_) return Answer::failed(kFileNotFound);
    auto key = openCardsKey(*cards_, path);
    if (!key.ok()) return key;
    return {std::make_unique<RecordedKey>(requests_, std::move(key.value))};
}

Result<std::unique_ptr<ProcessToken>> MachinePrivileges::openProcessToken() {
    if (const ErrorCode error = requests_.enter("openProcessToken"))
        return Result<std::unique_ptr<ProcessToken>>::failed(error);
    return {std::make_unique<RecordedToken>(requests_)};
}

Result<PrivilegeId> MachinePrivileges::lookup(std::wstring_view name) {
    if (const ErrorCode error = requests_.enter("lookupPrivilege", [&] { return wideToUtf8(name); }))
        return Result<PrivilegeId>::failed(error);
    return {1};
}

} // namespace orv::platform
