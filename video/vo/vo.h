// Video output: display devices, the video layers composed onto them, the
// output channels (windows) of a layer, and the write-back unit, over the
// HI_MPI_VO_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

// Device public attributes and user timing, layer attributes.
TESSEL_DECLARE_STRUCT(VO_PUB_ATTR_S)
TESSEL_DECLARE_STRUCT(VO_SYNC_INFO_S)
TESSEL_DECLARE_ENUM(VO_INTF_SYNC_E)
TESSEL_DECLARE_STRUCT(VO_VIDEO_LAYER_ATTR_S)
// Channel attributes, zoom ratio, field; write-back attributes.
TESSEL_DECLARE_STRUCT(VO_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VO_ZOOM_RATIO_S)
TESSEL_DECLARE_ENUM(VO_DISPLAY_FIELD_E)
TESSEL_DECLARE_STRUCT(VO_WBC_ATTR_S)
TESSEL_DECLARE_ENUM(VO_WBC_MODE_E)

/***
Video output: `Tessel.VO`, its display devices, video layers, output channels and write-back.

A device is one display interface (HDMI, VGA, CVBS, BT.1120 ...) with its timing; a video
layer is composed onto a device and holds up to 36 output channels, each a window showing the
frames bound to it (`Tessel.SYS.Bind(source, channel)`). Write-back turns what a device or
layer shows into a video source again, for instance to encode the screen.

The usual order: `dev:SetPubAttr(t)`, `dev:Enable()`, then on `dev:GetLayer()` `SetAttr(t)` and
`Enable()`, then each channel's `SetAttr(t)` and `Enable()`. Tear down with `dev:ForceFree()`
and `dev:Disable()`.
@module vo
*/

/***
A zoom window as parts of the picture, in thousandths (`{250, 250, 500, 500}` is the middle
quarter): the array form `{x, y, width, height}`, used when element 1 is a number, or else a
table with all four keys (the two forms do not mix). A value that is not a table fails with
"Invalid zoom ratio structure", a missing or non-numeric value with `"Invalid VO_ZOOM_RATIO_S fields"`.
Read back it has the four keys, but `VOChannel:GetZoomInWindow` pairs **these keys with the type
"RECT"** (and the rectangle keys with "RATIO").
@table VO_ZOOM_RATIO_S
@int u32XRatio left edge
@int u32YRatio top edge
@int u32WRatio width
@int u32HRatio height
*/
namespace Tessel {

// The module's fixed numbering: each kind of device and layer occupies a
// contiguous range of the platform's numbers.
namespace vo {
constexpr int kDevices = 9, kLayers = 10, kChannels = 36, kWbcs = 1;
constexpr int kHDDevices = 2, kHDDeviceBase = 0, kSDDevices = 1, kSDDeviceBase = 2;
constexpr int kVirtualDevices = 4, kVirtualDeviceBase = 3, kCasDevices = 2, kCasDeviceBase = 7;
constexpr int kPIPLayers = 1, kPIPLayerBase = 2, kHDLayerBase = 0, kSDLayerBase = 3;
constexpr int kVirtualLayerBase = 4, kCasLayerBase = 8;

// Device d shows layer d below 2 and layer d + 1 from there on (the PIP
// layer 2 belongs to no device by number).
constexpr int layerOf(int dev) { return dev < 2 ? dev : dev + 1; }
}  // namespace vo

class VOLayer;

/***
One display device: devices 0 and 1 are high definition, 2 standard definition, 3 to 6
virtual and 7, 8 cascade.

Got from `Tessel.VO.GetDevice(n)` or a getter by kind (`GetHDDevice(i)` ...). Every call makes
a new object (`==` is false between two of them) naming the same device; the object holds
nothing but the number, and collecting it changes nothing on the display.
@type VODevice
*/
class VODevice : public RefCountedObjectType<int> {
 public:
  explicit VODevice(int dev) : m_devId(dev) {}

