// `securitymode`: an SSID's authentication mode with its cipher, key or
// RADIUS server, checked and recorded in the journal.
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "wlan/wlan_common.h"
#include "wlan/wlan_handlers.h"
#include "wlan/wlan_journal.h"

namespace {

void print_securitymode_usage()
{
	puts("Usage: wlan securitymode ap_index[0~3] open");
	puts("Usage: wlan securitymode ap_index[0~3] [wep64|wep128] wepkey");
	puts("Usage: wlan securitymode ap_index[0~3] [wpapsk|wpa2psk|wpapskwpa2psk] [tkip|aes|tkipaes] psk");
	puts("Usage: wlan securitymode ap_index[0~3] [wpa|wpa2|wpawpa2] [tkip|aes|tkipaes] srvip srvport srvsecret");
}

// Character classes on the byte as a signed value: nothing at or above 0x80
// passes either.
bool is_key_alnum(signed char c)
{
	return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

bool is_key_hex(signed char c)
{
	return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'F') || (c >= 'a' && c <= 'f');
}

bool all_of(const char *text, bool (*in_class)(signed char))
{
	for (; *text; text++) {
		if (!in_class(static_cast<signed char>(*text)))
			return false;
	}
	return true;
}

// The "shoule" misspellings are the gateway's own text, kept as it is.
struct WepRule {
	int bits;
	size_t alnum_length;
	size_t hex_length;
	const char *length_message;
	const char *alnum_message;
	const char *hex_message;
};

const WepRule wep_rules[] = {
	{ 64, 5, 10, "Invalid wep64 key, key length shoule be 5 or 10.",
	  "Invalid wep64 key, shoule be [0~9|a~z|A~Z].", "Invalid wep64 key, shoule be [0~9|a~f|A~F]." },
	{ 128, 13, 26, "Invalid wep128 key, key length shoule be 13 or 26.",
	  "Invalid wep128 key, shoule be [0~9|a~z|A~Z].", "Invalid wep128 key, shoule be [0~9|a~f|A~F]." },
};

// 0 when KEY suits a BITS-bit WEP key, else 1 after printing why.
int wlan_check_wep_key(const char *key, int bits)
{
	const WepRule *rule = nullptr;
	for (const WepRule &r : wep_rules) {
		if (r.bits == bits)
			rule = &r;
	}
	if (!rule) {
		puts("Unknown wep key type");
		return 1;
	}
	size_t len = strlen(key);
	const char *message = nullptr;
	if (len == rule->alnum_length)
		message = all_of(key, is_key_alnum) ? nullptr : rule->alnum_message;
	else if (len == rule->hex_length)
		message = all_of(key, is_key_hex) ? nullptr : rule->hex_message;
	else
		message = rule->length_message;
	if (message) {
		puts(message);
		return 1;
	}
	return 0;
}

constexpr size_t PSK_MIN = 8;
constexpr size_t PSK_HEX = 64;

// A passphrase of 8 to 63 bytes is any bytes; 64 characters are a raw key
// in hexadecimal.
bool wlan_check_psk(const char *psk)
{
	size_t len = strlen(psk);
	if (len < PSK_MIN || len > PSK_HEX) {
		puts("Invalid psk, key length shoule be 8~64.");
		return false;
	}
	if (len == PSK_HEX && !all_of(psk, is_key_hex)) {
		puts("Invalid psk, shoule be [0~9|a~f|A~F].");
		return false;
	}
	return true;
}

// The stored EncrypType for a cipher word, or nullptr after the refusal.
const char *wlan_cipher_from_arg(const char *word)
{
	const WlanWord *cipher = wlan_word_by_arg(wlan_ciphers, word);
	if (!cipher) {
		puts("Invalid EncrypTypeMode, shoule be [tkip|aes|tkipaes].");
		return nullptr;
	}
	return cipher->stored;
}

// Any text inet_aton takes ("10.1" included) is kept as typed.
bool wlan_check_ip(const char *text)
{
	struct in_addr addr;
	if (inet_aton(text, &addr) == 0) {
		puts("Invalid IP address.");
		return false;
	}
	return true;
}

// An empty secret passes although the message asks for 1~127: kept so.
constexpr size_t SECRET_LIMIT = 128;
constexpr int PORT_MAX = 65535;

bool check_radius(const char *port, const char *secret)
{
	int n = atoi(port);
	if (n < 1 || n > PORT_MAX) {
		puts("Server Port should be 1~65535.");
		return false;
	}
	if (strlen(secret) >= SECRET_LIMIT) {
		puts("The length of Shared Secret should be 1~127.");
		return false;
	}
	return true;
}

// The mode word taken only with its own argument count.
const WlanSecurityMode *find_mode(const char *word, int argc)
{
	for (const WlanSecurityMode &mode : wlan_security_modes) {
		if (strcmp(mode.word, word) == 0 && mode.argc == argc)
			return &mode;
	}
	return nullptr;
}

// What a checked command records besides AuthMode.
struct SecurityFields {
	const char *encryp_type;
	const char *key1;
	const char *psk;
	const char *radius_server;
	const char *radius_port;
	const char *radius_key;
};

// The mode's own checks, printing only their own message; false to refuse.
bool check_mode(const WlanSecurityMode &mode, char *argv[], SecurityFields *f)
{
	switch (mode.keying) {
	case WlanKeying::Open:
		f->encryp_type = "NONE";
		return true;
	case WlanKeying::Wep64:
	case WlanKeying::Wep128:
		if (wlan_check_wep_key(argv[3], mode.keying == WlanKeying::Wep64 ? 64 : 128) != 0)
			return false;
		f->encryp_type = "WEP";
		f->key1 = argv[3];
		return true;
	case WlanKeying::Psk:
		if (!wlan_check_psk(argv[4]))
			return false;
		f->encryp_type = wlan_cipher_from_arg(argv[3]);
		f->psk = argv[4];
		return f->encryp_type != nullptr;
	case WlanKeying::Radius:
		f->encryp_type = wlan_cipher_from_arg(argv[3]);
		if (!f->encryp_type || !wlan_check_ip(argv[4]) || !check_radius(argv[5], argv[6]))
			return false;
		f->radius_server = argv[4];
		f->radius_port = argv[5];
		f->radius_key = argv[6];
		return true;
	}
	return false;
}

void record_text(WlanJournal *j, size_t ap, WlanTextField field, const char *text)
{
	if (text)
		wlan_journal_set_text(j, ap, field, text);
}

} // namespace

