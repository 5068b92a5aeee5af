// Factory commands that change the manufacturing record and write it back:
// atwz, atsn, atwp, atmt, with atsw and romreset beside them. Writing the
// record rewrites the boot loader's whole block, so every write needs both
// a fresh block-0 permission (sys atbt 1) and the record's debug flag at 1,
// and uses the permission up.
#include "factory/factory_cmds.h"

#include <cstdio>
#include <cstring>

#include "factory/factory_common.h"
#include "flash/mrd.h"
#include "shell_cmd.h"

namespace {

constexpr size_t MAC_TEXT_LEN = 12;
constexpr size_t PSK_SHOW_SIZE = 20;
constexpr unsigned char DEBUG_FLAG_WRITABLE = 1;

// Checks the permission and the debug flag of a record already read;
// false after the refusal has been printed.
bool may_write_record(const unsigned char *mrd)
{
	if (get_block0_permission() != 1 || mrd[MRD_DEBUG_FLAG] != DEBUG_FLAG_WRITABLE) {
		// The marker's leading newline ends this line.
		printf("Block0 is forbidden to write!");
		print_error();
		return false;
	}
	return true;
}

// Reads the record and applies the write guard. 1 = may write, 0 = record
// unreadable (the command then returns 0), -1 = forbidden.
int read_record_for_write(unsigned char *mrd)
{
	if (!MRDread(mrd)) {
		printf("Fail to get MRD information!\n");
		print_error();
		return 0;
	}
	return may_write_record(mrd) ? 1 : -1;
}

void write_record(const unsigned char *mrd)
{
	MRDwrite(mrd);
	set_block0_permission(0);
}

// Every numeric argument of atwz, atmt and romreset: hexadecimal, and only
// its low byte is kept.
unsigned char low_byte_of_hex(const char *text)
{
	return static_cast<unsigned char>(lib_xtoi(text) & 0xFF);
}

// Twelve hex digits into six bytes. A longer text has its leading excess
// turned into zeros first, so only its first twelve characters count, with
// that many of them zeroed; the station's tools have always relied on it.
bool parse_mac_text(const char *text, unsigned char *mac)
{
	size_t len = strlen(text);
	if (len < MAC_TEXT_LEN)
		return false;
	char digits[MAC_TEXT_LEN + 1];
	memcpy(digits, text, MAC_TEXT_LEN);
	digits[MAC_TEXT_LEN] = '\0';
	size_t zeroed = len - MAC_TEXT_LEN < MAC_TEXT_LEN ? len - MAC_TEXT_LEN : MAC_TEXT_LEN;
	memset(digits, '0', zeroed);
	for (size_t i = 0; i < MRD_ETHER_ADDR_LEN; i++) {
		char pair[3] = { digits[2 * i], digits[2 * i + 1], '\0' };
		mac[i] = low_byte_of_hex(pair);
	}
	return true;
}

bool is_usable_mac(const unsigned char *mac)
{
	static const unsigned char zeros[MRD_ETHER_ADDR_LEN] = {};
	static const unsigned char ones[MRD_ETHER_ADDR_LEN] = { 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF };
	return !(mac[0] & 1) && memcmp(mac, zeros, sizeof zeros) != 0 && memcmp(mac, ones, sizeof ones) != 0;
}

void print_atwz_summary(const unsigned char *mrd)
{
	const unsigned char *mac = mrd + MRD_ETHER_ADDR;
	printf("MAC address  : %02X:%02X:%02X:%02X:%02X:%02X\n", mac[0], mac[1], mac[2], mac[3], mac[4], mac[5]);
	printf("Country Code : %02X\n", mrd[MRD_COUNTRY_CODE]);
	printf("EngDebugFlag : %02X\n", mrd[MRD_DEBUG_FLAG]);
	printf("FeatureBit   : %02X\n", mrd[MRD_FEATURE_BITS]);
	printf("MAC Number   : %02X\n", mrd[MRD_MAC_QUANTITY]);
}

int show_wpa_psk()
{
	unsigned char mrd[MRD_SIZE];
	if (!MRDread(mrd)) {
		printf("Fail to get MRD information!\n");
		print_error();
		return 0;
	}
	char key[PSK_SHOW_SIZE];
	memset(key, 0, sizeof key);
	memcpy(key, mrd + MRD_WPA_PSK, MRD_WPA_PSK_LEN);
	printf("WPA PSK Key: %s\n", key);
	return 0;
}

} // namespace

