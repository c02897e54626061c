// Video capture: capture devices (the physical input ports) and their capture
// channels, over the HI_MPI_VI_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/common_types.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

// Channel attributes (main and minor), status, and the enumerations they use.
TESSEL_DECLARE_STRUCT(VI_CHN_ATTR_S)
TESSEL_DECLARE_STRUCT(VI_CHN_STAT_S)
TESSEL_DECLARE_ENUM(VI_CAPSEL_E)
TESSEL_DECLARE_ENUM(VI_SCAN_MODE_E)
TESSEL_DECLARE_ENUM(VI_SKIP_MODE_E)

/***
Video capture: `Tessel.VI`, its capture devices and their capture channels.

A capture device is one physical input port: `ConfigMode` sets its interface from one mode name
("BT656", "BT1120", `"D1_4MUX"`, ...), then `Enable` starts it. Its channels are addressed by the
platform's own channel numbers (on this chip channel c belongs to device c / 4); a channel takes
its attribute table with `SetAttr`, is enabled, and feeds processing or encoding through
`Tessel.SYS.Bind` as a source (`{"VIU", device, channel}` or the channel object).
@module vi
*/
namespace Tessel {

constexpr int kViMaxDevices = 4;
constexpr int kViMaxChannels = 16;

/***
One capture channel, made by `VIDevice:GetChannel`: module "VIU", the number of the device
object it came from, and the platform's channel number.

The object owns the channel's enabling. **When Lua collects the object, the channel is disabled**
(`HI_MPI_VI_DisableChn`), whichever object enabled it, unless `Destroy` ran first: keep the object
in a variable for as long as the channel captures. Typed methods (`Enable`, `SetFrameDepth`, ...)
return the platform's status: 0, or the error code as a negative integer.
@type VIChannel
*/
class VIChannel : public Channel, public RefCountedObjectType<int> {
 public:
  VIChannel(int dev, int chn) : Channel(HI_ID_VIU, dev, chn) {}
  ~VIChannel() override { Destroy(); }

