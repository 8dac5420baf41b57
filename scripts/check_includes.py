#!/usr/bin/env python3
"""Holds the includes to the layers: calls go downward only, and public headers stand on public ground.

    doors -> api, adaptive -> ransac -> estimators, optimize -> shapes, outline -> primitives -> fit
    adaptive: find_shape, find_elbow -> evidence, joints -> converge, search -> scene -> model
    tool -> cli -> report -> io, on public headers and primitives/ only, and io without those of fits

usage: check_includes.py [ROOT]
"""
import pathlib
import re
import sys

LAYERS = {"fit": 0, "primitives": 1, "shapes": 2, "outline": 2, "estimators": 3, "optimize": 3, "ransac": 4,
          "adaptive/model": 5, "adaptive/scene": 6, "adaptive/search": 7, "adaptive/converge": 7, "adaptive/evidence": 8, "adaptive/joints": 8,
          "adaptive": 9, "api": 9, "doors": 10}
ROOT_HEADERS = {"export.h": ("fit", -1), "cxx20.h": ("fit", -1), "fit.h": ("primitives", 1), "error_codes.h": ("fit", -1),
                "fit_c.h": ("primitives", 1), "flat.h": ("api", 9), "primfit.h": ("all", 11)}
PROGRAM = {"io": 0, "report": 1, "cli": 2, "tool": 3}  # folders of the program, lowest first
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.M)
STANDARD = re.compile(r"^(c?[a-z_]+|std[a-z]+\.h)$")  # <vector>, <cmath>, <stdint.h>
# Libraries for numerics are optional, and reached through two doors: matrix classes and the trust-region interface.
NUMERICS = re.compile(r"^(mkl|lapack|cblas)")
NUMERICS_DOORS = {"estimators", "optimize"}


class Place:
    """Where a file of the project stands: kind (public, private, or a folder such as tool) and layer."""

    def __init__(self, path, root):
        parts = path.relative_to(root).parts
        self.kind, self.folder, self.level = parts[0], parts[0], 11
        if parts[:2] == ("include", "primfit"):
            self.kind = "public"
            parts = parts[1:]
        elif parts[0] == "src":
            self.kind = "private"
        if self.kind in ("public", "private"):
            in_folder = len(parts) > 2
            self.folder, self.level = ROOT_HEADERS.get(parts[-1], ("none", 11))
            if in_folder:
                folder = "/".join(parts[1:-1])
                self.folder = folder if folder in LAYERS else parts[1]
                self.level = LAYERS.get(self.folder, 11)


def find(name, path, root):
    """The file of the project that an include of `name` in `path` means, or None."""
    top = path.relative_to(root).parts[0]
    bases = [root / "include", root / "src", path.parent, root / top, root]
    if top in ("tests", "bench"):
        bases += [root / "tests"]
    for base in bases:
        if (base / name).is_file():
            return (base / name).resolve()
    return None


def fault_of_numerics(name, here):
    if here.kind == "private" and NUMERICS.match(name) and here.folder not in NUMERICS_DOORS:
        return "libraries for numerics are reached through estimators/ and optimize/ only"
    return None


def fault_of_program(there, here):
    if there in PROGRAM and PROGRAM[there] > PROGRAM[here.kind]:
        return f"upward: {here.kind}/ does not see {there}/"
    if there in ("public", "private") and here.kind == "io":
        return "io/ knows no fit"
    return None


def fault_of_system(name, here):
    if name.startswith("CLI/") and here.kind != "cli":
        return "command lines are parsed in cli/ only"
    if here.kind == "public" and not (STANDARD.match(name) or name.startswith("Eigen/")):
        return "a public header includes the standard library, Eigen and primfit/ only"
    return fault_of_numerics(name, here)


def fault_of_own(target, here):
    there = target.kind
    if there == "tests" and here.kind not in ("tests", "bench"):
        return "nothing but tests and benchmarks stands on tests/"
    if here.kind in ("public", "private"):
        if there not in ("public", "private"):
            return f"the library does not stand on {there}/"
        if here.kind == "public" and there == "private":
            return "a public header cannot see src/"
        if target.level > here.level or (target.level == here.level and target.folder != here.folder):
            return f"upward: {here.folder} does not see {target.folder}"
        if here.folder == "api" and target.kind == "private" and target.folder.startswith("adaptive"):
            return "the fixed pipeline stands on its own"
    elif there == "private" and here.kind not in ("tests", "bench") and target.folder != "primitives":
        return f"{here.kind}/ uses public headers and primitives/ only"
    return fault_of_program(there, here) if here.kind in PROGRAM else None


def faults(path, root):
    here = Place(path, root)
    for match in INCLUDE.finditer(path.read_text(encoding="utf-8")):
        quote, name = match.groups()
        target = find(name, path, root)
        if target is not None and (quote == '"' or name.startswith("primfit/")):
            fault = fault_of_own(Place(target, root), here) or fault_of_numerics(target.name, here)
        elif quote == '"':
            fault = "no such file in the project"
        else:
            fault = fault_of_system(name, here)
        if fault:
            yield f"{path.relative_to(root)}: includes {name}: {fault}"


def main():
    root = pathlib.Path(sys.argv[1] if len(sys.argv) > 1 else pathlib.Path(__file__).parent.parent).resolve()
    files = [p for folder in ("include", "src", "io", "report", "cli", "tool", "tests", "bench", "examples", "python")
             for p in sorted((root / folder).rglob("*")) if p.suffix in (".h", ".cpp", ".c")]
    found = [fault for path in files for fault in faults(path, root)]
    print("\n".join(found + [f"check_includes: {len(files)} files, {len(found)} faults"]))
    sys.exit(1 if found or not files else 0)


main()
