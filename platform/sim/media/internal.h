// What the media core's own files share.
#pragma once

#include <cstdint>

namespace sim {
namespace media {

// Moves virtual time to until, or sleeps until it in real time.
void advance_to(std::int64_t until);
// Time back to 0 (the clock's mode stays).
void reset_clock();

}  // namespace media
}  // namespace sim
