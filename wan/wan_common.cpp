#include "wan/wan_common.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "shell/store.h"
#include "tcapi.h"

namespace {

bool selection_flag_set(const char *attr)
{
	char flag[WAN_FLAG_SIZE];
	return wan_read(WAN_SELECT_NODE, attr, flag, sizeof flag) && strcmp(flag, "1") == 0;
}

long measure_value(WanMeasure measure, const char *value)
{
	if (measure == WanMeasure::Length)
		return static_cast<long>(strlen(value));
	return atoi(value);
}

} // namespace

bool wan_read(const char *node, const char *attr, char *buf, size_t size)
{
	return store_read(node, attr, buf, size);
}

void wan_trans_mode(char *mode, size_t size, TransModeRule rule)
{
	if (!wan_read(WAN_COMMON_NODE, "TransMode", mode, size) && rule == TransModeRule::Defaulting)
		snprintf(mode, size, "PTM");
}

bool wan_index_chosen()
{
	if (!selection_flag_set("wanindexconfig")) {
		puts("Please configure wan index first! ");
		return false;
	}
	return true;
}

bool wan_selection_ready()
{
	if (!wan_index_chosen())
		return false;
	if (!selection_flag_set("wantypeconfig")) {
		puts("Please configure wan Virtual Channel first! ");
		return false;
	}
	return true;
}

bool wan_gate_one_value(int argc, const char *usage)
{
	if (!wan_selection_ready())
		return false;
	if (argc != 2) {
		puts(usage);
		return false;
	}
	return true;
}

bool wan_line_is_vdsl()
{
	char mode[WAN_FLAG_SIZE];
	wan_trans_mode(mode, sizeof mode, TransModeRule::Strict);
	if (strcmp(mode, "PTM") != 0) {
		puts("This setting is just for VDSL mode use ");
		return false;
	}
	return true;
}

int wan_set_choice(int argc, char *argv[], const WanChoiceSetter &setter)
{
	if (!wan_gate_one_value(argc, setter.usage))
		return 0;
	if (setter.vdsl_only && !wan_line_is_vdsl())
		return 0;
	const char *value = argv[1];
	const char *stored = nullptr;
	if (value[0] >= '0' && value[0] <= '2' && value[1] == '\0')
		stored = setter.stored[value[0] - '0'];
	if (!stored) {
		puts(setter.usage);
		return 0;
	}
	tcapi_set(WAN_NODE, setter.attr, stored);
	return 0;
}

int wan_set_bounded(int argc, char *argv[], const WanBoundedSetter &setter)
{
	if (!wan_gate_one_value(argc, setter.usage))
		return 0;
	if (setter.vdsl_only && !wan_line_is_vdsl())
		return 0;
	long n = measure_value(setter.measure, argv[1]);
	if (n < setter.min || n > setter.max) {
		puts(setter.refusal);
		return 0;
	}
	tcapi_set(WAN_NODE, setter.attr, argv[1]);
	return 0;
}

const WanEncapKind wan_encap_kinds[WAN_ENCAP_KINDS] = {
	{ "1483 Bridged IP VC-Mux", "1483 Bridged IP LLC", "0", "ENET ENCAP" },
	{ "1483 Routed IP VC-Mux", "1483 Routed IP LLC(IPoA)", "1", "IPoA" },
	{ "PPPoE VC-Mux", "PPPoE LLC", "2", "PPPoE" },
	{ "PPPoA VC-Mux", "PPPoA LLC", "2", "PPPoA" },
	{ "1483 Bridged Only VC-Mux", "1483 Bridged Only LLC", "3", nullptr },
};

const WanEncapKind *wan_encap_kind(const char *encap)
{
	for (const WanEncapKind &kind : wan_encap_kinds) {
		if (strcmp(encap, kind.vc_mux) == 0 || strcmp(encap, kind.llc) == 0)
			return &kind;
	}
	return nullptr;
}
