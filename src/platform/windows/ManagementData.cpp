#include "platform/windows/ManagementData.h"

#include <windows.h>

#include <objbase.h>
#include <oleauto.h>
#include <wbemidl.h>

namespace orv::platform {

namespace {

ErrorCode code(HRESULT result) {
    return static_cast<ErrorCode>(result);
}

template <class T>
Result<T> failed(HRESULT result) {
    return Result<T>::failed(code(result));
}

/// One reference to a COM object.
template <class Interface>
class Reference {
  public:
    explicit Reference(Interface* object) : object_(object) {}
    Reference(const Reference&) = delete;
    Reference& operator=(const Reference&) = delete;
    ~Reference() { object_->Release(); }
    Interface* operator->() const { return object_; }
    Interface* get() const { return object_; }

  private:
    Interface* object_;
};

/// A text that the called side frees or only reads.
class Bstr {
  public:
    explicit Bstr(std::wstring_view text)
        : text_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
    Bstr(const Bstr&) = delete;
    Bstr& operator=(const Bstr&) = delete;
    ~Bstr() { SysFreeString(text_); }
    BSTR get() const { return text_; }

  private:
    BSTR text_;
};

/// The elements of a one-dimensional array of bytes.
std::vector<std::uint8_t> bytesOf(SAFEARRAY* array) {
    std::vector<std::uint8_t> bytes;
    void* elements = nullptr;
    if (!array || SafeArrayGetDim(array) != 1 || SafeArrayGetElemsize(array) != 1 ||
        FAILED(SafeArrayAccessData(array, &elements)))
        return bytes;
    const auto* first = static_cast<const std::uint8_t*>(elements);
    bytes.assign(first, first + array->rgsabound[0].cElements);
    SafeArrayUnaccessData(array);
    return bytes;
}

class Row : public ManagementRow {
  public:
    explicit Row(IWbemClassObject* row) : row_(row) {}

    Result<ManagementValue> get(std::wstring_view column) override {
        VARIANT variant;
        VariantInit(&variant);
        const std::wstring name(column);
        const HRESULT result = row_->Get(name.c_str(), 0, &variant, nullptr, nullptr);
        if (FAILED(result)) return failed<ManagementValue>(result);
        ManagementValue value;
        value.type = static_cast<ManagementType>(variant.vt);
        if (variant.vt == VT_BSTR && variant.bstrVal)
            value.text.assign(variant.bstrVal, SysStringLen(variant.bstrVal));
        if (variant.vt == VT_I4) value.number = variant.lVal;
        if (variant.vt == VT_BOOL) value.number = variant.boolVal;
        if (variant.vt == (VT_ARRAY | VT_UI1)) value.bytes = bytesOf(variant.parray);
        VariantClear(&variant);
        return {std::move(value)};
    }

  private:
    Reference<IWbemClassObject> row_;
};

class Enumerator : public ManagementEnumerator {
  public:
    explicit Enumerator(IEnumWbemClassObject* rows) : rows_(rows) {}

    std::unique_ptr<ManagementRow> next(std::uint32_t milliseconds) override {
        IWbemClassObject* row = nullptr;
        ULONG count = 0;
        rows_->Next(static_cast<LONG>(milliseconds), 1, &row, &count);
        if (count == 0 || !row) return nullptr;
        return std::make_unique<Row>(row);
    }

  private:
    Reference<IEnumWbemClassObject> rows_;
};

class Services : public ManagementServices {
  public:
    explicit Services(IWbemServices* services) : services_(services) {}

    ErrorCode setProxyBlanket() override {
        const HRESULT result =
            CoSetProxyBlanket(services_.get(), RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr,
                              RPC_C_AUTHN_LEVEL_CALL, RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
        return FAILED(result) ? code(result) : kSuccess;
    }

    Result<std::unique_ptr<ManagementEnumerator>> execQuery(std::wstring_view wql) override {
        const Bstr language(L"WQL");
        const Bstr query(wql);
        IEnumWbemClassObject* rows = nullptr;
        const HRESULT result =
            services_->ExecQuery(language.get(), query.get(),
                                 WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, &rows);
        if (FAILED(result)) return failed<std::unique_ptr<ManagementEnumerator>>(result);
        return {std::make_unique<Enumerator>(rows)};
    }

  private:
    Reference<IWbemServices> services_;
};

class Locator : public ManagementLocator {
  public:
    explicit Locator(IWbemLocator* locator) : locator_(locator) {}

    Result<std::unique_ptr<ManagementServices>> connectServer(std::wstring_view space,
                                                              std::uint32_t flags) override {
        const Bstr name(space);
        IWbemServices* services = nullptr;
        const HRESULT result = locator_->ConnectServer(name.get(), nullptr, nullptr, nullptr,
                                                       static_cast<LONG>(flags), nullptr, nullptr, &services);
        if (FAILED(result)) return failed<std::unique_ptr<ManagementServices>>(result);
        return {std::make_unique<Services>(services)};
    }

  private:
    Reference<IWbemLocator> locator_;
};

} // namespace

ErrorCode WindowsManagementData::initialize() {
    return code(CoInitializeEx(nullptr, COINIT_MULTITHREADED));
}

void WindowsManagementData::uninitialize() {
    CoUninitialize();
}

ErrorCode WindowsManagementData::initializeSecurity() {
    return code(CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT,
                                     RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE, nullptr));
}

Result<std::unique_ptr<ManagementLocator>> WindowsManagementData::createLocator() {
    void* locator = nullptr;
    const HRESULT result =
        CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator, &locator);
    if (FAILED(result)) return failed<std::unique_ptr<ManagementLocator>>(result);
    return {std::make_unique<Locator>(static_cast<IWbemLocator*>(locator))};
}

} // namespace orv::platform
