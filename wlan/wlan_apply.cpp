#include "wlan/wlan_apply.h"

#include <cstdint>
#include <cstdio>
#include <cstring>

#include "tcapi.h"
#include "wlan/wlan_common.h"
#include "wlan/wlan_handlers.h"

int wlan_changed = 0;

namespace {

constexpr size_t SECURITY_TEXT_SIZE = 100;
char security_text[SECURITY_TEXT_SIZE];

// Longest decimal int32 with its sign and terminator.
constexpr size_t DECIMAL_SIZE = 12;

struct Decimal {
	char text[DECIMAL_SIZE];
};

Decimal decimal(int32_t n)
{
	Decimal d;
	snprintf(d.text, sizeof d.text, "%d", static_cast<int>(n));
	return d;
}

// A pending word (mode, bandwidth) is printed as it is, but only a known
// word has a code to write.
template <size_t N>
void replay_word(const WlanJournal &j, size_t offset, const char *line, const WlanWord (&words)[N],
		 const char *attr, WlanApplyMode mode)
{
	const char *pending = wlan_journal_text(j, offset);
	if (!*pending)
		return;
	printf("%s %s\n", line, pending);
	const WlanWord *word = wlan_word_by_arg(words, pending);
	if (word)
		wlan_set_attr(WLAN_COMMON_NODE, attr, word->stored, mode);
}

void replay_radio(const WlanJournal &j, WlanApplyMode mode)
{
	int32_t channel = wlan_journal_int(j, WLAN_J_CHANNEL);
	if (channel == -1) {
		puts("sys wlan channel auto");
		wlan_set_attr(WLAN_COMMON_NODE, "Channel", "0", mode);
	} else if (channel != 0) {
		printf("sys wlan channel %d\n", static_cast<int>(channel));
		wlan_set_attr(WLAN_COMMON_NODE, "Channel", decimal(channel).text, mode);
	}
	// Never shown: showcmd lists no pending usemaxpowertb.
	const char *maxpower = wlan_journal_text(j, WLAN_J_USEMAXPOWERTB);
	if (*maxpower)
		wlan_set_attr(WLAN_COMMON_NODE, "useMaxPowerTb", strcmp(maxpower, "1") == 0 ? "1" : "0", mode);
	int32_t txpower = wlan_journal_int(j, WLAN_J_TXPOWER);
	if (txpower != 0) {
		printf("sys wlan txpower %d\n", static_cast<int>(txpower));
		wlan_set_attr(WLAN_COMMON_NODE, "TxPower", decimal(txpower).text, mode);
	}
	replay_word(j, WLAN_J_BANDWIDTH, "sys wlan bandwidth", wlan_bandwidths, "HT_BW", mode);
	replay_word(j, WLAN_J_MODE, "sys wlan mode", wlan_modes, "WirelessMode", mode);
}

// One SSID's node and pending block.
struct SsidReplay {
	const WlanJournal &j;
	int index;
	size_t ap;
	const char *node;
	WlanApplyMode mode;

