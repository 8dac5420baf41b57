// The search for a picked pipe: its rules one by one, and pipes among pipes.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <memory>
#include <set>

#include "primfit/primfit.h"
#include "support/gtest_support.h"
#include "support/scenes.h"

namespace primfit::testing {
namespace {

using Eigen::Vector3d;

RansacOut Record(int count, double nearShare) {
  const double bands[] = {nearShare, 0, 0, 0, 0, 0, 0, 0, 0, 0};
  return {nullptr, std::vector<int>(static_cast<std::size_t>(count)), 0.006, bands};
}

TEST(Consensus, RanksByCountThenByTheSharesNearTheSurface) {
  const struct {
    int countA, countB;
    double nearA, nearB;
    bool before;
  } rows[] = {{50, 55, 0.5, 0.4, true},
              {50, 55, 0.4, 0.5, false},
              {50, 56, 0.9, 0.1, false},
              {56, 50, 0.1, 0.9, true},
              {50, 50, 0.3, 0.3, true}};
  for (const auto& row : rows) {
    EXPECT_EQ(Record(row.countA, row.nearA) < Record(row.countB, row.nearB), row.before)
        << row.countA << " " << row.countB;
  }
}

TEST(Consensus, CountsItsSamplesWithoutTheSeed) {
  EXPECT_EQ(RansacConsensus::NumberIterations(9, 0.99, 0.8), 32);
  EXPECT_EQ(RansacConsensus::NumberIterations(8, 0.99, 0.5), 1177);
  EXPECT_EQ(RansacConsensus::NumberIterations(8, 0.99, 1), 0);
  EXPECT_EQ(RansacConsensus::NumberIterations(200, 0.99, 0.1), 5000);
}

/// Reaches the protected sample size.
class Search : public RansacConsensusCylinder {
 public:
  using RansacConsensusCylinder::RansacConsensusCylinder;
  int SampleSize() const { return sampleSize(); }
};

TEST(Consensus, AdaptsItsSampleToFewPoints) {
  const Points points(300, Vector3d(1, 2, 3));
  const struct {
    int n, k, expected;
  } rows[] = {{100, 9, 10}, {199, 9, 10}, {200, 9, 9}, {100, 30, 20}, {10, 9, 10}, {12, 12, 12}};
  for (const auto& row : rows) {
    EXPECT_EQ(Search({0, 0, 0}, 1, row.n, points.data(), row.k, 0.99, 0.8, 0.006, 0.012).SampleSize(),
              row.expected)
        << row.n << " " << row.k;
  }
  const auto message = [&](int n, int k, double w) {
    return MessageOf([&] { Search({0, 0, 0}, 1, n, points.data(), k, 0.99, w, 0.006, 0.012); });
  };
  EXPECT_EQ(message(9, 20, 0.05), "Good Sample Rate < 0.1");
  EXPECT_EQ(message(15, 20, 0.5), "Not enough points");
  EXPECT_EQ(message(9, 9, 0.5), "Not enough points");
}

TEST(Consensus, SamplesDistinctPointsAndTheSeedLast) {
  Points points;
  for (int i = 0; i < 20; ++i) points.push_back({1.0 * i, 0, 0});
  const Vector3d seed(7, 7, 7);
  Search search(seed, 1, 20, points.data(), 9, 0.99, 0.8, 0.006, 0.012);
  RansacConsensus::Generator generator{std::minstd_rand(3), std::uniform_int_distribution<int>(0, 19)};
  Vector3d sample[9];
  for (int run = 0; run < 100; ++run) {
    search.SamplePoints(9, sample, &generator);
    std::set<double> distinct;
    for (int i = 0; i < 8; ++i) distinct.insert(sample[i].x());
    EXPECT_EQ(distinct.size(), 8U);
    EXPECT_EQ(sample[8], seed);
  }
}

TEST(Consensus, SortsPointsIntoBands) {
  // Distances from a cylinder of radius 1 about z, in scanner errors of 1/64: exact in binary.
  constexpr double e = 1.0 / 64;
  const double offsets[] = {0, 0.2, -0.2, 0.3, 0.99, 1.99, 3, -3, 9.99, 10, -10.5, 500};
  Points points;
  for (const double offset : offsets) points.push_back({1 + offset * e, 0, 5});
  Search search({1, 0, 0}, 1, 12, points.data(), 9, 0.99, 0.8, e, 0.012);
  std::vector<int> close;
  double bands[10];
  const OutputCylinder cylinder({0, 0, 0}, 1, {0, 0, 1});
  EXPECT_TRUE(search.MakeHistogram(&cylinder, close, bands))
      << "6 close of 12, at least int(0.8 x 0.5 x 12) = 4";
  EXPECT_EQ(close, (std::vector<int>{0, 1, 2, 3, 4, 5}));
  const double expected[] = {3, 1, 0, 1, 0, 0, 0, 1, 2, 1};
  for (int j = 0; j < 10; ++j) EXPECT_DOUBLE_EQ(bands[j], expected[j] / 12) << j;
  const OutputSphere sphere({0, 0, 0}, 1);
  EXPECT_FALSE(search.MakeHistogram(&sphere, close, bands));
}

TEST(Consensus, RejectsCandidatesThickerThanFourHints) {
  Random random;
  const OutputCylinder pipe({0, 0, 0}, 1, {0, 0, 1});
  const Points points = PointsOn(pipe, 50, kFullTurn, {-1, 1}, 0, random);
  for (const auto& [hint, found] : {std::pair{0.26, true}, std::pair{0.24, false}}) {
    Search search(points[0], hint, 50, points.data(), 9, 0.99, 0.8, 0.006, 0.012);
    const std::unique_ptr<OutputShape> shape(search.MakeShape(20, points.data()));
    EXPECT_EQ(shape != nullptr, found) << hint;
  }
}

/// Two crossing pipes and a wall, in a pose far from the origin; the first pipe is the one that is picked.
struct Plant {
  Plant(double share, std::uint64_t run) : random(run) {
    Pose pose = random.AnyPose(5);
    pose.translation += Vector3d(500000, 4000000, 100);
    constexpr int kPoints = 4000;
    const int onPipe = static_cast<int>(share * kPoints), onOther = (kPoints - onPipe) / 2;
    picked = OutputCylinder(pose.translation, 0.1, pose.rotation.col(2));
    const OutputCylinder other(pose * Vector3d(0.25, 0, 0.2), 0.08, pose.rotation.col(1));
    const OutputPlane wall(pose * Vector3d(-0.3, 0, 0), pose.rotation.col(0));
    pipe = PointsOn(picked, onPipe, {0, 3.5}, {-1, 1}, 0.002, random);  // seen from one side
    all = Joined(Joined(pipe, PointsOn(other, onOther, {0, 3.5}, {-1, 1}, 0.002, random)),
                 PointsOn(wall, kPoints - onPipe - onOther, {-1, 1}, {-1, 1}, 0.002, random));
  }
  Random random;
  OutputCylinder picked{{0, 0, 0}, 1, {0, 0, 1}};
  Points pipe, all;
};

TEST(Consensus, TakesThePickedPipeWhateverTheHint) {
  // With 60 % of the points on the pipe one sample in 60 is clean, and a search draws up to 1177 of them.
  const struct {
    double hint;
    std::uint64_t runs;
    int found;
  } rows[] = {{1, 100, 97}, {2, 30, 29}, {0.6, 30, 29}};
  for (const auto& [hint, runs, least] : rows) {
    int found = 0;
    for (std::uint64_t run = 0; run < runs; ++run) {
      const Plant plant(0.6, run);
      FitInputParams<FitConstraintsCylinder> params;
      params.SetOutlierPercentage(0.5);
      const ScopedSeed seed(run);
      double bands[10];
      const std::unique_ptr<OutputCylinder> result(
          ConsensusRansacCylinder(plant.pipe[3], hint * 0.1, plant.all.data(), 4000, params, bands));
      if (!result) continue;
      double sum = 0;
      for (const Vector3d& p : plant.pipe) sum += std::pow(result->Distance(p), 2);
      found += std::sqrt(sum / static_cast<double>(plant.pipe.size())) < 0.004 ? 1 : 0;
      EXPECT_GT(bands[0] + bands[1] + bands[2] + bands[3], 0.3);
    }
    EXPECT_GE(found, least) << "hint " << hint;
  }
}

TEST(Consensus, AnswersForBadInput) {
  Random random;
  const Points points = Clutter({-1, -1, -1}, {1, 1, 1}, 300, random);
  Points line;
  for (int i = 0; i < 300; ++i) line.push_back({0.01 * i, 0, 0});
  const FitInputParams<FitConstraintsCylinder> params;
  double bands[10];
  const auto missing = [&](const Vector3d* p, int n) {
    const ScopedSeed seed(1);
    const std::unique_ptr<OutputCylinder> shape(ConsensusRansacCylinder({0, 0, 0}, 0.1, p, n, params, bands));
    const auto fit = [&] { ConsensusRansacFit({0, 0, 0}, 0.1, p, n, params, nullptr); };
    return shape == nullptr && MessageOf(fit) == "FitCylinder failed";
  };
  EXPECT_TRUE(missing(nullptr, 300));
  for (const int n : {0, -3, 9, 300}) EXPECT_TRUE(missing(points.data(), n)) << n;
  EXPECT_TRUE(missing(line.data(), 300));
}

TEST(Consensus, GivesARecordWithItsQuality) {
  const Plant plant(0.8, 5);
  FitInputParams<FitConstraintsCylinder> params;
  params.SetOutlierPercentage(0.3);
  const ScopedSeed seed(2);
  const auto fit = ConsensusRansacFit(plant.pipe[10], 0.1, plant.all.data(), 4000, params, nullptr);
  EXPECT_NEAR(fit.GetFitShape().Radius(), 0.1, 0.002);
  EXPECT_NEAR(fit.GetFitQuality().rmsDistance, 0.002, 0.0005);
  EXPECT_GT(fit.GetFitQuality().GetInlierCount(), 3000);
}

}  // namespace
}  // namespace primfit::testing
