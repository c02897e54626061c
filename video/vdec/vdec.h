// Video decoding: decoder channels and the module-wide decoder parameters,
// over the HI_MPI_VDEC_* calls. Scripts feed a channel its stream and take
// the decoded pictures, or bind the channel to processing or display.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"

// Channel attributes: the member of the codec union follows the payload type.
TESSEL_DECLARE_STRUCT(VDEC_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VDEC_ATTR_JPEG_S)
TESSEL_DECLARE_STRUCT(VDEC_ATTR_VIDEO_S)
TESSEL_DECLARE_ENUM(VIDEO_MODE_E)
TESSEL_DECLARE_ENUM(VDEC_JPG_COLOR_FMT_E)

// Channel and protocol parameters, status and module parameters.
TESSEL_DECLARE_STRUCT(VDEC_CHN_PARAM_S)
TESSEL_DECLARE_STRUCT(VDEC_PRTCL_PARAM_S)
TESSEL_DECLARE_STRUCT(H264_PRTCL_PARAM_S)
TESSEL_DECLARE_STRUCT(H265_PRTCL_PARAM_S)
TESSEL_DECLARE_STRUCT(VDEC_CHN_STAT_S)
TESSEL_DECLARE_STRUCT(VDEC_DECODE_ERROR_S)
TESSEL_DECLARE_STRUCT(VDEC_MOD_PARAM_S)

/***
Video decoding: `Tessel.VDEC` and its decoder channels.

A decoder channel decodes H.264, H.265, JPEG and motion JPEG streams. A script feeds it with
`VDECChannel:SendStream`; the decoded pictures go to processing or display through
`Tessel.SYS.Bind`, as a source (`{"VDEC", 0, n}` or the channel object), or, when the channel
is bound to nothing, wait for `VDECChannel:GetImage`.
@module vdec
*/
namespace Tessel {

constexpr int kVdecMaxChannels = 64;

/***
One decoder channel (module "VDEC", device 0, channel 0 to 63).

The object whose `Create` succeeded owns the platform channel. **When Lua
collects any channel object, the channel stops receiving its stream**, and the
owner also destroys the channel: keep the object in a variable for as long as
the channel is wanted.
@type VDECChannel
*/
class VDECChannel : public Channel, public RefCountedObjectType<int> {
 public:
  explicit VDECChannel(int chn) : Channel(HI_ID_VDEC, 0, chn) {}
  ~VDECChannel() override;

