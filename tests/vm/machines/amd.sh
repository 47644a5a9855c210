# An AMD processor of family 0x17 on the older board. That board's host bridge keeps what is written to
# registers 0x60 and 0x64 (its DRAM row boundaries), so the temperature's data register holds what a
# check puts there. Nothing answers at the ports where an AMD chipset has its
# SMBus controller.
board=pc
cpu=EPYC,topoext=on
smp=4,sockets=1,cores=2,threads=2
modules="msr e1000 8139cp"

manufacturer_1=Acme serial_1=1A2B3C4D part_1=AM4-8G-3200

prepare() {
  . tests/vm/smbios.sh
  memory_device build/vm/amd/module1 1 "$manufacturer_1" "$serial_1" "$part_1" 8192
}

devices() {
  cat <<'TEXT'
-smbios file=build/vm/amd/module1
-netdev user,id=n1,restrict=on
-device rtl8139,netdev=n1,mac=52:54:00:0a:0b:03,romfile=
-netdev user,id=n2,restrict=on
-device e1000,netdev=n2,mac=52:54:00:0a:0b:04,romfile=
TEXT
}
