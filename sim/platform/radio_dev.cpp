// The 2.4 GHz radio of the simulated gateway. Its driver answers the private
// calibration query from the file /proc/ra0/calibration, which holds the
// answer as decimal text; while the file is absent there is no interface ra0
// and the request fails as the kernel fails it. Every other request is the
// workstation kernel's.
#include "sim_drivers.h"

#include <linux/wireless.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace {

constexpr const char RADIO_IF[] = "ra0";
constexpr const char CALIBRATION_FILE[] = "/proc/ra0/calibration";
constexpr unsigned long PRIV_QUERY = SIOCIWFIRSTPRIV + 1;
constexpr uint16_t CALIBRATION_QUERY = 0x768;

int fail(int err)
{
	errno = err;
	return -1;
}

// The number in the calibration file; false when there is no file (no
// interface) or it holds no number.
bool read_calibration(uint32_t *answer, int *err)
{
	int fd = open(CALIBRATION_FILE, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
	if (fd < 0) {
		*err = ENODEV;
		return false;
	}
	char text[32];
	ssize_t n = read(fd, text, sizeof text - 1);
	close(fd);
	text[n > 0 ? n : 0] = '\0';
	char *end = nullptr;
	errno = 0;
	unsigned long value = strtoul(text, &end, 10);
	if (end == text || errno || value > UINT32_MAX) {
		*err = EIO;
		return false;
	}
	*answer = static_cast<uint32_t>(value);
	return true;
}

int calibration_query(struct iwreq *req)
{
	uint32_t answer = 0;
	int err = 0;
	if (!read_calibration(&answer, &err))
		return fail(err);
	if (req->u.data.flags != CALIBRATION_QUERY)
		return fail(EOPNOTSUPP);
	if (!req->u.data.pointer || req->u.data.length < sizeof answer)
		return fail(EINVAL);
	memcpy(req->u.data.pointer, &answer, sizeof answer);
	return 0;
}

} // namespace

int sim_radio_request(unsigned long request, void *arg, int *rc)
{
	struct iwreq *req = static_cast<struct iwreq *>(arg);
	if (!req || request != PRIV_QUERY || strncmp(req->ifr_name, RADIO_IF, IFNAMSIZ) != 0)
		return 0;
	*rc = calibration_query(req);
	return 1;
}
