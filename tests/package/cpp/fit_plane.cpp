// A host in C++: fits z = 0.5 x + 0.25 y - 1 through points of which a fifth is elsewhere.
#include <primfit/primfit.h>

#include <cmath>
#include <cstdio>
#include <vector>

int main() {
  std::vector<Eigen::Vector3d> points;
  for (int i = 0; i < 1000; ++i) {
    const double x = i % 25, y = i / 25;
    points.emplace_back(x, y, 0.5 * x + 0.25 * y - 1 + (i % 5 == 0 ? 1 + x : 0));
  }
  const primfit::ScopedSeed seed(1);
  const FitInputParams<FitConstraintsPlane> params;
  const int n = static_cast<int>(points.size());
  const auto fit = PlaneFromPoints(points.data(), n, params, nullptr);
  const Eigen::Vector3d expected = Eigen::Vector3d(0.5, 0.25, -1).normalized();
  const double cosine = std::abs(fit.GetFitShape().Normal().dot(expected));
  std::printf("cosine %.12f, inliers %d\n", cosine, fit.GetFitQuality().GetInlierCount());
  bool refused = false;
  try {  // the exception has to cross the library's border as the type that the header names
    PlaneFromPoints(nullptr, n, params, nullptr);
  } catch (const primfit::FitError&) {
    refused = true;
  }
  return std::abs(cosine - 1) < 1e-9 && fit.GetFitQuality().GetInlierCount() == 800 && refused ? 0 : 1;
}
