// Whether the program was built with a tool that watches each byte of memory, which forbids what
// the hardware allows.
#pragma once

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr bool XP_MEMORY_IS_WATCHED = true;
#elif defined(__has_feature)
constexpr bool XP_MEMORY_IS_WATCHED =
    __has_feature(address_sanitizer) || __has_feature(thread_sanitizer);
#else
constexpr bool XP_MEMORY_IS_WATCHED = false;
#endif
