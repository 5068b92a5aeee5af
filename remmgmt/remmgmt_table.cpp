#include "remmgmt/remmgmt_cmds.h"

const sys_cmd_entry remmgmt_cmd_table[] = {
	SYS_CMD_END,
};

int remmgmt_cmd(int argc, char *argv[], void *ctx)
{
	return subcmd(remmgmt_cmd_table, argc, argv, ctx);
}
