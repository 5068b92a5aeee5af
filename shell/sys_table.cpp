#include "shell/sys_table.h"

#include "remmgmt/remmgmt_cmds.h"
#include "shell/utility_cmds.h"
#include "snmp/snmp_cmds.h"
#include "wan/wan_cmds.h"
#include "wlan/wlan_cmds.h"

// Matching is by prefix and the first match wins, so the order is part of
// the interface: `sys mem` runs memrl, `sys at` atsh, `sys r` romreset.
const sys_cmd_entry sys_cmd_table[] = {
	{ "memrl", console_forward_cmd, 2, 1, nullptr },
	{ "memwl", console_forward_cmd, 2, 2, nullptr },
	{ "memrw", console_forward_cmd, 2, 1, nullptr },
	{ "memww", console_forward_cmd, 2, 2, nullptr },
	{ "memory", console_forward_cmd, 2, 2, nullptr },
	{ "memcpy", console_forward_cmd, 2, 3, nullptr },
	{ "fillmem", console_forward_cmd, 2, 3, nullptr },
	{ "autopvc", console_forward_cmd, 18, 1, nullptr },
	{ "wan2lan", console_forward_cmd, 2, 0, nullptr },
	{ "atsh", nullptr, 2, 0, nullptr },
	{ "atbt", nullptr, 2, 0, nullptr },
	{ "atwz", nullptr, 2, 0, nullptr },
	{ "atsn", nullptr, 2, 0, nullptr },
	{ "romreset", nullptr, 2, 0, nullptr },
	{ "btntest", nullptr, 2, 0, nullptr },
	{ "ledtest", nullptr, 2, 0, nullptr },
	{ "atwp", nullptr, 2, 0, nullptr },
	{ "atsw", nullptr, 2, 0, nullptr },
	{ "copy", nullptr, 2, 0, nullptr },
	{ "erase", nullptr, 2, 0, nullptr },
	{ "romd", nullptr, 2, 0, nullptr },
	{ "atmt", nullptr, 2, 0, nullptr },
	{ "tftpd", tftpd_cmd, 2, 0, nullptr },
	{ "rominfo", nullptr, 2, 0, nullptr },
	{ "times", times_cmd, 2, 0, nullptr },
	{ "ipinfo", nullptr, 2, 0, nullptr },
	{ "authKey", nullptr, 2, 0, nullptr },
	{ "ledctl", console_forward_cmd, 2, 0, nullptr },
	{ "stdio", nullptr, 2, 0, nullptr },
	{ "ledonoff", nullptr, 2, 0, nullptr },
	{ "Wan", wan_cmd, 2, 0, nullptr },
	{ "wlan", wlan_cmd, 2, 0, nullptr },
	{ "snmp", snmp_cmd, 2, 0, nullptr },
	{ "remmgmt", remmgmt_cmd, 2, 0, nullptr },
	{ "realversion", realversion_cmd, 3, 0, nullptr },
	{ "debuginfo", debuginfo_cmd, 2, 0, nullptr },
	{ "writeclbtoflash", writeclbtoflash_cmd, 2, 0, nullptr },
	{ "Calibration_Verification_24g", nullptr, 2, 0, nullptr },
	SYS_CMD_END,
};

const sys_cmd_entry times_cmd_table[] = {
	{ "address", times_address_cmd, 2, 0, nullptr },
	{ "address1", times_address_cmd, 2, 0, nullptr },
	{ "address2", times_address_cmd, 2, 0, nullptr },
	{ "address3", times_address_cmd, 2, 0, nullptr },
	SYS_CMD_END,
};
