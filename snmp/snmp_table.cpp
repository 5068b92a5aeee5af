#include "snmp/snmp_cmds.h"

#include "snmp/snmp_handlers.h"

// Every row takes any number of words: each setter checks its own count.
// The row SNMPv3Acces is matched under that name (operators type it so);
// its usage line spells SNMPv3Access.
const sys_cmd_entry snmp_cmd_table[] = {
	{ "GetCommunity", snmp_get_community_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SetCommunity", snmp_set_community_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "TrapCommunity", snmp_trap_community_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "IPv4TrapDest", snmp_ipv4_trap_dest_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "IPv6TrapDest", snmp_ipv6_trap_dest_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SNMPv3Enable", snmp_v3_enable_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SNMPv3UserName", snmp_v3_user_name_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SNMPv3Acces", snmp_v3_access_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SNMPv3AuthPro", snmp_v3_auth_proto_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SNMPv3AuthPwd", snmp_v3_auth_passwd_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SNMPv3PrivPro", snmp_v3_priv_proto_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SNMPv3PrivPwd", snmp_v3_priv_passwd_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Display", snmp_display_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Save", snmp_save_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	SYS_CMD_END,
};

int snmp_cmd(int argc, char *argv[], void *ctx)
{
	return subcmd(snmp_cmd_table, argc, argv, ctx);
}
