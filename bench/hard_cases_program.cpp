// How often primfit::fit is right at hard cases, and whether its verdict can be relied on: for each case the
// fits that were right, refused, wrong, and wrong although called good, printed as tables in Markdown.
//
// usage: hard_cases [--seeds N] [--filter REGEX] [--hints none|single|pairs] [--json FILE]
//        hard_cases --fits ...  every fit in a line of its own before the row of its case
//        hard_cases --list     the names of the cases
//        hard_cases --check    whether least squares of the true points counts as right in every case
#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <fstream>
#include <map>
#include <optional>
#include <regex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "hard_cases.h"
#include "hard_cases_judgement.h"

namespace primfit::bench {

namespace {

/// Pairs of hints are many, so they get no more seeds than these, and no large clouds.
constexpr int kSeedsOfPairs = 5;
/// What a hint may cost by chance: a fit of fifty.
constexpr double kMayLose = 0.02;

enum class HintMode { kNone, kSingle, kPairs };

struct Settings {
  int seeds = 50;
  std::string filter = ".*";
  HintMode hints = HintMode::kNone;
  std::string json;
  bool lists = false, checks = false, printsFits = false;
};

/// The fits of one case with one set of hints.
struct Tally {
  int fits = 0, found = 0, refused = 0, wrongAndGood = 0, foundAndGood = 0;
  int parameters = 0, covered = 0;
  std::vector<double> errors, limits, milliseconds;

