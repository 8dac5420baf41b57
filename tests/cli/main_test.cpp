// The whole program within this process, as a host with streams, readers and signals of its own runs it.
#include "cli/main.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <vector>

#include "cli/errors.h"
#include "support/scratch_folder.h"

namespace {

using primfit::cli::Host;
using primfit::io::FileHead;
using primfit::io::PointBlock;
using primfit::io::PointSink;
using primfit::io::Readers;
using primfit::io::ReadRequest;
using primfit::io::Source;
using Arguments = std::vector<std::string>;

/// What is read from a file of a format that only this host knows: a level square whose height is in the
/// file, and behind it the metres of its units, horizontally and vertically, where it says them.
FileHead ReadLevel(const Source& source, const ReadRequest&, PointSink& sink) {
  if (source.bytes.size() < 7) source.FailAtByte(source.bytes.size(), "has no height");
  FileHead head;
  head.format = "level";
  std::istringstream numbers(std::string(source.bytes.substr(6)));
  double height = 0;
  numbers >> height >> head.reference.horizontalMetres >> head.reference.verticalMetres;
  PointBlock block;
  for (int i = 0; i < 400; ++i) block.points.emplace_back(0.1 * (i % 20), 0.1 * (i / 20), height);
  sink.Take(block);
  return head;
}

Readers WithLevel() {
  Readers readers = primfit::io::NativeReaders();
  readers.Add(
      {"LEVEL", {".lvl"}, [](std::string_view bytes) { return bytes.starts_with("LEVEL "); }, ReadLevel});
  return readers;
}

class Main : public ScratchFolder {
 protected:
  int Run(const Arguments& arguments, const Readers& readers = WithLevel()) {
    out_.str("");
    err_.str("");
    return primfit::cli::Main(arguments, host_, readers);
  }