	const char *text(size_t field) const { return wlan_journal_text(j, ap + field); }
	int32_t number(size_t field) const { return wlan_journal_int(j, ap + field); }
	void set(const char *attr, const char *value) const { wlan_set_attr(node, attr, value, mode); }
	// Store fields written without a line of their own.
	void set_pending(size_t field, const char *attr) const
	{
		if (*text(field))
			set(attr, text(field));
	}
};

// Index 0's switch is the radio's own: it goes to WLan_Common, so turning
// SSID 0 off turns the whole radio off.
void replay_switches(const SsidReplay &r)
{
	const char *radio_node = r.index == 0 ? WLAN_COMMON_NODE : r.node;
	int32_t active = r.number(WLAN_AP_ACTIVE);
	if (active == 1 || active == -1) {
		printf("sys wlan active %d %s\n", r.index, active == 1 ? "on" : "off");
		wlan_set_attr(radio_node, "APOn", active == 1 ? "1" : "0", r.mode);
	}
	if (*r.text(WLAN_AP_SSID)) {
		printf("sys wlan ssid %d %s\n", r.index, r.text(WLAN_AP_SSID));
		r.set("SSID", r.text(WLAN_AP_SSID));
	}
	int32_t hide = r.number(WLAN_AP_HIDESSID);
	if (hide == 1 || hide == -1) {
		printf("sys wlan hidessid %d %s\n", r.index, hide == 1 ? "hide" : "disp");
		r.set("HideSSID", hide == 1 ? "1" : "0");
	}
}

// A pending 26-character WEP key has also left its last 6 characters in
// psk, so they are written as WPAPSK too.
void replay_security(const SsidReplay &r)
{
	const char *auth_mode = r.text(WLAN_AP_AUTH_MODE);
	if (*auth_mode) {
		printf("sys wlan securitymode %d %s\n", r.index, wlan_security_text(r.j, static_cast<size_t>(r.index)));
		r.set("AuthMode", auth_mode);
	}
	r.set_pending(WLAN_AP_ENCRYP_TYPE, "EncrypType");
	if (*r.text(WLAN_AP_KEY1)) {
		r.set("Key1Str", r.text(WLAN_AP_KEY1));
		r.set("DefaultKeyID", "1");
	}
	r.set_pending(WLAN_AP_PSK, "WPAPSK");
	r.set_pending(WLAN_AP_RADIUS_SERVER, "RADIUS_Server");
	r.set_pending(WLAN_AP_RADIUS_PORT, "RADIUS_Port");
	r.set_pending(WLAN_AP_RADIUS_KEY, "RADIUS_Key");
}

struct RestrictMode {
	int32_t pending;
	const char *word;
	const char *stored;
};

const RestrictMode restrict_modes[] = {
	{ -1, "disable", "0" },
	{ 1, "allow", "1" },
	{ 2, "deny", "2" },
};

void replay_restrict_mode(const SsidReplay &r)
{
	int32_t pending = r.number(WLAN_AP_RESTRICT_MODE);
	for (const RestrictMode &m : restrict_modes) {
		if (m.pending == pending) {
			printf("sys wlan macfilter restrictmode %d %s\n", r.index, m.word);
			r.set("AccessPolicy", m.stored);
		}
	}
}

const char *mac_row(const SsidReplay &r, size_t list, size_t row)
{
	return wlan_journal_text(r.j, wlan_mac_row_offset(static_cast<size_t>(r.index), list, row));
}

// The slot cursor is kept across the rows: each addition goes into the
// first free slot at or after the one the last addition took.
void replay_mac_additions(const SsidReplay &r)
{
	int slot = 0;
	for (size_t row = 0; row < WLAN_MAC_ROW_WALK && *mac_row(r, WLAN_AP_MAC_ADD, row); row++) {
		const char *mac = mac_row(r, WLAN_AP_MAC_ADD, row);
		printf("sys wlan macfilter add %d %s\n", r.index, mac);
		if (r.mode == WLAN_SHOW)
			continue;
		char value[WLAN_VALUE_SIZE];
		for (; slot < WLAN_MAC_SLOTS; slot++) {
			const char *attr = wlan_mac_attr(slot);
			wlan_read(r.node, attr, value, sizeof value);
			if (wlan_slot_is_free(value)) {
				r.set(attr, mac);
				break;
			}
		}
		if (slot == WLAN_MAC_SLOTS) {
			puts("Too much macfilter rules.");
			return;
		}
	}
}

void replay_mac_deletions(const SsidReplay &r)
{
	for (size_t row = 0; row < WLAN_MAC_ROW_WALK && *mac_row(r, WLAN_AP_MAC_DEL, row); row++) {
		const char *mac = mac_row(r, WLAN_AP_MAC_DEL, row);
		printf("sys wlan macfilter del %d %s\n", r.index, mac);
		if (r.mode == WLAN_SHOW)
			continue;
		char value[WLAN_VALUE_SIZE];
		bool found = false;
		for (int slot = 0; slot < WLAN_MAC_SLOTS && !found; slot++) {
			const char *attr = wlan_mac_attr(slot);
			wlan_read(r.node, attr, value, sizeof value);
			found = strcmp(value, mac) == 0;
			if (found)
				r.set(attr, "");
		}
		if (!found)
			printf("Fail to del macfilter %s.\n", mac);
	}
}

void replay_ssid(const WlanJournal &j, size_t index, WlanApplyMode mode)
{
	SsidReplay r = { j, static_cast<int>(index), wlan_ap_offset(index), wlan_entry_node(index), mode };
	replay_switches(r);
	replay_security(r);
	replay_restrict_mode(r);
	replay_mac_additions(r);
	replay_mac_deletions(r);
}

// Commits reach the radio only through WLan_Common; switching it off and
// on again makes the driver take the new settings.
void restart_radio()
{
	char on[WLAN_VALUE_SIZE];
	wlan_read(WLAN_COMMON_NODE, "APOn", on, sizeof on);
	if (strcmp(on, "0") == 0)
		return;
	tcapi_set(WLAN_COMMON_NODE, "APOn", "0");
	tcapi_commit(WLAN_COMMON_NODE);
	tcapi_set(WLAN_COMMON_NODE, "APOn", "1");
}

void store_empty_journal()
{
	WlanJournal empty;
	wlan_journal_clear(&empty);
	wlan_journal_store(empty);
}

} // namespace

