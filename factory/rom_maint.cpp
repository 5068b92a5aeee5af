// ROM maintenance: the block-0 write permission (atbt), ROM-D clearing,
// storing and reporting (erase, copy, romd), and both romfile copies
// (rominfo).
#include "factory/factory_cmds.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <unistd.h>

#include "factory/factory_common.h"
#include "lib/safe_file.h"
#include "romfile/romd.h"
#include "romfile/romfile.h"
#include "shell_cmd.h"
#include "tcdbg.h"

namespace {

constexpr size_t COPY_CMD_SIZE = 64;
constexpr const char UPLOADED_CONFIG[] = "/var/tmp/up_romfile.cfg";

// The upgrade service stores an uploaded file of type 3 as ROM-D; it is
// driven through the store's command-line client, as the web interface does.
const char *const rom_to_romd_cmds[] = {
	"/userfs/bin/tcapi set WebCurSet_Entry UploadFileType 3",
	"/userfs/bin/tcapi set WebCurSet_Entry UploadReboot 0",
	"/userfs/bin/tcapi set System_Entry upgrade_fw 1",
	"/userfs/bin/tcapi commit System_Entry",
};

// True when argv holds WORD at position I (each word compared exactly).
bool word_is(int argc, char *argv[], int i, const char *word)
{
	return i < argc && strcmp(argv[i], word) == 0;
}

// After the erase no container header is left, so a checksum of 0 is the
// sign that ROM-D is gone.
int erase_romd()
{
	run_system_cmd("/userfs/bin/mtd -f erase romd");
	printf(nox_getRomdChksum() == 0 ? "Clear ROM-D success.\n" : "Clear ROM-D fail!\n");
	print_ok();
	return 0;
}

// cp follows a link at its destination, waits on a FIFO and copies into a
// directory; in the world-writable /var/tmp any of these may stand there. A
// fresh empty file of this process's own, made first, is all cp can meet (in
// the sticky /var/tmp no one else may remove it). Where none can be made (a
// directory is in the way) the copy is left out, and the upgrade service
// finds no configuration file to store.
bool make_upload_destination()
{
	int fd = safe_create(UPLOADED_CONFIG);
	if (fd < 0)
		return false;
	close(fd);
	return true;
}

int copy_running_config_to_romd()
{
	char cmd[COPY_CMD_SIZE];
	memset(cmd, 0, sizeof cmd);
	snprintf(cmd, sizeof cmd, "/bin/cp /tmp/var/romfile.cfg %s", UPLOADED_CONFIG);
	if (make_upload_destination())
		run_system_cmd(cmd);
	for (const char *line : rom_to_romd_cmds)
		run_system_cmd(line);
	print_ok();
	return 0;
}

int show_romd_crc()
{
	uint32_t sum = nox_getRomdChksum();
	if (sum == 0)
		printf("No ROM-D information.\n");
	else
		printf("ROM-D     Checksum   : %08x\r\n", sum);
	print_ok();
	return 0;
}

int show_romd_xml()
{
	if (!nox_dumpRomdContent()) {
		printf("Error dump ROM-D!\n");
		print_error();
		return -1;
	}
	print_ok();
	return 0;
}

bool print_copy(romfile_readings *readings, const char *partition, const char *failure, int number)
{
	romfile_sums sums;
	if (!romfile_copy_sums(readings, partition, &sums)) {
		tcdbg_printf("%s", failure);
		return false;
	}
	tcdbg_printf("Romfile %d version : 0x%x,  checksum : 0x%x.\n\r", number, sums.version, sums.stored);
	return true;
}

} // namespace

int atbt_cmd(int argc, char *argv[], void *)
{
	if (argc > 2) {
		print_error();
		return -1;
	}
	unsigned char allow = argc == 2 && decimal_int(argv[1]) == 1 ? 1 : 0;
	// The marker follows even a failed write, after that routine's own.
	set_block0_permission(allow);
	print_ok();
	return 0;
}

// erase romd | copy romt romd | romd show crc|xml; words after these are
// ignored, anything else is refused.
int rom_maint_cmd(int argc, char *argv[], void *)
{
	if (word_is(argc, argv, 0, "erase")) {
		if (word_is(argc, argv, 1, "romd"))
			return erase_romd();
	} else if (word_is(argc, argv, 0, "copy")) {
		if (word_is(argc, argv, 1, "romt") && word_is(argc, argv, 2, "romd"))
			return copy_running_config_to_romd();
	} else if (word_is(argc, argv, 0, "romd")) {
		if (word_is(argc, argv, 1, "show")) {
			if (word_is(argc, argv, 2, "crc"))
				return show_romd_crc();
			if (word_is(argc, argv, 2, "xml"))
				return show_romd_xml();
		}
	}
	print_error();
	return -1;
}

// The service console shows which copy the unit boots from.
int rominfo_cmd(int, char *[], void *)
{
	tcdbg_printf("\r\n===== Double Romfile Message =====\r\n");
	// One reading of each copy serves both lines and the choice.
	romfile_readings readings = {};
	int rc = -1;
	if (print_copy(&readings, "romfile", "get first romfile error \n", 1) &&
	    print_copy(&readings, "second_romfile", "get second romfile error \n", 2)) {
		tcdbg_printf("Current using romfile %d\r\n", romfile_read_index(&readings));
		rc = 1;
	}
	romfile_readings_free(&readings);
	return rc;
}
