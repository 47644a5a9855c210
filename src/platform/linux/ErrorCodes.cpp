#include "platform/linux/ErrorCodes.h"

#include <cerrno>

namespace orv::platform {

namespace {

struct Row {
    int value;
    ErrorCode code;
};

// The first row of an errno serves errno to code, the first row of a code serves code to errno.
constexpr Row kRows[] = {
    {EINVAL, 87}, // ERROR_INVALID_PARAMETER
    {ENOENT, 2},  // ERROR_FILE_NOT_FOUND
    {ENOENT, 3},  // ERROR_PATH_NOT_FOUND
    {ENOTDIR, 3}, // ERROR_PATH_NOT_FOUND
    {EMFILE, kTooManyOpenFiles},
    {ENFILE, kTooManyOpenFiles},
    {EACCES, 5},         // ERROR_ACCESS_DENIED
    {EPERM, 5},          // ERROR_ACCESS_DENIED
    {EROFS, 19},         // ERROR_WRITE_PROTECT
    {EBADF, 6},          // ERROR_INVALID_HANDLE
    {ENOMEM, 8},         // ERROR_NOT_ENOUGH_MEMORY
    {ENOEXEC, 193},      // ERROR_BAD_EXE_FORMAT
    {ENODEV, 55},        // ERROR_DEV_NOT_EXIST
    {ENXIO, 20},         // ERROR_BAD_UNIT
    {EBUSY, 170},        // ERROR_BUSY
    {EAGAIN, 21},        // ERROR_NOT_READY
    {EIO, 1117},         // ERROR_IO_DEVICE
    {ETIMEDOUT, 121},    // ERROR_SEM_TIMEOUT
    {EEXIST, 183},       // ERROR_ALREADY_EXISTS
    {ENOSPC, 112},       // ERROR_DISK_FULL
    {ENOSYS, 1},         // ERROR_INVALID_FUNCTION
    {ENOTTY, 1},         // ERROR_INVALID_FUNCTION
    {EOPNOTSUPP, 50},    // ERROR_NOT_SUPPORTED
    {EMSGSIZE, 234},     // ERROR_MORE_DATA
    {ENOBUFS, 122},      // ERROR_INSUFFICIENT_BUFFER
    {ENAMETOOLONG, 206}, // ERROR_FILENAME_EXCED_RANGE
    {ENODATA, 38},       // ERROR_HANDLE_EOF
    {ECANCELED, 995},    // ERROR_OPERATION_ABORTED
    {ENOLCK, 33},        // ERROR_LOCK_VIOLATION
    {EBADMSG, 13},       // ERROR_INVALID_DATA
    {ELOOP, 1921},       // ERROR_CANT_RESOLVE_FILENAME
};

} // namespace

ErrorCode errorFromErrno(int value) {
    if (value == 0) return kSuccess;
    for (const Row& row : kRows)
        if (row.value == value) return row.code;
    return kGeneralFailure;
}

bool saysAbsent(ErrorCode code) {
    // ENODEV: the device left while its file was open.
    return code == kFileNotFound || code == errorFromErrno(ENOTDIR) || code == errorFromErrno(ENODEV);
}

int errnoFromError(ErrorCode code) {
    for (const Row& row : kRows)
        if (row.code == code) return row.value;
    return 0;
}

} // namespace orv::platform
