#ifndef PRIMFIT_FIT_FIT_ERROR_H_
#define PRIMFIT_FIT_FIT_ERROR_H_

#include <exception>

#include "primfit/cxx20.h"
#include "primfit/error_codes.h"
#include "primfit/export.h"

namespace primfit {

/// Why a fit failed. The numbers are those of primfit/error_codes.h, which says what they mean.
enum class FitErrorCode : int {
  kPointsMissing = PRIMFIT_ERROR_POINTS_MISSING,
  kTooManyPoints = PRIMFIT_ERROR_TOO_MANY_POINTS,
  kNotEnoughPoints = PRIMFIT_ERROR_NOT_ENOUGH_POINTS,
  kOverConstrained = PRIMFIT_ERROR_OVER_CONSTRAINED,
  kHeldUnusable = PRIMFIT_ERROR_HELD_UNUSABLE,
  kHalfAngleUnusable = PRIMFIT_ERROR_HALF_ANGLE_UNUSABLE,
  kShapeMissing = PRIMFIT_ERROR_SHAPE_MISSING,
  kSampleRate = PRIMFIT_ERROR_SAMPLE_RATE,
  kDistanceTolerance = PRIMFIT_ERROR_DISTANCE_TOLERANCE,
  kNothingStandsOut = PRIMFIT_ERROR_NOTHING_STANDS_OUT,
  kNothingInTime = PRIMFIT_ERROR_NOTHING_IN_TIME,
  kNothingBeforeStop = PRIMFIT_ERROR_NOTHING_BEFORE_STOP,
  kFitFailed = PRIMFIT_ERROR_FIT_FAILED,
  kPoorQuality = PRIMFIT_ERROR_POOR_QUALITY,
  kHullFailed = PRIMFIT_ERROR_HULL_FAILED,
  kNoMemory = PRIMFIT_ERROR_NO_MEMORY,
  kHostThrew = PRIMFIT_ERROR_HOST_THREW,
  kOther = PRIMFIT_ERROR_OTHER,
  kUnknownShape = PRIMFIT_ERROR_UNKNOWN_SHAPE,
  kNoResult = PRIMFIT_ERROR_NO_RESULT,
  kStride = PRIMFIT_ERROR_STRIDE,
  kFixWithoutStart = PRIMFIT_ERROR_FIX_WITHOUT_START,
  kOptionVersion = PRIMFIT_ERROR_OPTION_VERSION,
  kOptionNoise = PRIMFIT_ERROR_OPTION_NOISE,
  kOptionTolerance = PRIMFIT_ERROR_OPTION_TOLERANCE,
  kOptionOutlierShare = PRIMFIT_ERROR_OPTION_OUTLIER_SHARE,
  kOptionWeights = PRIMFIT_ERROR_OPTION_WEIGHTS,
  kOptionConfidence = PRIMFIT_ERROR_OPTION_CONFIDENCE,
  kOptionMostDraws = PRIMFIT_ERROR_OPTION_MOST_DRAWS,
  kOptionTimeLimit = PRIMFIT_ERROR_OPTION_TIME_LIMIT,
  kOptionRadius = PRIMFIT_ERROR_OPTION_RADIUS,
  kOptionMinorRadius = PRIMFIT_ERROR_OPTION_MINOR_RADIUS,
  kOptionHalfAngle = PRIMFIT_ERROR_OPTION_HALF_ANGLE,
  kOptionAxisNear = PRIMFIT_ERROR_OPTION_AXIS_NEAR,
  kOptionAxisWithin = PRIMFIT_ERROR_OPTION_AXIS_WITHIN,
  kOptionPasses = PRIMFIT_ERROR_OPTION_PASSES,
  kOptionPassesWithin = PRIMFIT_ERROR_OPTION_PASSES_WITHIN,
  kOptionStations = PRIMFIT_ERROR_OPTION_STATIONS,
};

/// Whether the code is that of an option out of its range.
constexpr bool IsOption(FitErrorCode code) {
  return code >= FitErrorCode::kOptionVersion && static_cast<int>(code) < 200;
}

/// The one exception that the library throws on purpose: a code for programs and, for people, one of a fixed
/// set of English texts, each documented where it is thrown. Running out of memory stays `std::bad_alloc`.
class PRIMFIT_API FitError : public std::exception {
 public:
  /// @param message  text with static lifetime; the pointer is kept, the text is not copied
  FitError(FitErrorCode code, const char* message) noexcept : code_(code), message_(message) {}
  FitError(const FitError&) noexcept = default;
  FitError& operator=(const FitError&) noexcept = default;
  ~FitError() override;
  FitErrorCode Code() const noexcept { return code_; }
  const char* what() const noexcept override;

 private:
  FitErrorCode code_;
  const char* message_;
};

}  // namespace primfit

#endif  // PRIMFIT_FIT_FIT_ERROR_H_
