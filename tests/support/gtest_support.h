#ifndef PRIMFIT_TESTS_SUPPORT_GTEST_SUPPORT_H_
#define PRIMFIT_TESTS_SUPPORT_GTEST_SUPPORT_H_

#include <gtest/gtest.h>

#include <Eigen/Core>
#include <functional>
#include <string>

#include "primfit/fit/fit_error.h"

namespace primfit::testing {

/// Whether two vectors differ by at most `tolerance`; for EXPECT_TRUE. A NaN is near nothing.
inline ::testing::AssertionResult Near(const Eigen::Vector3d& a, const Eigen::Vector3d& b, double tolerance) {
  const double gap = (a - b).norm();
  if (gap <= tolerance) return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure()
         << "(" << a.transpose() << ") and (" << b.transpose() << ") are " << gap << " apart";
}

/// The same for directions whose sign is arbitrary.
inline ::testing::AssertionResult Parallel(const Eigen::Vector3d& a, const Eigen::Vector3d& b,
                                           double tolerance) {
  return Near(a.dot(b) < 0 ? Eigen::Vector3d(-a) : a, b, tolerance);
}

/// What a failing call says.
inline std::string MessageOf(const std::function<void()>& call) {
  try {
    call();
  } catch (const FitError& error) {
    return error.what();
  }
  return "no exception";
}

/// Names the cases of a parameterised suite by their field `name`, for INSTANTIATE_TEST_SUITE_P.
struct RowName {
  template <class Info>
  std::string operator()(const Info& row) const {
    return row.param.name;
  }
};

}  // namespace primfit::testing

#endif  // PRIMFIT_TESTS_SUPPORT_GTEST_SUPPORT_H_
