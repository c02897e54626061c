/* Character devices the module drives directly (the audio codec), and
 * waiting on descriptors.
 *
 * On a board these are the C library's open/ioctl/close/poll. In a host
 * build the simulator implements them: the codec's path reaches its emulated
 * device, any other path is passed to the real open(); a wait moves
 * simulated time (in virtual time at once) while it lasts. */
#ifndef TESSEL_DEV_H
#define TESSEL_DEV_H

#ifdef __cplusplus
extern "C" {
#endif

#ifdef TESSEL_HOST_SIM

int tessel_dev_open(const char* path, int flags);
int tessel_dev_ioctl(int fd, unsigned long request, void* arg);
int tessel_dev_close(int fd);
struct pollfd;
int tessel_dev_poll(struct pollfd* fds, unsigned long nfds, int timeout_ms);

#else

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

static inline int tessel_dev_open(const char* path, int flags) { return open(path, flags); }
static inline int tessel_dev_ioctl(int fd, unsigned long request, void* arg) { return ioctl(fd, request, arg); }
static inline int tessel_dev_close(int fd) { return close(fd); }
static inline int tessel_dev_poll(struct pollfd* fds, unsigned long nfds, int timeout_ms) {
  return poll(fds, (nfds_t)nfds, timeout_ms);
}

#endif

#ifdef __cplusplus
}
#endif

#endif