  /*** The device number, 0 to 8.
  @tfield int ID
  */
  /*** The device number again (the same as `ID`).
  @tfield int DID
  */
  int get_ID() const { return m_devId; }
  /*** Enables the device with the public attributes set before (`HI_MPI_VO_Enable`).
  @function Enable
  @treturn int 0, or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_VO_Enable(m_devId); }
  /*** Disables the device (`HI_MPI_VO_Disable`); disable its layer first (`ForceFree`).
  @function Disable
  @treturn int 0, or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_VO_Disable(m_devId); }
  /*** Sets the public attributes: interfaces, timing, background colour (`HI_MPI_VO_SetPubAttr`),
  while the device is disabled. The structure starts zeroed: give every key.
  `enIntfType` is a number (the bit set itself), one name, or an array of names OR-ed together
  ("CVBS", "YPBPR", "VGA", "BT656", "BT1120", "HDMI", "LCD", `"BT656_H"`, `"BT656_L"`, any case;
  in an array, elements that are not known names are skipped). `enIntfSync` is a number or one
  of the 34 timing names, any case ("PAL", "NTSC", "1080P60", "1920x1200@60", ..., "USER"); a
  value of another type is skipped and leaves "PAL". `stSyncInfo` (`VO_SYNC_INFO_S`) is the user
  timing, used with "USER"; its flags (`bSynm`, `bIop`, `bIdv`, `bIhs`, `bIvs`) are booleans or
  numbers, a non-zero number counting as true, and reach the platform as 1 or 0.
  @function SetPubAttr
  @tparam VO_PUB_ATTR_S attrs keys `u32BgColor`, `enIntfType`, `enIntfSync`, `stSyncInfo`
  @return `true`, or `nil` and `"VO_PUB_ATTR_S must be a table for structure convension"`,
  "Invalid vout interface type" (an unknown name alone), "Invalid interface type" (neither
  number, string nor table), "Invalid VOUT sync type" (an unknown timing name), or
  "Fail to set VO device pub attributes" with the code
  @usage dev:SetPubAttr{u32BgColor = 0, enIntfType = {"HDMI", "VGA"}, enIntfSync = "1080P60"}
  */
  int SetPubAttr(lua_State* L);
  /*** Reads the public attributes (`HI_MPI_VO_GetPubAttr`). `enIntfType` comes back as an
  array of names in ascending bit order (bits without a name are left out), `enIntfSync` as
  its name.
  @function GetPubAttr
  @treturn VO_PUB_ATTR_S the attributes, or `nil` and "Fail to get VO device pub attributes"
  with the code, or "Invalid VOUT sync type" for a timing without a name
  */
  int GetPubAttr(lua_State* L);
  /*** Sets the device's frame rate (`HI_MPI_VO_SetDevFrameRate`).
  @function SetFrameRate
  @int rate
  @treturn int 0, or the platform's error code (negative)
  */
  int SetFrameRate(HI_U32 rate) { return HI_MPI_VO_SetDevFrameRate(m_devId, rate); }
  /*** Reads the device's frame rate (`HI_MPI_VO_GetDevFrameRate`).
  __The result is the rate or the error code__: a failure answers the platform's code in place
  of the rate, as a large positive number (its top bit is set); compare with the codes of
  `require "tessel.errors"` or treat anything above the plausible as a failure.
  @function GetFrameRate
  @treturn int the rate, or the platform's error code (unsigned, from 2^31 up)
  */
  HI_U32 GetFrameRate();
  /*** Sets the device's interrupt threshold (`HI_MPI_VO_SetVtth`).
  @function SetVtth
  @int vtth
  @treturn int 0, or the platform's error code (negative)
  */
  int SetVtth(HI_U32 vtth) { return HI_MPI_VO_SetVtth(m_devId, vtth); }
  /*** Reads the device's interrupt threshold (`HI_MPI_VO_GetVtth`).
  __The result is the threshold or the error code__ (unsigned, from 2^31 up), as `GetFrameRate`.
  @function GetVtth
  @treturn int the threshold, or the platform's error code
  */
  HI_U32 GetVtth();
  /*** The device's own video layer: layer d for device d below 2, d + 1 from device 2 on
  (device 2 has layer 3, device 7 layer 8). No device gives the picture-in-picture layer 2:
  take it with `Tessel.VO.GetLayer(2)` and attach it with `VOLayer:Bind`. Calls nothing.
  @function GetLayer
  @treturn VOLayer a new layer object
  */
  RefCountedObjectPtr<VOLayer> GetLayer();
  /*** Frees the device's layer: disables channels 0 to 35 of its layer in turn
  (`HI_MPI_VO_DisableChn`), then the layer (`HI_MPI_VO_DisableVideoLayer`), every result
  ignored. **The device stays enabled and the layer bound**: call `Disable` afterwards.
  @function ForceFree
  @return nothing
  */
  void ForceFree();

  /*** Placeholder: accepts anything, calls nothing, returns nothing (VGA parameters are not
  settable through this module).
  @function SetVGAParam
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetVGAParam
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing (HDMI parameters are set
  through `Tessel.HDMI`).
  @function SetHDMIParam
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetHDMIParam
  */
  int Placeholder(lua_State* L) { return 0; }

 private:
  int m_devId;
};

class VOChannel;

/***
One video layer: 0 and 1 high definition, 2 picture-in-picture, 3 standard definition, 4 to 7
virtual, 8 and 9 cascade. It holds up to 36 output channels.

Got from `Tessel.VO.GetLayer(n)`, a getter by kind, or `VODevice:GetLayer()`. Every call makes a
new object naming the same layer; the object holds nothing but the number, and collecting it
changes nothing on the display.
@type VOLayer
*/
class VOLayer : public RefCountedObjectType<int> {
 public:
  explicit VOLayer(int layer) : m_layerId(layer) {}

