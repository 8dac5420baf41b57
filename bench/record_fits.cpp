// Writes down what 500 random fits give, a line each, so that two builds can be compared bit by bit: every
// door of the library, all shapes, sizes and seeds, with and without clutter, held parts, weights and other
// options.
//
// usage: record_fits [COUNT] > before.txt     then, of another build, after.txt
//        compare_records.py before.txt after.txt
//
// A line is: number and description of the fit, " : ", outcome (ok or the error's text), verdict, inliers
// with a hash of their positions, size of the cloud, " | ", the numbers of the shape, " | ", all other
// numbers. Numbers are hexadecimal, so that they hold every bit.
#include <fmt/format.h>

#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "primfit/fit_c.h"
#include "primfit/flat.h"
#include "primfit/primfit.h"
#include "primitives/records.h"
#include "scenes.h"

namespace primfit::bench {
namespace {

using Eigen::Vector3d;

constexpr double kNoiseLevels[] = {0, 1e-6, kNoise, 0.01};

/// What one fit is asked for.
struct Request {
  Scene scene;
  std::uint64_t seed = 0;
  std::vector<double> start;  ///< numbers of a shape near the true one
  std::vector<int> fix;       ///< for each part that can be held
  std::vector<double> weights;
  bool tellsNoise = false, tellsRadius = false, tellsAxis = false, tellsPlace = false;

  int Count() const { return static_cast<int>(scene.points.size()); }
  const double* Numbers() const { return scene.points.front().data(); }
  bool Holds() const { return std::find(fix.begin(), fix.end(), 1) != fix.end(); }
  Vector3d Axis() const { return scene.pose.linear().col(2); }
};

/// What one fit gave.
struct Record {
  std::string outcome = "ok";
  std::string verdict = "-";
  std::size_t inliers = 0;
  std::uint64_t hash = 0xcbf29ce484222325U;  // FNV-1a
  std::vector<double> shape, others;

