// What the eight residual models share. A model turns a shape into a least-squares problem: its parameter
// vector x is made of groups, one for each part of the shape (its centre, a radius, its axis), and the
// residual of a point is its signed orthogonal distance from the shape at x. A part that is held is left out
// of x, and the groups behind it move forward. What a group means stands in two switches, one for the shape
// at x and one for its derivatives, so that a model is little more than the list of its groups.
#ifndef PRIMFIT_SRC_OPTIMIZE_RESIDUAL_MODEL_H_
#define PRIMFIT_SRC_OPTIMIZE_RESIDUAL_MODEL_H_

#include <Eigen/Core>
#include <initializer_list>

#include "optimize/tr_least_squares.h"

namespace primfit {

/// A group of parameters: those of one part of a shape.
enum class ParameterGroup {
  kCenter,            ///< a point: x, y, z
  kCenterInPlane,     ///< a point of the x-y plane: x, y
  kDistance,          ///< of a plane or line from the origin, along its normal; the foot is the centre
  kMajor,             ///< the major radius
  kMinor,             ///< the minor or only radius; the half-angle of a cone
  kDirection,         ///< of the axis: azimuth and elevation in the direction frame
  kDirectionInPlane,  ///< the angle of a line of the x-y plane from x; the axis is the line's normal
};

/// Base of the residual models. The residual of one of m points is e / sqrt(m), with e its distance, so that
/// the sum of squares that the solver minimises is the mean of e^2.
class ResidualModel : public TRLeastSquares {
 public:
  /// Initialize with the free parameters of a start shape, and Solve.
  bool Refine(const ShapeParameters& start);

  /// The shape at the free parameters x, with its frame.
  virtual ShapeParameters At(const double* x) const;

 protected:
  ResidualModel(ShapeParameters::Kind kind, std::initializer_list<ParameterGroup> groups,
                const PointRefs& points, double tolerance);

  // Each of these holds a part at a value. A held direction enters the formulas as it is given, of unit
  // length or not, and a held centre is a point of space also where the free one is confined to a plane.
  void HoldCenter(const Eigen::Vector3d& center);
  void HoldAxis(const Eigen::Vector3d& axis);
  void HoldMajor(double major);
  void HoldMinor(double minor);

  /// The shape that Solve found.
  ShapeParameters Result() const { return At(X()); }

 private:
  struct Group {
    ParameterGroup kind;
    int size;
    bool held = false;
  };
  static constexpr int kMostGroups = 4;

  static void Residuals(int* m, int* n, double* x, double* f, void* model);
  bool NormalEquationsAt(const double* x, NormalEquations& equations) const final;
  /// How the shape changes with each free parameter.
  virtual void Differentiate(const double* x, const ShapeParameters& shape,
                             ShapeDerivative* derivatives) const;
  void ShareSensitivities(NormalEquations& equations) const;
  void Hold(std::initializer_list<ParameterGroup> groups);
  bool IsHeld(ParameterGroup group) const;
  void SetStart(ParameterGroup group, const ShapeParameters& start, double* x);

  PointRefs points_;
  Group groups_[kMostGroups]{};
  int groupCount_ = 0;
  ShapeParameters held_;  ///< the kind, and the values of held parts; free parts are overwritten
  /// Rotation between the angles of a free direction and space: direction = frame * d(a, b). Angles lose the
  /// azimuth at the poles of their frame, so the start direction lies on the equator of this one.
  Eigen::Matrix3d frame_ = Eigen::Matrix3d::Identity();
};

/// The signed orthogonal distance of a point from a plane, sphere, cylinder, cone or torus that has its
/// frame. A line of the x-y plane is given as the plane through it along z, and a circle as the sphere about
/// it.
double SignedDistance(const ShapeParameters& shape, const Eigen::Vector3d& p);

}  // namespace primfit

#endif  // PRIMFIT_SRC_OPTIMIZE_RESIDUAL_MODEL_H_
