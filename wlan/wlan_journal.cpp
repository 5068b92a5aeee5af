#include "wlan/wlan_journal.h"

#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <unistd.h>

#include "lib/byteorder.h"
#include "lib/safe_file.h"

namespace {

// Reads up to LEN bytes, going on after short reads; stops at end of file or
// on an error, keeping what arrived.
void read_up_to(int fd, unsigned char *buf, size_t len)
{
	size_t got = 0;
	while (got < len) {
		ssize_t n = read(fd, buf + got, len - got);
		if (n <= 0)
			return;
		got += static_cast<size_t>(n);
	}
}

} // namespace

void wlan_journal_clear(WlanJournal *j)
{
	memset(j->bytes, 0, sizeof j->bytes);
}

int32_t wlan_journal_int(const WlanJournal &j, size_t offset)
{
	return static_cast<int32_t>(be32_get(j.bytes + offset));
}

void wlan_journal_set_int(WlanJournal *j, size_t offset, int32_t value)
{
	be32_put(j->bytes + offset, static_cast<uint32_t>(value));
}

const char *wlan_journal_text(const WlanJournal &j, size_t offset)
{
	return reinterpret_cast<const char *>(j.bytes + offset);
}

void wlan_journal_set_text(WlanJournal *j, size_t base, WlanTextField field, const char *text)
{
	unsigned char *at = j->bytes + base + field.offset;
	memset(at, 0, field.size);
	size_t len = strnlen(text, field.room - 1);
	memcpy(at, text, len);
	at[len] = '\0';
}

void wlan_journal_load_file(const char *path, WlanJournal *j)
{
	wlan_journal_clear(j);
	// Another user's file holds no changes of this operator's.
	int fd = safe_open_own(path, O_RDONLY);
	if (fd < 0)
		return;
	read_up_to(fd, j->bytes, WLAN_JOURNAL_SIZE);
	close(fd);
}

void wlan_journal_load(WlanJournal *j)
{
	wlan_journal_load_file(WLAN_JOURNAL_PATH, j);
}

// A write that fails once the file is open loses the change as a failed open
// does; the setter has nothing else to say about it.
bool wlan_journal_store(const WlanJournal &j)
{
	int fd = safe_open_own(WLAN_JOURNAL_PATH, O_WRONLY | O_CREAT, 0644);
	if (fd < 0 || ftruncate(fd, 0) != 0) {
		if (fd >= 0)
			close(fd);
		puts("Fail to set WirelessParameter.");
		return false;
	}
	bool ok = write_all(fd, j.bytes, WLAN_JOURNAL_SIZE);
	return close(fd) == 0 && ok;
}
