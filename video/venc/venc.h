// Video encoding: encoder channels and the module-wide encoder parameters,
// over the HI_MPI_VENC_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"
#include "frame/stream_copy.h"

// Channel attributes: codec and rate-control members chosen by payload type
// and mode.
TESSEL_DECLARE_STRUCT(VENC_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_JPEG_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H265_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_MJPEG_S)
TESSEL_DECLARE_ENUM(VENC_RC_MODE_E)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_CBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_VBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_AVBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_H264_FIXQP_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_MJPEG_CBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_MJPEG_VBR_S)
TESSEL_DECLARE_STRUCT(VENC_ATTR_MJPEG_FIXQP_S)

// Codec tuning, ROI, frame-lost strategy, status and module parameters.
TESSEL_DECLARE_STRUCT(VENC_PARAM_H264_SLICE_SPLIT_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_H264_INTER_PRED_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_H264_INTRA_PRED_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_H264_DBLK_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_REF_S)
TESSEL_DECLARE_STRUCT(VENC_FRAME_RATE_S)
TESSEL_DECLARE_STRUCT(VENC_ROIBG_FRAME_RATE_S)
TESSEL_DECLARE_STRUCT(VENC_ROI_CFG_S)
TESSEL_DECLARE_ENUM(VENC_FRAMELOST_MODE_E)
TESSEL_DECLARE_STRUCT(VENC_PARAM_FRAMELOST_S)
TESSEL_DECLARE_STRUCT(VENC_CHN_STAT_S)
TESSEL_DECLARE_ENUM(VENC_MODTYPE_E)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_VENC_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_H264E_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_H265E_S)
TESSEL_DECLARE_STRUCT(VENC_PARAM_MOD_JPEGE_S)

/***
Video encoding: `Tessel.VENC` and its encoder channels.

An encoder channel encodes H.264, H.265, JPEG or motion JPEG pictures that a binding brings it
(`Tessel.SYS.Bind(vpssChannel, vencChannel)`, or `{"VENC", 0, n}` as destination). Its attributes
are one table: `encoding` (payload `type` and the codec's `attr`) and `bitrate` (rate-control
`mode` and its `attr`). A channel is created, then started with `Start`; the encoded stream is read
picture by picture with `GetStream`, which waits as long as it is told; `Tessel.SYS.Poll` waits on
several channels at once through their descriptors (`GetFd`). A picture can also be handed in by
the script (`SendFrame`).
@module venc
*/

/***
The attributes of an encoder channel: what it encodes and how its bit rate is controlled, each
part a sub-table whose `attr` the part's type selects. A part that is missing or not a table, a
type or mode without a member here, and an `attr` that is not a table are all left zero without
complaint, for the platform to judge; no check ties the mode to the payload. A value that is not
a table fails with "Invalid VENC channel attributes" (the methods that take the attributes refuse
a non-table first with texts of their own).

Read back, the type and mode are names ("invalid" for a value without one, and then no `attr`).
Watch the key: **the rate-control table of the CBR, VBR, AVBR and FIXQP modes of H.264 and
H.265, and of "MJPEGCBR", holds the destination frame rate under "fr32DstFrmRate "**, with a
trailing blank, while reading takes "fr32DstFrmRate": a table read back is not a table to hand in
again as it is (the rate would arrive as 0); copy the value to the plain key first.
@table VENC_CHN_ATTR_S
@tab[opt] encoding `encoding.type`: the payload, "H264", "H265", "JPEG" or "MJPEG" (any case; a
name of another payload is accepted but reads no `attr`; an unknown name fails with
"Unknown payload type"; a value neither string nor number leaves 0), or the platform's number;
`encoding.attr`: `VENC_ATTR_H264_S`, `VENC_ATTR_H265_S`, `VENC_ATTR_JPEG_S` or `VENC_ATTR_MJPEG_S`
as the type says
@tab[opt] bitrate `bitrate.mode`: "H264CBR", "H264VBR", "H264AVBR", "H264FIXQP", "MJPEGCBR", "MJPEGVBR",
"MJPEGFIXQP", "H265CBR", "H265VBR", "H265AVBR" or "H265FIXQP" (any case), or the platform's number;
an unknown name fails with "Unknown RateControl mode", a value neither string nor number (other
than `nil`) with "Invalid RateControl mode". `bitrate.attr`: `VENC_ATTR_H264_CBR_S`, `VENC_ATTR_H264_VBR_S`,
`VENC_ATTR_H264_AVBR_S`, `VENC_ATTR_H264_FIXQP_S` (the H.265 modes take these same tables),
`VENC_ATTR_MJPEG_CBR_S`, `VENC_ATTR_MJPEG_VBR_S` or `VENC_ATTR_MJPEG_FIXQP_S` as the mode says
*/

