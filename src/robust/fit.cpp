#include "primfit/fit.h"

#include <Eigen/Cholesky>
#include <Eigen/Geometry>
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <type_traits>
#include <utility>

#include "fit/fit_memory.h"
#include "fit/messages.h"
#include "fit/vector_math.h"
#include "outline/azimuth.h"
#include "outline/outline.h"
#include "primfit/fit/scoped_seed.h"
#include "robust/converge.h"
#include "robust/extent.h"
#include "robust/model.h"
#include "robust/search.h"

using Eigen::Vector3d;

namespace primfit {

namespace {

using robust::Form;
using robust::Model;

/// Points that the search works on; a shape that is found among these is found among all.
constexpr std::size_t kSearched = 20000;
/// Smallest bound of an inlier, in sizes of the cloud: exact points.
constexpr double kExact = 1e-7;
/// A shape that chance gives once in e^30 clouds is none of chance's.
constexpr double kByChance = 30;
constexpr double kWeakShare = 0.1;
/// By how much points are denser near a shape than beside it.
constexpr double kStandsOut = 2;
/// Noise that blurs a shape of the cloud's size beyond recognition: some bent band fits any cloud so.
constexpr double kCoarse = 0.08;
/// A bound within which a finer shape may hide, in sizes of the cloud, and by how much it is finer.
constexpr double kMayHide = 0.03;
constexpr double kFiner = 3;
/// A size or direction is hardly known when it is not known to this share, respectively to these radians.
constexpr double kHardly = 0.1;

/// The points of a fit: the finite ones of some weight relative to the first of them.
struct Frame {
  Frame(const PointView& given, std::span<const double> weights)
      : points(given.Count()), roots(weights.size()) {
    for (std::size_t i = 0; i < given.Count(); ++i) {
      const Vector3d p = given[i];
      if (!p.allFinite() || (!weights.empty() && weights[i] == 0)) {
        if (places.empty()) {
          places.reserve(given.Count());
          for (std::size_t k = 0; k < count; ++k) places.push_back(static_cast<std::uint32_t>(k));
        }
        left = true;
        continue;
      }
      if (count == 0) origin = p;
      if (left) places.push_back(static_cast<std::uint32_t>(i));
      if (!weights.empty()) {
        roots[count] = std::sqrt(weights[i]);
        weight += weights[i];
        squaredWeights += weights[i] * weights[i];
      }
      points[count++] = p - origin;
    }
    isWeighted = !weights.empty();
    if (!isWeighted) weight = squaredWeights = static_cast<double>(count);
  }
  std::span<const Vector3d> Points() const { return {points.data(), count}; }
  /// Square roots of the weights; none where these are all 1.
  std::span<const double> Roots() const { return {roots.data(), isWeighted ? count : 0}; }
  double WeightOf(std::span<const std::uint32_t> of) const {
    if (!isWeighted) return static_cast<double>(of.size());
    return std::accumulate(of.begin(), of.end(), 0.0,
                           [&](double sum, std::uint32_t i) { return sum + roots[i] * roots[i]; });
  }

  Scratch<Vector3d> points;
  Scratch<double> roots;
  bool isWeighted = false;
  double weight = 0;  ///< of all points, and the sum of the squares of the weights
  double squaredWeights = 0;
  std::size_t count = 0;
  Vector3d origin = Vector3d::Zero();
  bool left = false;                  ///< whether points were left out
  std::vector<std::uint32_t> places;  ///< then where those that are here came from
};

/// The median of distances from the median place: the size of a cloud, whatever lies far away.
double SizeOf(std::span<const Vector3d> points, Vector3d& middle) {
  std::vector<double> values(points.size());
  const auto median = [&](const auto& of) {
    std::transform(points.begin(), points.end(), values.begin(), of);
    const auto at = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), at, values.end());
    return *at;
  };
  for (Eigen::Index axis = 0; axis < 3; ++axis)
    middle[axis] = median([&](const Vector3d& p) { return p[axis]; });
  return median([&](const Vector3d& p) { return (p - middle).norm(); });
}

