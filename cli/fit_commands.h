// The sub-commands that fit: one for each primitive, made from its description, and one for a picked pipe.
#ifndef PRIMFIT_CLI_FIT_COMMANDS_H_
#define PRIMFIT_CLI_FIT_COMMANDS_H_

#include <Eigen/Core>
#include <algorithm>
#include <cstddef>
#include <span>
#include <string_view>

#include "primfit/fit/fit_progress_updater.h"
#include "primitives/part.h"
#include "report/limits.h"
#include "report/run.h"

namespace primfit::cli {

/// A fit of the library. Takes and gives metres and radians. @throws primfit::FitError as the library does
using FitFunction = report::FittedShape (*)(std::span<const Eigen::Vector3d> points,
                                            const report::FitRequest&, FitProgressUpdater*);

struct FitCommand {
  std::string_view name;        ///< of the sub-command
  std::string_view summary;     ///< for its help
  std::span<const Part> parts;  ///< as people read them
  std::span<const Part>
      arrayParts;     ///< in the order of primfit/fit_c.h; those that can be held come first in both
  int sampleSize;     ///< points of a random sample, unless the user says otherwise
  int minimumPoints;  ///< that determine the shape
  FitFunction classic = nullptr;     ///< of the fixed pipeline, where there is one
  FitFunction adaptive;              ///< of the adaptive method
  FitFunction fitThrough = nullptr;  ///< the fit through a cross-section, where there is one
  /// Whether it is found by a point on it alone, so that nothing of it can be held. The fixed pipeline cannot
  /// be stopped then.
  bool picked = false;

  /// Numbers that a start shape takes; 0 when the fit takes none.
  std::size_t StartSize() const {
    if (picked) return 0;
    std::size_t size = 0;
    for (const Part& part : parts) size += part.role == Role::kResult ? 0 : part.Size();
    return size;
  }
  /// Whether a limit is about something that the shape has.
  bool Has(const report::Limit& limit) const {
    return limit.about.empty() || std::any_of(parts.begin(), parts.end(), [&](const Part& part) {
             const auto parameter = ParameterOf(part.kind);
             return parameter &&
                    std::find(limit.about.begin(), limit.about.end(), *parameter) != limit.about.end();
           });
  }
};

std::span<const FitCommand> FitCommands();

}  // namespace primfit::cli

#endif  // PRIMFIT_CLI_FIT_COMMANDS_H_
