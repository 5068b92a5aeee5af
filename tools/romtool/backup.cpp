#include "backup.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "lib/byteorder.h"
#include "flash/crc32.h"
#include "romfile/container.h"
#include "romfile/romfile.h"
#include "store_text.h"

namespace {

constexpr char ROM_OPEN[] = "<ROMFILE>";
constexpr size_t ROM_OPEN_LEN = sizeof ROM_OPEN - 1;

// Runs FN(SAID) with standard output silenced: the library keeps its
// messages in SAID, the verdict is one line of romtool's own and the
// library's first message its detail.
template <typename Fn>
auto quietly(cfg_said *said, Fn fn) -> decltype(fn(said))
{
	fflush(stdout);
	int saved = dup(1);
	int null = open("/dev/null", O_WRONLY);
	if (null >= 0) {
		dup2(null, 1);
		close(null);
	}
	auto result = fn(said);
	fflush(stdout);
	if (saved >= 0) {
		dup2(saved, 1);
		close(saved);
	}
	return result;
}

struct said_text : cfg_said {
	said_text() : cfg_said() {}
	~said_text() { free(text); }
	said_text(const said_text &) = delete;
	said_text &operator=(const said_text &) = delete;

	// The first message, on one line, without the decoder's "Error: "
	// and " Skipped." around it.
	std::string first() const
	{
		if (!text)
			return std::string();
		std::string line(text, strcspn(text, "\n"));
		if (line.compare(0, 7, "Error: ") == 0)
			line.erase(0, 7);
		size_t skipped = line.rfind(" Skipped.");
		if (skipped != std::string::npos && skipped + 9 == line.size())
			line.erase(skipped);
		return line;
	}
	bool has(const char *what) const { return text && strstr(text, what); }
};

void refuse(backup *b, backup_fault fault, const std::string &reason)
{
	b->fault = fault;
	b->reason = reason;
}

bool all_erased(const char *data, size_t size)
{
	for (size_t i = 0; i < size; i++) {
		if (static_cast<unsigned char>(data[i]) != 0xFF)
			return false;
	}
	return true;
}

bool starts_with(const char *data, size_t size, const char *what, size_t len)
{
	return size >= len && memcmp(data, what, len) == 0;
}

// A fault the decoder reported while expanding the chunks: its own message.
void refuse_chunks(backup *b, const said_text &said)
{
	if (said.has("checksum mismatch"))
		refuse(b, BACKUP_CHUNK_CHECKSUM, "chunk checksum: a chunk's Adler-32 does not match its data");
	else
		refuse(b, BACKUP_CONTAINER_DAMAGED, "container damaged: " + said.first());
}

// Every gateway's encoder writes chunks that end exactly where the header
// says the stream ends. A reader passes over a length that lies, so the
// copy may still load, but it is no copy any gateway wrote: its length, or
// a chunk's, was changed after the fact.
bool chunks_fill_stream(const char *buf, backup *b)
{
	bool all_known = true;
	uint32_t len = static_cast<uint32_t>(b->container_len);
	uint64_t end = cfg_stream_walk_end(buf + CFG_HEADER_SIZE, ROMFILE_SIZE - CFG_HEADER_SIZE, len, &all_known);
	if (end == len && all_known)
		return true;
	char why[160];
	if (!all_known)
		snprintf(why, sizeof why, "container damaged: a chunk header of another id or method");
	else
		snprintf(why, sizeof why, "container damaged: its header says %u bytes of chunks, the chunks take %llu",
			 len, static_cast<unsigned long long>(end));
	refuse(b, BACKUP_CONTAINER_DAMAGED, why);
	return false;
}

// Expands the container at DATA into the stored text; false after a refusal.
bool expand_container(const char *data, size_t size, backup *b, said_text *said)
{
	char *buf = romfile_buf_alloc();
	if (!buf) {
		refuse(b, BACKUP_CONTAINER_DAMAGED, "container damaged: out of memory");
		return false;
	}
	// The first 128 KiB, as the gateway reads a copy; zeros after a shorter
	// file.
	memcpy(buf, data, std::min(size, ROMFILE_SIZE));
	b->container_len = quietly(said, [&](cfg_said *keep) { return cfg_header_length(buf, keep); });
	b->is_container = true;
	if (b->container_len <= 0) {
		std::string detail = said->first();
		refuse(b, BACKUP_CONTAINER_DAMAGED,
		       "container damaged: unusable length in its header" + (detail.empty() ? "" : " (" + detail + ")"));
		free(buf);
		return false;
	}
	size_t stream_end = CFG_HEADER_SIZE + static_cast<size_t>(b->container_len);
	if (b->kind == BACKUP_CONTAINER && stream_end > size) {
		char why[128];
		snprintf(why, sizeof why, "container damaged: truncated, its header says %zu bytes, the file has %zu",
			 stream_end, size);
		refuse(b, BACKUP_CONTAINER_DAMAGED, why);
		free(buf);
		return false;
	}
	b->chunks = cfg_stream_chunk_count(buf + CFG_HEADER_SIZE, ROMFILE_SIZE - CFG_HEADER_SIZE,
					   static_cast<uint32_t>(b->container_len));
	if (!chunks_fill_stream(buf, b)) {
		free(buf);
		return false;
	}
	char *image = nullptr;
	size_t decoded = 0;
	int rc = quietly(said, [&](cfg_said *keep) { return cfg_decode_part(buf, &image, &decoded, keep); });
	free(buf);
	if (rc != 0) {
		refuse_chunks(b, *said);
		return false;
	}
	b->text.assign(image, strnlen(image, decoded));
	free(image);
	return true;
}

// Plain text holds the body and the line ends that follow it.
void take_plain_text(const char *data, size_t size, backup *b)
{
	size_t readable = b->kind == BACKUP_IMAGE ? ROMFILE_SIZE : size;
	b->text.assign(data, strnlen(data, std::min(size, readable)));
}

size_t with_line_ends(const std::string &text, size_t body)
{
	size_t end = body;
	while (end < text.size() && (text[end] == '\n' || text[end] == '\r'))
		end++;
	return end;
}

// ROMFILE text of 128 KiB or more is a partition image only when its text
// ends before the trailer and erased (or cleared) flash follows it; else it
// is a long text, to be compressed.
bool text_before_trailer(const char *data)
{
	said_text said;
	int body = quietly(&said, [&](cfg_said *keep) { return romfile_real_length(data, ROMFILE_CHECKSUM_OFFSET, keep); });
	size_t end = body > 0 ? static_cast<size_t>(body) : ROMFILE_CHECKSUM_OFFSET;
	while (end < ROMFILE_CHECKSUM_OFFSET && (data[end] == '\n' || data[end] == '\r'))
		end++;
	return end < ROMFILE_CHECKSUM_OFFSET && (data[end] == '\xff' || data[end] == '\0');
}

// An erased trailer is none: ROM-D keeps its container in a partition of
// the same size without one.
void read_trailer(const char *data, backup *b)
{
	const unsigned char *raw = reinterpret_cast<const unsigned char *>(data);
	b->stored = be32_get(raw + ROMFILE_CHECKSUM_OFFSET);
	b->version = be32_get(raw + ROMFILE_VERSION_OFFSET);
	b->has_trailer = b->stored != 0xFFFFFFFFu || b->version != 0xFFFFFFFFu;
}

// The checks after the text is in hand: its body, the trailer, the version
// and the store's reader.
void judge_text(backup *b, const said_text &said)
{
	said_text more;
	int body = quietly(&more, [&](cfg_said *keep) { return romfile_real_length(b->text.data(), b->text.size(), keep); });
	b->body = body > 0 ? static_cast<size_t>(body) : 0;
	b->computed = nox_crc32(reinterpret_cast<const unsigned char *>(b->text.data()), b->body);
	bool chunk_fault = said.text != nullptr;
	if (b->body == 0) {
		if (chunk_fault)
			return refuse_chunks(b, said);
		return refuse(b, b->is_container ? BACKUP_CONTAINER_DAMAGED : BACKUP_NO_TEXT,
			      b->is_container ? "container damaged: it holds no <ROMFILE>...</ROMFILE> text"
					      : "no <ROMFILE>...</ROMFILE> text");
	}
	if (!b->is_container)
		b->text.resize(with_line_ends(b->text, b->body));
	if (b->has_trailer && b->computed != b->stored) {
		if (chunk_fault)
			return refuse_chunks(b, said);
		char why[96];
		snprintf(why, sizeof why, "trailer checksum: stored 0x%08X, the text's is 0x%08X", b->stored,
			 b->computed);
		return refuse(b, BACKUP_TRAILER_CHECKSUM, why);
	}
	if (b->has_trailer && b->version == BACKUP_LAST_VERSION)
		return refuse(b, BACKUP_VERSION,
			      "version 4294967295: every later save would get version 0 and lose to this copy at boot");
	char why[256];
	b->tree = store_text_parse(b->text.data(), b->body, why, sizeof why);
	if (!b->tree)
		refuse(b, BACKUP_TEXT_REFUSED, std::string("the store refuses the text: ") + why);
}

} // namespace

