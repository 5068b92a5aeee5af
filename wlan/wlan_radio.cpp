// Radio-wide settings (channel, mode, bandwidth, txpower, usemaxpowertb) and
// per-SSID ones (active, ssid, hidessid). Each only records the change in
// the journal; save writes the store.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "wlan/wlan_common.h"
#include "wlan/wlan_handlers.h"
#include "wlan/wlan_journal.h"

namespace {

// The trailing full stops of some usage texts, and their absence in others,
// are the gateway's own and are kept: installers' scripts match them.
constexpr const char CHANNEL_USAGE[] = "Usage: wlan channel [1~11|auto].";
constexpr const char MODE_USAGE[] = "Usage: wlan mode [b|g|n|bg|gn|bgn]";
constexpr const char BANDWIDTH_USAGE[] = "Usage: wlan bandwidth [20|40|auto]";
constexpr const char TXPOWER_USAGE[] = "Usage: wlan txpower percentage[20|40|60|80|100]";
constexpr const char USEMAXPOWERTB_USAGE[] = "Usage: wlan usemaxpowertb [0|1].";
constexpr const char SSID_USAGE[] = "Usage: wlan ssid ap_index[0~3] ssid";

constexpr int32_t CHANNEL_AUTO = -1;
constexpr int CHANNEL_MAX = 11;
constexpr size_t SSID_MAX = 32;
constexpr int txpower_levels[] = { 20, 40, 60, 80, 100 };

const WlanWord maxpower_words[] = {
	{ "0", "0", "0" },
	{ "1", "1", "1" },
};

// A radio-wide row taking one word of a list, recorded as typed.
template <size_t N>
int set_radio_word(int argc, char *argv[], const char *usage, const WlanWord (&words)[N], WlanTextField field)
{
	const WlanWord *word = argc == 2 ? wlan_word_by_arg(words, argv[1]) : nullptr;
	if (!word) {
		puts(usage);
		return -1;
	}
	return wlan_journal_update([&](WlanJournal *j) {
		wlan_journal_set_text(j, 0, field, word->arg);
		return true;
	});
}

// A per-SSID row switching one thing: the ON word records 1, the OFF word -1.
struct SsidSwitch {
	const char *usage;
	const char *on;
	const char *off;
	size_t field;
};

const SsidSwitch active_switch = {
	"Usage: wlan active ap_index[0~3] [on|off]\nset ap0 off, will disable the whole wireless",
	"on",
	"off",
	WLAN_AP_ACTIVE,
};
const SsidSwitch hidessid_switch = {
	"Usage: wlan hidessid ap_index[0~3] [hide|disp].",
	"hide",
	"disp",
	WLAN_AP_HIDESSID,
};

int set_ssid_switch(int argc, char *argv[], const SsidSwitch &sw)
{
	size_t index = 0;
	int32_t value = 0;
	if (argc == 3 && wlan_index_valid(argv[1], &index)) {
		if (strcmp(argv[2], sw.on) == 0)
			value = 1;
		else if (strcmp(argv[2], sw.off) == 0)
			value = -1;
	}
	if (value == 0) {
		puts(sw.usage);
		return -1;
	}
	return wlan_journal_update([&](WlanJournal *j) {
		wlan_journal_set_int(j, wlan_ap_offset(index) + sw.field, value);
		return true;
	});
}

} // namespace

int wlan_channel_cmd(int argc, char *argv[], void *)
{
	int32_t channel = 0;
	if (argc == 2) {
		int n = atoi(argv[1]);
		if (strcmp(argv[1], "auto") == 0)
			channel = CHANNEL_AUTO;
		else if (n >= 1 && n <= CHANNEL_MAX)
			channel = n;
	}
	if (channel == 0) {
		puts(CHANNEL_USAGE);
		return -1;
	}
	return wlan_journal_update([&](WlanJournal *j) {
		wlan_journal_set_int(j, WLAN_J_CHANNEL, channel);
		return true;
	});
}

int wlan_mode_cmd(int argc, char *argv[], void *)
{
	return set_radio_word(argc, argv, MODE_USAGE, wlan_modes, WLAN_MODE_FIELD);
}

int wlan_bandwidth_cmd(int argc, char *argv[], void *)
{
	return set_radio_word(argc, argv, BANDWIDTH_USAGE, wlan_bandwidths, WLAN_BANDWIDTH_FIELD);
}

int wlan_usemaxpowertb_cmd(int argc, char *argv[], void *)
{
	return set_radio_word(argc, argv, USEMAXPOWERTB_USAGE, maxpower_words, WLAN_USEMAXPOWERTB_FIELD);
}

int wlan_txpower_cmd(int argc, char *argv[], void *)
{
	int32_t txpower = 0;
	int n = argc == 2 ? atoi(argv[1]) : 0;
	for (int level : txpower_levels) {
		if (n == level)
			txpower = level;
	}
	if (txpower == 0) {
		puts(TXPOWER_USAGE);
		return -1;
	}
	return wlan_journal_update([&](WlanJournal *j) {
		wlan_journal_set_int(j, WLAN_J_TXPOWER, txpower);
		return true;
	});
}

int wlan_active_cmd(int argc, char *argv[], void *)
{
	return set_ssid_switch(argc, argv, active_switch);
}

int wlan_hidessid_cmd(int argc, char *argv[], void *)
{
	return set_ssid_switch(argc, argv, hidessid_switch);
}

// Any bytes make an SSID; an empty one clears a pending change.
int wlan_ssid_cmd(int argc, char *argv[], void *)
{
	size_t index = 0;
	if (argc != 3 || !wlan_index_valid(argv[1], &index)) {
		puts(SSID_USAGE);
		return -1;
	}
	if (strlen(argv[2]) > SSID_MAX) {
		puts("The max SSID length is 32.");
		return -1;
	}
	return wlan_journal_update([&](WlanJournal *j) {
		wlan_journal_set_text(j, wlan_ap_offset(index), WLAN_SSID_FIELD, argv[2]);
		return true;
	});
}
