// Handlers of the remmgmt table rows, grouped by the file that holds them,
// and what they share: the current selection and its access rule node.
#pragma once

#include <cstddef>

// The selected service number, "1" (http) to "8" (https), is kept where the
// web interface keeps it.
constexpr const char REMMGMT_SELECT_NODE[] = "WebCurSet_Entry";
constexpr const char REMMGMT_INDEX_ATTR[] = "remmgmt_index";

// Short stored texts: the selection, AllorRange.
constexpr size_t REMMGMT_FLAG_SIZE = 20;
constexpr size_t REMMGMT_NODE_SIZE = sizeof "ACL_Entry" + REMMGMT_FLAG_SIZE;

struct RemmgmtSelection {
	char index[REMMGMT_FLAG_SIZE];
	char node[REMMGMT_NODE_SIZE]; // "ACL_Entry" and the index as stored
};

// remmgmt_common.cpp
// Reads the selected service. Prints the refusal and returns false when none
// is stored.
bool remmgmt_selection(RemmgmtSelection &selection);
// A one-character word whose number lies within [min, max].
bool remmgmt_single_digit(const char *word, int min, int max);
// Reads an attribute of the selected rule into a cleared buffer.
bool remmgmt_read_rule(const RemmgmtSelection &selection, const char *attr, char *buf, size_t size);

// remmgmt_select.cpp: choosing and showing the service.
int remmgmt_appindex_cmd(int argc, char *argv[], void *ctx);
int remmgmt_showindex_cmd(int argc, char *argv[], void *ctx);

// remmgmt_rule.cpp: activation, port, side and range mode of the rule.
int remmgmt_active_cmd(int argc, char *argv[], void *ctx);
int remmgmt_port_cmd(int argc, char *argv[], void *ctx);
int remmgmt_interface_cmd(int argc, char *argv[], void *ctx);
int remmgmt_iprange_cmd(int argc, char *argv[], void *ctx);

// remmgmt_range.cpp: source address ranges and applying the rule.
int remmgmt_ipbegin_cmd(int argc, char *argv[], void *ctx);
int remmgmt_ipend_cmd(int argc, char *argv[], void *ctx);
int remmgmt_save_cmd(int argc, char *argv[], void *ctx);
