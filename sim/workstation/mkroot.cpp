// gwsim-mkroot DIR DEFAULT-CONFIG: lays out a fresh gateway's flash and kernel
// files inside DIR as the factory leaves them (images built from the default
// configuration DEFAULT-CONFIG), loads the configuration the unit boots with,
// and links the BusyBox applets named on standard input (the output of
// `busybox --list-full`). The gwsim script does the rest of the init.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "lib/byteorder.h"
#include "config_image.h"
#include "factory_flash.h"
#include "flash/mrd.h"
#include "gateway_identity.h"
#include "gateway_paths.h"
#include "romfile/romfile.h"
#include "sim_store.h"

namespace {

struct PartitionLayout {
	const char *name;
	uint32_t size;
};

constexpr uint32_t ERASE_SIZE = 0x10000;

// romfile must be listed before second_romfile: the program finds partitions
// by substring and takes the first line.
constexpr PartitionLayout PARTITIONS[] = {
	{"bootloader", 0x20000},
	{"romfile", 0x20000},
	{"tclinux", 0x200000},
	{"Tclinux_main", 0x200000},
	{"Tclinux_Buffer", 0x200000},
	{"second_romfile", 0x20000},
	{"romd", 0x20000},
	{"reservearea", 0x20000},
};

// Applets the gateway provides itself or must never run against the host.
constexpr const char *OWN_APPLETS[] = {"sh", "reboot", "halt", "poweroff"};

const char *root_dir;

bool fail(const char *what, const char *path)
{
	fprintf(stderr, "gwsim: %s %s/%s: %s\n", what, root_dir, path, strerror(errno));
	return false;
}

bool write_file(const char *path, const void *data, size_t len)
{
	char full[4096];
	snprintf(full, sizeof full, "%s/%s", root_dir, path);
	int fd = open(full, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
	if (fd < 0)
		return fail("cannot create", path);
	bool ok = write(fd, data, len) == static_cast<ssize_t>(len);
	close(fd);
	return ok || fail("cannot write", path);
}

void put_text(unsigned char *field, const char *text)
{
	memcpy(field, text, strlen(text));
}

// A unit's boot-loader partition starts with the boot code, which nothing
// the gateway runs ever means to change: a stand-in fills the first erase
// block, so a power-cut drill can see whether it survives.
constexpr char BOOT_CODE_MARK[] = "gwsim stand-in boot code\n";

void fill_boot_code(unsigned char *block)
{
	memcpy(block, BOOT_CODE_MARK, sizeof BOOT_CODE_MARK - 1);
	for (uint32_t i = sizeof BOOT_CODE_MARK - 1; i < ERASE_SIZE; i++)
		block[i] = static_cast<unsigned char>(i * 131 + (i >> 8));
}

void fill_boot_block(unsigned char *block)
{
	fill_boot_code(block);
	unsigned char *mrd = block + MRD_OFFSET;
	memset(mrd, 0, MRD_SIZE);
	put_text(mrd + MRD_VENDOR_NAME, GW_VENDOR_NAME);
	put_text(mrd + MRD_PRODUCT_MODEL, GW_PRODUCT_MODEL);
	memcpy(mrd + MRD_ETHER_ADDR, GW_BASE_MAC, sizeof GW_BASE_MAC);
	mrd[MRD_COUNTRY_CODE] = GW_COUNTRY_CODE;
	put_text(mrd + MRD_SERIAL_NUM, GW_SERIAL_NUMBER);
	mrd[MRD_MAC_QUANTITY] = GW_MAC_QUANTITY;
	mrd[MRD_DEBUG_FLAG] = GW_DEBUG_FLAG;
	mrd[MRD_FEATURE_BITS] = GW_FEATURE_BITS;
	mrd[MRD_HTP_SWITCH] = GW_HTP_SWITCH;
	be32_put(mrd + MRD_MODEL_ID, GW_MODEL_ID);
	put_text(mrd + MRD_CHIP_ID, GW_CHIP_ID);
	put_text(mrd + MRD_WPA_PSK, GW_WPA_PSK);
	memcpy(block + GW_BOOT_INFO_OFFSET, GW_BOOT_INFO, sizeof GW_BOOT_INFO);
}

bool make_flash()
{
	static_assert(MRD_OFFSET + MRD_SIZE <= GW_BOOT_INFO_OFFSET, "record overlaps boot information");
	unsigned char *erased = static_cast<unsigned char *>(malloc(0x200000));
	if (!erased)
		return false;
	char table[1024];
	int len = snprintf(table, sizeof table, "dev:    size   erasesize  name\n");
	bool ok = true;
	for (size_t i = 0; ok && i < sizeof PARTITIONS / sizeof PARTITIONS[0]; i++) {
		const PartitionLayout &p = PARTITIONS[i];
		memset(erased, 0xFF, p.size);
		if (i == 0)
			fill_boot_block(erased);
		char dev[32];
		snprintf(dev, sizeof dev, "dev/mtd%zu", i);
		ok = factory_fill_partition(p.name, erased, p.size) && write_file(dev, erased, p.size);
		len += snprintf(table + len, sizeof table - static_cast<size_t>(len), "mtd%zu: %08x %08x \"%s\"\n", i,
				p.size, ERASE_SIZE, p.name);
	}
	free(erased);
	// Paths inside the gateway, relative to its directory.
	return ok && write_file(GW_PROC_MTD + 1, table, static_cast<size_t>(len)) && write_file(GW_CONSOLE_CTRL + 1, "", 0);
}

// What the unit loads at boot: the running configuration from the copy the
// reader chooses, and the radio calibration its driver reads.
bool make_boot_files()
{
	int lock = sim_store_lock(root_dir);
	bool ok = lock >= 0 &&
		  config_boot_load(root_dir, factory_romfile_copy(ROMFILE_FIRST), factory_romfile_copy(ROMFILE_SECOND)) !=
			  ROMFILE_NONE;
	if (lock >= 0)
		close(lock);
	unsigned char calibration[RADIO_CALIBRATION_SIZE];
	factory_radio_calibration(calibration);
	return ok && write_file("etc/RT30xxEEPROM.bin", calibration, sizeof calibration);
}

bool write_text(const char *path, const char *text)
{
	return write_file(path, text, strlen(text));
}

// What the running unit's services leave behind: the DHCP servers' leases
// (two LAN hosts on IPv4, one on IPv6), the DNS forwarder's configuration,
// and the radio driver's calibration status (1 = calibrated).
bool make_service_files()
{
	char dir[4096];
	snprintf(dir, sizeof dir, "%s/proc/ra0", root_dir);
	if (mkdir(dir, 0755) < 0 && errno != EEXIST)
		return fail("cannot create", "proc/ra0");
	return write_text("etc/udhcp_lease", GW_DHCP_LEASES) && write_text("var/run/dhcp6s.lease", GW_DHCP6_LEASES) &&
	       write_text("etc/dnsmasq.conf", GW_DNS_FORWARDER_CONF) && write_text("proc/ra0/calibration", "1\n");
}

bool is_own_applet(const char *path)
{
	const char *base = strrchr(path, '/');
	base = base ? base + 1 : path;
	for (const char *own : OWN_APPLETS) {
		if (strcmp(base, own) == 0)
			return true;
	}
	return false;
}

bool link_applets()
{
	char line[512];
	while (fgets(line, sizeof line, stdin)) {
		line[strcspn(line, "\n")] = '\0';
		// Entries are relative ("usr/bin/awk"); bin/busybox itself is a copy.
		if (!line[0] || line[0] == '/' || strstr(line, "..") || is_own_applet(line) ||
		    strcmp(line, "bin/busybox") == 0)
			continue;
		char full[4096];
		snprintf(full, sizeof full, "%s/%s", root_dir, line);
		if (symlink("/bin/busybox", full) < 0 && errno != EEXIST)
			return fail("cannot link", line);
	}
	return true;
}

} // namespace

int main(int argc, char *argv[])
{
	if (argc != 3) {
		fprintf(stderr, "usage: gwsim-mkroot DIR DEFAULT-CONFIG < applet-list\n");
		return 2;
	}
	root_dir = argv[1];
	bool ok = factory_flash_prepare(argv[2]) && make_flash() && make_boot_files() && make_service_files() &&
		  link_applets();
	factory_flash_release();
	return ok ? 0 : 1;
}
