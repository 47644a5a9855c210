#pragma once

#include "platform/ManagementData.h"

#include <functional>
#include <map>
#include <vector>

namespace orv::platform {

/// One row as it is handed out where the management data is made from other facts: a column without an entry
/// is a missing one.
using ManagementColumns = std::map<std::wstring, ManagementValue, std::less<>>;

ManagementValue bstr(std::wstring text);
ManagementValue i4(std::int32_t number);
/// A column that the row has, without a value.
ManagementValue null();

/// The class that a query reads all of: "Name" of "SELECT ... FROM Name"; empty for anything else, a query
/// with a condition included.
std::wstring classOfQuery(std::wstring_view wql);

/// The rows of a finished answer, front to back.
std::unique_ptr<ManagementEnumerator> enumerate(std::vector<ManagementColumns> rows);

} // namespace orv::platform
