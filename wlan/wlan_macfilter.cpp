// The MAC filter's rows: an SSID's access policy, and MAC addresses queued
// for addition to or removal from its filter at the next save.
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "wlan/wlan_common.h"
#include "wlan/wlan_handlers.h"
#include "wlan/wlan_journal.h"

namespace {

constexpr const char RESTRICTMODE_USAGE[] = "Usage: wlan macfilter restrictmode ap_index[0~3] [disable|allow|deny]";
constexpr size_t MAC_TEXT_LENGTH = 17;

struct Policy {
	const char *word;
	int32_t pending;
};

const Policy policies[] = {
	{ "disable", -1 },
	{ "allow", 1 },
	{ "deny", 2 },
};

// Copies MAC into the first empty row of LIST. The walk goes one row past
// the list's 31: row 31 of the additions is the first row of the deletions,
// and row 31 of the deletions the first 20 bytes of the next SSID's block.
bool queue_mac(WlanJournal *j, size_t index, size_t list, const char *mac)
{
	for (size_t row = 0; row < WLAN_MAC_ROW_WALK; row++) {
		size_t at = wlan_mac_row_offset(index, list, row);
		if (*wlan_journal_text(*j, at) == '\0') {
			wlan_journal_set_text(j, at, WLAN_MAC_ROW_FIELD, mac);
			return true;
		}
	}
	puts("Too much macfilter rules.");
	return false;
}

// Nothing but the length is checked: the text is queued as typed.
int queue_mac_cmd(int argc, char *argv[], size_t list, const char *usage)
{
	size_t index = 0;
	if (argc != 3 || !wlan_index_valid(argv[1], &index)) {
		puts(usage);
		return -1;
	}
	if (strlen(argv[2]) != MAC_TEXT_LENGTH) {
		puts("The Length of mac should be 17.");
		return -1;
	}
	return wlan_journal_update([&](WlanJournal *j) { return queue_mac(j, index, list, argv[2]); });
}

} // namespace

int wlan_restrictmode_cmd(int argc, char *argv[], void *)
{
	size_t index = 0;
	const Policy *policy = nullptr;
	if (argc == 3 && wlan_index_valid(argv[1], &index)) {
		for (const Policy &p : policies) {
			if (strcmp(argv[2], p.word) == 0)
				policy = &p;
		}
	}
	if (!policy) {
		puts(RESTRICTMODE_USAGE);
		return -1;
	}
	return wlan_journal_update([&](WlanJournal *j) {
		wlan_journal_set_int(j, wlan_ap_offset(index) + WLAN_AP_RESTRICT_MODE, policy->pending);
		return true;
	});
}

int wlan_mac_add_cmd(int argc, char *argv[], void *)
{
	return queue_mac_cmd(argc, argv, WLAN_AP_MAC_ADD, "Usage: wlan macfilter add ap_index[0~3] mac");
}

int wlan_mac_del_cmd(int argc, char *argv[], void *)
{
	return queue_mac_cmd(argc, argv, WLAN_AP_MAC_DEL, "Usage: wlan macfilter del ap_index[0~3] mac");
}
