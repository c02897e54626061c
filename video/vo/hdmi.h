// The HDMI transmitter, over the HI_MPI_HDMI_* calls of the platform's HDMI
// library. What it shows is what the display device driving the "HDMI"
// interface produces; here it is only configured.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

// Transmitter attributes and the enumerations they use.
TESSEL_DECLARE_STRUCT(HI_HDMI_ATTR_S)
TESSEL_DECLARE_ENUM(HI_HDMI_VIDEO_FMT_E)
TESSEL_DECLARE_ENUM(HI_HDMI_VIDEO_MODE_E)
TESSEL_DECLARE_ENUM(HI_HDMI_DEEP_COLOR_E)
TESSEL_DECLARE_ENUM(HI_HDMI_SND_INTERFACE_E)
TESSEL_DECLARE_ENUM(HI_HDMI_SAMPLE_RATE_E)
TESSEL_DECLARE_ENUM(HI_HDMI_BIT_DEPTH_E)

/***
The HDMI transmitter: `Tessel.HDMI` and its one interface.

The transmitter shows what the display device whose interface type includes "HDMI" produces
(`Tessel.VO`); here it is only configured. A script takes the interface with
`Tessel.HDMI.GetInterface()`, opens it, chooses a format the monitor supports (read with
`GetSinkCapability`), sets the attributes and starts it. Calls go to the platform's HDMI library,
whose error codes are its own (`HI_ERR_HDMI_*`).
@module hdmi
*/
namespace Tessel {

// The sink's capabilities as a table (output only).
void pushSinkCapability(lua_State* L, const HI_HDMI_SINK_CAPABILITY_S& cap);

/***
The chip's one HDMI interface (number 0), from `Tessel.HDMI.GetInterface`.

Every call of `GetInterface` makes a new object for the same transmitter. **When Lua collects any
interface object, the transmitter is stopped and closed** (`HI_MPI_HDMI_Stop`, then
`HI_MPI_HDMI_Close`, results ignored), also when another object opened and started it: keep one
object in a variable for as long as HDMI output is wanted, and do not drop a second one taken
for a quick look. The operations returning an integer give the platform's status: 0, or its
error code as a negative integer.
@type HDMIInterface
*/
class HDMIInterface : public RefCountedObjectType<int> {
 public:
  explicit HDMIInterface(HI_HDMI_ID_E id) : m_id(id) {}
  ~HDMIInterface() override {
    HI_MPI_HDMI_Stop(m_id);
    HI_MPI_HDMI_Close(m_id);
  }