void wlan_set_attr(const char *node, const char *attr, const char *value, WlanApplyMode mode)
{
	if (mode == WLAN_SHOW || !node || !attr || !value)
		return;
	tcapi_set(node, attr, value);
	wlan_changed = 1;
}

void wlan_replay(const WlanJournal &j, WlanApplyMode mode)
{
	replay_radio(j, mode);
	for (size_t index = 0; index < WLAN_SSID_COUNT; index++)
		replay_ssid(j, index, mode);
}

// A save that wrote nothing leaves the journal as it is.
void wlan_apply(WlanApplyMode mode)
{
	WlanJournal j;
	wlan_journal_load(&j);
	wlan_replay(j, mode);
	if (!wlan_changed || mode == WLAN_SHOW)
		return;
	restart_radio();
	tcapi_commit(WLAN_COMMON_NODE);
	tcapi_save();
	store_empty_journal();
}

const char *wlan_security_text(const WlanJournal &j, size_t index)
{
	memset(security_text, 0, sizeof security_text);
	size_t ap = wlan_ap_offset(index);
	const char *field = wlan_journal_text(j, ap + WLAN_AP_AUTH_MODE);
	char auth_mode[WLAN_AUTH_MODE_FIELD.size];
	snprintf(auth_mode, sizeof auth_mode, "%s", field);
	const WlanSecurityMode *mode = wlan_security_mode_by_auth(auth_mode);
	char *out = security_text;
	size_t size = sizeof security_text;
	if (!mode) {
		snprintf(out, size, "%s", field);
		return security_text;
	}
	const char *cipher = wlan_cipher_to_arg(wlan_journal_text(j, ap + WLAN_AP_ENCRYP_TYPE));
	switch (mode->keying) {
	case WlanKeying::Open:
		snprintf(out, size, "%s", mode->word);
		break;
	case WlanKeying::Wep64:
	case WlanKeying::Wep128:
		snprintf(out, size, "%s %s", mode->word, wlan_journal_text(j, ap + WLAN_AP_KEY1));
		break;
	case WlanKeying::Psk:
		snprintf(out, size, "%s %s %s", mode->word, cipher, wlan_journal_text(j, ap + WLAN_AP_PSK));
		break;
	case WlanKeying::Radius:
		snprintf(out, size, "%s %s %s %s %s", mode->word, cipher,
			 wlan_journal_text(j, ap + WLAN_AP_RADIUS_SERVER), wlan_journal_text(j, ap + WLAN_AP_RADIUS_PORT),
			 wlan_journal_text(j, ap + WLAN_AP_RADIUS_KEY));
		break;
	}
	return security_text;
}

int wlan_showcmd_cmd(int argc, char *[], void *)
{
	if (argc != 1) {
		puts("Usage: wlan show");
		return -1;
	}
	wlan_apply(WLAN_SHOW);
	return 0;
}

int wlan_save_cmd(int argc, char *[], void *)
{
	if (argc != 1) {
		puts("Usage: wlan commit");
		return -1;
	}
	wlan_apply(WLAN_APPLY);
	return 0;
}

int wlan_clearcmd_cmd(int argc, char *[], void *)
{
	if (argc != 1) {
		puts("Usage: wlan clear");
		return -1;
	}
	store_empty_journal();
	return 0;
}
