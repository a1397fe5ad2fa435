// Dynamically loaded modules: opening, symbols, what a module says of itself, and which are loaded.
//
// Paths are UTF-8. Functions return a result code. Any thread.
#pragma once

#include <cstdint>

#include "kpr/api.h"

extern "C" {

/// An open module; 0 is none.
typedef intptr_t KprDSO;

/// One key and its value. In a module's own attributes both strings are static.
struct KprAttribute {
    const char* key;
    const char* value;
};

/// What a component module's dsoGetAttributes fills: a static array and its length.
struct ModuleAttributes {
    const KprAttribute* pairs;
    uint32_t count;
};

/// A module's attributes, copied into one block that the receiver gives back with kprFree.
struct KprAttributeList {
    uint32_t count;
    const KprAttribute* pairs;
};

/// One module of a list.
struct KprLoadedModule {
    const char* path; ///< native path
    KprDSO handle;    ///< valid while the list lives; 0 when the system gave none
};

/// The loaded modules, in the loader's order, in one block that the receiver gives back with kprFree (which
/// also gives back the handles).
struct KprModuleList {
    uint32_t count;
    const KprLoadedModule* modules;
};

/// How kprOpenDSO takes the text.
enum KprDSOFlags : uint32_t {
    /// The text is a library's name and no path: the library is looked for beside the program and where the
    /// system keeps its libraries. A name with a separator is refused (E_INVALIDARG).
    KPR_DSO_BY_NAME = 0x1
};

/// Loads a module: the file at a path (a relative one counts from the current folder), or with
/// KPR_DSO_BY_NAME a library of the program or the system. KPR_E_NOT_FOUND when there is no such file,
/// KPR_E_NOT_A_DSO when the file is none that this process can load. Code of the module may run. What the
/// module needs in turn is looked for beside it, beside the program and where the system keeps its libraries.
/// The current folder is never searched for libraries.
KPR_API uint32_t kprOpenDSO(const char* pPath, uint32_t pFlags, KprDSO* pHandle);
/// Gives the handle back; code of the module may run when it was the last.
KPR_API uint32_t kprCloseDSO(KprDSO pHandle);
/// The address of a symbol that the module itself exports; KPR_E_NO_SYMBOL and null when it has none, also
/// when a library that it needs has one.
KPR_API uint32_t kprGetDSOSymbol(KprDSO pHandle, const char* pName, void** pAddress);
/// To be called first in a program: libraries that anything in this process then loads by name come from
/// beside the program or from the system, never from the current folder (Linux never takes them from there).
KPR_API void kprRestrictLibrarySearch(void);
/// What the operating system said when the calling thread's last kprOpenDSO failed; "" when nothing.
KPR_API const char* kprGetDSOErrorText(void);

/// The attributes of an open module: those of its dsoGetAttributes where it has one, else those of its file.
/// - Of the file on Windows: the strings of the version resource, in its order.
/// - On Linux: the keys and values of the note with owner "KOS" and type 1; then, where the note has none,
///   "InternalName" (the soname) and "FileVersion" (the version in the real file name), if there are such.
/// - Last, where nothing above gave it, what debuggers find symbols by: "BuildId" on Linux (the build id in
///   lower-case hexadecimal), "DebugId" on Windows (GUID and age of the debug information, else time stamp
///   and size of the image). Where it cannot be read it is missing.
///
/// The list may be empty. A failure of the module's dsoGetAttributes is returned.
KPR_API uint32_t kprGetDSOAttributes(KprDSO pHandle, KprAttributeList** pList);
/// The modules loaded in this process, the program first. No file is opened or read. On Windows the system's
/// list may fail or be wrong while other threads load: it is read again until two readings agree, up to fifty
/// times.
KPR_API uint32_t kprListLoadedModules(KprModuleList** pList);
/// Gives back a list of this header or of process.h; null is nothing.
KPR_API void kprFree(void* pList);

/// The prefix and suffix of a module's file name, static: "" and ".dll" on Windows, "lib" and ".so" on Linux.
KPR_API const char* kprGetDSOPrefix(void);
KPR_API const char* kprGetDSOSuffix(void);
/// The native path of the module that holds an address (of a function or a static object).
KPR_API uint32_t kprGetModulePath(const void* pAddress, char* pBuffer, uint32_t pSize);
/// Keeps the module that holds an address loaded until the process ends.
KPR_API uint32_t kprPinModule(const void* pAddress);
/// The running program's file name, with its extension (static).
KPR_API const char* kprGetProgramName(void);
/// The native path of the running program (static).
KPR_API const char* kprGetProgramPath(void);

} // extern "C"
