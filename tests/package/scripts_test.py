"""Tests of the scripts that judge or set up others: apt entries, include layers, test share."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPTS = pathlib.Path(sys.argv.pop(1))
ARCHIVE = "http://a.example/debian/ mirror+file:/etc/apt/m.list"


def run(*command):
    return subprocess.run([str(c) for c in command], capture_output=True, text=True, check=False)


class Folder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.root = pathlib.Path(folder.name, "with blank")

    def write(self, name, text):
        path = self.root / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        return path


class NonFreeSources(Folder):
    def check(self, form, text, expected):
        path = self.write("entries", text)
        out = run("perl", SCRIPTS / "non_free_sources.pl", form, ARCHIVE, path)
        self.assertEqual((out.stdout, out.stderr, path.read_text()), (expected, "", text))

    def test_one_line_entries(self):
        for text, expected in {
            "deb http://a.example/debian bookworm main": "deb http://a.example/debian bookworm non-free\n",
            "deb [arch=amd64 signed-by=/k.gpg] http://a.example/debian/ bookworm main contrib # mine\n":
                "deb [arch=amd64 signed-by=/k.gpg] http://a.example/debian/ bookworm non-free\n",
            "# deb http://a.example/debian bookworm main\n": "",
            "deb-src http://a.example/debian bookworm main\n": "",
            "deb http://a.example/debian bookworm main non-free\n": "",
            "deb http://a.example/debian bookworm contrib\n": "",
            "deb http://a.example/debian bookworm-security main\n": "",
            "deb http://other.example/debian bookworm main\n": "",
            "deb http://a.example/debian ./\n": "",
        }.items():
            with self.subTest(text):
                self.check("list", text, expected)

    def test_stanzas(self):
        kept = "Suites: bookworm bookworm-updates\n"
        key = "Signed-By:\n -----BEGIN\n .\n =abc\n"
        self.check("sources",
                   "# all of it\n\nTypes: deb deb-src\n# a comment\nURIs: http://a.example/debian\n" + kept +
                   "Components: main contrib\n" + key + " \n"
                   "types: deb\nuris: http://other.example/x mirror+file:/etc/apt/m.list\n"
                   "suites: bookworm bookworm-security\ncomponents: main\nCheck-Valid-Until: no\n\n\n"
                   "Types: deb\nURIs: http://a.example/debian\nSuites: bookworm-security\nComponents: main\n\n"
                   "Types: deb\nURIs: http://other.example/debian\nSuites: bookworm\nComponents: main\n\n"
                   "Types: deb-src\nURIs: http://a.example/debian\nSuites: bookworm\nComponents: main\n\n"
                   "Enabled: no\nTypes: deb\nURIs: http://a.example/debian\nSuites: bookworm\nComponents: main",
                   "Types: deb\nURIs: http://a.example/debian\n" + kept + "Components: non-free\n" + key + "\n"
                   "types: deb\nuris: mirror+file:/etc/apt/m.list\nsuites: bookworm\ncomponents: non-free\n"
                   "Check-Valid-Until: no\n\n")


class CheckIncludes(Folder):
    def test_table(self):
        files = ["include/primfit/export.h", "include/primfit/fit/record.h", "src/fit/messages.h", "src/api/pipeline.h",
                 "src/shapes/plane.h", "src/estimators/plane_fit.h", "src/optimize/engine.h", "tests/support/scene.h",
                 "src/estimators/lapack.h", "io/rows.h", "report/run.h", "cli/main.h"]
        for name in files:
            self.write(name, "")
        for name, include, allowed in [
            ("include/primfit/fit/a.h", '"primfit/export.h"', True),
            ("include/primfit/fit/a.h", "<Eigen/Core>", True),
            ("include/primfit/fit/a.h", "<cstdint>", True),
            ("include/primfit/fit/a.h", "<boost/random.hpp>", False),
            ("include/primfit/fit/a.h", "<omp.h>", False),
            ("include/primfit/fit/a.h", '"fit/messages.h"', False),
            ("src/fit/a.cpp", '"fit/messages.h"', True),
            ("src/fit/a.cpp", '"messages.h"', True),
            ("src/fit/a.cpp", '"shapes/plane.h"', False),
            ("src/fit/a.cpp", '"shapes/none.h"', False),
            ("src/fit/a.cpp", "<mkl_rci.h>", False),
            ("src/optimize/a.cpp", "<mkl_rci.h>", True),
            ("src/optimize/a.cpp", '"estimators/plane_fit.h"', False),
            ("src/ransac/a.cpp", '"optimize/engine.h"', True),
            ("src/ransac/a.cpp", '"api/pipeline.h"', False),
            ("src/ransac/a.cpp", '"estimators/lapack.h"', False),
            ("src/ransac/a.cpp", '"../../tests/support/scene.h"', False),
            ("tool/a.cpp", '"primfit/fit/record.h"', True),
            ("tool/a.cpp", '"api/pipeline.h"', False),
            ("cli/a.cpp", '"report/run.h"', True),
            ("cli/a.cpp", "<CLI/CLI.hpp>", True),
            ("report/a.cpp", '"primfit/fit/record.h"', True),
            ("report/a.cpp", '"cli/main.h"', False),
            ("report/a.cpp", "<CLI/CLI.hpp>", False),
            ("io/a.cpp", '"rows.h"', True),
            ("io/a.cpp", '"report/run.h"', False),
            ("io/a.cpp", '"primfit/fit/record.h"', False),
            ("src/api/a.cpp", '"io/rows.h"', False),
            ("tests/fit/a.cpp", '"api/pipeline.h"', True),
            ("bench/a.cpp", '"support/none.h"', False),
        ]:
            with self.subTest(file=name, include=include):
                path = self.write(name, f"#include {include}\n")
                self.assertEqual(run("python3", SCRIPTS / "check_includes.py", self.root).returncode, int(not allowed))
                path.unlink()


class CheckComments(Folder):
    def test_mends_what_a_formatter_broke_and_nothing_else(self):
        whole = ("/// @param x what the function is given, in a sentence that is as long as a line of this project may be at all\n"
                 "/// @return what it gives\n//   a table   1\n//   b         2\nint a;  // of two\n")
        broken = ("/// @param points of which some are not given, in a sentence that is too long for one line of the project,\n"
                  "/// not finite\n///                 left out, and so on\n")
        for text, faults in [(whole, 0), (broken, 1), ("// " + 30 * "word " + "\n", 1)]:
            path = self.write("src/a.h", text)
            self.assertEqual(run("python3", SCRIPTS / "check_comments.py", self.root).returncode, int(faults > 0), text)
            run("python3", SCRIPTS / "check_comments.py", "--fix", self.root)
            self.assertEqual(run("python3", SCRIPTS / "check_comments.py", self.root).returncode, 0)
            self.assertEqual(path.read_text().replace("/", "").split(), text.replace("/", "").split())
            self.assertEqual(path.read_text() == text, faults == 0)


class TestShare(Folder):
    def test_limit_and_what_counts(self):
        self.write("src/a.cpp", "/* two\n lines */\nint a;\n\n  // counts\nint b;\n")
        self.write("tests/data.txt", "1\n2\n3\n")
        for lines, status in [(2, 0), (3, 1)]:
            self.write("tests/a_test.cpp", "int t;\n" * lines)
            out = run("python3", SCRIPTS / "test_share.py", self.root)
            self.assertEqual(out.returncode, status, out)
            self.assertIn(f"{lines} of {lines + 6} lines", out.stdout)


unittest.main()
