#include "primfit/fit/fit_histogram.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Counts = std::array<int, 10>;

Counts CountsOf(const FitHistogram& histogram) {
  Counts counts{};
  for (int k = 0; k < FitHistogram::NumberSplots(); ++k) {
    counts.at(static_cast<std::size_t>(k)) = static_cast<int>(histogram.CountOnSlot(k));
  }
  return counts;
}

// Residuals are m sigma / 32 with sigma a power of two: eight steps a slot, bounds hit exactly, slots by
// integers.
TEST(FitHistogram, EqualsAnIntegerCount) {
  Random random;
  for (const double sigma : {1.0, std::ldexp(1.0, -9), 64.0}) {
    for (const int n : {0, 1, 2, 10, 200000}) {
      std::vector<double> residuals;
      Counts expected{};
      for (int i = 0; i < n; ++i) {
        const int m = random.Integer(0, 160);
        residuals.push_back(m * sigma / 32);
        ++expected.at(m < 64 ? static_cast<std::size_t>(m / 8) : m < 128 ? 8 : 9);
      }
      const std::vector<double> given = residuals;
      const FitHistogram histogram(sigma, residuals.data(), n);
      EXPECT_EQ(CountsOf(histogram), expected) << sigma << ' ' << n;
      EXPECT_EQ(histogram.GetTotalCount(), n);
      EXPECT_EQ(residuals, given) << "the caller's residuals are left alone";
      for (int k = 0; k < 10 && n > 0; ++k)
        EXPECT_EQ(histogram.DistributionOnSplot(k), histogram.CountOnSlot(k) / n);
    }
  }
}

TEST(FitHistogram, BoundsBelongToTheHigherSlotAndTheRestToItsEnds) {
  const double infinity = std::numeric_limits<double>::infinity();
  struct {
    double residual;
    int slot;
  } const rows[] = {{-3, 0},
                    {0, 0},
                    {0.25, 1},
                    {std::nextafter(0.25, 0), 0},
                    {1, 4},
                    {2, 8},
                    {4, 9},
                    {std::nextafter(4.0, 0), 8},
                    {infinity, 9},
                    {-infinity, 0},
                    {std::nan(""), 9},
                    {-std::nan(""), 9}};
  std::vector<double> all;
  for (const auto& row : rows) {
    Counts expected{};
    expected.at(static_cast<std::size_t>(row.slot)) = 1;
    EXPECT_EQ(CountsOf(FitHistogram(1, &row.residual, 1)), expected) << row.residual;
    all.push_back(row.residual);
  }
  // A NaN among others must not spoil the order that the count relies on.
  do {
    EXPECT_EQ(CountsOf(FitHistogram(1, all.data(), static_cast<int>(all.size()))),
              (Counts{4, 1, 0, 0, 1, 0, 0, 0, 2, 4}));
    std::rotate(all.begin(), all.begin() + 1, all.end());
  } while (!(all.front() == -3));
}

TEST(FitHistogram, BoundsDecideWhateverTheScale) {
  for (const double sigma : {1e-6, 0.006, 0.0123, 1.0 / 3, 3e5}) {
    const double width = (sigma + sigma) * 0.125;
    for (int k = 1; k <= 9; ++k) {
      const double bound = k < 9 ? k * width : sigma * 4.0;
      const double below = std::nextafter(bound, 0);
      EXPECT_EQ(FitHistogram(sigma, &bound, 1).CountOnSlot(k), 1) << sigma << ", slot " << k;
      EXPECT_EQ(FitHistogram(sigma, &below, 1).CountOnSlot(k - 1), 1) << sigma << ", below slot " << k;
    }
  }
}

TEST(FitHistogram, ScaleIsAMagnitudeOfAtLeastAMillionth) {
  struct {
    double given, kept;
  } const rows[] = {{-2, 2}, {0, 1e-6}, {1e-7, 1e-6}, {-9e-7, 1e-6}, {1e-6, 1e-6}, {-2e-6, 2e-6}, {3, 3}};
  for (const auto& row : rows) EXPECT_EQ(FitHistogram(row.given, nullptr, 0).Sigma(), row.kept) << row.given;
  EXPECT_EQ(FitHistogram().Sigma(), -1);
  const double residual = 3e-7;
  EXPECT_EQ(FitHistogram(0, &residual, 1).CountOnSlot(1), 1) << "the raised scale is the one that is used";
}

TEST(FitHistogram, SuccessfulAcceptsItsExactThresholds) {
  struct {
    const char* what;
    Counts counts;
    bool good;
  } const rows[] = {
      {"both shares exactly", {5, 0, 0, 0, 3, 0, 0, 0, 2, 0}, true},
      {"the same from all slots", {2, 1, 1, 1, 1, 1, 0, 1, 1, 1}, true},
      {"one short below sigma", {2, 1, 0, 1, 4, 0, 0, 2, 0, 0}, false},
      {"one short below two sigma", {5, 0, 0, 0, 1, 1, 0, 0, 3, 0}, false},
      {"all below sigma", {0, 0, 0, 8, 0, 0, 0, 0, 0, 2}, true},
      {"all in the slots above", {0, 0, 0, 0, 10, 0, 0, 0, 0, 0}, false},
      {"none", {}, false},
  };
  for (const auto& row : rows) {
    std::vector<double> residuals;
    for (std::size_t k = 0; k < 10; ++k) {
      residuals.insert(residuals.end(), static_cast<std::size_t>(row.counts.at(k)),
                       k < 8    ? 0.25 * static_cast<double>(k)
                       : k == 8 ? 3
                                : 5);
    }
    const FitHistogram histogram(1, residuals.data(), static_cast<int>(residuals.size()));
    EXPECT_EQ(histogram.Successful(0.5, 0.8), row.good) << row.what;
    EXPECT_TRUE(histogram.Successful(0, 0)) << row.what;
  }
  EXPECT_FALSE(FitHistogram().Successful(0.5, 0.8));
}

}  // namespace
}  // namespace primfit::testing
