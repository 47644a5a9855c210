# Network cards: two real drivers' interfaces, told apart from the virtual ones.
# machines: intel amd
# shellcheck shell=sh

# Interfaces with a device behind them, by hardware address.
cards=$(for card in /sys/class/net/*; do [ -e "$card/device" ] && tr : - <"$card/address"; done | sort | tr '\n' ' ')
[ "$machine" != intel ] || has "network: a virtual interface is there" "$(ls /sys/class/net | tr '\n' ' ')" dummy0

told=$(call getNetCardMessage)
is "network: cards" "$(echo "$told" | grep -o '"macAddress":"[^"]*"' | cut -d'"' -f4 | sort | tr '\n' ' ')" "$cards"
is "network: both are Ethernet" "$(echo "$told" | grep -o '"type":"Ethernet"' | wc -l)" 2
is "network: they are of two models" "$(echo "$told" | grep -o '"model":"[^"]*"' | sort -u | wc -l)" 2
