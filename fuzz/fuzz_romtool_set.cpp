// romtool set: a backup from the input's first part and a value from its
// last 64 bytes. A value the store takes is read back exactly from the text
// set writes, and that text is one the store loads.
#include <cstdlib>
#include <cstring>
#include <string>

#include "store_text.h"
#include "tools/romtool/backup.h"

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	size_t value_len = size < 64 ? size : 64;
	const char *in = reinterpret_cast<const char *>(data);
	std::string value(in + size - value_len, strnlen(in + size - value_len, value_len));
	backup b;
	backup_load(in, size - value_len, &b);
	if (b.fault != BACKUP_OK)
		return 0;
	std::string text, why;
	if (!backup_set_value(&b, "Fuzz_Entry0", "Value", value.c_str(), &text, &why))
		abort();
	backup again;
	backup_load(text.data(), text.size(), &again);
	mxml_node_t *node = again.tree ? store_text_node(again.tree, "Fuzz_Entry0", false) : nullptr;
	const char *got = node ? mxmlElementGetAttr(node, "Value") : nullptr;
	if (again.fault != BACKUP_OK || !got || value != got)
		abort();
	return 0;
}
