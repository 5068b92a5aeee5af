/* The least every invocation of sys must do: take the command lock, read the
 * 167-byte manufacturing record and print one line. */
#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

int main(void)
{
	struct flock lock = { .l_type = F_WRLCK, .l_whence = SEEK_SET };
	unsigned char record[167];
	int fd = open("/tmp/syslockfd", O_RDWR | O_CREAT, 0666);
	int mtd;

	fcntl(fd, F_SETLKW, &lock);
	mtd = open("/dev/mtd0", O_RDONLY);
	if (mtd < 0 || pread(mtd, record, sizeof record, 0x1FF00) != (ssize_t)sizeof record)
		return 1;
	close(mtd);
	printf("debug flag %d\n", record[119]);
	lock.l_type = F_UNLCK;
	fcntl(fd, F_SETLK, &lock);
	return 0;
}
