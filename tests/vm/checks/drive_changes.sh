# NVMe drives that come and go while they are polled, and the commands that a drive is sent, by QEMU's own trace.
# machines: drives
# shellcheck shell=sh

stty -F /dev/ttyS1 raw -echo
monitor() {
  echo "$1" >/dev/ttyS1
  sleep 1
}
mkdir -p /tmp/host
mount -t 9p -o trans=virtio,ro host /tmp/host

# commands NAME: how many admin commands of a name QEMU has seen; refusals: how many it has not carried out.
commands() { grep -c "pci_nvme_admin_cmd.*'NVME_ADM_CMD_$1'" /tmp/host/trace; }
refusals() { grep -c 'pci_nvme_enqueue_req_completion.* cqid 0 .* status 0x0*[1-9a-f]' /tmp/host/trace; }

monitor "" # what comes first may be lost
wait_for 40 [ -e /sys/block/nvme0n2 ]
wait_for 40 [ -e /sys/block/sde ]
monitor "trace-event pci_nvme_admin_cmd on"
monitor "trace-event pci_nvme_enqueue_req_completion on"

# The NVMe drive is the third of the list. Each refresh is one reading.
readings() {
  seen=$(commands GET_LOG_PAGE)
  call initDisk "$@" >/tmp/answers
  echo $(($(commands GET_LOG_PAGE) - seen))
}
alone=$(readings)
thrice=$(readings sleep:5100 getDiskTemperature:2 sleep:5100 getDiskTemperature:2 sleep:5100 getDiskTemperature:2)
within "commands: the list reads the page" "$alone" 1 3
is "commands: one log page a reading" $((thrice - alone)) 3
is "commands: none is refused" "$(refusals)" 0
# By its controller, for the kernel fills in a namespace's own number.
nvme get-log /dev/nvme0 --namespace-id=0 --log-id=2 --log-len=512 >/dev/null 2>&1
is "commands: a refusal is seen" "$(refusals)" 1

# plug DRIVE SERIAL, unplug: the one drive in the slot.
plug() {
  monitor "device_add nvme,id=guest,bus=bay,drive=$1,serial=$2"
  wait_for 40 [ -e /sys/block/nvme1n1 ]
}
unplug() {
  monitor "device_del guest"
  wait_for 40 [ ! -e /sys/block/nvme1n1 ]
}
plug first SWAP-0001
answers=$(call initDisk getAllDiskType)
has "plugged in: is listed" "$(line "$answers" 2)" SWAP-0001

polls=0
set -- initDisk
while [ $polls -lt 90 ]; do
  set -- "$@" getDiskReadWriteSpeed:3 getDiskTemperature:3 sleep:500
  polls=$((polls + 1))
done
hwprobe call "$@" >/tmp/answers 2>/dev/null &
polling=$!
# latest NAME WANTED: what the answers since the last change end with. The list was read at the start.
latest_speed() { grep '^{' /tmp/answers | tail -n 1 | cut -d'"' -f2; }
until grep -q '^{' /tmp/answers; do sleep 0.2; done
dd if=/dev/zero of=/dev/nvme1n1 bs=64k count=200 oflag=direct 2>/dev/null
sleep 1
is "polled: a drive that is there" "$(latest_speed)" write
unplug
sleep 1
is "polled: one that has gone" "$(latest_speed)" error
plug other SWAP-0002
is "polled: the name is the other's now" "$(nvme id-ctrl /dev/nvme1 -o json | sed -n 's/.*"sn" *: *"\([^ "]*\).*/\1/p')" SWAP-0002
seen=$(commands GET_LOG_PAGE)
sleep 7
is "polled: another by its name" "$(latest_speed)" error
is "polled: the other is sent nothing" $(($(commands GET_LOG_PAGE) - seen)) 0
is "polled: the other has a record of its own" "$(call initDisk getAllDiskType | grep -c SWAP-0002)" 1
unplug
plug again SWAP-0001
sleep 2
is "polled: the drive is back" "$(latest_speed)" write
seen=$(commands GET_LOG_PAGE)
sleep 7
within "polled: it is read again" $(($(commands GET_LOG_PAGE) - seen)) 1 3
wait $polling
is "polled: no speed is negative" "$(grep -c ' -' /tmp/answers)" 0
unplug
for event in pci_nvme_admin_cmd pci_nvme_enqueue_req_completion; do monitor "trace-event $event off"; done
