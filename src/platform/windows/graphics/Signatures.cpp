#include "platform/windows/graphics/Graphics.h"

#include <windows.h>

#include <softpub.h>
#include <string>
#include <wincrypt.h>
#include <wintrust.h>

namespace orv::platform {

namespace {

/// A verification of a file's signature, without any window; its state is closed with the object.
class Verification {
  public:
    explicit Verification(const std::wstring& path) : path_(path) {
        file_.cbStruct = sizeof file_;
        file_.pcwszFilePath = path_.c_str();
        data_.cbStruct = sizeof data_;
        data_.dwUIChoice = WTD_UI_NONE;
        data_.fdwRevocationChecks = WTD_REVOKE_NONE;
        data_.dwUnionChoice = WTD_CHOICE_FILE;
        data_.pFile = &file_;
        data_.dwStateAction = WTD_STATEACTION_VERIFY;
        status_ = run();
    }
    ~Verification() {
        data_.dwStateAction = WTD_STATEACTION_CLOSE;
        run();
    }
    Verification(const Verification&) = delete;
    Verification& operator=(const Verification&) = delete;

    LONG status() const { return status_; } ///< 0: trusted

    /// Null when there is none.
    PCCERT_CONTEXT firstCertificate() const {
        CRYPT_PROVIDER_DATA* provider = ::WTHelperProvDataFromStateData(data_.hWVTStateData);
        CRYPT_PROVIDER_SGNR* signer =
            provider ? ::WTHelperGetProvSignerFromChain(provider, 0, FALSE, 0) : nullptr;
        const CRYPT_PROVIDER_CERT* entry = signer ? ::WTHelperGetProvCertFromChain(signer, 0) : nullptr;
        return entry ? entry->pCert : nullptr;
    }

  private:
    LONG run() {
        GUID action = WINTRUST_ACTION_GENERIC_VERIFY_V2;
        return ::WinVerifyTrust(static_cast<HWND>(INVALID_HANDLE_VALUE), &action, &data_);
    }

    const std::wstring& path_;
    WINTRUST_FILE_INFO file_{};
    WINTRUST_DATA data_{};
    LONG status_ = 0;
};

} // namespace

Result<std::wstring> WindowsLibraries::publisher(std::wstring_view path) {
    using Answer = Result<std::wstring>;
    constexpr DWORD mostCharacters = 200;
    const std::wstring file(path);
    const Verification verification(file);
    if (verification.status() != ERROR_SUCCESS)
        return Answer::failed(static_cast<ErrorCode>(verification.status()));
    const PCCERT_CONTEXT certificate = verification.firstCertificate();
    if (!certificate) return Answer::failed(kElementNotFound);
    wchar_t name[mostCharacters] = {};
    if (::CertGetNameStringW(certificate, CERT_NAME_SIMPLE_DISPLAY_TYPE, 0, nullptr, name, mostCharacters) <=
        1)
        return Answer::failed(kElementNotFound);
    name[mostCharacters - 1] = L'\0';
    return {name};
}

} // namespace orv::platform
