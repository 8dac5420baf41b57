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
/// file.
FileHead ReadLevel(const Source& source, const ReadRequest&, PointSink& sink) {
  if (source.bytes.size() < 7) source.FailAtByte(source.bytes.size(), "has no height");
  const double height = std::stod(std::string(source.bytes.substr(6)));
  PointBlock block;
  for (int i = 0; i < 400; ++i) block.points.emplace_back(0.1 * (i % 20), 0.1 * (i / 20), height);
  sink.Take(block);
  FileHead head;
  head.format = "level";
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
