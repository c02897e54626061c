// The picture fields every encoder codec member has (largest picture,
// stream buffer, picture), read from whichever member the payload selects:
// shared by the encoder's rules and its media.
#pragma once

#include "sim/sim.h"

namespace sim {

struct Picture {
  HI_U32 maxW, maxH, bufSize, picW, picH;
};

inline Picture pictureOf(const VENC_ATTR_S& a) {
  switch (a.enType) {
    case PT_H264: { const auto& m = a.stAttrH264e; return {m.u32MaxPicWidth, m.u32MaxPicHeight, m.u32BufSize, m.u32PicWidth, m.u32PicHeight}; }
    case PT_H265: { const auto& m = a.stAttrH265e; return {m.u32MaxPicWidth, m.u32MaxPicHeight, m.u32BufSize, m.u32PicWidth, m.u32PicHeight}; }
    case PT_JPEG: { const auto& m = a.stAttrJpege; return {m.u32MaxPicWidth, m.u32MaxPicHeight, m.u32BufSize, m.u32PicWidth, m.u32PicHeight}; }
    default: { const auto& m = a.stAttrMjpege; return {m.u32MaxPicWidth, m.u32MaxPicHeight, m.u32BufSize, m.u32PicWidth, m.u32PicHeight}; }
  }
}

}  // namespace sim
