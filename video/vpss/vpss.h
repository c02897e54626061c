// Video processing: groups (de-interlacing, cropping, scaling, noise
// reduction) and their output channels, over the HI_MPI_VPSS_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"

TESSEL_DECLARE_STRUCT(VPSS_GRP_ATTR_S)
TESSEL_DECLARE_STRUCT(VPSS_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VPSS_CHN_MODE_S)
TESSEL_DECLARE_STRUCT(VPSS_FRAME_RATE_S)
TESSEL_DECLARE_STRUCT(VPSS_GRP_PARAM_S)
TESSEL_DECLARE_STRUCT(VPSS_CHN_PARAM_S)
TESSEL_DECLARE_ENUM(VPSS_DIE_MODE_E)
TESSEL_DECLARE_ENUM(VPSS_CHN_MODE_E)

/***
Video processing: `Tessel.VPSS`, its processing groups and their output channels.

A group takes pictures from one source (bound with `Tessel.SYS.Bind`, the group object or
`{"VPSS", group, 0}` as destination), de-interlaces, crops, scales and filters them, and hands them
to up to four channels, each a source for encoders or displays (`{"VPSS", group, channel}`).
A group is created with attributes, started, and its channels enabled:
`local grp = Tessel.VPSS.CreateGroup(0, attrs); grp:Start(); grp:GetChannel(0):Enable()`.
@module vpss
*/
namespace Tessel {

constexpr int kVpssModId = HI_ID_VPSS;
constexpr int kVpssMaxGroups = 256;
constexpr int kVpssMaxChannels = 4;

/***
One output channel of a processing group (module "VPSS", device the group number, channel 0 to
3), from `VPSSGroup:GetChannel`. It owns nothing: collecting it changes nothing on the platform.
@type VPSSChannel
*/
class VPSSChannel : public Channel, public RefCountedObjectType<int> {
 public:
  VPSSChannel(int grp, int chn) : Channel(kVpssModId, grp, chn) {}

