#include "report/histogram_text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "report/number_text.h"

namespace primfit::report {

std::vector<HistogramSlot> SlotsToShow(const std::vector<HistogramSlot>& slots) {
  std::vector<HistogramSlot> shown;
  for (const HistogramSlot& slot : slots) {
    if (slot.count == 0 && shown.empty()) continue;
    if (slot.count == 0 && shown.back().count == 0)
      shown.back().to = slot.to;
    else
      shown.push_back(slot);
  }
  if (!shown.empty() && shown.back().count == 0) shown.pop_back();
  return shown;
}

std::string HistogramText(const std::vector<HistogramSlot>& slots, const Units& units) {
  constexpr double kBarWidth = 40;
  double most = 0;
  for (const HistogramSlot& slot : slots) most = std::max(most, slot.share);
  std::string text;
  for (const HistogramSlot& slot : SlotsToShow(slots)) {
    // A stored share may be anything.
    const double width = slot.share > 0 && std::isfinite(most) ? kBarWidth * (slot.share / most) : 0;
    const std::string bar(static_cast<std::size_t>(std::lround(width)), '#');
    text += fmt::format("  {:<26} {:>8} {:>5} %{}{}\n", RangeText(slot.from, slot.to, units), slot.count,
                        Fixed(100 * slot.share, 1), bar.empty() ? "" : "  ", bar);
  }
  return text;
}

}  // namespace primfit::report