  /*** Opens the interface (`HI_MPI_HDMI_Open`); no `Init` is needed before.
  @function Open
  @treturn int 0 or the platform's error code
  */
  int Open() { return HI_MPI_HDMI_Open(m_id); }
  /*** Stops the transmitter (`HI_MPI_HDMI_Stop`, result ignored) and closes the interface
  (`HI_MPI_HDMI_Close`).
  @function Close
  @treturn int 0, or the error code of `HI_MPI_HDMI_Close`
  */
  int Close();
  /*** Starts the transmitter (`HI_MPI_HDMI_Start`), after `Open` and usually `SetAttr`.
  @function Start
  @treturn int 0 or the platform's error code
  */
  int Start() { return HI_MPI_HDMI_Start(m_id); }
  /*** Stops the transmitter (`HI_MPI_HDMI_Stop`); it stays open.
  @function Stop
  @treturn int 0 or the platform's error code
  */
  int Stop() { return HI_MPI_HDMI_Stop(m_id); }
  /*** Sets the transmitter attributes (`HI_MPI_HDMI_SetAttr`).

  `enVideoFmt` is a format name ("1080P60", "720P60", "3840x2160@30", ...; any case; "SECAM" and
  `"SECAM_SIN"` both give 17) or a number; `enVidOutMode` "RGB444", "YCBCR422" or "YCBCR444";
  `enDeepColorMode` bits per pixel (24, 30, 36; any other number of 24 or more switches deep
  colour off, a number below 24 is the platform's value itself); `enSoundIntf` "I2S", "SPDIF",
  "HBR" or "DEFAULT" (I2S); `enSampleRate` in hertz and `enBitDepth` in bits, 48000 and 16 when
  the value is not a number. Flags take a boolean or a number (non-zero is true).
  __Absent keys are zero__ (an absent `enSampleRate` is 0, not 48000), and so are the platform's
  members the table has no key for (`eOutCscQuantization` and those after `u83DParam`): to
  change one key, change it in the table `GetAttr` returned.
  Info frames are switched here, with the four `bEnable...InfoFrame` keys.
  @function SetAttr
  @tparam HI_HDMI_ATTR_S attrs
  @return `true`, or `nil` and "Invalid attrs" (not a table), a conversion message
  ("Invalid/unsupported HDMI format", "Invalid HDMI video mode", "Invalid HDMI deep color",
  "Invalid HDMI sound interface"), or "Set HDMI attributes fail" with the code
  @usage hdmi:SetAttr{bEnableHdmi = true, bEnableVideo = true, enVideoFmt = "1080P60",
  enVidOutMode = "RGB444", enDeepColorMode = 255, bEnableAudio = true, enSoundIntf = "I2S",
  enSampleRate = 48000, enBitDepth = 16, bEnableAviInfoFrame = true}
  */
  int SetAttr(lua_State* L);
  /*** Reads the transmitter attributes (`HI_MPI_HDMI_GetAttr`), every key present: formats by
  name (17 as `"SECAM_SIN"`), deep colour in bits per pixel (24, 30, 36, 255). An output mode
  without a name leaves `enVidOutMode` out, and so does a deep colour value without a depth.
  @function GetAttr
  @treturn HI_HDMI_ATTR_S the attributes, or `nil` and "Get HDMI attributes fail" with the code,
  or "Invalid/unsupported HDMI format" for a format without a name
  */
  int GetAttr(lua_State* L);
  /*** What the monitor can show (`HI_MPI_HDMI_GetSinkCapability`).
  `bVideoFmtSupported` is not an array of flags but the names of the supported formats, in
  ascending order; `enNativeVideoFormat` is a name, `u8IDManufactureName` the manufacturer code
  as a string of up to 4 characters; of the audio capabilities only their count
  `u32AudioInfoNum` is given.
  @function GetSinkCapability
  @treturn HI_HDMI_SINK_CAPABILITY_S the capabilities, or `nil` and
  "Get HDMI sink capability fail" with the code, or "Invalid/unsupported HDMI format" (a native
  format without a name)
  @usage for _, fmt in ipairs(hdmi:GetSinkCapability().bVideoFmtSupported) do print(fmt) end
  */
  int GetSinkCapability(lua_State* L);
  /*** Mutes or restores picture and sound (`HI_MPI_HDMI_SetAVMute`). The argument counts by Lua
  truth: `SetAVMute(0)` __mutes__; pass `false` to restore.
  @function SetAVMute
  @bool mute
  @treturn int 0 or the platform's error code
  */
  int SetAVMute(bool mute) { return HI_MPI_HDMI_SetAVMute(m_id, mute ? HI_TRUE : HI_FALSE); }
  /*** Reads the monitor's EDID again (`HI_MPI_HDMI_Force_GetEDID`).
  @function ForceGetEDID
  @treturn string exactly the bytes read (usually 256, zero bytes included; "" when none), or
  `nil` and "Get HDMI EDID fail" with the code
  @usage local edid = assert(hdmi:ForceGetEDID()); print(#edid, edid:byte(1, 8))
  */
  int ForceGetEDID(lua_State* L);
  /*** Sets the deep colour (`HI_MPI_HDMI_SetDeepColor`) in bits per pixel: 24, 30 or 36; any
  other number of 24 or more switches deep colour off, a number below 24 is the platform's
  value itself.
  @function SetDeepColor
  @int bits
  @return `true`, or `nil` and "Invalid HDMI deep color" (not a number), or
  "Set HDMI deep color fail" with the code
  */
  int SetDeepColor(lua_State* L);
  /*** Reads the deep colour (`HI_MPI_HDMI_GetDeepColor`).
  Its failure is reported under the name `SetAttr` (`[@SetAttr: line N - error=...]`).
  @function GetDeepColor
  @treturn int 24, 30, 36, or 255 (off); a single `nil` for a platform value without a depth; or
  `nil` and "Get HDMI deep color fail" with the code
  */
  int GetDeepColor(lua_State* L);

  /*** Placeholder: accepts anything, calls nothing, returns nothing. Info frames are switched
  with the `bEnable...InfoFrame` keys of `SetAttr`.
  @function SetInfoFrame
  */
  /*** Placeholder: accepts anything, calls nothing, returns nothing.
  @function GetInfoFrame
  */
  int Placeholder(lua_State* L) { return 0; }

 private:
  HI_HDMI_ID_E m_id;
};

/***
The module class `Tessel.HDMI`: the interface and the library's tear-down.
@type HDMI
*/
class HDMI {
 public:
  /*** A new object for interface 0 (see `HDMIInterface` on what collecting it does).
  @function GetInterface
  @static
  @int[opt=0] id interface number; anything but a number also gives interface 0
  @treturn HDMIInterface the interface; `nil` for any other number, with
  "Invalid HDMI interface number:1, valid range is [0,1)!" (the number given) on standard error
  @usage local hdmi = Tessel.HDMI.GetInterface()
  */
  static int GetInterface(lua_State* L);
  /*** Placeholder: the HDMI library needs no initialisation step; calls nothing, returns
  nothing.
  @function Init
  @static
  */
  static void Init() {}
  /*** Tears the HDMI library down (`HI_MPI_HDMI_DeInit`), after `Close`.
  @function DeInit
  @static
  @treturn int 0 or the platform's error code
  */
  static int DeInit() { return HI_MPI_HDMI_DeInit(); }
};

}  // namespace Tessel
