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

// Points in a block. Its columns, 8 kB at most, stay in the nearest cache between being written and being
// multiplied.
constexpr int kBlock = 128;
constexpr int kStride = ShapeParameters::kGramStride;

/// 1 or -1.
inline Number Sign(Number a) { return PacketSign(a.v); }
/// 1 / length, or 0 where there is no direction.
inline Number InverseOrZero(Number length) { return PacketInverseOrZero(length.v); }

struct Vector {
  Number x, y, z;
  explicit Vector(const Eigen::Vector3d& v) : x(v.x()), y(v.y()), z(v.z()) {}
  Vector(Number x0, Number y0, Number z0) : x(x0), y(y0), z(z0) {}
  Vector operator-(const Vector& b) const { return {x - b.x, y - b.y, z - b.z}; }
  Number Dot(const Vector& b) const { return x * b.x + y * b.y + z * b.z; }
};

/// The axis of a shape and the two perpendiculars that make it a frame.
struct ShapeFrame {
  explicit ShapeFrame(const ShapeParameters& shape) : u(shape.u), w(shape.w), axis(shape.axis) {}
  Vector u, w, axis;
};

/// A point in cylinder coordinates about an axis. On the axis there is no direction, and (c, s) is (0, 0):
/// such a point pulls no direction.
struct Polar {
  Number x, y, h, rho, inverse, c, s;
  Polar(const Vector& q, const ShapeFrame& frame)
      : x(q.Dot(frame.u)),
        y(q.Dot(frame.w)),
        h(q.Dot(frame.axis)),
        rho(Sqrt(x * x + y * y)),
        inverse(InverseOrZero(rho)),
        c(x * inverse),
        s(y * inverse) {}
};

// The columns and the distance of each kind of shape for a point q relative to the centre, as ShapeParameters
// lists them.

struct LineColumns {
  static constexpr int kColumns = 3;
  explicit LineColumns(const ShapeParameters& shape) : frame(shape) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    store(Number(1.0), q.Dot(frame.axis), q.Dot(frame.u), q.Dot(frame.w));
  }
  ShapeFrame frame;
};

struct PlaneColumns {
  static constexpr int kColumns = 4;
  explicit PlaneColumns(const ShapeParameters& shape) : normal(shape.axis) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    store(q.x, q.y, q.z, Number(1.0), q.Dot(normal));
  }
  Vector normal;
};

struct SphereColumns {
  static constexpr int kColumns = 4;
  explicit SphereColumns(const ShapeParameters& shape) : radius(shape.minor) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    const Number length = Sqrt(q.Dot(q)), inverse = InverseOrZero(length);
    store(q.x * inverse, q.y * inverse, q.z * inverse, Number(1.0), length - radius);
  }
  Number radius;
};

struct CylinderColumns {
  static constexpr int kColumns = 5;
  explicit CylinderColumns(const ShapeParameters& shape) : frame(shape), radius(shape.minor) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    const Polar p(q, frame);
    store(p.c, p.s, p.h * p.c, p.h * p.s, Number(1.0), p.rho - radius);
  }
  ShapeFrame frame;
  Number radius;
};

struct ConeColumns {
  static constexpr int kColumns = 6;
  explicit ConeColumns(const ShapeParameters& shape) : frame(shape), sine(shape.sine), cosine(shape.cosine) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    const Polar p(q, frame);
    const Number sign = Sign(p.h), height = Abs(p.h);
    const Number tilt = p.h * cosine + sign * p.rho * sine;
    store(p.c, p.s, sign, p.c * tilt, p.s * tilt, p.rho * sine + height * cosine,
          p.rho * cosine - height * sine);
  }
  ShapeFrame frame;
  Number sine, cosine;
};

struct TorusColumns {
  static constexpr int kColumns = 7;
  explicit TorusColumns(const ShapeParameters& shape)
      : frame(shape), major(shape.major), minor(shape.minor) {}
  template <class Store>
  void operator()(const Vector& q, const Store& store) const {
    const Polar p(q, frame);
    const Number radial = p.rho - major;
    const Number tau = Sqrt(radial * radial + p.h * p.h), inverse = InverseOrZero(tau);
    const Number a = radial * inverse, b = p.h * inverse;
    store(a * p.c, a * p.s, b, b * p.c, b * p.s, a, Number(1.0), tau - minor);
  }
  ShapeFrame frame;
  Number major, minor;
};

/// The columns of a block of points and, last, their distances.
template <int kSize>
struct Block {
  alignas(64) double columns[kSize][kBlock];
};

// How the points are seen: as they are given, projected onto a plane, or as they are given with weights.

struct AsGiven {
  Vector operator()(const Vector& p) const { return p; }
};

struct Projected {
  explicit Projected(const PlaneFrame& frame) : origin(frame.origin), u(frame.u), w(frame.w) {}
  Vector operator()(const Vector& p) const {
    const Vector v = p - origin;
    return {v.Dot(u), v.Dot(w), Number(0.0)};
  }
  Vector origin, u, w;
};

