// From what a command knows at its end to the result that it tells.
#ifndef PRIMFIT_REPORT_RESULT_FROM_RUN_H_
#define PRIMFIT_REPORT_RESULT_FROM_RUN_H_

#include "io/summary.h"
#include "report/result.h"
#include "report/run.h"

namespace primfit::report {

/// The result of a fit; of one that has found nothing as well.
Result ResultOfFit(const Invocation& invocation, const FitRun& run);

/// The result of a command that only reads.
Result ResultOfReading(const Invocation& invocation, const Input& input, const io::Summary& summary);

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_RESULT_FROM_RUN_H_