  std::ostringstream out_, err_;
  Host host_{.out = out_, .err = err_};
};

TEST_F(Main, ReadsWhatItsHostCanRead) {
  const Arguments byContents = {"plane", "--json", "--seed", "1", Write("a.xyz", "LEVEL 2.5")};
  ASSERT_EQ(Run(byContents), primfit::cli::kFitted) << err_.str();
  const auto fit = nlohmann::json::parse(out_.str());
  EXPECT_EQ(fit["input"]["format"], "level");
  EXPECT_EQ(fit["points"]["total"], 400);
  EXPECT_NEAR(fit["shapes"][0]["parts"]["origin"]["value"].at(2).get<double>(), 2.5, 1e-9);
  EXPECT_EQ(err_.str(), "");

  EXPECT_EQ(Run({"info", Write("b.LVL", "x")}), primfit::cli::kTrouble);
  EXPECT_EQ(err_.str(), "primfit: " + Path("b.LVL") + ": byte 1: has no height\n");
  EXPECT_EQ(Run({"info", "--help"}), 0);
  EXPECT_NE(out_.str().find("LEVEL, PLY, PCD, LAS, PTX, PTS, or text:"), std::string::npos) << out_.str();

  // The row was that run's: a host without it reads text.
  EXPECT_EQ(Run(byContents, primfit::io::NativeReaders()), primfit::cli::kTrouble);
  EXPECT_NE(err_.str().find("2 values where at least 3"), std::string::npos) << err_.str();
}

TEST_F(Main, TakesTheUnitOfTheFile) {
  const struct {
    const char* file;
    Arguments arguments;
    const char* unit;
    double metres;
    const char* source;
    const char* note;
  } rows[] = {
      {"LEVEL 2.5", {}, "m", 1, "assumed", ""},
      {"LEVEL 2.5", {"--unit", "mm"}, "mm", 0.001, "told", ""},
      {"LEVEL 2.5 0.3048006096 0.3048006096", {}, "ft-us", 1200.0 / 3937, "file", ""},
      {"LEVEL 2.5 0.3048 0", {}, "ft", 0.3048, "file", ""},
      {"LEVEL 2.5 0.9144 0.9144", {}, "unit", 0.9144, "file", ""},
      {"LEVEL 2.5 0 0.3048", {}, "m", 1, "assumed", ""},
      {"LEVEL 2.5 0.3048 0.3048", {"--unit", "ft"}, "ft", 0.3048, "told", ""},
      {"LEVEL 2.5 0.3048 1", {"--unit", "m", "--quiet"}, "m", 1, "told", ""},
      {"LEVEL 2.5 0.3048006096 0.3048006096",
       {"--unit", "ft"},
       "ft",
       0.3048,
       "told",
       "the file says that its lengths are in ft-us; they are taken as ft, as told by --unit\n"},
      {"LEVEL 2.5 0.3048 1",
       {"--unit", "ft"},
       "ft",
       0.3048,
       "told",
       "lengths are in m; they are taken as ft"},
      {"LEVEL 2.5 0.9144 1",
       {"--unit", "m"},
       "m",
       1,
       "told",
       "lengths are in units of 0.9144 m; they are taken"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.file);
    // The tolerance of the fixed pipeline is 12 mm unless told; the lengths of the result are the file's.
    Arguments arguments = {"plane", "--json", "--seed", "1", "--classic", Write("a.lvl", row.file)};
    arguments.insert(arguments.end(), row.arguments.begin(), row.arguments.end());
    ASSERT_EQ(Run(arguments), primfit::cli::kFitted) << err_.str();
    const auto fit = nlohmann::json::parse(out_.str());
    EXPECT_EQ(fit["units"]["length"], row.unit);
    EXPECT_NEAR(fit["units"]["length_metres"].get<double>(), row.metres, 1e-10);
    EXPECT_EQ(fit["units"]["length_source"], row.source);
    EXPECT_NEAR(fit["shapes"][0]["tolerance"].get<double>() * row.metres, 0.012, 1e-9);
    EXPECT_NEAR(fit["shapes"][0]["parts"]["origin"]["value"].at(2).get<double>(), 2.5, 1e-9);
    EXPECT_EQ(fit["extent"]["high"].at(2), 2.5);
    EXPECT_EQ(err_.str().empty(), *row.note == 0) << err_.str();
    EXPECT_NE(err_.str().find(row.note), std::string::npos) << err_.str();
  }
}

TEST_F(Main, RefusesToMixUnits) {
  const std::string file = Write("a.lvl", "LEVEL 2.5 0.3048006096 1");
  EXPECT_EQ(Run({"plane", file}), primfit::cli::kTrouble);
  EXPECT_EQ(err_.str(),
            "primfit: " + file +
                ": x and y are in ft-us, z is in m: convert the file to one unit, or tell with --unit "
                "in which all three are\n");
  ASSERT_EQ(Run({"info", file}), primfit::cli::kFitted);
  for (const char* line :
       {"  unit in the file 0.3048006096 m, vertically 1 m\n", "  unit             ft-us (from the file)\n",
        "  y                0.000000 to 1.900000 ft-us\n", "  z                2.500000 to 2.500000 m\n"})
    EXPECT_NE(out_.str().find(line), std::string::npos) << out_.str() << line;

  // Lengths on the command line are in the file's unit too: a thousandth of a foot is no millimetre.
  const std::string feet = Write("b.lvl", "LEVEL 2.5 0.3048 0.3048");
  EXPECT_EQ(Run({"plane", feet, "--classic", "--tolerance", "0.002"}), primfit::cli::kTrouble);
  EXPECT_NE(err_.str().find("--tolerance 0.002 is not a number of at least 0.00328"), std::string::npos)
      << err_.str();
  EXPECT_EQ(Run({"plane", feet, "--classic", "--scanner-error", "3", "--quiet"}), primfit::cli::kFitted)
      << err_.str();
}

TEST_F(Main, StopsWhenItsHostWantsIt) {
  std::vector<bool> stoppable;
  host_.errIsTerminal = true;
  host_.setStoppable = [&](bool now) { stoppable.push_back(now); };
  host_.stopRequested = [&] { return stoppable == std::vector<bool>{true}; };
  EXPECT_EQ(Run({"sphere", Write("a.lvl", "LEVEL 1")}), primfit::cli::kInterrupted);
  EXPECT_EQ(stoppable, (std::vector<bool>{true, false}));
  EXPECT_NE(err_.str().find("stopped by Ctrl-C"), std::string::npos) << err_.str();
  EXPECT_NE(err_.str().find("\rsearching ["), std::string::npos) << err_.str();
}

TEST_F(Main, FitsItsHelpToTheTerminal) {
  for (const int columns : {60, 80}) {
    host_.columns = columns;
    for (const Arguments& arguments :
         {Arguments{"--help"}, {"--help-all"}, {"info", "--help"}, {"torus", "--help"}, {"pipe", "--help"}}) {
      ASSERT_EQ(Run(arguments), 0);
      std::istringstream help(out_.str());
      std::size_t longest = 0;
      for (std::string line; std::getline(help, line); longest = std::max(longest, line.size()))
        EXPECT_LE(line.size(), static_cast<std::size_t>(columns)) << line;
      EXPECT_GT(longest, static_cast<std::size_t>(columns) - 8) << "room is left unused";
    }
  }
}

TEST_F(Main, TellsThatItsOutputIsLost) {
  out_.setstate(std::ios::badbit);
  EXPECT_EQ(Run({"--version"}), primfit::cli::kTrouble);
  EXPECT_EQ(err_.str(), "primfit: the result could not be written: Input/output error\n");
}

}  // namespace
