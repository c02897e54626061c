// What the display's control (vo.cpp) and its pictures (vo_media.cpp)
// share, and what the simulator's Lua module asks of the display.
#pragma once

#include <string>

#include "media/media.h"
#include "sim/sim.h"

namespace sim {
namespace display {

// The picture and refresh rate of a device's timing; a user timing's active
// area (both fields of an interlaced one).
struct Screen {
  HI_U32 width, height;
  bool interlaced;
  HI_U32 rate;
};
Screen screen_of(const VO_PUB_ATTR_S& attr);

// The device a layer shows on now: its own, or the one it was bound to; -1
// for the picture-in-picture layer bound to none.
int device_of(VO_LAYER layer);

// A channel disabled or cleared shows nothing until it is given a picture
// again; a step asked of a paused channel shows its next picture.
void forget(Key chn);

// What device dev shows now, composed at its screen size; null, with the
// reason, when it shows nothing (not enabled, or no timing).
media::PicturePtr device_picture(int dev, std::string* why);

// The device whose picture the HDMI output carries: the enabled device
// driving HDMI, once the transmitter is started; -1 with the reason.
int hdmi_device(std::string* why);

}  // namespace display
}  // namespace sim
