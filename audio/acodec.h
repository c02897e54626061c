// The chip's inner audio codec (converters, microphone amplifiers, input and
// I2S selection), driven through requests on its character device.
#pragma once

#include <string>

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/ref_counted.h"

/***
The chip's inner audio codec: `Tessel.ACODEC` and `InnerCodec`.

The codec (analogue converters, microphone amplifiers, input and I2S selection) is driven through
its character device, "/dev/acodec", with one request per setting; values go to the driver as the
script gives them, after the range checks each method names. Set its sample rate and data width
to match the audio devices' attributes (`Tessel.AI`, `Tessel.AO`).
@module acodec
*/
namespace Tessel {

/***
One open descriptor on the codec device, made by `Tessel.ACODEC.CreateInnerCodec` and opened by
`Open`; several objects may open the device at once, each with its own descriptor.

Every method needs the codec open: before `Open` (or after `Close`) the methods returning numbers
give -1 with "ACODEC device is not open!" on standard error, the gain and mute methods `nil` with
"Device is not open". Ownership: **when Lua collects the object its descriptor is closed**; keep
the object for as long as the codec is used.
@type InnerCodec
*/
class InnerCodec : public RefCountedObjectType<int> {
 public:
  explicit InnerCodec(const char* path) : m_path(path) {}
  ~InnerCodec() override { Close(); }

