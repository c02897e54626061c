// The wait on descriptors in a host build, until the simulated platform
// answers it itself (letting its clock run while it waits): a plain poll(),
// weak so that the media simulation replaces it.
#include <poll.h>

#include "tessel_dev.h"

extern "C" __attribute__((weak)) int tessel_dev_poll(struct pollfd* fds, unsigned long nfds, int timeout_ms) {
    return poll(fds, static_cast<nfds_t>(nfds), timeout_ms);
}