  /*** The layer number, 0 to 9.
  @tfield int LID
  */
  /*** The layer number again (the same as `LID`).
  @tfield int ID
  */
  int get_ID() const { return m_layerId; }
  /*** The number of output channels of a layer: 36.
  @tfield int MaxChannels
  */
  int get_MaxChannels() const { return vo::kChannels; }
  /*** An object for output channel `chn` of this layer. Calls nothing; the number is not
  checked. **The channel is disabled when Lua collects the object**: keep it.
  @function GetChannel
  @int chn channel number, 0 to 35
  @treturn VOChannel a new channel object
  */
  RefCountedObjectPtr<VOChannel> GetChannel(int chn);
  /*** Enables the layer (`HI_MPI_VO_EnableVideoLayer`), once its attributes are set and its
  device is enabled.
  @function Enable
  @treturn int 0, or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_VO_EnableVideoLayer(m_layerId); }
  /*** Disables the layer (`HI_MPI_VO_DisableVideoLayer`); disable its channels first.
  @function Disable
  @treturn int 0, or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_VO_DisableVideoLayer(m_layerId); }
  /*** Switches compression of the layer on or off (`HI_MPI_VO_SetVideoLayerCompressAttr`).
  @function SetCompress
  @bool on
  @treturn int 0, or the platform's error code (negative)
  */
  int SetCompress(bool on);
  /*** Whether the layer compresses (`HI_MPI_VO_GetVideoLayerCompressAttr`).
  `false` also when the call fails: a failure cannot be told from "off".
  @function GetCompress
  @treturn bool
  */
  bool GetCompress();
  /*** Sets the layer attributes (`HI_MPI_VO_SetVideoLayerAttr`), while the device is enabled
  and the layer is not. The structure starts zeroed: give every key.
  @function SetAttr
  @tparam VO_VIDEO_LAYER_ATTR_S attrs keys `stDispRect`, `stImageSize`, `u32DispFrmRt`,
  `enPixFormat`, `bDoubleFrame`, `bClusterMode`
  @return `true`, or `nil` and `"VO_VIDEO_LAYER_ATTR_S must be a table for structure convension"`,
  another conversion message, or "Fail to set video layer attributes" with the code
  @usage layer:SetAttr{stDispRect = {0, 0, 1920, 1080}, stImageSize = {1920, 1080},
  u32DispFrmRt = 60, enPixFormat = "YUV_SEMIPLANAR_420"}
  */
  int SetAttr(lua_State* L);
  /*** Reads the layer attributes (`HI_MPI_VO_GetVideoLayerAttr`).
  @function GetAttr
  @treturn VO_VIDEO_LAYER_ATTR_S the attributes, or `nil` and "Fail to get video layer attributes"
  with the code
  */
  int GetAttr(lua_State* L);
  /*** Sets the layer's priority (`HI_MPI_VO_SetVideoLayerPriority`).
  @function SetPriority
  @int priority
  @treturn int 0, or the platform's error code (negative)
  */
  int SetPriority(HI_U32 priority) { return HI_MPI_VO_SetVideoLayerPriority(m_layerId, priority); }
  /*** Reads the layer's priority (`HI_MPI_VO_GetVideoLayerPriority`).
  __The result is the priority or the error code__ (unsigned, from 2^31 up), as
  `VODevice:GetFrameRate`.
  @function GetPriority
  @treturn int the priority, or the platform's error code
  */
  HI_U32 GetPriority();
  /*** Sets the partition mode (`HI_MPI_VO_SetVideoLayerPartitionMode`). A number is passed as
  it is; "SINGLE" in any case is single, **any other string is multi** (a misspelt "SINGLE"
  included).
  @function SetPartitionMode
  @tparam string|int mode "SINGLE" or "MULTI"
  @return `true`, or a single `nil` without a message when the platform refuses; a single `nil`
  without calling anything for a value that is neither string nor number
  */
  int SetPartitionMode(lua_State* L);
  /*** Reads the partition mode (`HI_MPI_VO_GetVideoLayerPartitionMode`).
  @function GetPartitionMode
  @treturn string "SINGLE", or "MULTI" for any other mode; a single `nil` when the call fails
  */
  int GetPartitionMode(lua_State* L);
  /*** Starts a batch of attribute changes that take effect together at `SetAttrEnd`
  (`HI_MPI_VO_SetAttrBegin`).
  @function SetAttrBegin
  @treturn int 0, or the platform's error code (negative)
  */
  int SetAttrBegin() { return HI_MPI_VO_SetAttrBegin(m_layerId); }
  /*** Applies the changes since `SetAttrBegin` (`HI_MPI_VO_SetAttrEnd`).
  @function SetAttrEnd
  @treturn int 0, or the platform's error code (negative)
  */
  int SetAttrEnd() { return HI_MPI_VO_SetAttrEnd(m_layerId); }
  /*** Sets the play toleration in milliseconds (`HI_MPI_VO_SetPlayToleration`).
  @function SetPlayToleration
  @int ms
  @treturn int 0, or the platform's error code (negative)
  */
  int SetPlayToleration(HI_U32 ms) { return HI_MPI_VO_SetPlayToleration(m_layerId, ms); }
  /*** Reads the play toleration (`HI_MPI_VO_GetPlayToleration`).
  __The result is the toleration or the error code__ (unsigned, from 2^31 up).
  @function GetPlayToleration
  @treturn int the toleration in milliseconds, or the platform's error code
  */
  HI_U32 GetPlayToleration();
  /*** Sets the display buffer length (`HI_MPI_VO_SetDispBufLen`).
  @function SetDispBufLen
  @int length
  @treturn int 0, or the platform's error code (negative)
  */
  int SetDispBufLen(HI_U32 length) { return HI_MPI_VO_SetDispBufLen(m_layerId, length); }
  /*** Reads the display buffer length (`HI_MPI_VO_GetDispBufLen`).
  __The result is the length or the error code__ (unsigned, from 2^31 up).
  @function GetDispBufLen
  @treturn int the length, or the platform's error code
  */
  HI_U32 GetDispBufLen();
  /*** Binds the layer to a device (`HI_MPI_VO_BindVideoLayer`), for the picture-in-picture
  layer 2 on an HD device.
  @function Bind
  @tparam VODevice|int dev the device, or its number
  @return `true`, or `nil` and "Invalid VO device object" (an object of another class),
  "Invalid VO device object or VO device ID" (neither object nor number), or
  "Fail to bind VO layer to device" with the code
  @usage Tessel.VO.GetLayer(2):Bind(Tessel.VO.GetDevice(0))
  */
  int Bind(lua_State* L);
  /*** Unbinds the layer from a device (`HI_MPI_VO_UnBindVideoLayer`).
  A refusal answers `nil` and the platform's code as a number (negative), not a message,
  unlike `Bind`.
  @function UnBind
  @tparam VODevice|int dev the device, or its number
  @return `true`; `nil` and the code when the platform refuses; `nil` and
  "Invalid VO device object" or "Invalid VO device object or VO device ID" for a bad argument
  */
  int UnBind(lua_State* L);
  /*** Takes the picture the layer shows (`HI_MPI_VO_GetScreenFrame`): its enabled channels
  composed at the layer's picture size (`stImageSize`), lent until the frame is released
  (`HI_MPI_VO_ReleaseScreenFrame`).
  @function GetScreenFrame
  @int[opt=-1] timeout milliseconds to wait: -1 as long as it takes, 0 not at all; a value that
  is no integer raises
  @treturn VideoFrame the picture, or `nil` and "Fail to get VO screen frame" with the code
  @usage local screen = assert(layer:GetScreenFrame(100))
  print(screen.Width, screen.Height)
  screen:Release()
  */
  int GetScreenFrame(lua_State* L);