  int Wrong() const { return fits - found - refused; }
  void Add(const Judgement& j) {
    ++fits;
    found += j.found;
    refused += j.refused;
    wrongAndGood += j.IsWrong() && j.isGood;
    foundAndGood += j.found && j.isGood;
    parameters += j.parameters;
    covered += j.covered;
    milliseconds.push_back(j.milliseconds);
    if (j.parameters == 0) return;
    errors.push_back(j.error);
    limits.push_back(j.limit);
  }
};

using Tallies = std::map<unsigned, Tally>;  // by the hints that were told beside those of the case

struct Result {
  HardCase hardCase;
  bool isThere = false;  // whether there is a right answer
  Tallies tallies;
};

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

double Percent(int part, int whole) { return whole > 0 ? 100.0 * part / whole : 0; }

/// A figure of the fits that found the shape, or a dash where there is none.
std::string FigureOf(const Tally& tally, double value, int digits) {
  return tally.parameters > 0 ? fmt::format("{:.{}f}", value, digits) : "-";
}

std::string TextOf(unsigned hints) {
  std::string text;
  for (const Hint hint : kHints) {
    if ((hints & hint) != 0) text += (text.empty() ? "" : " and ") + std::string(NameOf(hint));
  }
  return text;
}

std::vector<unsigned> HintSets(HintMode mode) {
  std::vector<unsigned> sets{kNoHint};
  for (const Hint hint : kHints) {
    if (mode == HintMode::kSingle) sets.push_back(hint);
    for (const Hint other : kHints) {
      if (mode == HintMode::kPairs && hint < other) sets.push_back(hint | other);
    }
  }
  return sets;
}

void PrintFit(std::uint64_t seed, unsigned hints, const Judgement& j) {
  fmt::print("  seed {}, {} told: ", seed, hints == kNoHint ? NameOf(kNoHint) : TextOf(hints));
  if (!j.answer) {
    fmt::print("refused\n");
    return;
  }
  const Model& m = j.answer->model;
  const FitReport& report = j.answer->report;
  fmt::print(
      "{}, verdict {} ({}), sizes {:.4g} {:.4g}, axis {:.3f} {:.3f} {:.3f}, noise {:.4g}, {} inliers\n",
      j.found ? "right" : "wrong", static_cast<int>(report.verdict), report.reason, m.major, m.minor,
      m.axis.x(), m.axis.y(), m.axis.z(), report.noise, j.answer->inliers.size());
}

Result Run(const HardCase& hardCase, const Settings& settings) {
  Result result{hardCase, false, {}};
  const bool pairs = settings.hints == HintMode::kPairs;
  const int seeds = pairs ? std::min(settings.seeds, kSeedsOfPairs) : settings.seeds;
  for (int i = 0; i < seeds; ++i) {
    const auto seed = static_cast<std::uint64_t>(i);
    const PreparedScene prepared = Prepare(hardCase, seed);
    result.isThere = !prepared.scene.accepted.empty();
    for (const unsigned hints : HintSets(settings.hints)) {
      if (hints != kNoHint && (hints & hardCase.traits.told) != 0) continue;
      const auto options = OptionsFor(prepared.scene, hardCase.kind, hints | hardCase.traits.told, seed);
      if (!options) continue;
      const Judgement judgement = Judge(hardCase, prepared, *options);
      if (settings.printsFits) PrintFit(seed, hints, judgement);
      result.tallies[hints].Add(judgement);
    }
  }
  return result;
}

void PrintHead() {
  fmt::print(
      "| case | found | refused | wrong | wrong and good | right, not good | error / limit | covered % | ms "
      "|\n"
      "|---|---|---|---|---|---|---|---|---|\n");
}

void PrintRow(const Result& result) {
  const Tally& t = result.tallies.at(kNoHint);
  const double ratio = Median(t.errors) / Median(t.limits), covered = Percent(t.covered, t.parameters);
  fmt::print("| {} | {} | {} | {} | {} | {} | {} | {} | {:.3g} |\n", result.hardCase.name,
             result.isThere ? fmt::format("{}", t.found) : "none", t.refused, t.Wrong(), t.wrongAndGood,
             t.found - t.foundAndGood, FigureOf(t, ratio, 2), FigureOf(t, covered, 1),
             Median(t.milliseconds));
  std::fflush(stdout);
}

/// The sum over the cases that a rule chooses, without hints.
template <class Rule>
Tally SumOver(const std::vector<Result>& results, const Rule& rule) {
  Tally sum;
  for (const Result& r : results) {
    if (!rule(r)) continue;
    const Tally& t = r.tallies.at(kNoHint);
    sum.fits += t.fits;
    sum.found += t.found;
    sum.refused += t.refused;
    sum.wrongAndGood += t.wrongAndGood;
    sum.foundAndGood += t.foundAndGood;
    sum.parameters += t.parameters;
    sum.covered += t.covered;
  }
  return sum;
}

void PrintSums(const std::vector<Result>& results) {
  const Tally hard = SumOver(results, [](const Result& r) { return !r.hardCase.traits.usual; });
  const Tally there = SumOver(results, [](const Result& r) { return r.isThere && !r.hardCase.traits.usual; });
  const Tally usual = SumOver(results, [](const Result& r) { return r.hardCase.traits.usual; });
  const Tally absent = SumOver(results, [](const Result& r) { return !r.isThere; });
  const Tally keeps = SumOver(results, [](const Result& r) { return r.hardCase.traits.keepsGood; });
  fmt::print("\n| sum | of fits | share |\n|---|---|---|\n");
  const auto row = [](const char* what, int part, int whole) {
    fmt::print("| {} | {} of {} | {:.2f} % |\n", what, part, whole, Percent(part, whole));
  };
  row("hard cases: wrong and called good", hard.wrongAndGood, hard.fits);
  row("hard cases with a right answer: found", there.found, there.fits);
  row("absent kinds: refused or not called good", absent.fits - absent.wrongAndGood, absent.fits);
  row("usual cases: found", usual.found, usual.fits);
  row("right where it has to stay good: called good", keeps.foundAndGood, keeps.found);
  row("right in hard cases: called good", there.foundAndGood, there.found);
  row("right in hard cases: parameters within three standard deviations", there.covered, there.parameters);
}

/// What hints change: of the same scenes with and without them.
void PrintHints(const std::vector<Result>& results) {
  struct Change {
    int fits = 0, with = 0, without = 0, wrongAndGood = 0;
  };
  std::map<unsigned, Change> changes;
  std::string losses;
  for (const Result& r : results) {
    const Tally& without = r.tallies.at(kNoHint);
    for (const auto& [hints, with] : r.tallies) {
      if (hints == kNoHint) continue;
      Change& change = changes[hints];
      change.wrongAndGood += with.wrongAndGood;
      if (!r.isThere) continue;
      change.fits += with.fits;
      change.with += with.found;
      change.without += without.found;
      if (with.found < without.found - kMayLose * without.fits)
        losses += fmt::format("| {} | {} | {} | {} | {} |\n", r.hardCase.name, TextOf(hints), without.found,
                              with.found, with.wrongAndGood);
    }
  }
  fmt::print(
      "\n| told | fits | found without | found with | difference | wrong and good, absent kinds too |\n"
      "|---|---|---|---|---|---|\n");
  for (const auto& [hints, c] : changes)
    fmt::print("| {} | {} | {} | {} | {:+} | {} |\n", TextOf(hints), c.fits, c.without, c.with,
               c.with - c.without, c.wrongAndGood);
  fmt::print(
      "\nHints that cost more than a fit of fifty:\n\n| case | told | found without | found with | wrong and "
      "good |\n"
      "|---|---|---|---|---|\n{}",
      losses);
}

void WriteJson(const std::vector<Result>& results, const std::string& path) {
  std::ofstream out(path);
  std::string rows;
  for (const Result& r : results) {
    for (const auto& [hints, t] : r.tallies) {
      rows += fmt::format(
          "{}\n  {{\"case\": \"{}\", \"told\": \"{}\", \"there\": {}, \"usual\": {}, \"keeps_good\": {}, "
          "\"fits\": {}, \"found\": {}, \"refused\": {}, \"wrong\": {}, \"wrong_and_good\": {}, "
          "\"found_and_good\": {}, \"error\": {:.6g}, \"limit\": {:.6g}, \"parameters\": {}, "
          "\"covered\": {}, \"milliseconds\": {:.4g}}}",
          rows.empty() ? "" : ",", r.hardCase.name, TextOf(hints), r.isThere, r.hardCase.traits.usual,
          r.hardCase.traits.keepsGood, t.fits, t.found, t.refused, t.Wrong(), t.wrongAndGood, t.foundAndGood,
          Median(t.errors), Median(t.limits), t.parameters, t.covered, Median(t.milliseconds));
    }
  }
  out << "[" << rows << "\n]\n";
  if (!out.flush()) throw std::runtime_error("--json: cannot write " + path);
}

/// Whether least squares of the true points is right, for each surface of each case. Where it is not, the
/// case asks for what its points do not tell.
bool Check(const HardCaseList& cases, const Settings& settings) {
  int faults = 0;
  for (const HardCase& hardCase : cases) {
    for (int seed = 0; seed < settings.seeds; ++seed) {
      const PreparedScene prepared = Prepare(hardCase, static_cast<std::uint64_t>(seed));
      for (std::size_t i = 0; i < prepared.limits.size(); ++i) {
        const TrueSurface& surface = prepared.scene.accepted[i];
        if (IsRight(prepared.limits[i].model, surface, prepared.limits[i])) continue;
        ++faults;
        fmt::print("{}, seed {}, surface {}: least squares is off by {:.3g}, allowed {:.3g}\n", hardCase.name,
                   seed, i, prepared.limits[i].error, prepared.limits[i].largestError);
      }
    }
  }
  fmt::print("{} of {} cases, {} seeds: {} faults\n", cases.size(), HardCases().size(), settings.seeds,
             faults);
  return faults == 0;
}

/// @throws std::invalid_argument with a text for people
Settings SettingsFrom(const std::vector<std::string>& arguments) {
  Settings settings;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    const std::string& option = arguments[i];
    if (option == "--list" || option == "--check" || option == "--fits") {
      (option == "--list"    ? settings.lists
       : option == "--check" ? settings.checks
                             : settings.printsFits) = true;
      continue;
    }
    if (i + 1 == arguments.size())
      throw std::invalid_argument("unknown option, or one without its value: " + option);
    const std::string& value = arguments[++i];
    if (option == "--seeds") {
      settings.seeds = std::atoi(value.c_str());
      if (settings.seeds < 1) throw std::invalid_argument("--seeds takes a number above zero, not " + value);
    } else if (option == "--filter") {
      settings.filter = value;
    } else if (option == "--json") {
      settings.json = value;
    } else if (option == "--hints" && (value == "none" || value == "single" || value == "pairs")) {
      settings.hints = value == "none"     ? HintMode::kNone
                       : value == "single" ? HintMode::kSingle
                                           : HintMode::kPairs;
    } else {
      throw std::invalid_argument("unknown option or value: " + option + " " + value);
    }
  }
  return settings;
}

std::regex PatternOf(const std::string& filter) {
  try {
    return std::regex(filter);
  } catch (const std::regex_error& error) {
    throw std::invalid_argument("--filter: " + filter + " is no regular expression: " + error.what());
  }
}

HardCaseList Chosen(const Settings& settings) {
  HardCaseList cases = HardCases();
  const std::regex pattern = PatternOf(settings.filter);
  std::erase_if(cases, [&](const HardCase& c) {
    return !std::regex_search(c.name, pattern) || (settings.hints == HintMode::kPairs && c.traits.large);
  });
  if (cases.empty()) throw std::invalid_argument("--filter: no case matches " + settings.filter);
  return cases;
}

int Main(const Settings& settings) {
  const HardCaseList cases = Chosen(settings);
  if (settings.lists) {
    for (const HardCase& hardCase : cases) fmt::print("{}\n", hardCase.name);
    return 0;
  }
  if (settings.checks) return Check(cases, settings) ? 0 : 1;
  std::vector<Result> results;
  PrintHead();
  for (const HardCase& hardCase : cases) {
    results.push_back(Run(hardCase, settings));
    PrintRow(results.back());
  }
  PrintSums(results);
  if (settings.hints != HintMode::kNone) PrintHints(results);
  if (!settings.json.empty()) WriteJson(results, settings.json);
  return 0;
}

}  // namespace
}  // namespace primfit::bench

int main(int argc, char** argv) {
  try {
    return primfit::bench::Main(primfit::bench::SettingsFrom({argv + 1, argv + argc}));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "hard_cases: %s\n", error.what());
    return 2;
  }
}
