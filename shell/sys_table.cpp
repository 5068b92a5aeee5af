#include "shell/sys_table.h"

#include "factory/factory_cmds.h"
#include "remmgmt/remmgmt_cmds.h"
#include "shell/utility_cmds.h"
#include "snmp/snmp_cmds.h"
#include "wan/wan_cmds.h"
#include "wlan/wlan_cmds.h"

// Matching is by prefix and the first match wins, so the order is part of
// the interface: `sys mem` runs memrl, `sys at` atsh, `sys r` romreset.
// Only a flags value of exactly CMD_FLAG_DEBUG_ONLY hides a row; realversion
// and autopvc carry further bits that the dispatcher gives no meaning, and
// keep them as the platform's tables always have.
const sys_cmd_entry sys_cmd_table[] = {
	{ "memrl", console_forward_cmd, CMD_FLAG_NORMAL, 1, nullptr },
	{ "memwl", console_forward_cmd, CMD_FLAG_NORMAL, 2, nullptr },
	{ "memrw", console_forward_cmd, CMD_FLAG_NORMAL, 1, nullptr },
	{ "memww", console_forward_cmd, CMD_FLAG_NORMAL, 2, nullptr },
	{ "memory", console_forward_cmd, CMD_FLAG_NORMAL, 2, nullptr },
	{ "memcpy", console_forward_cmd, CMD_FLAG_NORMAL, 3, nullptr },
	{ "fillmem", console_forward_cmd, CMD_FLAG_NORMAL, 3, nullptr },
	{ "autopvc", console_forward_cmd, CMD_FLAG_NORMAL | CMD_FLAG_END, 1, nullptr },
	{ "wan2lan", console_forward_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "atsh", atsh_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "atbt", atbt_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "atwz", atwz_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "atsn", atsn_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "romreset", romreset_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "btntest", btntest_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "ledtest", ledtest_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "atwp", atwp_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "atsw", atsw_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "copy", rom_maint_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "erase", rom_maint_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "romd", rom_maint_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "atmt", atmt_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "tftpd", tftpd_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "rominfo", rominfo_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "times", times_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "ipinfo", ipinfo_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "authKey", authkey_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "ledctl", console_forward_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "stdio", stdio_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "ledonoff", ledonoff_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Wan", wan_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "wlan", wlan_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "snmp", snmp_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "remmgmt", remmgmt_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "realversion", realversion_cmd, CMD_FLAG_NORMAL | CMD_FLAG_DEBUG_ONLY, 0, nullptr },
	{ "debuginfo", debuginfo_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "writeclbtoflash", writeclbtoflash_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "Calibration_Verification_24g", calibration_24g_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	SYS_CMD_END,
};

const sys_cmd_entry times_cmd_table[] = {
	{ "address", times_address_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "address1", times_address_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "address2", times_address_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	{ "address3", times_address_cmd, CMD_FLAG_NORMAL, 0, nullptr },
	SYS_CMD_END,
};
