// Private: Windows error numbers the host returns beyond those that
// platform/win32.h declares (values as in the Windows SDK's winerror.h).
#pragma once

#include "platform/win_types.h"

namespace snk::host {

inline constexpr DWORD kErrorPathNotFound = 3;         // ERROR_PATH_NOT_FOUND
inline constexpr DWORD kErrorTooManyOpenFiles = 4;     // ERROR_TOO_MANY_OPEN_FILES
inline constexpr DWORD kErrorWriteProtect = 19;        // ERROR_WRITE_PROTECT
inline constexpr DWORD kErrorGenFailure = 31;          // ERROR_GEN_FAILURE
inline constexpr DWORD kErrorDiskFull = 112;           // ERROR_DISK_FULL
inline constexpr DWORD kErrorInvalidName = 123;        // ERROR_INVALID_NAME
inline constexpr DWORD kErrorInvalidLevel = 124;       // ERROR_INVALID_LEVEL
inline constexpr DWORD kErrorModNotFound = 126;        // ERROR_MOD_NOT_FOUND
inline constexpr DWORD kErrorBusy = 170;               // ERROR_BUSY
inline constexpr DWORD kErrorFilenameTooLong = 206;    // ERROR_FILENAME_EXCED_RANGE
inline constexpr DWORD kErrorRegistryCorrupt = 1015;   // ERROR_REGISTRY_CORRUPT
inline constexpr DWORD kErrorRegistryIoFailed = 1016;  // ERROR_REGISTRY_IO_FAILED
inline constexpr DWORD kErrorNoUnicodeTranslation = 1113;
inline constexpr DWORD kRpcInvalidStringUuid = 1705;  // RPC_S_INVALID_STRING_UUID

// Maps an errno value to the Windows error a file call reports.
DWORD WinErrorFromErrno(int error);

}  // namespace snk::host
