// What the Wan commands share: store node names, the selection gate, the
// line-type read and the two setter patterns most rows follow.
#pragma once

#include <cstddef>

// The selected connection: the store resolves this unindexed name through
// WebCurSet_Entry wan_pvc / wan_pvc_ext.
constexpr const char WAN_NODE[] = "Wan_PVC";
constexpr const char WAN_SELECT_NODE[] = "WebCurSet_Entry";
constexpr const char WAN_COMMON_NODE[] = "Wan_Common";
constexpr const char ADSL_NODE[] = "Adsl_Entry";

// Flags and short option texts ("1", "ATM", "Auto Sync-Up").
constexpr size_t WAN_FLAG_SIZE = 20;
// Stored ENCAP texts; the longest is 24 characters.
constexpr size_t WAN_ENCAP_SIZE = 32;

// Clears buf, then reads NODE ATTR into it (bounded). True when found.
bool wan_read(const char *node, const char *attr, char *buf, size_t size);

// How a failed read of Wan_Common TransMode is taken.
enum class TransModeRule {
	Defaulting, // counts as "PTM"
	Strict,	    // stays empty: neither "ATM" nor "PTM"
};
void wan_trans_mode(char *mode, size_t size, TransModeRule rule);

// First half of the selection gate: an index was chosen since the last
// Save. Prints the refusal and returns false otherwise.
bool wan_index_chosen();

// The selection gate: an index and then a line type must have been chosen
// since the last Save. Prints the refusal and returns false otherwise.
bool wan_selection_ready();

// Gate, then exactly one value word (else the usage line). True to go on.
bool wan_gate_one_value(int argc, const char *usage);

// Rows that only mean something on a PTM line: prints the refusal and
// returns false unless TransMode (strict) is "PTM".
bool wan_line_is_vdsl();

// A row storing one of up to three texts chosen by the value "0", "1" or
// "2" (nullptr: that value is not accepted); any other word gets the usage.
struct WanChoiceSetter {
	const char *usage;
	bool vdsl_only;
	const char *attr;
	const char *stored[3];
};
int wan_set_choice(int argc, char *argv[], const WanChoiceSetter &setter);

// A row storing the value word as typed once its number (atoi) or its
// length in bytes lies within [min, max].
enum class WanMeasure { Number, Length };
struct WanBoundedSetter {
	const char *usage;
	bool vdsl_only;
	WanMeasure measure;
	long min;
	long max;
	const char *refusal;
	const char *attr;
};
int wan_set_bounded(int argc, char *argv[], const WanBoundedSetter &setter);

// The stored ENCAP texts by kind and multiplexing, with the ISP code each
// kind stores and the name Display gives it (none for a bridge). These exact
// strings are what the gateway's WAN service reads.
struct WanEncapKind {
	const char *vc_mux;
	const char *llc;
	const char *isp;
	const char *shown_as;
};
enum WanEncapIndex { WAN_IPOE, WAN_IPOA, WAN_PPPOE, WAN_PPPOA, WAN_BRIDGE, WAN_ENCAP_KINDS };
extern const WanEncapKind wan_encap_kinds[WAN_ENCAP_KINDS];

// The kind whose VC-Mux or LLC text equals encap exactly, or nullptr.
const WanEncapKind *wan_encap_kind(const char *encap);
