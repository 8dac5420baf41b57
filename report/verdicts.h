// What the verdicts of a fit are called.
#ifndef PRIMFIT_REPORT_VERDICTS_H_
#define PRIMFIT_REPORT_VERDICTS_H_

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include "primfit/fit.h"

namespace primfit::report {

struct VerdictName {
  Verdict verdict;
  std::string_view key;   ///< in JSON and for --accept
  std::string_view text;  ///< for people
};

inline constexpr std::array<VerdictName, 6> kVerdicts = {{{Verdict::kGood, "good", "good"},
                                                          {Verdict::kAmbiguous, "ambiguous", "ambiguous"},
                                                          {Verdict::kAtLimit, "at_limit", "at a limit"},
                                                          {Verdict::kWeak, "weak", "weak"},
                                                          {Verdict::kMisfit, "misfit", "a misfit"},
                                                          {Verdict::kSimpler, "simpler", "simpler"}}};

inline const VerdictName& NameOf(Verdict verdict) {
  return *std::find_if(kVerdicts.begin(), kVerdicts.end() - 1,
                       [&](const VerdictName& name) { return name.verdict == verdict; });
}

/// The keys but that of a good fit, such as "weak, ambiguous".
inline std::string DoubtfulVerdicts(std::string_view between = ", ") {
  std::string keys;
  for (const VerdictName& name : kVerdicts) {
    if (name.verdict != Verdict::kGood) keys.append(keys.empty() ? "" : between).append(name.key);
  }
  return keys;
}

}  // namespace primfit::report

#endif  // PRIMFIT_REPORT_VERDICTS_H_
