#include "snmp/snmp_cmds.h"

const sys_cmd_entry snmp_cmd_table[] = {
	SYS_CMD_END,
};

int snmp_cmd(int argc, char *argv[], void *ctx)
{
	return subcmd(snmp_cmd_table, argc, argv, ctx);
}
