#!/bin/bash
# Formats the C++ and C sources by .clang-format; with --check changes nothing and fails where it would.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
formatter=$(command -v clang-format-14 || command -v clang-format) || { echo "format: clang-format is missing" >&2; exit 1; }
# Versions disagree about the same style, so one is the measure: Debian 12's.
"$formatter" --version | grep -q 'version 14\.' || { echo "format: clang-format 14 is needed" >&2; exit 1; }
mode=(-i)
[ "${1:-}" != --check ] || mode=(--dry-run -Werror)
for folder in include src io report cli tool python bench tests examples; do
  [ ! -d $folder ] || find $folder -name '*.h' -o -name '*.cpp' -o -name '*.c'
done | tr '\n' '\0' | xargs -0 "$formatter" --style=file "${mode[@]}"
