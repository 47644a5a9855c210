# Writes the firmware structure of a memory module, as QEMU's -smbios file= takes it. Sourced by bash.
# shellcheck shell=bash

# memory_device FILE SLOT MANUFACTURER SERIAL PART MEGABYTES: one DDR4 module of 3200 MT/s, as structure type 17
# (Memory Device) of SMBIOS 2.8 has it. Fields are a value and a number of bytes, the lowest first.
memory_device() {
  local file=$1 slot=$2 manufacturer=$3 serial=$4 part=$5 megabytes=$6 field value count structure=
  local fields=(
    "17 1" "0x28 1" "0x1100+$slot 2"      # type, length of the formatted part, handle
    "0x1000 2" "0xFFFE 2" "64 2" "64 2"   # array, no error information, total and data width
    "$megabytes 2" "9 1" "0 1" "1 1" "2 1" # size, DIMM, no set, device and bank locator
    "26 1" "0x0080 2" "3200 2"            # DDR4, synchronous, speed
    "3 1" "4 1" "0 1" "5 1" "1 1"         # manufacturer, serial number, no asset tag, part number, one rank
    "0 4" "2933 2" "1200 2" "1200 2" "1200 2" # no extended size, configured speed; lowest, highest, used millivolts
  )
  for field in "${fields[@]}"; do
    read -r value count <<<"$field"
    for ((value = value; count--; value >>= 8)); do structure+=$(printf '\\x%02x' $((value & 255))); done
  done
  # shellcheck disable=SC2059 # the format is the bytes
  printf "$structure" >"$file"
  printf '%s\0' "DIMM $slot" "BANK $slot" "$manufacturer" "$serial" "$part" "" >>"$file"
}
