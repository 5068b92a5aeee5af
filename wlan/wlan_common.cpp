#include "wlan/wlan_common.h"

#include <cstdlib>

#include "shell/store.h"

// The mode codes are not in the order of the words ("bg" is 0, "b" is 1):
// they are the radio driver's own numbers.
const WlanWord wlan_modes[WLAN_MODE_COUNT] = {
	{ "b", "1", "b" },   { "g", "4", "g" },	  { "n", "6", "n" },
	{ "bg", "0", "bg" }, { "gn", "7", "gn" }, { "bgn", "9", "bgn" },
};

const WlanWord wlan_bandwidths[WLAN_BANDWIDTH_COUNT] = {
	{ "20", "0", "20MHz" },
	{ "40", "2", "40MHz" },
	{ "auto", "1", "auto" },
};

const WlanWord wlan_ciphers[WLAN_CIPHER_COUNT] = {
	{ "tkip", "TKIP", "tkip" },
	{ "aes", "AES", "aes" },
	{ "tkipaes", "TKIPAES", "tkipaes" },
};

const WlanSecurityMode wlan_security_modes[WLAN_SECURITY_MODE_COUNT] = {
	{ "open", 3, "OPEN", WlanKeying::Open },
	{ "wep64", 4, "WEP-64Bits", WlanKeying::Wep64 },
	{ "wep128", 4, "WEP-128Bits", WlanKeying::Wep128 },
	{ "wpapsk", 5, "WPAPSK", WlanKeying::Psk },
	{ "wpa2psk", 5, "WPA2PSK", WlanKeying::Psk },
	{ "wpapskwpa2psk", 5, "WPAPSKWPA2PSK", WlanKeying::Psk },
	{ "wpa", 7, "WPA", WlanKeying::Radius },
	{ "wpa2", 7, "WPA2", WlanKeying::Radius },
	{ "wpawpa2", 7, "WPA1WPA2", WlanKeying::Radius },
};

namespace {

// Every SSID's node and every slot's attribute, spelled out once: the
// display and the journal's replay walk all the slots of an SSID, a store
// read each.
const char *const ENTRY_NODES[] = {"WLan_Entry0", "WLan_Entry1", "WLan_Entry2", "WLan_Entry3"};
static_assert(sizeof ENTRY_NODES / sizeof ENTRY_NODES[0] == WLAN_SSID_COUNT, "one node per SSID");

const char *const MAC_ATTRS[] = {
	"WLan_MAC0", "WLan_MAC1", "WLan_MAC2", "WLan_MAC3", "WLan_MAC4", "WLan_MAC5", "WLan_MAC6",
	"WLan_MAC7", "WLan_MAC8", "WLan_MAC9", "WLan_MAC10", "WLan_MAC11", "WLan_MAC12", "WLan_MAC13",
	"WLan_MAC14", "WLan_MAC15", "WLan_MAC16", "WLan_MAC17", "WLan_MAC18", "WLan_MAC19", "WLan_MAC20",
	"WLan_MAC21", "WLan_MAC22", "WLan_MAC23", "WLan_MAC24", "WLan_MAC25", "WLan_MAC26", "WLan_MAC27",
	"WLan_MAC28", "WLan_MAC29", "WLan_MAC30", "WLan_MAC31"
};
static_assert(sizeof MAC_ATTRS / sizeof MAC_ATTRS[0] == WLAN_MAC_SLOTS, "one attribute per slot");

} // namespace

const char *wlan_entry_node(size_t index)
{
	return ENTRY_NODES[index];
}

const char *wlan_mac_attr(int slot)
{
	return MAC_ATTRS[slot];
}

bool wlan_read(const char *node, const char *attr, char *buf, size_t size)
{
	memset(buf, 0, size);
	return store_get(node, attr, buf, size) == 0;
}

bool wlan_slot_is_free(const char *value)
{
	return memcmp(value, "\0\0\0\0", 4) == 0;
}

const char *wlan_cipher_to_arg(const char *encryp_type)
{
	const WlanWord *cipher = wlan_word_by_stored(wlan_ciphers, encryp_type);
	return cipher ? cipher->arg : encryp_type;
}

const WlanSecurityMode *wlan_security_mode_by_auth(const char *text)
{
	for (const WlanSecurityMode &mode : wlan_security_modes) {
		if (strcmp(mode.auth_mode, text) == 0)
			return &mode;
	}
	return nullptr;
}

bool wlan_index_valid(const char *text, size_t *index)
{
	int n = atoi(text);
	if (n < 0 || n > 3)
		return false;
	*index = static_cast<size_t>(n);
	return true;
}
