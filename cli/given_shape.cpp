#include "cli/given_shape.h"

#include <fmt/format.h>

#include <algorithm>
#include <string_view>
#include <vector>

#include "cli/errors.h"
#include "cli/numbers.h"
#include "cli/stored_result.h"

namespace primfit::cli {

namespace {

/// The command of a primitive, or none.
const FitCommand* CommandOf(std::string_view primitive) {
  for (const FitCommand& command : FitCommands()) {
    if (command.name == primitive && command.adaptive != nullptr) return &command;
  }
  return nullptr;
}

/// The numbers of a stored shape in the order in which --start takes them.
std::string StartOf(const report::FoundShape& shape, const FitCommand& command, const std::string& file) {
  std::vector<double> numbers;
  ForEachPart(command.parts, command.StartSize(), [&](const Part& part, std::size_t, std::size_t) {
    const auto at = std::find_if(shape.parts.begin(), shape.parts.end(),
                                 [&](const auto& stored) { return stored.first == part.name; });
    if (at == shape.parts.end() || at->second.value.size() != part.Size())
      throw UsageError(fmt::format("{}: the {} of the result has no {}", file, shape.kind, part.name));
    numbers.insert(numbers.end(), at->second.value.begin(), at->second.value.end());
  });
  return fmt::format("{}", fmt::join(numbers, ","));
}

}  // namespace

const FitCommand& TakeGivenShape(const std::string& text, Options& options) {
  const std::size_t colon = text.find(':');
  const FitCommand* command = colon == std::string::npos ? nullptr : CommandOf(text.substr(0, colon));
  if (command != nullptr) {
    options.start = text.substr(colon + 1);
    ParseParts("--shape", *options.start, command->parts, command->StartSize());  // by the user's own option
  } else {
    const report::Result result = ReadResultFile(text);
    if (result.shapes.empty()) throw UsageError(fmt::format("{}: the result holds no shape", text));
    const report::FoundShape& shape = result.shapes.front();
    command = CommandOf(shape.kind);
    if (command == nullptr)
      throw UsageError(fmt::format("{}: \"{}\" is no primitive of this program", text, shape.kind));
    options.start = StartOf(shape, *command, text);
    options.startMetres = result.units.lengthMetres;
  }
  ForEachPart(command->parts, command->StartSize(),
              [&](const Part&, std::size_t i, std::size_t) { options.fixed.at(i) = kOfStart; });
  options.allPoints = true;
  return *command;
}

}  // namespace primfit::cli
