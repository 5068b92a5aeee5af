// gwsim-mkroot DIR DEFAULT-CONFIG SYS BUILD BUSYBOX: lays out a fresh gateway
// in DIR (an empty directory) as the factory leaves it: its directories, its
// programs (SYS, the tools and platform libraries of the build directory
// BUILD, BUSYBOX and its applets), its flash built from the default
// configuration DEFAULT-CONFIG, the configuration it boots with, and the
// files its services leave. Run by root, it gives everything to nobody.
//
// gwsim-mkroot --factory-flash OUT DEFAULT-CONFIG: the flash images alone,
// made once per build in OUT (BUILD/sim/factory-flash); a gateway copies them
// while they were made from the same configuration text, since building the
// firmware images is most of the work of a fresh gateway.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <ftw.h>
#include <linux/fs.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lib/byteorder.h"
#include "config_image.h"
#include "factory_flash.h"
#include "flash/mrd.h"
#include "gateway_identity.h"
#include "gateway_paths.h"
#include "romfile/romfile.h"
#include "sim_store.h"

extern char **environ;

namespace {

struct PartitionLayout {
	const char *name;
	uint32_t size;
};

constexpr uint32_t ERASE_SIZE = 0x10000;
constexpr size_t PARTITION_MAX = 0x200000;

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
constexpr size_t PARTITION_COUNT = sizeof PARTITIONS / sizeof PARTITIONS[0];
// The partitions' files inside a gateway.
constexpr char GW_DEV_PREFIX[] = "dev/";
// Where each romfile copy lies, by index in PARTITIONS.
constexpr size_t ROMFILE_PARTITION[2] = {1, 5};

// The gateway's directories, in the order they are made: DIR/.gwsim first,
// whose identity tells this gateway from one made before it in its place.
constexpr const char *DIRECTORIES[] = {
	".gwsim", ".gwsim/kproc", ".gwsim/proclinks", ".gwsim/procwork", "bin", "sbin", "usr", "usr/bin",
	"usr/sbin", "usr/lib", "usr/lib64", "dev", "etc", "tmp", "tmp/var", "var", "var/tmp", "var/log",
	"var/run", "userfs", "userfs/bin", "userfs/lib", "proc", "proc/tc3162", "proc/ra0",
};
// Everyone may make files there, only their owner remove them.
constexpr const char *SHARED_DIRECTORIES[] = {"tmp", "var/tmp"};
// Device nodes the gateway's programs open, as plain files; the logs.
constexpr const char *EMPTY_FILES[] = {
	"dev/null",	 "dev/zero", "dev/urandom", "dev/random", "dev/tty",
	GW_SHELL_LOG + 1, GW_TCAPI_LOG + 1, GW_REBOOT_LOG + 1, GW_CONSOLE_LOG + 1, GW_FLASH_LOG + 1,
};

// The build's programs and where the gateway carries them; an optional one
// is left out when the build has none.
struct BuiltProgram {
	const char *built;
	const char *inside;
	bool optional;
};
constexpr BuiltProgram BUILT_PROGRAMS[] = {
	{"vendor-sdk/lib/libtcapi.so", "userfs/lib/libtcapi.so", false},
	{"vendor-sdk/lib/libutility.so", "userfs/lib/libutility.so", false},
	// The simulated kernel's drivers, which every dynamic program preloads.
	{"sim/libgwkernel.so", ".gwsim/libgwkernel.so", false},
	{"sim/ld.so.preload", "etc/ld.so.preload", false},
	{"sim/gwsim-cfgd", "userfs/bin/cfgd", false},
	{"sim/gwsim-tcapi", "userfs/bin/tcapi", false},
	{"sim/gwsim-mtd", "userfs/bin/mtd", false},
	{"sim/gwsim-cfgwriter", "userfs/bin/cfgwriter", false},
	{"sim/gwsim-sh", "bin/sh", false},
	{"sim/gwsim-reboot", "sbin/reboot", false},
	// The support engineers' romfile tool.
	{"tools/romtool/romtool", "userfs/bin/romtool", true},
};

// Applets the gateway provides itself or must never run against the host.
constexpr const char *OWN_APPLETS[] = {"sh", "reboot", "halt", "poweroff"};

// What a gateway owned by root would hand its root: the workstation's root.
constexpr uid_t GATEWAY_OWNER = 65534;
constexpr gid_t GATEWAY_GROUP = 65534;

const char *root_dir;
int root_fd = -1;

bool fail(const char *what, const char *path)
{
	fprintf(stderr, "gwsim: %s %s/%s: %s\n", what, root_dir, path, strerror(errno));
	return false;
}

bool write_file(const char *path, const void *data, size_t len)
{
	int fd = openat(root_fd, path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0644);
	if (fd < 0)
		return fail("cannot create", path);
	bool ok = write(fd, data, len) == static_cast<ssize_t>(len);
	close(fd);
	return ok || fail("cannot write", path);
}

bool write_text(const char *path, const char *text)
{
	return write_file(path, text, strlen(text));
}

bool read_exactly(int fd, void *buf, size_t len)
{
	return read(fd, buf, len) == static_cast<ssize_t>(len);
}

// FROM's bytes into OUT: shared blocks where the file system can clone
// them, else a copy in the kernel, else through a buffer (file systems the
// kernel does not copy between).
bool copy_bytes(int in, int out, off_t size)
{
	if (ioctl(out, FICLONE, in) == 0)
		return true;
	off_t done = 0;
	while (done < size) {
		ssize_t n = copy_file_range(in, nullptr, out, nullptr, static_cast<size_t>(size - done), 0);
		if (n <= 0)
			break;
		done += n;
	}
	char buf[65536];
	while (done < size) {
		size_t want = size - done < static_cast<off_t>(sizeof buf) ? static_cast<size_t>(size - done) : sizeof buf;
		ssize_t n = pread(in, buf, want, done);
		if (n <= 0 || pwrite(out, buf, static_cast<size_t>(n), done) != n)
			return false;
		done += n;
	}
	return true;
}

// Copies FROM to the new file TO with FROM's permissions, as cp makes it.
bool copy_in(int from_dir, const char *from, const char *to)
{
	int in = openat(from_dir, from, O_RDONLY | O_CLOEXEC);
	struct stat st;
	if (in < 0 || fstat(in, &st) < 0) {
		fprintf(stderr, "gwsim: cannot read %s: %s\n", from, strerror(errno));
		if (in >= 0)
			close(in);
		return false;
	}
	int out = openat(root_fd, to, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, st.st_mode & 07777);
	bool ok = out >= 0 && copy_bytes(in, out, st.st_size);
	close(in);
	if (out >= 0)
		close(out);
	return ok || fail("cannot copy into", to);
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

// A partition's file: PREFIX "mtd" and its number.
void partition_file(const char *prefix, size_t index, char *path, size_t size)
{
	snprintf(path, size, "%smtd%zu", prefix, index);
}

// Builds every partition's factory contents from the default configuration
// into files under root_fd, each PREFIX "mtdN".
bool build_flash(const char *default_config, const char *prefix)
{
	static_assert(MRD_OFFSET + MRD_SIZE <= GW_BOOT_INFO_OFFSET, "record overlaps boot information");
	unsigned char *erased = static_cast<unsigned char *>(malloc(PARTITION_MAX));
	bool ok = erased && factory_flash_prepare(default_config);
	for (size_t i = 0; ok && i < PARTITION_COUNT; i++) {
		const PartitionLayout &p = PARTITIONS[i];
		memset(erased, 0xFF, p.size);
		if (i == 0)
			fill_boot_block(erased);
		char file[32];
		partition_file(prefix, i, file, sizeof file);
		ok = factory_fill_partition(p.name, erased, p.size) && write_file(file, erased, p.size);
	}
	free(erased);
	factory_flash_release();
	return ok;
}

// The text FILE holds, NUL-terminated, or nullptr.
char *read_whole(int dir, const char *file, size_t *len)
{
	int fd = openat(dir, file, O_RDONLY | O_CLOEXEC);
	struct stat st;
	char *text = nullptr;
	if (fd >= 0 && fstat(fd, &st) == 0 && st.st_size >= 0 && st.st_size <= (1 << 20)) {
		*len = static_cast<size_t>(st.st_size);
		text = static_cast<char *>(malloc(*len + 1));
		if (text && !read_exactly(fd, text, *len)) {
			free(text);
			text = nullptr;
		}
		if (text)
			text[*len] = '\0';
	}
	if (fd >= 0)
		close(fd);
	return text;
}

// The flash images made once for this build, when they were made from the
// configuration text the caller asks for: their directory, else -1.
constexpr const char FACTORY_FLASH_DIR[] = "sim/factory-flash";
constexpr const char FACTORY_FLASH_SOURCE[] = "factory-default.cfg";

int open_factory_flash(const char *build, const char *default_config)
{
	char dir[4096];
	snprintf(dir, sizeof dir, "%s/%s", build, FACTORY_FLASH_DIR);
	int fd = open(dir, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	if (fd < 0)
		return -1;
	size_t made_len = 0, asked_len = 0;
	char *made = read_whole(fd, FACTORY_FLASH_SOURCE, &made_len);
	char *asked = read_whole(AT_FDCWD, default_config, &asked_len);
	bool same = made && asked && made_len == asked_len && memcmp(made, asked, made_len) == 0;
	free(made);
	free(asked);
	if (!same) {
		close(fd);
		return -1;
	}
	return fd;
}

// Flash as the factory leaves it: the build's images where they fit the
// configuration, else built here; the partition list; the console control.
bool make_flash(const char *build, const char *default_config)
{
	int made = open_factory_flash(build, default_config);
	bool ok = true;
	for (size_t i = 0; made >= 0 && ok && i < PARTITION_COUNT; i++) {
		char made_file[32], dev[32];
		partition_file("", i, made_file, sizeof made_file);
		partition_file(GW_DEV_PREFIX, i, dev, sizeof dev);
		ok = copy_in(made, made_file, dev);
	}
	if (made >= 0)
		close(made);
	else
		ok = build_flash(default_config, GW_DEV_PREFIX);
	char table[1024];
	int len = snprintf(table, sizeof table, "dev:    size   erasesize  name\n");
	for (size_t i = 0; i < PARTITION_COUNT; i++)
		len += snprintf(table + len, sizeof table - static_cast<size_t>(len), "mtd%zu: %08x %08x \"%s\"\n", i,
				PARTITIONS[i].size, ERASE_SIZE, PARTITIONS[i].name);
	// Paths inside the gateway, relative to its directory.
	return ok && write_file(GW_PROC_MTD + 1, table, static_cast<size_t>(len)) && write_file(GW_CONSOLE_CTRL + 1, "", 0);
}

// The raw romfile copies as the gateway's flash holds them now.
bool read_romfile_copies(unsigned char *copies[2])
{
	for (int i = 0; i < 2; i++) {
		char dev[32];
		partition_file(GW_DEV_PREFIX, ROMFILE_PARTITION[i], dev, sizeof dev);
		int fd = openat(root_fd, dev, O_RDONLY | O_CLOEXEC);
		bool ok = fd >= 0 && read_exactly(fd, copies[i], ROMFILE_SIZE);
		if (fd >= 0)
			close(fd);
		if (!ok)
			return fail("cannot read", dev);
	}
	return true;
}

// What the unit loads at boot: the running configuration from the copy the
// reader chooses, and the radio calibration its driver reads.
bool make_boot_files()
{
	unsigned char *copies[2] = {static_cast<unsigned char *>(malloc(ROMFILE_SIZE)),
				    static_cast<unsigned char *>(malloc(ROMFILE_SIZE))};
	int lock = copies[0] && copies[1] && read_romfile_copies(copies) ? sim_store_lock(root_dir) : -1;
	bool ok = lock >= 0 && config_boot_load(root_dir, copies[0], copies[1]) != ROMFILE_NONE;
	if (lock >= 0)
		close(lock);
	free(copies[0]);
	free(copies[1]);
	unsigned char calibration[RADIO_CALIBRATION_SIZE];
	factory_radio_calibration(calibration);
	return ok && write_file("etc/RT30xxEEPROM.bin", calibration, sizeof calibration);
}

// What the running unit's services leave behind: the DHCP servers' leases
// (two LAN hosts on IPv4, one on IPv6), the DNS forwarder's configuration,
// and the radio driver's calibration status (1 = calibrated).
bool make_service_files()
{
	return write_text("etc/udhcp_lease", GW_DHCP_LEASES) && write_text("var/run/dhcp6s.lease", GW_DHCP6_LEASES) &&
	       write_text("etc/dnsmasq.conf", GW_DNS_FORWARDER_CONF) && write_text("proc/ra0/calibration", "1\n");
}

// /lib and /lib64 as the workstation has them: links into /usr need no
// mount of their own at each run.
bool make_library_dirs()
{
	for (const char *lib : {"lib", "lib64"}) {
		char host[64], target[4096];
		snprintf(host, sizeof host, "/%s", lib);
		ssize_t len = readlink(host, target, sizeof target - 1);
		if (len >= 0) {
			target[len] = '\0';
			if (symlinkat(target, root_fd, lib) < 0)
				return fail("cannot link", lib);
		} else if (mkdirat(root_fd, lib, 0777) < 0) {
			return fail("cannot create", lib);
		}
	}
	return true;
}

bool make_directories()
{
	for (const char *dir : DIRECTORIES) {
		if (mkdirat(root_fd, dir, 0777) < 0)
			return fail("cannot create", dir);
	}
	for (const char *dir : SHARED_DIRECTORIES) {
		if (fchmodat(root_fd, dir, 01777, 0) < 0)
			return fail("cannot open up", dir);
	}
	for (const char *file : EMPTY_FILES) {
		int fd = openat(root_fd, file, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
		if (fd < 0)
			return fail("cannot create", file);
		close(fd);
	}
	return true;
}

bool copy_programs(const char *sys, const char *build, const char *busybox)
{
	int build_fd = open(build, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	if (build_fd < 0) {
		fprintf(stderr, "gwsim: cannot open %s: %s\n", build, strerror(errno));
		return false;
	}
	bool ok = copy_in(AT_FDCWD, sys, "userfs/bin/sys");
	for (const BuiltProgram &p : BUILT_PROGRAMS) {
		if (ok && !(p.optional && faccessat(build_fd, p.built, X_OK, 0) < 0))
			ok = copy_in(build_fd, p.built, p.inside);
	}
	close(build_fd);
	return ok && copy_in(AT_FDCWD, busybox, "bin/busybox");
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

// One applet's link to /bin/busybox: a second name of the FIRST applet's
// link where the file system allows, so a gateway's three hundred applets
// take one inode instead of three hundred (most of a fresh gateway's time
// went to allocating them).
bool link_applet(const char *path, char *first, size_t first_size)
{
	if (first[0] && linkat(root_fd, first, root_fd, path, 0) == 0)
		return true;
	if (symlinkat(GW_BUSYBOX, root_fd, path) < 0)
		return errno == EEXIST;
	if (!first[0])
		snprintf(first, first_size, "%s", path);
	return true;
}

// Links every applet BusyBox lists (`busybox --list-full`: relative paths
// such as "usr/bin/awk") to /bin/busybox, itself a copy.
bool link_applets(const char *busybox)
{
	int out[2];
	if (pipe2(out, O_CLOEXEC) < 0)
		return false;
	posix_spawn_file_actions_t actions;
	posix_spawn_file_actions_init(&actions);
	posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
	char *argv[] = {const_cast<char *>(busybox), const_cast<char *>("--list-full"), nullptr};
	pid_t pid;
	int spawned = posix_spawn(&pid, busybox, &actions, nullptr, argv, environ);
	posix_spawn_file_actions_destroy(&actions);
	close(out[1]);
	FILE *list = spawned == 0 ? fdopen(out[0], "r") : nullptr;
	if (!list) {
		close(out[0]);
		fprintf(stderr, "gwsim: cannot list the applets of %s\n", busybox);
		return false;
	}
	bool ok = true;
	char line[512], first[512] = "";
	while (ok && fgets(line, sizeof line, list)) {
		line[strcspn(line, "\n")] = '\0';
		if (!line[0] || line[0] == '/' || strstr(line, "..") || is_own_applet(line) ||
		    strcmp(line, "bin/busybox") == 0)
			continue;
		ok = link_applet(line, first, sizeof first) || fail("cannot link", line);
	}
	fclose(list);
	int status;
	ok = waitpid(pid, &status, 0) == pid && WIFEXITED(status) && WEXITSTATUS(status) == 0 && ok;
	return ok;
}

int give_entry(const char *path, const struct stat *, int, struct FTW *)
{
	return lchown(path, GATEWAY_OWNER, GATEWAY_GROUP) == 0 ? 0 : -1;
}

// When root makes a gateway it belongs to nobody: gwsim-exec runs a gateway
// as its owner, so the gateway's root holds no privilege on the workstation.
bool give_to_owner()
{
	if (geteuid() != 0)
		return true;
	if (nftw(root_dir, give_entry, 16, FTW_PHYS) == 0)
		return true;
	fprintf(stderr, "gwsim: cannot give %s to its owner\n", root_dir);
	return false;
}

bool open_root(const char *dir)
{
	root_dir = dir;
	root_fd = open(dir, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
	if (root_fd < 0)
		fprintf(stderr, "gwsim: cannot open %s: %s\n", dir, strerror(errno));
	return root_fd >= 0;
}

bool make_factory_flash(const char *out, const char *default_config)
{
	if (mkdir(out, 0777) < 0 && errno != EEXIST) {
		fprintf(stderr, "gwsim: cannot create %s: %s\n", out, strerror(errno));
		return false;
	}
	if (!open_root(out))
		return false;
	// The configuration goes last: it tells the images are complete.
	unlinkat(root_fd, FACTORY_FLASH_SOURCE, 0);
	return build_flash(default_config, "") && copy_in(AT_FDCWD, default_config, FACTORY_FLASH_SOURCE);
}

bool make_gateway(char *argv[])
{
	const char *default_config = argv[2], *sys = argv[3], *build = argv[4], *busybox = argv[5];
	return open_root(argv[1]) && make_library_dirs() && make_directories() && copy_programs(sys, build, busybox) &&
	       make_flash(build, default_config) && make_boot_files() && make_service_files() &&
	       link_applets(busybox) && give_to_owner();
}

} // namespace

int main(int argc, char *argv[])
{
	if (argc == 4 && strcmp(argv[1], "--factory-flash") == 0)
		return make_factory_flash(argv[2], argv[3]) ? 0 : 1;
	if (argc != 6) {
		fprintf(stderr, "usage: gwsim-mkroot DIR DEFAULT-CONFIG SYS BUILD BUSYBOX\n"
				"       gwsim-mkroot --factory-flash OUT DEFAULT-CONFIG\n");
		return 2;
	}
	return make_gateway(argv) ? 0 : 1;
}
