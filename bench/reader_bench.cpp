// Reading a cloud of a million points in every format. Beside each reader stand, over the same file, the
// bytes alone (read into one warm block, which is the least that reading can cost) and the bytes with fresh
// memory for the points (which every reader has to hand over).
#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>
#include <vector>

#include "io/read_points.h"
#include "support/point_files.h"

namespace {

using point_files::Points;

constexpr std::size_t kPoints = 1000000;

Points RandomPoints() {
  std::mt19937 random(1);
  std::uniform_real_distribution<float> coordinate(-50.0F, 50.0F);
  Points points(kPoints);
  for (auto& p : points)
    p = Eigen::Vector3f(coordinate(random), coordinate(random), coordinate(random)).cast<double>();
  return points;
}

std::string Rows(const Points& points, char separator) {
  std::string text;
  char number[32];
  for (const auto& p : points) {
    for (Eigen::Index axis = 0; axis < 3; ++axis) {
      text.append(number, std::to_chars(number, number + sizeof number, static_cast<float>(p[axis])).ptr);
      text += axis < 2 ? separator : '\n';
    }
  }
  return text;
}

struct File {
  std::string name;
  std::string path;
};

std::vector<File> WriteFiles(const std::filesystem::path& folder, const Points& points) {
  std::vector<File> files;
  const auto write = [&](const std::string& name, const char* extension, const std::string& bytes) {
    files.push_back({name, (folder / (name + extension)).string()});
    std::ofstream(files.back().path, std::ios::binary) << bytes;
  };
  const std::string rows = Rows(points, ' ');
  const std::size_t n = points.size();
  write("ply_ascii", ".ply", point_files::PlyHeader("ascii", n, "float") + rows);
  write("ply_float", ".ply", point_files::BinaryPly<float>(points, "float"));
  write("ply_float_big_endian", ".ply", point_files::BinaryPly<float>(points, "float", std::endian::big));
  write("ply_double", ".ply", point_files::BinaryPly(points));
  write("pcd_ascii", ".pcd", point_files::PcdHeader(n, "ascii") + rows);
  write("pcd_binary", ".pcd", point_files::BinaryPcd(points));
  write("pcd_compressed", ".pcd", point_files::CompressedPcd(points));
  write("xyz", ".xyz", rows);
  write("csv", ".csv", "x,y,z\n" + Rows(points, ','));
  write("pts", ".pts", std::to_string(n) + "\n" + rows);
  return files;
}

std::size_t ReadBytes(const std::string& path) {
  static std::vector<char> block(std::size_t{1} << 18);
  const int file = ::open(path.c_str(), O_RDONLY);
  std::size_t size = 0;
  for (ssize_t got; (got = ::read(file, block.data(), block.size())) > 0;)
    size += static_cast<std::size_t>(got);
  ::close(file);
  return size;
}

template <class Work>
void Measure(benchmark::State& state, const std::string& path, Work work) {
  for (auto _ : state) work();
  const auto size = static_cast<std::int64_t>(std::filesystem::file_size(path));
  state.SetBytesProcessed(state.iterations() * size);
  state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(kPoints));
}

primfit::io::PointCloud ReadPoints(const std::string& path) {
  return primfit::io::ReadPoints(primfit::io::NativeReaders(), path);
}

/// Text holds the shortest decimals of 32-bit numbers, which are not those numbers in 64 bits.
bool SameIn32Bits(const Points& got, const Points& expected) {
  return std::equal(
      got.begin(), got.end(), expected.begin(), expected.end(),
      [](const auto& a, const auto& b) { return a.template cast<float>() == b.template cast<float>(); });
}

void Register(const File& file, const Points& expected) {
  const std::string& path = file.path;
  benchmark::RegisterBenchmark((file.name + "/points").c_str(), [path, &expected](benchmark::State& state) {
    if (!SameIn32Bits(ReadPoints(path).points, expected))
      state.SkipWithError("the points differ from those written");
    Measure(state, path, [&] { benchmark::DoNotOptimize(ReadPoints(path).points.data()); });
  })->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark((file.name + "/bytes").c_str(), [path](benchmark::State& state) {
    Measure(state, path, [&] { benchmark::DoNotOptimize(ReadBytes(path)); });
  })->Unit(benchmark::kMillisecond);
  benchmark::RegisterBenchmark((file.name + "/bytes_and_memory").c_str(), [path](benchmark::State& state) {
    Measure(state, path, [&] {
      primfit::io::PointCloud cloud;
      primfit::io::Reserve(cloud.points, kPoints);
      cloud.points.assign(kPoints, Eigen::Vector3d::Zero());
      benchmark::DoNotOptimize(cloud.points.data());
      benchmark::DoNotOptimize(ReadBytes(path));
    });
  })->Unit(benchmark::kMillisecond);
}

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  std::string folder = (std::filesystem::temp_directory_path() / "primfit-bench-XXXXXX").string();
  if (::mkdtemp(folder.data()) == nullptr) return 1;
  const Points points = RandomPoints();
  for (const File& file : WriteFiles(folder, points)) Register(file, points);
  benchmark::RunSpecifiedBenchmarks();
  std::filesystem::remove_all(folder);
  return 0;
}
