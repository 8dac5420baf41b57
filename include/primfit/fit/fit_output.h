#ifndef PRIMFIT_FIT_FIT_OUTPUT_H_
#define PRIMFIT_FIT_FIT_OUTPUT_H_

#include "primfit/export.h"
#include "primfit/fit/fit_quality.h"

/// Result of a parameterised fit: the shape's record and the quality over the points close to it.
template <class P>
class PRIMFIT_API FitOutput {
 public:
  FitOutput() = default;
  FitOutput(const P& shape, const FitQuality& quality) : shape_(shape), quality_(quality) {}
  const P& GetFitShape() const { return shape_; }
  const FitQuality& GetFitQuality() const { return quality_; }

 private:
  P shape_;
  FitQuality quality_;
};

#endif  // PRIMFIT_FIT_FIT_OUTPUT_H_
