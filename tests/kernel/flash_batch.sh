# Every command that writes flash, each followed by the reads that show what
# it wrote; run by the gateway's shell, one step after another. The record
# edits need the record's debug flag, which the flash utility sets as the
# boot loader's tools would.
step() {
	printf '== %s\n' "$*"
	"$@"
	printf 'rc=%s\n' "$?"
}
flash_hex() { od -An -v -tx1 -j "$2" -N "$3" "$1"; }
record() { flash_hex /dev/mtd0 130816 167; }

# The driver's answers at a partition's end and to its other requests, as
# the unit tests expect them (they skip on NAND); their report is not
# compared, only their status.
step sh -c '/tmp/sys_unit_tests --gtest_filter="MtdDriver.*" >/dev/null 2>&1'
printf '\001' >/tmp/debug_flag
step mtd writeflash /tmp/debug_flag 1 130935 bootloader
step record
step sys atbt 1
step sys atwz 001122334450 56 1 3
step sys atbt 1
step sys atsn LNX2411000042
step sys atbt 1
step sys atwp Kx9pQ2wL7mZ4
step sys atbt 1
step sys atmt 0x1f
step sys atbt 1
step sys romreset 1
step sys atsw
step sys atmt
step sys atsh
step record
step sys atwz 001122334458
step sys writeclbtoflash
step flash_hex /dev/mtd7 0 32
step flash_hex /dev/mtd7 496 32
step sys times address 192.0.2.1
step sys Wan Index 0
step sys Wan VirtualChannel 0
step sys Wan VPI 9
step sys Wan Save
step sys Wan DslSave
step sys snmp Save
step sys remmgmt appindex 1
step sys remmgmt active Yes
step sys remmgmt save
step sys wlan channel 7
step sys wlan save
step cfgwriter which
step sys rominfo
step romtool info /dev/mtd1
step romtool info /dev/mtd5
step sys copy romt romd
step sys romd show crc
step romtool info /dev/mtd6
step sys erase romd
step sys romd show crc
step tcapi set Timezone_Entry SERVER 10.9.9.9
step cfgwriter load
step tcapi get Timezone_Entry SERVER
step tcapi save
step cfgwriter which
step sys rominfo
step sys atsh