  /*** Disables the channel now (`HI_MPI_VI_DisableChn`) and leaves the object inert: later calls,
  and the collection of the object, disable nothing.
  @function Destroy
  @return nothing
  */
  void Destroy();
  /*** Starts capturing (`HI_MPI_VI_EnableChn`), once the attributes are set and the device enabled.
  @function Enable
  @treturn int 0 or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_VI_EnableChn(m_chnId); }
  /*** Stops capturing (`HI_MPI_VI_DisableChn`). The object still disables the channel again when
  collected; `Destroy` does not.
  @function Disable
  @treturn int 0 or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_VI_DisableChn(m_chnId); }
  /*** Sets the channel attributes (`HI_MPI_VI_SetChnAttr`): capture rectangle, destination size,
  field selection, scan mode, pixel format, mirror and flip, source and destination frame rates.
  A missing key sends 0: pass the whole table, not only the fields to change. An unknown name for
  `enCapSel` or `enScanMode`, or a value of another type, sends the value past the last one, which
  the platform refuses. "Attributes parse error" does not name the field that failed to convert
  (`stCapRect` or `stDestSize` short of a number, say).
  @function SetAttr
  @tparam VI_CHN_ATTR_S attrs
  @return `true`, or `nil` and "Invalid attrs" (not a table), "Attributes parse error", or
  "Set channel attributes fail" with the code
  @usage assert(chn:SetAttr{stCapRect = {0, 0, 1920, 1080}, stDestSize = {1920, 1080},
  enCapSel = "BOTH", enScanMode = "PROGRESSIVE", enPixFormat = "YUV_SEMIPLANAR_420",
  s32SrcFrameRate = 30, s32DstFrameRate = 30})
  */
  int SetAttr(lua_State* L);
  /*** Reads the channel attributes (`HI_MPI_VI_GetChnAttr`). On a platform failure
  it answers **a single nil, without a message**: `Query` gives the platform's code. A field
  selection or scan mode without a name reads back as an absent key, which sends 0 when the table
  is handed in again. A table that does not convert writes to standard error, reported **under
  the name "Query"**, not "GetAttr", `"Conversion VI_CHN_ATTR_S to lua table fail! ERROR: "` and
  the reason, and answers `nil` too.
  @function GetAttr
  @treturn VI_CHN_ATTR_S the attributes, or a single `nil`
  */
  int GetAttr(lua_State* L);
  /*** Sets the attributes of the channel's second (minor) output (`HI_MPI_VI_SetChnMinorAttr`),
  in the table form of `SetAttr`, and with its failure texts.
  @function SetMinorAttr
  @tparam VI_CHN_ATTR_S attrs
  @return `true`, or `nil` and "Invalid attrs", "Attributes parse error", or
  "Set channel attributes fail" with the code
  */
  int SetMinorAttr(lua_State* L);
  /*** Reads the minor attributes (`HI_MPI_VI_GetChnMinorAttr`). On a platform failure (none
  set, for instance) it answers **a single nil, without a message**. A table that does not convert
  writes `"Conversion VI_CHN_ATTR_S to lua table fail! ERROR: "` and the reason to standard error,
  and answers `nil` too.
  @function GetMinorAttr
  @treturn VI_CHN_ATTR_S the attributes, or a single `nil`
  */
  int GetMinorAttr(lua_State* L);
  /*** Drops the minor attributes (`HI_MPI_VI_ClearChnMinorAttr`).
  @function ClearMinorAttr
  @treturn int 0 or the platform's error code (negative)
  */
  int ClearMinorAttr() { return HI_MPI_VI_ClearChnMinorAttr(m_chnId); }
  /*** Sets which frames are skipped (`HI_MPI_VI_SetSkipMode`): "NONE" (also "NO"), "YES" or
  "4TO2", in any case, or the platform's number. Any other string sends 3, which the platform
  refuses.
  @function SetSkipMode
  @tparam string|int mode
  @return `true`, or `nil` and "Invalid skip mode" (neither string nor number), or
  "Fail to set skip mode" with the code
  */
  int SetSkipMode(lua_State* L);
  /*** Reads the skip mode (`HI_MPI_VI_GetSkipMode`). Its failure message carries **no platform
  code**.
  @function GetSkipMode
  @treturn string "NONE", "YES" or "4TO2"; a single `nil` for a value without a name; or `nil` and
  "Fail to get skip mode"
  */
  int GetSkipMode(lua_State* L);
  /*** Enables the channel's interrupt (`HI_MPI_VI_EnableChnInterrupt`).
  @function EnableInterrupt
  @treturn int 0 or the platform's error code (negative)
  */
  int EnableInterrupt() { return HI_MPI_VI_EnableChnInterrupt(m_chnId); }
  /*** Disables the channel's interrupt (`HI_MPI_VI_DisableChnInterrupt`).
  @function DisableInterrupt
  @treturn int 0 or the platform's error code (negative)
  */
  int DisableInterrupt() { return HI_MPI_VI_DisableChnInterrupt(m_chnId); }
  /*** Sets how many captured frames the channel keeps for the user (`HI_MPI_VI_SetFrameDepth`).
  @function SetFrameDepth
  @int depth 0 to 8
  @treturn int 0 or the platform's error code (negative)
  */
  int SetFrameDepth(HI_U32 depth) { return HI_MPI_VI_SetFrameDepth(m_chnId, depth); }
  /*** Takes the channel's next captured picture (`HI_MPI_VI_GetFrame`), lent until the frame is
  released (`HI_MPI_VI_ReleaseFrame`). The platform lends pictures only once the frame depth is
  set (`SetFrameDepth`), and no more than that depth at a time.
  @function GetFrame
  @int[opt=-1] timeout milliseconds to wait for a picture: -1 as long as it takes, 0 not at all;
  a value that is no integer raises
  @treturn VideoFrame the picture, or `nil` and "Fail to get VI frame" with the code
  */
  int GetFrame(lua_State* L);
  /*** Reads the frame depth (`HI_MPI_VI_GetFrameDepth`). **The answer is the depth or the
  platform's error code**: a negative number is a failure.
  @function GetFrameDepth
  @treturn int the depth, or the platform's error code (negative)
  */
  int GetFrameDepth();
  /*** Sets the picture shown while there is no input (`HI_MPI_VI_SetUserPic`). Only the key
  `u32BgColor` is read, into the background-colour member; every other field is 0. Note that **the
  picture mode is sent as 0, a picture in a buffer**, not the background-colour mode, and
  `enUsrPicMode` in the table is not read: the platform takes the colour for the width of a
  picture without height or address, and refuses it (the simulator answers "Set Usr Pic Bg fail"
  with the code A0108003). This method cannot show a colour.
  @function SetUserPic
  @tparam VI_USERPIC_ATTR_S pic `{u32BgColor = 0xRRGGBB}`
  @return `true`, or `nil` and "Invalid attrs" (not a table) or "Set Usr Pic Bg fail" with the code
  */
  int SetUserPic(lua_State* L);
  /*** Shows the user picture instead of the input (`HI_MPI_VI_EnableUserPic`).
  @function EnableUserPic
  @treturn int 0 or the platform's error code (negative)
  */
  int EnableUserPic() { return HI_MPI_VI_EnableUserPic(m_chnId); }
  /*** Shows the input again (`HI_MPI_VI_DisableUserPic`).
  @function DisableUserPic
  @treturn int 0 or the platform's error code (negative)
  */
  int DisableUserPic() { return HI_MPI_VI_DisableUserPic(m_chnId); }
  /*** The channel's file descriptor (`HI_MPI_VI_GetFd`).
  @function GetFd
  @treturn int the descriptor, or the platform's error code (negative)
  */
  int GetFd() { return HI_MPI_VI_GetFd(m_chnId); }
  /*** Placeholder: accepts anything and calls nothing.
  @function GetLuma
  @return a single `nil`
  */
  int GetLuma(lua_State* L);
  /*** Reads the channel's status (`HI_MPI_VI_Query`).
  @function Query
  @treturn VI_CHN_STAT_S `bEnable`, `u32IntCnt`, `u32FrmRate`, `u32LostInt`, `u32VbFail`,
  `u32PicWidth`, `u32PicHeight`, `u32AutoDisInt`; or `nil` and "Fail to query channel status" with
  the code
  */
  int Query(lua_State* L);
  /*** Sets the rotation (`HI_MPI_VI_SetRotate`). Up to 3 the argument is the platform's rotation
  code (0 to 3; negative numbers are passed on too); 4 to 270 are degrees, taken up to the next
  quarter turn; above 270 nothing is called. **The answer is 1 or -1, not the platform's code.**
  @function SetRotate
  @int degrees
  @treturn int 1 when the platform took it, -1 when it refused or nothing was called
  @usage assert(chn:SetRotate(90) == 1)
  */
  int SetRotate(int degrees);
  /*** Reads the rotation (`HI_MPI_VI_GetRotate`). **The answer is the platform's code, not
  degrees** (after `SetRotate(90)` it is 1), and **a failure is not reported**: the answer is then
  0, as for no rotation.
  @function GetRotate
  @treturn int 0, 1, 2 or 3 (none, 90, 180, 270 degrees)
  */
  int GetRotate();

