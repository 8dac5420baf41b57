// An elbow together with its own pipes, as one surface.
//
// A bend goes over into its pipes without an edge, so a torus that is fitted alone takes in points of the
// pipes, and its bend radius comes out wrong. The surface here is the tube of one radius about a centre line
// that is a ray, an arc and a ray, each tangent to the next. It has nine parameters: the seven of the torus
// and the two directions in which the arc begins and ends. The signed distance of a point is that to the
// nearest part of the centre line, less the radius of the tube.
#ifndef PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPED_ELBOW_H_
#define PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPED_ELBOW_H_

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <limits>

#include "adaptive/model/model.h"

namespace primfit::adaptive {

/// A pipe that begins where the arc of its elbow ends.
struct TangentPipe {
  bool exists = false;
  /// Up to where points are looked for, from the end of the arc on.
  double reach = std::numeric_limits<double>::infinity();
};

struct PipedElbow {
  Model torus;
  Eigen::Vector3d start = Eigen::Vector3d::UnitX();  ///< from the centre to where the arc begins; unit length
  double sweep = 0;                                  ///< of the arc about the torus's axis, radians
  /// The first one ends where the arc begins, the second one begins where the arc ends. Where one does not
  /// exist, its end of the arc is no parameter.
  std::array<TangentPipe, 2> pipes;

  std::size_t PipeCount() const { return std::size_t{pipes[0].exists} + std::size_t{pipes[1].exists}; }
};

/// The parameters of a piped elbow, in the order of FreeParametersOf for its torus, and then the angles about
/// the axis at which the arc begins and ends.
inline constexpr int kElbowParameters = 9;
inline constexpr int kArcBegins = 7, kArcEnds = 8;
using ElbowVector = Eigen::Matrix<double, kElbowParameters, 1>;
using ElbowMatrix = Eigen::Matrix<double, kElbowParameters, kElbowParameters>;

enum class ElbowPart { kFirstPipe, kSecondPipe, kArc, kNone };

/// The part of the surface next to a point.
struct ElbowFoot {
  ElbowPart part = ElbowPart::kNone;
  double distance = std::numeric_limits<double>::infinity();  ///< signed, negative inside of the tube
  double along = 0;  ///< of a pipe: distance from the end of the arc, along its axis
};

/// A piped elbow prepared for many points.
class ElbowSurface {
 public:
  explicit ElbowSurface(const PipedElbow& elbow);
  ElbowFoot FootOf(const Eigen::Vector3d& p) const;
  /// The derivatives of the distance by the parameters.
  ElbowVector Gradient(const Eigen::Vector3d& p, const ElbowFoot& foot) const;
  /// Around the tube, from the side away from the centre on; in (-pi, pi].
  double AngleAround(const Eigen::Vector3d& p, const ElbowFoot& foot) const;

 private:
  struct CentreLinePoint {
    Eigen::Vector3d fromCentre, radial;
  };
  CentreLinePoint CentreLineAt(const Eigen::Vector3d& q, const ElbowFoot& foot) const;
  bool IsWithinSweep(const Eigen::Vector3d& q) const;

  Eigen::Vector3d center_, axis_, u_, w_;
  double major_, minor_;
  bool isAboveHalfTurn_;
  std::array<TangentPipe, 2> pipes_;
  /// At both ends of the arc: direction from the centre, and that of the pipe away from the arc.
  std::array<Eigen::Vector3d, 2> radial_, onwards_;
};

/// The elbow after a step of its parameters.
PipedElbow Moved(PipedElbow elbow, const ElbowVector& step);

/// Whether its torus is one and its arc is shorter than a full turn.
bool IsValid(const PipedElbow& elbow);

}  // namespace primfit::adaptive

#endif  // PRIMFIT_SRC_ADAPTIVE_JOINTS_PIPED_ELBOW_H_
