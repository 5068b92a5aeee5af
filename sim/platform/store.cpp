// The configuration store of the simulated gateway.
//
// The running configuration is ROMFILE text in /tmp/var/romfile.cfg. A node
// name is a path into the XML tree, split at every '_' ("Wan_PVC0" is element
// PVC0 inside Wan); attributes are XML attributes. Readers load the file
// without locking: writers take an exclusive flock on /tmp/var/romfile.lock
// for the whole read-modify-write and replace the file by rename, so a reader
// always sees one complete version and no concurrent write is lost.
#include "tcapi.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <mxml.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "applog.h"
#include "sim_store.h"

namespace {

constexpr const char STORE_DIR[] = "/tmp/var";
constexpr const char *STORE_FILE = SIM_STORE_FILE;
constexpr const char STORE_TEMP[] = "/tmp/var/romfile.cfg.new";
constexpr const char *STORE_LOCK = SIM_STORE_LOCK;
constexpr const char ROOT_ELEMENT[] = "ROMFILE";

// The node the WAN commands name without an index: the web interface's
// current selection decides which connection it is.
constexpr const char SELECTED_WAN_NODE[] = "Wan_PVC";
constexpr const char SELECTION_NODE[] = "WebCurSet_Entry";
// wan_pvc "8" is the PTM channel, whose connections live under WanExt.
constexpr const char PTM_CHANNEL[] = "8";

// An upgrade request: committing System_Entry with upgrade_fw "1" starts the
// upgrade service on the file the web interface (or `sys copy romt romd`)
// left, whose kind WebCurSet_Entry UploadFileType names. Kind "3" is a
// configuration file destined for ROM-D; firmware kinds are not served here
// and their request stays pending.
constexpr const char SYSTEM_NODE[] = "System_Entry";
constexpr const char UPGRADE_ATTR[] = "upgrade_fw";
constexpr const char UPLOAD_TYPE_ATTR[] = "UploadFileType";
constexpr const char UPLOAD_TYPE_ROMD[] = "3";
constexpr const char UPLOADED_CONFIG[] = "/var/tmp/up_romfile.cfg";

constexpr size_t NODE_NAME_MAX = 128;
constexpr size_t NAME_SEGMENTS_MAX = 16;

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

bool is_decimal(const char *s)
{
	if (!*s || strlen(s) > 4)
		return false;
	for (; *s; s++) {
		if (*s < '0' || *s > '9')
			return false;
	}
	return true;
}

// mxml reads only well-formed UTF-8 back, so a value it could not reload is
// refused rather than stored.
bool is_storable_value(const char *value)
{
	const unsigned char *p = reinterpret_cast<const unsigned char *>(value);
	while (*p) {
		int follow;
		if (*p < 0x20 && *p != '\t')
			return false;
		if (*p < 0x80)
			follow = 0;
		else if ((*p & 0xE0) == 0xC0 && *p >= 0xC2)
			follow = 1;
		else if ((*p & 0xF0) == 0xE0)
			follow = 2;
		else if ((*p & 0xF8) == 0xF0 && *p <= 0xF4)
			follow = 3;
		else
			return false;
		p++;
		for (int i = 0; i < follow; i++, p++) {
			if ((*p & 0xC0) != 0x80)
				return false;
		}
	}
	return true;
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

// The stored name of the node the caller means: Wan_PVC goes through the
// current selection, every other name is itself. false when unresolvable.
bool resolve_node(mxml_node_t *root, const char *node, char *out, size_t size)
{
	if (strcmp(node, SELECTED_WAN_NODE) != 0) {
		snprintf(out, size, "%s", node);
		return true;
	}
	const char *pvc = get_attr(root, SELECTION_NODE, "wan_pvc");
	if (!pvc)
		return false;
	if (strlen(pvc) == 1 && pvc[0] >= '0' && pvc[0] <= '7') {
		snprintf(out, size, "Wan_PVC%s", pvc);
		return true;
	}
	if (strcmp(pvc, PTM_CHANNEL) == 0) {
		const char *ext = get_attr(root, SELECTION_NODE, "wan_pvc_ext");
		if (!ext || !is_decimal(ext))
			return false;
		snprintf(out, size, "WanExt_PVC8e%s", ext);
		return true;
	}
	return false;
}

mxml_node_t *load_store()
{
	FILE *fp = fopen(STORE_FILE, "r");
	if (!fp) {
		if (errno == ENOENT)
			return mxmlNewElement(MXML_NO_PARENT, ROOT_ELEMENT);
		return nullptr;
	}
	// No callback: the store has elements and attributes only, so text
	// between elements (the indentation) is dropped.
	mxml_node_t *root = mxmlLoadFile(nullptr, fp, MXML_NO_CALLBACK);
	fclose(fp);
	if (root && (mxmlGetType(root) != MXML_ELEMENT || strcmp(mxmlGetElement(root), ROOT_ELEMENT) != 0)) {
		mxmlDelete(root);
		return nullptr;
	}
	return root;
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

// Renders the store as ROMFILE text into a malloc'd buffer.
char *render_store(mxml_node_t *root, size_t *len)
{
	mxmlSetWrapMargin(0);
	char *text;
	if (mxmlGetFirstChild(root))
		text = mxmlSaveAllocString(root, layout_cb);
	else
		text = strdup("<ROMFILE>\n</ROMFILE>\n");
	if (text)
		*len = strlen(text);
	return text;
}

bool write_store(mxml_node_t *root)
{
	size_t len;
	char *text = render_store(root, &len);
	if (!text)
		return false;
	bool ok = false;
	int fd = open(STORE_TEMP, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
	if (fd >= 0) {
		ok = write(fd, text, len) == static_cast<ssize_t>(len);
		ok = close(fd) == 0 && ok;
		ok = ok && rename(STORE_TEMP, STORE_FILE) == 0;
	}
	free(text);
	return ok;
}

void log_operation(const char *op, const char *node, const char *attr, const char *value)
{
	char *line = nullptr;
	int len;
	if (!node)
		len = asprintf(&line, "%s\n", op);
	else if (!attr)
		len = asprintf(&line, "%s %s\n", op, node);
	else if (!value)
		len = asprintf(&line, "%s %s %s\n", op, node, attr);
	else
		len = asprintf(&line, "%s %s %s %s\n", op, node, attr, value);
	if (len > 0)
		sim_append_log(SIM_TCAPI_LOG, line, static_cast<size_t>(len));
	free(line);
}

// Holds the store's write lock and its loaded tree for one read-modify-write.
class StoreTransaction {
public:
	StoreTransaction()
	{
		mkdir(STORE_DIR, 0755);
		lock_fd_ = open(STORE_LOCK, O_RDWR | O_CREAT | O_CLOEXEC, 0644);
		if (lock_fd_ < 0)
			return;
		while (flock(lock_fd_, LOCK_EX) < 0) {
			if (errno != EINTR)
				return;
		}
		root_ = load_store();
	}

	~StoreTransaction()
	{
		if (root_)
			mxmlDelete(root_);
		if (lock_fd_ >= 0)
			close(lock_fd_);
	}

	StoreTransaction(const StoreTransaction &) = delete;
	StoreTransaction &operator=(const StoreTransaction &) = delete;

	mxml_node_t *root() const { return root_; }

	bool commit_changes() { return write_store(root_); }

private:
	int lock_fd_ = -1;
	mxml_node_t *root_ = nullptr;
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
	sim_store_write_romd(UPLOADED_CONFIG);
	clear_upgrade_request();
}

} // namespace

int tcapi_get(const char *node, const char *attr, char *value)
{
	if (!node || !is_valid_attr_name(attr) || !value)
		return -1;
	mxml_node_t *root = load_store();
	if (!root)
		return -1;
	int rc = -1;
	char resolved[NODE_NAME_MAX];
	if (resolve_node(root, node, resolved, sizeof resolved)) {
		const char *found = get_attr(root, resolved, attr);
		if (found) {
			size_t len = strlen(found);
			if (len >= MAXLEN_TCAPI_MSG)
				len = MAXLEN_TCAPI_MSG - 1;
			memcpy(value, found, len);
			value[len] = '\0';
			rc = 0;
		}
	}
	mxmlDelete(root);
	return rc;
}

// Every write operation is logged as called, accepted or not: the log is the
// record of what the program asked of the store.
int tcapi_set(const char *node, const char *attr, const char *value)
{
	if (!node || !attr || !value)
		return -1;
	log_operation("set", node, attr, value);
	if (strlen(value) >= MAXLEN_TCAPI_MSG || !is_valid_attr_name(attr) || !is_storable_value(value))
		return -1;
	StoreTransaction tx;
	char resolved[NODE_NAME_MAX];
	if (!tx.root() || !resolve_node(tx.root(), node, resolved, sizeof resolved))
		return -1;
	mxml_node_t *n = find_node(tx.root(), resolved, true);
	if (!n)
		return -1;
	mxmlElementSetAttr(n, attr, value);
	return tx.commit_changes() ? 0 : -1;
}

int sim_store_unset(const char *node, const char *attr)
{
	if (!node)
		return -1;
	log_operation("unset", node, attr, nullptr);
	if (attr && !is_valid_attr_name(attr))
		return -1;
	StoreTransaction tx;
	char resolved[NODE_NAME_MAX];
	if (!tx.root() || !resolve_node(tx.root(), node, resolved, sizeof resolved))
		return -1;
	mxml_node_t *n = find_node(tx.root(), resolved, false);
	if (!n)
		return 0;
	if (attr)
		mxmlElementDeleteAttr(n, attr);
	else
		mxmlDelete(n);
	return tx.commit_changes() ? 0 : -1;
}

int sim_store_show(const char *node, sim_store_attr_fn fn, void *ctx)
{
	mxml_node_t *root = load_store();
	if (!root)
		return -1;
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
	mxmlDelete(root);
	return rc;
}

// Behind a commit only the upgrade service runs in the simulation; for every
// other node the log line is the effect.
int tcapi_commit(const char *node)
{
	if (!node)
		return -1;
	log_operation("commit", node, nullptr, nullptr);
	mxml_node_t *root = load_store();
	if (!root)
		return -1;
	char resolved[NODE_NAME_MAX];
	int rc = resolve_node(root, node, resolved, sizeof resolved) ? 0 : -1;
	if (rc == 0 && strcmp(resolved, SYSTEM_NODE) == 0)
		serve_upgrade_request(root);
	mxmlDelete(root);
	return rc;
}

int tcapi_save(void)
{
	log_operation("save", nullptr, nullptr, nullptr);
	StoreTransaction tx;
	if (!tx.root())
		return -1;
	size_t len;
	char *text = render_store(tx.root(), &len);
	if (!text)
		return -1;
	int rc = sim_store_save_to_flash(text, len);
	free(text);
	return rc;
}
