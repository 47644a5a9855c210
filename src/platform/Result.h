#pragma once

#include <cstdint>
#include <utility>

namespace orv::platform {

/// A system error code. The Windows numbers are used on every platform; 0 is success.
using ErrorCode = std::uint32_t;

inline constexpr ErrorCode kSuccess = 0;
inline constexpr ErrorCode kInvalidFunction = 1;      // ERROR_INVALID_FUNCTION
inline constexpr ErrorCode kFileNotFound = 2;         // ERROR_FILE_NOT_FOUND
inline constexpr ErrorCode kTooManyOpenFiles = 4;     // ERROR_TOO_MANY_OPEN_FILES
inline constexpr ErrorCode kAccessDenied = 5;         // ERROR_ACCESS_DENIED
inline constexpr ErrorCode kInvalidHandle = 6;        // ERROR_INVALID_HANDLE
inline constexpr ErrorCode kInvalidData = 13;         // ERROR_INVALID_DATA
inline constexpr ErrorCode kGeneralFailure = 31;      // ERROR_GEN_FAILURE
inline constexpr ErrorCode kNotSupported = 50;        // ERROR_NOT_SUPPORTED
inline constexpr ErrorCode kInvalidParameter = 87;    // ERROR_INVALID_PARAMETER
inline constexpr ErrorCode kBufferOverflow = 111;     // ERROR_BUFFER_OVERFLOW
inline constexpr ErrorCode kTimedOut = 121;           // ERROR_SEM_TIMEOUT
inline constexpr ErrorCode kInsufficientBuffer = 122; // ERROR_INSUFFICIENT_BUFFER
inline constexpr ErrorCode kModuleNotFound = 126;     // ERROR_MOD_NOT_FOUND
inline constexpr ErrorCode kProcedureNotFound = 127;  // ERROR_PROC_NOT_FOUND
inline constexpr ErrorCode kNoData = 232;             // ERROR_NO_DATA
inline constexpr ErrorCode kMoreData = 234;           // ERROR_MORE_DATA
inline constexpr ErrorCode kNoMoreItems = 259;        // ERROR_NO_MORE_ITEMS
inline constexpr ErrorCode kNoSuchDevice = 433;       // ERROR_NO_SUCH_DEVICE
inline constexpr ErrorCode kIoDevice = 1117;          // ERROR_IO_DEVICE
inline constexpr ErrorCode kElementNotFound = 1168;   // ERROR_NOT_FOUND

/// What a request to the system gave: a value, or the code of its failure. There is no ambient last error.
template <class T>
struct Result {
    T value{};
    ErrorCode error = kSuccess;

    static Result failed(ErrorCode code) { return {T{}, code}; }
    bool ok() const { return error == kSuccess; }
};

} // namespace orv::platform