 private:
  bool m_enabled = true;
};

/***
One capture device, made by `Tessel.VI.GetDevice`.

Dropping a device object undoes the device. **When Lua collects any device object, the device is
disabled** (`HI_MPI_VI_DisableDev`), whether or not this object enabled it: a second object for the
same device, once dropped, stops the first one's capture. Keep one object per device, in a
variable, for as long as it captures, and let its channel objects go first (the platform keeps a
device with enabled channels).
@type VIDevice
*/
class VIDevice : public RefCountedObjectType<int> {
 public:
  explicit VIDevice(int dev) : m_devId(dev) {}
  ~VIDevice() override { HI_MPI_VI_DisableDev(m_devId); }

  /*** The module's number of channels per device: 16. Nothing checks it, and it is not the
  chip's count (4 ways per device, 35 channel numbers in all).
  @tfield int MaxChannels
  */
  int get_MaxChannels() const { return kViMaxChannels; }
  /*** Starts the device (`HI_MPI_VI_EnableDev`), once `ConfigMode` has set its attributes.
  @function Enable
  @treturn int 0 or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_VI_EnableDev(m_devId); }
  /*** Stops the device (`HI_MPI_VI_DisableDev`), once its channels are disabled.
  @function Disable
  @treturn int 0 or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_VI_DisableDev(m_devId); }
  /*** An object for capture channel `chn`: no range check and no platform call. The number is
  the platform's channel number, not an index within the device. The object disables the channel
  when Lua collects it (see `VIChannel`).
  @function GetChannel
  @int chn channel number
  @treturn VIChannel the channel
  @usage local chn = dev:GetChannel(0)
  */
  RefCountedObjectPtr<VIChannel> GetChannel(int chn) { return new VIChannel(m_devId, chn); }
  /*** Sets the device attributes from one interface-mode name (`HI_MPI_VI_SetDevAttr`), case
  ignored: "BT656", "BT601", "CAMERA", "BT1120", `"BT1120_INTERLEAVED"`, or `"D1_4MUX"`,
  `"D1_2MUX"`, `"D1_1MUX"` (BT.656 with four, two or one ways). The component mask follows the
  device number modulo 4 (devices 0 and 2 take the top byte lane, 1 the second, 3 the lowest);
  "BT1120" adds the second byte lane. The AD channels are -1; synchronisation, input data type and
  data reversal stay 0. The device must be disabled.
  @function ConfigMode
  @string mode the interface mode
  @tparam[opt] table options `YUVSeq` ("UYVY" or "VUVU", "VYUY" or "UVUV", "YUYV", "YVYU") and
  `ClkEdge` (`"SINGLE_UP"`, `"SINGLE_DOWN"`, "DOUBLE"), case ignored; a missing key, another type
  or an unknown name sends 0
  @return `true`, or `nil` and "Invalid VIN mode" (not a string, or no such mode), or
  "Fail to set device attributes" with the code
  @usage assert(dev:ConfigMode("BT1120", {YUVSeq = "UYVY", ClkEdge = "SINGLE_UP"}))
  */
  int ConfigMode(lua_State* L);

 private:
  int m_devId;
};

/***
The module class `Tessel.VI`: the capture devices.
@type VI
*/
class VI {
 public:
  /*** The module's number of capture devices: 4. Nothing checks it, and it is not the chip's
  count (9).
  @tfield int MaxDevices
  */
  static int get_MaxDevices() { return kViMaxDevices; }
  /*** An object for capture device `dev`: no range check and no platform call; each call makes a
  new object, which disables the device when Lua collects it (see `VIDevice`).
  @function GetDevice
  @static
  @int dev device number
  @treturn VIDevice the device
  @usage local dev = Tessel.VI.GetDevice(0)
  */
  static RefCountedObjectPtr<VIDevice> GetDevice(int dev) { return new VIDevice(dev); }
};

}  // namespace Tessel