  /*** Opens the device read-write (`open`), not inherited by child processes; an open codec
  answers its descriptor again.
  @function Open
  @treturn int the descriptor, or -1 after "Fail to open audio codec device '/dev/acodec'!" and
  the system's reason ("error detail: ...") on standard error
  @usage local codec = Tessel.ACODEC.CreateInnerCodec(); assert(codec:Open() >= 0)
  */
  int Open();
  /*** Closes the descriptor (`close`); nothing when the codec is not open.
  @function Close
  */
  void Close();
  /*** Resets the codec's registers (request 0x4100).
  @function Reset
  @treturn int the driver's result: 0, or -1 (also when not open)
  */
  int Reset();
  /*** Sets the sample rate of an I2S interface: 8000, 11025 and 12000 send code 24; 16000, 22050
  and 24000 code 25; 32000, 44100 and 48000 code 26. **The interface is chosen by the last
  argument**: "I2S2" (any case) is the second (request 0xC0044135), anything else the first
  (0xC0044106).
  @function SetSampleRate
  @int rate in hertz
  @string[opt] interface "I2S2" for the second interface
  @treturn int the driver's result: 0, or -1; -1 for any other rate, without a request, after
  "Not support sample rate of: 96000" on standard error
  @usage codec:SetSampleRate(8000)
  */
  int SetSampleRate(lua_State* L);
  /*** Sets the data width of an I2S interface: up to 8 bits sends code 0, 9 to 23 code 1, 24 and
  more code 2; no width is refused. The interface is chosen by the last argument as for
  `SetSampleRate` (requests 0xC0044134 for "I2S2", else 0xC0044133).
  @function SetDataWidth
  @int bits
  @string[opt] interface "I2S2" for the second interface
  @treturn int the driver's result: 0, or -1
  */
  int SetDataWidth(lua_State* L);
  /*** Selects the analogue input (request 0xC0044108), by name without regard to case:
  `"MIC_D"` or `"MICIN_D"` (0), `"MIC"` or `"MICIN"` (1), `"MICLINE"` or `"MICLINE_D"` (**both 2**),
  `"LINE"` or `"LINEIN"` (3), `"LINE_D"` or `"LINEIN_D"` (4).
  @function SelectSource
  @string name
  @treturn int the driver's result: 0, or -1; -1 for any other name, without a request, after
  "Invalid audio source of: HDMI" on standard error
  */
  int SelectSource(lua_State* L);
  /*** Connects the ADC to an I2S interface (request 0xC0044132): "I2S2" (any case) sends 1,
  anything else (nothing included) 0.
  @function SelectADCI2S
  @string[opt] interface
  @treturn int the driver's result: 0, or -1
  */
  int SelectADCI2S(lua_State* L);
  /*** Connects the DAC to an I2S interface (request 0xC0044131): "I2S2" (any case) sends 1,
  anything else (nothing included) 0.
  @function SelectDACI2S
  @string[opt] interface
  @treturn int the driver's result: 0, or -1
  */
  int SelectDACI2S(lua_State* L);
  /*** Sets the differential output (request 0xC0044107): "LEFT" sends 0, "RIGHT" 1 (any case),
  anything else 2.
  @function SetOutputDiffMode
  @string[opt] side
  @treturn int the driver's result: 0, or -1
  */
  int SetOutputDiffMode(lua_State* L);
  /*** Sets the input volume (request 0xC0044102).
  @function SetInputVolume
  @int volume -78 to 80
  @treturn int the driver's result: 0, or -1; -1 out of range, without a request, after
  "Input volume gain out of range: 81, valid is [-78,80]" on standard error
  */
  int SetInputVolume(int volume);
  /*** Reads the input volume (request 0xC0044104).
  @function GetInputVolume
  @treturn int the volume; **-1 when not open and 65535 when the request fails** (after
  "Fail to get audio input volume" on standard error), in place of a volume
  */
  int GetInputVolume();
  /*** Sets the output volume (request 0xC0044103).
  @function SetOutputVolume
  @int volume -121 to 6
  @treturn int the driver's result: 0, or -1; -1 out of range, without a request, after
  "Output volume gain out of range: 7, valid is [-121,6]" on standard error
  */
  int SetOutputVolume(int volume);
  /*** Reads the output volume (request 0xC0044105).
  @function GetOutputVolume
  @treturn int the volume; **-1 when not open and 65535 when the request fails** (after
  "Fail to get audio output volume" on standard error), in place of a volume
  */
  int GetOutputVolume();
  /*** Sets the microphone gains (requests 0xC004410C left, 0xC004410D right). A side given a
  number is sent as it is; any other value leaves that side alone.
  @function SetMICGain
  @int[opt] left
  @int[opt] right
  @treturn bool **whether the last request sent succeeded** (true when none was sent: a failed
  left side is hidden by a successful right one); `nil` when not open
  */
  int SetMICGain(lua_State* L);
  /*** Reads the microphone gains (requests 0xC004411C, 0xC004411D).
  @function GetMICGain
  @treturn int left gain, or `nil` when its request fails (the right is then not asked)
  @treturn int right gain, or `nil` when its request fails; a single `nil` when not open
  */
  int GetMICGain(lua_State* L);
  /*** Sets the DAC gains as gain records (requests 0xC008410F left, 0xC0084110 right): a number
  sends `{gain, 0}`, "MUTE" (any case) sends `{0, 1}`; any other value leaves that side alone.
  @function SetDACGain
  @tparam[opt] int|string left
  @tparam[opt] int|string right
  @treturn bool whether the last request sent succeeded (true when none was sent); `nil` when not
  open
  @usage codec:SetDACGain("MUTE", 3)
  */
  int SetDACGain(lua_State* L);
  /*** Reads the DAC gains (requests 0xC008411E, 0xC008411F).
  @function GetDACGain
  @treturn int|string left gain, "MUTE" when muted, or `nil` when its request fails (the right is
  then not asked)
  @treturn int|string right gain, "MUTE", or `nil`; a single `nil` when not open
  */
  int GetDACGain(lua_State* L);
  /*** Sets the ADC gains as gain records (requests 0xC0084111 left, 0xC0084112 right), as
  `SetDACGain` does.
  @function SetADCGain
  @tparam[opt] int|string left
  @tparam[opt] int|string right
  @treturn bool whether the last request sent succeeded (true when none was sent); `nil` when not
  open
  */
  int SetADCGain(lua_State* L);
  /*** Reads the ADC gains (requests 0xC0084120, 0xC0084121), as `GetDACGain` does.
  @function GetADCGain
  @treturn int|string left gain, "MUTE", or `nil`
  @treturn int|string right gain, "MUTE", or `nil`; a single `nil` when not open
  */
  int GetADCGain(lua_State* L);
  /*** Mutes or unmutes the microphones (requests 0xC0044113 left, 0xC0044114 right): a number is
  sent as it is, a boolean as 1 or 0; any other value leaves that side alone.
  @function SetMICMute
  @tparam[opt] bool|int left
  @tparam[opt] bool|int right
  @treturn bool whether the last request sent succeeded (true when none was sent); `nil` when not
  open
  */
  int SetMICMute(lua_State* L);
  /*** Mutes or unmutes the DAC sides (requests 0xC0044116 left, 0xC0044117 right), as
  `SetMICMute` does.
  @function SetDACMute
  @tparam[opt] bool|int left
  @tparam[opt] bool|int right
  @treturn bool whether the last request sent succeeded (true when none was sent); `nil` when not
  open
  */
  int SetDACMute(lua_State* L);
  /*** Mutes the DAC softly (request 0xC0044118, value 1).
  @function DacSoftMute
  @treturn int the driver's result: 0, or -1
  */
  int DacSoftMute();
  /*** Ends the soft mute (request 0xC0044119). It sends 1 as well: the request, not the value,
  tells unmuting from muting.
  @function DacSoftUnmute
  @treturn int the driver's result: 0, or -1
  */
  int DacSoftUnmute();

 private:
  // Answers whether the codec is open; if not, writes the diagnostic line
  // under the method's name.
  bool open(const char* method, const char* text) const;
  int sendInt(const char* method, unsigned long request, int value);

  std::string m_path;
  int m_fd = -1;
};

/***
The module class `Tessel.ACODEC`: codec objects.
@type ACODEC
*/
class ACODEC {
 public:
  /*** A new codec object for the device at `path` (or "/dev/acodec"). **The device is not opened
  here**: call `Open`, and check its result.
  @function CreateInnerCodec
  @static
  @string[opt] path the device path, taken from the last argument when it is a string
  @treturn InnerCodec the codec, not yet open
  @usage local codec = Tessel.ACODEC.CreateInnerCodec()
  */
  static int CreateInnerCodec(lua_State* L);
};

}  // namespace Tessel
