#include <cstdio>

#include "remmgmt/remmgmt_handlers.h"
#include "shell/store.h"
#include "tcapi.h"

int remmgmt_appindex_cmd(int argc, char *argv[], void *)
{
	if (argc != 2) {
		puts("Usage: sys remmgmt appindex [ 1:http/2:telnet/3:ftp/4:snmp/5:dns/6:ping/7:ssh/8:https ] ");
		return 0;
	}
	// "PVC" in this line is the console's long-standing wording.
	if (!remmgmt_single_digit(argv[1], 1, 8)) {
		puts("RemMGMT PVC Index range is 1~8.");
		return 0;
	}
	tcapi_set(REMMGMT_SELECT_NODE, REMMGMT_INDEX_ATTR, argv[1]);
	return 0;
}

// The exit status is what the last line's print returned (its length in
// bytes, newline included): scripts have long read it that way.
int remmgmt_showindex_cmd(int, char *[], void *)
{
	char index[REMMGMT_FLAG_SIZE];
	if (!store_read(REMMGMT_SELECT_NODE, REMMGMT_INDEX_ATTR, index, sizeof index))
		return printf("%s\n", "No current appindex and please set it before configure! ");
	printf("Current application index:%s \n", index);
	return printf("%s\n", "index:application [ 1:http/2:telnet/3:ftp/4:snmp/5:dns/6:ping/7:ssh/8:https ] ");
}
