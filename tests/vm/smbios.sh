# Writes the firmware structure of a memory module, as QEMU's -smbios file= takes it. Sourced by bash.
# shellcheck shell=bash

# little VALUE COUNT: the escapes of a number as so many bytes, lowest first.
little() {
  local value=$(($1)) count=$2 text=
  while ((count--)); do
    text+=$(printf '\\x%02x' $((value & 255)))
    value=$((value >> 8))
  done
  printf %s "$text"
}

# memory_device FILE SLOT MANUFACTURER SERIAL PART MEGABYTES: one DDR4 module of 3200 MT/s.
# The layout is that of SMBIOS 2.8, structure type 17 (Memory Device).
memory_device() {
  local file=$1 slot=$2 manufacturer=$3 serial=$4 part=$5 megabytes=$6 field structure=
  local fields=(
    "17 1"                # type
    "0x28 1"              # length of the formatted part
    "0x1100+$slot 2"      # handle
    "0x1000 2"            # handle of the memory array
    "0xFFFE 2"            # no error information
    "64 2"                # total width
    "64 2"                # data width
    "$megabytes 2"        # size
    "9 1"                 # form factor: DIMM
    "0 1"                 # no set
    "1 1"                 # text 1: device locator
    "2 1"                 # text 2: bank locator
    "26 1"                # kind: DDR4
    "0x0080 2"            # detail: synchronous
    "3200 2"              # speed
    "3 1"                 # text 3: manufacturer
    "4 1"                 # text 4: serial number
    "0 1"                 # no asset tag
    "5 1"                 # text 5: part number
    "1 1"                 # one rank
    "0 4"                 # no extended size
    "2933 2"              # configured speed
    "1200 2" "1200 2" "1200 2" # lowest, highest, configured millivolts
  )
  for field in "${fields[@]}"; do
    # shellcheck disable=SC2086 # value and width
    structure+=$(little $field)
  done
  # shellcheck disable=SC2059 # the format is the bytes
  printf "$structure" >"$file"
  printf '%s\0' "DIMM $slot" "BANK $slot" "$manufacturer" "$serial" "$part" "" >>"$file"
}
