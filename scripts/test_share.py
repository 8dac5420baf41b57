#!/usr/bin/env python3
"""Share of the tests in all lines of code, comments included. It fails above a third and warns below a quarter.

usage: test_share.py [ROOT]
"""
import pathlib
import sys

FOLDERS = ("include", "src", "io", "report", "cli", "tool", "python", "examples", "bench", "tests", "scripts", "cmake")
HASH = {".py", ".sh", ".pl", ".cmake", ".txt"}
SLASH = {".h", ".cpp", ".c"}
DATA = {"examples/data"}


def line_count(path):
    return len(path.read_text(encoding="utf-8").splitlines())


def is_code(path, root):
    if path.suffix == ".txt" and path.name != "CMakeLists.txt":
        return False
    return path.suffix in HASH | SLASH and str(path.parent.relative_to(root)) not in DATA


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent).resolve()
    lines = {name: sum(line_count(p) for p in sorted((root / name).rglob("*")) if p.is_file() and is_code(p, root))
             for name in FOLDERS}
    total = sum(lines.values())
    share = 100 * lines["tests"] / total
    print(f"tests: {lines['tests']} of {total} lines, {share:.1f} % (25 to 33)")
    if share > 33:
        sys.exit("test_share: too many test lines; merge rows of tables")
    if share < 25:
        print("test_share: warning: fewer test lines than a quarter")


main()
