#if PRIMFIT_SIMD
#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "optimize/kernels/gram.cpp"
#include <hwy/foreach_target.h>
#endif
// Each target's own text comes after what selects the targets.
#include "shapes/kernels/lanes.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>

#include "optimize/kernels/gram.h"

HWY_BEFORE_NAMESPACE();
namespace primfit::HWY_NAMESPACE {

// Points in a block: its columns stay in the nearest cache.
constexpr int kBlock = 128;
constexpr int kStride = LocalShape::kGramStride;

/// 1 or -1.
inline Number Sign(Number a) { return PartSign(a.v); }
/// 1 / length, or 0 where there is no direction.
inline Number InverseOrZero(Number length) { return PartInverse(length.v); }

struct Vector {
  Number x, y, z;
  explicit Vector(const Eigen::Vector3d& v) : x(v.x()), y(v.y()), z(v.z()) {}
  Vector(Number x0, Number y0, Number z0) : x(x0), y(y0), z(z0) {}
  Vector operator-(const Vector& b) const { return {x - b.x, y - b.y, z - b.z}; }
  Number Dot(const Vector& b) const { return x * b.x + y * b.y + z * b.z; }
};

/// The axis of a shape with two perpendiculars.
struct Frame {
  explicit Frame(const LocalShape& shape) : u(shape.u), w(shape.w), axis(shape.axis) {}
  Vector u, w, axis;
};

/// A point in cylinder coordinates.
struct Polar {
  Number x, y, h, rho, inverse, c, s;
  Polar(const Vector& q, const Frame& frame)
      : x(q.Dot(frame.u)),
        y(q.Dot(frame.w)),
        h(q.Dot(frame.axis)),
        rho(Sqrt(x * x + y * y)),
        inverse(InverseOrZero(rho)),
        c(x * inverse),
        s(y * inverse) {}
};

// What each kind of shape stores for a point q; LocalShape says what the columns are.

struct Line {
  static constexpr int kColumns = 3;
  explicit Line(const LocalShape& shape) : frame(shape) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    store(Number(1.0), q.Dot(frame.axis), q.Dot(frame.u), q.Dot(frame.w));
  }
  Frame frame;
};

struct Plane {
  static constexpr int kColumns = 4;
  explicit Plane(const LocalShape& shape) : normal(shape.axis) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    store(q.x, q.y, q.z, Number(1.0), q.Dot(normal));
  }
  Vector normal;
};

struct Sphere {
  static constexpr int kColumns = 4;
  explicit Sphere(const LocalShape& shape) : radius(shape.minor) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    const Number length = Sqrt(q.Dot(q)), inverse = InverseOrZero(length);
    store(q.x * inverse, q.y * inverse, q.z * inverse, Number(1.0), length - radius);
  }
  Number radius;
};

struct Cylinder {
  static constexpr int kColumns = 5;
  explicit Cylinder(const LocalShape& shape) : frame(shape), radius(shape.minor) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    const Polar p(q, frame);
    store(p.c, p.s, p.h * p.c, p.h * p.s, Number(1.0), p.rho - radius);
  }
  Frame frame;
  Number radius;
};

struct Cone {
  static constexpr int kColumns = 6;
  explicit Cone(const LocalShape& shape) : frame(shape), sine(shape.sine), cosine(shape.cosine) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    const Polar p(q, frame);
    const Number sign = Sign(p.h), height = Abs(p.h);
    const Number tilt = p.h * cosine + sign * p.rho * sine;
    store(p.c, p.s, sign, p.c * tilt, p.s * tilt, p.rho * sine + height * cosine,
          p.rho * cosine - height * sine);
  }
  Frame frame;
  Number sine, cosine;
};

struct Torus {
  static constexpr int kColumns = 7;
  explicit Torus(const LocalShape& shape) : frame(shape), major(shape.major), minor(shape.minor) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    const Polar p(q, frame);
    const Number radial = p.rho - major;
    const Number tau = Sqrt(radial * radial + p.h * p.h), inverse = InverseOrZero(tau);
    const Number a = radial * inverse, b = p.h * inverse;
    store(a * p.c, a * p.s, b, b * p.c, b * p.s, a, Number(1.0), tau - minor);
  }
  Frame frame;
  Number major, minor;
};

/// Columns of a block of points and, last, their deviations.
template <int kSize>
struct Block {
  alignas(64) double columns[kSize][kBlock];
};

/// Points as they are.
struct InSpace {
  Vector operator()(const Vector& p) const { return p; }
};

/// Points as seen in a plane.
struct InPlane {
  explicit InPlane(const PlaneFrame& frame) : origin(frame.origin), u(frame.u), w(frame.w) {}
  Vector operator()(const Vector& p) const {
    const Vector v = p - origin;
    return {v.Dot(u), v.Dot(w), Number(0.0)};
  }
  Vector origin, u, w;
};

/// Points as they are, each with the root of its weight.
struct Weighted {
  explicit Weighted(const double* of) : roots(of) {}
  Vector operator()(const Vector& p) const { return p; }
  const double* roots;
};

