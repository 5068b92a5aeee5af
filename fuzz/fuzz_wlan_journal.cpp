// The wireless journal loader and showcmd's listing over a journal file of
// any content and length. The listing must stay inside the record's buffer
// and must never write the store.
#include <cstdio>
#include <initializer_list>
#include <cstdlib>
#include <unistd.h>

#include "fuzz/fake_store.h"
#include "lib/safe_file.h"
#include "wlan/wlan_apply.h"
#include "wlan/wlan_journal.h"

namespace {

// The journal's own path is the gateway's; the fuzzer loads a file of its
// own through the same loader. It lives in memory where the workstation has
// a tmpfs: on a disk file system, a file cut to nothing and written again is
// flushed to the disk at every close, which would cost most of each run.
char journal_path[64];
int journal_fd = -1;

int make_journal()
{
	for (const char *dir : { "/dev/shm", "/tmp" }) {
		snprintf(journal_path, sizeof journal_path, "%s/fuzz_wlan_journal.XXXXXX", dir);
		int fd = safe_create_unique(journal_path);
		if (fd >= 0)
			return fd;
	}
	return -1;
}

void remove_journal()
{
	unlink(journal_path);
}

void write_journal(const unsigned char *data, size_t size)
{
	if (journal_fd < 0) {
		journal_fd = make_journal();
		if (journal_fd < 0)
			abort();
		atexit(remove_journal);
	}
	if (ftruncate(journal_fd, 0) != 0 || pwrite(journal_fd, data, size, 0) != static_cast<ssize_t>(size))
		abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
	write_journal(data, size);
	WlanJournal j;
	wlan_journal_load_file(journal_path, &j);
	wlan_replay(j, WLAN_SHOW);
	if (fake_store_writes() != 0 || wlan_changed != 0)
		abort();
	return 0;
}
