// What the help, the documents and the completion tell users to type.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "run_program.h"
#include "support/scratch_folder.h"
#include "support/text_search.h"

namespace {

struct Example {
  std::string line, text;  ///< for a shell, and what the help says of it
};

/// The lines under "Examples:", where a text stands further right than its line.
std::vector<Example> ExamplesIn(const std::string& help) {
  std::vector<Example> examples;
  std::istringstream lines(help.substr(std::min(help.size(), help.find("\nExamples:\n"))));
  bool continues = false;
  for (std::string line; std::getline(lines, line); continues = line.ends_with('\\')) {
    if (continues)
      examples.back().line += "\n" + line;
    else if (line.starts_with("  $ primfit "))
      examples.push_back({line.substr(4), ""});
    else if (!examples.empty())
      examples.back().text += line;
  }
  return examples;
}

class Examples : public ScratchFolder {
 protected:
  /// Runs a line in the folder of the test, as a shell does. @return its exit status
  int Shell(const std::string& line) const {
    const int status = std::system(("cd '" + Path("") + "' && " + line).c_str());  // NOLINT(cert-env33-c)
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  void UnpackScans() const {
    ASSERT_EQ(Shell("for scan in '" PRIMFIT_TEST_DATA "'/*.xyz.gz; do "
                    "gunzip -c \"$scan\" >\"$(basename \"$scan\" .gz)\"; done; "
                    "cp '" PRIMFIT_TEST_DATA "'/*.json ."),
              0);
  }
};

std::string Read(const std::string& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The exit status that a text promises: 0, unless it names another.
int StatusIn(const std::string& text) {
  const std::string words = "exit status ";
  const std::size_t at = text.find(words);
  return at == std::string::npos ? 0 : std::stoi(text.substr(at + words.size()));
}

TEST_F(Examples, EndAsTheHelpPromises) {
  UnpackScans();
  const std::string help = run_program::Launch({"--help"}).out;
  std::vector<std::string> commands = {""};
  std::istringstream lines(help.substr(help.find("\nCommands:\n") + 11));
  for (std::string line; std::getline(lines, line) && !line.empty();)
    commands.push_back(line.substr(2, line.find(' ', 2) - 2));
  ASSERT_GT(commands.size(), 10U);
  for (const std::string& command : commands) {
    if (command == "help") continue;
    const auto examples = ExamplesIn(command.empty() ? help : run_program::Launch({command, "--help"}).out);
    EXPECT_EQ(examples.size(), 2U) << command;
    for (const auto& [line, text] : examples) {
      EXPECT_TRUE(line.starts_with("primfit " + command)) << line;
      // An example has to hold whatever the seed, since it shows none.
      for (const char* seed : {" --seed 1", " --seed 2"}) {
        const bool fits = !command.empty() && command != "info" && command != "show" && command != "check";
        const std::string typed = fits ? line + seed : line;
        EXPECT_EQ(Shell("primfit() { '" PRIMFIT_PROGRAM "' \"$@\"; }\n" + typed + " >out.txt"),
                  StatusIn(text))
            << typed;
      }
    }
  }
}

#ifdef PRIMFIT_EXAMPLES
TEST_F(Examples, ProgramsFindWhatTheScansHold) {
  UnpackScans();
  const struct {
    const char* arguments;
    int status;
    const char* output;
  } rows[] = {
      {"fit_cylinder mug.xyz", 0, "radius 0\\.039[0-9]* \\+- 0\\.0000[0-9]+ m\n.*points support"},
      {"fit_cylinder none.xyz", 2, "none.xyz cannot be opened"},
      {"hold_parts pipe-run.xyz", 0,
       "radius held: radius 0\\.05715 m, axis -?1\\.0000.*axis held too: radius 0\\.05715 m, axis "
       "1\\.000000 "
       "0\\.000000 0\\.000000 through 1199\\.[0-9]+ (3400\\.000|3399\\.999)"},
      {"stop_and_progress room.xyz 60", 0, "searching +[0-9]+ %.*normal .*points: [0-9]+ %"},
      {"stop_and_progress room.xyz 1e-9", 1, "no plane yet"},
      {"fit_sphere sphere-target-1.xyz", 0, "radius 0\\.050[0-9]+ m\n  position \\+- "},
      {"fit_sphere", 2, "usage: "},
  };
  for (const auto& [arguments, status, output] : rows) {
    EXPECT_EQ(Shell("'" PRIMFIT_EXAMPLES "'/" + std::string(arguments) + " >out.txt 2>&1"), status)
        << arguments;
    const std::string text = Read(Path("out.txt"));
    EXPECT_TRUE(Finds(text, output)) << arguments << "\n" << text;
  }
}
#endif

#ifdef PRIMFIT_MANUAL
// help2man tells sections and options by their layout, so that a change of the help can spoil the page.
TEST_F(Examples, MakeAManualPageWithTheHelp) {
  const std::string page = Read(PRIMFIT_MANUAL);
  std::size_t at = 0;
  for (const char* heading :
       {"NAME", "SYNOPSIS", "DESCRIPTION", "OPTIONS", "\"EXIT STATUS\"", "FILES", "EXAMPLES"}) {
    const std::size_t found = page.find(std::string("\n.SH ") + heading + "\n");
    EXPECT_TRUE(found != std::string::npos && found >= at) << heading;
    at = found;
  }
  // An option is a paragraph with a tag, an example one of equal widths in one piece.
  for (const char* part : {".SS \"primfit cylinder:\"\n", ".TP\n\\fB\\-\\-fix\\-radius\\fR [LENGTH]\n",
                           ".TP\n130\nstopped by Ctrl\\-C", ".TP\ninfo\nTell what",
                           ".IP\n\\f(CW$ primfit elbow pipe\\-run.xyz \\-\\-near 1200.1,3400,110.05,0.1 "
                           "\\-\\-fix\\-minor\\-radius 0.05715 \\-\\-fix\\-major\\-radius 0.1524\\fR\n"})
    EXPECT_NE(page.find(part), std::string::npos) << part << " is missing in " << PRIMFIT_MANUAL;
}
#endif

using Words = std::vector<std::string>;

class Completion : public Examples {
 protected:
  /// What bash offers for the last of the words behind the name of the program.
  Words Offered(const Words& words) const {
    std::string line =
        "cd '" + Path("") + "'; . '" PRIMFIT_COMPLETIONS "'; COMP_WORDS=('" PRIMFIT_PROGRAM "'";
    for (const std::string& word : words) line += " '" + word + "'";
    line +=
        "); COMP_CWORD=" + std::to_string(words.size()) + "; _primfit; printf '%s\\n' \"${COMPREPLY[@]}\"";
    std::istringstream lines(run_program::LaunchOf("/bin/bash", {"-c", line}).out);
    Words offered;
    for (std::string word; std::getline(lines, word);) offered.push_back(word);
    return offered;
  }
};

TEST_F(Completion, OffersWhatTheProgramTakes) {
  Write("my scan.xyz", "1 2 3\n");
  const struct {
    Words words, offered;
  } rows[] = {
      {{"bounded"}, {"bounded-cylinder", "bounded-cone"}},
      {{"--v"}, {"--version"}},
      {{"help", "pa"}, {"patch"}},
      {{"cylinder", "my"}, {"my scan.xyz"}},
      {{"cylinder", "--fix-"}, {"--fix-origin", "--fix-radius", "--fix-axis"}},
      {{"cone", "my scan.xyz", "--half"}, {"--half-angle-range"}},
      {{"plane", "--unit", "m"}, {"m", "mm"}},
      {{"plane", "--unit", "=", "i"}, {"in"}},
      {{"plane", "--unit", "="}, {"m", "mm", "cm", "ft", "ft-us", "in"}},
      {{"plane", "--accept", "weak,a"}, {"weak,ambiguous", "weak,at_limit"}},
      {{"plane", "--noise", ""}, {""}},  // a number
      {{"sphere", "--fix-radius", "my"}, {"my scan.xyz"}},
      {{"plain", "--u"}, {""}},
  };
  for (const auto& row : rows)
    EXPECT_EQ(Offered(row.words), row.offered) << ::testing::PrintToString(row.words);
}

}  // namespace