/// @param count  a multiple of the lanes
template <class View, class Kind, int kSize>
void FillBlock(const View& view, const Kind& kind, const Vector& center, const Eigen::Vector3d* rows,
               int count, Block<kSize>& block) {
  for (int i = 0; i < count; i += kPartLanes) {
    Part x, y, z;
    LoadPoints(rows[i].data(), x, y, z);
    kind(view(Vector(x, y, z)) - center, [&](auto... values) HWY_ATTR {
      int column = 0;
      if constexpr (std::is_same_v<View, Weighted>) {
        const Part root = LoadAnywhere(view.roots + i);
        (Store(Mul(values.v, root), block.columns[column++] + i), ...);
      } else {
        (Store(values.v, block.columns[column++] + i), ...);
      }
    });
  }
}

/// Adds the inner products of a column with the kCount columns from `others` on to `gram`; eight partial sums
/// each.
template <int kCount>
void AddProducts(const double* column, const double (*others)[kBlock], int count, double* gram) {
  constexpr int kParts = kLanes / kPartLanes;
  Part sums[kCount][kParts];
  for (auto& sum : sums) std::fill_n(sum, kParts, PartOf(0));
  for (int i = 0; i < count; i += kLanes) {
    for (int part = 0; part < kParts; ++part) {
      const int at = i + part * kPartLanes;
      const Part a = Load(column + at);
      for (int j = 0; j < kCount; ++j) sums[j][part] = Add(sums[j][part], Mul(a, Load(others[j] + at)));
    }
  }
  for (int j = 0; j < kCount; ++j) {
    alignas(64) double s[kLanes];
    for (int part = 0; part < kParts; ++part) Store(sums[j][part], s + std::ptrdiff_t{part} * kPartLanes);
    gram[j] += ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
  }
}

/// Columns are multiplied in pairs of as many as the registers hold.
template <int kSize>
void AddBlock(const Block<kSize>& block, int count, double* gram) {
  for (int i = 0; i < kSize; ++i) {
    int j = 0;
    for (; j + 4 <= i + 1; j += 4)
      AddProducts<4>(block.columns[i], block.columns + j, count, gram + std::ptrdiff_t{i} * kStride + j);
    for (; j <= i; ++j)
      AddProducts<1>(block.columns[i], block.columns + j, count, gram + std::ptrdiff_t{i} * kStride + j);
  }
}

template <class Kind, class View>
void Accumulate(const LocalShape& shape, const View& view, const PointRefs& points, double* gram) {
  constexpr int kSize = Kind::kColumns + 1;
  const Kind kind(shape);
  const Vector center(shape.center);
  Block<kSize> block;
  double copied[kBlock][3];
  [[maybe_unused]] double copiedRoots[kBlock];
  std::fill_n(gram, kStride * kStride, 0.0);
  for (int begin = 0, count = 0; begin < points.count; begin += count) {
    count = std::min(kBlock, points.count - begin);
    const int padded = (count + kLanes - 1) / kLanes * kLanes;
    const Eigen::Vector3d* rows = points.rows + begin;
    if (points.rows == nullptr || padded > count) {
      for (int i = 0; i < padded; ++i)
        std::copy_n(points.InSpace(begin + std::min(i, count - 1)).data(), 3, copied[i]);
      rows = reinterpret_cast<const Eigen::Vector3d*>(copied);
    }
    if constexpr (std::is_same_v<View, Weighted>) {
      const double* roots = view.roots + begin;
      if (padded > count) {
        for (int i = 0; i < padded; ++i) copiedRoots[i] = roots[std::min(i, count - 1)];
        roots = copiedRoots;
      }
      FillBlock(Weighted(roots), kind, center, rows, padded, block);
    } else {
      FillBlock(view, kind, center, rows, padded, block);
    }
    if (padded > count) {
      for (auto& column : block.columns) std::fill(column + count, column + padded, 0.0);
    }
    AddBlock(block, padded, gram);
  }
  for (int i = 0; i < kSize; ++i) {
    for (int j = 0; j < i; ++j) gram[j * kStride + i] = gram[i * kStride + j];
  }
}

template <class Kind>
void AccumulateInSpace(const LocalShape& shape, const PointRefs& points, double* gram) {
  if (points.roots == nullptr) return Accumulate<Kind>(shape, InSpace(), points, gram);
  Accumulate<Kind>(shape, Weighted(points.roots), points, gram);
}

template <class Kind>
void AccumulateIn(const LocalShape& shape, const PointRefs& points, double* gram) {
  if (points.plane == nullptr) return AccumulateInSpace<Kind>(shape, points, gram);
  Accumulate<Kind>(shape, InPlane(*points.plane), points, gram);
}

void GramOnTarget(const LocalShape& shape, const PointRefs& points, double* gram) {
  switch (shape.kind) {
    case LocalShape::Kind::kLine:
      return AccumulateInSpace<Line>(shape, points, gram);
    case LocalShape::Kind::kPlane:
      return AccumulateIn<Plane>(shape, points, gram);
    case LocalShape::Kind::kSphere:
      return AccumulateIn<Sphere>(shape, points, gram);
    case LocalShape::Kind::kCylinder:
      return AccumulateInSpace<Cylinder>(shape, points, gram);
    case LocalShape::Kind::kCone:
      return AccumulateInSpace<Cone>(shape, points, gram);
    case LocalShape::Kind::kTorus:
      return AccumulateInSpace<Torus>(shape, points, gram);
  }
}

}  // namespace primfit::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace primfit {

HWY_EXPORT(GramOnTarget);

void AccumulateGram(const LocalShape& shape, const PointRefs& points, double* gram) {
  HWY_DYNAMIC_DISPATCH(GramOnTarget)(shape, points, gram);
}

}  // namespace primfit
#endif
