# What the scripts share. Sourced by bash in the root of the repository.
# shellcheck shell=bash

# Where ccache is installed, a checkout in another folder shares its results.
export CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1

say() { echo "== $*"; }

die() {
  echo "$*" >&2
  exit 2
}

# unavailable REASON: ends a suite as skipped, because this machine cannot run it. scripts/suites.sh gets the reason.
unavailable() {
  echo "cannot run: $*" >&2
  [[ ! ${SUITE_NOTE:-} ]] || echo "$*" >"$SUITE_NOTE"
  exit 77
}

as_root() {
  if ((EUID == 0)); then "$@"; else sudo "$@"; fi
}

installed() { dpkg-query -W -f='${Status}\n' "$1" 2>/dev/null | grep -q '^install ok installed$'; }

# Whether this kernel starts Wine itself; elsewhere it runs in a virtual machine.
starts_32_bit() { /usr/lib/wine/wine --version >/dev/null 2>&1; }

# apt_get ARGUMENT...: waits up to ten minutes for another program that has one of the package manager's locks. Its own
# option knows the lock of the installed packages alone, not those of the lists and the downloads.
apt_get() {
  local status errors end=$((SECONDS + 600))
  errors=$(mktemp)
  while :; do
    status=0
    as_root env LC_ALL=C DEBIAN_FRONTEND=noninteractive apt-get -q -o DPkg::Lock::Timeout=600 "$@" 2>"$errors" || status=$?
    ((status && SECONDS < end)) && grep -q '^E: Could not get lock' "$errors" || break
    say "another program has the package manager; waiting for it"
    sleep 5
  done
  cat "$errors" >&2
  rm -f "$errors"
  return "$status"
}

# One archive that is out of step must not stop the rest: what its old list, or the others, give may do.
update_lists() {
  apt_get update || say "some package lists could not be refreshed; going on with those that are here"
}

apt_install() { apt_get install -y --no-install-recommends "$@"; }

# main_archive_first COMMAND...: runs it while the versions of the main archive go before those of the others.
# A subshell, so that the preference goes however the command ends.
main_archive_first() (
  preference=/etc/apt/preferences.d/hwprobe-main
  trap 'as_root rm -f "$preference"' EXIT
  # shellcheck source=/dev/null
  codename=$(. /etc/os-release && echo "$VERSION_CODENAME")
  printf 'Package: *\nPin: release n=%s\nPin-Priority: 1001\n' "$codename" | as_root tee "$preference" >/dev/null
  "$@"
)

# install_missing PACKAGE...: what is missing of them; asks no network when nothing is.
install_missing() {
  local package missing=()
  for package in "$@"; do
    installed "$package" || missing+=("$package")
  done
  ((${#missing[@]})) || return 0
  say "installing ${missing[*]}"
  apt_install "${missing[@]}" >/dev/null 2>&1 && return
  # An old package list is the usual reason.
  update_lists
  if [[ ! $(dpkg --print-foreign-architectures) ]]; then
    apt_install "${missing[@]}"
    return
  fi
  apt_install "${missing[@]}" >/dev/null 2>&1 && return
  # A library must have one version for all architectures. Where the security archive's lists of two of them
  # differ, the main archive has such a set; a library that is newer goes back to it.
  say "the lists of the architectures differ; installing from the main archive"
  main_archive_first apt_install --allow-downgrades "${missing[@]}"
}

# The nodes of /dev with their kinds and numbers; what is mounted below it, such as terminals and shared memory, comes
# and goes.
device_nodes() { find "${DEVICES:-/dev}" -xdev -exec stat -c '%n: %F %t:%T' {} + 2>/dev/null | sort; }

# leaves_devices COMMAND...: runs tests, and fails when they have changed /dev, as those of root can.
leaves_devices() {
  local before status=0
  before=$(device_nodes)
  "$@" || status=$?
  diff <(echo "$before") <(device_nodes) >&2 || die "the tests have changed ${DEVICES:-/dev}: < is before, > after"
  return "$status"
}

# build PRESET [CMAKE-ARGUMENT...]: configures when needed, and builds.
build() {
  local preset=$1
  shift
  if [[ ! -f build/$preset/build.ninja ]] || (($#)); then
    say "configuring build/$preset"
    cmake --preset "$preset" "$@" >/dev/null
  fi
  say "building build/$preset"
  cmake --build --preset "$preset"
}