  /*** Enables the channel (`HI_MPI_VPSS_EnableChn`): it starts handing out pictures.
  @function Enable
  @treturn int 0 or the platform's error code
  */
  int Enable() { return HI_MPI_VPSS_EnableChn(m_devId, m_chnId); }
  /*** Disables the channel (`HI_MPI_VPSS_DisableChn`).
  @function Disable
  @treturn int 0 or the platform's error code
  */
  int Disable() { return HI_MPI_VPSS_DisableChn(m_devId, m_chnId); }
  /*** Sets the channel attributes (`HI_MPI_VPSS_SetChnAttr`).
  @function SetAttr
  @tparam VPSS_CHN_ATTR_S attrs `bSpEn`, `bUVInvert`, `bBorderEn`, `stBorder`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VPSS channel attributes" with the code
  */
  int SetAttr(lua_State* L);
  /*** Reads the channel attributes (`HI_MPI_VPSS_GetChnAttr`).
  @function GetAttr
  @treturn VPSS_CHN_ATTR_S the attributes, or `nil` and "Fail to get VPSS channel attributes"
  with the code
  */
  int GetAttr(lua_State* L);
  /*** Sets the channel's filter strengths (`HI_MPI_VPSS_SetChnParam`).
  @function SetParam
  @tparam VPSS_CHN_PARAM_S params `u32SpStrength`, `u32SfStrength`, `u32TfStrength`,
  `u32CfStrength`, `u32DeMotionBlurring`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VPSS channel parameters" with the code
  */
  int SetParam(lua_State* L);
  /*** Reads the channel's filter strengths (`HI_MPI_VPSS_GetChnParam`).
  @function GetParam
  @treturn VPSS_CHN_PARAM_S the parameters, or `nil` and "Fail to get VPSS channel parameters"
  with the code
  */
  int GetParam(lua_State* L);
  /*** Sets the channel's output mode (`HI_MPI_VPSS_SetChnMode`).
  @function SetMode
  @tparam VPSS_CHN_MODE_S mode `enChnMode` ("USER"; any other string is "AUTO"), `u32Width`,
  `u32Height`, `bDouble`, `stFrameRate` (`s32SrcFrmRate`, `s32DstFrmRate`), `stAspectRatio`,
  `enPixelFormat`, `enCompressMode`
  @treturn bool|nil `true`, or `nil` and a conversion message or "Fail to set VPSS channel mode"
  with the code
  @usage chn:SetMode{enChnMode = "USER", u32Width = 1280, u32Height = 720,
  enPixelFormat = "YUV_SEMIPLANAR_420", stFrameRate = {s32SrcFrmRate = -1, s32DstFrmRate = -1}}
  */
  int SetMode(lua_State* L);
  /*** Reads the channel's output mode (`HI_MPI_VPSS_GetChnMode`).
  @function GetMode
  @treturn VPSS_CHN_MODE_S the mode, or `nil` and "Fail to get VPSS channel mode" with the code
  */
  int GetMode(lua_State* L);
  /*** Sets the depth of the channel's picture queue, for pictures taken by the user
  (`HI_MPI_VPSS_SetDepth`).
  @function SetDepth
  @int depth
  @treturn int 0 or the platform's error code
  */
  int SetDepth(unsigned int depth) { return HI_MPI_VPSS_SetDepth(m_devId, m_chnId, depth); }
  /*** Reads the depth of the channel's picture queue (`HI_MPI_VPSS_GetDepth`): the reader of
  `SetDepth` **is named GetDelay**, there is no `GetDepth`.
  @function GetDelay
  @treturn int the depth, or the platform's error code (negative) when the call fails
  */
  int GetDepth();
  /*** Sets the channel's overlay setting (`HI_MPI_VPSS_SetChnOverlay`).
  @function SetOverlay
  @int mask
  @treturn int 0 or the platform's error code
  */
  int SetOverlay(unsigned int mask) { return HI_MPI_VPSS_SetChnOverlay(m_devId, m_chnId, mask); }
  /*** Takes the channel's next picture (`HI_MPI_VPSS_GetChnFrame`), lent until the frame is
  released (`HI_MPI_VPSS_ReleaseChnFrame`). The platform lends pictures only once the channel's
  depth is set (`SetDepth`), and no more than that depth at a time.
  @function GetFrame
  @int[opt=-1] timeout milliseconds to wait for a picture: -1 as long as it takes, 0 not at all;
  a value that is no integer raises
  @treturn VideoFrame the picture, or `nil` and "Fail to get VPSS channel frame" with the code
  @usage chn:SetDepth(2)
  local frame = assert(chn:GetFrame(1000))
  local bytes = frame:GetData()
  frame:Release()
  */
  int GetFrame(lua_State* L);
  /*** Reads the channel's overlay setting (`HI_MPI_VPSS_GetChnOverlay`).
  @function GetOverlay
  @treturn int the setting, or the platform's error code (negative) when the call fails
  */
  int GetOverlay();
  /*** Turns an angle into the overlay setting (`HI_MPI_VPSS_SetChnOverlay`): up to 3 the value
  itself (negatives included), 4 to 90 gives 1, 91 to 180 gives 2, 181 to 270 gives 3.
  It answers **codes of its own, not the platform's status**.
  @function SetRotate
  @int angle degrees
  @treturn int 999 when the platform took it, 321 when it refused, 123456 above 270 (nothing set)
  @usage assert(chn:SetRotate(90) == 999)
  */
  int SetRotate(int angle);
};

/***
One processing group (module "VPSS", device the group number, channel 0), from
`Tessel.VPSS.CreateGroup` or `Tessel.VPSS.GetGroup`.

The object whose `Create` succeeded owns the platform group: **when Lua collects it, the group is
destroyed** (`HI_MPI_VPSS_DestroyGrp`, without stopping it or disabling its channels first). Keep
the object in a variable for as long as the group is wanted. An object from `GetGroup` never
destroys the group.
@type VPSSGroup
*/
class VPSSGroup : public Channel, public RefCountedObjectType<int> {
 public:
  explicit VPSSGroup(int grp) : Channel(kVpssModId, grp, 0) {}
  ~VPSSGroup() override { Destroy(); }

  /*** The group number (the same as `DID`).
  @tfield int GroupID
  */
  int get_GroupID() const { return m_devId; }
  /*** The number of channels of a group: 4.
  @tfield int MaxChannels
  */
  int get_MaxChannels() const { return kVpssMaxChannels; }

