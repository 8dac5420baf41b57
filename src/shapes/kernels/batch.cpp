#include "shapes/kernels/batch.h"

#include <typeinfo>

#include "shapes/formulas.h"

namespace primfit {

namespace {

/// Calls visit with the formula of the shape's exact class; false for a class that is not one of ours.
template <class Visit>
bool WithFormula(const OutputShape& shape, const Visit& visit) {
  const auto tryKind = [&]<class Shape>(const Shape*) {
    if (typeid(shape) != typeid(Shape)) return false;
    visit(FormulaOf(static_cast<const Shape&>(shape)));
    return true;
  };
  const auto tryKinds = [&]<class... Shapes>(const Shapes*... kinds) { return (tryKind(kinds) || ...); };
  return tryKinds(static_cast<const OutputLine*>(nullptr), static_cast<const OutputCircle*>(nullptr),
                  static_cast<const OutputPlane*>(nullptr), static_cast<const OutputSphere*>(nullptr),
                  static_cast<const OutputCylinder*>(nullptr), static_cast<const OutputCone*>(nullptr),
                  static_cast<const OutputTorus*>(nullptr));
}

}  // namespace

int CountClose(OutputShape& shape, const Eigen::Vector3d* points, int n) {
  int count = 0;
  const double low = shape.CloseLow();
  const double high = shape.CloseHigh();
  const bool known = WithFormula(shape, [&](const auto& formula) {
    for (int i = 0; i < n; ++i) count += InBand(formula, points[i], low, high) ? 1 : 0;
  });
  if (!known) {
    for (int i = 0; i < n; ++i) count += shape.IsClosePoint(points[i]) ? 1 : 0;
  }
  return count;
}

void SelectClose(OutputShape& shape, const Eigen::Vector3d* points, int n,
                 std::vector<Eigen::Vector3d>& out) {
  const double low = shape.CloseLow();
  const double high = shape.CloseHigh();
  const bool known = WithFormula(shape, [&](const auto& formula) {
    for (int i = 0; i < n; ++i) {
      if (InBand(formula, points[i], low, high)) out.push_back(points[i]);
    }
  });
  if (known) return;
  for (int i = 0; i < n; ++i) {
    if (shape.IsClosePoint(points[i])) out.push_back(points[i]);
  }
}

void Distances(const OutputShape& shape, const Eigen::Vector3d* points, int n, double* distances) {
  const bool known = WithFormula(shape, [&](const auto& formula) {
    for (int i = 0; i < n; ++i) distances[i] = DistanceAt(formula, points[i]);
  });
  if (known) return;
  for (int i = 0; i < n; ++i) distances[i] = shape.Distance(points[i]);
}

}  // namespace primfit
