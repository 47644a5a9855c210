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

is "battery: one here, which the firmware says discharges" "$(line "$told" 1)$(cat $supply/status)" 1Discharging
for wanted in "capacity\":$(milli energy_now)," "designCapacity\":$(milli energy_full_design)," \
  "fullChargedCapacity\":$(milli energy_full)," "voltage\":$(milli voltage_now)}" "power\":-$(milli power_now)," \
  "cycleCount\":$(cat $supply/cycle_count)," "manufacturer\":\"$(cat $supply/manufacturer)\"" \
  'status":["discharging"]'; do
  has "battery: ${wanted%%\"*}" "$report" "\"$wanted"
done
