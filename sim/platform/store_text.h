// The configuration store's text form: ROMFILE text to the store's tree and
// back, and the names that address a value in it. The one reader of that
// text: the store loads its file with it, and romtool judges a backup with
// it, so a text romtool accepts is a text the store accepts.
//
// A node name is a path into the tree, split at every '_' ("Wan_PVC0" is
// element PVC0 inside Wan); attributes are the elements' attributes; values
// are kept byte for byte.
#pragma once

#include <cstddef>
#include <mxml.h>

// Values are kept whole up to this length. No setting of the gateway comes
// near it, and a store of longer values would soon no longer fit its romfile
// copies.
constexpr size_t STORE_VALUE_MAX = 65535;
constexpr size_t STORE_NODE_NAME_MAX = 128;

// The tree of the LEN bytes of TEXT, or nullptr with the reason the store
// gives in WHY (WHY_SIZE bytes). The caller deletes the tree.
mxml_node_t *store_text_parse(const char *text, size_t len, char *why, size_t why_size);

// The tree as the store writes it, in a malloc'd NUL-terminated buffer of
// *LEN bytes (one element per line, children indented by tabs); nullptr when
// out of memory. SIZE_HINT: about how long the text will be (the last one
// written), so the buffer seldom grows.
char *store_text_render(mxml_node_t *root, size_t *len, size_t size_hint = 0);

// The element NODE names; with CREATE, missing elements are added. nullptr
// when absent or when NODE is no valid path.
mxml_node_t *store_text_node(mxml_node_t *root, const char *node, bool create);

bool store_text_attr_name_ok(const char *attr);

// Whether the store takes VALUE for ATTR (of NODE, named in the reason):
// false with the store's reason in WHY.
bool store_text_value_ok(const char *node, const char *attr, const char *value, char *why, size_t why_size);

typedef void (*store_text_node_fn)(const char *node, mxml_node_t *element, void *ctx);

// Calls FN for every element the store can address, in document order, with
// its node name: an element whose name holds '_', or that follows a sibling
// of the same name, is out of the store's reach, and so is all below it.
void store_text_each_node(mxml_node_t *root, store_text_node_fn fn, void *ctx);
