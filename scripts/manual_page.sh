#!/bin/bash
# Makes the manual page of the program out of its help, by help2man.
#   manual_page.sh PROGRAM OUTPUT
set -euo pipefail
[ $# = 2 ] || { sed -n '2,3s/^# \{0,1\}//p' "$0" >&2; exit 2; }
program=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
output=$(basename "$2")
cd "$(dirname "$2")"  # help2man passes names to a shell, where those of folders may have blanks
help=$(mktemp "./$output.XXXXXX")  # beside the output: programs in /tmp may not be allowed to run
trap 'rm -f "$help"' EXIT
# help2man runs one command. A section with a name that it does not know stands between stars, and no example may be broken.
cat >"$help" <<END
#!/bin/sh
case \$1 in
  --version) exec '$program' --version ;;
  *) COLUMNS=100 '$program' --help-all |
     sed -e ':line' -e '/\\\\\$/{N;s/ \\\\\\n */ /;b line' -e '}' -e 's/^Exit status:\$/*Exit status*/' ;;
esac
END
chmod +x "$help"
help2man --no-info --name "fit analytic primitives to clouds of 3-D points" --output "$output" "$help"
# Ragged lines: blanks that fill a line would stand in the examples. Their - is one, not a hyphen, so that they can be copied.
sed -i -e '/^\.TH /a .ad l' -e '/^\\f(CW/s/-/\\-/g' "$output"
