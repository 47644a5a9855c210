#include "wmi/wmi.h"

#include "frame/HWException.h"
#include "log/log.h"
#include "platform/Platform.h"

#include <new>

namespace orv {

using platform::ManagementData;
using platform::ManagementValue;

namespace {

/// Gives back the start of COM on this thread, also when the session cannot be made.
struct ComStart {
    explicit ComStart(ManagementData& management) : data(management) {}
    ComStart(const ComStart&) = delete;
    ComStart& operator=(const ComStart&) = delete;
    ~ComStart() {
        if (coUnInitFlag) data.uninitialize();
    }

    ManagementData& data;
    int coUnInitFlag = 0; ///< 1: this start of COM has to be given back
};

} // namespace

class wmiImpl {
  public:
    wmiImpl();
    ~wmiImpl();
    bool query(std::wstring_view wql);
    platform::ErrorCode error() const { return error_; }
    std::vector<ManagementValue> get(std::wstring_view key);

  private:
    // In this order they are released from the bottom up, COM last.
    ComStart com_;
    std::unique_ptr<platform::ManagementLocator> pLoc_;
    std::unique_ptr<platform::ManagementServices> pSvc_;
    std::unique_ptr<platform::ManagementEnumerator> pEnumerator_;
    std::vector<std::unique_ptr<platform::ManagementRow>> rows_;
    platform::ErrorCode error_ = platform::kSuccess;
};

wmiImpl::wmiImpl() : com_(platform::current().managementData()) {
    log::entry(wmiLogger, L"wmi::wmiImpl::wmiImpl");
    log::debug(wmiLogger, L"wmi init");

    const auto started = com_.data.initialize();
    com_.coUnInitFlag = started == platform::kSuccess ? 1 : 0;
    if (!com_.coUnInitFlag) log::warn(wmiLogger, L"CoInitializeEx failed: {}", getSystemErrorText(started));

    const auto security = com_.data.initializeSecurity();
    if (security == platform::kComTooLate)
        log::warn(wmiLogger, L"CoInitializeSecurity RPC_E_TOO_LATE, ignore");
    else if (security != platform::kSuccess)
        throwHW(L"CoInitializeSecurity failed, {}", getSystemErrorText(security));

    auto locator = com_.data.createLocator();
    if (!locator.ok()) throwHW(L"CoCreateInstance failed: {}", getSystemErrorText(locator.error));
    pLoc_ = std::move(locator.value);

    auto services = pLoc_->connectServer(L"ROOT\\CIMV2");
    if (!services.ok()) throwHW(L"ConnectServer failed: {}", getSystemErrorText(services.error));
    pSvc_ = std::move(services.value);
    log::debug(wmiLogger, L"Connected to ROOT\\CIMV2 WMI namespace");

    if (const auto error = pSvc_->setProxyBlanket())
        throwHW(L"CoSetProxyBlanket failed: {}", getSystemErrorText(error));
    log::debug(wmiLogger, L"wmi init over");
}

bool wmiImpl::query(std::wstring_view wql) {
    log::entry(wmiLogger, L"wmi::wmiImpl::query");
    log::info(wmiLogger, L"query: {}", wql);
    if (!pSvc_) {
        log::error(wmiLogger, L"pSvc is nullptr");
        return false;
    }
    pEnumerator_.reset();
    auto answer = pSvc_->execQuery(wql);
    error_ = answer.error;
    if (!answer.ok()) {
        log::error(wmiLogger, L"ExecQuery failed: {}", getSystemErrorText(answer.error));
        return false;
    }
    pEnumerator_ = std::move(answer.value);
    while (auto row = pEnumerator_->next())
        rows_.push_back(std::move(row));
    log::debug(wmiLogger, L"query success, size: {}", rows_.size());
    return true;
}

std::vector<ManagementValue> wmiImpl::get(std::wstring_view key) {
    log::entry(wmiLogger, L"wmi::wmiImpl::get");
    log::info(wmiLogger, L"get key: {}", key);
    if (!pEnumerator_) throwHW(L"pEnumerator is nullptr");
    std::vector<ManagementValue> values;
    values.reserve(rows_.size());
    for (const auto& row : rows_) {
        auto column = row->get(key);
        if (!column.ok()) {
            log::error(wmiLogger, L"Get failed: {}", getSystemErrorText(column.error));
            values.emplace_back();
            continue;
        }
        values.push_back(std::move(column.value));
    }
    log::info(wmiLogger, L"get success, size: {}", values.size());
    return values;
}

wmiImpl::~wmiImpl() {
    log::entry(wmiLogger, L"wmi::wmiImpl::~wmiImpl");
    log::debug(wmiLogger, L"wmi destroy, pEnumerator: {}, pSvc: {}, pLoc: {}, coUnInitFlag: {}",
               pEnumerator_ != nullptr, pSvc_ != nullptr, pLoc_ != nullptr, com_.coUnInitFlag);
}

wmi::wmi() : pImpl_(new(std::nothrow) wmiImpl) {}
wmi::wmi(wmi&&) noexcept = default;
wmi::~wmi() = default;

wmiImpl& wmi::impl() const {
    if (!pImpl_) throwHW(L"pImpl is nullptr");
    return *pImpl_;
}

bool wmi::query(std::wstring_view wql) {
    return impl().query(wql);
}

platform::ErrorCode wmi::error() const {
    return impl().error();
}

std::vector<ManagementValue> wmi::get(std::wstring_view key) {
    return impl().get(key);
}

} // namespace orv
