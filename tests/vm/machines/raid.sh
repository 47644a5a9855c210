# A MegaRAID controller with two disks.
modules="megaraid_sas sd_mod sg"
programs="smartctl strace"

devices() {
  cat <<'TEXT'
-drive if=none,id=first,driver=null-co,read-zeroes=on,size=4G
-drive if=none,id=second,driver=null-co,read-zeroes=on,size=6G
-device megasas-gen2,id=raid
-device scsi-hd,bus=raid.0,scsi-id=0,drive=first,serial=RAID-0001
-device scsi-hd,bus=raid.0,scsi-id=1,drive=second,serial=RAID-0002
TEXT
}
