#include "wlan/wlan_common.h"

#include <cstdio>
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

// The display names dozens of slots, each a store read: spelled out here, a
// name costs a few instructions, not a formatted print.
void wlan_numbered_name(char *name, size_t size, const char *prefix, size_t number)
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

void wlan_entry_node(char *name, size_t size, size_t index)
{
	wlan_numbered_name(name, size, "WLan_Entry", index);
}

void wlan_mac_attr(char *name, size_t size, int slot)
{
	wlan_numbered_name(name, size, "WLan_MAC", static_cast<size_t>(slot));
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
