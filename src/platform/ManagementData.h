#pragma once

#include "platform/Result.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace orv::platform {

// The management data of a system: named classes of rows with typed columns, reached through the steps of a
// COM client. An ErrorCode here is the HRESULT of the step: 0 is S_OK, and a set top bit is a failure. The
// objects that a step gives release what stands behind them when they are destroyed; they are used and
// destroyed on the thread that made them, before uninitialize.

inline constexpr ErrorCode kComFalse = 1;                     // S_FALSE
inline constexpr ErrorCode kComTooLate = 0x80010119;          // RPC_E_TOO_LATE
inline constexpr ErrorCode kComNotRegistered = 0x80040154;    // REGDB_E_CLASSNOTREG
inline constexpr ErrorCode kComWin32 = 0x80070000;            // HRESULT_FROM_WIN32: | a system error code
inline constexpr ErrorCode kManagementNotFound = 0x80041002;  // WBEM_E_NOT_FOUND
inline constexpr ErrorCode kManagementNamespace = 0x8004100E; // WBEM_E_INVALID_NAMESPACE
inline constexpr ErrorCode kManagementClass = 0x80041010;     // WBEM_E_INVALID_CLASS
inline constexpr ErrorCode kManagementQuery = 0x80041017;     // WBEM_E_INVALID_QUERY

/// The connection fails after two minutes at most (WBEM_FLAG_CONNECT_USE_MAX_WAIT).
inline constexpr std::uint32_t kConnectWaitsAtMost = 0x80;

/// Type tags of a column value (VARENUM).
enum class ManagementType : std::uint16_t {
    empty = 0,
    null = 1,
    i4 = 3,
    bstr = 8,
    boolean = 11,
    byteArray = 0x2011, // VT_ARRAY | VT_UI1
};

/// The value of one column in one row. `text` holds what a bstr carries, `number` what i4 and boolean carry,
/// `bytes` what a byte array carries; a type without a name above keeps its tag and no content.
struct ManagementValue {
    ManagementType type = ManagementType::empty;
    std::wstring text;
    std::int32_t number = 0;
    std::vector<std::uint8_t> bytes = {};

    bool present() const { return type != ManagementType::empty && type != ManagementType::null; }
};

class ManagementRow {
  public:
    virtual ~ManagementRow() = default;
    /// A column that the row does not have is a failure.
    virtual Result<ManagementValue> get(std::wstring_view column) = 0;
};

/// The answer to a query, read once from front to back.
class ManagementEnumerator {
  public:
    virtual ~ManagementEnumerator() = default;
    /// Waits for the next row, at most so many milliseconds; null when there is none, be it the end, the
    /// limit, or a query that cannot be answered.
    virtual std::unique_ptr<ManagementRow> next(std::uint32_t milliseconds) = 0;
    /// Waits as long as it takes.
    std::unique_ptr<ManagementRow> next() { return next(0xFFFFFFFF); }
};

class ManagementServices {
  public:
    virtual ~ManagementServices() = default;
    /// NT authentication, no authorisation, call authentication level, impersonate level.
    virtual ErrorCode setProxyBlanket() = 0;
    /// A WQL query, forward-only and answered as its rows arrive.
    virtual Result<std::unique_ptr<ManagementEnumerator>> execQuery(std::wstring_view wql) = 0;
};

class ManagementLocator {
  public:
    virtual ~ManagementLocator() = default;
    /// A namespace of this machine, as the calling user. `flags` is 0 or kConnectWaitsAtMost.
    virtual Result<std::unique_ptr<ManagementServices>> connectServer(std::wstring_view space,
                                                                      std::uint32_t flags = 0) = 0;
};

class ManagementData {
  public:
    virtual ~ManagementData() = default;

    /// Starts COM on this thread in the multithreaded model. S_OK and S_FALSE, which says that it had been
    /// started, owe one uninitialize each; a failure, as that of a thread with another model, owes none.
    virtual ErrorCode initialize() = 0;
    virtual void uninitialize() = 0;
    /// The process's security: default authentication level, impersonate level.
    virtual ErrorCode initializeSecurity() = 0;
    virtual Result<std::unique_ptr<ManagementLocator>> createLocator() = 0;
};

} // namespace orv::platform
