# How long one drive takes to be read and interpreted, beside a smartctl process that does the same.
# machines: drives
# shellcheck shell=sh

# In turns, for the host has other work at times; the medians are told.
turns=7
runs=20
# smartctl needs a few hundredths of a second, and the clock of /proc/uptime counts in hundredths.
hundredths() { awk '{ printf "%d", $1 * 100 }' /proc/uptime; }

ours() {
  HWPROBE_BENCH_DRIVE=$1 hwprobe_bench --benchmark_filter=readDrive --benchmark_min_time=0.5 \
    --benchmark_format=csv 2>/dev/null | awk -F, '/^"readDrive"/ && $3 > 0 { printf "%.1f\n", $3 / 1000 }'
}
theirs() {
  before=$(hundredths)
  run=0
  while [ $run -lt $runs ]; do
    smartctl -j -a "/dev/$1" >/dev/null
    run=$((run + 1))
  done
  echo "$(calc "($(hundredths) - $before) * 10000 / $runs")"
}
median() { sort -n "$1" | sed -n "$((turns / 2 + 1))p"; }

# time_drive DISK NUMBER: microseconds of both, and their ratio.
time_drive() {
  rm -f /tmp/ours /tmp/theirs
  turn=0
  while [ $turn -lt $turns ]; do
    ours "$2" >>/tmp/ours
    theirs "$1" >>/tmp/theirs
    turn=$((turn + 1))
  done
  if [ -s /tmp/ours ]; then
    mine=$(median /tmp/ours) other=$(median /tmp/theirs)
    ok "$1: hwprobe $mine us, smartctl $other us, ratio 1/$(awk "BEGIN { printf \"%.1f\", $other / $mine }")"
  else
    fail "$1" "the benchmark gave no time"
  fi
}

# Disks appear one after another.
tries=0
until [ "$(echo /sys/block/sd* /sys/block/nvme* | wc -w)" = 7 ] || [ $tries = 20 ]; do
  sleep 1
  tries=$((tries + 1))
done
time_drive sda 0
time_drive nvme0n1 5
