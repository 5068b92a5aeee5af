// The simulated gateway's configuration store, as its configuration daemon
// runs it, and the store file's routines its configuration writer and the
// gateway builder use.
//
// Every failure other than an absent node or attribute is said in one line
// starting "tcapi: ", by the routine that met it: on standard error, or
// where sim_store_complaints_to sends it.
#pragma once

#include <cstddef>
#include <string>

#include "gateway_paths.h"

// tcapi_get's and sim_store_show's result when the store could not be read
// (as opposed to -1, absent).
constexpr int SIM_STORE_FAULT = -2;

// The four operations of the store library (tcapi.h), with the same
// arguments and results; a get or a show of a store that cannot be read
// returns SIM_STORE_FAULT.
int sim_store_get(const char *node, const char *attr, char *value);
int sim_store_set(const char *node, const char *attr, const char *value);
int sim_store_commit(const char *node);
int sim_store_save();

// Removes a whole node (attr == nullptr) or one attribute. Removing something
// absent succeeds. 0 = done, non-zero = refused (bad name, unresolvable
// Wan_PVC, unreadable store).
int sim_store_unset(const char *node, const char *attr);

typedef void (*sim_store_attr_fn)(const char *name, const char *value, void *ctx);

// Calls fn for every attribute of the node in stored order, values whole.
// 0 = node found, -1 = absent, SIM_STORE_FAULT = unreadable store.
int sim_store_show(const char *node, sim_store_attr_fn fn, void *ctx);

// The store file's lock under ROOT ("" inside the gateway; a gateway's
// directory on the workstation): a descriptor holding it, or -1.
int sim_store_lock(const char *root);

// Replaces the running configuration under ROOT with the LEN bytes of TEXT,
// whole or not at all. The caller holds sim_store_lock. false on failure.
bool sim_store_write_file(const char *root, const char *text, size_t len);

// sim_store_write_file under the store's lock.
bool sim_store_replace(const char *root, const char *text, size_t len);

// Hands the running ROMFILE text to the configuration writer on a save.
// STORE_LOCK, the caller's hold on the store's lock, is passed on to the
// writer, so the store stays locked until the save is in flash even when the
// caller dies first. 0 = written.
int sim_store_save_to_flash(const char *text, size_t len, int store_lock);

// Stores the ROM file text at PATH as ROM-D. 0 = written.
int sim_store_write_romd(const char *path);

// Prints "tcapi: " and the formatted message as one line on standard error,
// or appends the line to the sink given to sim_store_complaints_to.
__attribute__((format(printf, 1, 2))) void sim_store_complain(const char *fmt, ...);

// Where complaints go from now on: SINK, or standard error (nullptr). The
// daemon hands each request's complaints back to its client.
void sim_store_complaints_to(std::string *sink);