  /*** Placeholder: accepts anything, calls nothing, returns nothing (the colour space is not
  settable through this module).
  @function SetCSC
  */
  int Placeholder(lua_State* L) { return 0; }
  /*** Placeholder: calls nothing.
  @function GetCSC
  @return a single `nil`
  */
  int Nothing(lua_State* L);

 private:
  int m_layerId;
};

/***
One output channel: a window of video on a layer (module "VOU", device = the layer number,
channel 0 to 35), shown once it is set up, enabled and bound as a destination
(`Tessel.SYS.Bind(source, chn)`).

Got from `VOLayer:GetChannel(n)`; every call makes a new object. **When Lua collects any
channel object, the channel is disabled** (`HI_MPI_VO_DisableChn`) and leaves the screen: keep
the object in a variable for as long as the window is wanted.
@type VOChannel
*/
class VOChannel : public Channel, public RefCountedObjectType<int> {
 public:
  VOChannel(int layer, int chn) : Channel(HI_ID_VOU, layer, chn) {}
  ~VOChannel() override { HI_MPI_VO_DisableChn(m_devId, m_chnId); }

  /*** The number of the layer the channel is on (the same as `DID`).
  @tfield int LayerID
  */
  int get_LayerID() const { return m_devId; }
  /*** Enables the channel (`HI_MPI_VO_EnableChn`), once its attributes are set on an enabled
  layer.
  @function Enable
  @treturn int 0, or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_VO_EnableChn(m_devId, m_chnId); }
  /*** Disables the channel (`HI_MPI_VO_DisableChn`).
  @function Disable
  @treturn int 0, or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_VO_DisableChn(m_devId, m_chnId); }
  /*** Sets the channel attributes (`HI_MPI_VO_SetChnAttr`): its window on the layer.
  @function SetAttr
  @tparam VO_CHN_ATTR_S attrs keys `u32Priority`, `stRect`, `bDeflicker`
  @return `true`, or `nil` and "Invalid attr table" (not a table), a conversion message, or
  "Fail to set channel attributes" with the code
  @usage chn:SetAttr{u32Priority = 0, stRect = {0, 0, 960, 540}, bDeflicker = false}
  */
  int SetAttr(lua_State* L);
  /*** Reads the channel attributes (`HI_MPI_VO_GetChnAttr`).
  @function GetAttr
  @treturn VO_CHN_ATTR_S the attributes, or `nil` and "Fail to get channel attributes" with the code
  */
  int GetAttr(lua_State* L);
  /*** Sets the channel parameter, its aspect ratio (`HI_MPI_VO_SetChnParam`).
  @function SetParam
  @tparam ASPECT_RATIO_S ratio keys `enMode` ("NONE", "AUTO", "MANUAL"), `u32BgColor`, `stVideoRect`
  @return `true`, or `nil` and "Invalid argument" (not a table), a conversion message, or
  "Fail to set channel parameters" with the code
  */
  int SetParam(lua_State* L);
  /*** Reads the channel's aspect ratio (`HI_MPI_VO_GetChnParam`).
  @function GetParam
  @treturn ASPECT_RATIO_S the aspect ratio, or `nil` and "Fail to get channel parameters" with the code
  */
  int GetParam(lua_State* L);
  /*** Moves the channel's window (`HI_MPI_VO_SetChnDispPos`).
  @function SetDispPos
  @tparam POINT_S pos `{s32X = x, s32Y = y}` or `{x, y}`
  @return `true`, or `nil` and "Invalid argument" (not a table), a conversion message, or
  "Fail to set channel display position" with the code
  */
  int SetDispPos(lua_State* L);
  /*** Reads the window's position (`HI_MPI_VO_GetChnDispPos`).
  @function GetDispPos
  @treturn POINT_S the position, or `nil` and "Fail to get channel display position" with the code
  */
  int GetDispPos(lua_State* L);
  /*** Sets the field shown (`HI_MPI_VO_SetChnField`): "TOP", "BOTTOM", "BOTH" or "INTERLACED"
  (the same as "BOTH"), any case, or a number. **An unknown name is not refused here**: it is
  passed as 3, which the platform refuses, so it fails with the platform's message.
  @function SetField
  @tparam string|int field
  @return `true`, or `nil` and "Fail to set channel field argument" with the code
  */
  int SetField(lua_State* L);
  /*** Reads the field shown (`HI_MPI_VO_GetChnField`).
  @function GetField
  @treturn string "TOP", "BOTTOM" or "BOTH" (`nil` for another value), or `nil` and
  "Fail to get channel field argument" with the code
  */
  int GetField(lua_State* L);
  /*** Sets the channel's frame rate (`HI_MPI_VO_SetChnFrameRate`).
  @function SetFrameRate
  @int rate
  @treturn int 0, or the platform's error code (negative)
  */
  int SetFrameRate(int rate) { return HI_MPI_VO_SetChnFrameRate(m_devId, m_chnId, rate); }
  /*** Reads the channel's frame rate (`HI_MPI_VO_GetChnFrameRate`).
  __The result is the rate or the error code__: a failure answers the platform's code (negative)
  in place of the rate.
  @function GetFrameRate
  @treturn int the rate, or the platform's error code (negative)
  */
  int GetFrameRate();
  /*** Pauses the channel on its current picture (`HI_MPI_VO_PauseChn`).
  @function Pause
  @treturn int 0, or the platform's error code (negative)
  */
  int Pause() { return HI_MPI_VO_PauseChn(m_devId, m_chnId); }
  /*** Resumes a paused channel (`HI_MPI_VO_ResumeChn`).
  @function Resume
  @treturn int 0, or the platform's error code (negative)
  */
  int Resume() { return HI_MPI_VO_ResumeChn(m_devId, m_chnId); }
  /*** Shows the next picture of a paused channel (`HI_MPI_VO_StepChn`).
  @function Step
  @treturn int 0, or the platform's error code (negative)
  */
  int Step() { return HI_MPI_VO_StepChn(m_devId, m_chnId); }
  /*** Shows the current picture again (`HI_MPI_VO_RefreshChn`).
  @function Refresh
  @treturn int 0, or the platform's error code (negative)
  */
  int Refresh() { return HI_MPI_VO_RefreshChn(m_devId, m_chnId); }
  /*** Shows a hidden channel (`HI_MPI_VO_ShowChn`).
  @function Show
  @treturn int 0, or the platform's error code (negative)
  */
  int Show() { return HI_MPI_VO_ShowChn(m_devId, m_chnId); }
  /*** Hides the channel, which stays enabled (`HI_MPI_VO_HideChn`).
  @function Hide
  @treturn int 0, or the platform's error code (negative)
  */
  int Hide() { return HI_MPI_VO_HideChn(m_devId, m_chnId); }
  /*** Matches the channel to the frame rate it receives (`HI_MPI_VO_EnableRecvFrameRateMatch`).
  @function EnableRecvFrameRateMatch
  @treturn int 0, or the platform's error code (negative)
  */
  int EnableRecvFrameRateMatch() { return HI_MPI_VO_EnableRecvFrameRateMatch(m_devId, m_chnId); }
  /*** Stops matching the received frame rate (`HI_MPI_VO_DisableRecvFrameRateMatch`).
  @function DisableRecvFrameRateMatch
  @treturn int 0, or the platform's error code (negative)
  */
  int DisableRecvFrameRateMatch() { return HI_MPI_VO_DisableRecvFrameRateMatch(m_devId, m_chnId); }
  /*** Zooms into part of the picture (`HI_MPI_VO_SetZoomInWindow`). The type is "RECT" (0)
  or "RATIO" (1), any case, or a number; **any other string counts as "RECT"**. The window is
  a `RECT_S` for type 0 and a `VO_ZOOM_RATIO_S` (thousandths; `{x, y, w, h}` or the four keys
  `u32XRatio`, `u32YRatio`, `u32WRatio`, `u32HRatio`) for any other type.
  @function SetZoomInWindow
  @tparam string|int type
  @tparam RECT_S|VO_ZOOM_RATIO_S window
  @return `true`, or `nil` and "Invalid ratio type" (neither string nor number),
  "Invalid rect structure", "Invalid zoom ratio structure", `"Invalid VO_ZOOM_RATIO_S fields"`, or
  "Fail to set zoom in window" with the code
  @usage chn:SetZoomInWindow("RATIO", {250, 250, 500, 500})
  */
  int SetZoomInWindow(lua_State* L);
  /*** Reads the zoom window (`HI_MPI_VO_GetZoomInWindow`).
  __The type and the table's keys are crossed__: "RECT" comes with the ratio keys
  (`u32XRatio`, `u32YRatio`, `u32WRatio`, `u32HRatio`) and "RATIO" with the rectangle keys
  (`s32X`, `s32Y`, `u32Width`, `u32Height`); the numbers are right. To hand a window read back to
  `SetZoomInWindow`, pass its numbers as an array: `{w.s32X, w.s32Y, w.u32Width, w.u32Height}`.
  @function GetZoomInWindow
  @treturn string "RECT" or "RATIO"
  @treturn table the window; or `nil` and "Fail to get zoom in window" with the code
  */
  int GetZoomInWindow(lua_State* L);
  /*** The time stamp of the picture shown (`HI_MPI_VO_GetChnPts`).
  @function GetPts
  @treturn table `{high, low}`, the high and the low 32 bits of the 64-bit time stamp; or a single
  `nil` when the call fails
  */
  int GetPts(lua_State* L);
  /*** The channel's status (`HI_MPI_VO_QueryChnStat`).
  @function Query
  @treturn table `{u32ChnBufUsed = n}`, the buffers in use, or a single `nil` when the call fails
  */
  int Query(lua_State* L);
  /*** Drops the pictures the channel holds (`HI_MPI_VO_ClearChnBuffer`). __Only__ a Lua `true`
  clears them all: a number (even 1) counts as false.
  @function ClearBuffer
  @bool[opt=false] all
  @return nothing on success; `nil` and the platform's code (a negative number) on failure
  */
  int ClearBuffer(lua_State* L);
  /*** Sets the border around the window (`HI_MPI_VO_SetChnBorder`). When `enable` is true the
  border is read from `border`; when it is false the border is switched off and `border` not read.
  __A border that does not convert is reported on standard error__, as
  "Fail to convert border arguments: " and the conversion's text under "SetBorder", and answers
  -1 without calling the platform.
  @function SetBorder
  @bool enable
  @tparam[opt] BORDER_S border widths `u32TopWidth`, `u32BottomWidth`, `u32LeftWidth`,
  `u32RightWidth` (or `{top, bottom, left, right}`)
  @treturn int 0, the platform's error code (negative), or -1
  */
  int SetBorder(lua_State* L);
  /*** Reads the border (`HI_MPI_VO_GetChnBorder`).
  @function GetBorder
  @treturn bool whether the border is shown
  @treturn BORDER_S the widths; or `nil` and "Fail to get border" with the code
  */
  int GetBorder(lua_State* L);
  /*** Sets how many pictures the channel receives before it shows (`HI_MPI_VO_SetChnReceiveThreshold`).
  @function SetReceiveThreshold
  @int n
  @treturn int 0, or the platform's error code (negative)
  */
  int SetReceiveThreshold(HI_U32 n) { return HI_MPI_VO_SetChnReceiveThreshold(m_devId, m_chnId, n); }
  /*** Reads the receive threshold (`HI_MPI_VO_GetChnReceiveThreshold`).
  __The result is the threshold or the error code__ (negative).
  @function GetReceiveThreshold
  @treturn int the threshold, or the platform's error code
  */
  int GetReceiveThreshold();
  /*** Shows a picture in the channel's window (`HI_MPI_VO_SendFrame`, with the layer and the
  channel), as a bound source would. The frame stays the script's: release it when done.
  @function SendFrame
  @tparam VideoFrame frame another value raises "VideoFrame expected, got ..."
  @int[opt=-1] timeout milliseconds to wait for room: -1 as long as it takes, 0 not at all
  @treturn int 0 or the platform's error code; **a released frame gives A00F8006**
  (`HI_ERR_VO_NULL_PTR`, as if no frame were given) without a platform call
  */
  int SendFrame(lua_State* L);
  /*** Takes the picture the channel shows (`HI_MPI_VO_GetChnFrame`), as it was given to the
  channel (bound or sent, before it is scaled into the window), lent until the frame is
  released (`HI_MPI_VO_ReleaseChnFrame`).
  @function GetFrame
  @int[opt=-1] timeout milliseconds to wait while the channel has shown nothing yet: -1 as long
  as it takes, 0 not at all; a value that is no integer raises
  @treturn VideoFrame the picture, or `nil` and "Fail to get VO channel frame" with the code
  @usage local shown = assert(chn:GetFrame(0))
  print(shown.Width, shown.Height, shown.Pts)
  shown:Release()
  */
  int GetFrame(lua_State* L);
};

/***
The write-back unit: what a device or layer shows, as a video source again (module "VOU",
device 0, channel 0), bound with `Tessel.SYS.Bind(wbc, destination)`.

There is one object in the process: `Tessel.VO.GetWBC(0)` makes it on first use and returns the
same object every time (`==` is true). Collecting a reference changes nothing; the object lives
until the module is unloaded, and nothing disables the write-back for you: call `Disable`.
@type VOWbc
*/
class VOWbc : public Channel, public RefCountedObjectType<int> {
 public:
  VOWbc() : Channel(HI_ID_VOU, 0, 0) {}

