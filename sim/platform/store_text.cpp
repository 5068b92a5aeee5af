// The store's text form. The XML text escapes what markup needs (&, <, >,
// "); bytes XML cannot carry at all (control bytes, bytes that are not
// UTF-8) stand in the text as they are, and the parser gets them as private
// characters that are turned back into the bytes once it is done.
#include "store_text.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <unordered_set>

namespace {

constexpr const char ROOT_ELEMENT[] = "ROMFILE";
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

mxml_node_t *child_element(mxml_node_t *parent, const char *name, size_t len)
{
	for (mxml_node_t *n = mxmlGetFirstChild(parent); n; n = mxmlGetNextSibling(n)) {
		const char *el = mxmlGetType(n) == MXML_ELEMENT ? mxmlGetElement(n) : nullptr;
		if (el && strlen(el) == len && memcmp(el, name, len) == 0)
			return n;
	}
	return nullptr;
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

// The text as the parser can take it.
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

// The markup the store's text gives an attribute value's byte.
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
	explicit RenderBuffer(size_t hint) : cap_(hint), data_(static_cast<char *>(malloc(hint + 1))) {}
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
	// The NUL-terminated text, the caller's to free; nullptr when memory ran
	// out on the way.
	char *release(size_t *len)
	{
		char *text = data_;
		if (text) {
			text[len_] = '\0';
			*len = len_;
		}
		data_ = nullptr;
		return text;
	}

private:
	bool grow(size_t need)
	{
		size_t cap = cap_ * 2 > need ? cap_ * 2 : need;
		char *bigger = data_ ? static_cast<char *>(realloc(data_, cap + 1)) : nullptr;
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

// What store_text_node can reach: a valid name without '_', the first of
// its siblings to bear it (SEEN holds the names of the siblings before it).
bool addressable(mxml_node_t *element, std::unordered_set<std::string> *seen)
{
	const char *name = mxmlGetElement(element);
	return !strchr(name, '_') && is_valid_xml_name(name, strlen(name)) && seen->insert(name).second;
}

void each_below(mxml_node_t *parent, size_t depth, std::string *prefix, store_text_node_fn fn, void *ctx)
{
	if (depth >= NAME_SEGMENTS_MAX)
		return;
	std::unordered_set<std::string> seen;
	for (mxml_node_t *n = mxmlGetFirstChild(parent); n; n = mxmlGetNextSibling(n)) {
		if (mxmlGetType(n) != MXML_ELEMENT || !addressable(n, &seen))
			continue;
		size_t keep = prefix->size();
		if (keep)
			*prefix += '_';
		*prefix += mxmlGetElement(n);
		if (prefix->size() < STORE_NODE_NAME_MAX) {
			fn(prefix->c_str(), n, ctx);
			each_below(n, depth + 1, prefix, fn, ctx);
		}
		prefix->resize(keep);
	}
}

} // namespace

mxml_node_t *store_text_parse(const char *text, size_t len, char *why, size_t why_size)
{
	// No callback: the store has elements and attributes only, so text
	// between elements (the indentation) is dropped. The text is loaded
	// under a holder, which also takes whatever follows the first element,
	// and is deleted with it.
	parse_error[0] = '\0';
	mxmlSetErrorCallback(keep_parse_error);
	mxml_node_t *holder = mxmlNewElement(MXML_NO_PARENT, "holder");
	mxml_node_t *root = nullptr;
	if (holder && mxmlLoadString(holder, parser_text(text, len).c_str(), MXML_NO_CALLBACK)) {
		root = mxmlGetFirstChild(holder);
		if (root && (mxmlGetType(root) != MXML_ELEMENT || strcmp(mxmlGetElement(root), ROOT_ELEMENT) != 0)) {
			root = nullptr;
			keep_parse_error("no ROMFILE element");
		}
	}
	if (root)
		mxmlRemove(root);
	if (holder)
		mxmlDelete(holder);
	if (!root) {
		snprintf(why, why_size, "%s", parse_error[0] ? parse_error : "unreadable text");
		return nullptr;
	}
	restore_bytes(root);
	return root;
}

char *store_text_render(mxml_node_t *root, size_t *len, size_t size_hint)
{
	if (!mxmlGetFirstChild(root)) {
		char *text = strdup("<ROMFILE>\n</ROMFILE>\n");
		if (text)
			*len = strlen(text);
		return text;
	}
	RenderBuffer out(size_hint + 4096);
	if (put_element(out, root, 0))
		return out.release(len);
	mxmlSetWrapMargin(0);
	char *text = mxmlSaveAllocString(root, layout_cb);
	if (text)
		*len = strlen(text);
	return text;
}

mxml_node_t *store_text_node(mxml_node_t *root, const char *node, bool create)
{
	size_t total = strlen(node);
	if (total == 0 || total >= STORE_NODE_NAME_MAX)
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
			char name[STORE_NODE_NAME_MAX];
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

bool store_text_attr_name_ok(const char *attr)
{
	return attr && is_valid_xml_name(attr, strlen(attr));
}

bool store_text_value_ok(const char *node, const char *attr, const char *value, char *why, size_t why_size)
{
	if (!store_text_attr_name_ok(attr)) {
		snprintf(why, why_size, "bad attribute name %s", attr);
		return false;
	}
	if (strlen(value) > STORE_VALUE_MAX) {
		snprintf(why, why_size, "value of %s %s refused: longer than %zu bytes", node, attr, STORE_VALUE_MAX);
		return false;
	}
	return true;
}

void store_text_each_node(mxml_node_t *root, store_text_node_fn fn, void *ctx)
{
	std::string prefix;
	each_below(root, 0, &prefix, fn, ctx);
}