/***
The module-wide encoder parameters of one part of the encoder: the part's type, and the `options`
table that the type selects. `options` is read only when it is a table and the type is one of
the four; a type name that is not one of them is stored without complaint as an unknown type,
and `options` is then ignored. A value that is not a table fails with "Invalid VENC mod parameters".
Read back, the type is "VENC", "H264E", "H265E", "JPEGE" or "UNKNOWN", with `options` for the four.
@table VENC_PARAM_MOD_S
@tparam string|int type "VENC", "H264E" or "H264", "H265E" or "H265", "JPEGE" or "JPEG" (any case),
or the platform's number; required: a missing value, or one neither string nor number, fails with
"Invalid VENC mode type"
@tab[opt] options `VENC_PARAM_MOD_VENC_S` (`u32VencBufferCache`) for "VENC",
`VENC_PARAM_MOD_H264E_S`, `VENC_PARAM_MOD_H265E_S` or `VENC_PARAM_MOD_JPEGE_S`
(`u32OneStreamBuffer` and the part's own keys) for the others
*/
namespace Tessel {

constexpr int kVencMaxChannels = 128;
constexpr int kVencMaxRois = 8;

/***
One encoder channel (module "VENC", device 0, channel 0 to 127).

The object whose `Create` succeeded owns the platform channel: **when Lua collects it, the channel
is destroyed** (`HI_MPI_VENC_DestroyChn`, without stopping reception first). Keep the object in a
variable for as long as the channel is wanted. An object from `GetChannel` never destroys it.
@type VENCChannel
*/
class VENCChannel : public Channel, public RefCountedObjectType<int> {
 public:
  explicit VENCChannel(int chn) : Channel(HI_ID_VENC, 0, chn) {}
  ~VENCChannel() override { Destroy(); }

  /*** The number of regions of interest of a channel: 8 (indexes 0 to 7).
  @tfield int MaxROIs
  */
  int get_MaxROIs() const { return kVencMaxRois; }

