#include "hard_cases.h"

#include <algorithm>
#include <cmath>
#include <iterator>

#include "adaptive/model/model.h"

namespace primfit::bench {

double RootMeanSquareDistance(const Model& model, const Points& points) {
  std::vector<double> distances(points.size());
  adaptive::Distances(model, points.data(), static_cast<int>(points.size()), distances.data());
  double sum = 0;
  for (const double d : distances) sum += d * d;
  return std::sqrt(sum / static_cast<double>(points.size()));
}

double TrueSurface::Sigma() const { return RootMeanSquareDistance(model, measured); }

const char* NameOf(Hint hint) {
  switch (hint) {
    case kTellsNoise:
      return "noise";
    case kTellsTolerance:
      return "tolerance";
    case kTellsSizes:
      return "sizes";
    case kTellsAxis:
      return "axis";
    case kTellsPlace:
      return "place";
    case kNoHint:
      break;
  }
  return "nothing";
}

HardCaseList HardCases() {
  HardCaseList all;
  for (const auto& group : {WallCases, PipeCases, BendCases, AbsentCases, PartCases, ScanCases, PlantCases,
                            SmallAndUsualCases, RealCases}) {
    HardCaseList cases = group();
    std::move(cases.begin(), cases.end(), std::back_inserter(all));
  }
  return all;
}

}  // namespace primfit::bench
