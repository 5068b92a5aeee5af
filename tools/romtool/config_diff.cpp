#include "config_diff.h"

#include <cstring>
#include <string>
#include <unordered_map>
#include <vector>

#include "store_text.h"

namespace {

struct node_entry {
	std::string name;
	mxml_node_t *element;
};

// Every node the store can address, in document order, with an index by name.
struct flat_config {
	std::vector<node_entry> nodes;
	std::unordered_map<std::string, size_t> by_name;
};

void add_node(const char *node, mxml_node_t *element, void *ctx)
{
	flat_config *f = static_cast<flat_config *>(ctx);
	f->by_name.emplace(node, f->nodes.size());
	f->nodes.push_back(node_entry{node, element});
}

void flatten(mxml_node_t *root, flat_config *f)
{
	store_text_each_node(root, add_node, f);
}

mxml_node_t *element_of(const flat_config &f, const std::string &name)
{
	auto it = f.by_name.find(name);
	return it == f.by_name.end() ? nullptr : f.nodes[it->second].element;
}

void print_change(FILE *out, const char *node, const char *attr, const char *what, const char *old_value,
		  const char *new_value)
{
	fprintf(out, "%s %s: ", node, attr);
	if (old_value && new_value) {
		config_print_value(out, old_value);
		fputs(" -> ", out);
		config_print_value(out, new_value);
	} else {
		fprintf(out, "%s ", what);
		config_print_value(out, old_value ? old_value : new_value);
	}
	fputc('\n', out);
}

// Changed and removed attributes of A's node, then those only B's has.
size_t diff_node(FILE *out, const char *node, mxml_node_t *a, mxml_node_t *b)
{
	size_t n = 0;
	int count = a ? mxmlElementGetAttrCount(a) : 0;
	for (int i = 0; i < count; i++) {
		const char *attr = nullptr;
		const char *old_value = mxmlElementGetAttrByIndex(a, i, &attr);
		const char *new_value = b ? mxmlElementGetAttr(b, attr) : nullptr;
		if (new_value && strcmp(old_value, new_value) == 0)
			continue;
		print_change(out, node, attr, "removed", old_value, new_value);
		n++;
	}
	count = b ? mxmlElementGetAttrCount(b) : 0;
	for (int i = 0; i < count; i++) {
		const char *attr = nullptr;
		const char *new_value = mxmlElementGetAttrByIndex(b, i, &attr);
		if (a && mxmlElementGetAttr(a, attr))
			continue;
		print_change(out, node, attr, "added", nullptr, new_value);
		n++;
	}
	return n;
}

// A node that only an added or removed line of its own can show: no
// attributes and no nodes below it.
bool bare_leaf(mxml_node_t *element)
{
	if (mxmlElementGetAttrCount(element) > 0)
		return false;
	for (mxml_node_t *n = mxmlGetFirstChild(element); n; n = mxmlGetNextSibling(n)) {
		if (mxmlGetType(n) == MXML_ELEMENT)
			return false;
	}
	return true;
}

} // namespace

void config_print_value(FILE *out, const char *value)
{
	fputc('"', out);
	for (const unsigned char *p = reinterpret_cast<const unsigned char *>(value); *p; p++) {
		if (*p == '"' || *p == '\\')
			fprintf(out, "\\%c", *p);
		else if (*p < 0x20 || *p == 0x7F)
			fprintf(out, "\\x%02X", *p);
		else
			fputc(*p, out);
	}
	fputc('"', out);
}

size_t config_diff(mxml_node_t *a, mxml_node_t *b, FILE *out)
{
	flat_config fa, fb;
	flatten(a, &fa);
	flatten(b, &fb);
	size_t n = 0;
	for (const node_entry &e : fa.nodes) {
		mxml_node_t *other = element_of(fb, e.name);
		if (!other && bare_leaf(e.element)) {
			fprintf(out, "%s: removed\n", e.name.c_str());
			n++;
		}
		n += diff_node(out, e.name.c_str(), e.element, other);
	}
	for (const node_entry &e : fb.nodes) {
		if (element_of(fa, e.name))
			continue;
		if (bare_leaf(e.element)) {
			fprintf(out, "%s: added\n", e.name.c_str());
			n++;
		}
		n += diff_node(out, e.name.c_str(), nullptr, e.element);
	}
	return n;
}
