// The trust-region engines behind TRLeastSquares on published problems and on input that would break a
// solver.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <vector>

#include "optimize/models.h"
#include "optimize/tr_least_squares.h"
#include "optimize/trust_region.h"
#include "support/gtest_support.h"
#include "support/memory.h"

namespace {

using primfit::ScopedTrustRegion;
using primfit::TrustRegionKind;
using primfit::testing::allocations;

/// A problem given by a function of x and the residual's index.
class Problem : public TRLeastSquares {
 public:
  using Function = std::function<double(const double* x, int i)>;
  Problem(int n, int m, double tolerance, Function f)
      : TRLeastSquares(n, m, tolerance, 20, 20), f_(std::move(f)) {
    SetResidualFunction([](int* count, int*, double* x, double* out, void* model) {
      const auto& self = static_cast<const Problem&>(*static_cast<const TRLeastSquares*>(model));
      for (int i = 0; i < *count; ++i) out[i] = self.f_(x, i);
    });
  }
  using TRLeastSquares::RemoveParameters;
  using TRLeastSquares::X;

 private:
  Function f_;
};

/// Each engine of the build in turn.
class TrustRegion : public ::testing::TestWithParam<TrustRegionKind> {
  const ScopedTrustRegion engine_{GetParam()};
};

std::vector<TrustRegionKind> EnginesOfTheBuild() {
  if (!primfit::HaveLibraryTrustRegion()) return {TrustRegionKind::kNative};
  return {TrustRegionKind::kNative, TrustRegionKind::kLibrary};
}

INSTANTIATE_TEST_SUITE_P(Engines, TrustRegion, ::testing::ValuesIn(EnginesOfTheBuild()),
                         [](const auto& kind) {
                           return kind.param == TrustRegionKind::kNative ? "Native" : "Library";
                         });

TEST_P(TrustRegion, ReachesPublishedMinima) {
  // Rosenbrock 1960: minimum 0 at (1, 1), through a curved valley; a run of 20 iterations gets there.
  Problem rosenbrock(2, 2, 0.5,
                     [](const double* x, int i) { return i == 0 ? 10 * (x[1] - x[0] * x[0]) : 1 - x[0]; });
  const double valley[] = {-1.2, 1};
  ASSERT_TRUE(rosenbrock.Initialize(valley));
  ASSERT_TRUE(rosenbrock.Solve());
  EXPECT_NEAR(rosenbrock.X()[0], 1, 1e-2);
  EXPECT_NEAR(rosenbrock.X()[1], 1, 2e-2);

  // Powell 1962: the Jacobian is singular at the minimum 0.
  Problem powell(4, 4, 0.15, [](const double* x, int i) {
    switch (i) {
      case 0:
        return x[0] + 10 * x[1];
      case 1:
        return std::sqrt(5.0) * (x[2] - x[3]);
      case 2:
        return (x[1] - 2 * x[2]) * (x[1] - 2 * x[2]);
      default:
        return std::sqrt(10.0) * (x[0] - x[3]) * (x[0] - x[3]);
    }
  });
  const double far[] = {3, -1, 0, 1};
  ASSERT_TRUE(powell.Initialize(far));
  ASSERT_TRUE(powell.Solve());
  for (int i = 0; i < 4; ++i) EXPECT_NEAR(powell.X()[i], 0, 0.15);

  // A linear problem ends at its solution, 3 and -2.
  Problem linear(2, 5, 0.01, [](const double* x, int i) { return x[0] + i * x[1] - (3 - 2 * i); });
  const double near[] = {3.1, -2.1};
  ASSERT_TRUE(linear.Initialize(near));
  ASSERT_TRUE(linear.Solve());
  EXPECT_NEAR(linear.X()[0], 3, 1e-3);
  EXPECT_NEAR(linear.X()[1], -2, 1e-3);
}

TEST_P(TrustRegion, RefusesWhatItCannotSolve) {
  const auto line = [](const double* x, int i) { return x[0] - 1 + 0 * i; };
  const double zero[] = {0, 0, 0};
  EXPECT_FALSE(Problem(3, 2, 1, line).Initialize(zero)) << "fewer residuals than parameters";
  EXPECT_FALSE(Problem(1, 0, 1, line).Initialize(zero)) << "no residual";
  EXPECT_FALSE(Problem(1, 4, 0, line).Initialize(zero)) << "tolerance 0";
  Problem held(1, 4, 1, line);
  held.RemoveParameters(1);
  EXPECT_FALSE(held.Initialize(zero)) << "nothing free";
  // The start is at distance 1 from each of 4 residuals, so the sum of squares is 4 = 10000 x 0.02^2.
  EXPECT_FALSE(Problem(1, 4, 0.02, line).Initialize(zero)) << "exactly 100 x tolerance";
  EXPECT_TRUE(Problem(1, 4, 0.02 * (1 + 1e-12), line).Initialize(zero));
}

TEST_P(TrustRegion, StopsOnNumbersThatAreNotFinite) {
  const double start[] = {0.5};
  const double bad[] = {std::nan(""), std::numeric_limits<double>::infinity()};
  for (const double value : bad) {
    Problem atStart(1, 3, 1, [&](const double*, int i) { return i == 1 ? value : 0.1; });
    EXPECT_FALSE(atStart.Initialize(start));
    // Finite at the start, not beside it: only the Jacobian and the trial points meet it.
    Problem beside(1, 3, 1, [&](const double* x, int) { return x[0] == 0.5 ? 0.5 : value; });
    ASSERT_TRUE(beside.Initialize(start));
    EXPECT_FALSE(beside.Solve());
    Problem further(1, 3, 1, [&](const double* x, int) { return x[0] < 0.45 ? value : x[0]; });
    ASSERT_TRUE(further.Initialize(start));
    EXPECT_FALSE(further.Solve());
  }
}

TEST_P(TrustRegion, EndsWhereNoParameterMatters) {
  Problem flat(2, 5, 1, [](const double*, int i) { return 0.1 * i; });
  const double start[] = {0.25, -0.5};
  ASSERT_TRUE(flat.Initialize(start));
  EXPECT_TRUE(flat.Solve());
  EXPECT_EQ(flat.X()[0], 0.25);
  EXPECT_EQ(flat.X()[1], -0.5);
  // One column that vanishes does not stop the run: the other parameter is still found.
  Problem half(2, 5, 0.01, [](const double* x, int i) { return (1 + i) * (x[0] - 0.26); });
  ASSERT_TRUE(half.Initialize(start));
  EXPECT_TRUE(half.Solve());
  EXPECT_NEAR(half.X()[0], 0.26, 1e-4);
}

TEST_P(TrustRegion, CopyHasTheProblemAndASolverOfItsOwn) {
  Problem original(1, 3, 0.01, [](const double* x, int i) { return (1 + i) * (x[0] - 3); });
  const double start[] = {3.1};
  ASSERT_TRUE(original.Initialize(start));
  Problem copy(original);
  ASSERT_TRUE(original.Solve());
  const double other[] = {2.9};
  ASSERT_TRUE(copy.Initialize(other));
  ASSERT_TRUE(copy.Solve());
  EXPECT_NEAR(original.X()[0], 3, 1e-4);
  EXPECT_NEAR(copy.X()[0], 3, 1e-4);
}

TEST_P(TrustRegion, AllocatesNothingWhileItRuns) {
  int used[2];
  for (const int m : {100, 10000}) {
    std::vector<Eigen::Vector3d> points;
    std::vector<const Eigen::Vector3d*> pointers;
    for (int i = 0; i < m; ++i) {
      points.push_back({std::cos(0.1 * i) + 1e-3 * std::sin(7.0 * i), std::sin(0.1 * i), 1e-3 * i});
    }
    for (const auto& p : points) pointers.push_back(&p);
    const int before = allocations;
    TRCylinder model(m, pointers.data(), 0.006);
    const double start[] = {0.01, 0, 0, 1.01, 0.0, 1.5};
    ASSERT_TRUE(model.Initialize(start));
    const int ready = allocations;
    ASSERT_TRUE(model.Solve());
    EXPECT_EQ(allocations, ready) << "in the loop";
    used[m == 10000] = ready - before;
  }
  EXPECT_EQ(used[0], used[1]) << "for each point";
}

TEST_P(TrustRegion, SaysWhenThereIsNoMemory) {
  constexpr int kHuge = std::numeric_limits<int>::max();
  EXPECT_EQ(primfit::testing::MessageOf([] { Problem(kHuge, kHuge, 1, nullptr); }),
            "Cannot allocate memmory");
}

}  // namespace
