// A configuration backup as a support engineer holds it: a romfile partition
// image, a bare container, or ROMFILE text. Loading one reaches the verdict
// the gateway would: the same container reader, checksum and trailer rules
// and the store's own text reader, each fault with the reason it gives.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mxml.h>
#include <string>

enum backup_kind {
	BACKUP_IMAGE,     // a partition image: container or text, then the trailer
	BACKUP_CONTAINER, // a bare container, no trailer
	BACKUP_TEXT,      // ROMFILE text, no trailer
};

// In the order the gateway meets them while loading a copy.
enum backup_fault {
	BACKUP_OK,
	BACKUP_EMPTY,             // a zero-length file
	BACKUP_ERASED,            // erased flash, all 0xFF
	BACKUP_WRONG_MAGIC,       // neither a container nor ROMFILE text
	BACKUP_CONTAINER_DAMAGED, // header, chunk layout or expansion
	BACKUP_CHUNK_CHECKSUM,    // a chunk's Adler-32
	BACKUP_NO_TEXT,           // no <ROMFILE>...</ROMFILE> text
	BACKUP_TRAILER_CHECKSUM,  // the text's CRC-32 differs from the trailer's
	BACKUP_VERSION,           // a version no later save can follow
	BACKUP_TEXT_REFUSED,      // the store's reader refuses the text
};

// The version after which every save wraps to 0 and loses at boot.
constexpr uint32_t BACKUP_LAST_VERSION = 0xFFFFFFFFu;

class backup {
public:
	backup() = default;
	~backup();
	backup(const backup &) = delete;
	backup &operator=(const backup &) = delete;

	backup_kind kind = BACKUP_TEXT;
	backup_fault fault = BACKUP_OK;
	std::string reason;      // one line, set when fault is not BACKUP_OK
	std::string text;        // the stored text, exactly (as far as recovered)
	size_t body = 0;         // bytes of text through "</ROMFILE>"
	bool has_trailer = false;
	uint32_t stored = 0;     // trailer checksum
	uint32_t version = 0;    // trailer version
	uint32_t computed = 0;   // CRC-32 of the text's body
	bool is_container = false;
	int container_len = 0;   // chunk-stream length in the header
	uint32_t chunks = 0;
	mxml_node_t *tree = nullptr; // the store's tree of the text, when it loads
};

// Loads the SIZE bytes of DATA into B and reaches the verdict.
void backup_load(const char *data, size_t size, backup *b);

// Sets ATTR of NODE to VALUE in B's tree, as the store would, and renders
// the whole configuration as the store writes it into *TEXT. false with the
// store's reason in *WHY.
bool backup_set_value(backup *b, const char *node, const char *attr, const char *value, std::string *text,
		      std::string *why);
