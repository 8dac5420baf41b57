#include "adaptive/model/divergence.h"

#include <cmath>

namespace primfit::adaptive {

double Divergence(double share, double chance) {
  if (share <= chance) return 0;
  const double other = share < 1 ? (1 - share) * std::log((1 - share) / (1 - chance)) : 0;
  return share * std::log(share / chance) + other;
}

}  // namespace primfit::adaptive
