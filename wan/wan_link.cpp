#include <cstdio>
#include <cstring>

#include "tcapi.h"
#include "wan/wan_common.h"
#include "wan/wan_handlers.h"

namespace {

constexpr const char MODE_USAGE[] = "Usage: sys Wan Mode [0:Router/1:Bridge]";
constexpr const char ENCAPSULATION_USAGE[] = "Usage: sys Wan Encapsulation [0:IPoE/1:IPoA/2:PPPoE/3:PPPoA]";
constexpr const char MULTIPLEX_USAGE[] = "Usage: sys Wan Multiplex [0:VC-Mux/1:LLC]";

const WanChoiceSetter active_setter = {
	"Usage: sys Wan Active [0:no/1:yes]", false, "Active", { "No", "Yes", nullptr },
};
const WanChoiceSetter vlan_enable_setter = {
	"Usage: sys Wan VLANEnable [0:no/1:yes]", true, "dot1q", { "No", "Yes", nullptr },
};

const WanBoundedSetter name_setter = {
	"Usage: sys Wan Name XXX ", false, WanMeasure::Length, 1, 16, "Wan name length is 1-16.", "NodeName",
};
const WanBoundedSetter vpi_setter = {
	"Usage: sys Wan VPI [0-255]", false, WanMeasure::Number, 0, 255, "VPI range is 0-255.", "VPI",
};
// The refusal names VPI although it gives the VCI limits; operators' scripts
// match this line as it is.
const WanBoundedSetter vci_setter = {
	"Usage: sys Wan VCI [32-65535]", false, WanMeasure::Number, 32, 65535, "VPI range is 32-65535.", "VCI",
};
const WanBoundedSetter priority_setter = {
	"Usage: sys Wan 8021PPriority [0-7]", true, WanMeasure::Number, 0, 7, "802.1P Priority range is 0-7.",
	"Priority",
};
const WanBoundedSetter vlan_id_setter = {
	"Usage: sys Wan 8021QVLANID [1-4094]", true, WanMeasure::Number, 1, 4094, "802.1Q VLAN ID range is 1-4094.",
	"VLANID",
};
const WanBoundedSetter dot1p_setter = {
	"Usage: sys Wan 8021p [0-7]", true, WanMeasure::Number, 0, 7, "Default Tag 802.1p range is 0-7.", "dot1p",
};
const WanBoundedSetter dscp_setter = {
	"Usage: sys Wan DSCP [0-63]", false, WanMeasure::Number, 0, 63, "Default Tag DSCP range is 0-63.", "DSCP",
};

bool line_is_atm(TransModeRule rule)
{
	char mode[WAN_FLAG_SIZE];
	wan_trans_mode(mode, sizeof mode, rule);
	return strcmp(mode, "ATM") == 0;
}

void write_encap(const char *encap, const char *isp)
{
	tcapi_set(WAN_NODE, "ENCAP", encap);
	tcapi_set(WAN_NODE, "ISP", isp);
}

// Only a bridge text turns back into IPoE on ATM; a router kind stays as
// it is. A PTM line always becomes plain IPoE, PPP or IPoA included.
void switch_to_router(const char *encap, bool atm)
{
	const WanEncapKind &ipoe = wan_encap_kinds[WAN_IPOE];
	const WanEncapKind &bridge = wan_encap_kinds[WAN_BRIDGE];
	if (!atm)
		write_encap(ipoe.vc_mux, ipoe.isp);
	else if (strcmp(encap, bridge.vc_mux) == 0)
		write_encap(ipoe.vc_mux, ipoe.isp);
	else if (strcmp(encap, bridge.llc) == 0)
		write_encap(ipoe.llc, ipoe.isp);
}

void switch_to_bridge(const char *encap, bool atm)
{
	if (strstr(encap, "Only"))
		return;
	const WanEncapKind &bridge = wan_encap_kinds[WAN_BRIDGE];
	bool llc = atm && strstr(encap, "LLC");
	write_encap(llc ? bridge.llc : bridge.vc_mux, bridge.isp);
}

} // namespace

