// What guards what, in words that Clang checks (-Wthread-safety); nothing for other compilers.
//
//     kpr::Mutex mMutex;                                 // kpr/mutex.h
//     std::string mName K_GUARDED_BY(mMutex);
//     void rename(const std::string& pName) K_REQUIRES(mMutex);
//
// Standard mutexes and locks carry no such words, so what is guarded by them cannot be checked: kpr/mutex.h
// has some that do.
#pragma once

#if defined(__clang__)
#define K_THREAD_SAFETY(pAttribute) __attribute__((pAttribute))
#else
#define K_THREAD_SAFETY(pAttribute)
#endif

/// A class of locks; pKind is the word that messages use ("mutex").
#define K_CAPABILITY(pKind) K_THREAD_SAFETY(capability(pKind))
/// A class that locks in its constructor and unlocks in its destructor.
#define K_SCOPED_CAPABILITY K_THREAD_SAFETY(scoped_lockable)

/// A variable that is touched only with the lock held; to read it, a shared lock is enough.
#define K_GUARDED_BY(pLock) K_THREAD_SAFETY(guarded_by(pLock))

/// A function whose caller holds the locks.
#define K_REQUIRES(...) K_THREAD_SAFETY(requires_capability(__VA_ARGS__))

/// A function that takes or gives back locks; without arguments, the object itself.
#define K_ACQUIRE(...) K_THREAD_SAFETY(acquire_capability(__VA_ARGS__))
#define K_ACQUIRE_SHARED(...) K_THREAD_SAFETY(acquire_shared_capability(__VA_ARGS__))
#define K_TRY_ACQUIRE(...) K_THREAD_SAFETY(try_acquire_capability(__VA_ARGS__))
#define K_RELEASE(...) K_THREAD_SAFETY(release_capability(__VA_ARGS__))
#define K_RELEASE_SHARED(...) K_THREAD_SAFETY(release_shared_capability(__VA_ARGS__))
/// Of a scoped lock, whichever way it was taken.
#define K_RELEASE_ANY(...) K_THREAD_SAFETY(release_generic_capability(__VA_ARGS__))
