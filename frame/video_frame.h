// VideoFrame: a picture the platform lent to the module (a processing or
// capture channel's output, a decoder's or a display's), handed to
// scripts by every module that lends pictures, and given back exactly once.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/errors.h"
#include "frame/methods.h"
#include "frame/ref_counted.h"

/***
Pictures lent by the platform, whichever module lends them.
@module frame
*/
namespace Tessel {

// Who lent a frame and how it goes back: the lender's release call and its
// address (group and channel, layer and channel, or a channel alone in chn).
// A module that lends frames adds one small function of this shape, e.g.
//   HI_S32 releaseVpss(int grp, int chn, VIDEO_FRAME_INFO_S* f) {
//     return HI_MPI_VPSS_ReleaseChnFrame(grp, chn, f);
//   }
struct FrameLender {
  HI_S32 (*release)(int dev, int chn, VIDEO_FRAME_INFO_S* frame);
  int dev;
  int chn;
};

/***
A picture lent by the platform: a processing channel's output (`VPSSChannel:GetFrame`), a
captured picture (`VIChannel:GetFrame`), a decoded one (`VDECChannel:GetImage`), what a display
layer shows (`VOLayer:GetScreenFrame`) or what a display channel shows (`VOChannel:GetFrame`).

The platform wants its picture back: `Release` gives it back at once, and **when Lua collects
the object, it is given back then**, exactly once either way. A channel lends only as many
pictures as its depth (`VPSSChannel:SetDepth`, `VIChannel:SetFrameDepth`), a decoder as many
as its picture buffers (`VDECChannel:GetVBCnt`): release each one as soon as it is used, or the
channel runs dry (a decoder stops decoding). The properties describe the picture and stay
readable after `Release`; its bytes do not.

A frame is passed on with `VENCChannel:SendFrame`, `VPSSGroup:SendFrame` or
`VOChannel:SendFrame`; it stays the script's to release.
@type VideoFrame
*/
class VideoFrame : public RefCountedObjectType<int> {
 public:
  ~VideoFrame() override { Release(); }

  // Pushes a new frame object that holds nothing yet (Lua owns it) and
  // answers it. The lender fills description() and then calls hold(): all
  // the allocation is done before the platform lends, so no Lua error can
  // come between lending and the object that gives the frame back.
  static VideoFrame* pushEmpty(lua_State* L);
  VIDEO_FRAME_INFO_S* description() { return &m_info; }
  void hold(const FrameLender& lender) {
    m_lender = lender;
    m_held = true;
  }
  // The lent description, or null once given back.
  VIDEO_FRAME_INFO_S* lent() { return m_held ? &m_info : nullptr; }

  /*** The picture's width in pixels (`stVFrame.u32Width`).
  @tfield int Width
  */
  lua_Integer get_Width() const { return m_info.stVFrame.u32Width; }
  /*** The picture's height in pixels (`stVFrame.u32Height`).
  @tfield int Height
  */
  lua_Integer get_Height() const { return m_info.stVFrame.u32Height; }
  /*** The pixel format's name (`stVFrame.enPixelFormat`), as the tables take it:
  "YUV_SEMIPLANAR_420", "YUV_SEMIPLANAR_422", ...; "invalid" for a value without a name.
  @tfield string PixelFormat
  */
  const char* get_PixelFormat() const;
  /*** The picture's time stamp (`stVFrame.u64pts`), in microseconds.
  @tfield int Pts
  */
  lua_Integer get_Pts() const { return static_cast<lua_Integer>(m_info.stVFrame.u64pts); }
  /*** The bytes from one row to the next of each plane (`stVFrame.u32Stride`): a sequence of
  three numbers, luma plane first; planes the format does not have read 0.
  @tfield table Stride
  */
  int get_Stride(lua_State* L) const;

  /*** Gives the picture back to the channel that lent it (`HI_MPI_VPSS_ReleaseChnFrame`,
  `HI_MPI_VI_ReleaseFrame`, `HI_MPI_VDEC_ReleaseImage`, `HI_MPI_VO_ReleaseScreenFrame` or
  `HI_MPI_VO_ReleaseChnFrame`, as the lender). Only the first call reaches the platform, whatever it
  answered; the object then holds nothing.
  @function Release
  @treturn int 0 or the platform's error code (negative); 0 without a call once released
  */
  int Release();
  /*** The picture's bytes, read through `HI_MPI_SYS_Mmap` and `HI_MPI_SYS_Munmap` plane by
  plane: planes in order, rows without their stride padding. Semi-planar 4:2:0 gives `Height`
  rows of `Width` bytes of luma, then `Height / 2` rows of `Width` bytes of interleaved chroma
  (V first); 4:2:2 gives `Height` rows of chroma; 4:4:4 `Height` rows of `2 * Width`. Also read:
  planar YUV (Y, U, V), "YUV_400" (luma alone), the packed 4:2:2 formats and the 16, 24 and
  32-bit RGB formats (one plane each).
  @function GetData
  @treturn string the bytes; or `nil` and "Frame already released", "Cannot read a compressed
  frame", "Cannot read pixel format NAME", "Frame stride N of plane P is shorter than a row of
  M bytes", "Fail to map frame memory" (the mapping failed: no code), or
  "Fail to unmap frame memory" with the code
  @usage local y = frame:GetData():sub(1, frame.Width * frame.Height)
  */
  int GetData(lua_State* L);

 private:
  VIDEO_FRAME_INFO_S m_info = {};
  FrameLender m_lender = {};
  bool m_held = false;
};

// Lends a frame through get, a platform call filling the description it is
// given, and pushes it as a VideoFrame; a refusal gives nil and failText
// with the code. Returns the number of results.
template <class Get>
int pushLentFrame(lua_State* L, const FrameLender& lender, const char* failText, const char* func,
                  int line, Get&& get) {
  VideoFrame* frame = VideoFrame::pushEmpty(L);
  HI_S32 rc = get(frame->description());
  if (rc != HI_SUCCESS) {
    lua_pop(L, 1);
    return pushFailure(L, failText, func, line, rc);
  }
  frame->hold(lender);
  return 1;
}

// The frame argument of a SendFrame: a VideoFrame (anything else raises
// "VideoFrame expected, got ..."). Null when it was released.
VIDEO_FRAME_INFO_S* frameArg(lua_State* L, int idx);

// SendFrame(frame [, timeout]) of every module that takes pictures from a
// script: pushes the status of send(frame, timeout), or for a released frame
// releasedCode, the module's null-pointer code, without calling the platform.
template <class Send>
int sendFrame(lua_State* L, HI_S32 releasedCode, Send&& send) {
  VIDEO_FRAME_INFO_S* frame = frameArg(L, 2);
  HI_S32 timeout = timeoutArg(L, 3);
  lua_pushinteger(L, frame ? send(frame, timeout) : releasedCode);
  return 1;
}

// Registers "VideoFrame".
void registerVideoFrame(lua_State* L);

}  // namespace Tessel
