#include "primfit/fit/fit_error.h"

namespace primfit {

FitError::~FitError() = default;

const char* FitError::what() const noexcept { return message_; }

}  // namespace primfit
