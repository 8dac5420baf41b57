/// Adaptive, robust, converged fits with uncertainty: primfit::fit<Cylinder>(points). They need no parameter:
/// the noise, the bound of an inlier and the number of samples follow from the data, the result is the
/// orthogonal least-squares shape of its inliers, and it comes with covariance, report and verdict.
#ifndef PRIMFIT_FIT_H_
#define PRIMFIT_FIT_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <variant>
#include <vector>

#include "primfit/export.h"
#include "primfit/fit/fit_constraints.h"
#include "primfit/fit/fit_error.h"
#include "primfit/fit/fit_output_params_arc.h"
#include "primfit/fit/fit_output_params_cone.h"
#include "primfit/fit/fit_output_params_cylinder.h"
#include "primfit/fit/fit_output_params_line.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "primfit/fit/fit_output_params_sphere.h"
#include "primfit/fit/fit_output_params_torus.h"
#include "primfit/fit/fit_progress_updater.h"
#include "primfit/fit/fit_quality.h"

namespace primfit {

// What fit<...> can look for: the record that it gives and the constraints that it takes.

struct Line {
  using Record = FitOutputParamsLine;
  using Constraints = FitConstraintsLine;
};
struct Arc {
  using Record = FitOutputParamsArc;
  using Constraints = FitConstraintsArc;
};
struct Plane {
  using Record = FitOutputParamsPlane;
  using Constraints = FitConstraintsPlane;
};
struct Patch {
  using Record = FitOutputParamsPatch;
  using Constraints = FitConstraintsPlane;
};
struct Sphere {
  using Record = FitOutputParamsSphere;
  using Constraints = FitConstraintsSphere;
};
struct Cylinder {
  using Record = FitOutputParamsCylinder;
  using Constraints = FitConstraintsCylinder;
};
struct BoundedCylinder {
  using Record = FitOutputParamsCylinderBounded;
  using Constraints = FitConstraintsCylinder;
};
struct Cone {
  using Record = FitOutputParamsCone;
  using Constraints = FitConstraintsCone;
};
struct BoundedCone {
  using Record = FitOutputParamsConeBounded;
  using Constraints = FitConstraintsCone;
};
struct Torus {
  using Record = FitOutputParamsTorus;
  using Constraints = FitConstraintsTorus;
};
struct Elbow {
  using Record = FitOutputParamsElbow;
  using Constraints = FitConstraintsTorus;
};

/// Points of the caller's, not copied: x, y, z one after the other, `stride` numbers from point to point.
/// Floats give the same bits as the same values in doubles.
class PointView {
 public:
  PointView() = default;
  PointView(std::span<const Eigen::Vector3d> points)  // NOLINT(google-explicit-constructor): a view
      : PointView(points.empty() ? nullptr : points.front().data(), points.size()) {}
  PointView(std::span<const Eigen::Vector3f> points)  // NOLINT(google-explicit-constructor)
      : PointView(points.empty() ? nullptr : points.front().data(), points.size()) {}
  PointView(const std::vector<Eigen::Vector3d>& points)  // NOLINT(google-explicit-constructor)
      : PointView(std::span<const Eigen::Vector3d>(points)) {}
  PointView(const std::vector<Eigen::Vector3f>& points)  // NOLINT(google-explicit-constructor)
      : PointView(std::span<const Eigen::Vector3f>(points)) {}
  /// @param stride  in doubles, at least 3
  PointView(const double* data, std::size_t count, std::size_t stride = 3)
      : doubles_(data), count_(count), stride_(stride) {}
  /// @param stride  in floats, at least 3
  PointView(const float* data, std::size_t count, std::size_t stride = 3)
      : floats_(data), count_(count), stride_(stride) {}

  bool IsNull() const { return doubles_ == nullptr && floats_ == nullptr; }
  std::size_t Count() const { return count_; }
  std::size_t Stride() const { return stride_; }
  Eigen::Vector3d operator[](std::size_t i) const {
    return floats_ != nullptr ? PointAt(floats_, i) : PointAt(doubles_, i);
  }
  /// Calls visit with a pointer to the first coordinate, a double or a float: a loop over all points is fast
  /// where the type is decided outside of it. PointAt gives the points.
  template <class Visit>
  void VisitCoordinates(const Visit& visit) const {
    if (floats_ != nullptr) return visit(floats_);
    visit(doubles_);
  }
  /// The i-th point of coordinates from VisitCoordinates.
  template <class Number>
  Eigen::Vector3d PointAt(const Number* data, std::size_t i) const {
    return Eigen::Map<const Eigen::Matrix<Number, 3, 1>>(data + i * stride_).template cast<double>();
  }

