#include "wan/wan_cmds.h"

const sys_cmd_entry wan_cmd_table[] = {
	SYS_CMD_END,
};

int wan_cmd(int argc, char *argv[], void *ctx)
{
	return subcmd(wan_cmd_table, argc, argv, ctx);
}