  /*** Creates the platform channel from an attribute table (`HI_MPI_VENC_CreateChn`).
  On success this object owns the channel; on an object that owns one already the platform is
  asked again, and refuses.
  @function Create
  @tparam VENC_CHN_ATTR_S attrs `encoding = {type = "H264" | "H265" | "JPEG" | "MJPEG" | number,
  attr = codec table}` and `bitrate = {mode = "H264CBR" | "H264VBR" | "H264AVBR" | "H264FIXQP" |
  "MJPEGCBR" | "MJPEGVBR" | "MJPEGFIXQP" | "H265CBR" | "H265VBR" | "H265AVBR" | "H265FIXQP" | number,
  attr = rate-control table}`; read from the last argument. A payload number or mode number
  without a member here leaves its `attr` unread and zero, for the platform to judge
  @treturn bool|nil `true`, or `nil` and "Invalid attributes for creating VENC channel!" (not a
  table), a conversion message ("Unknown payload type", "Unknown RateControl mode",
  "Invalid RateControl mode", ...), or "Fail to create VENC channel" with the code
  @usage assert(Tessel.VENC.GetChannel(0):Create{
  encoding = {type = "H264", attr = {u32MaxPicWidth = 1920, u32MaxPicHeight = 1080,
  u32BufSize = 1920 * 1080 * 2, u32PicWidth = 1920, u32PicHeight = 1080}},
  bitrate = {mode = "H264CBR", attr = {u32Gop = 30, u32StatTime = 1, u32SrcFrmRate = 30,
  fr32DstFrmRate = 30, u32BitRate = 4096}}})
  */
  int Create(lua_State* L);
  /*** Destroys the channel (`HI_MPI_VENC_DestroyChn`) when this object created it, without
  stopping reception first (call `Stop` before).
  @function Destroy
  @treturn int 0, or the platform's error code (negative); 0 without destroying when this object
  did not create the channel or destroyed it already
  */
  int Destroy();
  /*** Resets the channel (`HI_MPI_VENC_ResetChn`).
  @function Reset
  @treturn int 0 or the platform's error code
  */
  int Reset() { return HI_MPI_VENC_ResetChn(m_chnId); }
  /*** Starts receiving pictures (`HI_MPI_VENC_StartRecvPic`).
  @function Start
  @treturn int 0 or the platform's error code
  */
  int Start() { return HI_MPI_VENC_StartRecvPic(m_chnId); }
  /*** Starts receiving a given number of pictures (`HI_MPI_VENC_StartRecvPicEx`).
  @function StartEx
  @int pictures how many pictures to receive
  @treturn int 0 or the platform's error code
  */
  int StartEx(int pictures);
  /*** Stops receiving pictures (`HI_MPI_VENC_StopRecvPic`).
  @function Stop
  @treturn int 0 or the platform's error code
  */
  int Stop() { return HI_MPI_VENC_StopRecvPic(m_chnId); }
  /*** Reads the channel's status (`HI_MPI_VENC_Query`).
  @function Query
  @treturn VENC_CHN_STAT_S `u32LeftPics`, `u32LeftStreamBytes`, `u32LeftStreamFrames`,
  `u32CurPacks`, `u32LeftRecvPics`, `u32LeftEncPics`; or `nil` and
  "Fail to query VENC channel status" with the code
  */
  int Query(lua_State* L);
  /*** Sets the channel attributes (`HI_MPI_VENC_SetChnAttr`).
  @function SetAttr
  @tparam VENC_CHN_ATTR_S attrs as for `Create`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel attributes" with the code
  */
  int SetAttr(lua_State* L);
  /*** Reads the channel attributes (`HI_MPI_VENC_GetChnAttr`). The payload type reads "invalid"
  and the mode "invalid" (without `attr`) for values without a name.
  Watch the key: **the rate-control table of the CBR, VBR, AVBR and FIXQP modes of H.264 and H.265,
  and of "MJPEGCBR", holds the destination frame rate under "fr32DstFrmRate "** (trailing blank),
  while every setter reads "fr32DstFrmRate". A table read back is not a table to hand in again as
  it is (the rate would arrive as 0): copy the value to "fr32DstFrmRate" first.
  @function GetAttr
  @treturn VENC_CHN_ATTR_S the attributes, or `nil` and "Fail to get VENC channel attributes" with
  the code
  @usage local a = chn:GetAttr(); local rc = a.bitrate.attr
  rc.fr32DstFrmRate = rc["fr32DstFrmRate "]; rc.u32BitRate = 2048; chn:SetAttr(a)
  */
  int GetAttr(lua_State* L);
  /*** Inserts user data into the stream (`HI_MPI_VENC_InsertUserData`), every byte of the string
  (zero bytes too).
  @function InsertUserData
  @string data
  @treturn bool|nil `true`, or `nil` and "Invalid user data" (not a string) or
  "Fail to insert VENC user data" with the code
  */
  int InsertUserData(lua_State* L);
  /*** Sets the maximum number of stream frames kept (`HI_MPI_VENC_SetMaxStreamCnt`).
  @function SetMaxStreamCnt
  @int count
  @treturn int 0 or the platform's error code
  */
  int SetMaxStreamCnt(int count) { return HI_MPI_VENC_SetMaxStreamCnt(m_chnId, count); }
  /*** Reads the maximum number of stream frames kept (`HI_MPI_VENC_GetMaxStreamCnt`).
  @function GetMaxStreamCnt
  @treturn int the count, or the platform's error code (negative) when the call fails
  */
  int GetMaxStreamCnt();
  /*** Asks for an IDR frame (`HI_MPI_VENC_RequestIDR`).
  @function RequestIDR
  @tparam[opt=false] bool|int instant a boolean, or a number (non-zero is true); any other value
  is false
  @treturn bool|nil `true`, or `nil` and "Fail to request IDR" with the code
  */
  int RequestIDR(lua_State* L);
  /*** Reads the next encoded picture (`HI_MPI_VENC_Query` for its number of packs, then
  `HI_MPI_VENC_GetStream`), copies every pack's payload into one string and gives the stream back
  at once (`HI_MPI_VENC_ReleaseStream`), also when building the result fails. The payload, which
  names the packs, is learnt with `HI_MPI_VENC_GetChnAttr` at the first call and kept by this
  object until its `Create`, `SetAttr` or `Destroy`.
  @function GetStream
  @int[opt=-1] timeout milliseconds to wait for a picture: -1 waits as long as it takes, 0 not at
  all; a value that is no integer raises
  @treturn string the payload of every pack, in order (start codes included)
  @treturn table `pts` (the first pack's time stamp, in microseconds), `seq` (the stream's
  sequence number), `keyframe` (`true` when an IDR or I slice is among the packs, and for every
  JPEG and MJPEG picture) and `packs`, one table per pack in order: `type` ("SPS", "PPS", "SEI",
  "IDR", "I", "P", "B", and "VPS" for H.265; "ECS", "APP", "VDO", "PIC" for JPEG and MJPEG; the
  platform's number for a type without a name), `offset` (the pack's first byte in the string,
  from 1), `length`, `pts`, `frameEnd`. On failure the results are `nil` and
  "Fail to get VENC stream" with the code (the code of `HI_MPI_VENC_GetChnAttr` or `Query` when
  those fail, and A008800E, an empty buffer, when no picture came in time), or
  "Fail to release VENC stream" with the code (the picture is then lost)
  @usage local data, info = chn:GetStream(1000)
  if data then file:write(data) end
  */
  int GetStream(lua_State* L);
  /*** Hands a picture to the encoder (`HI_MPI_VENC_SendFrame`), as a binding would. The frame
  stays the script's: release it when done.
  @function SendFrame
  @tparam VideoFrame frame a frame from `GetFrame`; another value raises
  "VideoFrame expected, got ..."
  @int[opt=-1] timeout milliseconds to wait for room: -1 as long as it takes, 0 not at all
  @treturn int 0 or the platform's error code; **a released frame gives A0088006**
  (`HI_ERR_VENC_NULL_PTR`, as if no frame were given) without a platform call
  */
  int SendFrame(lua_State* L);
  /*** Switches IDR frames on or off (`HI_MPI_VENC_EnableIDR`). The flag is Lua truth, so
  `EnableIDR(0)` **switches them on**; pass `false`.
  @function EnableIDR
  @bool on
  @treturn int 0 or the platform's error code
  */
  int EnableIDR(bool on) { return HI_MPI_VENC_EnableIDR(m_chnId, on ? HI_TRUE : HI_FALSE); }
  /*** Sets how H.264 IDR pictures are numbered (`HI_MPI_VENC_SetH264IdrPicId`).
  @function SetH264IdrPicId
  @tparam string|int mode "AUTO", or "USER" or "USR" (any case), or the raw value
  @int[opt=0] id the picture id, for the user mode
  @treturn bool|nil `true`, or `nil` and `"Invalid VENC idr_pic_id mode"` (another string, another
  type, or none) or `"Fail to set VENC idr_pic_id"` with the code
  @usage chn:SetH264IdrPicId("USER", 5)
  */
  int SetH264IdrPicId(lua_State* L);
  /*** Reads how H.264 IDR pictures are numbered (`HI_MPI_VENC_GetH264IdrPicId`).
  @function GetH264IdrPicId
  @treturn string "AUTO", or "USR" for any other mode (also when set as "USER")
  @treturn int the picture id; on failure the results are `nil` and
  `"Fail to get VENC idr_pic_id"` with the code
  */
  int GetH264IdrPicId(lua_State* L);
  /*** The channel's stream file descriptor (`HI_MPI_VENC_GetFd`).
  @function GetFd
  @treturn int the descriptor, or the platform's error code (negative)
  */
  int GetFd() { return HI_MPI_VENC_GetFd(m_chnId); }
  /*** Closes the channel's file descriptor (`HI_MPI_VENC_CloseFd`).
  @function CloseFd
  @treturn int 0 or the platform's error code
  */
  int CloseFd() { return HI_MPI_VENC_CloseFd(m_chnId); }
  /*** Sets one region of interest (`HI_MPI_VENC_SetRoiCfg`); its index travels in the table.
  @function SetRoiCfg
  @tparam VENC_ROI_CFG_S cfg `u32Index` (0 to 7), `bEnable`, `bAbsQp`, `s32Qp`, `stRect`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel ROI config" with the code
  */
  int SetRoiCfg(lua_State* L);
  /*** Reads one region of interest (`HI_MPI_VENC_GetRoiCfg`). The index is not checked against
  `MaxROIs`: the platform judges it.
  @function GetRoiCfg
  @int index a Lua number (a numeric string is refused)
  @treturn VENC_ROI_CFG_S the region, or `nil` and "Invalid ROI index" (no number) or
  "Fail to get VENC channel ROI config" with the code
  */
  int GetRoiCfg(lua_State* L);
  /*** Sets the frame rate of the background outside the regions of interest
  (`HI_MPI_VENC_SetRoiBgFrameRate`).
  @function SetRoiBgFrameRate
  @tparam VENC_ROIBG_FRAME_RATE_S rates `s32SrcFrmRate`, `s32DstFrmRate`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel ROI background frame-rate" with the code
  */
  int SetRoiBgFrameRate(lua_State* L);
  /*** Reads the background frame rate (`HI_MPI_VENC_GetRoiBgFrameRate`).
  @function GetRoiBgFrameRate
  @treturn VENC_ROIBG_FRAME_RATE_S the rates, or `nil` and
  "Fail to get VENC channel ROI backgroup frame-rate" with the code
  */
  int GetRoiBgFrameRate(lua_State* L);
  /*** Sets the H.264 slice splitting (`HI_MPI_VENC_SetH264SliceSplit`).
  @function SetH264SliceSplit
  @tparam VENC_PARAM_H264_SLICE_SPLIT_S params `bSplitEnable`, `u32SplitMode`, `u32SliceSize`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel H264 slice split" with the code
  */
  int SetH264SliceSplit(lua_State* L);
  /*** Reads the H.264 slice splitting (`HI_MPI_VENC_GetH264SliceSplit`).
  @function GetH264SliceSplit
  @treturn VENC_PARAM_H264_SLICE_SPLIT_S the parameters, or `nil` and
  "Fail to get VENC channel H264 slice split" with the code
  */
  int GetH264SliceSplit(lua_State* L);
  /*** Sets the H.264 inter prediction (`HI_MPI_VENC_SetH264InterPred`).
  @function SetH264InterPred
  @tparam VENC_PARAM_H264_INTER_PRED_S params `u32HWSize`, `u32VWSize`, `bInter16x16PredEn`,
  `bInter16x8PredEn`, `bInter8x16PredEn`, `bInter8x8PredEn`, `bExtedgeEn`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel H264 interpred" with the code
  */
  int SetH264InterPred(lua_State* L);
  /*** Reads the H.264 inter prediction (`HI_MPI_VENC_GetH264InterPred`).
  @function GetH264InterPred
  @treturn VENC_PARAM_H264_INTER_PRED_S the parameters, or `nil` and
  "Fail to get VENC channel H264 interpred" with the code
  */
  int GetH264InterPred(lua_State* L);
  /*** Sets the H.264 intra prediction (`HI_MPI_VENC_SetH264IntraPred`).
  @function SetH264IntraPred
  @tparam VENC_PARAM_H264_INTRA_PRED_S params `bIntra16x16PredEn`, `bIntraNxNPredEn`,
  `constrained_intra_pred_flag` (an integer), `bIpcmEn`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel H264 intrapred" with the code
  */
  int SetH264IntraPred(lua_State* L);
  /*** Reads the H.264 intra prediction (`HI_MPI_VENC_GetH264IntraPred`).
  @function GetH264IntraPred
  @treturn VENC_PARAM_H264_INTRA_PRED_S the parameters, or `nil` and
  "Fail to get VENC channel H264 intrapred" with the code
  */
  int GetH264IntraPred(lua_State* L);
  /*** Sets the H.264 deblocking filter (`HI_MPI_VENC_SetH264Dblk`).
  @function SetH264Dblk
  @tparam VENC_PARAM_H264_DBLK_S params `disable_deblocking_filter_idc`,
  `slice_alpha_c0_offset_div2`, `slice_beta_offset_div2`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel H264 de-block" with the code
  */
  int SetH264Dblk(lua_State* L);
  /*** Reads the H.264 deblocking filter (`HI_MPI_VENC_GetH264Dblk`).
  @function GetH264Dblk
  @treturn VENC_PARAM_H264_DBLK_S the parameters, or `nil` and
  "Fail to get VENC channel H264 de-block" with the code
  */
  int GetH264Dblk(lua_State* L);
  /*** Sets the channel's frame rate control (`HI_MPI_VENC_SetFrameRate`).
  @function SetFrameRate
  @tparam VENC_FRAME_RATE_S rates `s32SrcFrmRate`, `s32DstFrmRate`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel frame-rate" with the code
  */
  int SetFrameRate(lua_State* L);
  /*** Reads the channel's frame rate control (`HI_MPI_VENC_GetFrameRate`).
  @function GetFrameRate
  @treturn VENC_FRAME_RATE_S the rates, or `nil` and "Fail to get VENC channel frame-rate" with
  the code
  */
  int GetFrameRate(lua_State* L);
  /*** Sets the reference frame structure (`HI_MPI_VENC_SetRefParam`).
  @function SetRefParam
  @tparam VENC_PARAM_REF_S params `u32Base`, `u32Enhance`, `bEnablePred`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel ref parameters" with the code
  */
  int SetRefParam(lua_State* L);
  /*** Reads the reference frame structure (`HI_MPI_VENC_GetRefParam`).
  @function GetRefParam
  @treturn VENC_PARAM_REF_S the parameters, or `nil` and "Fail to get VENC channel ref parameters"
  with the code
  */
  int GetRefParam(lua_State* L);
  /*** Encodes in grey or in colour (`HI_MPI_VENC_SetColor2Grey`). The flag is Lua truth, so
  `SetColor2Grey(0)` **switches grey on**; pass `false`.
  @function SetColor2Grey
  @bool on
  @treturn int 0 or the platform's error code
  */
  int SetColor2Grey(bool on);
  /*** Whether the channel encodes in grey (`HI_MPI_VENC_GetColor2Grey`).
  @function GetColor2Grey
  @treturn bool `true` when grey; **false also when the call fails**, which cannot be told
  apart from colour
  */
  bool GetColor2Grey();
  /*** Sets the channel's cropping (`HI_MPI_VENC_SetCrop`). **A flag that is no boolean or number
  counts as false** (cropping off, the rectangle unread), where processing groups refuse it.
  @function SetCrop
  @tparam bool|int enable a boolean, or a number (non-zero is true)
  @tparam RECT_S rect `{x, y, width, height}` or `{s32X = , s32Y = , u32Width = , u32Height = }`
  @treturn bool|nil `true`, or `nil` and "Invalid rect structure" or "Fail to set VENC channel crop"
  with the code
  @usage chn:SetCrop(true, {0, 0, 1280, 720})
  */
  int SetCrop(lua_State* L);
  /*** Reads the channel's cropping (`HI_MPI_VENC_GetCrop`).
  @function GetCrop
  @treturn bool enabled
  @treturn RECT_S the rectangle; on failure the results are `nil` and
  "fail to get VENC channel crop" with the code
  */
  int GetCrop(lua_State* L);
  /*** Sets what the encoder does when the bit rate overflows (`HI_MPI_VENC_SetFrameLostStrategy`).
  @function SetFrameLostStrategy
  @tparam VENC_PARAM_FRAMELOST_S params `bFrmLostOpen`, `u32FrmLostBpsThr`, `enFrmLostMode`
  ("NORMAL", "PSKIP" or "SKIP"; another string is "NORMAL"), `u32EncFrmGaps`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VENC channel frame-lost strategy" with the code
  */
  int SetFrameLostStrategy(lua_State* L);
  /*** Reads the frame-lost strategy (`HI_MPI_VENC_GetFrameLostStrategy`).
  @function GetFrameLostStrategy
  @treturn VENC_PARAM_FRAMELOST_S the parameters, `enFrmLostMode` "NORMAL", "PSKIP" or "UNKNOWN";
  or `nil` and "fail to get VENC channel frame-lost strategy" with the code
  */
  int GetFrameLostStrategy(lua_State* L);
  /*** Gives the channel a private pool for its stream (`HI_MPI_VENC_AttachVbPool`).
  @function AttachVbPool
  @int pool pool id, such as `Pool.ID`
  @treturn int 0 or the platform's error code
  */
  int AttachVbPool(int pool) { return HI_MPI_VENC_AttachVbPool(m_chnId, static_cast<VB_POOL>(pool)); }
  /*** Takes the private pool away from the channel (`HI_MPI_VENC_DetachVbPool`).
  @function DetachVbPool
  @treturn int 0 or the platform's error code
  */
  int DetachVbPool() { return HI_MPI_VENC_DetachVbPool(m_chnId); }

  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetH264Trans
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetH264Trans
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetH264Entropy
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetH264Entropy
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetH264Poc
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetH264Poc
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetH264Vui
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetH264Vui
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetJpegParam
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetJpegParam
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetMjpegParam
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetMjpegParam
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetRcParam
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetRcParam
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetRefParamEx
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetRefParamEx
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function SetSuperFrameCfg
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetSuperFrameCfg
  */
  // Registered under the names of operations this module does not offer:
  // Placeholder answers nothing, Unsupported answers nil and a refusal.
  int Placeholder(lua_State* L) { return 0; }
  /*** Not available on this platform build: calls nothing.
  @function SetRcPriority
  @return `nil` and "Unsupport feature" (no location), whatever the arguments
  */
  /*** Not available on this platform build: calls nothing.
  @function GetRcPriority
  @return `nil` and "Unsupport feature" (no location), whatever the arguments
  */
  int Unsupported(lua_State* L);

