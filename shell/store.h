// The program's side of the configuration store contract.
#pragma once

#include <cstddef>

// Reads NODE ATTR into buf (size bytes), always terminated and never past
// size. On failure the buffer is left exactly as it was, as a failed store
// read leaves it; callers clear it first where that matters. Returns
// tcapi_get's result (0 = found).
int store_get(const char *node, const char *attr, char *buf, size_t size);

// Clears buf, then reads NODE ATTR into it (bounded). True when found; on
// failure buf holds the empty text, which callers take as not configured.
bool store_read(const char *node, const char *attr, char *buf, size_t size);
