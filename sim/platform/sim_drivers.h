/* The simulated gateway's kernel drivers: the answers its MTD and radio
 * drivers give to requests a workstation's kernel does not serve. Reached
 * through ioctl(2) as on the gateway (kernel_requests.c, the library every
 * dynamic program inside the gateway preloads), and by the gateway's static
 * flash utility and configuration writer. */
#ifndef SIM_DRIVERS_H
#define SIM_DRIVERS_H

#ifdef __cplusplus
extern "C" {
#endif

/* MEMGETINFO, MEMERASE, MEMGETBADBLOCK, MEMGETREGIONCOUNT and ECCGETSTATS
 * on a partition file (/dev/mtdN is a regular file
 * listed in /proc/mtd), after the kernel refused the request with ERR: 0, or
 * -1 with errno set (ERR again for anything that is no partition file). */
int sim_mtd_request(int fd, unsigned long request, void *arg, int err);

/* The radio's private calibration query on interface ra0: 1 when
 * REQUEST and ARG are that query, its result in *RC (errno set on failure);
 * 0 for any other request. */
int sim_radio_request(unsigned long request, void *arg, int *rc);

#ifdef __cplusplus
}
#endif

#endif
