#include <cstdio>
#include <cstring>

#include "tcapi.h"
#include "wan/validators.h"
#include "wan/wan_common.h"
#include "wan/wan_handlers.h"

namespace {

// Dotted IPv4 text is at most 15 bytes; anything longer is refused before
// the validator looks at it.
constexpr size_t IPV4_TEXT_LIMIT = 16;

const WanBoundedSetter username_setter = {
	"Usage: sys Wan PPPUsername XXX ", false, WanMeasure::Length, 1, 128, "PPP user name length is 1-128.",
	"USERNAME",
};
const WanBoundedSetter password_setter = {
	"Usage: sys Wan PPPPassword XXX ", false, WanMeasure::Length, 1, 128, "PPP password length is 1-128.",
	"PASSWORD",
};
// The refusal calls the service name a password; operators' scripts match
// this line as it is.
const WanBoundedSetter service_name_setter = {
	"Usage: sys Wan PPPServiceName XXX ", false, WanMeasure::Length, 1, 31, "PPP password length is 1-31.",
	"SRVNAME",
};

const WanChoiceSetter authentication_setter = {
	"Usage: sys Wan PPPAuthentication [0:Auto/1:CHAP/2:PAP]", false, "AUTHEN", { "AUTO", "CHAP", "PAP" },
};
const WanChoiceSetter connection_setter = {
	"Usage: sys Wan PPPConnection [0:Keep Alive/1:On Demand/2:Manually] ", false, "CONNECTION",
	{ "Connect_Keep_Alive", "Connect_on_Demand", "Connect_Manually" },
};
const WanChoiceSetter dual_stack_setter = {
	"Usage: sys Wan IPDualStack [0:IPv4,1:IPv4/IPv6,2:IPv6] ", false, "IPVERSION", { "IPv4", "IPv4/IPv6", "IPv6" },
};

struct AddressSetter {
	const char *usage;
	bool (*valid)(const char *text);
	const char *refusal;
	const char *attr;
};

constexpr const char BAD_ADDRESS[] = "Invalid IPv4 Ip address.";

// The usage lines spell StaticIp and secondDNS; they are kept as operators
// know them.
const AddressSetter static_ip_setter = { "Usage: sys Wan StaticIp XXX ", is_valid_ipv4_addr, BAD_ADDRESS, "IPADDR" };
const AddressSetter subnet_mask_setter = {
	"Usage: sys Wan SubnetMask XXX ", is_valid_subnet_mask, "Invalid IPv4 Ip subnet mask.", "NETMASK",
};
const AddressSetter gateway_setter = { "Usage: sys Wan Gateway XXX ", is_valid_ipv4_addr, BAD_ADDRESS, "GATEWAY" };
const AddressSetter primary_dns_setter = {
	"Usage: sys Wan PrimaryDNS XXX ", is_valid_ipv4_addr, BAD_ADDRESS, "Pridns",
};
const AddressSetter second_dns_setter = {
	"Usage: sys Wan secondDNS XXX ", is_valid_ipv4_addr, BAD_ADDRESS, "Secdns",
};

int set_address(int argc, char *argv[], const AddressSetter &setter)
{
	if (!wan_gate_one_value(argc, setter.usage))
		return 0;
	const char *value = argv[1];
	if (strnlen(value, IPV4_TEXT_LIMIT) >= IPV4_TEXT_LIMIT || !setter.valid(value)) {
		puts(setter.refusal);
		return 0;
	}
	tcapi_set(WAN_NODE, setter.attr, value);
	return 0;
}

struct DnsTypeSetter {
	const char *usage;
	const char *attr;
};

const DnsTypeSetter pri_dns_type_setter = {
	"Usage: sys Wan PriDNSType [0:From ISP/1:UserDefined/2:None] ", "FirstDnsType",
};
const DnsTypeSetter sec_dns_type_setter = {
	"Usage: sys Wan SecDNSType [0:From ISP/1:UserDefined/2:None] ", "SecondDnsType",
};

// A static connection has no "from ISP" choice, so its codes shift down by
// one: user-defined is "0" and none is "1". The code is fixed when written;
// Display decodes it by the DYNAMIC of the moment.
int set_dns_type(int argc, char *argv[], const DnsTypeSetter &setter)
{
	if (!wan_gate_one_value(argc, setter.usage))
		return 0;
	char dynamic[WAN_FLAG_SIZE];
	wan_read(WAN_NODE, "DYNAMIC", dynamic, sizeof dynamic);
	bool is_static = strcmp(dynamic, "0") == 0;
	const char *value = argv[1];
	if (strcmp(value, "0") == 0) {
		if (is_static) {
			puts("Wan Static IP mode only have [1:UserDefined/2:None] ");
			return 0;
		}
		tcapi_set(WAN_NODE, setter.attr, "0");
	} else if (strcmp(value, "1") == 0) {
		tcapi_set(WAN_NODE, setter.attr, is_static ? "0" : "1");
	} else if (strcmp(value, "2") == 0) {
		tcapi_set(WAN_NODE, setter.attr, is_static ? "1" : "2");
	} else {
		puts(setter.usage);
	}
	return 0;
}

// True when ISP could be read and holds exactly code; an unreadable ISP
// never blocks.
bool isp_is(const char *code)
{
	char isp[WAN_FLAG_SIZE];
	return wan_read(WAN_NODE, "ISP", isp, sizeof isp) && strcmp(isp, code) == 0;
}

void write_addressing(const char *dynamic, const char *ppp_get_ip)
{
	tcapi_set(WAN_NODE, "DYNAMIC", dynamic);
	tcapi_set(WAN_NODE, "PPPGETIP", ppp_get_ip);
}

} // namespace

