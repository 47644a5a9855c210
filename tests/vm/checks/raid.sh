# The disks that a MegaRAID controller's firmware lists, against those that smartctl reads behind it.
# machines: raid
# shellcheck shell=sh

both_are_there() { [ "$(echo /sys/block/sd* | wc -w)" = 2 ]; }
wait_for 240 both_are_there

# requests: how many requests reach the firmware in a search for drives.
requests() {
  strace -f -e trace=ioctl -o /tmp/requests hwprobe call initDisk >/tmp/count 2>/dev/null
  grep -c '_IOC(_IOC_READ|_IOC_WRITE, 0x4d, 0x1, ' /tmp/requests
}

is "without the driver's node nothing is sent" "$(requests)" 0

# smartctl makes the node.
serials=
disks=0
for id in 0 1 2 3; do
  serial=$(smartctl -d "megaraid,$id" -i /dev/sda | sed -n 's/^Serial number: *//p')
  [ ! "$serial" ] || serials="$serials$serial " disks=$((disks + 1))
done
is "smartctl reads the two disks by their ids" "$serials" "RAID-0001 RAID-0002 "
is "one request for the list, and one to each disk of it" "$(requests)" $((1 + disks))
is "SCSI disks that refuse ATA commands give no record" "$(cat /tmp/count)" 0
