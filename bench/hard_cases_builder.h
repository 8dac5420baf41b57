// Puts a hard scene together: points spread evenly over faces, points as a scanner or a depth camera would
// measure them, clutter, and the pose, rounding and order in which a file would hold them.
#ifndef PRIMFIT_BENCH_HARD_CASES_BUILDER_H_
#define PRIMFIT_BENCH_HARD_CASES_BUILDER_H_

#include <cmath>
#include <functional>
#include <limits>
#include <span>
#include <vector>

#include "hard_cases_faces.h"

namespace primfit::bench {

/// What measures a scene from one place: a terrestrial scanner with its grid of directions, or a camera.
struct Sensor {
  Eigen::Vector3d place = Eigen::Vector3d::Zero();
  int columns = 0, rows = 0;
  /// The unit direction of a pixel.
  std::function<Eigen::Vector3d(int column, int row)> direction;
  /// Standard deviation of where a beam really goes from that. Without it the points of a column would lie in
  /// a plane to the last bit.
  double angularNoise = 4e-5;
  /// What is measured for a true range.
  std::function<double(double range, Random&)> measure;
  /// Of the pixels at a jump in range, how many see both sides and measure something between.
  double mixedShare = 0.3;
  /// Whether a pixel that sees nothing is stored as a point at the sensor.
  bool storesMissing = false;
};

/// A scanner with its axis along z. Angles in radians.
Sensor Scanner(const Eigen::Vector3d& place, Range azimuth, Range elevation, double step, double noise);
/// A camera that measures depth by disparity: its noise grows with the square of the range, and ranges come
/// in steps that do so too.
/// @param pixels  in a row; there are three quarters as many rows. The row spans 60 degrees
Sensor DepthCamera(const Eigen::Vector3d& place, const Eigen::Vector3d& target, int pixels,
                   double noiseAtOneMetre);

/// What a pixel sees: the nearest face in its direction.
struct Sight {
  std::size_t face = 0;
  double range = std::numeric_limits<double>::infinity();
  Eigen::Vector3d exact = Eigen::Vector3d::Zero();
  bool IsNothing() const { return std::isinf(range); }
};

class SceneBuilder {
 public:
  /// @param noise  standard deviation of points that are spread over faces, along the normal
  SceneBuilder(double noise, Random& random) : noise_(noise), random_(random) {}

  /// Points on a face that is a right answer.
  SceneBuilder& Accept(const Face& face, int n);
  /// Points on a face that is none.
  SceneBuilder& Add(const Face& face, int n);
  /// Points on many faces, of which one with fewer than 75 points is no right answer: so few allow too much.
  SceneBuilder& Accept(std::span<const Face> faces, double density);
  SceneBuilder& Add(std::span<const Face> faces, double density);
  /// Points that belong to no face.
  SceneBuilder& AddPoints(const Points& points);
  /// @param share   of all points, afterwards
  /// @param around  how much larger than the bounding box of the others theirs is. Its sides are a tenth of
  ///     the longest at least, for clutter in a box as thin as a floor's noise would not differ from it.
  SceneBuilder& AddClutter(double share, double around = 1.5);
  /// Points of faces as sensors see them, those behind others left out.
  /// @param accepted  faces that are right answers, among `faces`; one with fewer than 75 points is none
  SceneBuilder& Scan(const std::vector<Face>& faces, const std::vector<std::size_t>& accepted,
                     const std::vector<Sensor>& sensors);

  /// The scene, its points in random order and in any pose.
  HardScene InAnyPose();
  /// The same, but what was vertical stays so and the order of the points is kept, as in files of scanners.
  HardScene Upright();

 private:
  struct Part {
    Face face;
    Points exact, measured;
  };

  Part Spread(const Face& face, int n);
  void ScanFrom(const Sensor& sensor, const std::vector<Face>& faces, std::vector<Part>& parts);
  /// @param neighbours  what pixels beside see
  void Measure(const Sensor& sensor, const Eigen::Vector3d& direction, const Sight& sight,
               const std::vector<Sight>& neighbours, std::vector<Part>& parts);
  HardScene In(const Pose& pose) const;

  double noise_;
  Random& random_;
  Points points_;
  std::vector<Part> accepted_;
};

/// All points of a scene as multiples of a step.
HardScene Rounded(HardScene scene, double step);
/// All points of a scene far from the origin of coordinates, and there rounded to single precision.
HardScene InSinglePrecision(HardScene scene, const Eigen::Vector3d& origin);

/// Random smooth waves of a standard deviation and about a wavelength.
std::function<double(const Eigen::Vector3d&)> Waves(double deviation, double wavelength, Random& random);

}  // namespace primfit::bench

#endif  // PRIMFIT_BENCH_HARD_CASES_BUILDER_H_
