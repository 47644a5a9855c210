# What the other checks stand on: the devices through which hardware is reached. Asks nothing of the tool.
# machines: intel amd memory laptop
# shellcheck shell=sh

# config_has NAME FUNCTION REGISTER WANTED
config_has() { is "$1" "$(pci_read "$2" "$3")" "$4"; }

is "board: firmware tables" "$(ls /sys/firmware/dmi/tables | tr '\n' ' ')" "DMI smbios_entry_point "
is "board: ports" "$(port_read 0x64 | cut -c1-2)" 0x
case $machine in
  amd)
    config_has "board: host bridge" 0000:00:00.0 0 0x12378086
    pci_write 0000:00:00.0 0x64 0x5a080000
    config_has "board: the data register keeps its value" 0000:00:00.0 0x64 0x5a080000
    pci_write 0000:00:00.0 0x64 0
    ;;
  *)
    config_has "board: host bridge" 0000:00:00.0 0 0x29c08086
    # Base class 0x0C, subclass 0x05: a serial bus controller of kind SMBus.
    config_has "board: SMBus controller" 0000:00:1f.3 8 0x0c050002
    config_has "board: SMBus ports" 0000:00:1f.3 0x20 0x00000701
    ;;
esac
if [ "$machine" = intel ]; then
  is "board: thermal status register" "$(msr_low 3 0x19c)" 0
fi