  /*** The write-back number: 0.
  @tfield int WbcID
  */
  int get_WbcID() const { return m_wbcId; }
  /*** Sets what is written back (`HI_MPI_VO_SetWbcSource`). The type is "DEVICE" (0),
  "LAYER" or "VIDEO" (1), "GRAPHIC" (2), any case, or a number. The source is a number, a
  `VODevice` for "DEVICE" or a `VOLayer` for "LAYER".
  @function SetSource
  @tparam string|int type
  @tparam VODevice|VOLayer|int source
  @return `true`, or `nil` and "Invalid WBC source type" (an unknown name, another value, or 3),
  "Invalid source device object", "Invalid source layer object", "Invalid source object", or
  __"fail to set WBC source"__ (lower-case first letter) with the code
  @usage wbc:SetSource("DEVICE", Tessel.VO.GetDevice(0))
  */
  int SetSource(lua_State* L);
  /*** Reads what is written back (`HI_MPI_VO_GetWbcSource`).
  @function GetSource
  @treturn string "DEVICE", "LAYER" or "GRAPHIC" (`nil` for another type)
  @treturn int the device or layer number; or `nil` and "Fail to get WBC source" with the code
  */
  int GetSource(lua_State* L);
  /*** Starts writing back (`HI_MPI_VO_EnableWbc`), once source and attributes are set and the
  source shows.
  @function Enable
  @treturn int 0, or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_VO_EnableWbc(m_wbcId); }
  /*** Stops writing back (`HI_MPI_VO_DisableWbc`); unbind its destinations first.
  @function Disable
  @treturn int 0, or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_VO_DisableWbc(m_wbcId); }
  /*** Sets the write-back attributes (`HI_MPI_VO_SetWbcAttr`). The pixel format goes in as
  `enPixelFormat`.
  @function SetAttr
  @tparam VO_WBC_ATTR_S attrs keys `stTargetSize`, `enPixelFormat`, `u32FrameRate`
  @return `true`, or `nil` and `"VO_WBC_ATTR_S must be a table for structure convension"`, another
  conversion message, or "Fail to set WBC attributes" with the code
  @usage wbc:SetAttr{stTargetSize = {1280, 720}, enPixelFormat = "YUV_SEMIPLANAR_420", u32FrameRate = 25}
  */
  int SetAttr(lua_State* L);
  /*** Reads the write-back attributes (`HI_MPI_VO_GetWbcAttr`).
  The pixel format comes back as `enPixFormat`, not as the `enPixelFormat` that `SetAttr`
  reads: a table read back and handed to `SetAttr` unchanged loses its pixel format. Copy
  `enPixFormat` to `enPixelFormat` first.
  @function GetAttr
  @treturn VO_WBC_ATTR_S the attributes (`stTargetSize`, `enPixFormat`, `u32FrameRate`), or `nil`
  and "Fail to get WBC attributes" with the code
  */
  int GetAttr(lua_State* L);
  /*** Sets the write-back mode (`HI_MPI_VO_SetWbcMode`): "NORMAL", `"DROP_REPEAT"`,
  `"PROG_TO_INTL"` or "P2I" (the same), any case, or a number.
  @function SetMode
  @tparam string|int mode
  @return `true`, or `nil` and "Invalid WBC mode type" (an unknown name; nothing is called), or
  "Fail to set WBC mode" with the code
  */
  int SetMode(lua_State* L);
  /*** Reads the write-back mode (`HI_MPI_VO_GetWbcMode`).
  @function GetMode
  @treturn string "NORMAL", `"DROP_REPEAT"`, `"PROG_TO_INTL"`, or "UNKNOWN" for another value; or
  `nil` and "Fail to get WBC mode" with the code
  */
  int GetMode(lua_State* L);
  /*** Sets the write-back depth, the pictures a user may hold (`HI_MPI_VO_SetWbcDepth`).
  @function SetDepth
  @int depth
  @treturn int 0, or the platform's error code (negative)
  */
  int SetDepth(HI_U32 depth) { return HI_MPI_VO_SetWbcDepth(m_wbcId, depth); }
  /*** Reads the write-back depth (`HI_MPI_VO_GetWbcDepth`).
  __The result is the depth or the error code__ (negative).
  @function GetDepth
  @treturn int the depth, or the platform's error code
  */
  int GetDepth();

