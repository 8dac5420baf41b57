// Numbers of the command line. A mistyped one ends the program with a line that names its option, and what it
// should have been; the parser of the command line knows neither ranges nor directions.
#ifndef PRIMFIT_CLI_NUMBERS_H_
#define PRIMFIT_CLI_NUMBERS_H_

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "primitives/part.h"
#include "report/units.h"

namespace primfit::cli {

/// Whether a text is a number, or begins with one and a comma.
bool StartsWithNumber(const std::string& text);

/// @throws UsageError for what is no decimal number; nan and inf are left to the checks of the option
double DecimalOf(const char* option, const std::string& text);

/// @throws UsageError for what is no whole number above 0
int CountOf(const char* option, const std::string& text);

/// So many finite numbers between commas.
/// @param names  of the numbers, for the error
/// @throws UsageError
std::vector<double> ParseNumbers(const char* option, const std::string& text, std::size_t count,
                                 const std::string& names);

/// The numbers of the first parts, `count` of them, with directions that have a length.
/// @throws UsageError
std::vector<double> ParseParts(const char* option, const std::string& text, std::span<const Part> parts,
                               std::size_t count);

/// What people read of the numbers of the first parts, such as "origin x,y,z, radius".
std::string NamesOf(std::span<const Part> parts, std::size_t count);

/// @param high  infinite when there is no upper bound
/// @throws UsageError
void CheckRange(const char* option, double value, double low, double high, std::string_view unit = "");

/// @param valid  false for NaN
/// @throws UsageError that the value is not `what`
void Require(bool valid, const char* option, double value, std::string_view what);

/// @throws UsageError for a length that is given and not above 0
void RequireLength(const char* option, const std::optional<double>& value, const report::Unit& unit);

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_NUMBERS_H_
