// SPDX-License-Identifier: Apache-2.0
//
// Which sanitizer a test is built with, 1 or 0: gcc and clang show it in different ways.
#ifndef SRCWATCH_TESTS_SANITIZERS_H
#define SRCWATCH_TESTS_SANITIZERS_H

#if defined(__SANITIZE_ADDRESS__)
#define SRCWATCH_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#define SRCWATCH_ADDRESS_SANITIZER __has_feature(address_sanitizer)
#else
#define SRCWATCH_ADDRESS_SANITIZER 0
#endif

#if defined(__SANITIZE_THREAD__)
#define SRCWATCH_THREAD_SANITIZER 1
#elif defined(__has_feature)
#define SRCWATCH_THREAD_SANITIZER __has_feature(thread_sanitizer)
#else
#define SRCWATCH_THREAD_SANITIZER 0
#endif

#endif
