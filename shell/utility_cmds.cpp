#include "shell/utility_cmds.h"

#include <cctype>
#include <cstdio>
#include <cstring>

#include "flash/fwtag.h"
#include "lib/console_ctrl.h"
#include "shell/dispatch.h"
#include "shell/store.h"
#include "shell/sys_table.h"
#include "shell_cmd.h"
#include "tcapi.h"

namespace {

constexpr size_t CONSOLE_LINE_SIZE = 80;

struct StoreAttr {
	const char *node;
	const char *attr;
};

const StoreAttr debuginfo_attrs[] = {
	{ "WebCurSet_Entry", "wan_pvc" },
	{ "WebCurSet_Entry", "nat_pvc" },
	{ "WebCurSet_Entry", "diag_pvc" },
	{ "WebCurSet_Entry", "dev_pvc" },
	{ "WebCurSet_Entry", "wan_pvc_ext" },
	{ "WebCurSet_Entry", "nat_pvc_ext" },
	{ "WebCurSet_Entry", "dev_pvc_ext" },
	{ "WebCurSet_Entry", "diag_pvc_ext" },
	{ nullptr, nullptr },
};

constexpr const char TIMEZONE_NODE[] = "Timezone_Entry";
constexpr size_t NTP_SERVER_SIZE = 65;

struct TimeServerSlot {
	const char *word;
	const char *attr;
};

const TimeServerSlot time_server_slots[] = {
	{ "address", "SERVER" },
	{ "address1", "SERVER1" },
	{ "address2", "SERVER2" },
	{ "address3", "SERVER3" },
};

constexpr const char TFTP_ACL_NODE[] = "ACL_Entry9";

// Appends " word" while it fits; the line is cut at the buffer's end.
void append_word(char *line, size_t size, const char *word)
{
	size_t used = strlen(line);
	snprintf(line + used, size - used, " %s", word);
}

} // namespace

// The word is passed on as typed (`sys memw ...` writes "sys memw ..."), not
// the table's full name: the kernel console matches abbreviations itself.
int console_forward_cmd(int argc, char *argv[], void *)
{
	char line[CONSOLE_LINE_SIZE];
	snprintf(line, sizeof line, "sys");
	for (int i = 0; i < argc; i++)
		append_word(line, sizeof line, argv[i]);
	int closed = 0;
	if (!console_ctrl_write(line, &closed))
		return 0;
	return closed;
}

int realversion_cmd(int, char *[], void *)
{
	FwTag tag;
	if (!load_fw_tag(&tag))
		return 0;
	printf("\nInternal Version       : %s\n", tag.internalVersion);
	return 0;
}

// The buffer is cleared once only: a failed read shows the row before's value.
int debuginfo_cmd(int, char *[], void *)
{
	char value[100];
	memset(value, 0, sizeof value);
	for (const StoreAttr *row = debuginfo_attrs; row->node; row++) {
		store_get(row->node, row->attr, value, sizeof value);
		printf("%s:%s\n", row->attr, value);
	}
	return 0;
}

int times_cmd(int argc, char *argv[], void *ctx)
{
	return sys_dispatch(times_cmd_table, argc, argv, ctx);
}

// An abbreviated word (`sys times addr x`) reaches this handler but equals
// none of the four words: nothing is set, yet the commit and save still run.
int times_address_cmd(int argc, char *argv[], void *)
{
	char server[NTP_SERVER_SIZE];
	memset(server, 0, sizeof server);
	if (argc == 2) {
		snprintf(server, sizeof server, "%s", argv[1]);
		for (const TimeServerSlot &slot : time_server_slots) {
			if (strcmp(argv[0], slot.word) == 0) {
				tcapi_set(TIMEZONE_NODE, slot.attr, server);
				break;
			}
		}
		tcapi_commit(TIMEZONE_NODE);
		tcapi_save();
	} else {
		printf("Usage: sys times [address|address1|address2|address3] <NTP server>\n");
	}
	for (const TimeServerSlot &slot : time_server_slots) {
		memset(server, 0, sizeof server);
		store_get(TIMEZONE_NODE, slot.attr, server, sizeof server);
		printf("Current %s: %s\n", slot.word, server);
	}
	return 0;
}

int tftpd_cmd(int argc, char *argv[], void *)
{
	if (argc != 2) {
		printf("Usage: sys tftpd [on|off]\n");
		return 0;
	}
	for (char *p = argv[1]; *p; p++)
		*p = char(toupper(static_cast<unsigned char>(*p)));
	if (strcmp(argv[1], "ON") == 0)
		tcapi_set(TFTP_ACL_NODE, "Activate", "Yes");
	else if (strcmp(argv[1], "OFF") == 0)
		tcapi_set(TFTP_ACL_NODE, "Activate", "No");
	else
		return 0;
	tcapi_set(TFTP_ACL_NODE, "Application", "TFTPD");
	tcapi_save();
	tcapi_commit(TFTP_ACL_NODE);
	return 0;
}

int writeclbtoflash_cmd(int, char *[], void *)
{
	char cmd[128];
	snprintf(cmd, sizeof cmd, "/userfs/bin/mtd writeflash %s %lu %lu %s",
		 "/etc/RT30xxEEPROM.bin", 512UL, 0UL, "reservearea");
	run_system_cmd(cmd);
	return 0;
}
