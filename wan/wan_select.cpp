#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "tcapi.h"
#include "wan/wan_common.h"
#include "wan/wan_handlers.h"

namespace {

constexpr const char VIRTUAL_CHANNEL_USAGE[] = "Usage: sys Wan VirtualChannel [0:ADSL/1:VDSL]";

void choose_adsl(const char *dsl_mode)
{
	if (strcmp(dsl_mode, "VDSL2") == 0) {
		puts("Current DSL Mode not support ADSL, need change first! ");
		return;
	}
	tcapi_set(WAN_COMMON_NODE, "TransMode", "ATM");
	// The ATM connection is the chosen index itself; the index word travels
	// on whole, as far as the store hands it out.
	char index[MAXLEN_TCAPI_MSG];
	wan_read(WAN_SELECT_NODE, "wan_pvc_ext", index, sizeof index);
	tcapi_set(WAN_SELECT_NODE, "wan_pvc", index);
	tcapi_set(WAN_SELECT_NODE, "wantypeconfig", "1");
}

void choose_vdsl(const char *dsl_mode)
{
	if (strcmp(dsl_mode, "VDSL2") != 0 && strcmp(dsl_mode, "Auto Sync-Up") != 0) {
		puts("Current DSL Mode not support VDSL, need change first! ");
		return;
	}
	// PVC 8 is the PTM channel; the store picks its connection by wan_pvc_ext.
	tcapi_set(WAN_COMMON_NODE, "TransMode", "PTM");
	tcapi_set(WAN_SELECT_NODE, "wan_pvc", "8");
	tcapi_set(WAN_SELECT_NODE, "wantypeconfig", "1");
}

} // namespace

// The index word is stored as typed, not as the number that passed the
// range test: "3x" is stored as "3x".
int wan_index_cmd(int argc, char *argv[], void *)
{
	if (argc != 2) {
		puts("Usage: sys Wan Index [0-7]");
		return 0;
	}
	int index = atoi(argv[1]);
	if (index < 0 || index > 7) {
		puts("PVC Index range is 0-7.");
		return 0;
	}
	tcapi_set(WAN_SELECT_NODE, "wan_pvc_ext", argv[1]);
	tcapi_set(WAN_SELECT_NODE, "wanindexconfig", "1");
	return 0;
}

// Only the index half of the gate applies: this command completes it.
int wan_virtual_channel_cmd(int argc, char *argv[], void *)
{
	if (!wan_index_chosen())
		return 0;
	if (argc != 2) {
		puts(VIRTUAL_CHANNEL_USAGE);
		return 0;
	}
	char dsl_mode[WAN_FLAG_SIZE];
	if (!wan_read(ADSL_NODE, "MODULATIONTYPE", dsl_mode, sizeof dsl_mode))
		snprintf(dsl_mode, sizeof dsl_mode, "Auto Sync-Up");
	if (strcmp(argv[1], "0") == 0)
		choose_adsl(dsl_mode);
	else if (strcmp(argv[1], "1") == 0)
		choose_vdsl(dsl_mode);
	else
		puts(VIRTUAL_CHANNEL_USAGE);
	return 0;
}
