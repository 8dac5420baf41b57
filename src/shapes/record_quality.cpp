// CalculateQuality of the output records: each measures points against the internal shape that it describes,
// always with the scanner error 0.006. Heights, angles and loops of the bounded records take no part.
#include <Eigen/Geometry>

#include "primfit/fit/fit_output_params_arc.h"
#include "primfit/fit/fit_output_params_cone.h"
#include "primfit/fit/fit_output_params_cylinder.h"
#include "primfit/fit/fit_output_params_line.h"
#include "primfit/fit/fit_output_params_plane.h"
#include "primfit/fit/fit_output_params_sphere.h"
#include "primfit/fit/fit_output_params_torus.h"
#include "primfit/shapes/output_circle.h"
#include "primfit/shapes/output_cone.h"
#include "primfit/shapes/output_cylinder.h"
#include "primfit/shapes/output_line.h"
#include "primfit/shapes/output_plane.h"
#include "primfit/shapes/output_sphere.h"
#include "primfit/shapes/output_torus.h"

namespace {

/// The scale of the histogram, in the unit of the points: the default scanner error of a fit. A record does
/// not know the one that it was fitted with.
constexpr double kRecordScannerError = 0.006;

FitQuality Measure(OutputShape&& shape, int n, const Eigen::Vector3d* points) {
  return shape.CalculateQuality(kRecordScannerError, n, points);
}

}  // namespace

FitQuality FitOutputParamsLine::CalculateQuality(int n, const Eigen::Vector3d* points) {
  return Measure(OutputLine(root_, direction_), n, points);
}

FitQuality FitOutputParamsArc::CalculateQuality(int n, const Eigen::Vector3d* points) {
  return Measure(OutputCircle(center_, radius_, xAxis_.cross(yAxis_)), n, points);
}

FitQuality FitOutputParamsPlane::CalculateQuality(int n, const Eigen::Vector3d* points) {
  return Measure(OutputPlane(origin_, normal_), n, points);
}

FitQuality FitOutputParamsSphere::CalculateQuality(int n, const Eigen::Vector3d* points) {
  return Measure(OutputSphere(center_, radius_), n, points);
}

FitQuality FitOutputParamsCylinder::CalculateQuality(int n, const Eigen::Vector3d* points) {
  return Measure(OutputCylinder(origin_, radius_, axis_), n, points);
}

FitQuality FitOutputParamsCone::CalculateQuality(int n, const Eigen::Vector3d* points) {
  return Measure(OutputCone(apex_, angle_, axis_), n, points);
}

FitQuality FitOutputParamsTorus::CalculateQuality(int n, const Eigen::Vector3d* points) {
  return Measure(OutputTorus(center_, majorRadius_, minorRadius_, axis_), n, points);
}
