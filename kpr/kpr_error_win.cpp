#include "kpr/kpr_error.h"

#include <windows.h>

#include "kpr/codes.h"

namespace {

// Numbers that the tool chain's headers do not name.
constexpr uint32_t DIRECTORY_NOT_SUPPORTED = 336;
constexpr uint32_t DISK_QUOTA_EXCEEDED = 1295;
constexpr uint32_t NO_SUCH_DEVICE = 433;
constexpr uint32_t DEVICE_HARDWARE_ERROR = 483;
// What scanners say of a file's content, and policies of a module.
constexpr uint32_t VIRUS_INFECTED = 225;
constexpr uint32_t VIRUS_DELETED = 226;
constexpr uint32_t INVALID_IMAGE_HASH = 577;
constexpr uint32_t INTEGRITY_POLICY_VIOLATION = 4551;
// Of files whose content a provider (OneDrive and the like) keeps elsewhere.
constexpr uint32_t CLOUD_PROVIDER_NOT_RUNNING = 362;
constexpr uint32_t CLOUD_AUTHENTICATION_FAILED = 386;
constexpr uint32_t CLOUD_INSUFFICIENT_RESOURCES = 387;
constexpr uint32_t CLOUD_NETWORK_UNAVAILABLE = 388;
constexpr uint32_t CLOUD_UNSUCCESSFUL = 389;
constexpr uint32_t CLOUD_IN_USE = 391;
constexpr uint32_t CLOUD_REQUEST_ABORTED = 393;
constexpr uint32_t CLOUD_ACCESS_DENIED = 395;
constexpr uint32_t CLOUD_REQUEST_CANCELED = 398;
constexpr uint32_t CLOUD_PROVIDER_TERMINATED = 404;
constexpr uint32_t CLOUD_REQUEST_TIMEOUT = 426;

} // namespace

