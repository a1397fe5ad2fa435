// Translated texts from gettext catalogues (.mo files).
#pragma once

#include "kfw/IApplication.h"
#include "kutil/api.h"

namespace vel::kos::util {

/// The translation of a text in a domain, or the text itself when there is none. Static for the rest of the
/// process; not freed. Any thread.
KUTIL_API const char* kGetText(const char* pDomain, const char* pText);

/// Chooses where catalogues come from: <pDir>/<language>/LC_MESSAGES/<domain>.mo, the language with its
/// territory first ("de_AT", then "de"). Empty or null language: no translation. Catalogues are read when
/// first asked for; texts handed out before stay valid.
KUTIL_API void kSetCatalogues(const char* pDir, const char* pLanguage);

} // namespace vel::kos::util
