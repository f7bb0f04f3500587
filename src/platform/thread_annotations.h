#pragma once
// Clang's thread safety attributes, so that the compiler checks what a member says of its lock. Empty for
// other compilers. The preset `clang` builds everything with -Wthread-safety -Werror.
//
//   zov::Mutex _mutex;
//   int _count ZOV_GUARDED_BY(_mutex) = 0;
//   void addLocked() ZOV_REQUIRES(_mutex);

#if defined(__clang__)
#define ZOV_THREAD_ATTRIBUTE(x) __attribute__((x))
#else
#define ZOV_THREAD_ATTRIBUTE(x)
#endif

#define ZOV_CAPABILITY(name) ZOV_THREAD_ATTRIBUTE(capability(name))
#define ZOV_SCOPED_CAPABILITY ZOV_THREAD_ATTRIBUTE(scoped_lockable)
#define ZOV_GUARDED_BY(lock) ZOV_THREAD_ATTRIBUTE(guarded_by(lock))
#define ZOV_PT_GUARDED_BY(lock) ZOV_THREAD_ATTRIBUTE(pt_guarded_by(lock))
#define ZOV_REQUIRES(...) ZOV_THREAD_ATTRIBUTE(requires_capability(__VA_ARGS__))
#define ZOV_REQUIRES_SHARED(...) ZOV_THREAD_ATTRIBUTE(requires_shared_capability(__VA_ARGS__))
#define ZOV_EXCLUDES(...) ZOV_THREAD_ATTRIBUTE(locks_excluded(__VA_ARGS__))
#define ZOV_ACQUIRE(...) ZOV_THREAD_ATTRIBUTE(acquire_capability(__VA_ARGS__))
#define ZOV_ACQUIRE_SHARED(...) ZOV_THREAD_ATTRIBUTE(acquire_shared_capability(__VA_ARGS__))
#define ZOV_RELEASE(...) ZOV_THREAD_ATTRIBUTE(release_capability(__VA_ARGS__))
#define ZOV_RELEASE_SHARED(...) ZOV_THREAD_ATTRIBUTE(release_shared_capability(__VA_ARGS__))
#define ZOV_RELEASE_GENERIC(...) ZOV_THREAD_ATTRIBUTE(release_generic_capability(__VA_ARGS__))
#define ZOV_TRY_ACQUIRE(...) ZOV_THREAD_ATTRIBUTE(try_acquire_capability(__VA_ARGS__))
/// The function finds out, or takes for granted, that the caller holds the lock. A body that is given to
/// holding() or guarded() says ZOV_REQUIRES instead.
#define ZOV_ASSERTS_HELD(...) ZOV_THREAD_ATTRIBUTE(assert_capability(__VA_ARGS__))
#define ZOV_ASSERTS_HELD_SHARED(...) ZOV_THREAD_ATTRIBUTE(assert_shared_capability(__VA_ARGS__))
#define ZOV_RETURNS_LOCK(lock) ZOV_THREAD_ATTRIBUTE(lock_returned(lock))
/// Only where the analysis cannot follow, with the reason beside it.
#define ZOV_NO_THREAD_SAFETY_ANALYSIS ZOV_THREAD_ATTRIBUTE(no_thread_safety_analysis)
