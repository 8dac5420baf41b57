// A test program that names one of these gets counted allocations, which can be made to fail. They stand in a
// file of their own, so that no compiler sees malloc through operator new.
#ifndef PRIMFIT_TESTS_SUPPORT_MEMORY_H_
#define PRIMFIT_TESTS_SUPPORT_MEMORY_H_

#include <atomic>

#include "support/thread_sanitizer.h"

namespace primfit::testing {

/// Whether this build counts: the thread sanitizer has its own operator new.
#define PRIMFIT_COUNTS_MEMORY (1 - PRIMFIT_THREAD_SANITIZER)

/// How often operator new was called; how often for a buffer of 32 KB or more.
extern std::atomic<int> allocations, largeAllocations;
/// Makes operator new throw.
extern std::atomic<bool> memoryIsOut;

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_SUPPORT_MEMORY_H_
