# What the check files lean on, inside a test machine (busybox sh).
# A verdict is one line on standard output: "ok NAME" or "FAIL NAME: why".
# shellcheck shell=sh

machine=$(sed -n 's/.*vm\.machine=\([^ ]*\).*/\1/p' /proc/cmdline)

ok() { echo "ok $1"; }
fail() { echo "FAIL $1: $(echo "$2" | tr '\n' ' ')"; }

# is NAME GOT WANTED
is() {
  if [ "$2" = "$3" ]; then ok "$1"; else fail "$1" "got \"$2\", wanted \"$3\""; fi
}

# lies GOT LOWEST HIGHEST: the number lies between the two, and is a number at all.
lies() {
  echo "$1" | awk -v low="$2" -v high="$3" '!/^-?[0-9]+(\.[0-9]+)?(e[-+][0-9]+)?$/ || $1 < low || $1 > high { exit 1 }'
}

# within NAME GOT LOWEST HIGHEST
within() {
  if lies "$2" "$3" "$4"; then ok "$1"; else fail "$1" "got \"$2\", wanted $3 to $4"; fi
}

# has NAME TEXT PART
has() {
  case $2 in
    *"$3"*) ok "$1" ;;
    *) fail "$1" "no \"$3\" in \"$2\"" ;;
  esac
}

# wait_for TRIES COMMAND...: looks every half second until the command holds, so many times at most.
wait_for() {
  tries=$1
  shift
  until "$@" || [ $((tries -= 1)) = 0 ]; do sleep 0.5; done
}

calc() { awk "BEGIN { printf \"%.17g\", ($1) }"; }

# The registers, reached without any of our code.

# msr_low CPU INDEX: the low half of a model-specific register, in decimal.
msr_low() {
  dd if="/dev/cpu/$1/msr" bs=8 count=1 skip=$(($2)) iflag=skip_bytes 2>/dev/null |
    od -An -tu4 | awk '{ print $1 }'
}
# pci_read FUNCTION REGISTER: a dword of configuration space as 0x and eight digits.
pci_read() {
  dd if="/sys/bus/pci/devices/$1/config" bs=4 count=1 skip=$(($2 / 4)) 2>/dev/null |
    od -An -tx4 | sed 's/^ */0x/'
}
# pci_write FUNCTION REGISTER VALUE
pci_write() {
  bytes "$3" 4 | dd of="/sys/bus/pci/devices/$1/config" bs=4 count=1 seek=$(($2 / 4)) conv=notrunc 2>/dev/null
}
# port_read PORT: the byte as 0x and two digits.
port_read() {
  dd if=/dev/port bs=1 count=1 skip=$(($1)) 2>/dev/null | od -An -tx1 | sed 's/^ */0x/'
}
# bytes VALUE COUNT: a number as so many bytes, lowest first, in one write.
bytes() {
  bytes_value=$(($1)) bytes_left=$2 bytes_text=
  while [ "$bytes_left" -gt 0 ]; do
    bytes_text=$bytes_text$(printf '\\x%02x' $((bytes_value & 255)))
    bytes_value=$((bytes_value >> 8)) bytes_left=$((bytes_left - 1))
  done
  # shellcheck disable=SC2059 # the format is the bytes
  printf "$bytes_text"
}

# call CALL...: the tool's results, one a line, and its exit status. The failure texts go to /tmp/stderr,
# the log of just this call is what `log` prints.
call() {
  rm -rf /tmp/resources
  hwprobe call "$@" 2>/tmp/stderr
  call_result=$?
  # On the console, beside the verdict that will miss the answer.
  sed 's/^/hwprobe: /' /tmp/stderr >/dev/console
  return $call_result
}
log() { cat /tmp/resources/log/cpp/*.log; }
line() { echo "$1" | sed -n "$2p"; }

# call_fails NAME TEXT CALL...: the tool tells failure by its status, and its text has TEXT in it.
call_fails() {
  call_name=$1 call_text=$2
  shift 2
  call "$@" >/dev/null
  call_status=$?
  if [ $call_status = 3 ]; then
    has "$call_name" "$(cat /tmp/stderr)" "$call_text"
  else
    fail "$call_name" "the tool ended with status $call_status, wanted 3"
  fi
}
