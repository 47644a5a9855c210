#pragma once

#include "platform/ManagementData.h"

#include <functional>
#include <map>
#include <optional>
#include <vector>

namespace orv::platform {

/// One row as it is handed out where the management data is made from other facts: a column without an entry
/// is a missing one.
using ManagementColumns = std::map<std::wstring, ManagementValue, std::less<>>;

ManagementValue bstr(std::wstring text);
ManagementValue i4(std::int32_t number);
ManagementValue byteArray(std::vector<std::uint8_t> bytes);
/// A column that the row has, without a value.
ManagementValue null();

/// What a query asks for: all rows of a class, or those that belong to one object of it.
struct ManagementQuery {
    std::wstring className;
    std::vector<std::wstring> columns = {}; ///< none: all of them
    bool associators = false; ///< "ASSOCIATORS OF {className.key='id'} WHERE filter = filterClass"
    std::wstring key = {};
    std::wstring id = {};          ///< as it was written, backslashes doubled or not
    std::wstring filter = {};      ///< "AssocClass" or "ResultClass", empty without a condition
    std::wstring filterClass = {}; ///< as the query has it
};

/// Reads "SELECT columns FROM class" or "ASSOCIATORS OF ..."; words count whatever their case. Empty for
/// anything else, a selection with a condition included.
std::optional<ManagementQuery> readManagementQuery(std::wstring_view wql);

/// Equal whatever the case of their letters, as names of classes, columns and namespaces are.
bool sameName(std::wstring_view one, std::wstring_view other);
/// Equal names where a doubled backslash counts as one, as ids in queries are.
bool sameId(std::wstring_view one, std::wstring_view other);
/// A name such as "ROOT\CIMV2" with or without this machine's name before it.
bool isNamespace(std::wstring_view space, std::wstring_view name);

/// The rows with no other columns than the query names.
std::vector<ManagementColumns> selected(const ManagementQuery& query, std::vector<ManagementColumns> rows);

/// The rows of a finished answer, front to back.
std::unique_ptr<ManagementEnumerator> enumerate(std::vector<ManagementColumns> rows);

} // namespace orv::platform
