// All failures: a stable code for programs and a text for people, each written once. The texts are part of
// the interface too: callers may compare them, so spellings stay, also odd ones.
#ifndef PRIMFIT_SRC_FIT_MESSAGES_H_
#define PRIMFIT_SRC_FIT_MESSAGES_H_

#include <array>
#include <string_view>

#include "primfit/fit/fit_error.h"

namespace primfit {

/// A failure, to be thrown as a FitError.
struct Failure {
  FitErrorCode code;
  const char* text;                                            ///< with static lifetime
  operator FitError() const noexcept { return {code, text}; }  // NOLINT(google-explicit-constructor)
};

namespace messages {

// What was given.
inline constexpr Failure kPointsMissing{FitErrorCode::kPointsMissing, "Points are not provided"};
inline constexpr Failure kTooManyPoints{FitErrorCode::kTooManyPoints, "More points than 2147483647"};
inline constexpr Failure kNotEnoughPoints{FitErrorCode::kNotEnoughPoints, "Not enough points"};
inline constexpr Failure kOverConstrained{FitErrorCode::kOverConstrained, "Over constrained"};
inline constexpr Failure kHeldUnusable{
    FitErrorCode::kHeldUnusable, "Held parts must be finite, with no zero direction and no negative size"};
inline constexpr Failure kHalfAngleUnusable{
    FitErrorCode::kHalfAngleUnusable, "A half-angle must be above zero and below a quarter turn, in radians"};
inline constexpr Failure kTorusNotProvided{
    FitErrorCode::kShapeMissing,
    "FitOutputParamsTorus is not provieded"};  // Deliberate: callers may compare this spelling
inline constexpr Failure kConstraintMissing{FitErrorCode::kShapeMissing, "Constraint is not provided"};
inline constexpr Failure kGoodSampleRate{FitErrorCode::kSampleRate, "Good Sample Rate < 0.1"};
inline constexpr Failure kDistanceTolerance{FitErrorCode::kDistanceTolerance, "Distance Tolerance < 0.001"};

// What was found.
inline constexpr Failure kNothingStandsOut{FitErrorCode::kNothingStandsOut,
                                           "No shape stands out from chance"};
inline constexpr Failure kNothingInTime{FitErrorCode::kNothingInTime,
                                        "The time limit ended the search before it found a shape"};
inline constexpr Failure kNothingBeforeStop{FitErrorCode::kNothingBeforeStop,
                                            "The search was stopped before it found a shape"};
inline constexpr Failure kHullFailed{FitErrorCode::kHullFailed, "QuickConvexHull failed"};

// The machine and the host.
inline constexpr Failure kNoMemory{
    FitErrorCode::kNoMemory, "Cannot allocate memmory"};  // Deliberate: callers may compare this spelling
inline constexpr Failure kOutOfMemory{FitErrorCode::kNoMemory, "There is not enough memory"};
inline constexpr Failure kHostThrew{FitErrorCode::kHostThrew, "The host's function threw"};

// Arguments of C's functions.
inline constexpr Failure kUnknownShape{FitErrorCode::kUnknownShape, "There is no such shape"};
inline constexpr Failure kNoResult{FitErrorCode::kNoResult, "There is no place for the result"};
inline constexpr Failure kStride{FitErrorCode::kStride, "The stride must be at least 3"};
inline constexpr Failure kFixWithoutStart{FitErrorCode::kFixWithoutStart, "Option fix needs start"};
inline constexpr Failure kOptionsVersion{FitErrorCode::kOptionVersion, "Options are of an unknown version"};

// Options out of their range. C has their names in its own spelling: outlierShare is outlier_share.
inline constexpr Failure kOptionVersion{FitErrorCode::kOptionVersion,
                                        "Fit options are of an unknown version"};
inline constexpr Failure kOptionNoise{FitErrorCode::kOptionNoise, "Option noise must be positive"};
inline constexpr Failure kOptionTolerance{FitErrorCode::kOptionTolerance,
                                          "Option tolerance must be positive"};
inline constexpr Failure kOptionOutlierShare{FitErrorCode::kOptionOutlierShare,
                                             "Option outlierShare must be in [0, 1)"};
inline constexpr Failure kOptionWeightCount{FitErrorCode::kOptionWeights,
                                            "Option weights must hold one for each point"};
inline constexpr Failure kOptionWeights{FitErrorCode::kOptionWeights,
                                        "Option weights must hold finite numbers, zero or positive"};
inline constexpr Failure kOptionConfidence{FitErrorCode::kOptionConfidence,
                                           "Option confidence must be in (0, 1)"};
inline constexpr Failure kOptionMostDraws{FitErrorCode::kOptionMostDraws,
                                          "Option mostDraws must be positive"};
inline constexpr Failure kOptionTimeLimit{FitErrorCode::kOptionTimeLimit,
                                          "Option timeLimit must be positive"};
inline constexpr Failure kOptionRadius{FitErrorCode::kOptionRadius,
                                       "Option radius must be a range of lengths, zero or positive"};
inline constexpr Failure kOptionMinorRadius{
    FitErrorCode::kOptionMinorRadius, "Option minorRadius must be a range of lengths, zero or positive"};
inline constexpr Failure kOptionHalfAngle{FitErrorCode::kOptionHalfAngle,
                                          "Option halfAngle must be a range of radians that begins at zero "
                                          "or more, below a quarter turn, and ends at a "
                                          "quarter turn at the most"};
inline constexpr Failure kOptionAxisNear{FitErrorCode::kOptionAxisNear,
                                         "Option axisNear must be a direction of any length but zero"};
inline constexpr Failure kOptionAxisWithin{FitErrorCode::kOptionAxisWithin,
                                           "Option axisWithin must be zero or positive"};
inline constexpr Failure kOptionPasses{FitErrorCode::kOptionPasses, "Option passes must be a finite point"};
inline constexpr Failure kOptionPassesWithin{FitErrorCode::kOptionPassesWithin,
                                             "Option passesWithin must be zero or positive"};
inline constexpr Failure kOptionStations{FitErrorCode::kOptionStations,
                                         "Option stations must hold finite points"};

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
  static constexpr Failure Failed() {
    return {FitErrorCode::kFitFailed,
            messages::Joined<messages::kFit, kName, messages::kFailed>::kText.data()};
  }
  static constexpr Failure PoorQuality() {
    return {FitErrorCode::kPoorQuality,
            messages::Joined<messages::kFit, kName, messages::kPoorQuality>::kText.data()};
  }
  static constexpr Failure NotProvided() {
    return {FitErrorCode::kShapeMissing,
            messages::Joined<messages::kRecord, kName, messages::kNotProvided>::kText.data()};
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
