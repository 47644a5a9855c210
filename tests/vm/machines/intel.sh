# An Intel processor with two threads a core, and the board whose chipset has an SMBus controller.
# Its memory module is told by the board's own structure, which has no DDR kind.
smp=4,sockets=1,cores=2,threads=2
modules="msr e1000 virtio_pci virtio_net dummy"

devices() {
  cat <<'TEXT'
-smbios type=17,manufacturer=Acme,part=AM-512,serial=00112233,speed=3200
-netdev user,id=n1,restrict=on
-device e1000,netdev=n1,mac=52:54:00:0a:0b:01,romfile=
-netdev user,id=n2,restrict=on
-device virtio-net-pci,netdev=n2,mac=52:54:00:0a:0b:02,romfile=
TEXT
}
