#include "remmgmt/remmgmt_cmds.h"

#include "remmgmt/remmgmt_handlers.h"

// Every row takes any number of words: each handler checks its own count.
const sys_cmd_entry remmgmt_cmd_table[] = {
	{ "appindex", remmgmt_appindex_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "showindex", remmgmt_showindex_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "active", remmgmt_active_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "port", remmgmt_port_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "interface", remmgmt_interface_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "iprange", remmgmt_iprange_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "ipbegin", remmgmt_ipbegin_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "ipend", remmgmt_ipend_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "save", remmgmt_save_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	SYS_CMD_END,
};

int remmgmt_cmd(int argc, char *argv[], void *ctx)
{
	return subcmd(remmgmt_cmd_table, argc, argv, ctx);
}
