#ifndef QUENDRIL_TESTS_SUPPORT_SANITIZERS_H
#define QUENDRIL_TESTS_SUPPORT_SANITIZERS_H

// Which sanitizer this is built with. g++ tells by macros, clang by features.
#if defined(__SANITIZE_ADDRESS__)
#define QUENDRIL_ADDRESS_SANITIZER 1
#elif defined(__SANITIZE_THREAD__)
#define QUENDRIL_THREAD_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QUENDRIL_ADDRESS_SANITIZER 1
#elif __has_feature(thread_sanitizer)
#define QUENDRIL_THREAD_SANITIZER 1
#endif
#endif

#ifndef QUENDRIL_ADDRESS_SANITIZER
#define QUENDRIL_ADDRESS_SANITIZER 0
#endif
#ifndef QUENDRIL_THREAD_SANITIZER
#define QUENDRIL_THREAD_SANITIZER 0
#endif

constexpr bool kIsSanitized = QUENDRIL_ADDRESS_SANITIZER || QUENDRIL_THREAD_SANITIZER;

#endif
