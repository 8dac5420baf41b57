// Numbers as people read them: with the digits that mean something, and with their unit.
#ifndef PRIMFIT_REPORT_NUMBER_TEXT_H_
#define PRIMFIT_REPORT_NUMBER_TEXT_H_

#include <string>

#include "report/result.h"

namespace primfit::report {

/// A fixed number of decimals, and no minus before a zero; "unknown" for what is not finite.
std::string Fixed(double value, int decimals);

/// Decimals of a length that show a micrometre.
int LengthDecimals(const Units& units);

/// Such as "12.500 mm".
std::string LengthText(double value, const Units& units);

/// Such as "12.500 to 13.000 mm"; "12.500 mm and more" where the second is not finite.
std::string RangeText(double from, double to, const Units& units);

/// The numbers of a part and, behind a ±, their standard deviation, which decides how many decimals there
/// are.
std::string PartText(const PartValue& part, const Units& units);

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_NUMBER_TEXT_H_
