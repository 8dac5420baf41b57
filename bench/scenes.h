// The scenes of the benchmarks and of the accuracy programs: a true shape about a metre in size for each
// primitive, points with noise on a part of it, outliers, the fit through the primitive's entry point, and
// the errors of what it gives.
#ifndef PRIMFIT_BENCH_SCENES_H_
#define PRIMFIT_BENCH_SCENES_H_

#include <Eigen/Core>
#include <Eigen/Geometry>
#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <span>
#include <string_view>
#include <vector>

#include "primfit/fit.h"
#include "primfit/fit/fit_quality.h"
#include "primfit/shapes/output_shape.h"

namespace primfit::bench {

using Points = std::vector<Eigen::Vector3d>;
using Pose = Eigen::Isometry3d;

/// Standard deviation of the points from the true shape, metres.
inline constexpr double kNoise = 0.002;

struct Range {
  double low = 0, high = 0;
  double Length() const { return high - low; }
};

/// Random numbers and poses that follow from a seed.
class Random {
 public:
  explicit Random(std::uint64_t seed) : engine_(seed) {}
  double Uniform(double low, double high) {
    return std::uniform_real_distribution<double>(low, high)(engine_);
  }
  double Gauss() { return std::normal_distribution<double>()(engine_); }
  int Index(int n) { return std::uniform_int_distribution<int>(0, n - 1)(engine_); }
  /// Any rotation, uniformly, and a place a metre or so from the origin.
  Pose AnyPose();
  void Shuffle(Points& points) { std::shuffle(points.begin(), points.end(), engine_); }

 private:
  std::mt19937_64 engine_;
};

/// The numbers of a true shape and the part of it that is seen, as ranges of the parameters of its Eval().
/// Lengths in metres, angles in radians.
struct Truth {
  double size = 0;  // radius, half-angle of a cone, major radius of a torus
  double tube = 0;  // minor radius of a torus
  Range u, v;
};

/// How far one parameter of a fit is from the truth.
struct Error {
  const char* parameter;
  const char* unit;  // "mm" or "deg"
  double value;      // never negative
};
using Errors = std::vector<Error>;
using Extent = std::vector<double>;

/// What a fit gave: the unbounded shape in the coordinates of its points, and the numbers of its extent.
struct Found {
  std::shared_ptr<const OutputShape> shape;
  FitQuality quality;
  Extent extent;
  int draws = 0;  // samples that the search drew
};

struct AdaptiveFound : Found {
  FitReport report;
  FitCovariance covariance;
  FitExtents extents;
  Points ends;  // where a line, arc, cylinder or elbow begins; the corners of a patch
};

/// One primitive. Its true shape has its centre, apex or root in the origin of the pose and its axis, normal
/// or direction along z.
struct Primitive {
  std::string_view name;
  Truth truth;
  std::shared_ptr<const OutputShape> (*make)(const Truth&, const Pose&);
  /// The share of a full turn (of the arc: of its half turn; of the sphere: of its surface, a cap about z)
  /// that is left of the truth. Line and plane stay whole.
  Truth (*part)(Truth, double coverage);
  /// The area beside a point relative to the largest one, by which points are spread evenly.
  double (*weight)(const Truth&, double u, double v);
  Errors (*errors)(const Truth&, const Pose&, const OutputShape& fit);
  /// The extent that a fit of the whole truth has, in the order of Found::extent; empty for unbounded shapes.
  Extent (*extent)(const Truth&);
  /// The default fit with an expected share of outliers. @throws what the entry point throws
  Found (*fit)(const Points&, double outlierShare);
  /// The adaptive fit, which is told nothing. @throws FitError
  AdaptiveFound (*adaptive)(PointView);
};

std::span<const Primitive> Primitives();
/// @throws std::out_of_range for a name that is none
const Primitive& PrimitiveNamed(std::string_view name);

/// Points spread evenly over the true shape, moved by noise along its normal (of a curve: along both
/// normals).
Points PointsOn(const Primitive& primitive, const Truth& truth, const Pose& pose, int n, double noise,
                Random& random);

struct SceneOptions {
  int points = 5000;
  double outliers = 0;  // share of the points that is uniform about the others
  double noise = kNoise;
  double around = 1;  // how much larger than the bounding box the outliers' is
  bool survey =
      false;  // a place in survey coordinates, where millimetres stand beside thousands of kilometres
};

struct Scene {
  Truth truth;
  Pose pose;
  double noise;
  Points inliers;
  Points points;  // inliers and outliers, shuffled
};

Scene MakeScene(const Primitive& primitive, const Truth& truth, const SceneOptions& options,
                std::uint64_t seed);

/// What a caller tells a fit of a scene: the true share, but at least 1 %, since 0 means that no sample is
/// drawn.
inline double OutlierShare(double outliers) { return std::max(outliers, 0.01); }

double RootMeanSquare(const OutputShape& shape, const Points& points);

/// Whether the true points, noise included, are as near as they can be to a fit, twice the noise at the most.
/// A curve's points have noise in two directions.
bool IsNear(const Scene& scene, const OutputShape& fit);

/// Whether an extent is the true one within 5 %; outliers beside a shape may stretch its extent, but not
/// shrink it.
bool Reaches(const Extent& extent, const Extent& truth, bool stretched);

}  // namespace primfit::bench

#endif  // PRIMFIT_BENCH_SCENES_H_
