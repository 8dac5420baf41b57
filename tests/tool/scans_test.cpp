// The program on real scans, as their owners would run it.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <Eigen/Core>
#include <cmath>
#include <cstdlib>
#include <nlohmann/json.hpp>

#include "run_program.h"
#include "support/scratch_folder.h"

namespace {

using Eigen::Vector3d;
using Json = nlohmann::json;

class Scans : public ScratchFolder {
 protected:
  /// Unpacks a scan of the examples, and fits it.
  Json Fit(const std::string& scan, std::vector<std::string> arguments) const {
    const std::string file = Path(scan + ".xyz");
    const std::string unpack = "gunzip -c '" PRIMFIT_TEST_DATA "/" + scan + ".xyz.gz' >'" + file + "'";
    EXPECT_EQ(std::system(unpack.c_str()), 0);  // NOLINT(cert-env33-c): names of this file
    arguments.insert(arguments.end(), {"--json", file});
    const run_program::Outcome outcome = run_program::Launch(arguments);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    return Json::parse(outcome.out);
  }
};

const Json& PartOf(const Json& fit, const char* name) { return fit["shapes"][0]["parts"][name]["value"]; }
double Radius(const Json& fit) { return PartOf(fit, "radius").get<double>(); }
double Across(const Json& direction, const Vector3d& other) {
  const Vector3d d(direction.at(0).get<double>(), direction.at(1).get<double>(),
                   direction.at(2).get<double>());
  return std::sqrt(1 - std::pow(d.dot(other.normalized()), 2));
}

TEST_F(Scans, GiveWhatIsKnownOfThem) {
  for (const char* seed : {"1", "2", "3", "4"}) {
    SCOPED_TRACE(seed);
    // 50 mm by the maker; two fifths of the points are of its mount and its edge.
    EXPECT_NEAR(Radius(Fit("sphere-target-1", {"sphere", "--seed", seed})), 0.050, 0.0005);
    // From one side, with a handle; it stands on the plane that was taken away.
    const Json mug = Fit("mug", {"cylinder", "--seed", seed});
    EXPECT_NEAR(Radius(mug), 0.0395, 0.0005);
    EXPECT_LT(Across(PartOf(mug, "axis"), Vector3d(-0.016, 0.837, 0.547)), std::sin(0.052));
    // Coordinates are rounded to 16 mm.
    const Json pole = Fit("lamppost", {"cylinder", "--radius-range", "0.02,0.05", "--seed", seed});
    EXPECT_NEAR(Radius(pole), 0.04, 0.01);
    EXPECT_LT(Across(PartOf(pole, "axis"), Vector3d::UnitZ()), 0.05);
    EXPECT_EQ(pole["shapes"][0]["verdict"], "good");
    // The largest plane, not the dense spot below the scanner.
    const Json room = Fit("room", {"plane", "--seed", seed});
    EXPECT_LT(Across(PartOf(room, "normal"), Vector3d::UnitZ()), 0.03);
    EXPECT_NEAR(PartOf(room, "origin").at(2).get<double>(), 1.67, 0.02);
  }
}

}  // namespace
