#pragma once

// Names the mutex that guards a member, so that clang can check it. Empty for other compilers.

#if defined(__clang__)
#define ZO_ANNOTATE(x) __attribute__((x))
#else
#define ZO_ANNOTATE(x)
#endif

#define ZO_CAPABILITY(name) ZO_ANNOTATE(capability(name))
#define ZO_SCOPED_CAPABILITY ZO_ANNOTATE(scoped_lockable)
#define ZO_GUARDED_BY(m) ZO_ANNOTATE(guarded_by(m))
#define ZO_PT_GUARDED_BY(m) ZO_ANNOTATE(pt_guarded_by(m))
#define ZO_REQUIRES(...) ZO_ANNOTATE(requires_capability(__VA_ARGS__))
#define ZO_EXCLUDES(...) ZO_ANNOTATE(locks_excluded(__VA_ARGS__))
#define ZO_ACQUIRE(...) ZO_ANNOTATE(acquire_capability(__VA_ARGS__))
#define ZO_RELEASE(...) ZO_ANNOTATE(release_capability(__VA_ARGS__))
#define ZO_TRY_ACQUIRE(...) ZO_ANNOTATE(try_acquire_capability(__VA_ARGS__))
#define ZO_NO_THREAD_SAFETY_ANALYSIS ZO_ANNOTATE(no_thread_safety_analysis)