 private:
  const double* doubles_ = nullptr;  // this one or the other, or none
  const float* floats_ = nullptr;
  std::size_t count_ = 0;
  std::size_t stride_ = 3;
};

/// What is plausible for a size; it may be any where nothing is said.
struct SizeRange {
  double low = 0;
  double high = std::numeric_limits<double>::infinity();
};

/// What FitOptions are in this version of the library; it takes those of earlier ones.
inline constexpr int kFitOptionsVersion = 2;

/// Lengths are in the unit of the points, angles in radians, times in seconds.
struct FitOptionsBase {
  int version = kFitOptionsVersion;  ///< of the header that the caller was compiled with
  std::optional<double> noise;       ///< standard deviation of the points from the shape; unset: estimated
  std::optional<double>
      tolerance;  ///< distance within which points are inliers; unset: three times the noise
  std::optional<double> outlierShare;  ///< for which enough samples are drawn; unset: the data's
  /// One for each point, zero or positive, on any scale: a point of weight 2 counts like two, one of weight 0
  /// is left out. None: all count alike.
  std::span<const double> weights;
  double confidence = 0.99;  ///< that no better shape was missed; in (0, 1)
  int mostDraws = 20000;     ///< samples at the most; the search for an elbow's pipes has 1000 more for each
  double timeLimit =
      std::numeric_limits<double>::infinity();  ///< from the call on; what was complete by then counts
  std::optional<std::uint64_t> seed;            ///< unset: of the thread's ScopedSeed, else of the clock
  SizeRange radius;       ///< of an arc, sphere, cylinder; of a torus or elbow the major one
  SizeRange minorRadius;  ///< of a torus or elbow
  SizeRange halfAngle;    ///< of a cone; within a quarter turn, low below it
  std::optional<Eigen::Vector3d> axisNear;  ///< direction of an axis, line or normal, of either sign
  double axisWithin = 0;                    ///< angle from axisNear
  std::optional<Eigen::Vector3d> passes;    ///< a place that the shape passes
  double passesWithin = 0;                  ///< distance from it, beside the inliers' tolerance
  /// Follows the fit, with shares below 1 that never run back, and can stop it.
  FitProgressUpdater* progress = nullptr;
};

template <class Shape>
struct FitOptions : FitOptionsBase {
  /// Parts to be held at the values of its shape; that shape is also the first candidate, where it is a
  /// shape. Parts that are not held may be anything beside held ones, NaN too.
  const typename Shape::Constraints* constraints = nullptr;

  // Since version 2.

  /// Plain orthogonal least squares: every finite point of some weight is on the shape, there are no outliers
  /// to be found. It works from the least number of points on that a shape goes through. The noise is the
  /// root mean square with the degrees of freedom, the tolerance the largest distance; noise, tolerance,
  /// outlier share, confidence and draws are not looked at. Where every part is held nothing is fitted, and
  /// the result says how the points lie about the shape.
  bool allPoints = false;
  /// Where the scanner stood. The normal of a plane or patch, unless it is held, then points to the side of
  /// the stations, and the report says from which side a curved surface was seen. None: that is not known.
  std::span<const Eigen::Vector3d> stations{};
};

enum class StopReason {
  kConfident,  ///< a better shape would have been found with the confidence asked for
  kDrawLimit,
  kTimeLimit,
  kStopped,  ///< by the host
};

enum class Verdict {
  kGood,
  kAmbiguous,  ///< other shapes explain the points about as well: a parameter is hardly determined
  kAtLimit,    ///< a size or the direction is at an end of the range that the options give it
  kWeak,       ///< few points support the shape
  kMisfit,     ///< the inliers' distances are no noise: two surfaces, another kind of shape, a bend
  kSimpler,    ///< a plane, cylinder or the like explains the inliers as well: FitReport::simpler
};

/// What a parameter of a shape is; the numbers are those of fit_c.h.
enum class ParameterKind { kPosition, kDirection, kRadius, kHalfAngle, kMajorRadius, kMinorRadius };

/// For people.
constexpr const char* NameOf(ParameterKind kind) {
  constexpr const char* kNames[] = {"position",   "direction",    "radius",
                                    "half-angle", "major radius", "minor radius"};
  return kNames[static_cast<int>(kind)];
}

/// One free parameter of a shape.
struct FitParameter {
  ParameterKind kind;
  Eigen::Vector3d direction;  ///< in which the position or direction moves; zero for a size
  double standardDeviation;   ///< infinite for what the points do not determine

  const char* Name() const { return NameOf(kind); }
  /// Whether it is in radians; else it is in the unit of the points.
  bool IsAngle() const { return kind == ParameterKind::kDirection || kind == ParameterKind::kHalfAngle; }
};

/// How exactly the shape is known.
struct FitCovariance {
  static constexpr int kMostParameters = 7;  ///< those of a torus
  /// As many rows and columns as there are parameters. They stand in the object itself and need no alignment:
  /// how Eigen aligns and frees memory depends on the vector instructions that a compiler is told of, and
  /// those of a host may be others than those of the library.
  using Matrix = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::DontAlign, kMostParameters,
                               kMostParameters>;

