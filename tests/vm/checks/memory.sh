# Memory: the load against /proc/meminfo; the modules against the structures that the machine was given,
# and the EEPROMs over the real ports of its SMBus controller.
# machines: intel amd memory
# shellcheck shell=sh

used=$(awk '/^MemTotal:/ { total = $2 } /^MemAvailable:/ { free = $2 } END { print 100 * (1 - free / total) }' /proc/meminfo)
within "memory: load" "$(call getMemoryLoad)" "$(calc "$used - 5")" "$(calc "$used + 5")"

# module MANUFACTURER MODEL: as it stands in the answer.
module() { printf '{"manufacturer":"%s","model":"%s"}' "$1" "$2"; }

# logged TEXT: how many lines of the log have the text; nothing when there is no log.
logged() { log >/tmp/log && grep -cF "$1" /tmp/log; }

if [ "$machine" = memory ]; then
  answer='{"code":1,"data":['$(module "$manufacturer_1" "$part_1"),$(module "$manufacturer_2" "$part_2")']}'

  rmmod i2c-i801
  is "memory: modules, with blank EEPROMs" "$(call getMemoryManufacturerAndModel)" "$answer"
  is "memory: all eight EEPROMs were read" "$(logged "readSPD: addr=0xA")" 8
  is "memory: no blank EEPROM has a module" "$(logged "can not find memory by serial number: 00000000")" 8

  # An EEPROM here has 256 bytes and nothing selects a second page, so the serial number, bytes 325 to 328,
  # is read at 69. The first module is the second on the bus. Its clock period is 5 * 0.125 ns; 22 periods
  # are the highest CAS latency (bit 7 of byte 21), 110 * 0.125 ns make 22 and 256 * 0.125 ns 51.2.
  # The other's period is 6 * 0.125 ns less 68 * 0.001 ns (byte 125); 21 is bit 6 of byte 21, the same
  # 13.75 ns make 20.2 periods of 0.682 ns and 32 ns make 46.9.
  modprobe i2c-i801
  # shellcheck disable=SC2086 # a list of words
  while read -r bytes; do i2cset -y 0 $bytes i; done <<'DEVICE_OFFSET_BYTES' # by the kernel's own driver
0x51 0x00 0x23 0x12 0x0c 0x01
0x51 0x12 0x05 0x00 0x00 0x80 0x00 0x00
0x51 0x19 0x6e 0x6e 0x01 0x00
0x51 0x45 0x1a 0x2b 0x3c 0x4d
0x57 0x00 0x23 0x12 0x0c 0x01
0x57 0x12 0x06 0x00 0x00 0x40 0x00 0x00
0x57 0x19 0x6e 0x6e 0x01 0x00
0x57 0x45 0x00 0x00 0xbe 0xef
0x57 0x7c 0x00 0xbc
DEVICE_OFFSET_BYTES
  is "memory: the EEPROMs are filled" "$(i2cget -y 0 0x51 0x48)$(i2cget -y 0 0x57 0x7d)" 0x4d0xbc
  rmmod i2c-i801
  is "memory: modules, with their EEPROMs" "$(call getMemoryManufacturerAndModel)" "$answer"
  is "memory: blank EEPROMs have no module" "$(logged "can not find memory by serial number: 00000000")" 6
  timings=$(log | sed -n 's/^timing: \([0-9-]*\).*/\1/p' | tr '\n' ' ')
  is "memory: timings" "$timings" "22-22-22-52 21-21-21-47 "
elif [ "$machine" = amd ]; then
  # Nothing answers at the ports 0xCD6 and 0xCD7, nor at those which are then taken for the controller's.
  is "memory: no SMBus ports here" "$(port_read 0xcd7)$(port_read 0xb00)$(port_read 0xb02)" 0xff0xff0xff
  is "memory: a module without an EEPROM" "$(call getMemoryManufacturerAndModel)" \
    '{"code":1,"data":['"$(module "$manufacturer_1" "$part_1")"']}'
  is "memory: no EEPROM was read" "$(logged "readSPD: addr=")" 0
else
  call_fails "memory: a module of no DDR kind" "Memory type is not DDR4, DDR5, LPDDR4, LPDDR5, type: " \
    getMemoryManufacturerAndModel
fi