  void Hash(std::uint64_t value) { hash = (hash ^ value) * 0x100000001b3U; }
  void Add(const FitQuality& q) {
    others.insert(others.end(), {q.rmsDistance, q.meanDistance, q.meanSignedDistance, q.maxDistance});
    for (int k = 0; k < FitHistogram::NumberSplots(); ++k)
      others.push_back(static_cast<double>(q.histogram.CountOnSlot(k)));
  }
};

void Append(std::vector<double>& numbers, double value) { numbers.push_back(value); }
void Append(std::vector<double>& numbers, const Vector3d& v) {
  numbers.insert(numbers.end(), v.begin(), v.end());
}

/// The numbers of a record as arrays have them, and the corners of an outline.
template <class Shape>
std::vector<double> NumbersOf(const typename Shape::Record& record) {
  double parts[PRIMFIT_MOST_NUMBERS];
  std::vector<double> numbers(parts, WriteRecord<Description<Shape>, Listed::kForArrays>(record, parts));
  if constexpr (std::is_same_v<Shape, Patch>) {
    const double* loop = nullptr;
    Vector3d axis;
    const int count = record.Loop(loop, axis);
    numbers.insert(numbers.end(), loop, loop + 2 * std::ptrdiff_t{count});
  }
  return numbers;
}

/// The start shape of a request and which of its parts are held.
template <class Shape>
struct Held {
  using D = typename Description<Shape>::StartDescription;
  explicit Held(const Request& r)
      : start(ReadStart<D, Listed::kForArrays>(r.start.data())), constraints(&start) {
    Hold<D>(r.fix, constraints);
  }
  typename D::Record start;
  typename D::Constraints constraints;
};

// The doors.

template <class Shape>
void ByFit(const Request& r, Record& out) {
  const Held<Shape> held(r);
  FitOptions<Shape> o;
  o.seed = r.seed;
  o.weights = r.weights;
  if (r.Holds()) o.constraints = &held.constraints;
  if (r.tellsNoise) o.noise = std::max(r.scene.noise, 1e-4);
  if (r.tellsRadius) o.radius = {0.2, 1.5}, o.minorRadius = {0.1, 0.5};
  if (r.tellsAxis) o.axisNear = r.Axis(), o.axisWithin = 0.2;
  if (r.tellsPlace) o.passes = r.scene.inliers.front(), o.passesWithin = 0.02;
  const auto fit = primfit::fit<Shape>(r.scene.points, o);
  out.verdict = std::to_string(static_cast<int>(fit.report.verdict));
  out.inliers = fit.inliers.size();
  for (const std::uint32_t i : fit.inliers) out.Hash(i);
  out.shape = NumbersOf<Shape>(fit.shape);
  out.Add(fit.quality);
  for (const double v :
       {fit.report.noise, fit.report.tolerance, fit.report.inlierShare, static_cast<double>(fit.report.draws),
        static_cast<double>(fit.report.refinements), static_cast<double>(fit.report.stopReason),
        static_cast<double>(fit.report.converged)})
    out.others.push_back(v);
  out.others.insert(out.others.end(), fit.covariance.matrix.reshaped().begin(),
                    fit.covariance.matrix.reshaped().end());
}

template <int kShape>
void ByC(const Request& r, Record& out) {
  primfit_options o;
  primfit_default_options(&o, PRIMFIT_OPTIONS_VERSION);
  o.has_seed = 1;
  o.seed = r.seed;
  if (!r.weights.empty()) o.weights = r.weights.data();
  if (r.Holds()) o.start = r.start.data(), o.fix = r.fix.data();
  if (r.tellsNoise) o.noise = std::max(r.scene.noise, 1e-4);
  primfit_result* found = nullptr;
  char message[PRIMFIT_MESSAGE_SIZE];
  if (primfit_fit(kShape, r.scene.points.size(), r.Numbers(), 3, &o, &found, message) != 0) {
    out.outcome = message;
    return;
  }
  out.verdict = std::to_string(found->verdict);
  out.inliers = found->inlier_count;
  for (std::size_t i = 0; i < found->inlier_count; ++i) out.Hash(found->inliers[i]);
  out.shape.assign(found->numbers, found->numbers + found->number_count);
  out.others = {found->rms, found->largest, found->noise, found->tolerance};
  for (int i = 0; i < found->parameter_count; ++i)
    out.others.push_back(found->parameters[i].standard_deviation);
  primfit_free(found);
}

template <class Shape>
void ByFunction(const Request& r, Record& out) {
  using Params = FitInputParams<typename Shape::Constraints>;
  const ScopedSeed seed(r.seed);
  const Held<Shape> held(r);
  Params params(r.Holds() ? &held.constraints : nullptr, false, r.tellsPlace);
  if (r.tellsAxis) params.SetOptimizeOnce();
  if (r.tellsNoise) params.SetScannerError(0.01);
  IFit<Params, typename Shape::Record> front;
  const auto fit = [&] {
    if constexpr (requires { front.Solve(r.scene.points.data(), 1, params, nullptr, false); })
      return front.Solve(r.scene.points.data(), r.Count(), params, nullptr, r.tellsRadius);
    else
      return front.Solve(r.scene.points.data(), r.Count(), params, nullptr);
  }();
  out.shape = NumbersOf<Shape>(fit.GetFitShape());
  out.Add(fit.GetFitQuality());
  out.inliers = static_cast<std::size_t>(fit.GetFitQuality().GetInlierCount());
}

void ByPick(const Request& r, Record& out) {
  const ScopedSeed seed(r.seed);
  const auto fit = ConsensusRansacFit(r.scene.inliers.front(), 0.5, r.scene.points.data(), r.Count(),
                                      FitInputParams<FitConstraintsCylinder>(), nullptr);
  out.shape = NumbersOf<Cylinder>(fit.GetFitShape());
  out.Add(fit.GetFitQuality());
}

void ThroughArc(const Request& r, Record& out) {
  const ScopedSeed seed(r.seed);
  const Vector3d across = r.scene.pose.linear().col(0);
  const FitOutputParamsArc arc(r.scene.pose.translation() + across, 0.3, r.scene.pose.linear().col(1));
  const FitConstraintsArc constraints(&arc);
  const auto fit = TorusFromPoints(r.scene.points.data(), r.Count(),
                                   FitInputParams<FitConstraintsArc>(&constraints), nullptr);
  out.shape = NumbersOf<Torus>(fit.GetFitShape());
  out.Add(fit.GetFitQuality());
}

void BySums(const Request& r, Record& out) {
  const ScopedSeed seed(r.seed);
  const auto plane = r.weights.empty() ? PlaneFromPoints(r.scene.points.data(), r.Count())
                                       : PlaneFromPoints(r.scene.points.data(), r.Count(), r.weights.data(),
                                                         Vector3d::Zero());
  out.shape = NumbersOf<Plane>(plane);
}

using Flat = int (*)(const Request& r, double* shape, double* quality);
template <Flat kCall>
void ByFlat(const Request& r, Record& out) {
  const ScopedSeed seed(r.seed);
  double shape[8], quality[4] = {};
  std::copy(r.start.begin(), r.start.begin() + std::ptrdiff_t(std::min<std::size_t>(8, r.start.size())),
            shape);
  if (const int status = kCall(r, shape, quality); status != 0) {
    out.outcome = fmt::format("status {}", status);
    return;
  }
  out.shape.assign(shape, shape + std::min<std::size_t>(8, r.start.size()));
  out.others.assign(quality, quality + 4);
}

/// One door with one shape.
struct Door {
  std::string_view name, scene;
  void (*fit)(const Request&, Record&);
};

#define PRIMFIT_FLAT(name)                     \
  [](const Request& r, double* s, double* q) { \
    (void)q;                                   \
    return name;                               \
  }
constexpr Door kDoors[] = {
    {"fit", "line", ByFit<Line>},
    {"fit", "arc", ByFit<Arc>},
    {"fit", "plane", ByFit<Plane>},
    {"fit", "patch", ByFit<Patch>},
    {"fit", "sphere", ByFit<Sphere>},
    {"fit", "cylinder", ByFit<Cylinder>},
    {"fit", "bounded cylinder", ByFit<BoundedCylinder>},
    {"fit", "cone", ByFit<Cone>},
    {"fit", "bounded cone", ByFit<BoundedCone>},
    {"fit", "torus", ByFit<Torus>},
    {"fit", "elbow", ByFit<Elbow>},
    {"function", "line", ByFunction<Line>},
    {"function", "arc", ByFunction<Arc>},
    {"function", "plane", ByFunction<Plane>},
    {"function", "patch", ByFunction<Patch>},
    {"function", "sphere", ByFunction<Sphere>},
    {"function", "cylinder", ByFunction<Cylinder>},
    {"function", "bounded cylinder", ByFunction<BoundedCylinder>},
    {"function", "cone", ByFunction<Cone>},
    {"function", "bounded cone", ByFunction<BoundedCone>},
    {"function", "torus", ByFunction<Torus>},
    {"function", "elbow", ByFunction<Elbow>},
    {"C", "line", ByC<PRIMFIT_LINE>},
    {"C", "arc", ByC<PRIMFIT_ARC>},
    {"C", "plane", ByC<PRIMFIT_PLANE>},
    {"C", "patch", ByC<PRIMFIT_PATCH>},
    {"C", "sphere", ByC<PRIMFIT_SPHERE>},
    {"C", "bounded cylinder", ByC<PRIMFIT_BOUNDED_CYLINDER>},
    {"C", "bounded cone", ByC<PRIMFIT_BOUNDED_CONE>},
    {"C", "elbow", ByC<PRIMFIT_ELBOW>},
    {"pick", "cylinder", ByPick},
    {"through arc", "torus", ThroughArc},
    {"sums", "plane", BySums},
    {"IFit", "plane", ByFlat<PRIMFIT_FLAT(IFitPlane(r.Count(), r.Numbers(), s, q, 0.006))>},
    {"IFit", "sphere", ByFlat<PRIMFIT_FLAT(IFitSphere(r.Count(), r.Numbers(), s, q, 0.006))>},
    {"IFit", "cylinder",
     ByFlat<PRIMFIT_FLAT(IFitCylinder(r.Count(), r.Numbers(), r.fix.data(), r.start.data(), s, q, 0.006))>},
    {"IFit", "cone",
     ByFlat<PRIMFIT_FLAT(IFitCone(r.Count(), r.Numbers(), r.fix.data(), r.start.data(), s, q, 0.006))>},
    {"IFit", "torus",
     ByFlat<PRIMFIT_FLAT(IFitTorus(r.Count(), r.Numbers(), r.fix.data(), r.start.data(), s, q, 0.006))>},
    {"Optimize", "plane", ByFlat<PRIMFIT_FLAT(OptimizePlane(r.Count(), r.Numbers(), s, 0.006))>},
    {"Optimize", "sphere", ByFlat<PRIMFIT_FLAT(OptimizeSphere(r.Count(), r.Numbers(), s, 0.006))>},
    {"Optimize", "cylinder",
     ByFlat<PRIMFIT_FLAT(OptimizeCylinder(r.Count(), r.Numbers(), r.fix.data(), r.start.data(), s, 0.006))>},
    {"Optimize", "cone",
     ByFlat<PRIMFIT_FLAT(OptimizeCone(r.Count(), r.Numbers(), r.fix.data(), r.start.data(), s, 0.006))>},
    {"Optimize", "torus",
     ByFlat<PRIMFIT_FLAT(OptimizeTorus(r.Count(), r.Numbers(), r.fix.data(), r.start.data(), s, 0.006))>},
    {"QFit", "plane", ByFlat<PRIMFIT_FLAT(QFitPlane(r.Count(), r.Numbers(), s))>},
    {"QFit", "sphere", ByFlat<PRIMFIT_FLAT(QFitSphere(r.Count(), r.Numbers(), s))>},
    {"QFit", "cylinder", ByFlat<PRIMFIT_FLAT(QFitCylinder(r.Count(), r.Numbers(), s))>},
    {"QFit", "cone", ByFlat<PRIMFIT_FLAT(QFitCone(r.Count(), r.Numbers(), s))>},
    {"QFit", "torus", ByFlat<PRIMFIT_FLAT(QFitTorus(r.Count(), r.Numbers(), s))>},
    {"RFit", "plane", ByFlat<PRIMFIT_FLAT(RFitPlane(r.Count(), r.Numbers(), 4, 0.99, s))>},
    {"RFit", "sphere", ByFlat<PRIMFIT_FLAT(RFitSphere(r.Count(), r.Numbers(), 5, 0.99, s))>},
    {"RFit", "cylinder", ByFlat<PRIMFIT_FLAT(RFitCylinder(r.Count(), r.Numbers(), 9, 0.99, s))>},
    {"RFit", "cone", ByFlat<PRIMFIT_FLAT(RFitCone(r.Count(), r.Numbers(), 9, 0.99, s))>},
    {"RFit", "torus", ByFlat<PRIMFIT_FLAT(RFitTorus(r.Count(), r.Numbers(), 15, 0.99, s))>},
};
#undef PRIMFIT_FLAT

/// Numbers of a shape a little off the true one, in the order of fit_c.h, and how many of its parts can be
/// held.
void SetStart(std::string_view name, Random& random, Request& r) {
  const auto off = [&](double value) { return value * random.Uniform(0.99, 1.01); };
  const Vector3d place =
      r.scene.pose.translation() + 0.01 * Vector3d(random.Gauss(), random.Gauss(), random.Gauss());
  const Vector3d axis = r.Axis(), side = r.scene.pose.linear().col(0);
  const Truth& t = r.scene.truth;
  Append(r.start, place);
  r.fix.resize(2);
  if (name == "line" || name == "plane" || name == "patch") return Append(r.start, axis);
  if (name == "arc")
    return Append(r.start, off(t.size)), Append(r.start, side), Append(r.start, Vector3d(axis.cross(side)));
  Append(r.start, off(t.size));
  if (name == "sphere") return;
  r.fix.resize(3);
  if (name == "torus" || name == "elbow") Append(r.start, off(t.tube)), r.fix.resize(4);
  Append(r.start, axis);
}

Request MakeRequest(const Door& door, std::uint64_t seed, std::string& what) {
  Random random(seed);
  const auto chance = [&](double share) { return random.Uniform(0, 1) < share; };
  constexpr int kSizes[] = {30, 100, 300, 1000, 3000, 10000, 30000};
  const Primitive& primitive = PrimitiveNamed(door.scene);
  const bool whole = door.name == "QFit" || door.name == "Optimize" || door.name == "sums";
  const double seen = chance(0.5) ? 1 : random.Uniform(0.2, 1);
  SceneOptions o;
  o.points = kSizes[random.Index(std::size(kSizes))];
  o.outliers =
      whole || chance(0.4) ? 0 : random.Uniform(0, door.name == "fit" || door.name == "C" ? 0.7 : 0.3);
  o.noise = kNoiseLevels[random.Index(std::size(kNoiseLevels))];
  o.around = 1.5;
  o.survey = chance(0.2);
  Request r;
  r.scene = MakeScene(primitive, primitive.part(primitive.truth, seen), o, seed);
  r.seed = seed;
  SetStart(door.scene, random, r);
  std::string held;
  if (chance(0.3)) {
    r.fix[static_cast<std::size_t>(random.Index(static_cast<int>(r.fix.size())))] = 1;
    if (r.fix.size() > 2 && chance(0.3)) r.fix[0] = 1;
  }
  for (const int f : r.fix) held += static_cast<char>('0' + f);
  if (chance(0.2)) {
    for (int i = 0; i < r.Count(); ++i) r.weights.push_back(random.Uniform(0.1, 3));
  }
  r.tellsNoise = chance(0.2);
  r.tellsRadius = chance(0.1);
  r.tellsAxis = chance(0.1);
  r.tellsPlace = chance(0.1);
  what =
      fmt::format("{} {} n {} clutter {:.2f} noise {} seen {:.2f}{} held {}{}{}{}{}{}", door.name, door.scene,
                  o.points, o.outliers, o.noise, seen, o.survey ? " survey" : "", held,
                  r.weights.empty() ? "" : " weights", r.tellsNoise ? " noise" : "",
                  r.tellsRadius ? " radius" : "", r.tellsAxis ? " axis" : "", r.tellsPlace ? " place" : "");
  return r;
}

std::string Hex(const std::vector<double>& numbers) {
  std::string text;
  for (const double v : numbers) text += fmt::format(" {:a}", v);
  return text;
}

void Run(int number) {
  const Door& door = kDoors[static_cast<std::size_t>(number) % std::size(kDoors)];
  std::string what;
  const Request request = MakeRequest(door, static_cast<std::uint64_t>(number), what);
  Record record;
  try {
    door.fit(request, record);
  } catch (const std::exception& error) {
    record = {};
    record.outcome = error.what();
  }
  Vector3d low = request.scene.inliers[0], high = low;
  for (const Vector3d& p : request.scene.inliers) low = low.cwiseMin(p), high = high.cwiseMax(p);
  fmt::print("{} {} : {} verdict {} inliers {} {:x} size {:a} |{} |{}\n", number, what, record.outcome,
             record.verdict, record.inliers, record.hash, (high - low).norm(), Hex(record.shape),
             Hex(record.others));
}

}  // namespace
}  // namespace primfit::bench

int main(int argc, char** argv) {
  const int count = argc > 1 ? std::atoi(argv[1]) : 500;
  for (int number = 0; number < count; ++number) primfit::bench::Run(number);
  return 0;
}
