// What the decoder's control (vdec.cpp) tells its stream handling
// (vdec_media.cpp).
#pragma once

#include "sim/sim.h"

namespace sim {
namespace vdec {

// A channel reset or destroyed starts again without stream or pictures
// (pictures lent out stay lent until they are released).
void forget(VDEC_CHN chn);

}  // namespace vdec
}  // namespace sim
