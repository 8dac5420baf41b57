// Constructors and ownership of the output records. Their CalculateQuality needs the shapes and is defined
// there.
#include <algorithm>
#include <cmath>

#include "fit/vector_math.h"
#include "primfit/fit/fit_output_params_arc.h"
#include "primfit/fit/fit_output_params_cone.h"
#include "primfit/fit/fit_output_params_cylinder.h"
#include "primfit/fit/fit_output_params_line.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "primfit/fit/fit_output_params_torus.h"

using Eigen::Vector3d;
using primfit::Normalised;

FitOutputParamsLine::FitOutputParamsLine(const Vector3d& root, const Vector3d& direction, double length)
    : root_(root), direction_(Normalised(direction)), length_(length) {}

FitOutputParamsArc::FitOutputParamsArc(const Vector3d& center, double radius, const Vector3d& xAxis,
                                       const Vector3d& yAxis, double angle)
    : center_(center), radius_(radius), xAxis_(Normalised(xAxis)), yAxis_(Normalised(yAxis)), angle_(angle) {}

FitOutputParamsArc::FitOutputParamsArc(const Vector3d& center, double radius, const Vector3d& normal)
    : center_(center), radius_(radius), angle_(8.0 * std::atan(1.0)) {
  const double length = std::hypot(normal.x(), normal.y(), normal.z());
  if (length < 1e-10) {
    xAxis_ = Vector3d::UnitX();
    yAxis_ = Vector3d::UnitY();
    return;
  }
  const Vector3d n = normal / length;
  xAxis_ = primfit::UnitOrthogonal(n);
  yAxis_ = n.cross(xAxis_);
}

Vector3d FitOutputParamsArc::EndPoint() const {
  return center_ + radius_ * (std::cos(angle_) * xAxis_ + std::sin(angle_) * yAxis_);
}

FitOutputParamsPlane::FitOutputParamsPlane(const Vector3d& origin, const Vector3d& normal)
    : origin_(origin), normal_(Normalised(normal)) {}

FitOutputParamsPlane::~FitOutputParamsPlane() = default;

FitOutputParamsPatch::FitOutputParamsPatch(const Vector3d& origin, const Vector3d& normal, int count,
                                           double* loop, const Vector3d& xAxis)
    : FitOutputParamsPlane(origin, normal), count_(count), loop_(loop), xAxis_(xAxis) {}

namespace {

double* CopyOfLoop(int count, const double* loop) {
  if (loop == nullptr || count < 1) return nullptr;
  const std::size_t size = 2 * static_cast<std::size_t>(count);
  double* copy = new double[size];
  std::copy(loop, loop + size, copy);
  return copy;
}

}  // namespace

FitOutputParamsPatch::FitOutputParamsPatch(const FitOutputParamsPatch& other)
    : FitOutputParamsPlane(other),
      count_(other.count_),
      loop_(CopyOfLoop(other.count_, other.loop_)),
      xAxis_(other.xAxis_) {}

FitOutputParamsPatch& FitOutputParamsPatch::operator=(const FitOutputParamsPatch& other) {
  if (this == &other) return *this;
  double* copy = CopyOfLoop(other.count_, other.loop_);  // first: a failure must leave this record whole
  FitOutputParamsPlane::operator=(other);
  delete[] loop_;
  loop_ = copy;
  count_ = other.count_;
  xAxis_ = other.xAxis_;
  return *this;
}

FitOutputParamsPatch::~FitOutputParamsPatch() { delete[] loop_; }

int FitOutputParamsPatch::Loop(const double*& loop, Vector3d& xAxis) const {
  loop = loop_;
  xAxis = xAxis_;
  return count_;
}

FitOutputParamsCylinder::FitOutputParamsCylinder(const Vector3d& origin, double radius, const Vector3d& axis)
    : origin_(origin), radius_(radius), axis_(Normalised(axis)) {}

FitOutputParamsCylinder::~FitOutputParamsCylinder() = default;

FitOutputParamsCone::FitOutputParamsCone(const Vector3d& apex, double angle, const Vector3d& axis)
    : apex_(apex), angle_(angle), axis_(Normalised(axis)) {}

FitOutputParamsCone::~FitOutputParamsCone() = default;

FitOutputParamsTorus::FitOutputParamsTorus(const Vector3d& center, double majorRadius, double minorRadius,
                                           const Vector3d& axis)
    : center_(center), majorRadius_(majorRadius), minorRadius_(minorRadius), axis_(Normalised(axis)) {}

FitOutputParamsTorus::~FitOutputParamsTorus() = default;

FitOutputParamsElbow::FitOutputParamsElbow(const Vector3d& center, double majorRadius, double minorRadius,
                                           const Vector3d& axis, double angle, const Vector3d& xAxis)
    : FitOutputParamsTorus(center, majorRadius, minorRadius, axis),
      angle_(angle),
      xAxis_(Normalised(xAxis)) {}
