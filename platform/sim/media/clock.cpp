// Simulated time: the steady clock, or virtual time that only waits move.
#include <chrono>
#include <thread>

#include "media/media.h"
#include "media/internal.h"

namespace sim {
namespace media {
namespace {

std::int64_t steady() {
    using namespace std::chrono;
    return duration_cast<microseconds>(steady_clock::now().time_since_epoch()).count();
}

// Time 0 is the first use, until a reset sets it again.
struct Time {
    Clock mode = Clock::Real;
    std::int64_t virtualNow = 0;
    std::int64_t realBase = steady();  // steady-clock microsecond that time 0 stands for
};

Time& time() {
    static Time t;
    return t;
}

}  // namespace

void set_clock(Clock mode) {
    Time& t = time();
    if (mode == t.mode) return;
    const std::int64_t at = now();
    t.mode = mode;
    if (mode == Clock::Virtual) t.virtualNow = at;
    else t.realBase = steady() - at;
}

Clock clock() { return time().mode; }

std::int64_t now() {
    const Time& t = time();
    return t.mode == Clock::Virtual ? t.virtualNow : steady() - t.realBase;
}

void advance_to(std::int64_t until) {
    Time& t = time();
    if (t.mode == Clock::Virtual) {
        if (until > t.virtualNow) t.virtualNow = until;
        return;
    }
    const std::int64_t wait = until - now();
    if (wait > 0) std::this_thread::sleep_for(std::chrono::microseconds(wait));
}

void reset_clock() {
    Time& t = time();
    t.virtualNow = 0;
    t.realBase = steady();
}

}  // namespace media
}  // namespace sim
