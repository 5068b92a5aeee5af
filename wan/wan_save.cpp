#include <sys/sysinfo.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "lib/safe_file.h"
#include "tcapi.h"
#include "wan/wan_common.h"
#include "wan/wan_handlers.h"

namespace {

constexpr const char DSL_MODE_USAGE[] =
	"Usage: sys Wan DslMode [0:Auto/1:VDSL2/2:ADSL2+/3:ADSL2/4:G.DMT/5:T1.413/6:G.lite]";

const char *const dsl_modes[] = { "Auto Sync-Up", "VDSL2", "ADSL2+", "ADSL2", "G.DMT", "T1.413", "G.lite" };
constexpr int DSL_MODE_COUNT = sizeof dsl_modes / sizeof dsl_modes[0];

constexpr int WAN_CONNECTIONS = 8;
// The uptime file's first line: the system uptime in seconds when the link
// came up.
constexpr size_t UPTIME_LINE_SIZE = 32;
constexpr size_t NAME_SIZE = 32;

// The connection's node and uptime file by line type: PTM connections are
// the extra connections of PVC 8 and their PPP units are ppp80-ppp87.
void ppp_connection_names(int index, char *node, char *file)
{
	char mode[WAN_FLAG_SIZE];
	wan_trans_mode(mode, sizeof mode, TransModeRule::Strict);
	if (strcmp(mode, "PTM") == 0) {
		snprintf(node, NAME_SIZE, "WanExt_PVC8e%d", index);
		snprintf(file, NAME_SIZE, "/tmp/pppuptime-ppp8%d", index);
	} else {
		snprintf(node, NAME_SIZE, "Wan_PVC%d", index);
		snprintf(file, NAME_SIZE, "/tmp/pppuptime-ppp%d", index);
	}
}

bool is_ppp_connection(const char *node)
{
	char isp[WAN_FLAG_SIZE];
	if (!wan_read(node, "ISP", isp, sizeof isp))
		snprintf(isp, sizeof isp, "0");
	return strcmp(isp, wan_encap_kinds[WAN_PPPOE].isp) == 0;
}

} // namespace

// The selection flags are cleared before the commit, so the selection ends
// even when applying the connection fails.
int wan_save_cmd(int, char *[], void *)
{
	if (!wan_selection_ready())
		return 0;
	tcapi_set(WAN_SELECT_NODE, "wanindexconfig", "0");
	tcapi_set(WAN_SELECT_NODE, "wantypeconfig", "0");
	tcapi_commit(WAN_NODE);
	tcapi_save();
	return 0;
}

// Not checked against the current line type: VirtualChannel checks the
// pairing when a channel is next chosen.
int wan_dsl_mode_cmd(int argc, char *argv[], void *)
{
	if (argc != 2) {
		puts(DSL_MODE_USAGE);
		return 0;
	}
	int mode = atoi(argv[1]);
	if (mode < 0 || mode >= DSL_MODE_COUNT) {
		puts(DSL_MODE_USAGE);
		return 0;
	}
	tcapi_set(ADSL_NODE, "MODULATIONTYPE", dsl_modes[mode]);
	return 0;
}

int wan_dsl_save_cmd(int, char *[], void *)
{
	tcapi_commit(ADSL_NODE);
	tcapi_save();
	return 0;
}

// Addresses the connection by its own argument, not the current selection.
// A file left from an earlier boot gives a negative time.
int wan_ppp_uptime_cmd(int argc, char *argv[], void *)
{
	if (argc != 2) {
		puts("Usage: sys Wan PPPUptime [0-7] ");
		return 0;
	}
	int index = atoi(argv[1]);
	if (index < 0 || index >= WAN_CONNECTIONS) {
		puts("PVC Index range is 0-7.");
		return 0;
	}
	char node[NAME_SIZE];
	char file[NAME_SIZE];
	ppp_connection_names(index, node, file);
	if (!is_ppp_connection(node)) {
		puts("0 sec ");
		return 0;
	}
	FILE *uptime_file = safe_fopen(file, "r");
	if (!uptime_file) {
		puts("0 sec ");
		return 0;
	}
	char line[UPTIME_LINE_SIZE];
	memset(line, 0, sizeof line);
	if (fgets(line, sizeof line, uptime_file)) {
		struct sysinfo info;
		memset(&info, 0, sizeof info);
		sysinfo(&info);
		long long up = static_cast<long long>(info.uptime) - atoi(line);
		printf("%d sec \n", static_cast<int>(up));
	}
	fclose(uptime_file);
	return 0;
}
