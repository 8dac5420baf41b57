// The places of the virtual functions, by which programs built against an earlier release call them.
#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cstddef>

#include "primfit/primfit.h"

namespace primfit::testing {
namespace {

/// Place in the virtual table: a pointer to a virtual member holds its offset (Itanium C++ ABI, section 2.3),
/// plus one on most processors. A virtual destructor takes two places.
template <class Member>
std::ptrdiff_t PlaceOf(Member member) {
  const auto words = std::bit_cast<std::array<std::ptrdiff_t, 2>>(member);
  return words[0] / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(VirtualPlaces, OfShapes) {
  EXPECT_EQ(PlaceOf(&OutputShape::Distance), 2);
  EXPECT_EQ(PlaceOf(&OutputShape::Similarity), 3);
  EXPECT_EQ(PlaceOf(&OutputShape::Printout), 4);
  EXPECT_EQ(PlaceOf(&OutputShape::ClosestPoint), 5);
  EXPECT_EQ(PlaceOf(&OutputShape::EvalNormal), 6);
  EXPECT_EQ(PlaceOf(&OutputShape::SetDistSqrdThreshod), 7);
  EXPECT_EQ(PlaceOf(&OutputShape::IsClosePoint), 8);
  EXPECT_EQ(PlaceOf(&OutputShape::GetClosePoints), 9);
  EXPECT_EQ(PlaceOf(&OutputCurve::Eval), 10);
  EXPECT_EQ(PlaceOf(&OutputSurface::Difference), 10);
  EXPECT_EQ(PlaceOf(&OutputSurface::Eval), 11);
}

// Lines, arcs and spheres have no virtual destructor before CalculateQuality.
TEST(VirtualPlaces, OfRecords) {
  EXPECT_EQ(PlaceOf(&FitOutputParamsLine::CalculateQuality), 0);
  EXPECT_EQ(PlaceOf(&FitOutputParamsArc::CalculateQuality), 0);
  EXPECT_EQ(PlaceOf(&FitOutputParamsSphere::CalculateQuality), 0);
  EXPECT_EQ(PlaceOf(&FitOutputParamsPatch::CalculateQuality), 2);
  EXPECT_EQ(PlaceOf(&FitOutputParamsCylinderBounded::CalculateQuality), 2);
  EXPECT_EQ(PlaceOf(&FitOutputParamsConeBounded::CalculateQuality), 2);
  EXPECT_EQ(PlaceOf(&FitOutputParamsElbow::CalculateQuality), 2);
  EXPECT_EQ(PlaceOf(&FitProgressUpdater::ReportProgress), 2);
  EXPECT_EQ(PlaceOf(&FitProgressUpdater::StopRequested), 3);
}

}  // namespace
}  // namespace primfit::testing
