// The configuration daemon's requests and replies on its local socket.
//
// A connection carries requests one after another, each answered before the
// next is read (a malformed one ends it). Both directions are a frame: a
// 32-bit big-endian length, then that many bytes.
//
//   request body: one operation byte, then its words, each ended by a NUL.
//   reply body:   32-bit big-endian result (two's complement), 32-bit
//                 big-endian length of the complaints, the complaints (the
//                 store's "tcapi: " lines, as they go to standard error),
//                 then the answer: a value for a get, NAME NUL VALUE NUL
//                 pairs for a show.
//
// The daemon reads a length before it reads anything else and refuses a
// frame longer than STORE_REQUEST_MAX without reading it.
#pragma once

#include <cstddef>

#include "lib/byteorder.h"

enum StoreOp : char {
	STORE_GET = 'g',    // node, attribute
	STORE_SET = 's',    // node, attribute, value
	STORE_UNSET = 'u',  // node [, attribute]
	STORE_COMMIT = 'c', // node, then the flash test settings below
	STORE_SAVE = 'S',   // the flash test settings below
	STORE_SHOW = 'w',   // node
};

// The three longest words a command line can pass (128 KiB each) and more:
// no value the store keeps comes near it.
constexpr size_t STORE_REQUEST_MAX = 512 * 1024;
// A show of a node holding the largest store file the store reads.
constexpr size_t STORE_REPLY_MAX = 20 * 1024 * 1024;
constexpr size_t STORE_FRAME_HEADER = 4;
constexpr size_t STORE_REPLY_HEADER = 8;

// The flash utility's test settings (sim/gateway/mtd.cpp): a save or an
// upgrade runs the writer and the flash utility for the client, so the
// client's settings travel with the request as NAME=VALUE words.
constexpr const char *const STORE_FLASH_SETTINGS[] = {
	"GWSIM_MTD_KILL_AFTER_BLOCKS",
	"GWSIM_MTD_KILL_AFTER_ERASES",
	"GWSIM_MTD_ERASE_DELAY_US",
};
// The most words a request carries: a commit's node and the flash settings.
constexpr size_t STORE_WORDS_MAX = 1 + sizeof STORE_FLASH_SETTINGS / sizeof STORE_FLASH_SETTINGS[0];
