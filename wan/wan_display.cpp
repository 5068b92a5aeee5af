#include <cstdio>
#include <cstring>

#include "lib/out_text.h"
#include "wan/wan_common.h"
#include "wan/wan_handlers.h"

namespace {

// PPP user names and passwords take up to 128 bytes and are shown whole.
constexpr size_t DISPLAY_VALUE_SIZE = 129;

struct ShownValue {
	char text[DISPLAY_VALUE_SIZE];
	bool found;
};

ShownValue read_value(const char *node, const char *attr)
{
	ShownValue value;
	value.found = wan_read(node, attr, value.text, sizeof value.text);
	return value;
}

// "<label><value> \n" when the attribute is there; otherwise the failure
// line, or nothing when the line has none.
void show_line(const char *label, const ShownValue &value, const char *failure)
{
	if (value.found)
		out_texts({label, value.text, " \n"});
	else if (failure)
		puts(failure);
}

void show_attr(const char *attr, const char *label, const char *failure)
{
	show_line(label, read_value(WAN_NODE, attr), failure);
}

// What the connection's ENCAP makes of the rest of the screen.
struct ShownKind {
	bool router;
	bool pppoe;
	bool pppoa;
};

ShownKind show_encapsulation(bool atm)
{
	ShownKind kind = { false, false, false };
	ShownValue encap = read_value(WAN_NODE, "ENCAP");
	if (!encap.found)
		return kind;
	kind.router = !strstr(encap.text, "Only");
	puts(kind.router ? "Mode: Router " : "Mode: Bridge ");
	const WanEncapKind *known = wan_encap_kind(encap.text);
	if (known && known->shown_as)
		out_texts({"Encapsulation: ", known->shown_as, " \n"});
	kind.pppoe = known == &wan_encap_kinds[WAN_PPPOE];
	kind.pppoa = known == &wan_encap_kinds[WAN_PPPOA];
	if (atm)
		puts(strstr(encap.text, "LLC") ? "MultiPlex: LLC " : "MultiPlex: VC-Mux ");
	return kind;
}

void show_ppp_account(const ShownKind &kind)
{
	if (!kind.router || !(kind.pppoe || kind.pppoa))
		return;
	show_attr("USERNAME", "User Name: ", "User Name: ");
	show_attr("PASSWORD", "Password: ", "Password: ");
	if (kind.pppoe)
		show_attr("SRVNAME", "Service Name: ", "Service Name: ");
	show_attr("AUTHEN", "PPP Authentication: ", "PPP Authentication: ");
}

void show_vlan()
{
	ShownValue dot1q = read_value(WAN_NODE, "dot1q");
	show_line("VLAN Enable: ", dot1q, "VLAN Enable: ");
	show_attr("Priority", "8021.P Priority: ", "8021.P Priority: ");
	// This failure line carries its own newline, leaving an empty line
	// under it.
	show_attr("VLANID", "802.1Q VLANID: ", "802.1Q VLANID: \n");
	if (dot1q.found && strcmp(dot1q.text, "Yes") == 0)
		show_attr("dot1p", "802.1p: ", "802.1p: ");
}

// The DNS type codes shift with the addressing: a static connection has no
// "from ISP" choice, so there "0" is user-defined and "1" none.
const char *dns_type_name(const char *code, bool dynamic)
{
	if (dynamic) {
		if (strcmp(code, "1") == 0)
			return "UserDefined";
		if (strcmp(code, "2") == 0)
			return "None";
		return "Obtained From ISP";
	}
	return strcmp(code, "1") == 0 ? "None" : "UserDefined";
}

void show_dns_type(const char *attr, const char *label, bool dynamic)
{
	ShownValue code = read_value(WAN_NODE, attr);
	if (code.found)
		out_texts({label, dns_type_name(code.text, dynamic), " \n"});
	else
		puts(label);
}

// Here everything but "1" counts as static, an unreadable DYNAMIC too.
void show_addressing()
{
	ShownValue dynamic = read_value(WAN_NODE, "DYNAMIC");
	bool is_dynamic = dynamic.found && strcmp(dynamic.text, "1") == 0;
	if (dynamic.found)
		out_texts({"Dynamic mode: ", is_dynamic ? "Dynamic" : "Static", " \n"});
	if (!is_dynamic) {
		show_attr("IPADDR", "Static IP: ", "Static IP: ");
		show_attr("NETMASK", "Subnet Mask: ", "Subnet Mask: ");
		show_attr("GATEWAY", "Gateway: ", "Gateway: ");
	}
	show_dns_type("FirstDnsType", "Primary DNS Type: ", is_dynamic);
	show_attr("Pridns", "Primary DNS: ", "Primary DNS: ");
	show_dns_type("SecondDnsType", "Secondary DNS Type: ", is_dynamic);
	show_attr("Secdns", "Secondary DNS: ", "Secondary DNS: ");
}

} // namespace

// Lines whose attribute is missing show their label alone (or nothing).
// The PPP password is shown in clear text.
int wan_display_cmd(int, char *[], void *)
{
	if (!wan_selection_ready())
		return 0;
	puts("WAN Setting ");
	show_line("Index: PVC", read_value(WAN_SELECT_NODE, "wan_pvc_ext"), "Index: ");

	char mode[WAN_FLAG_SIZE];
	bool mode_found = wan_read(WAN_COMMON_NODE, "TransMode", mode, sizeof mode);
	bool atm = strcmp(mode, "ATM") == 0;
	bool ptm = strcmp(mode, "PTM") == 0;
	if (!mode_found)
		puts("Virtual Channel: ");
	else
		puts(atm ? "Virtual Channel: ADSL " : "Virtual Channel: VDSL ");

	show_attr("Active", "Active: ", "Active: ");
	show_attr("NodeName", "Name: ", "Name: ");
	ShownKind kind = show_encapsulation(atm);
	show_ppp_account(kind);
	if (atm) {
		show_attr("VPI", "VPI: ", "VPI: ");
		show_attr("VCI", "VCI: ", "VCI: ");
	}
	if (ptm)
		show_vlan();
	ShownValue dscp = read_value(WAN_NODE, "DSCP");
	out_texts({"DSCP: ", dscp.text, " \n"});
	if (kind.router)
		show_addressing();
	if (kind.pppoe || kind.pppoa) {
		show_attr("CONNECTION", "PPP Connection Mode: ", nullptr);
		show_attr("CLOSEIFIDLE", "Max Idle Time: ", nullptr);
	}
	show_attr("MTU", "MTU: ", "MTU: ");
	show_attr("IPVERSION", "IPv6/IPv4 Dual Stack Mode: ", nullptr);
	return 0;
}
