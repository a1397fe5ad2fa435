#include "kpr/kpr_error.h"

#include <cerrno>

#include "kpr/codes.h"

namespace kpr {

uint32_t errorFromSystem(uint32_t pError) noexcept
{
    switch (static_cast<int>(pError)) {
    case EIO:
        return KPR_E_IO;
    case EACCES:
    case EPERM:
        return KPR_E_ACCESS_DENIED;
    case ENOENT:
        return KPR_E_NOT_FOUND;
    case ENOSPC:
    case EDQUOT:
        return KPR_E_NO_SPACE;
    case EMFILE:
    case ENFILE:
        return KPR_E_TOO_MANY_OPEN;
    case EBADF:
        return KPR_E_BAD_HANDLE;
    case ETXTBSY:
        return KPR_E_IN_USE;
    case EDEADLK:
        return KPR_E_LOCKED;
    case EISDIR:
        return KPR_E_IS_DIRECTORY;
    case ENOTDIR:
        return KPR_E_NOT_DIRECTORY;
    case EEXIST:
        return KPR_E_EXISTS;
    case EINTR:
        return KPR_E_INTERRUPTED;
    case ESTALE:
        return KPR_E_STALE;
    case ENAMETOOLONG:
        return KPR_E_NAME_TOO_LONG;
    case ENOTEMPTY:
        return KPR_E_NOT_EMPTY;
    case EROFS:
        return KPR_E_READ_ONLY_VOLUME;
    case ELOOP:
    case EILSEQ:
        return KPR_E_BAD_NAME;
    case EFBIG:
    case EOVERFLOW:
        return KPR_E_TOO_LARGE;
    case EXDEV:
        return KPR_E_OTHER_VOLUME;
    case EBUSY:
    case EAGAIN:
        return KPR_E_BUSY;
    case ENOLCK:
    case ENOBUFS:
        return KPR_E_NO_RESOURCES;
    case ENXIO:
    case ENODEV:
        return KPR_E_NOT_REGULAR;
    case EINVAL:
        return E_INVALIDARG;
    case ENOMEM:
        return E_OUTOFMEMORY;
    case ESPIPE:
    case ENOSYS:
    case EOPNOTSUPP:
        return E_NOT_SUPPORTED;
    default:
        return KPR_E_SYSTEM;
    }
}

uint32_t lastError() noexcept { return errorFromSystem(static_cast<uint32_t>(errno)); }

} // namespace kpr
