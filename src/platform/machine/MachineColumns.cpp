#include "platform/machine/MachineColumns.h"

#include "platform/machine/Node.h"
#include "platform/text.h"

#include <limits>

namespace orv::platform {

namespace {

ManagementValue columnValue(const Node& row, const std::string& column) {
    constexpr auto smallest = std::numeric_limits<std::int32_t>::min();
    constexpr auto largest = std::numeric_limits<std::int32_t>::max();
    const Node value = row.at(column);
    if (value.isNull()) return null();
    if (value.isText()) return bstr(utf8ToWide(value.asText()));
    if (!value.isObject()) return i4(static_cast<std::int32_t>(row.signedNumber(column, smallest, largest)));
    ManagementValue typed;
    const bool hasBytes = value.has("bytes");
    if (hasBytes) typed = byteArray(value.bytes("bytes"));
    if (!hasBytes || value.has("type"))
        typed.type =
            static_cast<ManagementType>(value.number("type", std::numeric_limits<std::uint16_t>::max()));
    typed.text = utf8ToWide(value.text("text", ""));
    typed.number = static_cast<std::int32_t>(value.number("number", largest, 0));
    value.done();
    return typed;
}

} // namespace

ManagementColumns readColumns(const Node& row) {
    ManagementColumns columns;
    for (const std::string& column : row.keys())
        columns[utf8ToWide(column)] = columnValue(row, column);
    return columns;
}

} // namespace orv::platform
