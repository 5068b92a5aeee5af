// The configuration daemon's client side: one request, one reply, each
// call bounded in time, so a daemon that is missing, stuck or gone is a
// failed store call and never a hung command. A process's reads share one
// connection; each change has its own. Used by the store library
// (libtcapi.so) and by the command-line client.
#pragma once

#include <cstddef>
#include <cstdlib>

// Requests and replies of this size or less (nearly all) need no buffer
// from the heap.
constexpr size_t STORE_SMALL_FRAME = 2048;

struct StoreReply {
	int result;         // the store's result for the operation
	const char *answer; // the answer part of the reply, answer_len bytes
	size_t answer_len;
	const unsigned char *body; // the reply's body, in small or in frame
	unsigned char *frame;      // a longer reply's; store_reply_release frees it
	unsigned char small[STORE_SMALL_FRAME];
};

// Sends OP with its COUNT words and waits for the reply; the complaints the
// store made go to standard error, as the store said them. false when there
// was no reply (said in one "tcapi: " line on standard error).
bool store_request(char op, const char *const *words, size_t count, StoreReply *reply);

// Frees a longer reply's buffer; nearly every reply fits the small one, and
// then this costs a test.
inline void store_reply_release(StoreReply *reply)
{
	if (reply->frame) {
		free(reply->frame);
		reply->frame = nullptr;
	}
}

// OP's result, or SIM_STORE_FAULT when no reply came; the answer is dropped.
int store_call(char op, const char *const *words, size_t count);

// A save (NODE nullptr) or a commit of NODE: these run the writer and the
// flash utility for the caller, so its flash test settings go along.
int store_call_flash(char op, const char *node);
