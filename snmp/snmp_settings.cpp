#include <arpa/inet.h>

#include <cstdio>
#include <cstring>

#include "snmp/snmp_handlers.h"
#include "tcapi.h"
#include "wan/validators.h"

namespace {

// Trap destinations longer than a dotted IPv4 address (15 bytes) are
// refused before any parsing, IPv6 ones too: the IPv6 row shares the IPv4
// row's cap and wording, so only short IPv6 forms such as 2001:db8::1 fit.
constexpr size_t TRAP_DEST_LIMIT = 16;
constexpr const char BAD_TRAP_DEST[] = "Invalid IPv4 Ip address.";

// The usage lines call the group SNMP in capitals; scripts match them as
// they are.
struct TextSetter {
	const char *usage;
	size_t min;
	size_t max;
	const char *refusal;
	const char *attr;
};

const TextSetter get_community_setter = {
	"Usage: sys SNMP GetCommunity XXX ", 1, 29, "SNMPv2 Get Community length is 1-29.", "rocommunity",
};
const TextSetter set_community_setter = {
	"Usage: sys SNMP SetCommunity XXX ", 1, 29, "SNMPv2 Set Community length is 1-29.", "rwcommunity",
};
const TextSetter trap_community_setter = {
	"Usage: sys SNMP TrapCommunity XXX ", 1, 29, "SNMPv2 Trap Community length is 1-29.", "trapcommunity",
};
const TextSetter user_name_setter = {
	"Usage: sys SNMP SNMPv3UserName XXX ", 1, 31, "SNMPv3 User Name length is 1-31.", "v3Name",
};
const TextSetter auth_passwd_setter = {
	"Usage: sys SNMP SNMPv3AuthPwd XXX ", 8, 31, "SNMPv3 Auth Password length is 8-31.", "authPasswd",
};
const TextSetter priv_passwd_setter = {
	"Usage: sys SNMP SNMPv3PrivPwd XXX ", 8, 31, "SNMPv3 Privacy Password length is 8-31.", "privPasswd",
};

// The value "0" stores stored[0], "1" stored[1].
struct OptionSetter {
	const char *usage;
	const char *attr;
	const char *stored[2];
};

const OptionSetter enable_setter = { "Usage: sys SNMP SNMPv3Enable [0:no/1:yes]", "V3Enable", { "No", "Yes" } };
const OptionSetter access_setter = { "Usage: sys SNMP SNMPv3Access [0:RO/1:RW]", "access", { "RO", "RW" } };
const OptionSetter auth_proto_setter = {
	"Usage: sys SNMP SNMPv3AuthPro [0:MD5/1:SHA]", "authProto", { "MD5", "SHA" },
};
const OptionSetter priv_proto_setter = {
	"Usage: sys SNMP SNMPv3PrivPro [0:DES/1:AES]", "privProto", { "DES", "AES" },
};

// One value word, else the usage line. True to go on.
bool one_value(int argc, const char *usage)
{
	if (argc != 2) {
		puts(usage);
		return false;
	}
	return true;
}

// Lengths are counted in bytes: a pass phrase of multi-byte characters
// reaches the limit sooner.
int set_text(int argc, char *argv[], const TextSetter &setter)
{
	if (!one_value(argc, setter.usage))
		return 0;
	size_t len = strlen(argv[1]);
	if (len < setter.min || len > setter.max) {
		puts(setter.refusal);
		return 0;
	}
	tcapi_set(SNMP_NODE, setter.attr, argv[1]);
	return 0;
}

int set_option(int argc, char *argv[], const OptionSetter &setter)
{
	if (!one_value(argc, setter.usage))
		return 0;
	const char *value = argv[1];
	const char *stored = nullptr;
	if (strcmp(value, "0") == 0)
		stored = setter.stored[0];
	else if (strcmp(value, "1") == 0)
		stored = setter.stored[1];
	if (!stored) {
		puts(setter.usage);
		return 0;
	}
	tcapi_set(SNMP_NODE, setter.attr, stored);
	return 0;
}

bool fits_trap_dest(const char *value)
{
	return strnlen(value, TRAP_DEST_LIMIT) < TRAP_DEST_LIMIT;
}

} // namespace

int snmp_get_community_cmd(int argc, char *argv[], void *)
{
	return set_text(argc, argv, get_community_setter);
}

int snmp_set_community_cmd(int argc, char *argv[], void *)
{
	return set_text(argc, argv, set_community_setter);
}

int snmp_trap_community_cmd(int argc, char *argv[], void *)
{
	return set_text(argc, argv, trap_community_setter);
}

// SNMPv1 and SNMPv2 traps always go to the same host.
int snmp_ipv4_trap_dest_cmd(int argc, char *argv[], void *)
{
	if (!one_value(argc, "Usage: sys SNMP IPv4TrapDest XXX "))
		return 0;
	const char *value = argv[1];
	if (!fits_trap_dest(value) || !is_valid_ipv4_addr(value)) {
		puts(BAD_TRAP_DEST);
		return 0;
	}
	tcapi_set(SNMP_NODE, "trapsink", value);
	tcapi_set(SNMP_NODE, "trap2sink", value);
	return 0;
}

int snmp_ipv6_trap_dest_cmd(int argc, char *argv[], void *)
{
	if (!one_value(argc, "Usage: sys SNMP IPv6TrapDest XXX "))
		return 0;
	const char *value = argv[1];
	if (!fits_trap_dest(value)) {
		puts(BAD_TRAP_DEST);
		return 0;
	}
	struct in6_addr parsed;
	if (inet_pton(AF_INET6, value, &parsed) != 1) {
		puts("Illegal IPv6 Ip address");
		return 0;
	}
	tcapi_set(SNMP_NODE, "trap2sink_ipv6", value);
	return 0;
}

int snmp_v3_enable_cmd(int argc, char *argv[], void *)
{
	return set_option(argc, argv, enable_setter);
}

int snmp_v3_user_name_cmd(int argc, char *argv[], void *)
{
	return set_text(argc, argv, user_name_setter);
}

int snmp_v3_access_cmd(int argc, char *argv[], void *)
{
	return set_option(argc, argv, access_setter);
}

int snmp_v3_auth_proto_cmd(int argc, char *argv[], void *)
{
	return set_option(argc, argv, auth_proto_setter);
}

int snmp_v3_auth_passwd_cmd(int argc, char *argv[], void *)
{
	return set_text(argc, argv, auth_passwd_setter);
}

int snmp_v3_priv_proto_cmd(int argc, char *argv[], void *)
{
	return set_option(argc, argv, priv_proto_setter);
}

int snmp_v3_priv_passwd_cmd(int argc, char *argv[], void *)
{
	return set_text(argc, argv, priv_passwd_setter);
}
