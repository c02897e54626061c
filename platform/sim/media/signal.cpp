// Descriptors that poll readable while their owner has data.
#include <sys/eventfd.h>
#include <unistd.h>

#include <cstdint>

#include "media/media.h"

namespace sim {
namespace media {

Signal::Signal() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

Signal::~Signal() {
    if (fd_ >= 0) close(fd_);
}

void Signal::set(bool readable) {
    if (fd_ < 0 || readable == readable_) return;
    readable_ = readable;
    std::uint64_t v = 0;
    if (readable) {
        v = 1;
        (void)!write(fd_, &v, sizeof v);
    } else {
        (void)!read(fd_, &v, sizeof v);
    }
}

}  // namespace media
}  // namespace sim
