#include "platform/machine/MachineManagement.h"

#include "platform/machine/Node.h"
#include "platform/servers/Smbios.h"
#include "platform/text.h"

#include <limits>

namespace orv::platform {

namespace {

/// A text is a bstr and a whole number an i4; an object gives any other type tag.
ManagementValue columnValue(const Node& row, const std::string& column) {
    constexpr auto smallest = std::numeric_limits<std::int32_t>::min();
    constexpr auto largest = std::numeric_limits<std::int32_t>::max();
    const Node value = row.at(column);
    if (value.isText()) return bstr(utf8ToWide(value.asText()));
    if (!value.isObject()) return i4(static_cast<std::int32_t>(row.signedNumber(column, smallest, largest)));
    ManagementValue typed;
    typed.type = static_cast<ManagementType>(value.number("type", std::numeric_limits<std::uint16_t>::max()));
    typed.text = utf8ToWide(value.text("text", ""));
    typed.number = static_cast<std::int32_t>(value.number("number", largest, 0));
    value.done();
    return typed;
}

MachineManagementData::Tables load(const Node& management) {
    constexpr const wchar_t* memoryClass = L"Win32_PhysicalMemory";
    MachineManagementData::Tables tables;
    if (management.has("smbios")) {
        const std::vector<std::uint8_t> dump = management.fileBytes("smbios");
        tables[memoryClass] = physicalMemoryRows(smbiosTableOfDump(dump));
    }
    for (const std::string& name : management.keys()) {
        if (name == "smbios") continue;
        std::vector<ManagementColumns>& rows = tables[utf8ToWide(name)];
        if (!rows.empty()) management.fail("\"smbios\" and \"" + name + "\" describe the same rows");
        for (const Node& entry : management.list(name)) {
            ManagementColumns columns;
            for (const std::string& column : entry.keys())
                columns[utf8ToWide(column)] = columnValue(entry, column);
            rows.push_back(std::move(columns));
        }
    }
    return tables;
}

class RecordedRow : public ManagementRow {
  public:
    RecordedRow(Requests& requests, std::unique_ptr<ManagementRow> row)
        : requests_(requests), row_(std::move(row)) {}

    Result<ManagementValue> get(std::wstring_view column) override {
        if (const ErrorCode error = requests_.enter("getColumn", [&] { return wideToUtf8(column); }))
            return Result<ManagementValue>::failed(error);
        return row_->get(column);
    }

  private:
    Requests& requests_;
    std::unique_ptr<ManagementRow> row_;
};

class RecordedRows : public ManagementEnumerator {
  public:
    RecordedRows(Requests& requests, std::vector<ManagementColumns> rows)
        : requests_(requests), rows_(enumerate(std::move(rows))) {}

    std::unique_ptr<ManagementRow> next(std::uint32_t milliseconds) override {
        if (requests_.enter("nextRow")) return nullptr;
        auto row = rows_->next(milliseconds);
        if (!row) return nullptr;
        return std::make_unique<RecordedRow>(requests_, std::move(row));
    }

  private:
    Requests& requests_;
    std::unique_ptr<ManagementEnumerator> rows_;
};

class MachineServices : public ManagementServices {
  public:
    MachineServices(Requests& requests, const MachineManagementData::Tables& tables)
        : requests_(requests), tables_(tables) {}

    ErrorCode setProxyBlanket() override { return requests_.enter("setProxyBlanket"); }

    Result<std::unique_ptr<ManagementEnumerator>> execQuery(std::wstring_view wql) override {
        using Answer = Result<std::unique_ptr<ManagementEnumerator>>;
        if (const ErrorCode error = requests_.enter("execQuery", [&] { return wideToUtf8(wql); }))
            return Answer::failed(error);
        const auto table = tables_.find(classOfQuery(wql));
        if (table == tables_.end()) return Answer::failed(kManagementClass);
        return {std::make_unique<RecordedRows>(requests_, table->second)};
    }

  private:
    Requests& requests_;
    const MachineManagementData::Tables& tables_;
};

class MachineLocator : public ManagementLocator {
  public:
    MachineLocator(Requests& requests, const MachineManagementData::Tables& tables)
        : requests_(requests), tables_(tables) {}

    Result<std::unique_ptr<ManagementServices>> connectServer(std::wstring_view space,
                                                              std::uint32_t) override {
        using Answer = Result<std::unique_ptr<ManagementServices>>;
        if (const ErrorCode error = requests_.enter("connectServer", [&] { return wideToUtf8(space); }))
            return Answer::failed(error);
        if (space != L"ROOT\\CIMV2") return Answer::failed(kManagementNamespace);
        return {std::make_unique<MachineServices>(requests_, tables_)};
    }

  private:
    Requests& requests_;
    const MachineManagementData::Tables& tables_;
};

} // namespace

MachineManagementData::MachineManagementData(const Node& root, Requests& requests) : requests_(requests) {
    if (const auto management = root.find("management")) tables_ = load(*management);
}

Result<std::unique_ptr<ManagementLocator>> MachineManagementData::createLocator() {
    using Answer = Result<std::unique_ptr<ManagementLocator>>;
    if (const ErrorCode error = requests_.enter("createLocator")) return Answer::failed(error);
    if (!tables_) return Answer::failed(kComNotRegistered);
    return {std::make_unique<MachineLocator>(requests_, *tables_)};
}

} // namespace orv::platform
