// The distances of the inliers as a picture of bars.
#ifndef PRIMFIT_REPORT_HISTOGRAM_TEXT_H_
#define PRIMFIT_REPORT_HISTOGRAM_TEXT_H_

#include <string>
#include <vector>

#include "report/result.h"

namespace primfit::report {

/// The slots of which a picture is made: from the first to the last one that has points, and empty ones that
/// follow one another between these as one.
std::vector<HistogramSlot> SlotsToShow(const std::vector<HistogramSlot>& slots);

/// A line for each of them.
std::string HistogramText(const std::vector<HistogramSlot>& slots, const Units& units);

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_HISTOGRAM_TEXT_H_
