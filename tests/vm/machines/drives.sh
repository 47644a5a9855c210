# A drive on each way that Linux has to one: ATA on AHCI and on the old IDE controller, NVMe, a disk behind USB
# mass storage and one behind UAS, and a SCSI disk that understands no ATA. They hold zeros and need no file, so
# they may be large: one has more sectors than 28 bits can count, and none is so small that its count isn't
# believed. The old controller's disk alone keeps what is written, for a file system.
modules="ahci ata_piix nvme xhci-pci usb-storage uas virtio_pci virtio_scsi sd_mod sg ext4 crc32c_generic"
programs="smartctl nvme setpriv"

# zeros ID SIZE
zeros() { printf '%s\n' -drive "if=none,id=$1,driver=null-co,read-zeroes=on,size=$2"; }

prepare() {
  rm -f "$work/pata"
  truncate -s 3G "$work/pata"
}

devices() {
  zeros sata 200G
  printf '%s\n' -drive "if=none,id=pata,format=raw,file=$work/pata"
  zeros nvme 50G
  zeros storage 2G
  zeros uas 2G
  zeros scsi 2G
  cat <<'TEXT'
-device ahci,id=ahci
-device ide-hd,bus=ahci.0,drive=sata,model=Acme SATA disk,serial=SATA-0001,ver=A1.02
-device piix3-ide,id=piix
-device ide-hd,bus=piix.0,drive=pata,model=Borealis PATA disk,serial=PATA-0002,ver=B2.03
-device nvme,drive=nvme,serial=NVME-0003
-device qemu-xhci,id=xhci
-device usb-storage,bus=xhci.0,drive=storage,serial=USB-0004
-device usb-uas,bus=xhci.0,id=bridge
-device scsi-hd,bus=bridge.0,drive=uas,serial=UAS-0005
-device virtio-scsi-pci,id=virtio
-device scsi-hd,bus=virtio.0,drive=scsi,serial=SCSI-0006
TEXT
}
