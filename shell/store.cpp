#include "shell/store.h"

#include <cstring>

#include "tcapi.h"

int store_get(const char *node, const char *attr, char *buf, size_t size)
{
	char value[MAXLEN_TCAPI_MSG];
	memset(value, 0, sizeof value);
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