 private:
  bool m_created = false;
  // How the channel's payload names its packs; null until GetStream learns it.
  PackKinds m_packKinds = nullptr;
};

/***
The module class `Tessel.VENC`: channel factories and module-wide parameters.
@type VENC
*/
class VENC {
 public:
  /*** The number of encoder channels: 128.
  @tfield int MaxChannels
  */
  static int get_MaxChannels() { return kVencMaxChannels; }
  /*** Sets the parameters of one part of the encoder (`HI_MPI_VENC_SetModParam`), before any
  channel exists. An unknown `type` name is stored as 6 and its `options` are not read.
  @function SetModParam
  @static
  @tparam VENC_PARAM_MOD_S params `type` ("VENC", "H264E" or "H264", "H265E" or "H265", "JPEGE"
  or "JPEG", or the raw value) and `options` (`u32VencBufferCache` for "VENC"; `u32OneStreamBuffer`
  and the part's `u32H264eVBSource`, `u32H264eRcnEqualRef`, `u32H264eMiniBufMode`,
  `u32H265eMiniBufMode` or `u32JpegeMiniBufMode`); read from the last argument
  @treturn bool|nil `true`, or `nil` and "Invalid VENC mod parameters" (not a table),
  "Invalid VENC mode type" (a `type` neither string nor number), or
  "Fail to set VENC mod parameters" with the code
  @usage Tessel.VENC.SetModParam{type = "H264E", options = {u32OneStreamBuffer = 1}}
  */
  static int SetModParam(lua_State* L);
  /*** Reads module parameters (`HI_MPI_VENC_GetModParam`). **No argument chooses the part**: the
  request goes out with type 0, which names none, and the platform refuses it as an illegal
  parameter. Its failure is reported in the setter's words.
  @function GetModParam
  @static
  @treturn VENC_PARAM_MOD_S the parameters, or `nil` and "Fail to set VENC mod parameters" with
  the code
  */
  static int GetModParam(lua_State* L);
  /*** Creates encoder channel `chn` (see `VENCChannel:Create`). Mind that **the channel object is
  returned even when creation failed**: check with `GetAttr`, or call
  `Tessel.VENC.GetChannel(chn):Create(attrs)` to receive the reason.
  @function CreateChannel
  @static
  @int chn channel number, 0 to 127
  @tparam VENC_CHN_ATTR_S attrs
  @treturn VENCChannel the channel; `nil` out of range, with
  "Invalid VENC channel ID. Valid range is [0,128)" on standard error, reported under the name
  `GetChannel`
  */
  static RefCountedObjectPtr<VENCChannel> CreateChannel(int chn, lua_State* L);
  /*** An object for encoder channel `chn`, made elsewhere: it neither creates nor destroys it.
  @function GetChannel
  @static
  @int chn channel number, 0 to 127
  @treturn VENCChannel the channel; `nil` out of range, with
  "Invalid VENC channel ID. Valid range is [0,128)" on standard error
  */
  static RefCountedObjectPtr<VENCChannel> GetChannel(int chn);
  /*** Stops and destroys encoder channel `chn` whoever created it, for instance one left by an
  earlier process (`HI_MPI_VENC_StopRecvPic`, then `HI_MPI_VENC_DestroyChn`).
  @function ForceFreeChannel
  @static
  @int chn channel number (not checked)
  @treturn int the result of `HI_MPI_VENC_DestroyChn`
  */
  static int ForceFreeChannel(int chn);
};

}  // namespace Tessel
