# How long one drive takes to be read and interpreted, beside a smartctl process that does the same.
# machines: drives
# shellcheck shell=sh

# In turns, for the host has other work at times; the medians are told.
turns=15
runs=10
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

# time_drive MODEL: microseconds of both, and their ratio. Disks get their names in the order that they appear in.
time_drive() {
  disk=$(grep -ls "^$1" /sys/block/*/device/model | head -n 1 | cut -d / -f 4)
  number=0
  until hwprobe explain --drive $number 2>/dev/null | head -n 1 | grep -q "^$1" || [ $number = 9 ]; do
    number=$((number + 1))
  done
  rm -f /tmp/ours /tmp/theirs
  turn=0
  while [ $turn -lt $turns ]; do
    ours $number >>/tmp/ours
    theirs "$disk" >>/tmp/theirs
    turn=$((turn + 1))
  done
  if [ -s /tmp/ours ]; then
    mine=$(median /tmp/ours) other=$(median /tmp/theirs)
    ok "$1 ($disk): hwprobe $mine us, smartctl $other us, ratio 1/$(awk "BEGIN { printf \"%.1f\", $other / $mine }")"
  else
    fail "$1 ($disk)" "the benchmark gave no time"
  fi
}

# Disks appear one after another.
tries=0
until [ "$(echo /sys/block/sd* /sys/block/nvme* | wc -w)" = 7 ] || [ $tries = 20 ]; do
  sleep 1
  tries=$((tries + 1))
done
time_drive "Acme SATA"
time_drive "QEMU NVMe"
