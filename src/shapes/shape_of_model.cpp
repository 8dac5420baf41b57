#include "shapes/shape_of_model.h"

namespace primfit {

Model ModelOf(const OutputShape& shape) {
  if (const auto* line = dynamic_cast<const OutputLine*>(&shape)) return ModelOf(*line);
  if (const auto* circle = dynamic_cast<const OutputCircle*>(&shape)) return ModelOf(*circle);
  if (const auto* sphere = dynamic_cast<const OutputSphere*>(&shape)) return ModelOf(*sphere);
  if (const auto* cylinder = dynamic_cast<const OutputCylinder*>(&shape)) return ModelOf(*cylinder);
  if (const auto* cone = dynamic_cast<const OutputCone*>(&shape)) return ModelOf(*cone);
  if (const auto* torus = dynamic_cast<const OutputTorus*>(&shape)) return ModelOf(*torus);
  return ModelOf(dynamic_cast<const OutputPlane&>(shape));
}

}  // namespace primfit