 private:
  int m_wbcId = 0;
};

/***
The module class `Tessel.VO`: devices and layers by number and by kind, the limits of the
numbering, and the write-back unit.

Every getter makes a new object; __a number out of range__ gives `nil` and a diagnostic line on
standard error under the getter's name (a negative number is out of range), not a Lua error.
@type VO
*/
class VO {
 public:
  /*** The number of devices: 9.
  @tfield int MaxDevices
  */
  static int get_MaxDevices() { return vo::kDevices; }
  /*** The number of video layers: 10.
  @tfield int MaxLayers
  */
  static int get_MaxLayers() { return vo::kLayers; }
  /*** The number of high-definition devices: 2.
  @tfield int MaxHDDevices
  */
  static int get_MaxHDDevices() { return vo::kHDDevices; }
  /*** The number of the first high-definition device: 0.
  @tfield int HDDeviceBaseID
  */
  static int get_HDDeviceBaseID() { return vo::kHDDeviceBase; }
  /*** The number of standard-definition devices: 1.
  @tfield int MaxSDDevices
  */
  static int get_MaxSDDevices() { return vo::kSDDevices; }
  /*** The number of the standard-definition device: 2.
  @tfield int SDDeviceBaseID
  */
  static int get_SDDeviceBaseID() { return vo::kSDDeviceBase; }
  /*** The number of virtual devices: 4.
  @tfield int MaxVirtualDevices
  */
  static int get_MaxVirtualDevices() { return vo::kVirtualDevices; }
  /*** The number of the first virtual device: 3.
  @tfield int VirtualDeviceBaseID
  */
  static int get_VirtualDeviceBaseID() { return vo::kVirtualDeviceBase; }
  /*** The number of cascade devices: 2.
  @tfield int MaxCasDevices
  */
  static int get_MaxCasDevices() { return vo::kCasDevices; }
  /*** The number of the first cascade device: 7.
  @tfield int CasDeviceBaseID
  */
  static int get_CasDeviceBaseID() { return vo::kCasDeviceBase; }
  /*** The number of picture-in-picture layers: 1.
  @tfield int MaxPIPLayers
  */
  static int get_MaxPIPLayers() { return vo::kPIPLayers; }
  /*** The number of write-back units: 1.
  @tfield int MaxWBCs
  */
  static int get_MaxWBCs() { return vo::kWbcs; }
  /*** The number of the first high-definition layer: 0.
  @tfield int HDLayerBaseID
  */
  static int get_HDLayerBaseID() { return vo::kHDLayerBase; }
  /*** The number of the standard-definition layer: 3.
  @tfield int SDLayerBaseID
  */
  static int get_SDLayerBaseID() { return vo::kSDLayerBase; }
  /*** The number of the first virtual layer: 4.
  @tfield int VirtualLayerBaseID
  */
  static int get_VirtualLayerBaseID() { return vo::kVirtualLayerBase; }
  /*** The number of the first cascade layer: 8.
  @tfield int CasLayerBaseID
  */
  static int get_CasLayerBaseID() { return vo::kCasLayerBase; }
  /*** The number of the picture-in-picture layer: 2 (get it with `GetLayer(2)`).
  @tfield int PIPLayerBaseID
  */
  static int get_PIPLayerBaseID() { return vo::kPIPLayerBase; }

