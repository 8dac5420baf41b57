// An infinite line. Its quantity for the close band is the squared distance from it.
#include "primfit/shapes/output_line.h"

#include "fit/vector_math.h"
#include "shapes/compare.h"
#include "shapes/formulas.h"

using Eigen::Vector3d;

OutputLine::OutputLine(const Vector3d& root, const Vector3d& direction, const Vector3d& normal)
    : root_(root), direction_(primfit::Normalised(direction)), normal_(primfit::Normalised(normal)) {}

OutputLine::OutputLine(const Vector3d& root, const Vector3d& direction)
    : root_(root), direction_(primfit::Normalised(direction)), normal_(primfit::UnitOrthogonal(direction_)) {}

double OutputLine::Distance(const Vector3d& p) const {
  return primfit::DistanceAt(primfit::FormulaOf(*this), p);
}

double OutputLine::Similarity(const OutputShape* other) const {
  const auto* line = dynamic_cast<const OutputLine*>(other);
  return line != nullptr ? primfit::AxisSimilarity(direction_, line->direction_) : 0;
}

void OutputLine::Printout(std::FILE* f) const {
  std::fprintf(f, "root(%f, %5f, %f), dir(%f, %5f, %f)\n", root_.x(), root_.y(), root_.z(), direction_.x(),
               direction_.y(), direction_.z());
}

Vector3d OutputLine::ClosestPoint(const Vector3d& p) const {
  return root_ + (p - root_).dot(direction_) * direction_;
}

Vector3d OutputLine::EvalNormal(const Vector3d&) const { return normal_; }

void OutputLine::SetDistSqrdThreshod(double t) { SetBand(0, t * t); }

bool OutputLine::IsClosePoint(const Vector3d& p) {
  return primfit::InBand(primfit::FormulaOf(*this), p, CloseLow(), CloseHigh());
}

Vector3d OutputLine::Eval(double t) const { return root_ + t * direction_; }