int wan_active_cmd(int argc, char *argv[], void *)
{
	return wan_set_choice(argc, argv, active_setter);
}

int wan_name_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, name_setter);
}

int wan_mode_cmd(int argc, char *argv[], void *)
{
	if (!wan_gate_one_value(argc, MODE_USAGE))
		return 0;
	char encap[WAN_ENCAP_SIZE];
	wan_read(WAN_NODE, "ENCAP", encap, sizeof encap);
	bool atm = line_is_atm(TransModeRule::Defaulting);
	if (strcmp(argv[1], "0") == 0)
		switch_to_router(encap, atm);
	else if (strcmp(argv[1], "1") == 0)
		switch_to_bridge(encap, atm);
	else
		puts(MODE_USAGE);
	return 0;
}

// On ATM the connection keeps its multiplexing; PTM has none, so the VC-Mux
// text is stored, IPoA and PPPoA included. PPP kinds get the MTU that
// leaves room for the PPPoE header.
int wan_encapsulation_cmd(int argc, char *argv[], void *)
{
	if (!wan_gate_one_value(argc, ENCAPSULATION_USAGE))
		return 0;
	char encap[WAN_ENCAP_SIZE];
	wan_read(WAN_NODE, "ENCAP", encap, sizeof encap);
	const WanEncapKind &bridge = wan_encap_kinds[WAN_BRIDGE];
	if (strcmp(encap, bridge.vc_mux) == 0 || strcmp(encap, bridge.llc) == 0) {
		puts("Bridge mode no need to configure this setting ");
		return 0;
	}
	bool llc = line_is_atm(TransModeRule::Defaulting) && strstr(encap, "LLC");
	const char *value = argv[1];
	if (value[0] < '0' || value[0] > '3' || value[1] != '\0') {
		puts(ENCAPSULATION_USAGE);
		return 0;
	}
	const WanEncapKind &kind = wan_encap_kinds[value[0] - '0'];
	bool ppp = &kind == &wan_encap_kinds[WAN_PPPOE] || &kind == &wan_encap_kinds[WAN_PPPOA];
	write_encap(llc ? kind.llc : kind.vc_mux, kind.isp);
	tcapi_set(WAN_NODE, "MTU", ppp ? "1492" : "1500");
	return 0;
}

// Texts that are not one of the known forms are left alone.
int wan_multiplex_cmd(int argc, char *argv[], void *)
{
	if (!wan_gate_one_value(argc, MULTIPLEX_USAGE))
		return 0;
	char mode[WAN_FLAG_SIZE];
	wan_trans_mode(mode, sizeof mode, TransModeRule::Defaulting);
	if (strcmp(mode, "PTM") == 0) {
		puts("VDSL mode not support Multiplex! ");
		return 0;
	}
	char encap[WAN_ENCAP_SIZE];
	wan_read(WAN_NODE, "ENCAP", encap, sizeof encap);
	const WanEncapKind *kind = wan_encap_kind(encap);
	if (strcmp(argv[1], "0") == 0) {
		if (kind && strcmp(encap, kind->llc) == 0)
			tcapi_set(WAN_NODE, "ENCAP", kind->vc_mux);
	} else if (strcmp(argv[1], "1") == 0) {
		if (kind && strcmp(encap, kind->vc_mux) == 0)
			tcapi_set(WAN_NODE, "ENCAP", kind->llc);
	} else {
		puts(MULTIPLEX_USAGE);
	}
	return 0;
}

int wan_vpi_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, vpi_setter);
}

int wan_vci_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, vci_setter);
}

int wan_vlan_enable_cmd(int argc, char *argv[], void *)
{
	return wan_set_choice(argc, argv, vlan_enable_setter);
}

int wan_8021p_priority_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, priority_setter);
}

int wan_8021q_vlan_id_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, vlan_id_setter);
}

int wan_8021p_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, dot1p_setter);
}

int wan_dscp_cmd(int argc, char *argv[], void *)
{
	return wan_set_bounded(argc, argv, dscp_setter);
}