/// A random choice of the points, in random order; of points with weights as many as they are worth, without
/// repetition, each the sooner the larger its weight (Efraimidis and Spirakis 2006).
std::vector<Vector3d> Shuffled(const Frame& frame, robust::Dice& dice) {
  const std::span<const Vector3d> points = frame.Points();
  std::vector<Vector3d> chosen;
  if (frame.isWeighted) {
    std::vector<std::pair<double, std::size_t>> keys(points.size());
    for (std::size_t i = 0; i < keys.size(); ++i)
      keys[i] = {-std::log(dice.Share()) / (frame.roots[i] * frame.roots[i]), i};
    const double worth = frame.weight * frame.weight / frame.squaredWeights;
    const std::size_t count =
        std::clamp<std::size_t>(static_cast<std::size_t>(worth + 0.5), 1, std::min(kSearched, points.size()));
    std::partial_sort(keys.begin(), keys.begin() + static_cast<std::ptrdiff_t>(count), keys.end());
    for (std::size_t k = 0; k < count; ++k) chosen.push_back(points[keys[k].second]);
    return chosen;
  }
  if (points.size() > kSearched) {
    chosen.reserve(kSearched);
    while (chosen.size() < kSearched) chosen.push_back(points[dice.Below(points.size())]);
    return chosen;
  }
  chosen.assign(points.begin(), points.end());
  for (std::size_t i = chosen.size(); i > 1; --i) std::swap(chosen[i - 1], chosen[dice.Below(i)]);
  return chosen;
}

std::uint64_t SeedOf(const FitOptionsBase& options) {
  std::uint64_t seed = 0;
  if (options.seed) return *options.seed;
  if (!ScopedSeed::Next(seed))
    seed = static_cast<std::uint64_t>(std::chrono::steady_clock::now().time_since_epoch().count());
  return seed;
}

void Require(bool holds, const char* message) {
  if (!holds) throw FitError(message);
}

void RequireInRange(const FitOptionsBase& o, std::size_t points) {
  const auto positive = [](const std::optional<double>& v) { return !v || (*v > 0 && std::isfinite(*v)); };
  const auto range = [](const SizeRange& r) { return r.low >= 0 && r.high >= r.low; };
  const auto isWeight = [](double w) { return w >= 0 && std::isfinite(w); };
  Require(o.version >= 1 && o.version <= kFitOptionsVersion, "Fit options are of an unknown version");
  Require(positive(o.noise), "Option noise must be positive");
  Require(positive(o.tolerance), "Option tolerance must be positive");
  Require(!o.outlierShare || (*o.outlierShare >= 0 && *o.outlierShare < 1),
          "Option outlierShare must be in [0, 1)");
  Require(o.weights.empty() || o.weights.size() == points, "Option weights must hold one for each point");
  Require(std::all_of(o.weights.begin(), o.weights.end(), isWeight),
          "Option weights must hold finite numbers, zero or positive");
  Require(o.confidence > 0 && o.confidence < 1, "Option confidence must be in (0, 1)");
  Require(o.mostDraws > 0, "Option mostDraws must be positive");
  Require(o.timeLimit > 0, "Option timeLimit must be positive");
  Require(range(o.radius), "Option radius must be a range of lengths, zero or positive");
  Require(range(o.minorRadius), "Option minorRadius must be a range of lengths, zero or positive");
  Require(range(o.halfAngle), "Option halfAngle must be a range of angles, zero or positive");
  Require(!o.axisNear || (o.axisNear->norm() > 0 && o.axisNear->allFinite()),
          "Option axisNear must be a direction of any length but zero");
  Require(o.axisWithin >= 0, "Option axisWithin must be zero or positive");
  Require(!o.near || o.near->allFinite(), "Option near must be a finite point");
  Require(o.nearWithin >= 0, "Option nearWithin must be zero or positive");
}

/// What the options say is plausible, in the frame of the points.
class Plausible {
 public:
  Plausible(Form form, const FitOptionsBase& options, const Vector3d& origin, unsigned held)
      : form_(form), options_(options), origin_(origin), held_(held) {}