  /*** Device `id`. Calls nothing.
  @function GetDevice
  @static
  @int id 0 to 8
  @treturn VODevice the device; `nil` out of range, with
  "VO device id is out of range, valid is [0,9)" on standard error
  */
  static RefCountedObjectPtr<VODevice> GetDevice(int id);
  /*** High-definition device `i`: device i.
  @function GetHDDevice
  @static
  @int i 0 or 1
  @treturn VODevice the device; `nil` out of range, with
  "VO HD device id is out of range, valid is [0,2)" on standard error
  */
  static RefCountedObjectPtr<VODevice> GetHDDevice(int i);
  /*** The standard-definition device: device 2.
  @function GetSDDevice
  @static
  @int i 0
  @treturn VODevice the device; `nil` for any other `i`, with
  "VO SD device id is out of range, valid is [0,1)" on standard error
  */
  static RefCountedObjectPtr<VODevice> GetSDDevice(int i);
  /*** Virtual device `i`: device i + 3.
  @function GetVirtualDevice
  @static
  @int i 0 to 3
  @treturn VODevice the device; `nil` out of range, with
  "VO virtual device id is out of range, valid is [0,4)" on standard error
  */
  static RefCountedObjectPtr<VODevice> GetVirtualDevice(int i);
  /*** Cascade device `i`: device i + 7.
  @function GetCasDevice
  @static
  @int i 0 or 1
  @treturn VODevice the device; `nil` out of range, with
  "VO cascade device id is out of range, valid is [0,2)" on standard error
  */
  static RefCountedObjectPtr<VODevice> GetCasDevice(int i);
  /*** Layer `id`; the only getter of the picture-in-picture layer 2. Calls nothing.
  @function GetLayer
  @static
  @int id 0 to 9
  @treturn VOLayer the layer; `nil` out of range, with
  "VO layer id is out of range, valid is [0,10)" on standard error
  */
  static RefCountedObjectPtr<VOLayer> GetLayer(int id);
  /*** High-definition layer `i`: layer i.
  @function GetHDLayer
  @static
  @int i 0 or 1
  @treturn VOLayer the layer; `nil` out of range, with
  "VO HD layer id is out of range, valid is [0,2)" on standard error
  */
  static RefCountedObjectPtr<VOLayer> GetHDLayer(int i);
  /*** The standard-definition layer: layer 3.
  @function GetSDLayer
  @static
  @int i 0
  @treturn VOLayer the layer; `nil` for any other `i`, with
  "VO SD layer id is out of range, valid is [0,1)" on standard error
  */
  static RefCountedObjectPtr<VOLayer> GetSDLayer(int i);
  /*** Virtual layer `i`: layer i + 4.
  @function GetVirtualLayer
  @static
  @int i 0 to 3
  @treturn VOLayer the layer; `nil` out of range, with
  "VO virtual layer id is out of range, valid is [0,4)" on standard error
  */
  static RefCountedObjectPtr<VOLayer> GetVirtualLayer(int i);
  /*** Cascade layer `i`: layer i + 8.
  @function GetCasLayer
  @static
  @int i 0 or 1
  @treturn VOLayer the layer; `nil` out of range, with
  "VO cascade layer id is out of range, valid is [0,2)" on standard error
  */
  static RefCountedObjectPtr<VOLayer> GetCasLayer(int i);
  /*** Closes the module's file descriptors (`HI_MPI_VO_CloseFd`).
  @function CloseFd
  @static
  @treturn int 0, or the platform's error code (negative)
  */
  static int CloseFd() { return HI_MPI_VO_CloseFd(); }
  /*** The write-back unit, the same object on every call (made on the first).
  @function GetWBC
  @static
  @int id 0
  @treturn VOWbc the write-back unit; `nil` for any other `id`, with
  "VO WBC id is out of range, valid is [0,1)" on standard error
  @usage local wbc = Tessel.VO.GetWBC(0)
  */
  static RefCountedObjectPtr<VOWbc> GetWBC(int id);
};

// Registers VOChannel, then VOWbc (vo_channel.cpp, vo_wbc.cpp).
void registerOutputChannels(lua_State* L);
void registerWriteBack(lua_State* L);

// A typed getter of one unsigned 32-bit value: the value, or the platform's
// code, which reads as a large number.
template <class Call>
HI_U32 valueOrCode(Call&& call) {
  HI_U32 value = 0;
  HI_S32 rc = call(&value);
  return rc == HI_SUCCESS ? value : static_cast<HI_U32>(rc);
}

}  // namespace Tessel
