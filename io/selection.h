// The points of a file that count: those that are finite, in the part of space that the user asked for, and
// with the attributes that the user wants. What is left out is counted by its reason, because a region
// without points is usually a mistake in one of its parts, and the user has to see in which. Points are
// chosen while they are read, so that a region of a large file costs no more memory than its own points.
#ifndef PRIMFIT_IO_SELECTION_H_
#define PRIMFIT_IO_SELECTION_H_

#include <Eigen/Core>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "io/point_cloud.h"
#include "io/readers.h"

namespace primfit::io {

/// The part of space that counts, in the unit of the file. Both kinds given mean what lies in both.
struct Region {
  std::vector<double> ball = {};  ///< x, y, z, radius; empty for none
  std::vector<double> box = {};   ///< smallest x, y, z, largest x, y, z; empty for none
  bool Everywhere() const { return ball.empty() && box.empty(); }
  bool InBall(const Eigen::Vector3d& p) const;  ///< true where there is none
  bool InBox(const Eigen::Vector3d& p) const;   ///< true where there is none
};

/// What an attribute may be: in one of some ranges, ends included.
struct Condition {
  struct Range {
    double low, high;
  };
  std::string attribute;
  std::vector<Range> ranges;
  bool Holds(double value) const;
};

/// Which points count.
struct Filter {
  Region region;
  std::vector<Condition> where = {};  ///< all of them have to hold
  std::uint64_t every = 1;            ///< of so many points of the file the first counts
};

/// How many points were left out, each for the first of these reasons that it has, in this order.
struct SelectionCounts {
  std::size_t total = 0;      ///< points of the file, without those that it marks as missing or deleted
  std::size_t notEvery = 0;   ///< between those of which each counts
  std::size_t nonFinite = 0;  ///< without measurement
  std::size_t notWhere = 0;   ///< that do not meet a condition
  std::size_t outside = 0;    ///< not in the region
  std::size_t inBall = 0;     ///< that reached the region and are in its ball alone
  std::size_t inBox = 0;      ///< that reached the region and are in its box alone
};

/// Passes on the points that count.
class Selector : public PointSink {
 public:
  /// @param kept  attributes at the front of each block that are passed on; those of the conditions follow
  Selector(const Filter& filter, std::size_t kept, PointSink& next)
      : filter_(filter), kept_(kept), next_(next) {}
  const SelectionCounts& Counts() const { return counts_; }

  void Expect(std::uint64_t points) override { next_.Expect(points / filter_.every + 1); }
  void Take(PointBlock& block) override;

 private:
  /// Whether a point counts; if not, the reason is counted.
  bool Counts(const PointBlock& block, std::size_t i);

  const Filter& filter_;
  std::size_t kept_;
  PointSink& next_;
  SelectionCounts counts_;
  std::vector<unsigned char> mask_;
};

/// A file's points that count, in the order of the file.
struct Selection : SelectionCounts {
  PointCloud file;     ///< its points are the ones that count; nonFinite is that of the file
  double seconds = 0;  ///< that reading took

  std::size_t Used() const { return file.points.size(); }
};

/// Reads a file and passes on the points that count, with the attributes of the request.
/// @param path    "-" reads standard input
/// @param counts  is overwritten
/// @throws ReadError
FileHead StreamSelected(const Readers& readers, const std::string& path, const Filter& filter,
                        const ReadRequest& request, PointSink& sink, SelectionCounts& counts);

/// Reads and selects the points.
/// @param path     "-" reads standard input
/// @param request  attributes that are kept
/// @throws ReadError
Selection ReadSelection(const Readers& readers, const std::string& path, const Filter& filter,
                        const ReadRequest& request = {});

}  // namespace primfit::io

#endif  // PRIMFIT_IO_SELECTION_H_