// A mode records only its own fields: those of an earlier pending mode stay
// and are written at save as well.
int wlan_securitymode_cmd(int argc, char *argv[], void *)
{
	size_t index = 0;
	const WlanSecurityMode *mode = nullptr;
	if (argc >= 3 && wlan_index_valid(argv[1], &index))
		mode = find_mode(argv[2], argc);
	if (!mode) {
		print_securitymode_usage();
		return -1;
	}
	SecurityFields f = {};
	if (!check_mode(*mode, argv, &f))
		return -1;
	return wlan_journal_update([&](WlanJournal *j) {
		size_t ap = wlan_ap_offset(index);
		wlan_journal_set_text(j, ap, WLAN_AUTH_MODE_FIELD, mode->auth_mode);
		record_text(j, ap, WLAN_ENCRYP_TYPE_FIELD, f.encryp_type);
		record_text(j, ap, WLAN_KEY1_FIELD, f.key1);
		record_text(j, ap, WLAN_PSK_FIELD, f.psk);
		record_text(j, ap, WLAN_RADIUS_SERVER_FIELD, f.radius_server);
		record_text(j, ap, WLAN_RADIUS_PORT_FIELD, f.radius_port);
		record_text(j, ap, WLAN_RADIUS_KEY_FIELD, f.radius_key);
		return true;
	});
}
