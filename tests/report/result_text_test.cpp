// What people read of a result: digits, what the points do not determine, the picture of the distances.
#include "report/result_text.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>

#include "report/histogram_text.h"
#include "report/number_text.h"
#include "report/result_from_run.h"
#include "report/result_json.h"

namespace primfit::report {

namespace {

using Eigen::Vector3d;

constexpr double kInfinite = std::numeric_limits<double>::infinity();
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr double kDegree = std::numbers::pi / 180;

constexpr Part kParts[] = {{"origin", PartKind::kPosition, Role::kHoldable},
                           {"radius", PartKind::kRadius, Role::kHoldable},
                           {"axis", PartKind::kDirection, Role::kHoldable}};

/// Standard deviations along and about x, and along the radius; along and about y there is 1 mm and 1 degree.
struct Row {
  double position, direction, radius;
  double along;  ///< of the origin from where the covariance is stated
  const char *originLine, *radiusLine, *axisLine;
};

FittedShape ResultOf(const Row& row) {
  FittedShape result;
  result.shape = {1, 2, 3 + row.along, 0.5, 0, 0, 1};
  result.evidence.emplace();
  FitCovariance& c = result.evidence->covariance;
  c.position = Vector3d(1, 2, 3);
  c.parameters = {{ParameterKind::kPosition, Vector3d::UnitX(), row.position},
                  {ParameterKind::kPosition, Vector3d::UnitY(), 0.001},
                  {ParameterKind::kDirection, Vector3d::UnitX(), row.direction},
                  {ParameterKind::kDirection, Vector3d::UnitY(), kDegree},
                  {ParameterKind::kRadius, Vector3d::Zero(), row.radius}};
  c.matrix = Eigen::MatrixXd::Zero(5, 5);
  for (Eigen::Index i = 0; i < 5; ++i)
    c.matrix(i, i) = std::pow(c.parameters[static_cast<std::size_t>(i)].standardDeviation, 2);
  return result;
}

TEST(ResultText, SaysInWordsWhatThePointsDoNotDetermine) {
  const char* const origin =
      "  origin           1.000000, 2.000000, 3.000000 m ± not determined by the points\n";
  const char* const radius = "  radius           0.500000 m ± not determined by the points\n";
  const char* const axis =
      "  axis             0.000000000, 0.000000000, 1.000000000 ± not determined by the points\n";
  const char* const knownOrigin = "  origin           1.0000, 2.0000, 3.0000 ± 0.0020 m\n";
  const char* const knownRadius = "  radius           0.5000 ± 0.0030 m\n";
  const char* const knownAxis = "  axis             0.000, 0.000, 1.000 ± 2.0 deg\n";
  const Row rows[] = {
      {0.002, 2 * kDegree, 0.003, 0, knownOrigin, knownRadius, knownAxis},
      {0.002, 2 * kDegree, kInfinite, 0, knownOrigin, radius, knownAxis},
      {0.002, 2 * kDegree, kNone, 0, knownOrigin, radius, knownAxis},
      {kInfinite, 2 * kDegree, 0.003, 0, origin, knownRadius, knownAxis},
      {0.002, kInfinite, 0.003, 0, knownOrigin, knownRadius, axis},
      {0.002, 2663 * kDegree, 0.003, 0, knownOrigin, knownRadius, axis},
      // The place turns with the axis where it is not that of the covariance.
      {0.002, kInfinite, 0.003, 1, "  origin           1.000000, 2.000000, 4.000000 m ± not", knownRadius,
       axis},
  };
  const Input input{.path = "a.ply", .unit = kUnits[0], .unitSource = UnitSource::kAssumed};
  const io::Selection cloud;
  for (const Row& row : rows) {
    FitRequest request;
    request.fixed.assign(3, false);
    const Result result =
        ResultOfFit({}, {kParts, &input, &cloud, request, ResultOf(row), {}, 0, 1, false, 0});
    const std::string text = TextOf(ReadResult(WriteResult(result)));
    for (const char* line : {row.originLine, row.radiusLine, row.axisLine})
      EXPECT_NE(text.find(line), std::string::npos) << text << " lacks " << line;
    const Covariance& covariance = *result.shapes.at(0).covariance;
    EXPECT_EQ(std::isfinite(covariance.parameters[4].standardDeviation), std::isfinite(row.radius));
    EXPECT_EQ(std::isfinite(covariance.matrix[2][2]), std::isfinite(row.direction));
  }
}

TEST(ResultText, LeavesOutEmptySlotsAtTheEndsAndJoinsThoseBetween) {
  const struct {
    std::vector<std::uint64_t> counts;
    std::vector<std::array<double, 3>> shown;  // from, to, count
  } rows[] = {
      {{}, {}},
      {{0, 0, 0}, {}},
      {{5, 0, 0}, {{0, 1, 5}}},
      {{0, 0, 7}, {{2, 3, 7}}},
      {{1, 0, 2}, {{0, 1, 1}, {1, 2, 0}, {2, 3, 2}}},
      {{0, 1, 0, 0, 0, 2, 3, 0, 4, 0}, {{1, 2, 1}, {2, 5, 0}, {5, 6, 2}, {6, 7, 3}, {7, 8, 0}, {8, 9, 4}}},
  };
  for (const auto& row : rows) {
    std::vector<HistogramSlot> slots;
    for (const std::uint64_t count : row.counts)
      slots.push_back({static_cast<double>(slots.size()), static_cast<double>(slots.size()) + 1, count, 0});
    std::vector<std::array<double, 3>> shown;
    for (const HistogramSlot& slot : SlotsToShow(slots))
      shown.push_back({slot.from, slot.to, static_cast<double>(slot.count)});
    EXPECT_EQ(shown, row.shown);
  }
}

TEST(ResultText, ShowsAMicrometreInEveryUnit) {
  const char* const shown[] = {"0.000001 m",  "0.001 mm",       "0.0001 cm",
                               "0.000003 ft", "0.000003 ft-us", "0.00004 in"};
  for (std::size_t i = 0; i < kUnits.size(); ++i) {
    const Units units{.length = std::string(kUnits[i].name), .lengthMetres = kUnits[i].metres};
    EXPECT_EQ(LengthText(1e-6 / kUnits[i].metres, units), shown[i]);
  }
}

// A stored result is anybody's text.
TEST(ResultText, HidesWhatWouldControlATerminal) {
  Result result;
  result.status = Status::kNothing;
  result.command = "sphere\x1b[2J";
  result.input.path = "a\nb";
  result.reason = "none\r";
  EXPECT_EQ(TextOf(result).find("no sphere?[2J found in a?b: none?\npoints\n"), 0U) << TextOf(result);
}

}  // namespace

}  // namespace primfit::report
