// Helpers shared by the unit tests: files of the gateway and captured stdout.
#pragma once

#include <cstdio>
#include <initializer_list>
#include <string>
#include <vector>

std::string read_file(const char *path);
void write_file(const char *path, const std::string &data);

// Runs fn with stdout (stderr) redirected and returns what it printed.
std::string capture_fd_begin_end(int fd, void (*fn)(void *), void *arg);
template <int FD, typename Fn>
std::string capture_fd(Fn fn)
{
	return capture_fd_begin_end(FD, [](void *p) { (*static_cast<Fn *>(p))(); }, &fn);
}
template <typename Fn> std::string capture_stdout(Fn fn) { return capture_fd<1>(fn); }
template <typename Fn> std::string capture_stderr(Fn fn) { return capture_fd<2>(fn); }

// The bytes of a string, as the flash and image functions take them.
inline const unsigned char *bytes_of(const std::string &s)
{
	return reinterpret_cast<const unsigned char *>(s.data());
}

// LEN bytes of a pattern by SEED with no short period: misplaced blocks show.
std::string test_pattern(size_t len, unsigned seed);

// Replaces bytes at OFFSET of a gateway file, keeping its size (else a failure).
void put_file_bytes(const char *path, size_t offset, const std::string &data);

// Puts gateway files back as they were when it goes (absent ones removed).
class SavedFiles {
public:
	SavedFiles(std::initializer_list<const char *> paths);
	~SavedFiles();
	SavedFiles(const SavedFiles &) = delete;
	SavedFiles &operator=(const SavedFiles &) = delete;

private:
	struct Saved { const char *path; bool existed; std::string data; };
	std::vector<Saved> saved_;
};

struct FwTag;
// A firmware image of the given identity and parts, as fwimage_build lays it out.
std::string fw_image(const FwTag &ident, const std::string &kernel, const std::string &rootfs,
		     const std::string &defcfg);
