# A board with a battery and an unplugged mains adapter, which a firmware table of our own adds: QEMU's
# boards have none.
modules="battery ac"

prepare() {
  iasl -p build/vm/laptop/battery tests/vm/battery.asl >build/vm/laptop/iasl.log ||
    die "$(cat build/vm/laptop/iasl.log)"
}

devices() {
  cat <<'TEXT'
-acpitable file=build/vm/laptop/battery.aml
TEXT
}