int wan_ppp_username_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, username_setter);
}

int wan_ppp_password_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, password_setter);
}

int wan_ppp_service_name_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, service_name_setter);
}

int wan_ppp_authentication_cmd(int argc, char *argv[], void *)
{
	return wan_set_choice(argc, argv, authentication_setter);
}

// A bridge has no address of its own to configure; IPoA has no DHCP.
int wan_dynamic_cmd(int argc, char *argv[], void *)
{
	static const char usage[] = "Usage: sys Wan DYNAMIC [0:static/1:dynamic]";
	if (!wan_gate_one_value(argc, usage))
		return 0;
	if (strcmp(argv[1], "0") == 0) {
		if (isp_is(wan_encap_kinds[WAN_BRIDGE].isp)) {
			puts("Usage: Bridge mode not support Static mode! ");
			return 0;
		}
		write_addressing("0", "Static");
	} else if (strcmp(argv[1], "1") == 0) {
		if (isp_is(wan_encap_kinds[WAN_IPOA].isp)) {
			puts("Usage: IPoA mode not support Dynamic mode! ");
			return 0;
		}
		write_addressing("1", "Dynamic");
	} else {
		puts(usage);
	}
	return 0;
}

int wan_static_ip_cmd(int argc, char *argv[], void *)
{
	return set_address(argc, argv, static_ip_setter);
}

int wan_subnet_mask_cmd(int argc, char *argv[], void *)
{
	return set_address(argc, argv, subnet_mask_setter);
}

int wan_gateway_cmd(int argc, char *argv[], void *)
{
	return set_address(argc, argv, gateway_setter);
}

int wan_pri_dns_type_cmd(int argc, char *argv[], void *)
{
	return set_dns_type(argc, argv, pri_dns_type_setter);
}

int wan_primary_dns_cmd(int argc, char *argv[], void *)
{
	return set_address(argc, argv, primary_dns_setter);
}

int wan_sec_dns_type_cmd(int argc, char *argv[], void *)
{
	return set_dns_type(argc, argv, sec_dns_type_setter);
}

int wan_second_dns_cmd(int argc, char *argv[], void *)
{
	return set_address(argc, argv, second_dns_setter);
}

int wan_ppp_connection_cmd(int argc, char *argv[], void *)
{
	return wan_set_choice(argc, argv, connection_setter);
}

// No upper limit: the idle time-out is whatever number of seconds is typed.
int wan_ppp_timeout_cmd(int argc, char *argv[], void *)
{
	if (!wan_gate_one_value(argc, "Usage: sys Wan PPPTimeout XXX "))
		return 0;
	if (!is_all_digits(argv[1])) {
		puts("Invalid idle timeout value.");
		return 0;
	}
	tcapi_set(WAN_NODE, "CLOSEIFIDLE", argv[1]);
	return 0;
}

// Every word is stored as typed: the console never refuses an MTU, and only
// Encapsulation writes a value that suits the connection kind.
int wan_mtu_cmd(int argc, char *argv[], void *)
{
	if (!wan_gate_one_value(argc, "Usage: sys Wan MTU XXX "))
		return 0;
	tcapi_set(WAN_NODE, "MTU", argv[1]);
	return 0;
}

int wan_ip_dual_stack_cmd(int argc, char *argv[], void *)
{
	return wan_set_choice(argc, argv, dual_stack_setter);
}
