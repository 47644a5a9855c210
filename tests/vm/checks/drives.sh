# Drives: what the library makes of each against smartctl and nvme, and why it reads none of the others.
# machines: drives
# shellcheck shell=sh

# USB storage waits before it looks for its disks.
all_are_there() { [ "$(echo /sys/block/sd* /sys/block/nvme* | wc -w)" = 7 ]; }
wait_for 40 all_are_there
disks=$(cd /sys/block && echo sd* nvme*)

# drivers_of DISK: the drivers of the devices that it hangs on.
drivers_of() {
  place=$(readlink -f "/sys/block/$1/device")
  while [ "$place" != /sys/devices ]; do
    [ ! -e "$place/driver" ] || basename "$(readlink "$place/driver")"
    place=$(dirname "$place")
  done
}

# find_disk DRIVER: sets `disk` to its kernel name and `number` to its place in the order of the drives.
find_disk() {
  number=0
  for disk in $disks; do
    ! drivers_of "$disk" | grep -qx "$1" || return 0
    number=$((number + 1))
  done
  disk=none
}

explain() { hwprobe explain --drive "$number" "$@" 2>/tmp/stderr; }
explained() { sed -n "s/^  \"$1\": \"\{0,1\}\(.*[^\",]\)\"\{0,1\},\$/\1/p" /tmp/explained; }
# smart KEY: a value of smartctl's object, whose names it writes in full.
smart() { sed -n "s/^json\.$1 = \"\{0,1\}\(.*[^\"]\)\"\{0,1\};\$/\1/p" /tmp/smart; }
# nvme_told KEY: a value of the two objects of nvme, without the blanks that fill it.
nvme_told() { sed -n "s/^ *\"$1\" *: *\"\{0,1\}\([^\",]*[^\", ]\) *\"\{0,1\},\{0,1\}\$/\1/p" /tmp/nvme; }

# read_drive NAME PROTOCOL: the record into /tmp/explained, smartctl's object into /tmp/smart.
read_drive() {
  explain --json >/tmp/explained
  is "$1: is read" "$?" 0
  smartctl --json=g -a "/dev/$disk" >/tmp/smart
  is "$1: smartctl reads it too" "$(smart device.protocol)" "$2"
}

# agrees NAME KEY WANTED: there is something to agree with, and the record has it.
agrees() {
  if [ "$3" ]; then is "$1: $2" "$(explained "$2")" "$3"; else fail "$1: $2" "nothing to compare with"; fi
}

