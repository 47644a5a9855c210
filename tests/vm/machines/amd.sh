# An AMD processor of family 0x17 on the older board. That board's host bridge keeps what is written to
# registers 0x60 and 0x64 (its DRAM row boundaries), so the temperature's data register holds what a
# check puts there.
board=pc
cpu=EPYC
smp=4,sockets=1,cores=2,threads=2
modules="e1000 8139cp"

devices() {
  cat <<'TEXT'
-netdev
user,id=n1,restrict=on
-device
rtl8139,netdev=n1,mac=52:54:00:0a:0b:03,romfile=
-netdev
user,id=n2,restrict=on
-device
e1000,netdev=n2,mac=52:54:00:0a:0b:04,romfile=
TEXT
}
