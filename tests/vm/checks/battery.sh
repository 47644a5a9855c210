# The battery: the report against what the kernel's driver read from the firmware, and none where none is.
# machines: laptop intel
# shellcheck shell=sh

if [ "$machine" = intel ]; then
  is "battery: none here" "$(call initBattery)" 0
  return
fi

supply=/sys/class/power_supply/BAT0
# milli FILE: a file in millionths as thousandths.
milli() { echo $(($(cat "$supply/$1") / 1000)); }
told=$(call initBattery getBatteryAllMessage:0)
report=$(line "$told" 2)

is "battery: one here" "$(line "$told" 1)" 1
has "battery: charge" "$report" "\"capacity\":$(milli energy_now),"
has "battery: design" "$report" "\"designCapacity\":$(milli energy_full_design),"
has "battery: full charge" "$report" "\"fullChargedCapacity\":$(milli energy_full),"
has "battery: voltage" "$report" "\"voltage\":$(milli voltage_now)}"
has "battery: cycles" "$report" "\"cycleCount\":$(cat $supply/cycle_count),"
has "battery: maker" "$report" "\"manufacturer\":\"$(cat $supply/manufacturer)\""
is "battery: the firmware says discharging" "$(cat $supply/status)" Discharging
has "battery: power is negative" "$report" "\"power\":-$(milli power_now),"
has "battery: state" "$report" "\"status\":[\"discharging\"]"
