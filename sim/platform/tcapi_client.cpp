// The configuration store library as the gateway's programs link it
// (libtcapi.so): every operation is one request to the configuration daemon,
// which holds the running configuration. What the store refuses it says on
// standard error itself; a daemon that cannot be reached is a failed call.
#include "tcapi.h"

#include <cstring>

#include "sim_store.h"
#include "store_client.h"
#include "store_protocol.h"

int tcapi_get(const char *node, const char *attr, char *value)
{
	if (!node || !attr || !value)
		return -1;
	const char *words[] = {node, attr};
	StoreReply reply;
	if (!store_request(STORE_GET, words, 2, &reply))
		return SIM_STORE_FAULT;
	if (reply.result == 0) {
		size_t len = strnlen(reply.answer, reply.answer_len < MAXLEN_TCAPI_MSG ? reply.answer_len : MAXLEN_TCAPI_MSG - 1);
		memcpy(value, reply.answer, len);
		value[len] = '\0';
	}
	store_reply_release(&reply);
	return reply.result;
}

int tcapi_set(const char *node, const char *attr, const char *value)
{
	if (!node || !attr || !value)
		return -1;
	const char *words[] = {node, attr, value};
	return store_call(STORE_SET, words, 3);
}

int tcapi_commit(const char *node)
{
	return node ? store_call_flash(STORE_COMMIT, node) : -1;
}

int tcapi_save(void)
{
	return store_call_flash(STORE_SAVE, nullptr);
}
