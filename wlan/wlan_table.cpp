#include "wlan/wlan_cmds.h"

const sys_cmd_entry wlan_cmd_table[] = {
	SYS_CMD_END,
};

int wlan_cmd(int argc, char *argv[], void *ctx)
{
	return subcmd(wlan_cmd_table, argc, argv, ctx);
}
