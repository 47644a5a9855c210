#include "disk_engine/ManagementSession.h"

#include "disk_engine/paths/DeviceAccess.h"
#include "log/log.h"
#include "platform/Platform.h"

namespace orv {

ComOnThread::ComOnThread() : data_(platform::current().managementData()) {
    const platform::ErrorCode started = data_.initialize();
    started_ = started == platform::kSuccess || started == platform::kComFalse;
}

ComOnThread::~ComOnThread() {
    if (started_) data_.uninitialize();
}

ManagementSession connectManagement(std::wstring_view space, std::uint32_t flags) {
    ManagementSession session;
    auto locator = platform::current().managementData().createLocator();
    if (!locator.ok()) return session;
    session.locator = std::move(locator.value);
    auto services = session.locator->connectServer(space, flags);
    if (!services.ok()) return session;
    if (services.value->setProxyBlanket() == platform::kSuccess) session.services = std::move(services.value);
    return session;
}

std::wstring columnText(platform::ManagementRow& row, std::wstring_view column) {
    auto value = row.get(column);
    return value.ok() && value.value.present() ? std::move(value.value.text) : std::wstring();
}

std::int32_t columnNumber(platform::ManagementRow& row, std::wstring_view column) {
    const auto value = row.get(column);
    return value.ok() && value.value.type == platform::ManagementType::i4 ? value.value.number : -1;
}

bool eachRow(platform::ManagementServices& services, const std::wstring& query, std::size_t limit,
             const std::function<void(platform::ManagementRow&)>& onRow) {
    const auto rows = services.execQuery(query);
    if (!rows.ok()) {
        endWithoutDescriptors(rows.error);
        log::warn(diskLogger, L"{} failed: {:#x}", query, rows.error);
        return false;
    }
    for (std::size_t i = 0; i < limit; ++i) {
        const auto row = rows.value->next(kRowMilliseconds);
        if (!row) break;
        onRow(*row);
    }
    return true;
}

} // namespace orv