namespace kpr {

uint32_t errorFromSystem(uint32_t pError) noexcept
{
    switch (pError) {
    case ERROR_GEN_FAILURE:
    case ERROR_CRC:
    case ERROR_SEEK:
    case ERROR_READ_FAULT:
    case ERROR_WRITE_FAULT:
    case ERROR_NOT_READY:
    case ERROR_BAD_UNIT:
    case ERROR_BAD_LENGTH:
    case ERROR_SECTOR_NOT_FOUND:
    case ERROR_DEV_NOT_EXIST:
    case ERROR_NETNAME_DELETED:
    case ERROR_UNEXP_NET_ERR:
    case ERROR_FILE_CORRUPT:
    case ERROR_DISK_CORRUPT:
    case ERROR_IO_DEVICE:
    case ERROR_DEVICE_NOT_CONNECTED:
    case ERROR_UNRECOGNIZED_VOLUME:
    case ERROR_MEDIA_CHANGED:
    case ERROR_NO_MEDIA_IN_DRIVE:
    case ERROR_REM_NOT_LIST:
    case ERROR_ADAP_HDW_ERR:
    case ERROR_BAD_NET_RESP:
    case ERROR_SEM_TIMEOUT:
    case ERROR_NETWORK_UNREACHABLE:
    case ERROR_HOST_UNREACHABLE:
    case ERROR_CONNECTION_ABORTED:
    case ERROR_DEVICE_REMOVED:
    case NO_SUCH_DEVICE:
    case DEVICE_HARDWARE_ERROR:
    case CLOUD_PROVIDER_NOT_RUNNING:
    case CLOUD_NETWORK_UNAVAILABLE:
    case CLOUD_UNSUCCESSFUL:
    case CLOUD_PROVIDER_TERMINATED:
    case CLOUD_REQUEST_TIMEOUT:
        return KPR_E_IO;
    case ERROR_ACCESS_DENIED:
    case ERROR_NETWORK_ACCESS_DENIED:
    case ERROR_PRIVILEGE_NOT_HELD:
    case ERROR_CANNOT_MAKE:
    case ERROR_LOGON_FAILURE:
    case ERROR_SESSION_CREDENTIAL_CONFLICT:
    case ERROR_ACCESS_DISABLED_BY_POLICY:
    case VIRUS_INFECTED:
    case VIRUS_DELETED:
    case INVALID_IMAGE_HASH:
    case INTEGRITY_POLICY_VIOLATION:
    case CLOUD_AUTHENTICATION_FAILED:
    case CLOUD_ACCESS_DENIED:
        return KPR_E_ACCESS_DENIED;
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_CONNECTION_UNAVAIL:
    case ERROR_NO_NET_OR_BAD_PATH:
    case ERROR_NO_NETWORK:
    case ERROR_NOT_CONNECTED:
    case ERROR_DELETE_PENDING: // the name is there until the last handle goes, but nobody gets at the file
    case ERROR_ENVVAR_NOT_FOUND:
    case ERROR_MOD_NOT_FOUND:
        return KPR_E_NOT_FOUND;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case DISK_QUOTA_EXCEEDED:
        return KPR_E_NO_SPACE;
    case ERROR_TOO_MANY_OPEN_FILES:
    case ERROR_NO_MORE_SEARCH_HANDLES:
        return KPR_E_TOO_MANY_OPEN;
    case ERROR_INVALID_HANDLE:
        return KPR_E_BAD_HANDLE;
    case ERROR_SHARING_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
    case CLOUD_IN_USE:
        return KPR_E_IN_USE;
    case ERROR_LOCK_VIOLATION:
    case ERROR_LOCK_FAILED:
        return KPR_E_LOCKED;
    case DIRECTORY_NOT_SUPPORTED:
        return KPR_E_IS_DIRECTORY;
    case ERROR_DIRECTORY:
        return KPR_E_NOT_DIRECTORY;
    case ERROR_FILE_EXISTS:
    case ERROR_ALREADY_EXISTS:
        return KPR_E_EXISTS;
    case ERROR_OPERATION_ABORTED:
    case CLOUD_REQUEST_ABORTED:
    case CLOUD_REQUEST_CANCELED:
        return KPR_E_INTERRUPTED;
    case ERROR_FILE_INVALID:
        return KPR_E_STALE;
    case ERROR_FILENAME_EXCED_RANGE:
        return KPR_E_NAME_TOO_LONG;
    case ERROR_INSUFFICIENT_BUFFER:
    case ERROR_MORE_DATA:
        return KPR_E_BUFFER_TOO_SMALL;
    case ERROR_NO_MORE_FILES:
        return KPR_E_END;
    case ERROR_DIR_NOT_EMPTY:
        return KPR_E_NOT_EMPTY;
    case ERROR_CANT_ACCESS_FILE: // a reparse point that nobody here knows how to read
        return KPR_E_NOT_REGULAR;
    case ERROR_WRITE_PROTECT:
        return KPR_E_READ_ONLY_VOLUME;
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_CANT_RESOLVE_FILENAME:
    case ERROR_NO_UNICODE_TRANSLATION:
        return KPR_E_BAD_NAME;
    case ERROR_FILE_TOO_LARGE:
    case ERROR_ARITHMETIC_OVERFLOW:
        return KPR_E_TOO_LARGE;
    case ERROR_NOT_SAME_DEVICE:
        return KPR_E_OTHER_VOLUME;
    case ERROR_BUSY:
    case ERROR_BUSY_DRIVE:
    case ERROR_PATH_BUSY:
    case ERROR_NETWORK_BUSY:
        return KPR_E_BUSY;
    case ERROR_NO_SYSTEM_RESOURCES:
    case ERROR_NONPAGED_SYSTEM_RESOURCES:
    case ERROR_PAGED_SYSTEM_RESOURCES:
    case ERROR_WORKING_SET_QUOTA:
    case ERROR_PAGEFILE_QUOTA:
    case ERROR_SHARING_BUFFER_EXCEEDED:
    case ERROR_NOT_ENOUGH_QUOTA:
    case ERROR_MAX_THRDS_REACHED:
    case ERROR_REQ_NOT_ACCEP:
    case CLOUD_INSUFFICIENT_RESOURCES:
        return KPR_E_NO_RESOURCES;
    case ERROR_BAD_EXE_FORMAT:
    case ERROR_INVALID_DLL:
    case ERROR_DLL_INIT_FAILED:
    case ERROR_EXE_MACHINE_TYPE_MISMATCH:
        return KPR_E_NOT_A_DSO;
    case ERROR_PROC_NOT_FOUND:
        return KPR_E_NO_SYMBOL;
    case ERROR_INVALID_PARAMETER:
    case ERROR_NEGATIVE_SEEK:
        return E_INVALIDARG;
    case ERROR_NOT_ENOUGH_MEMORY:
    case ERROR_OUTOFMEMORY:
    case ERROR_COMMITMENT_LIMIT:
        return E_OUTOFMEMORY;
    case ERROR_INVALID_FUNCTION:
    case ERROR_NOT_SUPPORTED:
    case ERROR_CALL_NOT_IMPLEMENTED:
    case ERROR_SEEK_ON_DEVICE:
        return E_NOT_SUPPORTED;
    default:
        return KPR_E_SYSTEM;
    }
}

uint32_t lastError() noexcept { return errorFromSystem(GetLastError()); }

} // namespace kpr
