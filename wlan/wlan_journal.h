// The pending-change journal of the wireless commands: one fixed record in
// /tmp/sys_wlan_cmd that each setter loads, changes and writes back, so
// changes collect across invocations until `sys wlan save` applies them.
//
// The record is kept in memory as the file's own bytes, integers big-endian
// on every CPU, so a journal left by one byte order reads the same on the
// other. Working on the bytes (not on a struct) keeps the format's overlaps
// exact: the MAC lists are walked 32 rows deep over 31-row lists, and a
// 26-character WEP key runs on from key1 into psk.
#pragma once

#include <cstddef>
#include <cstdint>

#include "wlan/wlan_common.h"

constexpr const char WLAN_JOURNAL_PATH[] = "/tmp/sys_wlan_cmd";

constexpr size_t WLAN_MAC_ROWS = 31;	  // rows each MAC list has room for
constexpr size_t WLAN_MAC_ROW_WALK = 32; // rows every reader and writer walks
constexpr size_t WLAN_MAC_ROW_SIZE = 20;

// Record header.
constexpr size_t WLAN_J_TXPOWER = 0;	    // int32
constexpr size_t WLAN_J_CHANNEL = 4;	    // int32
constexpr size_t WLAN_J_MODE = 8;	    // char[4]
constexpr size_t WLAN_J_BANDWIDTH = 12;	    // char[8]
constexpr size_t WLAN_J_USEMAXPOWERTB = 20; // char[8]
constexpr size_t WLAN_J_AP = 28;	    // four SSID blocks

// One SSID block; offsets within the block.
constexpr size_t WLAN_AP_ACTIVE = 0;	    // int32
constexpr size_t WLAN_AP_SSID = 4;	    // char[40]
constexpr size_t WLAN_AP_HIDESSID = 44;	    // int32
constexpr size_t WLAN_AP_ENCRYP_TYPE = 48;  // char[8]
constexpr size_t WLAN_AP_AUTH_MODE = 56;    // char[16]
constexpr size_t WLAN_AP_KEY1 = 72;	    // char[20]
constexpr size_t WLAN_AP_PSK = 92;	    // char[68]
constexpr size_t WLAN_AP_RADIUS_SERVER = 160; // char[16]
constexpr size_t WLAN_AP_RADIUS_PORT = 176;   // char[8]
constexpr size_t WLAN_AP_RADIUS_KEY = 184;    // char[128]
constexpr size_t WLAN_AP_RESTRICT_MODE = 312; // int32
constexpr size_t WLAN_AP_MAC_ADD = 316;	      // 31 rows of char[20]
constexpr size_t WLAN_AP_MAC_DEL = 936;	      // 31 rows of char[20]
constexpr size_t WLAN_AP_SIZE = 1556;

constexpr size_t WLAN_JOURNAL_SIZE = WLAN_J_AP + WLAN_SSID_COUNT * WLAN_AP_SIZE;

static_assert(WLAN_AP_MAC_DEL == WLAN_AP_MAC_ADD + WLAN_MAC_ROWS * WLAN_MAC_ROW_SIZE, "31 addition rows");
static_assert(WLAN_AP_SIZE == WLAN_AP_MAC_DEL + WLAN_MAC_ROWS * WLAN_MAC_ROW_SIZE, "31 deletion rows");
static_assert(WLAN_JOURNAL_SIZE == 6252, "the journal file's record size");

// Row 31 of the last SSID's deletions lies behind the record, and a hostile
// file may leave any field unterminated: the buffer keeps a row's worth of
// zero bytes behind the record and a final zero, so every text read from it
// ends inside it. Only the record's own bytes ever reach the file.
constexpr size_t WLAN_JOURNAL_SPARE = WLAN_MAC_ROW_SIZE;

struct WlanJournal {
	unsigned char bytes[WLAN_JOURNAL_SIZE + WLAN_JOURNAL_SPARE + 1];
};

// A text field: where it starts, its size, and how many bytes a value
// written to it may take with its terminator (its size, except where the
// format lets a value run on into the next field).
struct WlanTextField {
	size_t offset;
	size_t size;
	size_t room;
};

