#include "platform/machine/MachineManagement.h"

#include "platform/machine/MachineColumns.h"
#include "platform/machine/MachineSystem.h"
#include "platform/machine/Node.h"
#include "platform/machine/drives/MachineDriveRows.h"
#include "platform/servers/Smbios.h"
#include "platform/text.h"

namespace orv::platform {

namespace {

constexpr ErrorCode kRpcServerUnavailable = 1722; // RPC_S_SERVER_UNAVAILABLE

std::vector<ManagementColumns> readRows(const Node& place, std::string_view key) {
    std::vector<ManagementColumns> rows;
    for (const Node& entry : place.list(key))
        rows.push_back(readColumns(entry));
    return rows;
}

ManagementTables load(const Node& management) {
    ManagementTables tables;
    if (management.has("smbios")) {
        const std::vector<std::uint8_t> dump = management.fileBytes("smbios");
        tables.classes.push_back({L"Win32_PhysicalMemory", physicalMemoryRows(smbiosTableOfDump(dump))});
    }
    for (const Node& entry : management.list("associators")) {
        tables.associators.push_back({utf8ToWide(entry.text("of")), utf8ToWide(entry.text("id")),
                                      utf8ToWide(entry.text("filter", "")), readRows(entry, "rows")});
        entry.done();
    }
    for (const std::string& name : management.keys()) {
        if (name == "smbios" || name == "associators") continue;
        const std::wstring className = utf8ToWide(name);
        for (const ManagementTables::Class& other : tables.classes)
            if (sameName(other.name, className))
                management.fail("the rows of \"" + name + "\" are described twice");
        tables.classes.push_back({className, readRows(management, name)});
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
    MachineServices(Requests& requests, const ManagementTables& tables, bool driverClasses)
        : requests_(requests), tables_(tables), driverClasses_(driverClasses) {}

    ErrorCode setProxyBlanket() override { return requests_.enter("setProxyBlanket"); }

    Result<std::unique_ptr<ManagementEnumerator>> execQuery(std::wstring_view wql) override {
        using Answer = Result<std::unique_ptr<ManagementEnumerator>>;
        if (const ErrorCode error = requests_.enter("execQuery", [&] { return wideToUtf8(wql); }))
            return Answer::failed(error);
        const auto query = readManagementQuery(wql);
        auto rows = query ? tables_.answer(*query, driverClasses_) : std::nullopt;
        if (!rows) return Answer::failed(kManagementClass);
        return {std::make_unique<RecordedRows>(requests_, std::move(*rows))};
    }

  private:
    Requests& requests_;
    const ManagementTables& tables_;
    bool driverClasses_;
};

class MachineLocator : public ManagementLocator {
  public:
    MachineLocator(Requests& requests, const ManagementTables& tables, const MachineSystemServices& services)
        : requests_(requests), tables_(tables), services_(services) {}

    Result<std::unique_ptr<ManagementServices>> connectServer(std::wstring_view space,
                                                              std::uint32_t flags) override {
        using Answer = Result<std::unique_ptr<ManagementServices>>;
        const auto detail = [&] {
            return wideToUtf8(space) + (flags & kConnectWaitsAtMost ? " for two minutes at most" : "");
        };
        if (const ErrorCode error = requests_.enter("connectServer", detail)) return Answer::failed(error);
        if (!services_.isRunning(kManagementService))
            return Answer::failed(kComWin32 | kRpcServerUnavailable);
        const bool drivers = isNamespace(space, LR"(ROOT\WMI)");
        if (!drivers && !isNamespace(space, LR"(ROOT\CIMV2)")) return Answer::failed(kManagementNamespace);
        return {std::make_unique<MachineServices>(requests_, tables_, drivers)};
    }

  private:
    Requests& requests_;
    const ManagementTables& tables_;
    const MachineSystemServices& services_;
};

/// "management": false says that there is no service whatever else the file describes.
bool isDenied(const Node& root) {
    if (!root.has("management")) return false;
    const Node management = root.at("management");
    if (management.isObject()) return false;
    if (root.flag("management", true)) management.fail("must be an object, or false");
    return true;
}

/// The classes of the namespace "ROOT\WMI".
bool isDriverClass(std::wstring_view name) {
    constexpr std::wstring_view prefix = L"MSStorageDriver_";
    return sameName(name.substr(0, prefix.size()), prefix);
}

} // namespace

const std::vector<ManagementColumns>* ManagementTables::described(const ManagementQuery& query) const {
    if (query.associators) {
        for (const Associators& entry : associators)
            if (sameName(entry.of, query.className) && sameId(entry.id, query.id) &&
                (entry.filter.empty() || sameName(entry.filter, query.filterClass)))
                return &entry.rows;
        return nullptr;
    }
    for (const Class& table : classes)
        if (sameName(table.name, query.className)) return &table.rows;
    return nullptr;
}

std::optional<std::vector<ManagementColumns>> ManagementTables::answer(const ManagementQuery& query,
                                                                       bool driverClasses) const {
    if (isDriverClass(query.className) != driverClasses) return std::nullopt;
    if (const auto* rows = described(query)) return selected(query, *rows);
    auto rows = answerDriveQuery(*drives, query);
    if (!rows && query.associators) rows.emplace();
    return rows;
}

MachineManagementData::MachineManagementData(const Node& root, Requests& requests,
                                             const MachineDrives& drives,
                                             const MachineSystemServices& services)
    : requests_(requests), services_(services) {
    if (isDenied(root)) return;
    if (const auto management = root.find("management")) tables_ = load(*management);
    if (!tables_ && drives.managed()) tables_.emplace();
    if (tables_) tables_->drives = &drives;
}

Result<std::unique_ptr<ManagementLocator>> MachineManagementData::createLocator() {
    using Answer = Result<std::unique_ptr<ManagementLocator>>;
    if (const ErrorCode error = requests_.enter("createLocator")) return Answer::failed(error);
    if (!tables_) return Answer::failed(kComNotRegistered);
    return {std::make_unique<MachineLocator>(requests_, *tables_, services_)};
}

} // namespace orv::platform
