#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "remmgmt/remmgmt_handlers.h"
#include "shell/store.h"

bool remmgmt_selection(RemmgmtSelection &selection)
{
	if (!store_read(REMMGMT_SELECT_NODE, REMMGMT_INDEX_ATTR, selection.index, sizeof selection.index)) {
		puts("Please configure remotemgmt appindex first! ");
		return false;
	}
	snprintf(selection.node, sizeof selection.node, "ACL_Entry%s", selection.index);
	return true;
}

bool remmgmt_single_digit(const char *word, int min, int max)
{
	if (strnlen(word, 2) != 1)
		return false;
	int n = atoi(word);
	return n >= min && n <= max;
}

bool remmgmt_read_rule(const RemmgmtSelection &selection, const char *attr, char *buf, size_t size)
{
	return store_read(selection.node, attr, buf, size);
}
