#include <gtest/gtest.h>

#include "primfit/fit/fit_histogram.h"

TEST(FitHistogram, BoundsBelongToTheHigherSlot) {
  const double residuals[] = {0.25, 1.0, 2.0, 4.0};
  const FitHistogram h(1.0, residuals, 4);
  EXPECT_EQ(h.CountOnSlot(1), 1);
  EXPECT_EQ(h.CountOnSlot(4), 1);
  EXPECT_EQ(h.CountOnSlot(8), 1);
  EXPECT_EQ(h.CountOnSlot(9), 1);
}
