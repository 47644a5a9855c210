# What scripts/vm-test is made of: packages, kernel, initial RAM disk, boot and verdict.
# Sourced by bash in the root of the repository.
# shellcheck shell=bash disable=SC2154 # board, cpu and smp come from the machine's file

. scripts/lib.sh
vm_source=tests/vm
vm_work=build/vm

die() {
  echo "vm-test: $*" >&2
  exit 2
}

all_machines() { basename -s .sh "$vm_source"/machines/*.sh; }

# The check files that name the machine in their "# machines:" line, cut down to the wanted ones.
checks_of() {
  local machine=$1 file name
  shift
  for file in "$vm_source"/checks/*.sh; do
    name=$(basename "$file" .sh)
    [[ $# == 0 || " $* " == *" $name "* ]] || continue
    [[ " $(sed -n 's/^# machines://p' "$file") " == *" $machine "* ]] && echo "$name"
  done
  return 0
}

need_packages() { scripts/install-packages vm || unavailable "the archive does not give the packages of: vm"; }

# Downloads the distribution's kernel package and unpacks it; nothing of it is installed.
# Sets `vmlinuz`, `kernel_version` and `kernel_modules`.
need_kernel() {
  local kernel=$vm_work/kernel package
  if [[ ! -e $kernel/complete ]]; then
    package=$(apt-cache depends linux-image-amd64 | awk '/Depends:/ { print $2; exit }')
    [[ $package ]] || unavailable "linux-image-amd64 is unknown here; run apt-get update"
    echo "vm-test: downloading and unpacking $package"
    rm -rf "$kernel"
    mkdir -p "$kernel"
    (cd "$kernel" && apt-get download "$package" >download.log 2>&1) ||
      unavailable "$package can't be downloaded: $(tail -1 "$kernel/download.log")"
    dpkg -x "$kernel"/*.deb "$kernel"
    rm "$kernel"/*.deb
    busybox depmod -b "$PWD/$kernel" "$(basename "$kernel"/lib/modules/*)"
    touch "$kernel/complete"
  fi
  kernel_modules=$(echo "$kernel"/lib/modules/*)
  kernel_version=$(basename "$kernel_modules")
  vmlinuz=$kernel/boot/vmlinuz-$kernel_version
}

# copy_program ROOT PROGRAM: the program into /bin, and the libraries that it loads to where they are here.
copy_program() {
  local library
  cp -L "$2" "$1/bin/"
  for library in $(ldd "$2" 2>/dev/null | grep -o '/[^ ]*'); do cp -L --parents "$library" "$1"; done
}

# copy_modules ROOT MODULE...: the modules with all that they depend on, and an index of just these.
copy_modules() {
  local root=$1/lib/modules/$kernel_version module line file
  shift
  mkdir -p "$root"
  cp "$kernel_modules/modules.builtin" "$root/"
  for module in "$@"; do
    line=$(grep -m1 "/$module\.ko:" "$kernel_modules/modules.dep") ||
      die "the kernel package has no module $module"
    for file in ${line/:/}; do
      mkdir -p "$root/$(dirname "$file")"
      cp "$kernel_modules/$file" "$root/$file"
    done
  done
  busybox depmod -b "$PWD/${root%/lib/modules/*}" "$kernel_version"
}

# make_initrd MACHINE BUILD CHECK...: the initial RAM disk of a machine whose file has been sourced.
make_initrd() {
  local machine=$1 build=$2 root=$vm_work/$1/root name
  shift 2
  rm -rf "$root"
  mkdir -p "$root"/{bin,dev,lib,proc,sys,tmp,vm/checks}
  copy_program "$root" "$(command -v busybox)"
  for name in lscpu ${programs:-}; do
    copy_program "$root" "$(command -v "$name")"
  done
  [[ ! -x $build/hwprobe ]] || copy_program "$root" "$build/hwprobe"
  # shellcheck disable=SC2086 # a list of words
  copy_modules "$root" ${modules:-}
  install -m 755 "$vm_source/init" "$root/init"
  cp "$vm_source/guest.sh" "$root/vm/"
  cp "$vm_source/machines/$machine.sh" "$root/vm/machine.sh"
  for name in "$@"; do
    cp "$vm_source/checks/$name.sh" "$root/vm/checks/"
  done
  # Not compressed: the emulated processor would take longer to unpack it than to read it.
  (cd "$root" && find . | busybox cpio -o -H newc 2>/dev/null) >"$vm_work/$machine/initrd"
}

# Runs the machine of run_machine to its end: its console, and `status`.
boot_machine() {
  status=0
  timeout "$limit" qemu-system-x86_64 -accel tcg -M "$board" -cpu "$cpu" -smp "$smp" -m 512 \
    -nodefaults -display none -no-reboot -serial stdio \
    -kernel "$vmlinuz" -initrd "$work/initrd" \
    -append "console=ttyS0 quiet loglevel=1 panic=-1 vm.machine=$machine" \
    "${arguments[@]}" </dev/null 2>"$work/qemu.log" | tr -d '\r' >"$console" || status=$?
}

# run_machine MACHINE BUILD TIMEOUT CHECK...: boots it, shows the verdicts, and says whether all is well.
# A subshell, so that one machine's settings don't reach the next.
run_machine() (
  machine=$1 build=$2 limit=$3
  shift 3
  work=$vm_work/$machine
  console=$work/console.log
  mkdir -p "$work"
  board=q35 cpu=Skylake-Client smp=2
  # shellcheck source=/dev/null
  . "$vm_source/machines/$machine.sh"
  if declare -F prepare >/dev/null; then prepare; fi
  # An option and its value on a line each, or on one.
  mapfile -t arguments < <(devices | sed 's/^\(-[a-z]*\) /\1\n/')
  make_initrd "$machine" "$build" "$@"

  echo "vm-test: $machine ($board, $cpu): $*"
  start=$SECONDS
  boot_machine
  # QEMU has been seen to run its whole time without starting the kernel, on a host that had much else to do.
  if [[ ! -s $console ]]; then
    echo "  the machine said nothing at all (status $status); it is started once more"
    boot_machine
  fi
  grep -a '^ok ' "$console" | sed 's/^/  /' || true
  verdict "$console" "$status" "$@" || exit 1
  echo "  $(grep -ac '^ok ' "$console") checks passed in $((SECONDS - start)) s"
)

# verdict CONSOLE STATUS CHECK...: every check file must have come to its end with a verdict of its own.
verdict() {
  local console=$1 status=$2 name bad
  shift 2
  bad=$(
    grep -aq '^all checks ended$' "$console" ||
      echo "  FAIL boot: the machine did not come to its end (status $status; 124: in time)"
    for name in "$@"; do
      grep -aq "^ended $name 0 [1-9]" "$console" || echo "  FAIL $name: its checks did not end or gave no verdict"
    done
    grep -a '^FAIL ' "$console" | sed 's/^/  /'
  )
  [[ $bad ]] || return 0
  echo "$bad"
  # What the kernel or a shell said is what a verdict doesn't show.
  grep -avE '^(ok|FAIL) ' "$console" | tail -n 15 | sed 's/^/  | /'
  return 1
}