  /*** Creates the platform channel from an attribute table (`HI_MPI_VDEC_CreateChn`).
  On success this object owns the channel.
  @function Create
  @tparam VDEC_CHN_ATTR_S attrs `enType`, `u32BufSize`, `u32Priority`, `u32PicWidth`,
  `u32PicHeight` and `attr` (`VDEC_ATTR_JPEG_S` for "JPEG" and "MJPEG", else `VDEC_ATTR_VIDEO_S`);
  read from the last argument
  @return `true`, or `nil` and "Invalid VDEC channel creation attributes!" (not a table, also
  written to standard error), a conversion message, or "Fail to create VDEC channel" with the code
  @usage assert(Tessel.VDEC.GetChannel(0):Create{enType = "H264", u32BufSize = 1920 * 1080 * 3 / 2,
  u32PicWidth = 1920, u32PicHeight = 1080, attr = {u32RefFrameNum = 2, enMode = "FRAME"}})
  */
  int Create(lua_State* L);
  /*** Stops reception (`HI_MPI_VDEC_StopRecvStream`) and, when this object created the
  channel, destroys it (`HI_MPI_VDEC_DestroyChn`).
  @function Destroy
  @treturn int 0, or the platform's error code (negative); 0 without destroying when this
  object did not create the channel
  */
  int Destroy();
  /*** Resets the channel (`HI_MPI_VDEC_ResetChn`).
  @function Reset
  @treturn int 0 or the platform's error code
  */
  int Reset() { return HI_MPI_VDEC_ResetChn(m_chnId); }
  /*** Starts receiving the stream (`HI_MPI_VDEC_StartRecvStream`).
  @function Start
  @treturn int 0 or the platform's error code
  */
  int Start() { return HI_MPI_VDEC_StartRecvStream(m_chnId); }
  /*** Stops receiving the stream (`HI_MPI_VDEC_StopRecvStream`).
  @function Stop
  @treturn int 0 or the platform's error code
  */
  int Stop() { return HI_MPI_VDEC_StopRecvStream(m_chnId); }
  /*** Reads the channel's status (`HI_MPI_VDEC_Query`).
  @function Query
  @treturn VDEC_CHN_STAT_S the status, its decoding errors under `stVdecDecErr`;
  or `nil` and "Fail to query VDEC channel status" with the code
  */
  int Query(lua_State* L);
  /*** The channel's file descriptor (`HI_MPI_VDEC_GetFd`).
  @function GetFd
  @treturn int the descriptor, or the platform's error code (negative)
  */
  int GetFd() { return HI_MPI_VDEC_GetFd(m_chnId); }
  /*** Closes the channel's file descriptor (`HI_MPI_VDEC_CloseFd`).
  @function CloseFd
  @treturn int 0 or the platform's error code
  */
  int CloseFd() { return HI_MPI_VDEC_CloseFd(m_chnId); }
  /*** Reads the channel attributes (`HI_MPI_VDEC_GetChnAttr`).
  @function GetAttr
  @treturn VDEC_CHN_ATTR_S the attributes, or `nil` and "Fail to get VDEC channel attributes"
  with the code
  */
  int GetAttr(lua_State* L);
  /*** Sets the channel parameters (`HI_MPI_VDEC_SetChnParam`).
  @function SetParam
  @tparam VDEC_CHN_PARAM_S params
  @return `true`, or `nil` and "INvalid VDEC channel parameters" (not a table), a conversion
  message, or "Fail to set VDEC channel parameters" with the code
  */
  int SetParam(lua_State* L);
  /*** Reads the channel parameters (`HI_MPI_VDEC_GetChnParam`).
  @function GetParam
  @treturn VDEC_CHN_PARAM_S the parameters, or `nil` and "Fail to get VDEC channel parameters"
  with the code
  */
  int GetParam(lua_State* L);
  /*** Sets the protocol parameters (`HI_MPI_VDEC_SetProtocolParam`).
  @function SetProtocolParam
  @tparam VDEC_PRTCL_PARAM_S params `type` and `param` (`H265_PRTCL_PARAM_S` for "H265",
  else `H264_PRTCL_PARAM_S`)
  @return `true`, or `nil` and "INvalid VDEC channel protocol parameters" (not a table), a
  conversion message, or "Fail to set VDEC channel protocol parameters" with the code
  */
  int SetProtocolParam(lua_State* L);
  /*** Reads the protocol parameters (`HI_MPI_VDEC_GetProtocolParam`).
  @function GetProtocolParam
  @treturn VDEC_PRTCL_PARAM_S the parameters, or `nil` and
  "Fail to get VDEC channel protocol parameters" with the code
  */
  int GetProtocolParam(lua_State* L);
  /*** Sets the rotation (`HI_MPI_VDEC_SetRotate`). Below 4 the argument is the platform's
  rotation code (0 to 3); 4 to 270 are degrees, taken up to the next quarter turn.
  @function SetRotate
  @int degrees
  @treturn int 0 or the platform's error code; above 270 nothing is called and 0 returned
  @usage chn:SetRotate(90)
  */
  int SetRotate(int degrees);
  /*** Reads the rotation (`HI_MPI_VDEC_GetRotate`).
  @function GetRotate
  @treturn int 0, 90, 180 or 270, or the platform's error code (negative) when the call fails
  */
  int GetRotate();
  /*** Shows the user picture (`HI_MPI_VDEC_EnableUserPic`).
  @function EnableUserPic
  @bool[opt=false] instant show it at once rather than after the pictures decoded so far
  @return `true`, or `nil` and "Fail to enable user PIC" with the code
  */
  int EnableUserPic(lua_State* L);
  /*** Stops showing the user picture (`HI_MPI_VDEC_DisableUserPic`).
  @function DisableUserPic
  @return `true`, or `nil` and "Fail to disable user PIC" with the code
  */
  int DisableUserPic(lua_State* L);
  /*** Sets the display mode (`HI_MPI_VDEC_SetDisplayMode`): "PLAYBACK" (any case) is
  playback, any other string or value that is no number is preview; a number is passed as it is.
  @function SetDisplayMode
  @tparam string|int mode
  @return `true`, or `nil` and "Fail to set VDEC channel display mode" with the code
  */
  int SetDisplayMode(lua_State* L);
  /*** Reads the display mode (`HI_MPI_VDEC_GetDisplayMode`).
  @function GetDisplayMode
  @treturn string "PLAYBACK" or "PREVIEW", or `nil` and "Fail to get VDEC channel display mode"
  with the code
  */
  int GetDisplayMode(lua_State* L);
  /*** The number of video buffers of the channel (`HI_MPI_VDEC_GetChnVBCnt`).
  @function GetVBCnt
  @treturn int the count, or the platform's error code (negative) when the call fails
  */
  int GetVBCnt();
  /*** Sets the number of video buffers of the channel (`HI_MPI_VDEC_SetChnVBCnt`).
  @function SetVBCnt
  @int count
  @treturn int 0 or the platform's error code
  */
  int SetVBCnt(HI_U32 count) { return HI_MPI_VDEC_SetChnVBCnt(m_chnId, count); }
  /*** Gives the channel private pools (`HI_MPI_VDEC_AttachVbPool`).
  @function AttachVbPool
  @int picture pool id for pictures
  @int motionVectors pool id for motion vectors
  @treturn int 0 or the platform's error code
  */
  int AttachVbPool(int picture, int motionVectors);
  /*** Takes the private pools away from the channel (`HI_MPI_VDEC_DetachVbPool`).
  @function DetachVbPool
  @treturn int 0 or the platform's error code
  */
  int DetachVbPool() { return HI_MPI_VDEC_DetachVbPool(m_chnId); }
  /*** Feeds stream bytes to the channel (`HI_MPI_VDEC_SendStream`, the structure pointing at the
  string's own bytes). In "FRAME" mode each call carries whole pictures; in "STREAM" mode the
  bytes may be cut anywhere. The stream waits in the channel's buffer (`u32BufSize`) until it
  is decoded; when the buffer is full the call waits for room as long as `timeout` says.
  @function SendStream
  @string data the bytes (Annex B with start codes for H.264 and H.265, whole JPEG pictures
  for JPEG and MJPEG); empty only to end the stream; another type raises
  @tparam[opt] table info `pts` (an integer, microseconds; 0 when absent), `endOfFrame` and
  `endOfStream` (Lua truth; false when absent): the structure's `u64PTS`, `bEndOfFrame` and
  `bEndOfStream`. At the end of the stream the decoder gives out the pictures it still holds.
  A value that is neither table nor nil raises, as does a `pts` that is no integer.
  @int[opt=-1] timeout milliseconds to wait for room in the buffer: -1 as long as it takes,
  0 not at all; given in place of `info` when that is left out
  @return `true`, or `nil` and "Fail to send VDEC stream" with the code
  @usage local f = assert(io.open("front-door.h264", "rb"))
  while true do
    local chunk = f:read(4096)
    if not chunk then break end
    assert(chn:SendStream(chunk, -1))
  end
  assert(chn:SendStream("", {endOfStream = true}))
  */
  int SendStream(lua_State* L);
  /*** Takes the next decoded picture (`HI_MPI_VDEC_GetImage`), lent until the frame is released
  (`HI_MPI_VDEC_ReleaseImage`). Pictures wait for `GetImage` while the channel is bound to
  nothing; the channel holds no more of them than its picture buffers (`GetVBCnt`), lent ones
  included, and stops decoding until one is released.
  @function GetImage
  @int[opt=-1] timeout milliseconds to wait for a picture: -1 as long as it takes, 0 not at all;
  a value that is no integer raises
  @treturn VideoFrame the picture, or `nil` and "Fail to get VDEC image" with the code
  @usage local picture = assert(chn:GetImage(40))
  local luma = picture:GetData():sub(1, picture.Width * picture.Height)
  picture:Release()
  */
  int GetImage(lua_State* L);

  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetUserData
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetUserPic
  */
  int Placeholder(lua_State* L) { return 0; }

