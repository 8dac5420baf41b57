// What comes out of reading, as plain data: what a file says of its points as a whole, the points in blocks
// on their way, and all of them kept. The program, its report and the tests can so use points that come from
// no file. Points are doubles, whatever type the file has, because all that comes after reading works with
// doubles.
#ifndef PRIMFIT_IO_POINT_CLOUD_H_
#define PRIMFIT_IO_POINT_CLOUD_H_

#include <Eigen/Core>
#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace primfit::io {

/// A value that every point of a file has.
struct Field {
  std::string name;  ///< as the file has it; empty where it has none
  std::string type;  ///< such as "float32"; empty in text clouds, which name no types
};

/// What a file says of its coordinates; nothing of it changes them.
struct CoordinateReference {
  /// Metres in the file's unit of length, horizontally and vertically; 0 where it says nothing.
  double horizontalMetres = 0;
  double verticalMetres = 0;
  std::string system;  ///< name of the coordinate system, or its code such as "EPSG:25832"; empty for none
};

/// Points that were taken from one place.
struct Scan {
  std::uint64_t points = 0;                ///< that it has in the file, those without measurement included
  std::optional<Eigen::Vector3d> station;  ///< where the scanner stood, in the frame of the points
};

/// What a file says of its points as a whole.
struct FileHead {
  std::string format;         ///< such as "PLY binary_little_endian"
  std::vector<Field> fields;  ///< what the file says of each point, coordinates included
  CoordinateReference reference;
  std::vector<Scan> scans;   ///< in the order of the file; empty where the format knows none
  std::uint64_t marked = 0;  ///< points that the file itself marks as missing or deleted; they are left out
  std::vector<std::string> notes;  ///< what the user should know although the points could be read
  std::size_t bytes = 0;           ///< size of the file
  std::string xxh128;              ///< checksum of its bytes, see checksum.h
};

/// What is to be read of each point beside its coordinates, and how.
struct ReadRequest {
  /// Names of attributes, as attributes.h knows them.
  std::vector<std::string> attributes;
  /// The three columns of text that are x, y and z, by number from 1 or by name; none: what the file
  /// suggests.
  std::vector<std::string> columns;
};

/// Some points on their way from a reader to what takes them.
struct PointBlock {
  static constexpr std::size_t kMostPoints = 1024;  // their coordinates stay in the first-level cache

  std::vector<Eigen::Vector3d> points;          ///< those without measurement (NaN, infinite) included
  std::vector<std::vector<double>> attributes;  ///< for each one requested, a value a point

  void Resize(std::size_t n);
  /// Leaves the points for which there is a value other than 0, in their order.
  void Keep(const std::vector<unsigned char>& kept);
};

/// What takes the points of a reader, block by block.
class PointSink {
 public:
  PointSink() = default;
  PointSink(const PointSink&) = delete;
  PointSink& operator=(const PointSink&) = delete;
  virtual ~PointSink() = default;
  /// Told before the points, and again before those of another part: at most so many come until then.
  virtual void Expect(std::uint64_t points) { static_cast<void>(points); }
  /// @param block  may be changed; the reader fills it anew
  virtual void Take(PointBlock& block) = 0;
};

/// The points of a file, in its order, unit and frame.
struct PointCloud : FileHead {
  std::vector<Eigen::Vector3d> points;          ///< points without measurement (NaN, infinite) included
  std::vector<std::vector<double>> attributes;  ///< for each one requested, a value a point
  std::size_t nonFinite = 0;  ///< how many of the points have a coordinate that is not finite
};

/// Keeps all points.
class Collector : public PointSink {
 public:
  explicit Collector(PointCloud& cloud) : cloud_(cloud) {}
  void Expect(std::uint64_t points) override;
  void Take(PointBlock& block) override;

 private:
  PointCloud& cloud_;
};

/// Makes blocks of points that are read one by one.
class BlockBuilder {
 public:
  /// @param attributes  number of values that a point has beside its coordinates
  BlockBuilder(std::size_t attributes, PointSink& sink);
  /// @param values  coordinates, then attributes
  void Add(const double* values) {
    block_.points[size_] = Eigen::Map<const Eigen::Vector3d>(values);
    for (std::size_t k = 0; k < block_.attributes.size(); ++k) block_.attributes[k][size_] = values[3 + k];
    if (++size_ == PointBlock::kMostPoints) Flush();
  }
  /// Passes on what has been added since the last full block. To be called after the last point.
  void Flush();

 private:
  PointSink& sink_;
  PointBlock block_;
  std::size_t size_ = 0;
};

/// The names by which headers call the coordinates.
inline constexpr std::array<std::string_view, 3> kAxisNames = {"x", "y", "z"};

/// Makes room for n more points. Only room that is filled takes memory, which asks for huge pages: mapping a
/// large cloud page by page takes longer than filling it. Too much to ask for is not asked for.
void Reserve(std::vector<Eigen::Vector3d>& points, std::uint64_t n);

}  // namespace primfit::io

#endif  // PRIMFIT_IO_POINT_CLOUD_H_