  /// Moves a model into the ranges. @return the parts at an end of theirs
  unsigned Clamp(Model& m) const {
    unsigned atEnd = 0;
    const auto into = [&](const SizeRange& range, unsigned part, double& value) {
      const double inside = std::clamp(value, range.low, range.high);
      if (inside == value || (held_ & part) != 0) return;
      value = inside;
      atEnd |= part;
    };
    const bool torus = form_ == Form::kTorus;
    if (torus) into(options_.radius, robust::kMajor, m.major);
    if (torus) into(options_.minorRadius, robust::kMinor, m.minor);
    if (form_ == Form::kCone) into(options_.halfAngle, robust::kMinor, m.minor);
    if (form_ == Form::kArc || form_ == Form::kSphere || form_ == Form::kCylinder)
      into(options_.radius, robust::kMinor, m.minor);
    if (options_.axisNear && (held_ & robust::kAxis) == 0 && form_ != Form::kSphere) {
      const Vector3d wanted = options_.axisNear->normalized() * (m.axis.dot(*options_.axisNear) < 0 ? -1 : 1);
      const Vector3d side = m.axis - wanted * wanted.dot(m.axis);
      if (std::atan2(side.norm(), wanted.dot(m.axis)) > options_.axisWithin) {
        m.axis = std::cos(options_.axisWithin) * wanted + std::sin(options_.axisWithin) * side.normalized();
        atEnd |= robust::kAxis;
      }
    }
    return atEnd;
  }
  /// Whether a model passes the point that it has to pass.
  bool IsNear(const Model& m, double slack) const {
    if (!options_.near) return true;
    const Vector3d p = *options_.near - origin_;
    double distance = 0;
    robust::Distances(m, &p, 1, &distance);
    return distance <= options_.nearWithin + slack;
  }

 private:
  Form form_;
  const FitOptionsBase& options_;
  Vector3d origin_;
  unsigned held_;
};

/// Everything that a fit gives but the record, in the frame of its points.
struct Outcome {
  Model model;
  robust::Converged converged;
  FitCovariance covariance;
  FitReport report;
};

Model Scaled(Model m, const Vector3d& middle, double size) {
  m.center = (m.center - middle) / size;
  m.major /= size;
  if (m.form != Form::kCone) m.minor /= size;
  return m;
}
Model Unscaled(Model m, const Vector3d& middle, double size) {
  m.center = m.center * size + middle;
  m.major *= size;
  if (m.form != Form::kCone) m.minor *= size;
  return m;
}

/// With J the derivatives of the distances and W the weights: noise^2 A^-1 B A^-1 for A = J^T W J and
/// B = J^T W^2 J, which without weights is noise^2 A^-1.
FitCovariance CovarianceOf(const robust::Converged& c, unsigned held) {
  const robust::Freedoms freedoms = robust::FreedomsOf(c.model, held);
  const int k = freedoms.count;
  const auto n = static_cast<double>(c.inliers.size());
  const double scale = c.noise * c.noise * robust::InflationOf(c.model.IsCurve());
  // In units in which every parameter moves the points alike, so that none drowns.
  const auto unit = [&](int i) { return 1 / std::sqrt(std::max(n * c.sums.matrix[i][i], 1e-300)); };
  const auto even = [&](const NormalEquations& sums) {
    Eigen::MatrixXd m(k, k);
    for (int i = 0; i < k; ++i) {
      for (int j = 0; j < k; ++j) m(i, j) = unit(i) * unit(j) * n * sums.matrix[i][j];
    }
    return m;
  };
  Eigen::MatrixXd spread = even(c.sums).ldlt().solve(Eigen::MatrixXd::Identity(k, k));
  if (c.squared) spread = (spread * even(*c.squared) * spread).eval();
  FitCovariance covariance;
  covariance.matrix.resize(k, k);
  for (int i = 0; i < k; ++i) {
    for (int j = 0; j < k; ++j) covariance.matrix(i, j) = scale * unit(i) * unit(j) * spread(i, j);
    const auto& f = freedoms.each[i];
    covariance.parameters.push_back(
        {f.name, f.angle, f.direction, std::sqrt(std::max(0.0, covariance.matrix(i, i)))});
  }
  return covariance;
}

template <class... Values>
std::string Text(const char* format, Values... values) {
  char text[200];
  std::snprintf(text, sizeof text, format, values...);
  return text;
}

