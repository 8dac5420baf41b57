#ifndef PRIMFIT_FIT_FIT_ERROR_H_
#define PRIMFIT_FIT_FIT_ERROR_H_

#include <exception>

#include "primfit/cxx20.h"
#include "primfit/export.h"

namespace primfit {

/// The one exception that the library throws on purpose. `what()` is one of a fixed set of English texts,
/// each documented where it is thrown; running out of memory stays `std::bad_alloc`.
class PRIMFIT_API FitError : public std::exception {
 public:
  /// @param message  text with static lifetime; the pointer is kept, the text is not copied
  explicit FitError(const char* message) noexcept : message_(message) {}
  FitError(const FitError&) noexcept = default;
  FitError& operator=(const FitError&) noexcept = default;
  ~FitError() override;
  const char* what() const noexcept override;

 private:
  const char* message_;
};

}  // namespace primfit

#endif  // PRIMFIT_FIT_FIT_ERROR_H_
