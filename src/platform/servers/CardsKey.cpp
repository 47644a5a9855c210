#include "platform/servers/CardsKey.h"

#include <algorithm>

namespace orv::platform {

namespace {

constexpr std::wstring_view kCardsPath = L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\NetworkCards\\";

/// The key with its subkeys and no value, or one subkey with its value: whichever list is not empty.
class OpenCardsKey : public RegistryKey {
  public:
    OpenCardsKey(std::vector<std::wstring> subkeys, std::vector<CardKey> value)
        : subkeys_(std::move(subkeys)), value_(std::move(value)) {}

    Result<std::wstring> subkey(std::uint32_t index, std::uint32_t room) override {
        if (index >= subkeys_.size()) return Result<std::wstring>::failed(kNoMoreItems);
        if (subkeys_[index].size() >= room) return Result<std::wstring>::failed(kMoreData);
        return {subkeys_[index]};
    }
    Result<RegistryValueInfo> valueInfo(std::wstring_view name) override {
        if (!has(name)) return Result<RegistryValueInfo>::failed(kFileNotFound);
        const CardKey& card = value_.front();
        return {{card.type, static_cast<std::uint32_t>(card.description.size())}};
    }
    ErrorCode value(std::wstring_view name, std::span<std::byte> data) override {
        if (!has(name)) return kFileNotFound;
        const auto& bytes = value_.front().description;
        if (bytes.size() > data.size()) return kMoreData;
        std::ranges::copy(bytes, data.begin());
        return kSuccess;
    }

  private:
    bool has(std::wstring_view name) const { return !value_.empty() && name == L"Description"; }

    std::vector<std::wstring> subkeys_;
    std::vector<CardKey> value_; // one at most
};

} // namespace

Result<std::unique_ptr<RegistryKey>> openCardsKey(const std::vector<CardKey>& cards, std::wstring_view path) {
    using Answer = Result<std::unique_ptr<RegistryKey>>;
    if (!path.starts_with(kCardsPath)) return Answer::failed(kFileNotFound);
    path.remove_prefix(kCardsPath.size());
    if (path.empty()) {
        std::vector<std::wstring> names;
        for (const CardKey& card : cards)
            names.push_back(card.name);
        return {std::make_unique<OpenCardsKey>(std::move(names), std::vector<CardKey>{})};
    }
    if (path.ends_with(L'\\')) path.remove_suffix(1);
    const auto card = std::ranges::find(cards, path, &CardKey::name);
    if (card == cards.end()) return Answer::failed(kFileNotFound);
    return {std::make_unique<OpenCardsKey>(std::vector<std::wstring>{}, std::vector<CardKey>{*card})};
}

} // namespace orv::platform