 private:
  bool m_created = false;
};

/***
The module class `Tessel.VDEC`: channel factories and module-wide parameters.
@type VDEC
*/
class VDEC {
 public:
  /*** The number of decoder channels: 64.
  @tfield int MaxChannels
  */
  static int get_MaxChannels() { return kVdecMaxChannels; }
  /*** Sets the module parameters (`HI_MPI_VDEC_SetModParam`), before any channel exists.
  @function SetModParam
  @static
  @tparam VDEC_MOD_PARAM_S params read from the last argument
  @return `true`, or `nil` and a conversion message or "Fail to set VDEC mod parameters" with the code
  */
  static int SetModParam(lua_State* L);
  /*** Reads the module parameters (`HI_MPI_VDEC_GetModParam`).
  @function GetModParam
  @static
  @treturn VDEC_MOD_PARAM_S the parameters, or `nil` and "Fail to set VDEC mod parameters" with
  the code (the setter's words)
  */
  static int GetModParam(lua_State* L);
  /*** Creates decoder channel `chn` (see `VDECChannel:Create`). Note that **the channel object
  is returned even when creation failed**: check with `GetAttr`, or call
  `Tessel.VDEC.GetChannel(chn):Create(attrs)` to receive the reason.
  @function CreateChannel
  @static
  @int chn channel number, 0 to 63
  @tparam VDEC_CHN_ATTR_S attrs
  @treturn VDECChannel the channel; `nil` out of range, with
  "Invalid VDEC channel ID. Valid range is [0,64)" on standard error
  */
  static RefCountedObjectPtr<VDECChannel> CreateChannel(int chn, lua_State* L);
  /*** An object for decoder channel `chn`, made elsewhere: it neither creates nor destroys it.
  @function GetChannel
  @static
  @int chn channel number, 0 to 63
  @treturn VDECChannel the channel; `nil` out of range, with
  "Invalid VDEC channel ID. Valid range is [0,64)" on standard error
  */
  static RefCountedObjectPtr<VDECChannel> GetChannel(int chn);
  /*** Stops and destroys decoder channel `chn` whoever created it, for instance one left
  by an earlier process (`HI_MPI_VDEC_StopRecvStream`, `HI_MPI_VDEC_DestroyChn`).
  @function ForceFreeChannel
  @static
  @int chn channel number (not checked)
  @treturn int the result of `HI_MPI_VDEC_DestroyChn`
  */
  static int ForceFreeChannel(int chn);
};

}  // namespace Tessel