backup::~backup()
{
	if (tree)
		mxmlDelete(tree);
}

void backup_load(const char *data, size_t size, backup *b)
{
	b->kind = size >= ROMFILE_SIZE ? BACKUP_IMAGE : BACKUP_TEXT;
	if (size == 0)
		return refuse(b, BACKUP_EMPTY, "empty file");
	if (all_erased(data, std::min(size, ROMFILE_SIZE)))
		return refuse(b, BACKUP_ERASED, "erased partition (all 0xFF)");
	bool container = starts_with(data, size, CFG_MAGIC, CFG_MAGIC_LEN);
	if (!container && !starts_with(data, size, ROM_OPEN, ROM_OPEN_LEN))
		return refuse(b, BACKUP_WRONG_MAGIC, "wrong magic: neither a container nor <ROMFILE> text");
	if (!container && b->kind == BACKUP_IMAGE && !text_before_trailer(data))
		b->kind = BACKUP_TEXT;
	if (b->kind == BACKUP_IMAGE)
		read_trailer(data, b);
	else if (container)
		b->kind = BACKUP_CONTAINER;
	said_text said;
	if (!container)
		take_plain_text(data, size, b);
	else if (!expand_container(data, size, b, &said))
		return;
	judge_text(b, said);
}

bool backup_set_value(backup *b, const char *node, const char *attr, const char *value, std::string *text,
		      std::string *why)
{
	char reason[256];
	if (!store_text_value_ok(node, attr, value, reason, sizeof reason)) {
		*why = reason;
		return false;
	}
	mxml_node_t *element = store_text_node(b->tree, node, true);
	if (!element) {
		*why = std::string("bad node name ") + node;
		return false;
	}
	mxmlElementSetAttr(element, attr, value);
	size_t len = 0;
	char *rendered = store_text_render(b->tree, &len);
	if (!rendered) {
		*why = "out of memory";
		return false;
	}
	text->assign(rendered, len);
	free(rendered);
	return true;
}
