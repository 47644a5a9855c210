# A drive on each way that Linux has to one: ATA on AHCI and on the old IDE controller, NVMe, a disk behind USB
# mass storage and one behind UAS, and a SCSI disk that understands no ATA. They hold zeros and need no file, so
# they may be large: one has more sectors than 28 bits can count, and none is so small that its count isn't
# believed. The old controller's disk and the NVMe drive's second namespace alone keep what is written, for file
# systems. The slot is for NVMe drives that come and go: the second serial line is QEMU's monitor, and what QEMU traces
# stands in the file /trace of the host's folder "host".
modules="ahci ata_piix nvme xhci-pci usb-storage uas virtio_pci virtio_scsi sd_mod sg ext4 crc32c_generic 9pnet_virtio 9p"
programs="smartctl nvme setpriv strace"

# zeros ID SIZE
zeros() { printf '%s\n' -drive "if=none,id=$1,driver=null-co,read-zeroes=on,size=$2"; }

prepare() {
  rm -rf "$work/pata" "$work/second" "$work/share" "$work/monitor"
  truncate -s 3G "$work/pata"
  truncate -s 64M "$work/second"
  mkdir "$work/share"
}

devices() {
  zeros sata 200G
  printf '%s\n' -drive "if=none,id=pata,format=raw,file=$work/pata"
  zeros nvme 50G
  printf '%s\n' -drive "if=none,id=second,format=raw,file=$work/second"
  for drive in first other again; do zeros $drive 10G; done
  printf '%s\n' -D "$work/share/trace" -virtfs "local,path=$work/share,mount_tag=host,security_model=none,readonly=on"
  printf '%s\n' -chardev "socket,id=monitor,path=$work/monitor,server=on,wait=off" -mon chardev=monitor,mode=readline
  printf '%s\n' -chardev "socket,id=line,path=$work/monitor" -serial chardev:line
  zeros storage 2G
  zeros uas 2G
  zeros scsi 2G
  cat <<'TEXT'
-device ahci,id=ahci
-device ide-hd,bus=ahci.0,drive=sata,model=Acme SATA disk,serial=SATA-0001,ver=A1.02
-device piix3-ide,id=piix
-device ide-hd,bus=piix.0,drive=pata,model=Borealis PATA disk,serial=PATA-0002,ver=B2.03
-device nvme,id=spaces,drive=nvme,serial=NVME-0003
-device nvme-ns,bus=spaces,drive=second,nsid=2
-device pcie-root-port,id=bay,chassis=1,slot=1
-device qemu-xhci,id=xhci
-device usb-storage,bus=xhci.0,drive=storage,serial=USB-0004
-device usb-uas,bus=xhci.0,id=bridge
-device scsi-hd,bus=bridge.0,drive=uas,serial=UAS-0005
-device virtio-scsi-pci,id=virtio
-device scsi-hd,bus=virtio.0,drive=scsi,serial=SCSI-0006
TEXT
}
