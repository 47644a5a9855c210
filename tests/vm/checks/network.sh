# Network cards: two real drivers' interfaces, told apart from the virtual ones, and the rate of one.
# machines: intel amd
# shellcheck shell=sh

# Interfaces with a device behind them, by hardware address.
cards=$(for card in /sys/class/net/*; do [ -e "$card/device" ] && tr : - <"$card/address"; done | sort | tr '\n' ' ')
[ "$machine" != intel ] || has "network: a virtual interface is there" "$(ls /sys/class/net | tr '\n' ' ')" dummy0

told=$(call getNetCardMessage)
is "network: cards" "$(echo "$told" | grep -o '"macAddress":"[^"]*"' | cut -d'"' -f4 | sort | tr '\n' ' ')" "$cards"
is "network: both are Ethernet" "$(echo "$told" | grep -o '"type":"Ethernet"' | wc -l)" 2
is "network: they are of two models" "$(echo "$told" | grep -o '"model":"[^"]*"' | sort -u | wc -l)" 2

# The emulator's own network answers pings to its gateway, without any network outside.
ip link set eth0 up
ip addr add 10.0.2.15/24 dev eth0
ping -c 1 -W 5 10.0.2.2 >/dev/null || fail "network: the gateway answers" "no answer"
while :; do ping -c 1 -s 1400 10.0.2.2; done >/dev/null 2>&1 &
pinger=$!

# octets DIRECTION: the interface's own counter, with the clock in hundredths of a second.
octets() { echo "$(cat "/sys/class/net/eth0/statistics/$1_bytes") $(cut -d' ' -f1 /proc/uptime)"; }
received=$(octets rx) sent=$(octets tx)
rates=$(line "$(call getNetCurrentSpeed sleep:5000 getNetCurrentSpeed)" 2)
received="$received $(octets rx)" sent="$sent $(octets tx)"
kill $pinger

# highest KEY: the highest of a key's numbers over the connections; only one card carries traffic.
highest() { echo "$rates" | grep -o "\"$1\":[0-9.e+-]*" | cut -d: -f2 | sort -g | tail -1; }
# near NAME KEY SAMPLES: bytes a millisecond, as the counters had it over a slightly longer time.
near() {
  rate=$(echo "$3" | awk '{ printf "%.17g", ($3 - $1) / ($4 - $2) / 1000 }')
  within "$1" "$(highest "$2")" "$(calc "$rate * 0.6")" "$(calc "$rate * 1.6")"
  within "$1: there is traffic" "$rate" 1 1000000
}
near "network: download" down "$received"
near "network: upload" up "$sent"
