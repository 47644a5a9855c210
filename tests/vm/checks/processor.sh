# The processor: what the tool tells against registers, kernel files and lscpu in the same machine.
# machines: intel amd
# shellcheck shell=sh

megahertz=$(sed -n 's/^cpu MHz[^:]*: //p' /proc/cpuinfo | head -1)
logical=$(lscpu -p=CPU | grep -vc '^#')
cores=$(lscpu -p=CORE | grep -v '^#' | sort -u | wc -l)

# The measured clock is rounded to a multiple of the bus clock, also up, by steps of up to 66.7 MHz. What else the host
# does can disturb the kernel's measurement or one of ours, but not all of ours in the same way.
lowest=$(calc "$megahertz * 0.98") highest=$(calc "$megahertz * 1.02 + 67")
tries=0
until base=$(call getCpuBaseFrequency) && lies "$base" "$lowest" "$highest" || [ $((tries += 1)) = 30 ]; do sleep 1; done
within "processor: base clock" "$base" "$lowest" "$highest"
has "processor: vendor" "$(log)" "Vendor: $(sed -n 's/^vendor_id[^:]*: //p' /proc/cpuinfo | head -1)"
has "processor: name" "$(log)" "Name: $(sed -n 's/^model name[^:]*: //p' /proc/cpuinfo | head -1)"

speeds=$(call getCpuFrequency sleep:500 getCpuFrequency)
is "processor: the first speed is nothing" "$(calc "$(line "$speeds" 1)")" 0
within "processor: speed" "$(line "$speeds" 2)" "$(calc "$megahertz * 0.9")" "$(calc "$megahertz * 1.1")"

# One processor is kept busy, so the load is well above nothing and well below everything.
while :; do :; done &
burner=$!
before=$(head -1 /proc/stat)
loads=$(call getCpuLoad sleep:5000 getCpuLoad)
after=$(head -1 /proc/stat)
kill $burner
# The share of busy time between two "cpu" lines.
share=$(echo "$before $after" | awk '{
  for (i = 2; i <= 9; i++) total += $(i + 11) - $i
  printf "%.17g", 1 - ($16 - $5 + $17 - $6) / total
}')
is "processor: the first load is nothing" "$(calc "$(line "$loads" 1)")" 0
within "processor: load" "$(line "$loads" 2)" "$(calc "$share - 0.12")" "$(calc "$share + 0.12")"

# The mean over the cores, each read through its last logical processor: 100 less the seven bits of the
# digital readout (IA32_THERM_STATUS, bits 22:16).
intel_temperature() {
  sum=0
  for cpu in $(lscpu -p=CPU,CORE | awk -F, '!/^#/ { last[$2] = $1 } END { for (core in last) print last[core] }'); do
    sum=$((sum + 100 - (($(msr_low "$cpu" 0x19c) >> 16) & 0x7f)))
  done
  calc "$sum / $cores"
}

intel_checks() {
  is "processor: temperature from the thermal status register" "$(call getCpuTemperature)" "$(intel_temperature)"
  ids=$(log | sed -n 's/.*GetCoreIdByAffinityMask: Ok. CoreId: //p')
  is "processor: each logical processor was asked for its core" "$(echo "$ids" | wc -l)" "$logical"
  is "processor: cores" "$(echo "$ids" | sort -u | wc -l)" "$cores"

  call_fails "processor: no reading after the release" "WinRing0 has been released" \
    getCpuTemperature releaseRing0 getCpuTemperature
  rmmod msr
  call_fails "processor: no register access without its driver" "DRIVER_NOT_LOADED" getCpuTemperature
  modprobe msr
  is "processor: reads again with the driver" "$(call getCpuTemperature)" "$(intel_temperature)"
}

# Eighths of a degree in bits 31:21; bit 19 says that the range starts at -49.
amd_temperature() {
  eighths=$(($1 >> 21)) low=0
  [ $((($1 >> 19) & 1)) = 0 ] || low=49
  calc "$eighths * 125 * 0.001 - $low"
}

amd_checks() {
  bridge=0000:00:00.0
  for value in 0x00000000 0x20000000 0x20080000 0x5a1fffff 0x48e7ffff 0xffe00000; do
    pci_write $bridge 0x60 0
    pci_write $bridge 0x64 $value
    wanted=$(amd_temperature "$(pci_read $bridge 0x64)")
    within "processor: temperature of data register $value" "$(call getCpuTemperature)" \
      "$(calc "$wanted - 1e-9")" "$(calc "$wanted + 1e-9")"
    is "processor: index register at data register $value" "$(pci_read $bridge 0x60)" 0x00059800
  done
}

if [ "$machine" = amd ]; then amd_checks; else intel_checks; fi
