// `dispinfo`: the wireless settings as the store holds them (not the
// pending journal), in the words the setters take. Keys, pre-shared keys and
// RADIUS secrets are shown in plain text: this is the installer's screen.
#include <cstdio>
#include <cstring>

#include "lib/out_text.h"
#include "wlan/wlan_common.h"
#include "wlan/wlan_handlers.h"

namespace {

// PREFIX and NUMBER in decimal ("ap0", "mac12"), cut to SIZE bytes with its
// terminator as snprintf cuts it, without a formatted print.
void numbered_label(char *name, size_t size, const char *prefix, size_t number)
{
	if (size == 0)
		return;
	char digits[24];
	size_t count = 0;
	do {
		digits[count++] = static_cast<char>('0' + number % 10);
		number /= 10;
	} while (number);
	size_t len = 0;
	for (; *prefix && len + 1 < size; prefix++)
		name[len++] = *prefix;
	while (count && len + 1 < size)
		name[len++] = digits[--count];
	name[len] = '\0';
}

constexpr const char SEPARATOR[] = "==================================";

struct Value {
	char text[WLAN_VALUE_SIZE];
};

// The empty text when the value cannot be read.
Value read_value(const char *node, const char *attr)
{
	Value v;
	wlan_read(node, attr, v.text, sizeof v.text);
	return v;
}

bool value_is(const char *node, const char *attr, const char *expected)
{
	return strcmp(read_value(node, attr).text, expected) == 0;
}

// A stored code as its word; a code with no word as it is.
template <size_t N>
const char *shown(const WlanWord (&words)[N], const char *code)
{
	const WlanWord *word = wlan_word_by_stored(words, code);
	return word ? word->shown : code;
}

// True when the radio is on.
bool show_radio()
{
	bool radio_on = value_is(WLAN_COMMON_NODE, "APOn", "1");
	puts(SEPARATOR);
	out_texts({"wireless:\t", radio_on ? "on" : "off", "\n"});
	Value channel = read_value(WLAN_COMMON_NODE, "Channel");
	out_texts({"channel:\t", strcmp(channel.text, "0") == 0 ? "auto" : channel.text, "\n"});
	out_texts({"mode:\t\t", shown(wlan_modes, read_value(WLAN_COMMON_NODE, "WirelessMode").text), "\n"});
	out_texts({"bandwidth:\t", shown(wlan_bandwidths, read_value(WLAN_COMMON_NODE, "HT_BW").text), "\n"});
	out_texts({"txpower:\t", read_value(WLAN_COMMON_NODE, "TxPower").text, "%\n"});
	puts(SEPARATOR);
	return radio_on;
}

// SSID 0 is on with the radio. Another SSID is on only when both it and the
// radio are; one whose switch is neither "1" nor "0" was never configured,
// and nothing more of it is shown. False for such an SSID.
bool show_status(const char *node, size_t index, bool radio_on)
{
	if (index == 0) {
		puts(radio_on ? "status:\t\ton" : "status:\t\toff");
		return true;
	}
	Value on = read_value(node, "APOn");
	bool configured = strcmp(on.text, "1") == 0 || strcmp(on.text, "0") == 0;
	puts(radio_on && strcmp(on.text, "1") == 0 ? "status:\t\ton" : "status:\t\toff");
	if (!configured)
		puts(SEPARATOR);
	return configured;
}

void show_cipher(const char *node)
{
	const WlanWord *cipher = wlan_word_by_stored(wlan_ciphers, read_value(node, "EncrypType").text);
	if (cipher)
		out_texts({"encryptype:\t", cipher->shown, "\n"});
}

void show_security(const char *node)
{
	const WlanSecurityMode *mode = wlan_security_mode_by_auth(read_value(node, "AuthMode").text);
	if (!mode)
		return;
	out_texts({"securitymode:\t", mode->word, "\n"});
	switch (mode->keying) {
	case WlanKeying::Open:
		break;
	case WlanKeying::Wep64:
	case WlanKeying::Wep128:
		out_texts({"wepkey:\t\t", read_value(node, "Key1Str").text, "\n"});
		break;
	case WlanKeying::Psk:
		show_cipher(node);
		out_texts({"psk:\t\t", read_value(node, "WPAPSK").text, "\n"});
		break;
	case WlanKeying::Radius:
		show_cipher(node);
		out_texts({"srvip:\t\t", read_value(node, "RADIUS_Server").text, "\n"});
		out_texts({"srvport:\t", read_value(node, "RADIUS_Port").text, "\n"});
		out_texts({"srvsecret:\t", read_value(node, "RADIUS_Key").text, "\n"});
		break;
	}
}

// Entries are numbered as they are printed, not by their slot.
void show_mac_filter(const char *node)
{
	puts("");
	puts("mac filter");
	Value policy = read_value(node, "AccessPolicy");
	if (strcmp(policy.text, "1") == 0)
		puts("restrictmode:\tallow");
	else if (strcmp(policy.text, "2") == 0)
		puts("restrictmode:\tdeny");
	else
		puts("restrictmode:\tdisable");
	size_t shown_count = 0;
	char label[WLAN_NAME_SIZE];
	for (int slot = 0; slot < WLAN_MAC_SLOTS; slot++) {
		Value mac = read_value(node, wlan_mac_attr(slot));
		if (wlan_slot_is_free(mac.text))
			continue;
		numbered_label(label, sizeof label, "mac", shown_count++);
		out_texts({label, ":\t\t", mac.text, "\n"});
	}
}

void show_ssid(size_t index, bool radio_on)
{
	const char *node = wlan_entry_node(index);
	char label[WLAN_NAME_SIZE];
	numbered_label(label, sizeof label, "ap", index);
	out_texts({label, "\n"});
	if (!show_status(node, index, radio_on))
		return;
	out_texts({"ssid:\t\t", read_value(node, "SSID").text, "\n"});
	puts(value_is(node, "HideSSID", "1") ? "hidessid:\thide" : "hidessid:\tdisp");
	show_security(node);
	show_mac_filter(node);
	puts(SEPARATOR);
}

} // namespace

// Extra words are ignored; nothing is changed.
int wlan_dispinfo_cmd(int, char *[], void *)
{
	bool radio_on = show_radio();
	for (size_t index = 0; index < WLAN_SSID_COUNT; index++)
		show_ssid(index, radio_on);
	return 0;
}
