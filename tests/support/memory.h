// A test program that names one of these gets counted allocations, which can be made to fail. They stand in a
// file of their own, so that no compiler sees malloc through operator new.
#ifndef PRIMFIT_TESTS_SUPPORT_MEMORY_H_
#define PRIMFIT_TESTS_SUPPORT_MEMORY_H_

#include <atomic>

namespace primfit::testing {

/// Whether this build counts: the thread sanitizer has its own operator new.
#if defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define PRIMFIT_COUNTS_MEMORY 0
#endif
#elif defined(__SANITIZE_THREAD__)
#define PRIMFIT_COUNTS_MEMORY 0
#endif
#ifndef PRIMFIT_COUNTS_MEMORY
#define PRIMFIT_COUNTS_MEMORY 1
#endif

/// How often operator new was called; how often for a buffer of 32 KB or more.
extern std::atomic<int> allocations, largeAllocations;
/// Makes operator new throw.
extern std::atomic<bool> memoryIsOut;

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_SUPPORT_MEMORY_H_