/// Says what a person should know before using the shape.
void Judge(const Model& m, const FitCovariance& covariance, FitReport& report) {
  report.verdict = Verdict::kGood;
  report.reason = Text("%.0f %% of the points support the shape", 100 * report.inlierShare);
  for (const FitParameter& p : covariance.parameters) {
    const bool size = p.direction.isZero();
    const double value = std::string(p.name) == "major radius" ? m.major : m.minor;
    const double known = size ? p.standardDeviation / value : p.isAngle ? p.standardDeviation : 0;
    if (known <= kHardly) continue;
    report.verdict = Verdict::kAmbiguous;
    report.reason =
        size ? Text("the %s is known to no better than %.0f %%: other shapes explain the points as well",
                    p.name, 100 * known)
             : Text("the direction is known to no better than %.0f degrees", known * 57.29577951308232);
    return;
  }
  if (report.inlierShare < kWeakShare) {
    report.verdict = Verdict::kWeak;
    report.reason = Text("only %.1f %% of the points support the best shape", 100 * report.inlierShare);
  }
}

/// Parts that constraints hold, and their values as a model in the frame of the points.
struct Given {
  unsigned held = 0;
  std::optional<Model> model;
};

Outcome FindShape(Form form, const Frame& frame, const FitOptionsBase& options, const Given& given) {
  const std::span<const Vector3d> points = frame.Points();
  const robust::Freedoms freedoms =
      robust::FreedomsOf(Model{.form = form, .major = 2, .minor = 1}, given.held);
  if (freedoms.count == 0) throw FitError(messages::kOverConstrained);
  if (points.size() <= static_cast<std::size_t>(freedoms.count)) throw FitError(messages::kNotEnoughPoints);

  robust::Dice dice(SeedOf(options));
  const std::vector<Vector3d> cloud = Shuffled(frame, dice);
  Vector3d middle;
  const std::span<const Vector3d> few(cloud.data(), std::min<std::size_t>(cloud.size(), 2048));
  const std::span<const Vector3d> more(cloud.data(), std::min<std::size_t>(cloud.size(), 8192));
  const double size = SizeOf(few, middle);
  if (!(size > 0)) throw FitError(messages::kNothingStandsOut);
  std::vector<Vector3d> scaled(cloud.size());
  std::transform(cloud.begin(), cloud.end(), scaled.begin(),
                 [&](const Vector3d& p) { return Vector3d((p - middle) / size); });

  const bool curve = form == Form::kLine || form == Form::kArc;
  const Plausible plausible(form, options, frame.origin, given.held);
  const auto started = std::chrono::steady_clock::now();
  bool late = false;
  robust::SearchTask task;
  task.form = form;
  task.points = scaled;
  task.held = given.held;
  if (given.model) task.given = Scaled(*given.model, middle, size), task.startsFromGiven = true;
  task.least = kExact;
  if (options.noise) task.least = std::max(kExact, robust::BoundOf(curve, *options.noise) / size);
  if (options.tolerance) task.least = std::max(kExact, *options.tolerance / size);
  task.least = std::min(task.least, 0.25);
  task.confidence = options.confidence;
  if (options.outlierShare) task.inlierShare = 1 - *options.outlierShare;
  task.mostDraws = options.mostDraws;
  task.clamp = [&](Model& m) {
    m = Unscaled(m, middle, size);
    const unsigned atEnd = plausible.Clamp(m);
    m = Scaled(m, middle, size);
    return atEnd;
  };
  if (options.near) {
    task.near = (*options.near - frame.origin - middle) / size;
    task.isPlausible = [&](const Model& m, double slack) {
      return plausible.IsNear(Unscaled(m, middle, size), slack * size);
    };
  }
  task.stops = [&](double done) {
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - started;
    late = passed.count() > options.timeLimit;
    if (options.progress == nullptr) return late;
    options.progress->ReportProgress(std::min(done, 1.0));
    return late || options.progress->StopRequested();
  };
  robust::SearchReport search;
  const auto found = robust::Search(task, dice, search);
  if (!found || found->score.value < kByChance) throw FitError(messages::kNothingStandsOut);

  robust::ConvergeTask rest;
  rest.held = given.held;
  rest.noise = options.noise;
  rest.tolerance = options.tolerance;
  rest.clamp = [&](Model& m) { return plausible.Clamp(m); };
  const auto settled = [&](const robust::SearchResult& from) {
    // First on few points, from which most is learned at little cost.
    std::optional<robust::Converged> result;
    Model at = Unscaled(from.model, middle, size);
    rest.start = from.score.tolerance * size;
    rest.noiseRounds = 3;
    rest.fadingRounds = 2;
    for (const std::span<const Vector3d> part : {few, more, points}) {
      const bool last = part.data() == points.data();
      if (!last && 4 * part.size() > points.size()) continue;
      rest.points = part;
      if (last) rest.roots = frame.Roots();
      result = robust::Converge(at, rest);
      if (!result || last) break;
      at = result->model;
      rest.start = robust::BoundOf(curve, result->noise);
      rest.noiseRounds = 1;
      --rest.fadingRounds;
    }
    return result;
  };
  const bool untold = !options.noise && !options.tolerance;
  const auto standsOut = [&](const std::optional<robust::Converged>& c) {
    if (!c || !plausible.IsNear(c->model, 0)) return false;
    // Points anywhere are as dense beyond the bound as within; about a curve there is thrice the room.
    const double beside = static_cast<double>(c->beside) / (curve ? 3 : 1);
    return !untold ||
           (static_cast<double>(c->inliers.size()) >= kStandsOut * beside && c->noise <= kCoarse * size);
  };
  auto converged = settled(*found);
  // Clutter that is itself a slab, a rod or a shell passes for a shape with much noise, which hides the one
  // in it.
  if (untold && found->score.tolerance > kMayHide) {
    task.leastReach = found->score.tolerance;
    const auto inside = robust::Search(task, dice, search);
    if (inside && inside->score.value >= kByChance &&
        inside->score.tolerance < found->score.tolerance / kFiner) {
      auto finer = settled(*inside);
      if (standsOut(finer) && (!converged || finer->noise < converged->noise / kFiner))
        converged = std::move(finer);
    }
  }
  if (!standsOut(converged)) throw FitError(messages::kNothingStandsOut);
  Outcome out;
  out.model = converged->model;
  out.converged = std::move(*converged);
  out.covariance = CovarianceOf(out.converged, given.held);
  out.report.draws = search.draws;
  out.report.refinements = search.refinements;
  out.report.inlierShare = frame.WeightOf(out.converged.inliers) / frame.weight;
  out.report.noise = out.converged.noise;
  out.report.tolerance = out.converged.tolerance;
  out.report.stopReason = late ? StopReason::kTimeLimit : search.why;
  out.report.converged = out.converged.settled;
  Judge(out.model, out.covariance, out.report);
  return out;
}

