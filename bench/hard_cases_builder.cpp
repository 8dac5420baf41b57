#include "hard_cases_builder.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>

#include "adaptive/model/refine.h"

namespace primfit::bench {

using Eigen::Vector3d;
using std::numbers::pi;

namespace {

constexpr int kLeastOfAccepted = 75;
constexpr int kRefinements = 50;
/// The shortest side of the box of clutter, in longest ones.
constexpr double kThinnest = 0.1;

const OutputSurface& SurfaceOf(const OutputShape& shape) { return dynamic_cast<const OutputSurface&>(shape); }

/// What a right answer is where a face is uneven: the least-squares shape of the surface that is really
/// there, whose points come without noise.
TrueSurface AcceptedFrom(const Face& face, const Points& exact, const Points& measured) {
  TrueSurface surface{ModelOf(*face.Shape()), exact, measured};
  if (!face.form) return surface;
  if (const auto best = adaptive::Refine(surface.model, 0, adaptive::RefsOf(exact), kRefinements))
    surface.model = *best;
  WithShape(surface.model, [&](const OutputShape& shape) {
    for (Vector3d& p : surface.exact) p = shape.ClosestPoint(p);
  });
  return surface;
}

void Transform(const Pose& pose, Points& points) {
  for (Vector3d& p : points) p = pose * p;
}

void ForEachPointSet(HardScene& scene, const std::function<void(Points&)>& change) {
  change(scene.points);
  for (TrueSurface& surface : scene.accepted) change(surface.measured);
}

Sight Look(const std::vector<Face>& faces, const Vector3d& from, const Vector3d& direction) {
  Sight sight;
  for (std::size_t i = 0; i < faces.size(); ++i) {
    const auto range = Hit(faces[i], from, direction);
    if (range && *range < sight.range) sight.face = i, sight.range = *range;
  }
  if (sight.IsNothing()) return sight;
  sight.exact = from + sight.range * direction;
  if (faces[sight.face].form) {
    const auto shape = faces[sight.face].Shape();
    sight.exact = faces[sight.face].Formed(SurfaceOf(*shape), sight.exact);
    sight.range = (sight.exact - from).norm();
  }
  return sight;
}

/// Whether the beam of a pixel can fall on two surfaces, beside what its neighbour sees: ranges differ by
/// more than neighbours on one surface do, but not by so much that the echoes are told apart.
bool IsAtJump(const Sight& a, const Sight& b) {
  if (a.IsNothing() || b.IsNothing()) return false;
  const double jump = std::abs(a.range - b.range);
  return a.face != b.face && jump > 0.01 && jump < 1;
}

}  // namespace

Sensor Scanner(const Vector3d& place, Range azimuth, Range elevation, double step, double noise) {
  Sensor sensor;
  sensor.place = place;
  sensor.columns = static_cast<int>(azimuth.Length() / step);
  sensor.rows = static_cast<int>(elevation.Length() / step);
  sensor.direction = [=](int column, int row) {
    const double a = azimuth.low + column * step, e = elevation.low + row * step;
    return Vector3d(std::cos(e) * std::cos(a), std::cos(e) * std::sin(a), std::sin(e));
  };
  sensor.measure = [=](double range, Random& random) { return range + noise * random.Gauss(); };
  return sensor;
}

Sensor DepthCamera(const Vector3d& place, const Vector3d& target, int pixels, double noiseAtOneMetre) {
  Sensor sensor;
  sensor.place = place;
  sensor.columns = pixels;
  sensor.rows = 3 * pixels / 4;
  const Vector3d forward = (target - place).normalized();
  const Vector3d right = forward.cross(Vector3d::UnitZ()).normalized(), down = forward.cross(right);
  const double pixel = 2 * std::tan(pi / 6) / pixels;
  sensor.direction = [=, columns = sensor.columns, rows = sensor.rows](int column, int row) {
    return (forward + (column - columns / 2) * pixel * right + (row - rows / 2) * pixel * down).normalized();
  };
  // 1 / range is what is measured; it comes in steps of as much as the noise.
  sensor.measure = [=](double range, Random& random) {
    const double disparity = 1 / range + noiseAtOneMetre * random.Gauss();
    return 1 / (std::round(disparity / noiseAtOneMetre) * noiseAtOneMetre);
  };
  sensor.storesMissing = true;
  return sensor;
}

SceneBuilder::Part SceneBuilder::Spread(const Face& face, int n) {
  Part part{face, {}, {}};
  const auto shape = face.Shape();
  const auto* surface = dynamic_cast<const OutputSurface*>(shape.get());
  while (static_cast<int>(part.exact.size()) < n) {
    for (const Vector3d& ideal : PointsOn(*face.primitive, face.truth, face.pose, n, 0, random_)) {
      if (face.keeps && !face.keeps(ideal)) continue;
      if (static_cast<int>(part.exact.size()) == n) break;
      const Vector3d exact = face.Formed(*surface, ideal);
      part.exact.push_back(exact);
      part.measured.emplace_back(exact + noise_ * random_.Gauss() * surface->EvalNormal(ideal));
    }
  }
  points_.insert(points_.end(), part.measured.begin(), part.measured.end());
  return part;
}

SceneBuilder& SceneBuilder::Accept(const Face& face, int n) {
  accepted_.push_back(Spread(face, n));
  return *this;
}

SceneBuilder& SceneBuilder::Add(const Face& face, int n) {
  Spread(face, n);
  return *this;
}

SceneBuilder& SceneBuilder::Accept(std::span<const Face> faces, double density) {
  for (const Face& face : faces) {
    const int n = static_cast<int>(density * AreaOf(face));
    n < kLeastOfAccepted ? Add(face, n) : Accept(face, n);
  }
  return *this;
}

SceneBuilder& SceneBuilder::Add(std::span<const Face> faces, double density) {
  for (const Face& face : faces) Add(face, static_cast<int>(density * AreaOf(face)));
  return *this;
}

SceneBuilder& SceneBuilder::AddPoints(const Points& points) {
  points_.insert(points_.end(), points.begin(), points.end());
  return *this;
}

SceneBuilder& SceneBuilder::AddClutter(double share, double around) {
  const double count = share / (1 - share) * static_cast<double>(points_.size());
  Vector3d low = points_[0], high = low;
  for (const Vector3d& p : points_) {
    low = low.cwiseMin(p);
    high = high.cwiseMax(p);
  }
  const Vector3d thin = (kThinnest * (high - low).maxCoeff() - (high - low).array()).max(0);
  low -= thin / 2;
  high += thin / 2;
  const double beside = (around - 1) / 2;
  for (int i = 0; i < static_cast<int>(count); ++i) {
    Vector3d place;
    for (double& c : place) c = random_.Uniform(-beside, 1 + beside);
    points_.emplace_back(low + place.cwiseProduct(high - low));
  }
  return *this;
}

void SceneBuilder::Measure(const Sensor& sensor, const Vector3d& direction, const Sight& sight,
                           const std::vector<Sight>& neighbours, std::vector<Part>& parts) {
  if (sight.IsNothing()) {
    if (sensor.storesMissing) points_.push_back(sensor.place);
    return;
  }
  for (const Sight& neighbour : neighbours) {
    if (!IsAtJump(neighbour, sight) || random_.Uniform(0, 1) >= sensor.mixedShare) continue;
    const double range = sight.range + random_.Uniform(0, 1) * (neighbour.range - sight.range);
    points_.emplace_back(sensor.place + sensor.measure(range, random_) * direction);
    return;
  }
  points_.emplace_back(sensor.place + sensor.measure(sight.range, random_) * direction);
  parts[sight.face].exact.push_back(sight.exact);
  parts[sight.face].measured.push_back(points_.back());
}

void SceneBuilder::ScanFrom(const Sensor& sensor, const std::vector<Face>& faces, std::vector<Part>& parts) {
  const auto error = [&] { return sensor.angularNoise * random_.Gauss(); };
  std::vector<Sight> columnBefore(static_cast<std::size_t>(sensor.rows));
  for (int column = 0; column < sensor.columns; ++column) {
    Sight rowBefore;
    for (int row = 0; row < sensor.rows; ++row) {
      Sight& beside = columnBefore[static_cast<std::size_t>(row)];
      const Vector3d direction = sensor.direction(column, row);
      const Sight sight =
          Look(faces, sensor.place, (direction + Vector3d(error(), error(), error())).normalized());
      Measure(sensor, direction, sight, {rowBefore, beside}, parts);
      rowBefore = beside = sight;
    }
  }
}

SceneBuilder& SceneBuilder::Scan(const std::vector<Face>& faces, const std::vector<std::size_t>& accepted,
                                 const std::vector<Sensor>& sensors) {
  std::vector<Part> parts(faces.size());
  for (const Sensor& sensor : sensors) ScanFrom(sensor, faces, parts);
  for (const std::size_t i : accepted) {
    if (static_cast<int>(parts[i].exact.size()) < kLeastOfAccepted) continue;
    parts[i].face = faces[i];
    accepted_.push_back(std::move(parts[i]));
  }
  return *this;
}

HardScene SceneBuilder::In(const Pose& pose) const {
  HardScene scene{points_, {}, noise_};
  Transform(pose, scene.points);
  for (const Part& part : accepted_) {
    TrueSurface surface = AcceptedFrom(part.face, part.exact, part.measured);
    surface.model.center = pose * surface.model.center;
    surface.model.axis = pose.linear() * surface.model.axis;
    Transform(pose, surface.exact);
    Transform(pose, surface.measured);
    scene.accepted.push_back(std::move(surface));
  }
  return scene;
}

HardScene SceneBuilder::InAnyPose() {
  HardScene scene = In(random_.AnyPose());
  random_.Shuffle(scene.points);
  return scene;
}

HardScene SceneBuilder::Upright() {
  Pose pose = Pose::Identity();
  pose.rotate(Eigen::AngleAxisd(random_.Uniform(0, 2 * pi), Vector3d::UnitZ()));
  pose.pretranslate(Vector3d(random_.Gauss(), random_.Gauss(), random_.Gauss()));
  return In(pose);
}

HardScene Rounded(HardScene scene, double step) {
  ForEachPointSet(scene, [&](Points& points) {
    for (Vector3d& p : points) p = step * (p / step).array().round().matrix();
  });
  return scene;
}

HardScene InSinglePrecision(HardScene scene, const Vector3d& origin) {
  ForEachPointSet(scene, [&](Points& points) {
    for (Vector3d& p : points) p = (p + origin).cast<float>().cast<double>();
  });
  for (TrueSurface& surface : scene.accepted) {
    surface.model.center += origin;
    for (Vector3d& p : surface.exact) p += origin;
  }
  return scene;
}

std::function<double(const Vector3d&)> Waves(double deviation, double wavelength, Random& random) {
  // The sum of a few plane waves of random directions and phases is nearly a normal process.
  constexpr int kWaves = 6;
  std::vector<std::pair<Vector3d, double>> waves;
  for (int i = 0; i < kWaves; ++i) {
    const Vector3d direction = Vector3d(random.Gauss(), random.Gauss(), random.Gauss()).normalized();
    waves.emplace_back(direction * (2 * pi / wavelength * random.Uniform(0.7, 1.4)),
                       random.Uniform(0, 2 * pi));
  }
  const double amplitude = deviation * std::sqrt(2.0 / kWaves);
  return [=](const Vector3d& p) {
    double sum = 0;
    for (const auto& [number, phase] : waves) sum += std::sin(number.dot(p) + phase);
    return amplitude * sum;
  };
}

}  // namespace primfit::bench
