#pragma once

#include "platform/ManagementData.h"
#include "platform/text.h"

#include <string>
#include <string_view>
#include <vector>

namespace orv::test {

/// The rows of a query, a line each, with '|' between the columns' texts and numbers; why there are none.
inline std::string rowsOf(platform::ManagementData& data, std::wstring_view wql,
                          const std::vector<const wchar_t*>& columns,
                          std::wstring_view space = LR"(\\.\root\cimv2)") {
    const auto locator = data.createLocator();
    if (!locator.ok()) return "no service";
    const auto services = locator.value->connectServer(space);
    if (!services.ok()) return "no namespace";
    const auto rows = services.value->execQuery(wql);
    if (!rows.ok()) return "failed";
    std::string text;
    while (const auto row = rows.value->next()) {
        for (const wchar_t* column : columns) {
            const platform::ManagementValue value = row->get(column).value;
            text += column == columns.front() ? "" : "|";
            text += value.type == platform::ManagementType::i4 ? std::to_string(value.number)
                                                               : platform::wideToUtf8(value.text);
        }
        text += "\n";
    }
    return text;
}

} // namespace orv::test