// The way of each form's constraints into a model and of a model into the form's record.

template <class T>
T HeldOr(bool held, const T& given, const T& fitted) {
  return held ? given : fitted;
}
unsigned Bits(bool center, bool axis, bool major, bool minor) {
  return (center ? robust::kCenter : 0U) | (axis ? robust::kAxis : 0U) | (major ? robust::kMajor : 0U) |
         (minor ? robust::kMinor : 0U);
}

template <class Constraints>
struct FormOf;

template <>
struct FormOf<FitConstraintsLine> {
  static constexpr Form kForm = Form::kLine;
  static auto* Shape(const FitConstraintsLine& c) { return c.GetLine(); }
  static Given Of(const FitConstraintsLine& c) {
    return {Bits(c.RootFixed(), c.DirectionFixed(), false, false),
            Model{kForm, Shape(c)->Root(), Shape(c)->Direction(), 0, 0}};
  }
};
template <>
struct FormOf<FitConstraintsArc> {
  static constexpr Form kForm = Form::kArc;
  static auto* Shape(const FitConstraintsArc& c) { return c.GetArc(); }
  static Given Of(const FitConstraintsArc& c) {
    return {
        Bits(c.CenterFixed(), false, false, c.RadiusFixed()),
        Model{kForm, Shape(c)->Center(), Shape(c)->XAxis().cross(Shape(c)->YAxis()), 0, Shape(c)->Radius()}};
  }
};
template <>
struct FormOf<FitConstraintsPlane> {
  static constexpr Form kForm = Form::kPlane;
  static auto* Shape(const FitConstraintsPlane& c) { return c.GetPlane(); }
  static Given Of(const FitConstraintsPlane& c) {
    return {Bits(c.OriginFixed(), c.NormalFixed(), false, false),
            Model{kForm, Shape(c)->Origin(), Shape(c)->Normal(), 0, 0}};
  }
};
template <>
struct FormOf<FitConstraintsSphere> {
  static constexpr Form kForm = Form::kSphere;
  static auto* Shape(const FitConstraintsSphere& c) { return c.GetSphere(); }
  static Given Of(const FitConstraintsSphere& c) {
    return {Bits(c.CenterFixed(), false, false, c.RadiusFixed()),
            Model{kForm, Shape(c)->Center(), Vector3d::UnitZ(), 0, Shape(c)->Radius()}};
  }
};
template <>
struct FormOf<FitConstraintsCylinder> {
  static constexpr Form kForm = Form::kCylinder;
  static auto* Shape(const FitConstraintsCylinder& c) { return c.GetCylinder(); }
  static Given Of(const FitConstraintsCylinder& c) {
    return {Bits(c.OriginFixed(), c.AxisFixed(), false, c.RadiusFixed()),
            Model{kForm, Shape(c)->Origin(), Shape(c)->Axis(), 0, Shape(c)->Radius()}};
  }
};
template <>
struct FormOf<FitConstraintsCone> {
  static constexpr Form kForm = Form::kCone;
  static auto* Shape(const FitConstraintsCone& c) { return c.GetCone(); }
  static Given Of(const FitConstraintsCone& c) {
    return {Bits(c.ApexFixed(), c.AxisFixed(), false, c.AngleFixed()),
            Model{kForm, Shape(c)->Apex(), Shape(c)->Axis(), 0, Shape(c)->Angle()}};
  }
};
template <>
struct FormOf<FitConstraintsTorus> {
  static constexpr Form kForm = Form::kTorus;
  static auto* Shape(const FitConstraintsTorus& c) { return c.GetTorus(); }
  static Given Of(const FitConstraintsTorus& c) {
    return {
        Bits(c.CenterFixed(), c.AxisFixed(), c.MajorRadiusFixed(), c.MinorRadiusFixed()),
        Model{kForm, Shape(c)->Center(), Shape(c)->Axis(), Shape(c)->MajorRadius(), Shape(c)->MinorRadius()}};
  }
};

