// Files that are written: complete or not there, and read back as they were.
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <limits>

#include "io/read_points.h"
#include "io/write_ply.h"
#include "support/scratch_folder.h"

namespace {

using Eigen::Vector3d;
using primfit::io::OutputFile;
using primfit::io::PlyCloud;
using primfit::io::PlyCoordinates;
using primfit::io::WriteError;

std::string Contents(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

class Write : public ScratchFolder {
 protected:
  /// Names in the folder, those of half-written files among them.
  std::size_t Files() const {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator(folder_), std::filesystem::directory_iterator()));
  }
};

TEST_F(Write, ChangesNothingBeforeAllIsThere) {
  const std::string path = ScratchFolder::Write("a", "old");
  ASSERT_EQ(::chmod(path.c_str(), 0640), 0);
  std::filesystem::create_symlink("a", Path("link"));
  {
    OutputFile given(Path("link"));
    given.Write(std::string(3 << 20, 'x'));
    EXPECT_EQ(Contents(path), "old");
  }
  EXPECT_EQ(Files(), 2U);
  OutputFile file(Path("link"));
  file.Write("new");
  file.Commit();
  EXPECT_EQ(Contents(path), "new");
  EXPECT_EQ(Files(), 2U);
  EXPECT_TRUE(std::filesystem::is_symlink(Path("link")));
  EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0640));
}

TEST_F(Write, LeavesTheOldFileWhenThereIsNoRoom) {
  const std::string path = ScratchFolder::Write("a", "old");
  ::signal(SIGXFSZ, SIG_IGN);
  rlimit before{};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  const rlimit little{1 << 16, before.rlim_max};
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &little), 0);
  std::string error;
  try {
    OutputFile file(path);
    for (int i = 0; i < 100; ++i) file.Write(std::string(1 << 10, 'x'));
    file.Commit();
  } catch (const WriteError& thrown) {
    error = thrown.what();
  }
  ASSERT_EQ(::setrlimit(RLIMIT_FSIZE, &before), 0);
  EXPECT_EQ(error, path + ": cannot be written: File too large; raise the limit of file sizes (ulimit -f)");
  EXPECT_EQ(Contents(path), "old");
  EXPECT_EQ(Files(), 1U);
}

TEST_F(Write, SaysWhatCannotBeWritten) {
  const std::pair<std::string, const char*> rows[] = {
      {Path("none/a"), "cannot be written: No such file or directory; check the folder and its permissions"},
      {Path(""), "is a folder; name a file in it"},
      {Path("li\nne/a"), "li?ne/a: cannot be written"}};
  for (const auto& [path, error] : rows) {
    try {
      primfit::io::RequireWritable(path);
      ADD_FAILURE() << path;
    } catch (const WriteError& thrown) {
      EXPECT_NE(std::string(thrown.what()).find(error), std::string::npos) << thrown.what();
    }
  }
  primfit::io::RequireWritable(Path("b"));
  primfit::io::RequireWritable("/dev/full");
  EXPECT_EQ(Files(), 0U);
  OutputFile full("/dev/full");
  full.Write("x");
  EXPECT_THROW(full.Commit(), WriteError);
}

TEST_F(Write, KeepsCoordinatesAsExactlyAsAskedFor) {
  constexpr double kLargest = std::numeric_limits<double>::max();
  const struct {
    Vector3d point;
    double distance;
    PlyCoordinates type;
  } rows[] = {
      {{0.5, -0.25, 4194304}, 0, PlyCoordinates::kFloat},  // floats hold them
      {{0.1, 0, 0}, 0, PlyCoordinates::kDouble},          {{0.1, 0, 0}, 1e-6, PlyCoordinates::kFloat},
      {{1, 2, 4000000.1}, 1e-4, PlyCoordinates::kDouble},  // survey coordinates: steps of a quarter
      {{1, 2, 4000000.1}, 0.2, PlyCoordinates::kFloat},   {{1, kLargest, 3}, 1e-6, PlyCoordinates::kDouble},
  };
  for (const auto& row : rows) {
    const std::vector<Vector3d> points(2, row.point);
    EXPECT_EQ(primfit::io::CoordinatesWithin(points, row.distance), row.type) << row.point.transpose();
    OutputFile file(Path("a.ply"));
    primfit::io::WritePly({.points = points, .coordinates = row.type}, file);
    file.Commit();
    const auto cloud = primfit::io::ReadPoints(primfit::io::NativeReaders(), Path("a.ply"));
    ASSERT_EQ(cloud.points.size(), 2U);
    EXPECT_LE((cloud.points[1] - row.point).cwiseAbs().maxCoeff(), row.distance);
  }
}

TEST_F(Write, PutsAttributesBehindThePoints) {
  const std::vector<Vector3d> points = {{1, 2, 3}, {4, 5, 6}};
  const std::vector<std::int32_t> labels = {-1, 7};
  const std::vector<double> deviations = {0.5, -2};
  const std::vector<primfit::io::PlyColour> colours = {{1, 2, 255}, {0, 9, 8}};
  OutputFile file(Path("a.ply"));
  primfit::io::WritePly({.points = points,
                         .coordinates = PlyCoordinates::kFloat,
                         .columns = {{"label", std::span(labels)}, {"deviation", std::span(deviations)}},
                         .colours = colours,
                         .comments = {"of a\nb"}},
                        file);
  file.Commit();
  const std::string text = Contents(Path("a.ply"));
  const std::string header =
      "ply\nformat binary_little_endian 1.0\ncomment of a?b\nelement vertex 2\nproperty float x\nproperty "
      "float "
      "y\nproperty float z\nproperty int label\nproperty double deviation\nproperty uchar red\nproperty "
      "uchar "
      "green\nproperty uchar blue\nend_header\n";
  ASSERT_EQ(text.size(), header.size() + 2 * 27);
  EXPECT_EQ(text.substr(0, header.size()), header);
  // 1.0f, 2.0f, 3.0f, -1, 0.5, colours
  const std::string row(
      "\x00\x00\x80\x3f\x00\x00\x00\x40\x00\x00\x40\x40\xff\xff\xff\xff\x00\x00\x00\x00\x00\x00\xe0\x3f\x01"
      "\x02\xff",
      27);
  EXPECT_EQ(text.substr(header.size(), 27), row);
}

}  // namespace
