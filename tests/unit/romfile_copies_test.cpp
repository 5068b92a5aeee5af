#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <unistd.h>

#include "flash/crc32.h"
#include "helpers.h"
#include "romfile/romd.h"
#include "romfile/romfile.h"
#include "romfile_fixtures.h"

namespace {

// Partitions of the simulated gateway's flash layout.
constexpr const char FIRST[] = "/dev/mtd1";
constexpr const char SECOND[] = "/dev/mtd5";
constexpr const char ROMD_DEV[] = "/dev/mtd6";

// Checksum of the ROM file body: through "</ROMFILE>", not what follows.
uint32_t crc_of(const std::string &text)
{
	size_t end = text.find("</ROMFILE>");
	size_t len = end == std::string::npos ? 0 : end + 10;
	return nox_crc32(reinterpret_cast<const unsigned char *>(text.data()), len);
}

// Tests that write the romfile and ROM-D partitions leave them erased again,
// as every other test of the gateway expects to find them.
class RomfileFlash : public testing::Test {
protected:
	void TearDown() override
	{
		for (const char *dev : { FIRST, SECOND, ROMD_DEV })
			write_file(dev, std::string(ROMFILE_SIZE, '\xff'));
		unlink("/tmp/new_romfile");
		unlink("/tmp/romd.cfg");
	}
};

enum class Copy { Valid, BadSum, Empty };

// A copy of the configuration: compressed or plain, with a trailer whose
// checksum is right, wrong, or belongs to a copy holding no ROM file.
std::string copy_image(const std::string &text, Copy state, uint32_t version, bool compressed = true)
{
	std::string image = compressed ? make_container(independent_stream(text)) : text;
	switch (state) {
	case Copy::Valid:
		return partition_image(image, crc_of(text), version);
	case Copy::BadSum:
		return partition_image(image, crc_of(text) ^ 0x10, version);
	case Copy::Empty:
		break;
	}
	return partition_image("", 0xFFFFFFFFu, version);
}

TEST(RomfileText, RealLength)
{
	struct {
		std::string text;
		int length;
		const char *printed;
	} cases[] = {
		{ "<ROMFILE><Sys/></ROMFILE>trailing", 25, "" },
		{ "abc<ROMFILE></ROMFILE>", 0, "Current ROM file is not valid!\n" },
		{ "<ROMFILE><Sys/>", 0, "Current ROM file is not valid!\n" },
		{ std::string("<ROMFILE>\0</ROMFILE>", 20), 0, "Current ROM file is not valid!\n" },
		{ "plain text", 0, "" },
	};
	for (auto &c : cases) {
		int got = -1;
		std::string out = capture_stdout([&] { got = nox_parseRomFromBuffer(c.text.c_str()); });
		EXPECT_EQ(got, c.length) << c.text;
		EXPECT_EQ(out, c.printed) << c.text;
	}
	EXPECT_EQ(capture_stdout([] { nox_getRealRom(nullptr); }), "Input ROM file buffer is NULL!\n");
	// An erased buffer holds no NUL at all: the search stops at its end.
	std::string erased(ROMFILE_SIZE, '\xff');
	EXPECT_EQ(romfile_real_length(erased.data(), erased.size()), 0);
}

TEST_F(RomfileFlash, ChoosesTheCopyToReadAndToOverwrite)
{
	std::string text1 = gateway_romfile(20000), text2 = gateway_romfile(90000);
	struct {
		Copy s1;
		uint32_t v1;
		Copy s2;
		uint32_t v2;
		int read, write;
	} cases[] = {
		{ Copy::Valid, 5, Copy::Valid, 6, 2, 1 },
		{ Copy::Valid, 6, Copy::Valid, 5, 1, 2 },
		{ Copy::Valid, 7, Copy::Valid, 7, 1, 1 },
		{ Copy::Empty, 9, Copy::Valid, 1, 2, 1 },
		{ Copy::Empty, 1, Copy::BadSum, 9, 2, 1 },
		{ Copy::Valid, 1, Copy::Empty, 9, 1, 2 },
		{ Copy::BadSum, 5, Copy::Valid, 6, 2, 1 },
		{ Copy::BadSum, 6, Copy::Valid, 5, 2, 1 },
		{ Copy::Valid, 5, Copy::BadSum, 6, 1, 2 },
		{ Copy::Valid, 6, Copy::BadSum, 5, 1, 2 },
		{ Copy::BadSum, 5, Copy::BadSum, 6, 0, 1 },
		{ Copy::BadSum, 6, Copy::BadSum, 5, 0, 2 },
		{ Copy::Valid, 0xFFFFFFFFu, Copy::Valid, 0, 1, 2 }, // versions compare unsigned
	};
	for (auto &c : cases) {
		write_file(FIRST, copy_image(text1, c.s1, c.v1));
		write_file(SECOND, copy_image(text2, c.s2, c.v2, false));
		EXPECT_EQ(get_read_romfile_index(), c.read) << c.v1 << " " << c.v2;
		EXPECT_EQ(get_write_romfile_index(), c.write) << c.v1 << " " << c.v2;
		uint32_t expect_sum = c.read == 2 ? crc_of(text2) : c.s1 == Copy::Empty ? 0xFFFFFFFFu : crc_of(text1);
		EXPECT_EQ(nox_getRomChksum(), expect_sum) << c.v1 << " " << c.v2;
	}
}

TEST_F(RomfileFlash, ReadFailures)
{
	write_file(FIRST, std::string(1000, 'x'));
	write_file(SECOND, copy_image("<ROMFILE/></ROMFILE>", Copy::Valid, 1));
	EXPECT_EQ(capture_stdout([] { EXPECT_EQ(get_read_romfile_index(), 0); }),
		  "read mtd device (MRD) error!!\nget first romfile checksum and version error ");
	EXPECT_EQ(capture_stdout([] { EXPECT_EQ(get_write_romfile_index(), 0); }),
		  "read mtd device (MRD) error!!\nget first romfile error ");

	write_file(FIRST, copy_image("<ROMFILE/></ROMFILE>", Copy::Valid, 1));
	// A container whose chunks promise more than any image is refused.
	std::string hostile = make_container(make_chunk(17, 1, "x", 0, 0xFFFFFFF0u));
	write_file(SECOND, partition_image(hostile, 0, 0));
	EXPECT_EQ(capture_stdout([] { EXPECT_EQ(get_write_romfile_index(), 0); }),
		  "nox_configFileLzDecoder: fastlz calloc compressed buffer fail!\n"
		  "getRomfileChecksumAndVersion: nox_configFileLzwDecoder fail!\n"
		  "get second romfile error ");
}

TEST_F(RomfileFlash, StampsAnImageForTheOtherCopy)
{
	std::string text = gateway_romfile(50000);
	struct {
		int index;
		uint32_t other_version;
		uint32_t expect_version;
	} cases[] = { { 1, 41, 42 }, { 2, 0xFFFFFFFFu, 0 } };
	for (auto &c : cases) {
		const char *other = c.index == 1 ? SECOND : FIRST;
		write_file(other, copy_image("<ROMFILE/></ROMFILE>", Copy::Valid, c.other_version));
		write_file("/tmp/new_romfile", make_container(independent_stream(text)));
		ASSERT_EQ(updateRomfileChecksumAndVersion("/tmp/new_romfile", c.index), 1);
		std::string stamped = read_file("/tmp/new_romfile");
		ASSERT_EQ(stamped.size(), ROMFILE_SIZE);
		std::string expect = partition_image("", crc_of(text), c.expect_version).substr(0x1FFF8);
		EXPECT_EQ(stamped.substr(0x1FFF8), expect);
	}
	int rc = 1;
	EXPECT_EQ(capture_stdout([&] { rc = updateRomfileChecksumAndVersion("/tmp/new_romfile", 3); }),
		  "Error: the romfile index is error.\n");
	EXPECT_EQ(rc, 0);
	EXPECT_EQ(capture_stdout([&] { rc = updateRomfileChecksumAndVersion("/tmp/absent/x", 1); }),
		  "Error: can't open romfile\n");
}

TEST(Romd, HeaderLength)
{
	struct {
		std::string head;
		int length;
	} cases[] = {
		{ "<compressed len=1234>", 1234 },
		{ "<compressed len=1234567>", 1234567 },
		{ "<compressed len=12345678>", 0 }, // ">" at offset 24
		{ "xx<compressed len=77>", 77 },
		{ "<compressed len=>", 0 },
		{ "<compressed len=-4>", -4 },
		{ std::string("\0<compressed len=5>", 19), 0 },
		{ std::string(32, '\xff'), 0 },
		{ std::string(16, 'y') + "<compressed len=", 0 }, // digits would lie past the probe
	};
	for (auto &c : cases) {
		std::string probe = c.head;
		probe.resize(32, '\0');
		EXPECT_EQ(romd_header_length(probe.data()), c.length) << c.head;
	}
}

TEST_F(RomfileFlash, RomdChecksumAndDump)
{
	std::string text = gateway_romfile(60000);
	std::string container = make_container(independent_stream(text));
	std::string cut = make_container(independent_stream(text.substr(0, 30000)));
	auto exist = [](const std::string &c) { return "ROM-D exist! len = " + std::to_string(c.size() - 40) + "\n"; };
	struct {
		const char *name;
		std::string flash;
		uint32_t sum;
		std::string printed;
	} cases[] = {
		{ "erased", "", 0, "" },
		{ "plain text", text, 0, "" },
		{ "container", container, crc_of(text), exist(container) },
		{ "no closing marker", cut, 0,
		  exist(cut) + "Current ROM file is not valid!\nRead default configuration error!!\n" },
	};
	for (auto &c : cases) {
		std::string flash = c.flash;
		flash.resize(ROMFILE_SIZE, '\xff');
		write_file(ROMD_DEV, flash);
		uint32_t sum = 1;
		std::string out = capture_stdout([&] { sum = nox_getRomdChksum(); });
		EXPECT_EQ(sum, c.sum) << c.name;
		EXPECT_EQ(out, c.printed) << c.name;
	}

	write_file(ROMD_DEV, container + std::string(ROMFILE_SIZE - container.size(), '\xff'));
	unlink("/tmp/romd.cfg");
	int rc = 0;
	std::string out = capture_stdout([&] { rc = nox_dumpRomdContent(); });
	EXPECT_EQ(rc, 1);
	EXPECT_EQ(out, "ROM-D exist! len = " + std::to_string(container.size() - 40) +
			       "\nPlease see /tmp/romd.cfg for ROM-D content.\n");
	EXPECT_EQ(read_file("/tmp/romd.cfg"), text.substr(0, text.rfind("</ROMFILE>") + 10));
}

} // namespace