/// What a record is made of: numbers of the model in the caller's coordinates, parts that were held as they
/// were given, and the inliers about the model's centre.
struct Findings {
  Model model;
  Vector3d u, w;                      // perpendicular to the axis
  std::span<const Vector3d> inliers;  // in the frame
  Vector3d center;                    // in the frame

  std::vector<double> Along() const {
    return Each([&](const Vector3d& q) { return q.dot(model.axis); });
  }
  std::vector<double> Around() const {
    return Each([&](const Vector3d& q) { return SquareAzimuth(q.dot(u), q.dot(w)); });
  }
  Vector3d At(double azimuth) const { return std::cos(azimuth) * u + std::sin(azimuth) * w; }

 private:
  template <class Of>
  std::vector<double> Each(const Of& of) const {
    std::vector<double> values(inliers.size());
    std::transform(inliers.begin(), inliers.end(), values.begin(),
                   [&](const Vector3d& p) { return of(Vector3d(p - center)); });
    return values;
  }
};

template <class Shape>
typename Shape::Record RecordOf(const Findings& f) {
  const Model& m = f.model;
  using robust::Reach;
  if constexpr (std::is_same_v<Shape, Line>) {
    const Reach reach = robust::ReachAlong(f.Along());
    return {m.center + reach.low * m.axis, m.axis, reach.Length()};
  } else if constexpr (std::is_same_v<Shape, Arc>) {
    const Reach reach = robust::ReachAround(f.Around());
    const Vector3d xAxis = f.At(reach.low);
    return {m.center, m.minor, xAxis, m.axis.cross(xAxis), reach.Length()};
  } else if constexpr (std::is_same_v<Shape, Plane>) {
    return {m.center, m.axis};
  } else if constexpr (std::is_same_v<Shape, Patch>) {
    std::vector<double> projected;
    projected.reserve(2 * f.inliers.size());
    for (const Vector3d& p : f.inliers) {
      projected.push_back((p - f.center).dot(f.u));
      projected.push_back((p - f.center).dot(f.w));
    }
    Loop loop = OutlineOf(projected.data(), static_cast<int>(f.inliers.size()));
    return {m.center, m.axis, loop.count, loop.vertices.release(), f.u};
  } else if constexpr (std::is_same_v<Shape, Sphere>) {
    return {m.center, m.minor};
  } else if constexpr (std::is_same_v<Shape, Cylinder> || std::is_same_v<Shape, Cone>) {
    return {m.center, m.minor, m.axis};
  } else if constexpr (std::is_same_v<Shape, BoundedCylinder>) {
    const Reach reach = robust::ReachAlong(f.Along());
    return {m.center + reach.low * m.axis, m.minor, m.axis, reach.Length()};
  } else if constexpr (std::is_same_v<Shape, BoundedCone>) {
    const Reach reach = robust::ReachAlong(f.Along());
    return {m.center, m.minor, m.axis, reach.low, reach.high};
  } else if constexpr (std::is_same_v<Shape, Torus>) {
    return {m.center, m.major, m.minor, m.axis};
  } else {
    const Reach reach = robust::ReachAround(f.Around());
    return {m.center, m.major, m.minor, m.axis, reach.Length(), f.At(reach.low)};
  }
}

}  // namespace