  /*** Creates the platform group (`HI_MPI_VPSS_CreateGrp`). On success this object owns it.
  @function Create
  @tparam VPSS_GRP_ATTR_S attrs `u32MaxW`, `u32MaxH`, `enPixFmt`, `bIeEn`, `bDciEn`, `bNrEn`,
  `bHistEn`, `bEsEn`, `enDieMode` ("NONE" or "NODIE", "AUTO", "ON", "YES" or "DIE"); read from the
  last argument. **When the last argument is no table** (or there is none), the platform is asked
  with no attributes at all and answers for itself
  @treturn bool|nil `true`, or `nil` and a conversion message ("Invalid VPSS DIE mode") or
  "Fail to create VPSS group" with the code
  */
  int Create(lua_State* L);
  /*** Destroys the group (`HI_MPI_VPSS_DestroyGrp`) when this object created it.
  @function Destroy
  @treturn int 0, or the platform's error code (negative); 0 without destroying when this object
  did not create the group or destroyed it already
  */
  int Destroy();
  /*** Starts the group (`HI_MPI_VPSS_StartGrp`).
  @function Start
  @treturn int 0 or the platform's error code
  */
  int Start() { return HI_MPI_VPSS_StartGrp(m_devId); }
  /*** Stops the group (`HI_MPI_VPSS_StopGrp`).
  @function Stop
  @treturn int 0 or the platform's error code
  */
  int Stop() { return HI_MPI_VPSS_StopGrp(m_devId); }
  /*** Resets the group (`HI_MPI_VPSS_ResetGrp`).
  @function Reset
  @treturn int 0 or the platform's error code
  */
  int Reset() { return HI_MPI_VPSS_ResetGrp(m_devId); }
  /*** Hands a picture to the group (`HI_MPI_VPSS_SendFrame`), as a bound source would. The
  frame stays the script's: release it when done.
  @function SendFrame
  @tparam VideoFrame frame another value raises "VideoFrame expected, got ..."
  @int[opt=-1] timeout milliseconds to wait for room: -1 as long as it takes, 0 not at all
  @treturn int 0 or the platform's error code; **a released frame gives A0078006**
  (`HI_ERR_VPSS_NULL_PTR`, as if no frame were given) without a platform call
  */
  int SendFrame(lua_State* L);
  /*** Keeps a backup of the last picture (`HI_MPI_VPSS_EnableBackupFrame`).
  @function EnableBackupFrame
  @treturn int 0 or the platform's error code
  */
  int EnableBackupFrame() { return HI_MPI_VPSS_EnableBackupFrame(m_devId); }
  /*** Stops keeping a backup picture (`HI_MPI_VPSS_DisableBackupFrame`).
  @function DisableBackupFrame
  @treturn int 0 or the platform's error code
  */
  int DisableBackupFrame() { return HI_MPI_VPSS_DisableBackupFrame(m_devId); }
  /*** Sets the group attributes (`HI_MPI_VPSS_SetGrpAttr`).
  @function SetAttr
  @tparam VPSS_GRP_ATTR_S attrs as for `Create`
  @treturn bool|nil `true`, or `nil` and a conversion message or
  "Fail to set VPSS group attributes" with the code
  */
  int SetAttr(lua_State* L);
  /*** Reads the group attributes (`HI_MPI_VPSS_GetGrpAttr`).
  @function GetAttr
  @treturn VPSS_GRP_ATTR_S the attributes, `enDieMode` "NONE", "AUTO", "ON" or "UNKNOWN"; or
  `nil` and "Fail to get VPSS group attributes" with the code
  */
  int GetAttr(lua_State* L);
  /*** An object for channel `chn` of this group; it neither enables nor disables it.
  @function GetChannel
  @int chn channel number, 0 to 3
  @treturn VPSSChannel the channel; `nil` out of range, with
  "VPSS channel ID is out of range, limit [0,4)" on standard error
  */
  RefCountedObjectPtr<VPSSChannel> GetChannel(lua_Integer chn);
  /*** Sets the group's filter strengths (`HI_MPI_VPSS_SetGrpParam`).
  @function SetParam
  @tparam VPSS_GRP_PARAM_S params `u32Contrast`, `u32DieStrength`, `u32IeStrength`,
  `u32SfStrength`, `u32TfStrength`, `u32CfStrength`, `u32CTfStrength`, `u32CvbsStrength`,
  `u32DeMotionBlurring`
  @treturn bool|nil `true`, or `nil` and a conversion message or "Set VPSS group parameter fail"
  with the code
  */
  int SetParam(lua_State* L);
  /*** Reads the group's filter strengths (`HI_MPI_VPSS_GetGrpParam`).
  @function GetParam
  @treturn VPSS_GRP_PARAM_S the parameters, or `nil` and "Fail to get VPSS group parameter" with
  the code
  */
  int GetParam(lua_State* L);
  /*** Placeholder: calls nothing.
  @function SetAdvancedParam
  @return `nil` and "TODO: not implemented yet" (no location), whatever the arguments
  */
  /*** Placeholder: calls nothing.
  @function GetAdvancedParam
  @return `nil` and "TODO: not implemented yet" (no location), whatever the arguments
  */
  int NotImplementedYet(lua_State* L);
  /*** Sets the group's cropping (`HI_MPI_VPSS_SetGrpCrop`). A false flag disables cropping and
  reads no more arguments.
  @function SetCrop
  @tparam bool|int enable a boolean, or a number (non-zero is true)
  @tparam string|int mode "RATIO" or "ABS" (any case), or the raw value; anything else is "RATIO"
  @tparam RECT_S rect `{x, y, width, height}` or `{s32X = , s32Y = , u32Width = , u32Height = }`
  @treturn bool|nil `true`, or `nil` and "Invalid arguments" (the flag is neither boolean nor
  number), "Invalid rect structure", or "Fail to set VPSS group cropping" with the code
  @usage grp:SetCrop(true, "ABS", {0, 0, 1280, 720})
  */
  int SetCrop(lua_State* L);
  /*** Reads the group's cropping (`HI_MPI_VPSS_GetGrpCrop`).
  @function GetCrop
  @treturn bool enabled
  @treturn string "RATIO", or "ABS" for any other mode
  @treturn RECT_S the rectangle; on failure the results are `nil` and
  "Fail to get VPSS group cropping" with the code
  */
  int GetCrop(lua_State* L);
  /*** Sets the group's prescaling (`HI_MPI_VPSS_SetPreScale`). A false flag disables it and
  reads no size.
  @function SetPreScale
  @tparam bool|int enable a boolean, or a number (non-zero is true)
  @tparam SIZE_S size `{width, height}` or `{u32Width = , u32Height = }`
  @treturn bool|nil `true`, or `nil` and "Invalid arguments" (the flag is neither boolean nor
  number), "Invalid size structure", "Invalid fields", or "Fail to set VPSS prescaling" with the code
  */
  int SetPreScale(lua_State* L);
  /*** Reads the group's prescaling (`HI_MPI_VPSS_GetPreScale`).
  @function GetPreScale
  @treturn bool enabled
  @treturn SIZE_S the size; on failure the results are `nil` and
  "Fail to get VPSS group prescaling" with the code
  */
  int GetPreScale(lua_State* L);
  /*** Chooses the unit that prescales (`HI_MPI_VPSS_SetPreScaleMode`): "DEFAULT" or "VPSS"
  (0), "OTHER" or "VGS" (1), in any case, or the raw value. **A misspelt name, or no argument, is
  passed on as 2**, which names no mode: the platform refuses it.
  @function SetPreScaleMode
  @tparam string|int mode
  @treturn bool|nil `true`, or `nil` and "Fail to set VPSS group prescale mode" with the code
  */
  int SetPreScaleMode(lua_State* L);
  /*** Reads the prescaling unit (`HI_MPI_VPSS_GetPreScaleMode`).
  @function GetPreScaleMode
  @treturn string "DEFAULT", or "OTHER" for any other mode; or `nil` and
  "Fail to get VPSS group prescale mode" with the code
  */
  int GetPreScaleMode(lua_State* L);
  /*** Sets the group's sizer (`HI_MPI_VPSS_SetGrpSizer`). A false flag disables it and reads no
  size.
  @function SetSizer
  @tparam bool|int enable a boolean, or a number (non-zero is true)
  @tparam SIZE_S size `{width, height}` or `{u32Width = , u32Height = }`
  @treturn bool|nil `true`, or `nil` and "Invalid arguments" (the flag is neither boolean nor
  number), "Invalid size structure", "Invalid fields", or "Fail to set VPSS sizer" with the code
  */
  int SetSizer(lua_State* L);
  /*** Reads the group's sizer (`HI_MPI_VPSS_GetGrpSizer`).
  @function GetSizer
  @treturn bool enabled
  @treturn SIZE_S the size; on failure the results are `nil` and "Fail to get VPSS group sizer"
  with the code
  */
  int GetSizer(lua_State* L);
  /*** Sets the group's frame rate control (`HI_MPI_VPSS_SetGrpFrameRate`).
  @function SetFrameRate
  @int src source frame rate
  @int dst destination frame rate
  @treturn int 0 or the platform's error code
  */
  int SetFrameRate(int src, int dst);
  /*** Reads the group's frame rate control (`HI_MPI_VPSS_GetGrpFrameRate`).
  @function GetFrameRate
  @treturn int the source frame rate
  @treturn int the destination frame rate; on failure the results are `nil` and
  "Fail to get VPSS group frame rate" with the code
  */
  int GetFrameRate(lua_State* L);
  /*** Sets the group's delay (`HI_MPI_VPSS_SetGrpDelay`).
  @function SetDelay
  @int delay
  @treturn int 0 or the platform's error code
  */
  int SetDelay(unsigned int delay) { return HI_MPI_VPSS_SetGrpDelay(m_devId, delay); }
  /*** Reads the group's delay (`HI_MPI_VPSS_GetGrpDelay`).
  @function GetDelay
  @treturn int the delay, or the platform's error code (negative) when the call fails
  */
  int GetDelay();
  /*** Hands frame rate control to the user (`HI_MPI_VPSS_EnableUserFrameRateCtrl`).
  @function EnableUserFrameRateCtrl
  @treturn int 0 or the platform's error code
  */
  int EnableUserFrameRateCtrl() { return HI_MPI_VPSS_EnableUserFrameRateCtrl(m_devId); }
  /*** Gives frame rate control back to the group (`HI_MPI_VPSS_DisableUserFrameRateCtrl`).
  @function DisableUserFrameRateCtrl
  @treturn int 0 or the platform's error code
  */
  int DisableUserFrameRateCtrl() { return HI_MPI_VPSS_DisableUserFrameRateCtrl(m_devId); }

