// Helpers shared by the unit tests: files of the gateway and captured stdout.
#pragma once

#include <cstdio>
#include <string>

std::string read_file(const char *path);
void write_file(const char *path, const std::string &data);

// Runs fn with stdout redirected and returns what it printed.
template <typename Fn>
std::string capture_stdout(Fn fn);

std::string capture_stdout_begin_end(void (*fn)(void *), void *arg);

template <typename Fn>
std::string capture_stdout(Fn fn)
{
	return capture_stdout_begin_end([](void *p) { (*static_cast<Fn *>(p))(); }, &fn);
}
