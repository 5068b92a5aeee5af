#include <gtest/gtest.h>

#include <string>

#include "flash/crc32.h"
#include "helpers.h"
#include "romfile/romd.h"
#include "romfile/romfile.h"
#include "romfile_fixtures.h"

namespace {

constexpr const char FIRST[] = "/dev/mtd1";
constexpr const char SECOND[] = "/dev/mtd5";
constexpr const char ROMD_DEV[] = "/dev/mtd6";

// Checksum of the ROM file body: through "</ROMFILE>", not what follows.
uint32_t crc_of(const std::string &text)
{
	return nox_crc32(bytes_of(text), text.find("</ROMFILE>") + 10);
}

class RomfileFlash : public testing::Test {
protected:
	SavedFiles saved_{ FIRST, SECOND, ROMD_DEV, "/tmp/new_romfile", "/tmp/romd.cfg" };
};

// A copy of the configuration, compressed or plain: V valid, B with a wrong
// checksum, E holding no ROM file.
enum Copy { V, B, E };
std::string copy_image(const std::string &text, Copy state, uint32_t version, bool compressed = true)
{
	if (state == E)
		return partition_image("", 0xFFFFFFFFu, version);
	std::string image = compressed ? make_container(independent_stream(text)) : text;
	return partition_image(image, crc_of(text) ^ (state == B ? 0x10 : 0), version);
}

TEST(RomfileText, RealLength)
{
	const char *invalid = "Current ROM file is not valid!\n";
	const struct { std::string text; int length; const char *printed; } cases[] = {
		{ "<ROMFILE><Sys/></ROMFILE>trailing", 25, "" }, { "abc<ROMFILE></ROMFILE>", 0, invalid },
		{ "<ROMFILE><Sys/>", 0, invalid }, { std::string("<ROMFILE>\0</ROMFILE>", 20), 0, invalid },
		{ "plain text", 0, "" },
	};
	for (auto &c : cases) {
		int got = -1;
		EXPECT_EQ(capture_stdout([&] { got = nox_parseRomFromBuffer(c.text.c_str()); }), c.printed) << c.text;
		EXPECT_EQ(got, c.length) << c.text;
	}
	EXPECT_EQ(capture_stdout([] { nox_getRealRom(nullptr); }), "Input ROM file buffer is NULL!\n");
	EXPECT_EQ(romfile_real_length(std::string(ROMFILE_SIZE, '\xff').data(), ROMFILE_SIZE), 0); // no NUL: ends there
}

TEST_F(RomfileFlash, ChoosesTheCopyToReadAndToOverwrite)
{
	std::string text1 = gateway_romfile(20000), text2 = gateway_romfile(90000);
	const struct { Copy s1; uint32_t v1; Copy s2; uint32_t v2; int read, write; } cases[] = {
		{ V, 5, V, 6, 2, 1 }, { V, 6, V, 5, 1, 2 }, { V, 7, V, 7, 1, 1 }, { E, 9, V, 1, 2, 1 },
		{ E, 1, B, 9, 2, 1 }, { V, 1, E, 9, 1, 2 }, { B, 5, V, 6, 2, 1 }, { B, 6, V, 5, 2, 1 },
		{ V, 5, B, 6, 1, 2 }, { V, 6, B, 5, 1, 2 }, { B, 5, B, 6, 0, 1 }, { B, 6, B, 5, 0, 2 },
		{ V, 0xFFFFFFFFu, V, 0, 1, 2 }, // versions compare unsigned
	};
	for (auto &c : cases) {
		write_file(FIRST, copy_image(text1, c.s1, c.v1));
		write_file(SECOND, copy_image(text2, c.s2, c.v2, false));
		EXPECT_EQ(get_read_romfile_index(), c.read) << c.v1 << " " << c.v2;
		EXPECT_EQ(get_write_romfile_index(), c.write) << c.v1 << " " << c.v2;
		uint32_t expect_sum = c.read == 2 ? crc_of(text2) : c.s1 == E ? 0xFFFFFFFFu : crc_of(text1);
		EXPECT_EQ(nox_getRomChksum(), expect_sum) << c.v1 << " " << c.v2;
	}
}

TEST_F(RomfileFlash, ReadFailures)
{
	write_file(FIRST, std::string(1000, 'x'));
	write_file(SECOND, copy_image("<ROMFILE/></ROMFILE>", V, 1));
	EXPECT_EQ(capture_stdout([] { EXPECT_EQ(get_read_romfile_index(), 0); }),
		  "read mtd device (MRD) error!!\nget first romfile checksum and version error ");
	EXPECT_EQ(capture_stdout([] { EXPECT_EQ(get_write_romfile_index(), 0); }),
		  "read mtd device (MRD) error!!\nget first romfile error ");
	write_file(FIRST, copy_image("<ROMFILE/></ROMFILE>", V, 1));
	// A container whose chunks promise more than any image is refused.
	write_file(SECOND, partition_image(make_container(make_chunk(17, 1, "x", 0, 0xFFFFFFF0u)), 0, 0));
	EXPECT_EQ(capture_stdout([] { EXPECT_EQ(get_write_romfile_index(), 0); }),
		  "nox_configFileLzDecoder: fastlz calloc compressed buffer fail!\n"
		  "getRomfileChecksumAndVersion: nox_configFileLzwDecoder fail!\nget second romfile error ");
}

// A command reads each copy once: asking again gives the kept sums and prints
// again what the reading printed; another command's readings start afresh.
TEST_F(RomfileFlash, EachCopyIsReadOnceAndItsMessagesRepeated)
{
	std::string text = gateway_romfile(30000);
	std::string odd_chunk = make_chunk(17, 5, "", 0, 0); // reported, then the next header follows
	std::string bad_sum = make_chunk(17, 1, "abcd", 0x1234, 4);
	write_file(FIRST, partition_image(make_container(odd_chunk + bad_sum + independent_stream(text)),
					  crc_of(text), 7));
	write_file(SECOND, copy_image(text, V, 6));
	const std::string said = "Error: unknown compression method (5)\n"
				 "Error: checksum mismatch. Skipped.\n"
				 "case 1: Got 03D8018B Expecting 00001234\n";
	uint32_t sum = 0;
	EXPECT_EQ(capture_stdout([&] { sum = nox_getRomChksum(); }), said + said);
	EXPECT_EQ(sum, crc_of(text));
	romfile_readings copies = {};
	romfile_sums sums = {};
	EXPECT_EQ(capture_stdout([&] { romfile_copy_sums(&copies, "romfile", &sums); }), said);
	write_file(FIRST, std::string(ROMFILE_SIZE, '\xff')); // not read again by this command
	EXPECT_EQ(capture_stdout([&] { EXPECT_EQ(romfile_read_index(&copies), 1); }), said);
	EXPECT_EQ(capture_stdout([&] { EXPECT_EQ(romfile_copy_sums(&copies, "romfile", &sums), 1); }), said);
	EXPECT_EQ(sums.version, 7u);
	romfile_readings_free(&copies);
	EXPECT_EQ(capture_stdout([&] { sum = nox_getRomChksum(); }), "");
	EXPECT_EQ(sum, crc_of(text)); // the second copy now
	EXPECT_EQ(get_read_romfile_index(), 2);
}

// A decoded text with no NUL runs on into the raw bytes after it; a NUL ends it.
TEST_F(RomfileFlash, DecodedTextRunsIntoTheRawTail)
{
	std::string body = "<ROMFILE>" + std::string(3000, 'a'), close = "</ROMFILE>";
	auto image = [](const std::string &decoded, const std::string &raw_tail) {
		std::string raw = make_container(fastlz_chunk(decoded));
		raw.resize(decoded.size(), 'f');
		return partition_image(raw + raw_tail + std::string(1, '\0'), 0, 3);
	};
	const char *invalid = "Current ROM file is not valid!\n";
	const struct { const char *name; std::string flash; uint32_t computed; const char *printed; } cases[] = {
		{ "closed in the tail", image(body, close + "zz"), nox_crc32(bytes_of(body + close), body.size() + 10), "" },
		{ "closed across the join", image(body + "</ROM", "FILE>"), nox_crc32(bytes_of(body + close), body.size() + 10),
		  "" },
		{ "NUL before the tail", image(body + '\0', close), 0xFFFFFFFFu, invalid },
		{ "opened in the tail only", image(std::string(3000, 'a'), "x<ROMFILE>"), 0xFFFFFFFFu, invalid },
		{ "neither", image(std::string(3000, 'a'), "x"), 0xFFFFFFFFu, "" },
	};
	for (auto &c : cases) {
		write_file(FIRST, c.flash);
		uint32_t computed = 0, stored = 1, version = 0;
		EXPECT_EQ(capture_stdout([&] {
				  EXPECT_EQ(getRomfileChecksumAndVersion("romfile", &computed, &stored, &version), 1);
			  }),
			  c.printed)
			<< c.name;
		EXPECT_EQ(computed, c.computed) << c.name;
		EXPECT_EQ(version, 3u) << c.name;
	}
}

// A copy is read from flash only as far as its reading looks; whatever its
// chunks reach, the sums and messages are those of the whole image in memory.
TEST_F(RomfileFlash, ReadsWhatTheChunksReachAsTheWholeImageGives)
{
	std::string text = gateway_romfile(3000);
	std::string far_chunk = make_chunk(17, 1, "x", 0, 4) + std::string(0x1C000, 'y');
	const struct { const char *name; std::string flash; } cases[] = {
		{ "as written", copy_image(text, V, 4) },
		{ "payload past the stream", partition_image(make_container_declaring(stored_chunk(text), "20"), 0, 4) },
		{ "header cut by the stream's end",
		  partition_image(make_container_declaring(stored_chunk(text), "10"), crc_of(text), 4) },
		{ "chunk far on", partition_image(make_container_declaring(far_chunk + stored_chunk(text), "130000"), 0, 4) },
		{ "oversized length", partition_image(make_container_declaring(stored_chunk(text), "999999") + text, 0, 4) },
		{ "plain text", copy_image(text, B, 4, false) },
	};
	for (auto &c : cases) {
		romfile_sums whole = {};
		std::string expected = capture_stdout([&] { EXPECT_EQ(romfile_image_sums(c.flash.data(), nullptr, &whole), 1); });
		write_file(FIRST, c.flash);
		uint32_t computed = 0, stored = 0, version = 0;
		EXPECT_EQ(capture_stdout([&] {
				  EXPECT_EQ(getRomfileChecksumAndVersion("romfile", &computed, &stored, &version), 1);
			  }),
			  expected)
			<< c.name;
		EXPECT_EQ(computed, whole.computed) << c.name;
		EXPECT_EQ(stored, whole.stored) << c.name;
		EXPECT_EQ(version, whole.version) << c.name;
	}
}

TEST_F(RomfileFlash, StampsAnImageForTheOtherCopy)
{
	std::string text = gateway_romfile(50000), image = make_container(independent_stream(text));
	const struct { int index; uint32_t other_version, expect_version; } cases[] = { { 1, 41, 42 }, { 2, 0xFFFFFFFFu, 0 } };
	for (auto &c : cases) {
		write_file(c.index == 1 ? SECOND : FIRST, copy_image("<ROMFILE/></ROMFILE>", V, c.other_version));
		write_file("/tmp/new_romfile", image);
		ASSERT_EQ(updateRomfileChecksumAndVersion("/tmp/new_romfile", c.index), 1);
		std::string stamped = read_file("/tmp/new_romfile");
		ASSERT_EQ(stamped.size(), ROMFILE_SIZE);
		EXPECT_EQ(stamped.substr(0x1FFF8), partition_image("", crc_of(text), c.expect_version).substr(0x1FFF8));
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
	const struct { std::string head; int length; } cases[] = {
		{ "<compressed len=1234>", 1234 }, { "<compressed len=1234567>", 1234567 }, { "xx<compressed len=77>", 77 },
		{ "<compressed len=12345678>", 0 }, // ">" at offset 24
		{ "<compressed len=>", 0 }, { "<compressed len=-4>", -4 }, { std::string("\0<compressed len=5>", 19), 0 },
		{ std::string(32, '\xff'), 0 }, { std::string(16, 'y') + "<compressed len=", 0 }, // digits past the probe
	};
	for (auto &c : cases) {
		std::string probe = c.head + std::string(32 - c.head.size(), '\0');
		EXPECT_EQ(romd_header_length(probe.data()), c.length) << c.head;
	}
}

TEST_F(RomfileFlash, RomdWithoutClosingMarkerHasNoChecksum)
{
	std::string cut = make_container(independent_stream(gateway_romfile(60000).substr(0, 30000)));
	write_file(ROMD_DEV, cut + std::string(ROMFILE_SIZE - cut.size(), '\xff'));
	uint32_t sum = 1;
	EXPECT_EQ(capture_stdout([&] { sum = nox_getRomdChksum(); }),
		  "ROM-D exist! len = " + std::to_string(cut.size() - 40) +
			  "\nCurrent ROM file is not valid!\nRead default configuration error!!\n");
	EXPECT_EQ(sum, 0u);
}

} // namespace
