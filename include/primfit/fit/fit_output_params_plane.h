#ifndef PRIMFIT_FIT_FIT_OUTPUT_PARAMS_PLANE_H_
#define PRIMFIT_FIT_FIT_OUTPUT_PARAMS_PLANE_H_

#include <Eigen/Core>

#include "primfit/export.h"
#include "primfit/fit/fit_quality.h"

/// A plane through Origin().
class PRIMFIT_API FitOutputParamsPlane {
 public:
  FitOutputParamsPlane() = default;
  /// @param normal  normalised; a zero vector stays zero
  FitOutputParamsPlane(const Eigen::Vector3d& origin, const Eigen::Vector3d& normal);
  FitOutputParamsPlane(const FitOutputParamsPlane&) = default;
  FitOutputParamsPlane& operator=(const FitOutputParamsPlane&) = default;
  virtual ~FitOutputParamsPlane();
  /// Quality of the shape over n points (histogram scale 0.006); a null array or n < 1 gives an empty record.
  virtual FitQuality CalculateQuality(int n, const Eigen::Vector3d* points);

  Eigen::Vector3d Origin() const { return origin_; }  ///< a point of the plane
  Eigen::Vector3d Normal() const { return normal_; }  ///< unit vector; its sign is arbitrary

 private:
  Eigen::Vector3d origin_ = Eigen::Vector3d::Zero();
  Eigen::Vector3d normal_ = Eigen::Vector3d::Zero();
};

/// A plane bounded by a closed loop. Vertex i is Origin + u_i * xAxis + v_i * (Normal x xAxis).
class PRIMFIT_API FitOutputParamsPatch : public FitOutputParamsPlane {
 public:
  FitOutputParamsPatch() = default;
  /// @param count  number of vertices
  /// @param loop   2 * count numbers u0 v0 u1 v1 ...; must come from `new double[]`, becomes the record's own
  /// @param xAxis  direction of u in space, stored unchanged
  FitOutputParamsPatch(const Eigen::Vector3d& origin, const Eigen::Vector3d& normal, int count, double* loop,
                       const Eigen::Vector3d& xAxis);
  FitOutputParamsPatch(const FitOutputParamsPatch& other);
  FitOutputParamsPatch& operator=(const FitOutputParamsPatch& other);
  ~FitOutputParamsPatch() override;

  /// @param loop   receives the record's own array, valid as long as the record
  /// @param xAxis  receives the direction of u
  /// @return number of vertices
  int Loop(const double*& loop, Eigen::Vector3d& xAxis) const;

 private:
  int count_ = 0;
  double* loop_ = nullptr;
  Eigen::Vector3d xAxis_ = Eigen::Vector3d::Zero();
};

#endif  // PRIMFIT_FIT_FIT_OUTPUT_PARAMS_PLANE_H_
