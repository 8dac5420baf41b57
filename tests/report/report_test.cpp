// What the report says of parts that the points do not determine.
#include "report/report.h"

#include <gtest/gtest.h>

#include <array>
#include <limits>
#include <nlohmann/json.hpp>

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
  FittedShape result{{1, 2, 3 + row.along, 0.5, 0, 0, 1}, FitQuality(), {}, Evidence()};
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

TEST(Report, SaysInWordsWhatThePointsDoNotDetermine) {
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
  const Input input{"a.ply", kUnits.data(), {}};
  const io::Selection cloud;
  for (const Row& row : rows) {
    FitRequest request;
    request.fixed.assign(3, false);
    const FitRun run{"cylinder", kParts, &input, &cloud, request, ResultOf(row), 0, 1, false, 0};
    const std::string text = TextReport(run);
    for (const char* line : {row.originLine, row.radiusLine, row.axisLine})
      EXPECT_NE(text.find(line), std::string::npos) << text << " lacks " << line;
    const auto json = nlohmann::json::parse(JsonReport(run));
    EXPECT_EQ(json["covariance"]["parameters"][4]["standard_deviation"].is_null(),
              !std::isfinite(row.radius));
    EXPECT_EQ(json["covariance"]["matrix"][2][2].is_null(), !std::isfinite(row.direction));
  }
}

}  // namespace

}  // namespace primfit::report
