// What the wireless commands share: the store's node and attribute names,
// store reads, and the words the setters accept with the codes the store
// keeps for them (save turns words into codes, dispinfo codes into words).
#pragma once

#include <cstddef>
#include <cstring>

constexpr const char WLAN_COMMON_NODE[] = "WLan_Common";

// SSIDs, nodes WLan_Entry0 to WLan_Entry3.
constexpr size_t WLAN_SSID_COUNT = 4;

// Store values are read into buffers of this size, cleared first.
constexpr size_t WLAN_VALUE_SIZE = 200;
// Room for "WLan_Entry<i>" and "WLan_MAC<s>".
constexpr size_t WLAN_NAME_SIZE = 16;
// The MAC filter slots of one SSID in the store.
constexpr int WLAN_MAC_SLOTS = 32;

// "WLan_Entry<index>", INDEX from 0 to WLAN_SSID_COUNT - 1.
const char *wlan_entry_node(size_t index);
// "WLan_MAC<slot>", SLOT from 0 to WLAN_MAC_SLOTS - 1.
const char *wlan_mac_attr(int slot);

// Clears buf, then reads NODE ATTR into it (bounded). A value that cannot be
// read stays the empty text. True when found.
bool wlan_read(const char *node, const char *attr, char *buf, size_t size);

// A MAC slot read with wlan_read is free when its first four bytes are zero.
bool wlan_slot_is_free(const char *value);

// A word typed at the console, the code the store keeps for it and the word
// dispinfo shows for that code.
struct WlanWord {
	const char *arg;
	const char *stored;
	const char *shown;
};

constexpr size_t WLAN_MODE_COUNT = 6;
constexpr size_t WLAN_BANDWIDTH_COUNT = 3;
constexpr size_t WLAN_CIPHER_COUNT = 3;
extern const WlanWord wlan_modes[WLAN_MODE_COUNT];
extern const WlanWord wlan_bandwidths[WLAN_BANDWIDTH_COUNT];
extern const WlanWord wlan_ciphers[WLAN_CIPHER_COUNT];

// The row whose arg (or stored code) equals TEXT exactly, or nullptr.
template <size_t N>
const WlanWord *wlan_word_by_arg(const WlanWord (&words)[N], const char *text);
template <size_t N>
const WlanWord *wlan_word_by_stored(const WlanWord (&words)[N], const char *text);

// The cipher's word for a stored EncrypType: "TKIP" gives "tkip", "AES"
// "aes", "TKIPAES" "tkipaes"; any other text is returned as it is.
const char *wlan_cipher_to_arg(const char *encryp_type);

// How a security mode is keyed, which decides the arguments it takes.
enum class WlanKeying { Open, Wep64, Wep128, Psk, Radius };

// One security mode: the word `securitymode` takes, the argument count it
// needs (the sub-command word included), and the AuthMode the store keeps.
struct WlanSecurityMode {
	const char *word;
	int argc;
	const char *auth_mode;
	WlanKeying keying;
};

constexpr size_t WLAN_SECURITY_MODE_COUNT = 9;
// In the order `securitymode` tries them.
extern const WlanSecurityMode wlan_security_modes[WLAN_SECURITY_MODE_COUNT];

// The mode whose AuthMode equals TEXT exactly, or nullptr.
const WlanSecurityMode *wlan_security_mode_by_auth(const char *text);

// Per-SSID commands take an index that is valid when atoi of it is 0 to 3
// (so a word that is no number means SSID 0).
bool wlan_index_valid(const char *text, size_t *index);

template <size_t N>
const WlanWord *wlan_word_by_arg(const WlanWord (&words)[N], const char *text)
{
	for (const WlanWord &w : words) {
		if (strcmp(w.arg, text) == 0)
			return &w;
	}
	return nullptr;
}

template <size_t N>
const WlanWord *wlan_word_by_stored(const WlanWord (&words)[N], const char *text)
{
	for (const WlanWord &w : words) {
		if (strcmp(w.stored, text) == 0)
			return &w;
	}
	return nullptr;
}
