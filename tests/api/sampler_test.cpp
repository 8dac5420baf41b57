// The point sub-sampler: how many, which, in what order.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "api/array_sampler.h"
#include "api/working_set.h"
#include "primfit/fit/scoped_seed.h"

namespace {

using Eigen::Vector3d;

TEST(ArraySampler, KeepsTheArrayOrASubsetInOrder) {
  std::vector<Vector3d> data;
  for (int i = 0; i < 1000; ++i) data.push_back({1.0 * i, 0, 0});
  const struct {
    std::uint64_t n, most;
    bool allow;
    std::uint64_t count;
    bool sampled;
  } rows[] = {{1000, 1000, true, 1000, false}, {1000, 999, true, 999, true}, {1000, 300, true, 300, true},
              {1000, 300, false, 1000, false}, {1000, 1, true, 1, true},     {0, 300, true, 0, false},
              {1000, 0, true, 0, false}};
  Tls::ArraySampler<Vector3d> sampler;  // one for all rows: Sample forgets what was before
  for (const auto& row : rows) {
    sampler.Sample(data.data(), row.n, row.most, row.allow);
    EXPECT_EQ(sampler.GetCount(), row.count);
    EXPECT_EQ(sampler.IsSampled(), row.sampled);
    EXPECT_EQ(sampler.GetData() == data.data(), !row.sampled && row.most > 0);
    for (std::uint64_t i = 1; i < sampler.GetCount(); ++i) {
      ASSERT_LT(sampler.GetData()[i - 1].x(), sampler.GetData()[i].x()) << "the caller's order, each once";
    }
  }
  sampler.Clear();
  EXPECT_EQ(sampler.GetData(), nullptr);
  EXPECT_EQ(sampler.GetCount(), 0U);
}

TEST(SelectionMask, ChoosesEachElementEquallyOften) {
  const primfit::ScopedSeed seed(21);
  for (const std::uint64_t k :
       {1U, 20U, 50U, 51U, 99U}) {  // both ways round: set the chosen or clear the others
    std::vector<int> chosen(100);
    constexpr int kRounds = 4000;
    for (int round = 0; round < kRounds; ++round) {
      const auto mask = Tls::MakeSelectionMask(100, k);
      ASSERT_EQ(std::accumulate(mask.data(), mask.data() + 100, 0U), k);
      for (std::size_t i = 0; i < 100; ++i) chosen[i] += mask[i];
    }
    const double share = static_cast<double>(k) / 100, sigma = std::sqrt(kRounds * share * (1 - share));
    for (const int count : chosen) EXPECT_NEAR(count, kRounds * share, 6 * sigma);  // one in 1e6 over all
  }
}

TEST(WorkingSet, TakesTheFinitePointsRelativeToOneOfTheirPlaces) {
  const std::vector<Vector3d> data = {
      {std::nan(""), 0, 0}, {5e5, 4e6, 100}, {5e5 + 0.25, 4e6, 101}, {0, INFINITY, 0}, {5e5, 4e6 - 0.5, 100}};
  primfit::WorkingSet set;
  set.Sample(data.data(), data.size(), 100, true);
  ASSERT_EQ(set.Count(), 3);
  EXPECT_LE((set.Origin() - data[1]).norm(), 1.2);
  for (const auto& [at, from] : {std::pair{0, 1}, {1, 2}, {2, 4}})
    EXPECT_EQ(set.Points()[at] + set.Origin(), data[from]);
}

TEST(WorkingSet, HasItsOriginAmongMostOfThePoints) {
  // A cloud of ten metres in survey coordinates; strays at the front, in every row of an organised scan of 20
  // columns, or anywhere.
  const Vector3d center(5e5, -4e6, 100);
  for (const std::uint64_t n : {20U, 1000U, 64000U, 150000U}) {
    for (const double share : {0.0, 0.01, 0.1, 0.25, 0.4}) {
      for (const double stray : {0.0, 1e14, -1e16, 3.4e38, 1e160, -1.7e308}) {
        for (const char* where : {"front", "columns", "anywhere"}) {
          std::mt19937_64 random(n);
          std::uniform_real_distribution<double> u(-5, 5);
          std::vector<Vector3d> data;
          for (std::uint64_t i = 0; i < n; ++i) {
            const double rank = *where == 'f'   ? static_cast<double>(i) / static_cast<double>(n)
                                : *where == 'c' ? static_cast<double>(i % 20) / 20
                                                : u(random) / 10 + 0.5;
            data.push_back(center + Vector3d(u(random), u(random), u(random)));
            if (rank < share) data.back().setConstant(stray);
          }
          primfit::WorkingSet set;
          set.Sample(data.data(), n, primfit::WorkingSet::kCap, true);
          EXPECT_LE((set.Origin() - center).lpNorm<Eigen::Infinity>(), 5)
              << n << " points, " << share << " of them at " << stray << ", " << where;
        }
      }
    }
  }
}

}  // namespace
