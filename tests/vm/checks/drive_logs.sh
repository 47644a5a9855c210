# A drive without the log of device statistics is not asked for it: these tell so in their identify data.
# machines: drives
# shellcheck shell=sh

wait_for 40 [ -e /sys/block/sda ]
strace -f -s 64 -e trace=ioctl -o /tmp/requests hwprobe explain --drive 0 >/tmp/explained 2>/dev/null
is "logs: a drive is read" "$?" 0
# sent COMMAND: how many ATA pass-through blocks have this command, in byte 14.
sent() { grep -Ec "cmdp=\"\\\\x85(\\\\x[0-9a-f]{2}){13}\\\\x$1" /tmp/requests; }
within "logs: SMART commands are sent" "$(sent b0)" 1 20
is "logs: READ LOG EXT is not" "$(sent 2f)" 0
has "logs: the reading is told" "$(cat /tmp/explained)" "What the drive says"