  /// Where the position is stated: the centre or apex; of an axis, line or plane its point beside the mean of
  /// the inliers, unless it is held.
  Eigen::Vector3d position = Eigen::Vector3d::Zero();
  std::vector<FitParameter> parameters;  ///< not those held, nor a part at an end of its plausible range
  /// Of the parameters, in their order and units; infinite variances are those of what the points do not
  /// determine: a singular combination, or a quantity that is not known to its own size (a direction to a
  /// quarter turn).
  Matrix matrix;
};

/// How exactly the bounds of a shape are known: standard deviations, which include that an end is that of the
/// outermost inlier and so lies inside of the true one. Infinite for what the points do not determine.
struct FitExtents {
  /// Of a line's or cylinder's length, of the swept angle of an arc or elbow, of a cone's lower and upper
  /// height, of each corner of a patch's outline (in the plane, in the direction in which it is largest);
  /// none for shapes without bounds.
  std::vector<double> sizes;
  /// Of the start: along the axis for a line's root and a cylinder's origin, radians about the axis for the
  /// direction in which an arc or elbow begins; 0 for the others.
  double start = 0;
};

/// From which side of a surface its points were taken.
enum class SeenFrom {
  kUnknown,  ///< no stations were given, they are on both sides alike, or the shape has no inside
  kOutside,
  kInside
};

/// A record of a class that is not derived from any more, so that a variant may destroy it: some records have
/// no virtual destructor.
template <class Record>
struct FinalRecord final : Record {
  using Record::Record;
  FinalRecord(const Record& record) : Record(record) {}  // implicit, as the two are the same
};

/// A shape with fewer parameters that explains the inliers of another as well. It has no bounds: a line's
/// length is 0.
struct SimplerShape {
  std::variant<FinalRecord<FitOutputParamsLine>, FinalRecord<FitOutputParamsPlane>,
               FinalRecord<FitOutputParamsSphere>, FinalRecord<FitOutputParamsCylinder>>
      shape;
  /// The shape as a record of this class; null where it is another.
  template <class Record>
  const Record* As() const {
    return std::get_if<FinalRecord<Record>>(&shape);
  }
  double rms = 0;            ///< of the distances of the inliers from it
  FitCovariance covariance;  ///< for distances that are all noise
};

struct FitReport {
  int draws = 0;
  int refinements = 0;
  double inlierShare = 0;  ///< of the finite points that were not set aside, by weight
  double noise = 0;        ///< measured standard deviation of the inliers from the shape, whatever was told
  double tolerance = 0;    ///< distance within which points are inliers
  StopReason stopReason = StopReason::kConfident;
  /// Whether another selection of inliers would change nothing, and another step of their refinement less
  /// than 1e-9 of the cloud's size.
  bool converged = false;
  Verdict verdict = Verdict::kGood;
  std::string reason;  ///< of the verdict, for people
  /// Points that were left out because hundreds lie at one place, as missing returns of an organised scan do.
  std::size_t setAside = 0;
  /// The step of the coordinates across the shape where it is coarser than the rest of the noise, else 0.
  double step = 0;
  /// The least and the largest signed distance of an inlier from the shape, negative inside of it (of a
  /// plane: behind its normal); their difference is the form error. About a curve distances are positive.
  double leastDeviation = 0, largestDeviation = 0;
  SeenFrom seenFrom = SeenFrom::kUnknown;  ///< of a sphere, cylinder, cone or torus, bounded or not
  /// Where there is one, whatever the verdict. Not looked for where a size is held.
  std::optional<SimplerShape> simpler;
};

template <class Shape>
struct FitResult {
  typename Shape::Record shape;
  std::vector<std::uint32_t> inliers;  ///< positions in the points given, ascending
  FitQuality quality;                  ///< of the inliers; the histogram's scale is twice the noise
  FitCovariance covariance;
  FitReport report;
  FitExtents extents;
};

/// Finds the shape that stands out most from chance among the points and refines it until its inliers stay
/// the same. Points that are not finite are left out. Any number of points, up to 2^31 - 1.
/// @tparam Shape  Line, Arc, Plane, Patch, Sphere, Cylinder, BoundedCylinder, Cone, BoundedCone, Torus or
/// Elbow
/// @throws FitError, checked in this order: "More points than 2147483647"; for an option out of its range a
///     text that names it, such as "Option noise must be positive"; "Points are not provided" for no finite
///     point of any weight; "Over constrained" where every part is held, unless allPoints is set; "Held parts
///     must be finite, with no zero direction and no negative size"; "A half-angle must be above zero and
///     below a quarter turn, in radians" for one that is held or, where nothing is held, started from; "Not
///     enough points" for no more different ones than parameters (with allPoints: for fewer equations, of
///     which a point of a curve gives two); "No shape stands out from chance"; "The time limit ended the
///     search before it found a shape" and "The search was stopped before it found a shape", which may end
///     any stage
template <class Shape>
PRIMFIT_API FitResult<Shape> fit(PointView points, const FitOptions<Shape>& options = {});

}  // namespace primfit

#endif  // PRIMFIT_FIT_H_
