#include "disk_engine/ManagementSession.h"

#include "platform/Platform.h"

namespace orv {

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

} // namespace orv
