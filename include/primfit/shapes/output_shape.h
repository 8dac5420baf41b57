#ifndef PRIMFIT_SHAPES_OUTPUT_SHAPE_H_
#define PRIMFIT_SHAPES_OUTPUT_SHAPE_H_

#include <Eigen/Core>
#include <cstdio>
#include <list>
#include <vector>

#include "primfit/cxx20.h"
#include "primfit/export.h"
#include "primfit/fit/fit_quality.h"

/// A geometric primitive that measures points. Lengths are in the unit of the points, angles in radians.
///
/// Every shape carries a close band, set from a distance tolerance by SetDistSqrdThreshod(). Until then, and
/// in a fresh copy, no point is close; assignment copies the band with the geometry. A point with a NaN is
/// never close. No operation reports an error: degenerate queries take the fixed choices that their comments
/// name. The const operations may run in several threads at once, the others change the band of the object.
class PRIMFIT_API OutputShape {
 public:
  virtual ~OutputShape();

  /// Distance of p: signed for surfaces (negative behind a plane's normal or inside), never negative for
  /// curves.
  virtual double Distance(const Eigen::Vector3d& p) const = 0;
  /// Agreement with a shape of the same kind, 0 for another kind or null; the formula is the shape's own.
  virtual double Similarity(const OutputShape* other) const = 0;
  /// Writes one line with the parameters.
  virtual void Printout(std::FILE* f) const = 0;
  /// Foot point of p on the shape.
  virtual Eigen::Vector3d ClosestPoint(const Eigen::Vector3d& p) const = 0;
  /// Unit normal at the point of the shape nearest p.
  virtual Eigen::Vector3d EvalNormal(const Eigen::Vector3d& p) const = 0;
  /// Sets the close band for the distance tolerance t, which is a plain distance and not squared. The
  /// spelling is that of an exported symbol, which callers link against.
  virtual void SetDistSqrdThreshod(double t) = 0;
  /// Whether p lies within the close band; takes no square root where the shape's formula needs none.
  virtual bool IsClosePoint(const Eigen::Vector3d& p) = 0;
  /// Selects the points within t of the shape, in input order, and leaves the band set to t.
  /// @param all  copy every point instead; the band is then left alone
  /// @return whether `out` holds any point; false and an empty `out` for a null array or n < 1
  virtual bool GetClosePoints(const Eigen::Vector3d* points, int n, double t,
                              std::vector<Eigen::Vector3d>& out, bool all);

  /// Statistics and histogram of the distances of n points; an empty record for a null array or n < 1.
  /// @param sigma  scale of the histogram: the scanner's distance error
  FitQuality CalculateQuality(double sigma, int n, const Eigen::Vector3d* points);

  /// Bounds of the close band, in the quantity that the shape compares: a squared distance from the centre,
  /// axis or centre circle, the plain distance for plane and cone.
  double CloseLow() const { return closeLow_; }
  double CloseHigh() const { return closeHigh_; }

 protected:
  OutputShape() = default;
  OutputShape(const OutputShape&) {}
  OutputShape& operator=(const OutputShape&) = default;

  double RootMeanSquare(const std::list<Eigen::Vector3d>& points) const;
  double RootMeanSquare(int n, const Eigen::Vector3d* points) const;
  void SetBand(double low, double high) {
    closeLow_ = low;
    closeHigh_ = high;
  }
  /// The band of squared distances [(r - t)^2, (r + t)^2].
  void SetSquaredBand(double r, double t) { SetBand((r - t) * (r - t), (r + t) * (r + t)); }

 private:
  double closeLow_ = 0;
  double closeHigh_ = -1;
};

/// A curve with one parameter.
class PRIMFIT_API OutputCurve : public OutputShape {
 public:
  virtual Eigen::Vector3d Eval(double t) const = 0;
  /// Writes "Line", "Circle" or "Unknown" and a terminating zero; the buffer holds at least 9 characters.
  void Name(char* buffer) const;
  /// Root mean square of the distances; -1 without points.
  double Check(std::list<Eigen::Vector3d>& points);
  double Check(int n, Eigen::Vector3d* points);
};

/// A surface with two parameters.
class PRIMFIT_API OutputSurface : public OutputShape {
 public:
  /// Largest deviation of the points from the mean of two surfaces of one kind; the largest double for two
  /// kinds.
  virtual double Difference(const OutputSurface* other, int n, const Eigen::Vector3d* points) const = 0;
  virtual Eigen::Vector3d Eval(double u, double v) const = 0;
  /// Writes "Plane", "Sphere", "Cylinder", "Cone", "Torus" or "Unknown"; the buffer holds at least 9
  /// characters.
  void Name(char* buffer) const;
  /// Root mean square of the distances; -1 without points.
  double Check(std::list<Eigen::Vector3d>& points);
  double Check(int n, Eigen::Vector3d* points);
  /// Whether no more than n - trunc(n * fraction) points have a (signed) distance above the tolerance.
  bool GoodFit(int n, Eigen::Vector3d* points, double fraction, double tolerance);
  /// The q-quantile of the signed distances (q = 0.5 is the median), q within [0, 1]; -1 without points.
  double Median(int n, Eigen::Vector3d* points, double q);
};

#endif  // PRIMFIT_SHAPES_OUTPUT_SHAPE_H_
