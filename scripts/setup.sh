#!/bin/bash
# Installs what building and testing primfit needs and this machine lacks; nothing else is changed. Does
# nothing, and needs neither root nor network, when all is there. For Debian 12 and its relatives.
#   setup.sh          build and tests, these with oneMKL from Debian's component non-free where it is offered
#   setup.sh --demo   the library and the tool only; all of it is free software
#   setup.sh --full   what scripts/ci-full.sh needs on top
set -euo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

tool=(g++ cmake ninja-build libeigen3-dev libboost-dev libcli11-dev nlohmann-json3-dev libfast-float-dev
      libfmt-dev liblzf-dev libxxhash-dev libhwy-dev libnanoflann-dev zlib1g-dev)
tests=(libgtest-dev libbenchmark-dev pkg-config python3 python3-jsonschema clang-format help2man)
full=(clang clang-tidy libclang-rt-14-dev liblapack-dev)
case "${1:-}" in
  --demo) packages=("${tool[@]}") ;;
  "") packages=("${tool[@]}" "${tests[@]}") ;;
  --full) packages=("${tool[@]}" "${tests[@]}" "${full[@]}") ;;
  *) sed -n '2,6s/^# \{0,1\}//p' "$0" >&2; exit 2 ;;
esac
# For tests of the optional parts. A oneMKL of the user's own serves as well; cmake/FindMKL.cmake looks there first.
if [ "${1:-}" != --demo ] && [ ! -f "${MKLROOT:-}/include/mkl_rci.h" ]; then packages+=(libmkl-dev); fi

die() { printf 'setup: %s\n' "$@" >&2; exit 1; }
as_root() {
  if [ "$(id -u)" = 0 ]; then "$@"
  elif command -v sudo >/dev/null; then sudo "$@"
  else die "installing needs root: run scripts/setup.sh as root, or install sudo" "missing: ${missing[*]}"
  fi
}
apt() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300 \
    -o Dpkg::Use-Pty=0 "$@"
}
installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }
offered() { [[ $(LC_ALL=C apt-cache policy "$1" 2>/dev/null) == *"Candidate: "[^\(]* ]]; }
refresh() { apt update || true; }  # a broken third-party source must not stop us; what counts is what is offered

# oneMKL is in Debian's component non-free, which a fresh machine does not list. Adds it as a file of our own,
# made from the entries by which the machine reaches the Debian archive now.
extra=/etc/apt/sources.list.d/primfit-non-free
add_non_free() {
  local archives form text lists=() stanzas=() file
  # shellcheck disable=SC2016  # apt's own fields
  archives=$(apt-get indextargets --format '$(ORIGIN)/$(LABEL) $(REPO_URI)' | sed -n 's|^Debian/Debian ||p' | sort -u)
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do [ ! -f "$file" ] || lists+=("$file"); done
  for file in /etc/apt/sources.list.d/*.sources; do [ ! -f "$file" ] || stanzas+=("$file"); done
  for form in list sources; do
    if [ $form = list ]; then set -- ${lists[@]+"${lists[@]}"}; else set -- ${stanzas[@]+"${stanzas[@]}"}; fi
    [ $# = 0 ] && continue
    text=$(perl "$here/non_free_sources.pl" $form "$archives" "$@")
    [ -z "$text" ] || printf '%s\n' "$text" | as_root tee "$extra.$form" >/dev/null
  done
  refresh
}

[ -z "${PRIMFIT_NO_SETUP:-}" ] || exit 0
if ! command -v dpkg-query >/dev/null || ! command -v apt-get >/dev/null; then
  die "this machine has no apt; install the counterparts of these Debian packages, then set PRIMFIT_NO_SETUP=1:" \
    "${packages[*]}"
fi
missing=()
for package in "${packages[@]}"; do installed "$package" || missing+=("$package"); done
[ ${#missing[@]} = 0 ] && exit 0

echo "setup: installing ${missing[*]}"
for package in "${missing[@]}"; do offered "$package" || { refresh; break; }; done
if [[ " ${missing[*]} " == *" libmkl-dev "* ]] && ! offered libmkl-dev; then
  add_non_free
  offered libmkl-dev || {
    as_root rm -f "$extra.list" "$extra.sources"
    echo "setup: apt cannot supply oneMKL here (libmkl-dev of Debian's component non-free, amd64 only): its engine is" \
      "not tested, and the matrix classes are tested over the system's LAPACK"
    for i in "${!missing[@]}"; do [ "${missing[$i]}" != libmkl-dev ] || missing[$i]=liblapack-dev; done
  }
fi
for package in "${missing[@]}"; do offered "$package" || die "apt does not offer $package; is the network up?"; done

log=$(mktemp)
trap 'rm -f "$log"' EXIT
install() { apt install -y --no-install-recommends "${missing[@]}" >"$log" 2>&1; }
install || { refresh; install; } || { cat "$log" >&2; die "apt-get could not install the packages, see above"; }
