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
// read-modify-write. The text's form and the names that address it are
// store_text's.
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
#include "store_text.h"
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

// No configuration the gateway could save comes near this.
constexpr off_t STORE_FILE_MAX = 16 << 20;

const char *get_attr(mxml_node_t *root, const char *node, const char *attr)
{
	mxml_node_t *n = store_text_node(root, node, false);
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
	char why[256];
	mxml_node_t *root = store_text_parse(text.data(), text.size(), why, sizeof why);
	if (!root)
		sim_store_complain("%s is no configuration: %s", GW_STORE_FILE, why);
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

// The store as ROMFILE text.
bool render_store(mxml_node_t *root, std::string *text)
{
	size_t len;
	char *rendered = store_text_render(root, &len, cache.text.size());
	if (!rendered)
		return false;
	text->assign(rendered, len);
	free(rendered);
	return true;
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
	mxml_node_t *n = tx.root() ? store_text_node(tx.root(), SYSTEM_NODE, false) : nullptr;
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
	if (store_text_attr_name_ok(attr))
		return true;
	sim_store_complain("bad attribute name %s", attr);
	return false;
}

} // namespace

int sim_store_get(const char *node, const char *attr, char *value)
{
	if (!node || !store_text_attr_name_ok(attr) || !value)
		return -1;
	mxml_node_t *root = cached_store();
	if (!root)
		return SIM_STORE_FAULT;
	int rc = -1;
	char resolved[STORE_NODE_NAME_MAX];
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
	char why[256];
	if (!store_text_value_ok(node, attr, value, why, sizeof why)) {
		sim_store_complain("%s", why);
		return -1;
	}
	StoreTransaction tx;
	char resolved[STORE_NODE_NAME_MAX];
	if (!tx.root() || !resolve_or_complain(tx.root(), node, resolved, sizeof resolved))
		return -1;
	mxml_node_t *n = store_text_node(tx.root(), resolved, true);
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
	char resolved[STORE_NODE_NAME_MAX];
	if (!tx.root() || !resolve_or_complain(tx.root(), node, resolved, sizeof resolved))
		return -1;
	mxml_node_t *n = store_text_node(tx.root(), resolved, false);
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
	char resolved[STORE_NODE_NAME_MAX];
	mxml_node_t *n = nullptr;
	if (resolve_node(root, node, resolved, sizeof resolved))
		n = store_text_node(root, resolved, false);
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
	char resolved[STORE_NODE_NAME_MAX];
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