struct Weighted {
  explicit Weighted(const double* of) : sqrtWeights(of) {}
  Vector operator()(const Vector& p) const { return p; }
  const double* sqrtWeights;
};

/// Writes the columns of a block of points. A weight multiplies squared residuals, so its root multiplies the
/// columns.
/// @param count  a multiple of the lanes
template <class View, class Kind, int kSize>
void FillBlock(const View& view, const Kind& kind, const Vector& center, const Eigen::Vector3d* rows,
               int count, Block<kSize>& block) {
  for (int i = 0; i < count; i += kPacketLanes) {
    Packet x, y, z;
    LoadPoints(rows[i].data(), x, y, z);
    kind(view(Vector(x, y, z)) - center, [&](auto... values) HWY_ATTR {
      int column = 0;
      if constexpr (std::is_same_v<View, Weighted>) {
        const Packet root = LoadUnaligned(view.sqrtWeights + i);
        (Store(Mul(values.v, root), block.columns[column++] + i), ...);
      } else {
        (Store(values.v, block.columns[column++] + i), ...);
      }
    });
  }
}

/// Adds the inner products of a column with kCount columns, the first of them `others`, to `gram`. Each has
/// eight partial sums, which are reduced in one order whatever the packets are.
template <int kCount>
void AddProducts(const double* column, const double (*others)[kBlock], int count, double* gram) {
  constexpr int kPackets = kLanes / kPacketLanes;
  Packet sums[kCount][kPackets];
  for (auto& sum : sums) std::fill_n(sum, kPackets, PacketOf(0));
  for (int i = 0; i < count; i += kLanes) {
    for (int packet = 0; packet < kPackets; ++packet) {
      const int at = i + packet * kPacketLanes;
      const Packet a = Load(column + at);
      for (int j = 0; j < kCount; ++j) sums[j][packet] = Add(sums[j][packet], Mul(a, Load(others[j] + at)));
    }
  }
  for (int j = 0; j < kCount; ++j) {
    alignas(64) double s[kLanes];
    for (int packet = 0; packet < kPackets; ++packet)
      Store(sums[j][packet], s + std::ptrdiff_t{packet} * kPacketLanes);
    gram[j] += ((s[0] + s[4]) + (s[2] + s[6])) + ((s[1] + s[5]) + (s[3] + s[7]));
  }
}

/// Adds the lower triangle. Four products at a time: their partial sums fill the registers, and each load of
/// the column serves four.
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

/// The whole pass. The last block is filled up to whole lanes with copies of its last point, so that no lane
/// computes on rubbish; the columns of the copies are then set to zero.
template <class Kind, class View>
void Accumulate(const ShapeParameters& shape, const View& view, const PointRefs& points, double* gram) {
  constexpr int kSize = Kind::kColumns + 1;
  const Kind kind(shape);
  const Vector center(shape.center);
  Block<kSize> block;
  double copied[kBlock][3];
  [[maybe_unused]] double copiedWeights[kBlock];
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
      const double* sqrtWeights = view.sqrtWeights + begin;
      if (padded > count) {
        for (int i = 0; i < padded; ++i) copiedWeights[i] = sqrtWeights[std::min(i, count - 1)];
        sqrtWeights = copiedWeights;
      }
      FillBlock(Weighted(sqrtWeights), kind, center, rows, padded, block);
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
void AccumulateInSpace(const ShapeParameters& shape, const PointRefs& points, double* gram) {
  if (points.sqrtWeights == nullptr) return Accumulate<Kind>(shape, AsGiven(), points, gram);
  Accumulate<Kind>(shape, Weighted(points.sqrtWeights), points, gram);
}

template <class Kind>
void AccumulateInSpaceOrPlane(const ShapeParameters& shape, const PointRefs& points, double* gram) {
  if (points.plane == nullptr) return AccumulateInSpace<Kind>(shape, points, gram);
  Accumulate<Kind>(shape, Projected(*points.plane), points, gram);
}

void GramOnTarget(const ShapeParameters& shape, const PointRefs& points, double* gram) {
  switch (shape.kind) {
    case ShapeParameters::Kind::kLine:
      return AccumulateInSpace<LineColumns>(shape, points, gram);
    case ShapeParameters::Kind::kPlane:
      return AccumulateInSpaceOrPlane<PlaneColumns>(shape, points, gram);
    case ShapeParameters::Kind::kSphere:
      return AccumulateInSpaceOrPlane<SphereColumns>(shape, points, gram);
    case ShapeParameters::Kind::kCylinder:
      return AccumulateInSpace<CylinderColumns>(shape, points, gram);
    case ShapeParameters::Kind::kCone:
      return AccumulateInSpace<ConeColumns>(shape, points, gram);
    case ShapeParameters::Kind::kTorus:
      return AccumulateInSpace<TorusColumns>(shape, points, gram);
  }
}

}  // namespace primfit::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace primfit {

HWY_EXPORT(GramOnTarget);

void AccumulateGram(const ShapeParameters& shape, const PointRefs& points, double* gram) {
  HWY_DYNAMIC_DISPATCH(GramOnTarget)(shape, points, gram);
}

}  // namespace primfit
#endif
