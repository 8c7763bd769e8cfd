// Whether this program runs under a sanitizer, which needs address space, stack, time and a library loader of
// its own.
#pragma once

namespace sbx::testing {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif

// ThreadSanitizer ends a program whose calls are nested more than 65,535 deep.
#if defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitized = true;
#else
inline constexpr bool kThreadSanitized = false;
#endif

}  // namespace sbx::testing