template <class Shape>
FitResult<Shape> fit(PointView points, const FitOptions<Shape>& options) {
  using Traits = FormOf<typename Shape::Constraints>;
  RequireInRange(options, points.Count());
  if (points.IsNull() || points.Count() == 0) throw FitError(messages::kPointsMissing);
  const FitMemory memory(points.Count() * (2 * sizeof(Vector3d) + sizeof(double)) + (std::size_t{1} << 20));
  const Frame frame(points, options.weights);
  if (frame.count == 0) throw FitError(messages::kPointsMissing);

  Given given, framed;
  if (options.constraints != nullptr && Traits::Shape(*options.constraints) != nullptr) {
    given = framed = Traits::Of(*options.constraints);
    framed.model->center -= frame.origin;
  }
  Outcome out = FindShape(Traits::kForm, frame, options, framed);

  FitResult<Shape> result;
  result.inliers = std::move(out.converged.inliers);
  const Scratch<Vector3d> inliers(result.inliers.size());
  std::transform(result.inliers.begin(), result.inliers.end(), inliers.data(),
                 [&](std::uint32_t i) { return frame.Points()[i]; });
  const auto count = static_cast<int>(result.inliers.size());
  result.quality = robust::WithShape(out.model, [&](auto shape) {
    return shape.CalculateQuality(2 * out.report.noise, count, inliers.data());
  });
  if (frame.left) {
    for (std::uint32_t& i : result.inliers) i = frame.places[i];
  }
  Model m = out.model;
  Findings findings{.model = m,
                    .u = UnitOrthogonal(m.axis),
                    .w = {},
                    .inliers = {inliers.data(), result.inliers.size()},
                    .center = m.center};
  findings.w = m.axis.cross(findings.u);
  m.center += frame.origin;
  if ((given.held & robust::kCenter) != 0) m.center = given.model->center;
  if ((given.held & robust::kAxis) != 0) m.axis = given.model->axis;
  if ((given.held & robust::kMajor) != 0) m.major = given.model->major;
  if ((given.held & robust::kMinor) != 0) m.minor = given.model->minor;
  findings.model = m;
  result.shape = RecordOf<Shape>(findings);
  result.covariance = std::move(out.covariance);
  result.covariance.position = m.center;
  result.report = std::move(out.report);
  return result;
}

template PRIMFIT_API FitResult<Line> fit(PointView, const FitOptions<Line>&);
template PRIMFIT_API FitResult<Arc> fit(PointView, const FitOptions<Arc>&);
template PRIMFIT_API FitResult<Plane> fit(PointView, const FitOptions<Plane>&);
template PRIMFIT_API FitResult<Patch> fit(PointView, const FitOptions<Patch>&);
template PRIMFIT_API FitResult<Sphere> fit(PointView, const FitOptions<Sphere>&);
template PRIMFIT_API FitResult<Cylinder> fit(PointView, const FitOptions<Cylinder>&);
template PRIMFIT_API FitResult<BoundedCylinder> fit(PointView, const FitOptions<BoundedCylinder>&);
template PRIMFIT_API FitResult<Cone> fit(PointView, const FitOptions<Cone>&);
template PRIMFIT_API FitResult<BoundedCone> fit(PointView, const FitOptions<BoundedCone>&);
template PRIMFIT_API FitResult<Torus> fit(PointView, const FitOptions<Torus>&);
template PRIMFIT_API FitResult<Elbow> fit(PointView, const FitOptions<Elbow>&);

}  // namespace primfit
