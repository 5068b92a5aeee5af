// The wireless journal's bytes: each setter's field at its offset, integers
// big-endian on both machines, and where deletions run past their area.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

#include "helpers.h"
#include "wlan/wlan_apply.h"
#include "wlan/wlan_handlers.h"
#include "wlan/wlan_journal.h"

namespace {

using Handler = int (*)(int, char *[], void *);

int run(Handler handler, std::vector<std::string> words)
{
	std::vector<char *> argv;
	for (std::string &w : words)
		argv.push_back(&w[0]);
	argv.push_back(nullptr);
	return handler(static_cast<int>(words.size()), argv.data(), nullptr);
}

std::string text_bytes(const char *text, size_t size)
{
	std::string s(size, '\0');
	memcpy(&s[0], text, strlen(text));
	return s;
}

std::string int_bytes(unsigned a, unsigned b, unsigned c, unsigned d)
{
	return std::string{ char(a), char(b), char(c), char(d) };
}

class WlanJournalFile : public ::testing::Test {
protected:
	void SetUp() override { unlink(WLAN_JOURNAL_PATH); }
	void TearDown() override { unlink(WLAN_JOURNAL_PATH); }
	std::string journal() const { return read_file(WLAN_JOURNAL_PATH); }

	// The journal holds BYTES at OFFSET and zeros everywhere else.
	void expect_only(size_t offset, const std::string &bytes) const
	{
		std::string expected(WLAN_JOURNAL_SIZE, '\0');
		expected.replace(offset, bytes.size(), bytes);
		std::string actual = journal();
		ASSERT_EQ(actual.size(), WLAN_JOURNAL_SIZE);
		for (size_t i = 0; i < WLAN_JOURNAL_SIZE; i++)
			ASSERT_EQ(actual[i], expected[i]) << "byte " << i << " (field at " << offset << ")";
	}
	SavedFiles saved_{ WLAN_JOURNAL_PATH };
};

constexpr size_t AP2 = 28 + 2 * 1556;

TEST_F(WlanJournalFile, EachSetterWritesItsFieldAtItsOffset)
{
	const std::string mac = "00:11:22:33:44:55";
	const struct { Handler handler; std::vector<std::string> words; size_t offset; std::string bytes; } cases[] = {
		{ wlan_txpower_cmd, { "txpower", "60" }, 0, int_bytes(0, 0, 0, 60) },
		{ wlan_channel_cmd, { "channel", "11" }, 4, int_bytes(0, 0, 0, 11) },
		{ wlan_channel_cmd, { "channel", "auto" }, 4, int_bytes(0xff, 0xff, 0xff, 0xff) },
		{ wlan_mode_cmd, { "mode", "bgn" }, 8, text_bytes("bgn", 4) },
		{ wlan_bandwidth_cmd, { "bandwidth", "auto" }, 12, text_bytes("auto", 8) },
		{ wlan_usemaxpowertb_cmd, { "usemaxpowertb", "1" }, 20, text_bytes("1", 8) },
		{ wlan_active_cmd, { "active", "2", "on" }, AP2 + 0, int_bytes(0, 0, 0, 1) },
		{ wlan_active_cmd, { "active", "2", "off" }, AP2 + 0, int_bytes(0xff, 0xff, 0xff, 0xff) },
		{ wlan_ssid_cmd, { "ssid", "2", std::string(32, 'S') }, AP2 + 4, text_bytes(std::string(32, 'S').c_str(), 40) },
		{ wlan_hidessid_cmd, { "hidessid", "2", "hide" }, AP2 + 44, int_bytes(0, 0, 0, 1) },
		{ wlan_restrictmode_cmd, { "restrictmode", "2", "deny" }, AP2 + 312, int_bytes(0, 0, 0, 2) },
		{ wlan_mac_add_cmd, { "add", "2", mac }, AP2 + 316, text_bytes(mac.c_str(), 20) },
		{ wlan_mac_del_cmd, { "del", "2", mac }, AP2 + 936, text_bytes(mac.c_str(), 20) },
		// encryp_type 48, auth_mode 56, key1 72
		{ wlan_securitymode_cmd, { "securitymode", "2", "wep64", "abcde" }, AP2 + 48,
		  text_bytes("WEP", 8) + text_bytes("WEP-64Bits", 16) + text_bytes("abcde", 20) },
		// psk 92
		{ wlan_securitymode_cmd, { "securitymode", "2", "wpa2psk", "aes", "passphrase" }, AP2 + 48,
		  text_bytes("AES", 8) + text_bytes("WPA2PSK", 16) + std::string(20, '\0') + text_bytes("passphrase", 68) },
		// radius_server 160, radius_port 176, radius_key 184
		{ wlan_securitymode_cmd, { "securitymode", "2", "wpa", "tkip", "10.0.0.1", "1812", "s3cret" }, AP2 + 48,
		  text_bytes("TKIP", 8) + text_bytes("WPA", 16) + std::string(88, '\0') + text_bytes("10.0.0.1", 16) +
			  text_bytes("1812", 8) + text_bytes("s3cret", 128) },
	};
	for (const auto &c : cases) {
		SCOPED_TRACE(c.words[0] + " " + c.words[1]);
		unlink(WLAN_JOURNAL_PATH);
		ASSERT_EQ(run(c.handler, c.words), 0);
		expect_only(c.offset, c.bytes);
	}
}

// A journal written by the big-endian gateway means the same here.
TEST_F(WlanJournalFile, BigEndianFileReadsBack)
{
	std::string file(WLAN_JOURNAL_SIZE, '\0');
	file.replace(0, 4, int_bytes(0, 0, 0, 80));
	file.replace(4, 4, int_bytes(0, 0, 0, 9));
	file.replace(AP2 + 0, 4, int_bytes(0xff, 0xff, 0xff, 0xff));
	file.replace(AP2 + 44, 4, int_bytes(0, 0, 0, 1));
	file.replace(AP2 + 312, 4, int_bytes(0, 0, 0, 1));
	write_file(WLAN_JOURNAL_PATH, file);
	EXPECT_EQ(capture_stdout([] { wlan_apply(WLAN_SHOW); }), "sys wlan channel 9\n"
			     "sys wlan txpower 80\n"
			     "sys wlan active 2 off\n"
			     "sys wlan hidessid 2 hide\n"
			     "sys wlan macfilter restrictmode 2 allow\n");
}

TEST_F(WlanJournalFile, ThirtySecondDeletionLandsInTheNextBlock)
{
	for (int i = 0; i < 32; i++) {
		char mac[18];
		snprintf(mac, sizeof mac, "aa:bb:cc:dd:ee:%02d", i);
		ASSERT_EQ(run(wlan_mac_del_cmd, { "del", "0", mac }), 0) << i;
	}
	std::string j = journal();
	// Row 31 of SSID 0's deletions is SSID 1's switch and the start of its ssid.
	EXPECT_EQ(j.substr(28 + 1556, 20), text_bytes("aa:bb:cc:dd:ee:31", 20));
	// SSID 3's row 31 lies behind the record: accepted, never written.
	for (int i = 0; i < 31; i++)
		ASSERT_EQ(run(wlan_mac_del_cmd, { "del", "3", "aa:bb:cc:dd:ee:ff" }), 0);
	std::string before = journal();
	EXPECT_EQ(run(wlan_mac_del_cmd, { "del", "3", "aa:bb:cc:dd:ee:fe" }), 0);
	EXPECT_EQ(journal(), before);
}

} // namespace
