#ifndef PRIMFIT_FIT_FIT_CONSTRAINTS_H_
#define PRIMFIT_FIT_FIT_CONSTRAINTS_H_

#include "primfit/cxx20.h"
#include "primfit/export.h"

class FitOutputParamsArc;
class FitOutputParamsCone;
class FitOutputParamsCylinder;
class FitOutputParamsLine;
class FitOutputParamsPlane;
class FitOutputParamsSphere;
class FitOutputParamsTorus;

namespace primfit {

/// What the seven constraints records share: a caller-owned shape (not copied, may be null) and one flag for
/// each of its parts. A set flag means: take this part's value from the shape and hold it. Flags cannot be
/// cleared.
template <class Record, int kParts>
class ConstraintsOf {
 protected:
  explicit ConstraintsOf(const Record* shape) : shape_(shape) {}
  const Record* Shape() const { return shape_; }
  void Fix(int part) { fixed_[part] = true; }
  bool Fixed(int part) const { return fixed_[part]; }

 private:
  const Record* shape_;
  bool fixed_[kParts] = {};
};

}  // namespace primfit

/// Parts of a line segment that a fit holds.
class PRIMFIT_API FitConstraintsLine : public primfit::ConstraintsOf<FitOutputParamsLine, 2> {
 public:
  static constexpr int kDefaultSampleSize = 2;
  explicit FitConstraintsLine(const FitOutputParamsLine* line) : ConstraintsOf(line) {}
  const FitOutputParamsLine* GetLine() const { return Shape(); }
  void FixRoot() { Fix(0); }
  bool RootFixed() const { return Fixed(0); }
  void FixDirection() { Fix(1); }
  bool DirectionFixed() const { return Fixed(1); }
};

/// Parts of a plane that a fit holds; serves the patch as well.
class PRIMFIT_API FitConstraintsPlane : public primfit::ConstraintsOf<FitOutputParamsPlane, 2> {
 public:
  static constexpr int kDefaultSampleSize = 3;
  explicit FitConstraintsPlane(const FitOutputParamsPlane* plane) : ConstraintsOf(plane) {}
  const FitOutputParamsPlane* GetPlane() const { return Shape(); }
  void FixOrigin() { Fix(0); }
  bool OriginFixed() const { return Fixed(0); }
  void FixNormal() { Fix(1); }
  bool NormalFixed() const { return Fixed(1); }
};

/// Parts of an arc that a fit holds; also describes the cross-section of an elbow or torus.
class PRIMFIT_API FitConstraintsArc : public primfit::ConstraintsOf<FitOutputParamsArc, 2> {
 public:
  static constexpr int kDefaultSampleSize = 3;
  explicit FitConstraintsArc(const FitOutputParamsArc* arc) : ConstraintsOf(arc) {}
  const FitOutputParamsArc* GetArc() const { return Shape(); }
  void FixCenter() { Fix(0); }
  bool CenterFixed() const { return Fixed(0); }
  void FixRadius() { Fix(1); }
  bool RadiusFixed() const { return Fixed(1); }
};

/// Parts of a sphere that a fit holds.
class PRIMFIT_API FitConstraintsSphere : public primfit::ConstraintsOf<FitOutputParamsSphere, 2> {
 public:
  static constexpr int kDefaultSampleSize = 4;
  explicit FitConstraintsSphere(const FitOutputParamsSphere* sphere) : ConstraintsOf(sphere) {}
  const FitOutputParamsSphere* GetSphere() const { return Shape(); }
  void FixCenter() { Fix(0); }
  bool CenterFixed() const { return Fixed(0); }
  void FixRadius() { Fix(1); }
  bool RadiusFixed() const { return Fixed(1); }
};

/// Parts of a cylinder that a fit holds.
class PRIMFIT_API FitConstraintsCylinder : public primfit::ConstraintsOf<FitOutputParamsCylinder, 3> {
 public:
  static constexpr int kDefaultSampleSize = 9;
  explicit FitConstraintsCylinder(const FitOutputParamsCylinder* cylinder) : ConstraintsOf(cylinder) {}
  const FitOutputParamsCylinder* GetCylinder() const { return Shape(); }
  void FixOrigin() { Fix(0); }
  bool OriginFixed() const { return Fixed(0); }
  void FixRadius() { Fix(1); }
  bool RadiusFixed() const { return Fixed(1); }
  void FixAxis() { Fix(2); }
  bool AxisFixed() const { return Fixed(2); }
};

/// Parts of a cone that a fit holds.
class PRIMFIT_API FitConstraintsCone : public primfit::ConstraintsOf<FitOutputParamsCone, 3> {
 public:
  static constexpr int kDefaultSampleSize = 9;
  explicit FitConstraintsCone(const FitOutputParamsCone* cone) : ConstraintsOf(cone) {}
  const FitOutputParamsCone* GetCone() const { return Shape(); }
  void FixApex() { Fix(0); }
  bool ApexFixed() const { return Fixed(0); }
  void FixAngle() { Fix(1); }
  bool AngleFixed() const { return Fixed(1); }
  void FixAxis() { Fix(2); }
  bool AxisFixed() const { return Fixed(2); }
};

/// Parts of a torus that a fit holds; serves the elbow as well.
class PRIMFIT_API FitConstraintsTorus : public primfit::ConstraintsOf<FitOutputParamsTorus, 4> {
 public:
  static constexpr int kDefaultSampleSize = 13;
  explicit FitConstraintsTorus(const FitOutputParamsTorus* torus) : ConstraintsOf(torus) {}
  const FitOutputParamsTorus* GetTorus() const { return Shape(); }
  void FixCenter() { Fix(0); }
  bool CenterFixed() const { return Fixed(0); }
  void FixMajorRadius() { Fix(1); }
  bool MajorRadiusFixed() const { return Fixed(1); }
  void FixMinorRadius() { Fix(2); }
  bool MinorRadiusFixed() const { return Fixed(2); }
  void FixAxis() { Fix(3); }
  bool AxisFixed() const { return Fixed(3); }
};

#endif  // PRIMFIT_FIT_FIT_CONSTRAINTS_H_
