// romtool: reads, checks, compares and edits configuration backups on a
// workstation with the gateway's own container, checksum and store readers,
// so its verdict on a backup is the gateway's. The commands and their
// arguments are in USAGE and in romtool(1).
//
// Nothing is written except OUT, and OUT only whole: the image is written
// to a new file beside it and renamed over it, never through a link.
// Standard output holds only the requested text, value, figures or
// differences; refusals are one line on standard error.
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include "backup.h"
#include "config_diff.h"
#include "lib/safe_file.h"
#include "romfile/container.h"
#include "romfile/image_builder.h"
#include "romfile/romfile.h"
#include "store_text.h"

namespace {

constexpr char VERSION_TEXT[] = "romtool 2.0\n";
// Larger inputs are no romfile image or text of any gateway.
constexpr size_t MAX_INPUT = 16u << 20;

const char USAGE[] =
	"usage: romtool check IMAGE [OTHER-COPY]\n"
	"       romtool info IMAGE\n"
	"       romtool decode [--recover] IMAGE\n"
	"       romtool encode TEXT-FILE OUT (--version N | --replaces IMAGE...)\n"
	"       romtool diff A B\n"
	"       romtool get IMAGE NODE ATTR\n"
	"       romtool set IMAGE NODE ATTR VALUE OUT [--version N]\n"
	"       romtool --help | --version\n"
	"IMAGE, A and B are partition images, bare containers or ROMFILE texts.\n";

// Exit statuses: 1 refused, 2 usage (and trouble, for diff).
constexpr int REFUSED = 1;
constexpr int USAGE_ERROR = 2;

int fail(const char *what, const std::string &why)
{
	fprintf(stderr, "romtool: %s: %s\n", what, why.c_str());
	return REFUSED;
}

int usage()
{
	fputs(USAGE, stderr);
	return USAGE_ERROR;
}

// The kernel's MTD character devices: a partition read on the gateway
// itself, however large the kernel says it is (st_size is 0 for a device).
constexpr unsigned MTD_CHAR_MAJOR = 90;

bool is_mtd_partition(const struct stat &st)
{
	return S_ISCHR(st.st_mode) && major(st.st_rdev) == MTD_CHAR_MAJOR;
}

// A partition's size as its device tells it, within what the tool reads.
size_t partition_size(int fd)
{
	off_t end = lseek(fd, 0, SEEK_END);
	lseek(fd, 0, SEEK_SET);
	return end > 0 ? std::min(static_cast<size_t>(end), MAX_INPUT) : 0;
}

// A FIFO, any other device or a directory is refused before anything is
// read from it, so no input can block the tool.
bool read_input(const char *path, std::string *data, std::string *why)
{
	int fd = open(path, O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
	if (fd < 0) {
		*why = strerror(errno);
		return false;
	}
	struct stat st;
	bool ok = fstat(fd, &st) == 0;
	if (!ok)
		*why = strerror(errno);
	else if (S_ISDIR(st.st_mode))
		*why = "is a directory", ok = false;
	else if (!S_ISREG(st.st_mode) && !is_mtd_partition(st))
		*why = "is not a regular file", ok = false;
	else if (static_cast<uint64_t>(st.st_size) > MAX_INPUT)
		*why = "file too large for a romfile image", ok = false;
	if (ok) {
		data->resize(S_ISREG(st.st_mode) ? static_cast<size_t>(st.st_size) : partition_size(fd));
		size_t got = 0;
		ssize_t n = 1;
		while (got < data->size() && (n = read(fd, &(*data)[got], data->size() - got)) != 0) {
			if (n < 0 && errno == EINTR)
				continue;
			if (n < 0)
				break;
			got += static_cast<size_t>(n);
		}
		data->resize(got);
		if (n < 0)
			*why = "read error", ok = false;
	}
	close(fd);
	return ok;
}

// Reads and judges PATH; false after printing why it cannot be read.
bool load_backup(const char *path, backup *b)
{
	std::string data, why;
	if (!read_input(path, &data, &why)) {
		fail(path, why);
		return false;
	}
	backup_load(data.data(), data.size(), b);
	return true;
}

// A backup that loads, or false after its refusal; a missing trailer is
// fine here.
bool load_good_backup(const char *path, backup *b)
{
	if (!load_backup(path, b))
		return false;
	if (b->fault == BACKUP_OK)
		return true;
	fail(path, b->reason);
	return false;
}

// Replaces OUT with DATA whole. A link, FIFO, device or directory at OUT is
// refused: the image goes to a new file beside OUT, renamed over it.
bool write_output(const char *path, const std::string &data, std::string *why)
{
	struct stat st;
	if (lstat(path, &st) == 0 && !S_ISREG(st.st_mode)) {
		*why = S_ISLNK(st.st_mode)  ? "is a symbolic link; not written through"
		       : S_ISDIR(st.st_mode) ? "is a directory"
					     : "is not a regular file";
		return false;
	}
	std::string temp = std::string(path) + ".XXXXXX";
	int fd = safe_create_unique(&temp[0], 0644);
	if (fd < 0) {
		*why = strerror(errno);
		return false;
	}
	bool ok = fchmod(fd, 0644) == 0 && write_all(fd, data.data(), data.size());
	ok = close(fd) == 0 && ok;
	if (ok && rename(temp.c_str(), path) != 0)
		ok = false;
	if (!ok) {
		*why = strerror(errno);
		unlink(temp.c_str());
	}
	return ok;
}

bool parse_version(const char *text, uint32_t *version)
{
	if (!*text || *text == '-' || *text == '+')
		return false;
	errno = 0;
	char *end;
	unsigned long long v = strtoull(text, &end, 0);
	if (errno || *end || v > 0xFFFFFFFFull)
		return false;
	*version = static_cast<uint32_t>(v);
	return true;
}

int refuse_last_version(const char *what)
{
	return fail(what, "version 4294967295 would make every later save lose to this copy at boot");
}

// The partition image of TEXT with VERSION into *IMAGE; false after a
// refusal naming WHAT.
bool build_image(const char *what, const std::string &text, uint32_t version, std::string *image)
{
	image->assign(ROMFILE_SIZE, '\xff');
	size_t container_len = 0;
	romfile_build_result built = romfile_build_image(
		text.data(), text.size(), version, reinterpret_cast<unsigned char *>(&(*image)[0]), &container_len);
	switch (built) {
	case ROMFILE_BUILT:
		return true;
	case ROMFILE_BUILD_NO_TEXT:
		fail(what, "no <ROMFILE>...</ROMFILE> text");
		return false;
	case ROMFILE_BUILD_NOT_ENCODED:
		fail(what, "cannot be compressed");
		return false;
	case ROMFILE_BUILD_TOO_LARGE: {
		char why[96];
		snprintf(why, sizeof why, "compressed to %zu bytes, more than the %zu a partition holds",
			 container_len, ROMFILE_CHECKSUM_OFFSET);
		fail(what, why);
		return false;
	}
	case ROMFILE_BUILD_NOT_DECODABLE:
		fail(what, "container does not decode back to the text");
		return false;
	}
	return false;
}

// check -------------------------------------------------------------------

// The gateway loads the copy with the higher version when both are valid.
std::string version_verdict(const backup &b, const char *other_path, const backup &other)
{
	bool other_valid = other.has_trailer && other.fault == BACKUP_OK;
	if (!other_valid || b.version > other.version)
		return std::string();
	char why[160];
	snprintf(why, sizeof why, "version: %u is not above the %u of %s, which the gateway would load instead",
		 b.version, other.version, other_path);
	return why;
}

int cmd_check(int argc, char **argv)
{
	if (argc < 1 || argc > 2)
		return usage();
	backup b;
	if (!load_backup(argv[0], &b))
		return USAGE_ERROR;
	std::string why = b.reason;
	if (why.empty() && !b.has_trailer)
		why = b.kind == BACKUP_IMAGE ? "no trailer: erased, as ROM-D keeps it; not a romfile copy"
		      : b.is_container       ? "no trailer: a bare container, not a partition image"
					     : "no trailer: ROMFILE text, not a partition image";
	if (why.empty() && argc == 2) {
		backup other;
		if (!load_backup(argv[1], &other))
			return USAGE_ERROR;
		why = version_verdict(b, argv[1], other);
	}
	if (!why.empty()) {
		printf("%s: the gateway would not load it: %s\n", argv[0], why.c_str());
		return REFUSED;
	}
	printf("%s: the gateway would load it (version %u, checksum 0x%08X)\n", argv[0], b.version, b.stored);
	return 0;
}

// info and decode ---------------------------------------------------------

int cmd_info(int argc, char **argv)
{
	if (argc != 1)
		return usage();
	backup b;
	if (!load_good_backup(argv[0], &b))
		return REFUSED;
	if (b.is_container) {
		printf("container length: %d\n", b.container_len);
		printf("chunks: %u\n", b.chunks);
	} else {
		printf("container length: none (plain text)\n");
		printf("chunks: 0\n");
	}
	if (b.has_trailer)
		printf("stored checksum: 0x%08X\n", b.stored);
	else
		printf("stored checksum: none (no trailer)\n");
	printf("computed checksum: 0x%08X\n", b.computed);
	if (b.has_trailer)
		printf("version: %u\n", b.version);
	else
		printf("version: none (no trailer)\n");
	return 0;
}

int cmd_decode(int argc, char **argv)
{
	bool recover = argc == 2 && strcmp(argv[0], "--recover") == 0;
	if (argc != 1 && !recover)
		return usage();
	const char *path = argv[argc - 1];
	backup b;
	if (!load_backup(path, &b))
		return REFUSED;
	if (b.fault == BACKUP_OK || recover)
		fwrite(b.text.data(), 1, b.text.size(), stdout);
	if (b.fault != BACKUP_OK)
		return fail(path, b.reason);
	return 0;
}

// encode ------------------------------------------------------------------

// The version for an image replacing the copies at PATHS: one more than the
// highest of those that hold a configuration, 1 when none does.
bool version_after(char **paths, int count, uint32_t *version)
{
	uint32_t highest = 0;
	bool any = false;
	for (int i = 0; i < count; i++) {
		backup b;
		if (!load_backup(paths[i], &b))
			return false;
		if (b.fault == BACKUP_ERASED)
			continue;
		if (!b.has_trailer) {
			fail(paths[i], "no trailer: name the partition image it replaces");
			return false;
		}
		highest = any ? std::max(highest, b.version) : b.version;
		any = true;
	}
	*version = any ? highest + 1 : 1;
	return true;
}

// Text the store would refuse, refused with its reason.
bool text_loads(const char *path, const std::string &text)
{
	backup b;
	backup_load(text.data(), text.size(), &b);
	if (b.fault != BACKUP_OK && b.fault != BACKUP_WRONG_MAGIC && b.fault != BACKUP_EMPTY)
		return fail(path, b.reason), false;
	if (b.fault != BACKUP_OK || b.kind != BACKUP_TEXT)
		return fail(path, "no <ROMFILE>...</ROMFILE> text"), false;
	return true;
}

int cmd_encode(int argc, char **argv)
{
	if (argc < 4)
		return usage();
	const char *text_path = argv[0], *out_path = argv[1];
	uint32_t version = 0;
	if (strcmp(argv[2], "--version") == 0) {
		if (argc != 4)
			return usage();
		if (!parse_version(argv[3], &version))
			return fail(argv[3], "version must be a number from 0 to 4294967295");
	} else if (strcmp(argv[2], "--replaces") == 0) {
		if (!version_after(argv + 3, argc - 3, &version))
			return REFUSED;
	} else {
		return usage();
	}
	if (version == BACKUP_LAST_VERSION || (version == 0 && strcmp(argv[2], "--replaces") == 0))
		return refuse_last_version(out_path);
	std::string text, why, image;
	if (!read_input(text_path, &text, &why))
		return fail(text_path, why);
	if (!text_loads(text_path, text) || !build_image(text_path, text, version, &image))
		return REFUSED;
	if (!write_output(out_path, image, &why))
		return fail(out_path, why);
	return 0;
}

// diff --------------------------------------------------------------------

constexpr int DIFF_SAME = 0, DIFF_DIFFERENT = 1, DIFF_TROUBLE = 2;

int cmd_diff(int argc, char **argv)
{
	if (argc != 2)
		return usage();
	backup a, b;
	if (!load_good_backup(argv[0], &a) || !load_good_backup(argv[1], &b))
		return DIFF_TROUBLE;
	return config_diff(a.tree, b.tree, stdout) ? DIFF_DIFFERENT : DIFF_SAME;
}

// get and set -------------------------------------------------------------

int cmd_get(int argc, char **argv)
{
	if (argc != 3)
		return usage();
	backup b;
	if (!load_good_backup(argv[0], &b))
		return REFUSED;
	mxml_node_t *node = store_text_node(b.tree, argv[1], false);
	const char *value = node && store_text_attr_name_ok(argv[2]) ? mxmlElementGetAttr(node, argv[2]) : nullptr;
	if (!value)
		return fail(argv[0], std::string("no attribute ") + argv[2] + " in node " + argv[1]);
	fputs(value, stdout);
	fputc('\n', stdout);
	return 0;
}

// The edited configuration in the input's own form: an image stamped with
// VERSION, a bare container, or the text.
bool edited_output(const char *what, const backup &b, const std::string &text, uint32_t version,
		   std::string *out)
{
	if (b.kind == BACKUP_IMAGE)
		return build_image(what, text, version, out);
	if (b.kind == BACKUP_TEXT) {
		*out = text;
		return true;
	}
	size_t len = 0;
	unsigned char *container = romfile_build_container(text.data(), text.size(), &len);
	if (!container)
		return fail(what, "cannot be compressed"), false;
	out->assign(reinterpret_cast<char *>(container), len);
	free(container);
	return true;
}

// An image from set replaces the one it was read from, so it gets the next
// version unless the engineer states another.
int cmd_set(int argc, char **argv)
{
	if (argc != 5 && !(argc == 7 && strcmp(argv[5], "--version") == 0))
		return usage();
	const char *path = argv[0], *node_name = argv[1], *attr = argv[2], *value = argv[3], *out_path = argv[4];
	backup b;
	if (!load_good_backup(path, &b))
		return REFUSED;
	uint32_t version = b.version + 1;
	if (argc == 7 && !parse_version(argv[6], &version))
		return fail(argv[6], "version must be a number from 0 to 4294967295");
	if (b.kind == BACKUP_IMAGE && version == BACKUP_LAST_VERSION)
		return refuse_last_version(out_path);
	std::string text, why, out;
	if (!backup_set_value(&b, node_name, attr, value, &text, &why))
		return fail(path, why);
	if (!edited_output(path, b, text, version, &out))
		return REFUSED;
	if (!write_output(out_path, out, &why))
		return fail(out_path, why);
	return 0;
}

struct command {
	const char *name;
	int (*run)(int argc, char **argv);
};

const command COMMANDS[] = {
	{"check", cmd_check}, {"info", cmd_info}, {"decode", cmd_decode}, {"encode", cmd_encode},
	{"diff", cmd_diff},   {"get", cmd_get},   {"set", cmd_set},
};

} // namespace

int main(int argc, char **argv)
{
	if (argc == 2 && strcmp(argv[1], "--help") == 0) {
		fputs(USAGE, stdout);
		return 0;
	}
	if (argc == 2 && strcmp(argv[1], "--version") == 0) {
		fputs(VERSION_TEXT, stdout);
		return 0;
	}
	for (const command &c : COMMANDS) {
		if (argc >= 2 && strcmp(argv[1], c.name) == 0)
			return c.run(argc - 2, argv + 2);
	}
	return usage();
}