 private:
  bool m_created = false;
};

/***
The module class `Tessel.VPSS`: group factories and the module's limits.
@type VPSS
*/
class VPSS {
 public:
  /*** The number of processing groups: 256.
  @tfield int MaxGroups
  */
  static int get_MaxGroups() { return kVpssMaxGroups; }
  /*** The number of channels of a group: 4.
  @tfield int MaxChannelsPerGroup
  */
  static int get_MaxChannelsPerGroup() { return kVpssMaxChannels; }
  /*** An object for group `grp`, made elsewhere: it neither creates nor destroys it.
  @function GetGroup
  @static
  @int grp group number, 0 to 255
  @treturn VPSSGroup the group; `nil` out of range, with
  "VPSS group id is out of range, valid range is [0,256)" on standard error
  */
  // Numbers are taken whole, so that one beyond 32 bits is refused rather
  // than cut down to a valid group.
  static RefCountedObjectPtr<VPSSGroup> GetGroup(lua_Integer grp);
  /*** Creates group `grp` (see `VPSSGroup:Create`). Mind that **the group object is returned
  even when creation failed**: check with `GetAttr`, or call `Tessel.VPSS.GetGroup(grp):Create(attrs)`
  to receive the reason.
  @function CreateGroup
  @static
  @int grp group number, 0 to 255
  @tparam VPSS_GRP_ATTR_S attrs
  @treturn VPSSGroup the group; `nil` out of range, with
  "VPSS group id is out of range, valid range is [0,256)" on standard error, reported under the
  name `GetGroup`
  @usage local grp = Tessel.VPSS.CreateGroup(0, {u32MaxW = 1920, u32MaxH = 1080,
  enPixFmt = "YUV_SEMIPLANAR_420", enDieMode = "NONE"})
  */
  static RefCountedObjectPtr<VPSSGroup> CreateGroup(lua_Integer grp, lua_State* L);
  /*** Destroys group `grp` whoever created it, for instance one left by an earlier process:
  disables channel 0 four times over (`HI_MPI_VPSS_DisableChn`), then `HI_MPI_VPSS_DestroyGrp`.
  Note that **channels 1 to 3 are not disabled**: disable them first through
  `GetGroup(grp):GetChannel(n)`.
  @function ForceFreeGroup
  @static
  @int grp group number (not checked)
  @treturn int the result of `HI_MPI_VPSS_DestroyGrp`
  */
  static int ForceFreeGroup(int grp);
};

}  // namespace Tessel
