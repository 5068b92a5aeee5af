#include <cstdio>

#include "shell/store.h"
#include "snmp/snmp_handlers.h"
#include "tcapi.h"

namespace {

struct ShownAttr {
	const char *attr;
	const char *label;
};

// The IPv4 line shows trap2sink: IPv4TrapDest keeps trapsink equal to it.
// Pass phrases and communities are shown in clear.
const ShownAttr shown_attrs[] = {
	{ "rocommunity", "Get Community: " },
	{ "rwcommunity", "Set Community: " },
	{ "trapcommunity", "Trap Community: " },
	{ "trap2sink", "IPv4 Trap Destination: " },
	{ "trap2sink_ipv6", "IPv6 Trap Destination: " },
	{ "V3Enable", "SNMPv3 Enable: " },
	{ "v3Name", "SNMPv3 UserName: " },
	{ "access", "SNMPv3 Access: " },
	{ "authProto", "SNMPv3 Auth Protocol: " },
	{ "authPasswd", "SNMPv3 Auth Password: " },
	{ "privProto", "SNMPv3 Privacy Protocol: " },
	{ "privPasswd", "SNMPv3 Privacy Password: " },
};

} // namespace

// A missing attribute shows its label alone.
int snmp_display_cmd(int, char *[], void *)
{
	puts("SNMP Setting ");
	char value[MAXLEN_TCAPI_MSG];
	for (const ShownAttr &line : shown_attrs) {
		if (store_read(SNMP_NODE, line.attr, value, sizeof value))
			printf("%s%s \n", line.label, value);
		else
			puts(line.label);
	}
	return 0;
}

int snmp_save_cmd(int, char *[], void *)
{
	tcapi_commit(SNMP_NODE);
	tcapi_save();
	return 0;
}
