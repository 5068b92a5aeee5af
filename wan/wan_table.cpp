#include "wan/wan_cmds.h"

#include "wan/wan_handlers.h"

// Every row takes any number of words: each handler checks its own count,
// after the selection gate where it has one.
const sys_cmd_entry wan_cmd_table[] = {
	{ "Index", wan_index_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "VirtualChannel", wan_virtual_channel_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Active", wan_active_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Name", wan_name_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Mode", wan_mode_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Encapsulation", wan_encapsulation_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "PPPUsername", wan_ppp_username_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "PPPPassword", wan_ppp_password_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "PPPServiceName", wan_ppp_service_name_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Multiplex", wan_multiplex_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "PPPAuthentication", wan_ppp_authentication_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "VPI", wan_vpi_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "VCI", wan_vci_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "VLANEnable", wan_vlan_enable_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "8021PPriority", wan_8021p_priority_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "8021QVLANID", wan_8021q_vlan_id_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "8021p", wan_8021p_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "DSCP", wan_dscp_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "DYNAMIC", wan_dynamic_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "StaticIP", wan_static_ip_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SubnetMask", wan_subnet_mask_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Gateway", wan_gateway_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "PriDNSType", wan_pri_dns_type_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "PrimaryDNS", wan_primary_dns_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SecDNSType", wan_sec_dns_type_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "SecondDNS", wan_second_dns_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "PPPConnection", wan_ppp_connection_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "PPPTimeout", wan_ppp_timeout_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "MTU", wan_mtu_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "IPDualStack", wan_ip_dual_stack_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Display", wan_display_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Save", wan_save_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "DslMode", wan_dsl_mode_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "DslSave", wan_dsl_save_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "PPPUptime", wan_ppp_uptime_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	SYS_CMD_END,
};

int wan_cmd(int argc, char *argv[], void *ctx)
{
	return subcmd(wan_cmd_table, argc, argv, ctx);
}
