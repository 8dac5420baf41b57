// Reads the sample scans, for the examples in C++. A program of your own has its points already.
#ifndef READ_POINTS_H_
#define READ_POINTS_H_

#include <Eigen/Core>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

/// The points of a text file with x, y and z in each line.
/// @throws std::runtime_error for a file that cannot be opened or holds something else
inline std::vector<Eigen::Vector3d> ReadPoints(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error(path + " cannot be opened");
  std::vector<Eigen::Vector3d> points;
  double x = 0, y = 0, z = 0;
  while (file >> x >> y >> z) points.emplace_back(x, y, z);
  if (!file.eof()) throw std::runtime_error(path + " holds something other than x y z in each line");
  return points;
}

#endif  // READ_POINTS_H_