// sys atwz MAC [country] [debugflag] [featurebits] [reboot]
int atwz_cmd(int argc, char *argv[], void *)
{
	unsigned char mrd[MRD_SIZE];
	int guard = read_record_for_write(mrd);
	if (guard != 1)
		return guard;
	if (argc < 2 || argc > 6)
		return -1;
	// A MAC text too short to hold twelve digits is refused before anything
	// is touched.
	if (!parse_mac_text(argv[1], mrd + MRD_ETHER_ADDR)) {
		print_error();
		return -1;
	}
	if (argc > 2)
		mrd[MRD_COUNTRY_CODE] = low_byte_of_hex(argv[2]);
	if (argc > 3)
		mrd[MRD_DEBUG_FLAG] = low_byte_of_hex(argv[3]);
	if (argc > 4)
		mrd[MRD_FEATURE_BITS] = low_byte_of_hex(argv[4]);
	bool reboot = argc > 5 && low_byte_of_hex(argv[5]) != 0;
	const unsigned char *mac = mrd + MRD_ETHER_ADDR;
	// Deliberately no marker and success: the station retries with the
	// next address from its pool.
	if (!is_usable_mac(mac)) {
		printf("MAC addr is not valid!!!!!\n");
		return 0;
	}
	if (mac[MRD_ETHER_ADDR_LEN - 1] % 8 != 0) {
		printf("MAC is not valid. Must multiples of eight .\n");
		print_error();
		return -1;
	}
	print_atwz_summary(mrd);
	write_record(mrd);
	if (reboot)
		run_system_cmd("reboot");
	return 0;
}

int atsn_cmd(int argc, char *argv[], void *)
{
	unsigned char mrd[MRD_SIZE];
	int guard = read_record_for_write(mrd);
	if (guard != 1)
		return guard;
	if (argc != 2 || strlen(argv[1]) != MRD_SERIAL_NUM_LEN) {
		print_error();
		return -1;
	}
	printf("Serial Number : ");
	for (size_t i = 0; i < MRD_SERIAL_NUM_LEN; i++) {
		mrd[MRD_SERIAL_NUM + i] = static_cast<unsigned char>(argv[1][i]);
		putchar(argv[1][i]);
	}
	putchar('\n');
	write_record(mrd);
	return 0;
}

int atwp_cmd(int argc, char *argv[], void *)
{
	unsigned char mrd[MRD_SIZE];
	int guard = read_record_for_write(mrd);
	if (guard != 1)
		return guard;
	if (argc != 2 || strlen(argv[1]) > MRD_WPA_PSK_LEN) {
		print_error();
		return -1;
	}
	memset(mrd + MRD_WPA_PSK, 0, MRD_WPA_PSK_LEN);
	memcpy(mrd + MRD_WPA_PSK, argv[1], strlen(argv[1]));
	MRDwrite(mrd);
	show_wpa_psk();
	set_block0_permission(0);
	return 0;
}

int atsw_cmd(int, char *[], void *)
{
	return show_wpa_psk();
}

int atmt_cmd(int argc, char *argv[], void *)
{
	unsigned char mrd[MRD_SIZE];
	if (!MRDread(mrd)) {
		printf("Fail to get MRD information!\n");
		print_error();
		return 0;
	}
	if (argc == 1) {
		printf("HTP_Switch = %d \n", mrd[MRD_HTP_SWITCH]);
		return 0;
	}
	if (!may_write_record(mrd))
		return -1;
	mrd[MRD_HTP_SWITCH] = low_byte_of_hex(argv[1]);
	printf("HTP_Switch = %d\n", mrd[MRD_HTP_SWITCH]);
	write_record(mrd);
	print_ok();
	return 0;
}

// Only the store changes: reboot type 2 resets with the running
// configuration, 4 with the factory one.
int romreset_cmd(int argc, char *argv[], void *)
{
	const char *set_type = nullptr;
	if (argc == 1) {
		set_type = "/userfs/bin/tcapi set System_Entry reboot_type 2";
	} else if (argc == 2) {
		unsigned char choice = low_byte_of_hex(argv[1]);
		if (choice == 0)
			set_type = "/userfs/bin/tcapi set System_Entry reboot_type 4";
		else if (choice == 1)
			set_type = "/userfs/bin/tcapi set System_Entry reboot_type 2";
	}
	if (!set_type) {
		print_error();
		return -1;
	}
	run_system_cmd(set_type);
	run_system_cmd("/userfs/bin/tcapi commit System_Entry");
	print_ok();
	return 0;
}
