#include "shell/store.h"

#include <cstring>

#include "tcapi.h"

int store_get(const char *node, const char *attr, char *buf, size_t size)
{
	// A found value comes terminated within MAXLEN_TCAPI_MSG bytes, and the
	// last byte is forced below: the buffer needs no clearing first, which
	// would cost more than the read itself.
	char value[MAXLEN_TCAPI_MSG];
	int rc = tcapi_get(node, attr, value);
	if (rc != 0 || size == 0)
		return rc;
	value[sizeof value - 1] = '\0';
	size_t len = strnlen(value, size - 1);
	memcpy(buf, value, len);
	buf[len] = '\0';
	return rc;
}

bool store_read(const char *node, const char *attr, char *buf, size_t size)
{
	memset(buf, 0, size);
	return store_get(node, attr, buf, size) == 0;
}
