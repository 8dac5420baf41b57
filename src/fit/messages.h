// The texts of all failures, each written once.
#ifndef PRIMFIT_SRC_FIT_MESSAGES_H_
#define PRIMFIT_SRC_FIT_MESSAGES_H_

#include <array>
#include <string_view>

namespace primfit {

namespace messages {

inline constexpr char kPointsMissing[] = "Points are not provided";
inline constexpr char kOverConstrained[] = "Over constrained";
inline constexpr char kNotEnoughPoints[] = "Not enough points";
inline constexpr char kTooManyPoints[] = "More points than 2147483647";
inline constexpr char kHeldUnusable[] =
    "Held parts must be finite, with no zero direction and no negative size";
inline constexpr char kHalfAngleUnusable[] =
    "A half-angle must be above zero and below a quarter turn, in radians";
inline constexpr char kGoodSampleRate[] = "Good Sample Rate < 0.1";
inline constexpr char kDistanceTolerance[] = "Distance Tolerance < 0.001";
inline constexpr char kTorusNotProvided[] =
    "FitOutputParamsTorus is not provieded";  // Deliberate: the known text
inline constexpr char kConstraintMissing[] = "Constraint is not provided";
inline constexpr char kNothingStandsOut[] = "No shape stands out from chance";
inline constexpr char kNothingInTime[] = "The time limit ended the search before it found a shape";
inline constexpr char kNothingBeforeStop[] = "The search was stopped before it found a shape";
inline constexpr char kHullFailed[] = "QuickConvexHull failed";
inline constexpr char kNoMemory[] = "Cannot allocate memmory";  // Deliberate: hosts compare this very text

/// Joins text pieces at compile time into one C string with static lifetime.
template <const std::string_view&... kPieces>
struct Joined {
  static constexpr auto kText = [] {
    std::array<char, (kPieces.size() + ... + 1)> text{};
    std::size_t at = 0;
    auto append = [&](std::string_view piece) {
      for (const char c : piece) text[at++] = c;
    };
    (append(kPieces), ...);
    return text;
  }();
};

inline constexpr std::string_view kFit = "Fit";
inline constexpr std::string_view kFailed = " failed";
inline constexpr std::string_view kPoorQuality = " produced a poor fit quality";
inline constexpr std::string_view kRecord = "FitOutputParams";
inline constexpr std::string_view kNotProvided = " is not provided";

}  // namespace messages

/// The messages of one primitive, built from its name ("Plane" gives "FitPlane failed" and so on).
template <const std::string_view& kName>
struct MessagesOf {
  static const char* Failed() {
    return messages::Joined<messages::kFit, kName, messages::kFailed>::kText.data();
  }
  static const char* PoorQuality() {
    return messages::Joined<messages::kFit, kName, messages::kPoorQuality>::kText.data();
  }
  static const char* NotProvided() {
    return messages::Joined<messages::kRecord, kName, messages::kNotProvided>::kText.data();
  }
};

namespace names {
inline constexpr std::string_view kArc = "Arc";
inline constexpr std::string_view kCone = "Cone";
inline constexpr std::string_view kCylinder = "Cylinder";
inline constexpr std::string_view kLine = "Line";
inline constexpr std::string_view kPlane = "Plane";
inline constexpr std::string_view kSphere = "Sphere";
inline constexpr std::string_view kTorus = "Torus";
}  // namespace names

}  // namespace primfit

#endif  // PRIMFIT_SRC_FIT_MESSAGES_H_