agrees_with_smart() {
  for pair in model:model_name serialNumber:serial_number firmware:firmware_version temperature:temperature.current \
    powerOnHours:power_on_time.hours powerOnCount:power_cycle_count; do
    agrees "$1" "${pair%:*}" "$(smart "${pair#*:}")"
  done
}

agrees_with_nvme() {
  { nvme id-ctrl "/dev/$disk" -o json && nvme smart-log "/dev/$disk" -o json; } >/tmp/nvme
  for pair in model:mn serialNumber:sn firmware:fr powerOnHours:power_on_hours powerOnCount:power_cycles; do
    agrees "$1, by nvme" "${pair%:*}" "$(nvme_told "${pair#*:}")"
  done
  agrees "$1, by nvme" temperature "$(nvme_told temperature | awk '{ print $1 - 273 }')"
}

# as_user COMMAND...: without root's rights, in a folder of its own.
# By its path, for the shell has a program of its own by that name.
as_user() {
  mkdir -p /tmp/user
  chown 65534:65534 /tmp/user
  (cd /tmp/user && /bin/setpriv --reuid=65534 --regid=65534 --clear-groups --inh-caps=-all "$@")
}
refused_to_user() {
  as_user hwprobe explain --drive "$number" >/tmp/explained 2>/tmp/stderr
  is "$1: an ordinary user gets no record" "$?" 3
  has "$1: an ordinary user is told the right" "$(cat /tmp/stderr)" "access denied; run as root"
}

is "drives: all are there" "$disks" "sda sdb sdc sdd sde nvme0n1 nvme0n2"
for driver in ahci ata_piix; do
  find_disk $driver
  read_drive $driver ATA
  agrees_with_smart $driver
  # A size is told short of the 49 megabytes that a maker's round figure leaves over.
  agrees $driver sizeMB "$(smart user_capacity.bytes | awk '{ print int($1 / 1000000) - 49 }')"
  refused_to_user $driver
  # Who may read the node may still send no command.
  chmod a+r "/dev/$disk"
  refused_to_user "$driver, open to all"
done

find_disk nvme
read_drive nvme NVMe
agrees_with_smart nvme
agrees_with_nvme nvme
# The storage query's path leaves the size to the management data.
is "nvme: sizeMB" "$(explained sizeMB)" null
refused_to_user nvme

# product TYPE: the model that smartctl learns by one kind of command.
product() { smartctl --json=g -i -d "$1" "/dev/$disk" | sed -n 's/^json\.\(scsi_product\|model_name\) = "\(.*\)";$/\2/p'; }

# These answer SCSI commands alone; no emulated bridge passes ATA on.
answers_scsi_alone() {
  find_disk "$1"
  is "$1: answers SCSI and not ATA" "$(product scsi), $(product sat)" "QEMU HARDDISK, "
  explain >/tmp/explained
  is "$1: gives no record" "$?" "$2"
}
for driver in usb-storage uas; do
  answers_scsi_alone $driver 3
  is "$driver: nothing is made up" "$(cat /tmp/explained)" ""
  has "$driver: the reason is told" "$(cat /tmp/stderr)" \
    "drive $number: no command path gives its identify data; "
done
answers_scsi_alone virtio_scsi 0
has "virtio_scsi: the reason is told" "$(cat /tmp/explained)" "none: a SCSI disk"
is "virtio_scsi: nothing is made up" \
  "$(grep -Ec '^ +(health|life left|temperature|power-on hours|power cycles|host (reads|writes)) +unknown' /tmp/explained)" 7

find_disk ahci
explain --trace >/tmp/explained
has "trace: is written when it is wanted" "$(cat /tmp/stderr)" GetDiskInfo
explain >/tmp/explained
is "trace: is not written otherwise" "$(cat /tmp/stderr)" ""

# The exports. What smartctl reads SMART data of is listed, and nothing else.
smart_of() {
  smartctl --json=g -a "/dev/$1" >/tmp/smart
  [ "$(smart smart_support.available)" = true ]
}
# report DISK...: the list in this order, by smartctl and the kernel.
report() {
  report=
  for listed; do
    smart_of "$listed"
    if [ "$(cat "/sys/block/$listed/queue/rotational")" = 1 ]; then kind=HDD; else kind=SSD; fi
    report="$report,{\"SN\":\"$(smart serial_number)\",\"type\":\"$kind\"}"
  done
  echo "[${report#,}]"
}
smart_disks=
for disk in $disks; do
  # A further namespace is its drive once more.
  [ "$disk" = nvme0n2 ] || ! smart_of "$disk" || smart_disks="$smart_disks $disk"
done
# shellcheck disable=SC2086 # a list of words
set -- $smart_disks
answers=$(call initDisk getAllDiskType getDiskTemperature:0 getDiskTemperature:1 getDiskTemperature:2)
is "exports: the number of drives" "$(line "$answers" 1)" $#
is "exports: serial numbers and kinds" "$(line "$answers" 2)" "$(report "$@")"
row=3
for disk; do
  smart_of "$disk"
  is "exports: temperature of $disk" "$(line "$answers" $row)" "$(smart temperature.current)"
  row=$((row + 1))
done
# The management data know the size that the drive's own path leaves open: whole cylinders, and the 49 megabytes off.
is "exports: the NVMe size of the list" "$(hwprobe show --json 2>/dev/null | sed -n '/"isNvme": true/,/sizeMB/s/.*"sizeMB": \(.*\),/\1/p')" \
  "$(awk '{ print int(int($1 / 16065) * 16065 * 512 / 1000000) - 49 }' "/sys/block/$disk/size")"
call_fails "exports: no drive behind the last" "invalid vector subscript" initDisk getDiskTemperature:$#
call initDisk >/dev/null
has "exports: what is not listed is told" "$(log)" "is not listed: no command path gives its identify data; "

# sample: the counters of the kernel's own table and the time, read without another process.
sample() {
  while read -r _ _ name _ _ sectors_read _ _ _ sectors_written _; do
    [ "$name" != "$writing" ] || now_written=$sectors_written
    [ "$name" != "$reading" ] || now_read=$sectors_read
  done </proc/diskstats
  read -r uptime _ </proc/uptime
  now=${uptime%.*}${uptime#*.}0
}
# speed_near NAME ANSWER SECTORS: within 15 % of what the kernel counted, of a load that is one. The two look at the
# counters some hundredths of a second apart, and an emulated load is uneven.
speed_near() {
  speed=$(calc "$3 * 512 / ($now - $start)")
  within "$1, load" "$speed" 1000 1e9
  within "$1" "$2" "$(calc "$speed * 0.85")" "$(calc "$speed * 1.15")"
}
find_disk ahci && writing=$disk
find_disk nvme && reading=$disk
dd if=/dev/zero "of=/dev/$writing" bs=64k oflag=direct 2>/dev/null &
dd "if=/dev/$reading" of=/dev/null bs=64k iflag=direct 2>/dev/null &
call initDisk sleep:6000 getDiskReadWriteSpeed:0 getDiskReadWriteSpeed:1 getDiskReadWriteSpeed:2 | {
  read -r _
  sample
  start=$now start_written=$now_written start_read=$now_read
  read -r first
  sample
  read -r second
  read -r third
  set -- "$first" "$second" "$third"
  for listed in $smart_disks; do
    case $listed in
      "$writing") written=$1 ;;
      "$reading") read=$1 ;;
      *) idle=$1 ;;
    esac
    shift
  done
  is "speed: a drive at rest" "$idle" '{"write": 0.000000, "read": 0.000000}'
  is "speed: the one that is written is not read" "${written#*, }" '"read": 0.000000}'
  is "speed: the one that is read is not written" "${read%,*}" '{"write": 0.000000'
  written=${written#*: } read=${read##*: }
  speed_near "speed: writing" "${written%%,*}" $((now_written - start_written))
  speed_near "speed: reading" "${read%\}}" $((now_read - start_read))
}
kill %1 %2

# repeated COUNT TEXT: the text so many times.
repeated() { awk -v count="$1" -v text="$2" 'BEGIN { for (; count > 0; --count) print text }'; }
# held_by PROCESS: its descriptors and its memory in kB.
held_by() {
  echo "$(find "/proc/$1/fd" -mindepth 1 | wc -l) $(awk '/^VmRSS/ { print $2 }' "/proc/$1/status")"
}
# shellcheck disable=SC2046 # lists of words
hwprobe call initDisk $(repeated 200 'getDiskTemperature:0 getDiskReadWriteSpeed:0') sleep:4000 \
  $(repeated 5000 'getDiskTemperature:0 getDiskReadWriteSpeed:0') sleep:6000 >/tmp/answers 2>/dev/null &
polling=$!
until [ "$(wc -l </tmp/answers)" -ge 401 ]; do sleep 0.2; done
sleep 1
before=$(held_by $polling)
until [ "$(wc -l </tmp/answers)" -ge 10401 ]; do sleep 0.5; done
after=$(held_by $polling)
is "10,000 polls: descriptors" "${after% *}" "${before% *}"
within "10,000 polls: memory" "${after#* }" 1 $((${before#* } + 64))
wait $polling

as_user hwprobe call initDisk getAllDiskType getDiskReadWriteSpeed:0 >/tmp/answers 2>/tmp/stderr
is "exports: an ordinary user has no drives" "$(tr '\n' ' ' </tmp/answers)" '0 null {"error": "invalid vector subscript"} '
has "exports: the log tells the user the right" "$(cat /tmp/user/resources/log/cpp/*.log)" "error code: 5 "
has "exports: show tells the user the right" "$(as_user hwprobe show 2>/dev/null)" "access denied; run as root"

# A partition's file system has letter D, and C in a root folder of its own.
none='{"code":0, "data": "available disk not found"}'
is "letters: the root is on no drive" "$(call getDiskNameWhichOsInstalled)" "$none"
find_disk ata_piix
printf 'n\np\n1\n\n\nw\n' | fdisk "/dev/$disk" >/dev/null
mke2fs "/dev/${disk}1" >/dev/null
mkdir /disk
mount -t ext4 "/dev/${disk}1" /disk
answers=$(call getDiskNameWhichOsInstalled getAllDiskType)
is "letters: a drive on D is not the root's" "$(line "$answers" 1)" "$none"
# shellcheck disable=SC2046 # a list of words
is "letters: a drive with one comes first" "$(line "$answers" 2)" "$(report "$disk" $(echo "$smart_disks" | sed "s/$disk//"))"
# finds_root NAME DISK FOLDER: with the folder as its root the tool finds the drive.
finds_root() {
  mkdir "$3/bin" "$3/lib"
  cp /bin/hwprobe "$3/bin/"
  cp -r /lib/* "$3/lib/"
  cp -r /lib64 "$3/"
  for folder in proc sys dev tmp; do
    mkdir "$3/$folder"
    mount --bind "/$folder" "$3/$folder"
  done
  smart_of "$2"
  is "$1" "$(chroot "$3" /bin/hwprobe call getDiskNameWhichOsInstalled)" "{\"code\":1,\"diskName\":\"$(smart model_name)\"}"
}
finds_root "letters: the drive of the root" "$disk" /disk
mke2fs /dev/nvme0n2 >/dev/null
mkdir /second
mount -t ext4 /dev/nvme0n2 /second
finds_root "letters: the root on a further namespace" nvme0n1 /second
