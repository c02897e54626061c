// Waiting on descriptors (tessel_dev_poll): the platform's stream
// descriptors and any others, such as sockets. Simulated time moves while
// the wait lasts: in virtual time it jumps from one due picture to the next,
// so that a script's event loop runs as fast as the machine allows.
#include <poll.h>

#include <algorithm>
#include <climits>

#include "media/media.h"
#include "tessel_dev.h"

namespace {

struct Held {
    Held() { sim::enter(); }
    ~Held() { sim::leave(); }
};

}  // namespace

extern "C" int tessel_dev_poll(struct pollfd* fds, unsigned long nfds, int timeout_ms) {
    using namespace sim::media;
    if (sim::media::clock() == Clock::Virtual) {
        Held held;
        int ready = 0;
        wait_for([&] { return (ready = ::poll(fds, nfds, 0)) != 0; }, timeout_ms);
        return ready;
    }
    // Real time: pump what is due, then sleep in poll() until the next due
    // moment or the caller's limit, whichever comes first.
    std::int64_t deadline = INT64_MAX;
    {
        Held held;
        if (timeout_ms >= 0) deadline = now() + static_cast<std::int64_t>(timeout_ms) * 1000;
    }
    for (;;) {
        int wait = 0;
        {
            Held held;
            pump();
            const std::int64_t t = now();
            if (deadline != INT64_MAX && t >= deadline) return ::poll(fds, nfds, 0);
            std::int64_t until = std::min(deadline, due_next());
            wait = until == INT64_MAX ? -1 : static_cast<int>(std::max<std::int64_t>(0, (until - t + 999) / 1000));
        }
        const int ready = ::poll(fds, nfds, wait);
        if (ready != 0) return ready;
    }
}
