#include "platform/servers/ManagementRows.h"

#include <algorithm>
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

bool isSpace(wchar_t letter) {
    return std::iswspace(static_cast<std::wint_t>(letter)) != 0;
}

/// Takes a query apart: words, marks, and texts in quotes. What is missing makes the query unreadable.
class QueryText {
  public:
    explicit QueryText(std::wstring_view text) : rest_(text) {}

    /// Letters, digits, '_' and '*'; empty when something else comes next.
    std::wstring word() {
        skipSpace();
        std::size_t length = 0;
        while (length < rest_.size() && (std::iswalnum(static_cast<std::wint_t>(rest_[length])) ||
                                         rest_[length] == L'_' || rest_[length] == L'*'))
            ++length;
        return take(length);
    }
    bool word(std::wstring_view wanted) { return sameName(word(), wanted); }
    bool mark(wchar_t wanted) {
        skipSpace();
        if (rest_.empty() || rest_.front() != wanted) return false;
        rest_.remove_prefix(1);
        return true;
    }
    std::optional<std::wstring> quoted() {
        skipSpace();
        if (rest_.empty() || (rest_.front() != L'\'' && rest_.front() != L'"')) return std::nullopt;
        const std::size_t end = rest_.find(rest_.front(), 1);
        if (end == std::wstring_view::npos) return std::nullopt;
        std::wstring text = take(end + 1);
        return text.substr(1, text.size() - 2);
    }
    bool atEnd() {
        skipSpace();
        return rest_.empty();
    }

  private:
    void skipSpace() {
        while (!rest_.empty() && isSpace(rest_.front()))
            rest_.remove_prefix(1);
    }
    std::wstring take(std::size_t length) {
        std::wstring taken(rest_.substr(0, length));
        rest_.remove_prefix(length);
        return taken;
    }

    std::wstring_view rest_;
};

std::optional<ManagementQuery> readSelection(QueryText text) {
    ManagementQuery query;
    do {
        query.columns.push_back(text.word());
        if (query.columns.back().empty()) return std::nullopt;
    } while (text.mark(L','));
    if (query.columns.front() == L"*") query.columns.clear();
    if (!text.word(L"FROM")) return std::nullopt;
    query.className = text.word();
    if (query.className.empty() || !text.atEnd()) return std::nullopt;
    return query;
}

std::optional<ManagementQuery> readAssociators(QueryText text) {
    ManagementQuery query;
    query.associators = true;
    if (!text.word(L"OF") || !text.mark(L'{')) return std::nullopt;
    query.className = text.word();
    if (query.className.empty() || !text.mark(L'.')) return std::nullopt;
    query.key = text.word();
    if (query.key.empty() || !text.mark(L'=')) return std::nullopt;
    const auto id = text.quoted();
    if (!id || !text.mark(L'}')) return std::nullopt;
    query.id = *id;
    if (text.atEnd()) return query;
    if (!text.word(L"WHERE")) return std::nullopt;
    query.filter = text.word();
    const bool known = sameName(query.filter, L"AssocClass") || sameName(query.filter, L"ResultClass");
    if (!known || !text.mark(L'=')) return std::nullopt;
    query.filterClass = text.word();
    if (query.filterClass.empty() || !text.atEnd()) return std::nullopt;
    return query;
}

std::wstring withSingleBackslashes(std::wstring_view id) {
    std::wstring text;
    for (const wchar_t letter : id)
        if (letter != L'\\' || !text.ends_with(L'\\')) text.push_back(letter);
    return text;
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

ManagementValue byteArray(std::vector<std::uint8_t> bytes) {
    return {ManagementType::byteArray, {}, 0, std::move(bytes)};
}

std::optional<ManagementQuery> readManagementQuery(std::wstring_view wql) {
    QueryText text(wql);
    const std::wstring verb = text.word();
    if (sameName(verb, L"SELECT")) return readSelection(text);
    if (sameName(verb, L"ASSOCIATORS")) return readAssociators(text);
    return std::nullopt;
}

bool sameName(std::wstring_view one, std::wstring_view other) {
    return std::ranges::equal(one, other, [](wchar_t a, wchar_t b) {
        return a == b ||
               std::towlower(static_cast<std::wint_t>(a)) == std::towlower(static_cast<std::wint_t>(b));
    });
}

bool sameId(std::wstring_view one, std::wstring_view other) {
    return sameName(withSingleBackslashes(one), withSingleBackslashes(other));
}

bool isNamespace(std::wstring_view space, std::wstring_view name) {
    if (space.starts_with(LR"(\\.\)")) space.remove_prefix(4);
    return sameName(space, name);
}

std::vector<ManagementColumns> selected(const ManagementQuery& query, std::vector<ManagementColumns> rows) {
    if (query.columns.empty()) return rows;
    const auto isNamed = [&](const std::wstring& column) {
        return std::ranges::any_of(query.columns, [&](const auto& name) { return sameName(name, column); });
    };
    for (ManagementColumns& row : rows)
        std::erase_if(row, [&](const auto& column) { return !isNamed(column.first); });
    return rows;
}

std::unique_ptr<ManagementEnumerator> enumerate(std::vector<ManagementColumns> rows) {
    return std::make_unique<StoredRows>(std::move(rows));
}

} // namespace orv::platform
