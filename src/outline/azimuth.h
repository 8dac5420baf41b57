// Azimuths about an axis: how far points reach around it. The reach is the whole turn less the largest gap
// between neighbours. To sort the azimuths of many points, each by an arctangent, takes longer than the fit.
// Here they are put into bins by a number that rises with the azimuth and needs no arctangent, and only the
// extremes of each bin become azimuths: a gap wider than a bin has to leave one.
#ifndef PRIMFIT_SRC_OUTLINE_AZIMUTH_H_
#define PRIMFIT_SRC_OUTLINE_AZIMUTH_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "fit/fit_memory.h"

namespace primfit {

/// The square azimuth of (x, y): how far along the square |x| + |y| = 1, a side for each quarter turn, its
/// ray meets the square. It rises with the azimuth from 0 to 4. Directions within 1e-8 of the y axis count as
/// that axis.
inline double SquareAzimuth(double x, double y) {
  if (std::abs(x) < 1e-8) return y > 0 ? 1 : 3;
  const double t = y / (std::abs(x) + std::abs(y));
  if (x < 0) return 2 - t;
  return y < 0 ? 4 + t : t;
}

/// The azimuth in [0, 2 pi) of a square azimuth.
inline double AzimuthOf(double square) {
  const double y = square <= 1 ? square : square < 3 ? 2 - square : square - 4;
  const double x = square <= 1 || square >= 3 ? 1 - std::abs(y) : std::abs(y) - 1;
  const double azimuth = std::atan2(y, x);
  return square > 2 && azimuth <= 0 ? azimuth + 2 * std::numbers::pi : azimuth;
}

/// The widest gap between azimuths in [0, 2 pi) that are added in ascending order. The gap across azimuth 0
/// is not among them: it is first + 2 pi - last.
struct AzimuthGaps {
  double first = -1, last = 0;    ///< the smallest and the largest azimuth; first is -1 before any
  double gap = 0, behindGap = 0;  ///< the widest gap and the azimuth behind it
  /// Adds azimuths between which there is no gap.
  void Add(double begin, double end) {
    if (first < 0) first = last = begin;
    if (begin - last > gap) {
      gap = begin - last;
      behindGap = begin;
    }
    last = end;
  }
};

/// The extremes of azimuths within each of many equal bins of the square azimuth.
class AzimuthBins {
 public:
  explicit AzimuthBins(std::size_t bins) : count_(bins), low_(bins), high_(bins) {
    std::fill_n(low_.data(), bins, 5.0);
    std::fill_n(high_.data(), bins, -1.0);
  }
  /// No gap wider than this hides within a bin, radians: in the middle of a side of the square the azimuth
  /// turns by 2 where the square azimuth rises by 1.
  double Resolution() const { return 8.0 / static_cast<double>(count_); }
  /// Adds a square azimuth.
  /// @return its bin
  std::size_t Add(double square) {
    const auto bin =
        std::min(static_cast<std::size_t>(square * (static_cast<double>(count_) / 4)), count_ - 1);
    low_[bin] = std::min(low_[bin], square);
    high_[bin] = std::max(high_[bin], square);
    return bin;
  }
  /// The gaps between the bins that hold azimuths and that counts(bin) accepts.
  template <class Counts>
  AzimuthGaps Gaps(const Counts& counts) const {
    AzimuthGaps gaps;
    for (std::size_t bin = 0; bin < count_; ++bin) {
      if (high_[bin] >= 0 && counts(bin)) gaps.Add(AzimuthOf(low_[bin]), AzimuthOf(high_[bin]));
    }
    return gaps;
  }

 private:
  std::size_t count_;
  Scratch<double> low_, high_;
};

}  // namespace primfit

#endif  // PRIMFIT_SRC_OUTLINE_AZIMUTH_H_
