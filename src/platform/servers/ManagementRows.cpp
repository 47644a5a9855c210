#include "platform/servers/ManagementRows.h"

#include <cwctype>

namespace orv::platform {

namespace {

class StoredRow : public ManagementRow {
  public:
    explicit StoredRow(ManagementColumns columns) : columns_(std::move(columns)) {}
    Result<ManagementValue> get(std::wstring_view column) override {
        const auto found = columns_.find(column);
        if (found == columns_.end()) return Result<ManagementValue>::failed(kManagementNotFound);
        return {found->second};
    }

  private:
    ManagementColumns columns_;
};

class StoredRows : public ManagementEnumerator {
  public:
    explicit StoredRows(std::vector<ManagementColumns> rows) : rows_(std::move(rows)) {}
    std::unique_ptr<ManagementRow> next(std::uint32_t) override {
        if (at_ == rows_.size()) return nullptr;
        return std::make_unique<StoredRow>(std::move(rows_[at_++]));
    }

  private:
    std::vector<ManagementColumns> rows_;
    std::size_t at_ = 0;
};

std::wstring nextWord(std::wstring_view& text) {
    std::wstring word;
    while (!text.empty() && std::iswspace(static_cast<std::wint_t>(text.front())))
        text.remove_prefix(1);
    while (!text.empty() && !std::iswspace(static_cast<std::wint_t>(text.front()))) {
        word.push_back(text.front());
        text.remove_prefix(1);
    }
    return word;
}

} // namespace

ManagementValue bstr(std::wstring text) {
    return {ManagementType::bstr, std::move(text), 0};
}

ManagementValue i4(std::int32_t number) {
    return {ManagementType::i4, {}, number};
}

ManagementValue null() {
    return {ManagementType::null, {}, 0};
}

std::wstring classOfQuery(std::wstring_view wql) {
    if (nextWord(wql) != L"SELECT" || nextWord(wql).empty() || nextWord(wql) != L"FROM") return {};
    std::wstring name = nextWord(wql);
    return nextWord(wql).empty() ? name : std::wstring();
}

std::unique_ptr<ManagementEnumerator> enumerate(std::vector<ManagementColumns> rows) {
    return std::make_unique<StoredRows>(std::move(rows));
}

} // namespace orv::platform
