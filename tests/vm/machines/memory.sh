# Two unequal DDR4 modules told by structures of our own, and eight EEPROMs behind the SMBus controller,
# which start as zeros and which a check fills.
modules="msr i2c-i801 i2c-dev"

manufacturer_1="Acme Memory" serial_1=1A2B3C4D part_1=AM4-8G-3200
manufacturer_2=Borealis serial_2=0000BEEF part_2="BX-16G 2933"

prepare() {
  . tests/vm/smbios.sh
  memory_device build/vm/memory/module1 1 "$manufacturer_1" "$serial_1" "$part_1" 8192
  memory_device build/vm/memory/module2 2 "$manufacturer_2" "$serial_2" "$part_2" 16384
}

devices() {
  cat <<'TEXT'
-smbios file=build/vm/memory/module1
-smbios file=build/vm/memory/module2
TEXT
}
