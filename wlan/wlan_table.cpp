#include "wlan/wlan_cmds.h"

#include "wlan/wlan_handlers.h"

// Every row takes any number of words: each handler checks its own count.
const sys_cmd_entry wlan_cmd_table[] = {
	{ "active", wlan_active_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "channel", wlan_channel_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "mode", wlan_mode_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "bandwidth", wlan_bandwidth_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "ssid", wlan_ssid_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "hidessid", wlan_hidessid_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "securitymode", wlan_securitymode_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "macfilter", wlan_macfilter_cmd, CMD_FLAG_DEBUG_ONLY, 0, nullptr },
	{ "txpower", wlan_txpower_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "usemaxpowertb", wlan_usemaxpowertb_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "showcmd", wlan_showcmd_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "clearcmd", wlan_clearcmd_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "save", wlan_save_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "dispinfo", wlan_dispinfo_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	SYS_CMD_END,
};

const sys_cmd_entry wlan_macfilter_table[] = {
	{ "restrictmode", wlan_restrictmode_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "add", wlan_mac_add_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "del", wlan_mac_del_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	SYS_CMD_END,
};

int wlan_cmd(int argc, char *argv[], void *ctx)
{
	return subcmd(wlan_cmd_table, argc, argv, ctx);
}

int wlan_macfilter_cmd(int argc, char *argv[], void *ctx)
{
	return subcmd(wlan_macfilter_table, argc, argv, ctx);
}
