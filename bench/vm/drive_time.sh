# How long one drive takes to be read and interpreted, beside a smartctl process that does the same.
# machines: drives
# shellcheck shell=sh

# smartctl needs a few hundredths of a second, and the clock of /proc/uptime counts in hundredths.
runs=50
hundredths() { awk '{ printf "%d", $1 * 100 }' /proc/uptime; }

# time_drive DISK NUMBER: microseconds of both, and their ratio.
time_drive() {
  ours=$(HWPROBE_BENCH_DRIVE=$2 hwprobe_bench --benchmark_filter=readDrive --benchmark_min_time=2 \
    --benchmark_format=csv 2>/dev/null | awk -F, '/^"readDrive"/ && $3 > 0 { printf "%.1f", $3 / 1000 }')
  before=$(hundredths)
  run=0
  while [ $run -lt $runs ]; do
    smartctl -j -a "/dev/$1" >/dev/null
    run=$((run + 1))
  done
  theirs=$(calc "($(hundredths) - $before) * 10000 / $runs")
  if [ "$ours" ]; then
    ok "$1: hwprobe $ours us, smartctl $theirs us, ratio 1/$(awk "BEGIN { printf \"%.0f\", $theirs / $ours }")"
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
