#!/usr/bin/env python3
"""Compares the exported symbols of libprimfit.so with exports.txt beside this file.

usage: check_exports.py LIBRARY [--update] [--may-need NAME...]

Strong symbols have to be those of the list. Weak ones (inline functions, template instances) and class data come
and go with compiler and optimisation, so they are in no list; but each has to be of a class that a public header
declares: no instance of std, Eigen or Boost templates leaves the library. One list serves builds with and without
the optional parts (LAPACK's matrix classes, oneMKL's engine), because these export nothing.
Beyond itself the library may need the C and C++ run time only, and the libNAME.so that are named.
"""
import argparse
import pathlib
import re
import subprocess
import sys

HERE = pathlib.Path(__file__).resolve().parent
LIST = HERE / "exports.txt"
HEADERS = HERE.parents[1] / "include"
RUN_TIME = {"libc", "libm", "libgcc_s", "libstdc++", "libdl", "libpthread", "ld-linux-x86-64"}
WEAK = "VWuvw"
CLASS_DATA = re.compile(r"(vtable|typeinfo|typeinfo name) for ")  # weak with GCC, not with Clang


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def exported(library):
    """(kind, demangled name) of each defined dynamic symbol."""
    lines = output_of("nm", "--dynamic", "--demangle", "--defined-only", library).splitlines()
    return {tuple(line.split(maxsplit=2)[1:]) for line in lines}


def public_classes():
    text = "".join(path.read_text(encoding="utf-8") for path in HEADERS.rglob("*.h"))
    return {"primfit", *re.findall(r"^(?:class|struct) (?:PRIMFIT_API )?(\w+)", text, re.M)}


def owner(name):
    """First scope of a demangled name: `vtable for A::B`, `void A<int>::f(int)` and `A::f()` are of A."""
    name = re.sub(r"^((vtable|typeinfo|typeinfo name|VTT|guard variable|construction vtable) for |"
                  r"(non-virtual|virtual) thunk to )", "", name)
    while re.search(r"<[^<>]*>", name):
        name = re.sub(r"<[^<>]*>", "", name)
    return name.split("(")[0].split()[-1].split("::")[0]


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("library")
    parser.add_argument("--update", action="store_true")
    parser.add_argument("--may-need", nargs="*", default=[])
    options = parser.parse_args()
    library, may_need = options.library, RUN_TIME | {f"lib{name}" for name in options.may_need}
    symbols = exported(library)
    weak = sorted({name for kind, name in symbols if kind in WEAK or CLASS_DATA.match(name)})
    strong = sorted({name for _, name in symbols} - set(weak))
    if options.update:
        LIST.write_text("\n".join(strong) + "\n", encoding="utf-8")
    listed = [] if not LIST.exists() else LIST.read_text(encoding="utf-8").splitlines()
    owners = public_classes()
    faults = [f"exported but not listed: {name}" for name in strong if name not in listed]
    faults += [f"listed but not exported: {name}" for name in listed if name not in strong]
    faults += [f"foreign: {name}" for name in weak if owner(name) not in owners]
    needed = re.findall(r"\(NEEDED\).*\[(.*)\]", output_of("readelf", "--dynamic", "--wide", library))
    faults += [f"needs {name}" for name in needed if name.split(".so")[0] not in may_need]
    print("\n".join(faults + [f"check_exports: {len(strong)} strong symbols, {len(faults)} faults"]))
    if faults:
        sys.exit("check_exports: when the change is meant, run: "
                 f"python3 tests/abi/check_exports.py {library} --update")


main()
