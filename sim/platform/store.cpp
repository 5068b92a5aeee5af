// The configuration store of the simulated gateway, as its configuration
// daemon (cfgd) runs it.
//
// The running configuration is ROMFILE text in /tmp/var/romfile.cfg. A node
// name is a path into the XML tree, split at every '_' ("Wan_PVC0" is element
// PVC0 inside Wan); attributes are XML attributes. The daemon keeps the tree
// it parsed while the file stays that version, and writes the file again
// after every change; a file changed underneath (a reload, a file planted
// from outside) is a new version, read again before the next operation.
// Writers hold the store's lock (store_file.cpp) for the whole
// read-modify-write.
//
// Values are kept byte for byte. The XML text escapes what markup needs
// (&, <, >, "); bytes XML cannot carry at all (control bytes, bytes that are
// not UTF-8) stand in the file as they are, and the loader hands them to the
// XML parser as private characters that it turns back into the bytes.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mxml.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

#include "applog.h"
#include "lib/safe_file.h"
#include "sim_store.h"
#include "tcapi.h"

namespace {

constexpr const char ROOT_ELEMENT[] = "ROMFILE";

// The node the WAN commands name without an index: the web interface's
// current selection decides which connection it is.
constexpr const char SELECTED_WAN_NODE[] = "Wan_PVC";
constexpr const char SELECTION_NODE[] = "WebCurSet_Entry";
// wan_pvc 0-7 are the ATM connections; 8 is the PTM channel, whose
// connections (wan_pvc_ext 0-7) live under WanExt.
constexpr int MAX_PVC = 7;
constexpr int PTM_CHANNEL = 8;

// An upgrade request: committing System_Entry with upgrade_fw "1" starts the
// upgrade service on the file the web interface (or `sys copy romt romd`)
// left, whose kind WebCurSet_Entry UploadFileType names. Kind "3" is a
// configuration file destined for ROM-D; firmware kinds are not served here
// and their request stays pending.
constexpr const char SYSTEM_NODE[] = "System_Entry";
constexpr const char UPGRADE_ATTR[] = "upgrade_fw";
constexpr const char UPLOAD_TYPE_ATTR[] = "UploadFileType";
constexpr const char UPLOAD_TYPE_ROMD[] = "3";

constexpr size_t NODE_NAME_MAX = 128;
constexpr size_t NAME_SEGMENTS_MAX = 16;
// Values are kept whole up to this length (tcapi_get hands out the first
// MAXLEN_TCAPI_MSG - 1 bytes). No setting of the gateway comes near it, and
// a store of longer values would soon no longer fit its romfile copies.
constexpr size_t VALUE_MAX = 65535;
// No configuration the gateway could save comes near this.
constexpr off_t STORE_FILE_MAX = 16 << 20;

bool is_name_start(char c)
{
	return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_';
}

bool is_name_char(char c)
{
	return is_name_start(c) || (c >= '0' && c <= '9') || c == '-' || c == '.';
}

bool is_valid_xml_name(const char *name, size_t len)
{
	if (len == 0 || !is_name_start(name[0]))
		return false;
	for (size_t i = 1; i < len; i++) {
		if (!is_name_char(name[i]))
			return false;
	}
	return true;
}

bool is_valid_attr_name(const char *attr)
{
	return attr && is_valid_xml_name(attr, strlen(attr));
}

mxml_node_t *child_element(mxml_node_t *parent, const char *name, size_t len)
{
	for (mxml_node_t *n = mxmlGetFirstChild(parent); n; n = mxmlGetNextSibling(n)) {
		const char *el = mxmlGetType(n) == MXML_ELEMENT ? mxmlGetElement(n) : nullptr;
		if (el && strlen(el) == len && memcmp(el, name, len) == 0)
			return n;
	}
	return nullptr;
}

// Walks the node name segment by segment; with create set, missing elements
// are added. nullptr when absent or when the name is not a valid path.
mxml_node_t *find_node(mxml_node_t *root, const char *node, bool create)
{
	size_t total = strlen(node);
	if (total == 0 || total >= NODE_NAME_MAX)
		return nullptr;
	mxml_node_t *cur = root;
	const char *seg = node;
	for (size_t depth = 0;; depth++) {
		const char *end = strchr(seg, '_');
		size_t len = end ? static_cast<size_t>(end - seg) : strlen(seg);
		if (depth >= NAME_SEGMENTS_MAX || !is_valid_xml_name(seg, len))
			return nullptr;
		mxml_node_t *next = child_element(cur, seg, len);
		if (!next) {
			if (!create)
				return nullptr;
			char name[NODE_NAME_MAX];
			memcpy(name, seg, len);
			name[len] = '\0';
			next = mxmlNewElement(cur, name);
		}
		cur = next;
		if (!end)
			return cur;
		seg = end + 1;
	}
}

const char *get_attr(mxml_node_t *root, const char *node, const char *attr)
{
	mxml_node_t *n = find_node(root, node, false);
	return n ? mxmlElementGetAttr(n, attr) : nullptr;
}

// Selection numbers are read as the WAN commands check them (atoi), so a
// number they accept, typed as "07" or " 3", selects the connection it names.
bool selected_number(mxml_node_t *root, const char *attr, int *number)
{
	const char *text = get_attr(root, SELECTION_NODE, attr);
	if (!text)
		return false;
	*number = atoi(text);
	return true;
}

// The stored name of the node the caller means: Wan_PVC goes through the
// current selection, every other name is itself. false when unresolvable.
bool resolve_node(mxml_node_t *root, const char *node, char *out, size_t size)
{
	if (strcmp(node, SELECTED_WAN_NODE) != 0) {
		snprintf(out, size, "%s", node);
		return true;
	}
	int pvc, ext;
	if (!selected_number(root, "wan_pvc", &pvc))
		return false;
	if (pvc >= 0 && pvc <= MAX_PVC) {
		snprintf(out, size, "Wan_PVC%d", pvc);
		return true;
	}
	if (pvc == PTM_CHANNEL && selected_number(root, "wan_pvc_ext", &ext) && ext >= 0 && ext <= MAX_PVC) {
		snprintf(out, size, "WanExt_PVC8e%d", ext);
		return true;
	}
	return false;
}

// As resolve_node, saying so when Wan_PVC names no connection.
bool resolve_or_complain(mxml_node_t *root, const char *node, char *out, size_t size)
{
	if (resolve_node(root, node, out, size))
		return true;
	sim_store_complain("%s names no connection (see %s wan_pvc and wan_pvc_ext)", node, SELECTION_NODE);
	return false;
}

// Length of the UTF-8 sequence at P (AVAIL bytes readable) that XML can
// carry: 0 for a byte that starts none (overlong forms and surrogates
// included).
size_t utf8_sequence(const unsigned char *p, size_t avail)
{
	size_t n;
	unsigned cp;
	if (p[0] < 0x80)
		return 1;
	if (p[0] >= 0xC2 && p[0] <= 0xDF)
		n = 2, cp = p[0] & 0x1Fu;
	else if (p[0] >= 0xE0 && p[0] <= 0xEF)
		n = 3, cp = p[0] & 0x0Fu;
	else if (p[0] >= 0xF0 && p[0] <= 0xF4)
		n = 4, cp = p[0] & 0x07u;
	else
		return 0;
	if (avail < n)
		return 0;
	for (size_t i = 1; i < n; i++) {
		if ((p[i] & 0xC0) != 0x80)
			return 0;
		cp = (cp << 6) | (p[i] & 0x3Fu);
	}
	bool overlong = (n == 3 && cp < 0x800) || (n == 4 && cp < 0x10000);
	bool surrogate = cp >= 0xD800 && cp <= 0xDFFF;
	return overlong || surrogate || cp > 0x10FFFF ? 0 : n;
}

// A byte XML cannot carry stands for itself as the private character
// U+DC00 + byte while the parser holds the text (three bytes ED B0-B3 xx).
constexpr unsigned char PRIVATE_LEAD = 0xED;
bool is_private_byte(const unsigned char *p)
{
	return p[0] == PRIVATE_LEAD && p[1] >= 0xB0 && p[1] <= 0xB3 && (p[2] & 0xC0) == 0x80;
}

// The store file's text as the parser can take it.
std::string parser_text(const char *text, size_t len)
{
	std::string out;
	out.reserve(len + len / 8);
	const unsigned char *p = reinterpret_cast<const unsigned char *>(text);
	for (size_t i = 0; i < len;) {
		size_t n = p[i] < 0x20 && p[i] != '\t' && p[i] != '\n' && p[i] != '\r' ? 0 : utf8_sequence(p + i, len - i);
		if (n > 0) {
			out.append(text + i, n);
			i += n;
			continue;
		}
		out += static_cast<char>(PRIVATE_LEAD);
		out += static_cast<char>(0xB0 | (p[i] >> 6));
		out += static_cast<char>(0x80 | (p[i] & 0x3F));
		i++;
	}
	return out;
}

// Turns the private characters of every attribute value back into bytes.
void restore_bytes(mxml_node_t *root)
{
	for (mxml_node_t *n = root; n; n = mxmlWalkNext(n, root, MXML_DESCEND)) {
		if (mxmlGetType(n) != MXML_ELEMENT)
			continue;
		int count = mxmlElementGetAttrCount(n);
		for (int i = 0; i < count; i++) {
			const char *name = nullptr;
			const char *value = mxmlElementGetAttrByIndex(n, i, &name);
			if (!value || !strchr(value, static_cast<char>(PRIVATE_LEAD)))
				continue;
			std::string bytes;
			const unsigned char *p = reinterpret_cast<const unsigned char *>(value);
			while (*p) {
				if (p[1] && p[2] && is_private_byte(p)) {
					bytes += static_cast<char>(((p[1] & 0x03) << 6) | (p[2] & 0x3F));
					p += 3;
				} else {
					bytes += static_cast<char>(*p++);
				}
			}
			std::string key(name);
			mxmlElementSetAttr(n, key.c_str(), bytes.c_str());
		}
	}
}

char parse_error[256];
void keep_parse_error(const char *message)
{
	snprintf(parse_error, sizeof parse_error, "%s", message);
}

// What identifies one version of the store file. Writers replace the file by
// rename, so a new version is a new inode; size and modification time catch
// a file rewritten in place.
struct StoreVersion {
	bool absent;
	dev_t dev;
	ino_t ino;
	off_t size;
	time_t mtime_sec;
	long mtime_nsec;
};

bool same_version(const StoreVersion &a, const StoreVersion &b)
{
	if (a.absent || b.absent)
		return a.absent == b.absent;
	return a.dev == b.dev && a.ino == b.ino && a.size == b.size && a.mtime_sec == b.mtime_sec &&
	       a.mtime_nsec == b.mtime_nsec;
}

// The tree of the store file as last parsed or written by this process, kept
// while the file stays that version. Reachable from here until exit, so never
// a leak.
struct StoreCache {
	mxml_node_t *root = nullptr;
	StoreVersion version{};
	std::string text; // as written by this process; empty when parsed
};
StoreCache cache;

void drop_cache()
{
	if (cache.root)
		mxmlDelete(cache.root);
	cache.root = nullptr;
	cache.text.clear();
}

// The store file's version; its whole text too unless it is the cached
// version (*unchanged set). An absent file is an empty store.
bool read_store_file(std::string *text, StoreVersion *version, bool *unchanged)
{
	*version = StoreVersion{};
	*unchanged = false;
	int fd = safe_open(GW_STORE_FILE, O_RDONLY);
	if (fd < 0) {
		version->absent = errno == ENOENT;
		if (!version->absent)
			sim_store_complain("cannot read %s: %s", GW_STORE_FILE, safe_open_error(errno));
		*unchanged = version->absent && cache.root && same_version(*version, cache.version);
		return version->absent;
	}
	struct stat st;
	bool ok = fstat(fd, &st) == 0 && st.st_size <= STORE_FILE_MAX;
	if (ok) {
		*version = StoreVersion{false, st.st_dev, st.st_ino, st.st_size, st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
		*unchanged = cache.root && same_version(*version, cache.version);
	}
	if (ok && !*unchanged) {
		text->resize(static_cast<size_t>(st.st_size));
		ok = read(fd, &(*text)[0], text->size()) == static_cast<ssize_t>(text->size());
	}
	close(fd);
	if (!ok)
		sim_store_complain("cannot read %s: unreadable or too large", GW_STORE_FILE);
	return ok;
}

// The tree of TEXT, or nullptr after saying why it is no configuration.
mxml_node_t *parse_store(const std::string &text, bool absent)
{
	if (absent)
		return mxmlNewElement(MXML_NO_PARENT, ROOT_ELEMENT);
	// No callback: the store has elements and attributes only, so text
	// between elements (the indentation) is dropped.
	parse_error[0] = '\0';
	mxmlSetErrorCallback(keep_parse_error);
	mxml_node_t *root = mxmlLoadString(nullptr, parser_text(text.data(), text.size()).c_str(), MXML_NO_CALLBACK);
	if (root && (mxmlGetType(root) != MXML_ELEMENT || strcmp(mxmlGetElement(root), ROOT_ELEMENT) != 0)) {
		mxmlDelete(root);
		root = nullptr;
		keep_parse_error("no ROMFILE element");
	}
	if (!root) {
		sim_store_complain("%s is no configuration: %s", GW_STORE_FILE, parse_error);
		return nullptr;
	}
	restore_bytes(root);
	return root;
}

// The store's current tree, owned by the cache: valid until the next call
// into the store. nullptr after saying why it cannot be read.
mxml_node_t *cached_store()
{
	std::string text;
	StoreVersion version;
	bool unchanged;
	if (!read_store_file(&text, &version, &unchanged)) {
		drop_cache();
		return nullptr;
	}
	if (unchanged)
		return cache.root;
	drop_cache();
	cache.root = parse_store(text, version.absent);
	cache.version = version;
	return cache.root;
}

int element_depth(mxml_node_t *node)
{
	int depth = 0;
	for (mxml_node_t *p = mxmlGetParent(node); p; p = mxmlGetParent(p))
		depth++;
	return depth;
}

// One element per line, children indented by a tab per level.
const char *layout_cb(mxml_node_t *node, int where)
{
	static const char indents[] = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t";
	const char *tabs_end = indents + sizeof indents - 1;
	int depth = element_depth(node);
	if (depth > 16)
		depth = 16;
	switch (where) {
	case MXML_WS_BEFORE_OPEN:
		return tabs_end - depth;
	case MXML_WS_BEFORE_CLOSE:
		return mxmlGetFirstChild(node) ? tabs_end - depth : nullptr;
	case MXML_WS_AFTER_OPEN:
	case MXML_WS_AFTER_CLOSE:
		return "\n";
	default:
		return nullptr;
	}
}

// The markup mxmlSaveString gives an attribute value's byte.
const char *entity_of(char c)
{
	switch (c) {
	case '&':
		return "&amp;";
	case '<':
		return "&lt;";
	case '>':
		return "&gt;";
	case '"':
		return "&quot;";
	default:
		return nullptr;
	}
}

// The text being rendered: appending is most of rendering's work, so it is
// a plain copy into a buffer that grows by doubling.
class RenderBuffer {
public:
	explicit RenderBuffer(size_t hint) : cap_(hint), data_(static_cast<char *>(malloc(hint))) {}
	~RenderBuffer() { free(data_); }
	RenderBuffer(const RenderBuffer &) = delete;
	RenderBuffer &operator=(const RenderBuffer &) = delete;

	void put(const char *text, size_t n)
	{
		if (len_ + n > cap_ && !grow(len_ + n))
			return;
		memcpy(data_ + len_, text, n);
		len_ += n;
	}
	void put(const char *text) { put(text, strlen(text)); }
	bool take(std::string *out) const
	{
		if (!data_)
			return false;
		out->assign(data_, len_);
		return true;
	}

private:
	bool grow(size_t need)
	{
		size_t cap = cap_ * 2 > need ? cap_ * 2 : need;
		char *bigger = data_ ? static_cast<char *>(realloc(data_, cap)) : nullptr;
		if (!bigger) {
			free(data_);
			data_ = nullptr;
			cap_ = len_ = 0;
			return false;
		}
		data_ = bigger;
		cap_ = cap;
		return true;
	}

	size_t cap_, len_ = 0;
	char *data_;
};

void put_value(RenderBuffer &out, const char *value)
{
	for (;;) {
		size_t run = strcspn(value, "&<>\"");
		out.put(value, run);
		if (!value[run])
			return;
		out.put(entity_of(value[run]));
		value += run + 1;
	}
}

// The parser keeps the layout between elements as empty text nodes; at the
// start of a line, where every element ends, they write nothing.
bool is_layout_text(mxml_node_t *node)
{
	const char *text = mxmlGetType(node) == MXML_TEXT ? mxmlGetText(node, nullptr) : nullptr;
	return text && !*text;
}

// One element and everything inside it, laid out as layout_cb lays it out
// through Mini-XML, byte for byte. false for anything but elements with
// attributes and layout (text, comments, declarations in a file planted from
// outside), which Mini-XML itself renders.
bool put_element(RenderBuffer &out, mxml_node_t *node, int depth)
{
	const char *name = mxmlGetType(node) == MXML_ELEMENT ? mxmlGetElement(node) : nullptr;
	if (!name || name[0] == '!' || name[0] == '?')
		return false;
	static const char tabs_and_open[] = "\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t\t</";
	size_t tabs = static_cast<size_t>(depth > 16 ? 16 : depth);
	const char *indent = tabs_and_open + 16 - tabs;
	size_t name_len = strlen(name);
	out.put(indent, tabs + 1);
	out.put(name, name_len);
	int count = mxmlElementGetAttrCount(node);
	for (int i = 0; i < count; i++) {
		const char *attr = nullptr;
		const char *value = mxmlElementGetAttrByIndex(node, i, &attr);
		out.put(" ", 1);
		out.put(attr);
		if (value) {
			out.put("=\"", 2);
			put_value(out, value);
			out.put("\"", 1);
		}
	}
	mxml_node_t *child = mxmlGetFirstChild(node);
	if (!child) {
		out.put(" />\n", 4);
		return true;
	}
	out.put(">\n", 2);
	for (; child; child = mxmlGetNextSibling(child)) {
		if (!is_layout_text(child) && !put_element(out, child, depth + 1))
			return false;
	}
	out.put(indent, tabs + 2);
	out.put(name, name_len);
	out.put(">\n", 2);
	return true;
}

// The store as ROMFILE text. Rendered here rather than by Mini-XML, which
// lays the whole text out twice and takes most of a write's time.
bool render_store(mxml_node_t *root, std::string *text)
{
	if (!mxmlGetFirstChild(root)) {
		text->assign("<ROMFILE>\n</ROMFILE>\n");
		return true;
	}
	RenderBuffer out(cache.text.size() + 4096);
	if (put_element(out, root, 0))
		return out.take(text);
	mxmlSetWrapMargin(0);
	char *rendered = mxmlSaveAllocString(root, layout_cb);
	if (rendered)
		text->assign(rendered);
	free(rendered);
	return rendered != nullptr;
}

// Writes the tree as the new version of the store file and keeps it, and
// its text, as that version.
bool write_store(mxml_node_t *root)
{
	std::string text;
	if (!render_store(root, &text)) {
		sim_store_complain("out of memory writing %s", GW_STORE_FILE);
		return false;
	}
	struct stat st;
	if (!sim_store_write_file("", text.data(), text.size()) || stat(GW_STORE_FILE, &st) != 0)
		return false;
	cache.version = StoreVersion{false, st.st_dev, st.st_ino, st.st_size, st.st_mtim.tv_sec, st.st_mtim.tv_nsec};
	cache.text.swap(text);
	return true;
}

// The log line of one write operation, as called, with control bytes escaped.
void log_operation(const char *op, const char *node, const char *attr, const char *value)
{
	std::string line(op);
	for (const char *word : {node, attr, value}) {
		if (!word)
			break;
		line += ' ';
		line += word;
	}
	char *escaped = sim_escape_controls(line.c_str());
	if (!escaped)
		return;
	size_t len = strlen(escaped);
	escaped[len] = '\n';
	sim_append_log(GW_TCAPI_LOG, escaped, len + 1);
	free(escaped);
}

// Holds the store's write lock and its current tree for one
// read-modify-write. A change is all or nothing: unless the file was
// written, or the tree left unchanged, the tree is dropped and the next
// operation reads the file again.
class StoreTransaction {
public:
	StoreTransaction()
	{
		lock_fd_ = sim_store_lock("");
		if (lock_fd_ >= 0)
			root_ = cached_store();
	}

	~StoreTransaction()
	{
		if (root_ && !kept_)
			drop_cache();
		if (lock_fd_ >= 0)
			close(lock_fd_);
	}

	StoreTransaction(const StoreTransaction &) = delete;
	StoreTransaction &operator=(const StoreTransaction &) = delete;

	mxml_node_t *root() const { return root_; }
	int lock_fd() const { return lock_fd_; }

	bool commit_changes() { return kept_ = write_store(root_); }
	void unchanged() { kept_ = true; }

private:
	int lock_fd_ = -1;
	mxml_node_t *root_ = nullptr;
	bool kept_ = false;
};

bool attr_is(mxml_node_t *root, const char *node, const char *attr, const char *value)
{
	const char *found = get_attr(root, node, attr);
	return found && strcmp(found, value) == 0;
}

// The upgrade service clears the request once it has run, whatever the
// outcome, as the unit's own service does; the change is the service's, not
// the program's, so it is not logged.
void clear_upgrade_request()
{
	StoreTransaction tx;
	mxml_node_t *n = tx.root() ? find_node(tx.root(), SYSTEM_NODE, false) : nullptr;
	if (!n)
		return;
	mxmlElementSetAttr(n, UPGRADE_ATTR, "0");
	tx.commit_changes();
}

void serve_upgrade_request(mxml_node_t *root)
{
	if (!attr_is(root, SYSTEM_NODE, UPGRADE_ATTR, "1") ||
	    !attr_is(root, SELECTION_NODE, UPLOAD_TYPE_ATTR, UPLOAD_TYPE_ROMD))
		return;
	sim_store_write_romd(GW_UPLOADED_CONFIG);
	clear_upgrade_request();
}

bool valid_attr_or_complain(const char *attr)
{
	if (is_valid_attr_name(attr))
		return true;
	sim_store_complain("bad attribute name %s", attr);
	return false;
}

} // namespace

int sim_store_get(const char *node, const char *attr, char *value)
{
	if (!node || !is_valid_attr_name(attr) || !value)
		return -1;
	mxml_node_t *root = cached_store();
	if (!root)
		return SIM_STORE_FAULT;
	int rc = -1;
	char resolved[NODE_NAME_MAX];
	if (resolve_node(root, node, resolved, sizeof resolved)) {
		const char *found = get_attr(root, resolved, attr);
		if (found) {
			size_t len = strnlen(found, MAXLEN_TCAPI_MSG - 1);
			memcpy(value, found, len);
			value[len] = '\0';
			rc = 0;
		}
	}
	return rc;
}

// Every write operation is logged as called, accepted or not: the log is the
// record of what the program asked of the store.
int sim_store_set(const char *node, const char *attr, const char *value)
{
	if (!node || !attr || !value)
		return -1;
	log_operation("set", node, attr, value);
	if (!valid_attr_or_complain(attr))
		return -1;
	if (strlen(value) > VALUE_MAX) {
		sim_store_complain("value of %s %s refused: longer than %zu bytes", node, attr, VALUE_MAX);
		return -1;
	}
	StoreTransaction tx;
	char resolved[NODE_NAME_MAX];
	if (!tx.root() || !resolve_or_complain(tx.root(), node, resolved, sizeof resolved))
		return -1;
	mxml_node_t *n = find_node(tx.root(), resolved, true);
	if (!n) {
		sim_store_complain("bad node name %s", node);
		return -1;
	}
	mxmlElementSetAttr(n, attr, value);
	return tx.commit_changes() ? 0 : -1;
}

int sim_store_unset(const char *node, const char *attr)
{
	if (!node)
		return -1;
	log_operation("unset", node, attr, nullptr);
	if (attr && !valid_attr_or_complain(attr))
		return -1;
	StoreTransaction tx;
	char resolved[NODE_NAME_MAX];
	if (!tx.root() || !resolve_or_complain(tx.root(), node, resolved, sizeof resolved))
		return -1;
	mxml_node_t *n = find_node(tx.root(), resolved, false);
	if (!n) {
		tx.unchanged();
		return 0;
	}
	if (attr)
		mxmlElementDeleteAttr(n, attr);
	else
		mxmlDelete(n);
	return tx.commit_changes() ? 0 : -1;
}

int sim_store_show(const char *node, sim_store_attr_fn fn, void *ctx)
{
	mxml_node_t *root = cached_store();
	if (!root)
		return SIM_STORE_FAULT;
	int rc = -1;
	char resolved[NODE_NAME_MAX];
	mxml_node_t *n = nullptr;
	if (resolve_node(root, node, resolved, sizeof resolved))
		n = find_node(root, resolved, false);
	if (n) {
		int count = mxmlElementGetAttrCount(n);
		for (int i = 0; i < count; i++) {
			const char *name = nullptr;
			const char *value = mxmlElementGetAttrByIndex(n, i, &name);
			fn(name, value, ctx);
		}
		rc = 0;
	}
	return rc;
}

// Behind a commit only the upgrade service runs in the simulation; for every
// other node the log line is the effect.
int sim_store_commit(const char *node)
{
	if (!node)
		return -1;
	log_operation("commit", node, nullptr, nullptr);
	mxml_node_t *root = cached_store();
	if (!root)
		return -1;
	char resolved[NODE_NAME_MAX];
	int rc = resolve_or_complain(root, node, resolved, sizeof resolved) ? 0 : -1;
	if (rc == 0 && strcmp(resolved, SYSTEM_NODE) == 0)
		serve_upgrade_request(root);
	return rc;
}

int sim_store_save(void)
{
	log_operation("save", nullptr, nullptr, nullptr);
	StoreTransaction tx;
	if (!tx.root())
		return -1;
	tx.unchanged();
	std::string rendered;
	const std::string *text = &cache.text;
	if (text->empty()) {
		if (!render_store(tx.root(), &rendered))
			return -1;
		text = &rendered;
	}
	return sim_store_save_to_flash(text->data(), text->size(), tx.lock_fd());
}