constexpr WlanTextField WLAN_MODE_FIELD = { WLAN_J_MODE, 4, 4 };
constexpr WlanTextField WLAN_BANDWIDTH_FIELD = { WLAN_J_BANDWIDTH, 8, 8 };
constexpr WlanTextField WLAN_USEMAXPOWERTB_FIELD = { WLAN_J_USEMAXPOWERTB, 8, 8 };

// The text fields of one SSID block, offsets within the block.
constexpr WlanTextField WLAN_SSID_FIELD = { WLAN_AP_SSID, 40, 40 };
constexpr WlanTextField WLAN_ENCRYP_TYPE_FIELD = { WLAN_AP_ENCRYP_TYPE, 8, 8 };
constexpr WlanTextField WLAN_AUTH_MODE_FIELD = { WLAN_AP_AUTH_MODE, 16, 16 };
// key1 holds 20 bytes, but a 26-character WEP key is kept whole: with its
// terminator it runs on into the first 7 bytes of psk, which then holds the
// key's last 6 characters (and save writes them as the pre-shared key).
constexpr WlanTextField WLAN_KEY1_FIELD = { WLAN_AP_KEY1, 20, 27 };
constexpr WlanTextField WLAN_PSK_FIELD = { WLAN_AP_PSK, 68, 68 };
constexpr WlanTextField WLAN_RADIUS_SERVER_FIELD = { WLAN_AP_RADIUS_SERVER, 16, 16 };
constexpr WlanTextField WLAN_RADIUS_PORT_FIELD = { WLAN_AP_RADIUS_PORT, 8, 8 };
constexpr WlanTextField WLAN_RADIUS_KEY_FIELD = { WLAN_AP_RADIUS_KEY, 128, 128 };
// One row of a MAC list.
constexpr WlanTextField WLAN_MAC_ROW_FIELD = { 0, WLAN_MAC_ROW_SIZE, WLAN_MAC_ROW_SIZE };

// Offset of SSID block INDEX (0 to 3) within the record.
constexpr size_t wlan_ap_offset(size_t index)
{
	return WLAN_J_AP + index * WLAN_AP_SIZE;
}

// Offset of row ROW (0 to 31) of a MAC list of SSID INDEX; LIST is
// WLAN_AP_MAC_ADD or WLAN_AP_MAC_DEL. Row 31 is the row after the list.
constexpr size_t wlan_mac_row_offset(size_t index, size_t list, size_t row)
{
	return wlan_ap_offset(index) + list + row * WLAN_MAC_ROW_SIZE;
}

// An all-zero record: nothing pending.
void wlan_journal_clear(WlanJournal *j);

int32_t wlan_journal_int(const WlanJournal &j, size_t offset);
void wlan_journal_set_int(WlanJournal *j, size_t offset, int32_t value);

// The text at OFFSET, read up to its terminator (which may lie in a later
// field, as the format's overlaps have it; never past the buffer).
const char *wlan_journal_text(const WlanJournal &j, size_t offset);

// Clears the field and copies TEXT into its room with its terminator, cut
// to fit. BASE is the offset the field's own offset is counted from (an
// SSID block's, or 0 for the header).
void wlan_journal_set_text(WlanJournal *j, size_t base, WlanTextField field, const char *text);

// Loads the record from PATH: all zero first, then as many of its bytes as
// the file holds. A missing, unreadable or unsafe file leaves it all zero.
void wlan_journal_load_file(const char *path, WlanJournal *j);

// wlan_journal_load_file on the journal's own path.
void wlan_journal_load(WlanJournal *j);

// Writes the record's bytes to the journal, replacing what it held. False
// (after printing "Fail to set WirelessParameter.") when it cannot be opened.
bool wlan_journal_store(const WlanJournal &j);

// The setters' pattern once their arguments have passed: load the journal,
// let CHANGE edit the record, store it. CHANGE returns false (after printing
// why) to refuse, and then nothing is stored and the result is -1. A journal
// that cannot be written still gives 0: the setter has said so already.
template <typename Change>
int wlan_journal_update(Change change)
{
	WlanJournal j;
	wlan_journal_load(&j);
	if (!change(&j))
		return -1;
	wlan_journal_store(j);
	return 0;
}
