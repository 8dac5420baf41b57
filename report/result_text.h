// Results for people: made from the result alone, so that a stored one reads as it did when it was made.
#ifndef PRIMFIT_REPORT_RESULT_TEXT_H_
#define PRIMFIT_REPORT_RESULT_TEXT_H_

#include <string>

#include "report/result.h"

namespace primfit::report {

std::string TextOf(const Result& result);

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_RESULT_TEXT_H_
