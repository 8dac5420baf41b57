// Whether this build runs under the thread sanitizer, which has its own operator new and delays signals.
#ifndef PRIMFIT_TESTS_SUPPORT_THREAD_SANITIZER_H_
#define PRIMFIT_TESTS_SUPPORT_THREAD_SANITIZER_H_

#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define PRIMFIT_THREAD_SANITIZER 1
#endif
#elif defined(__SANITIZE_THREAD__)
#define PRIMFIT_THREAD_SANITIZER 1
#endif
#ifndef PRIMFIT_THREAD_SANITIZER
#define PRIMFIT_THREAD_SANITIZER 0
#endif

#endif  // PRIMFIT_TESTS_SUPPORT_THREAD_SANITIZER_H_
