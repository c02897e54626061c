// Audio input (AI) and output (AO): devices and their channels, over the
// HI_MPI_AI_* and HI_MPI_AO_* calls, and the audio conversions both share.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

// Device attributes, the audio enumerations, input channel parameters and
// voice-quality enhancement.
TESSEL_DECLARE_STRUCT(AIO_ATTR_S)
TESSEL_DECLARE_ENUM(AUDIO_SAMPLE_RATE_E)
TESSEL_DECLARE_ENUM(AUDIO_BIT_WIDTH_E)
TESSEL_DECLARE_ENUM(AIO_MODE_E)
TESSEL_DECLARE_ENUM(AUDIO_SOUND_MODE_E)
TESSEL_DECLARE_ENUM(AUDIO_TRACK_MODE_E)
TESSEL_DECLARE_ENUM(VQE_WORKSTATE_E)
TESSEL_DECLARE_ENUM(AUDIO_HPF_FREQ_E)
TESSEL_DECLARE_STRUCT(AI_CHN_PARAM_S)
TESSEL_DECLARE_STRUCT(AI_VQE_CONFIG_S)
TESSEL_DECLARE_STRUCT(AUDIO_HPF_CONFIG_S)
TESSEL_DECLARE_STRUCT(AUDIO_AGC_CONFIG_S)

/***
Audio input and output: `Tessel.AI` and `Tessel.AO`, their devices and channels.

A device is configured with its public attributes (`SetPubAttr`, an `AIO_ATTR_S` table) while it is
disabled, then enabled; its channels are enabled after it. An input channel feeds an output channel
through `Tessel.SYS.Bind(aiChannel, aoChannel)`. Sample rates are numbers in hertz (8000 to 48000),
bit widths numbers of bits (8, 16, 24), work, sound and track modes names (`"I2S_MASTER"`,
`"MONO"`, `"BOTH_LEFT"`) matched without regard to case, or the platform's numbers.

Mind the lifetime: **nothing is undone when Lua collects an audio object**; devices and channels
stay enabled, so disable them yourself. The inner codec's analogue side is set up separately
(`Tessel.ACODEC`), at the same sample rate and width.
@module aio
*/

/***
The public attributes of an audio device, for `SetPubAttr` of input and output devices. The four
modes and rates are required; the counts may be left out (0). A value that is not a table fails
with `"AIO_ATTR_S must be a table for structure convension"`. Read back, the bit width is a number
of bits (0 for a value that is none of the three) and the modes are names; **a mode without a name
is left out**, so such a table is refused if handed in again.
@table AIO_ATTR_S
@int enSamplerate in hertz: 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100 or 48000; any
other value, or none, fails with "Invalid audio sample rate"
@int enBitwidth in bits: 8, 16 or 24; **a number below 3 is taken as the platform's own value**
(0, 1, 2 for 8, 16, 24 bits) and any other number is stored without complaint as an invalid width;
a value that is not a number fails with "Invalid audio bitwidth"
@tparam string|int enWorkmode "I2S_MASTER", "I2S_SLAVE", "PCM_SLAVE_STD", "PCM_SLAVE_NSTD",
"PCM_MASTER_STD" or "PCM_MASTER_NSTD" (any case; the short "PCM_SLAVE" and "PCM_MASTER" are
refused), or the platform's number; otherwise "Invalid audio IO mode"
@tparam string|int enSoundmode "MONO" or "STEREO" (any case), or the platform's number; **another
name is stored without complaint** as an invalid mode; a value neither string nor number fails with
"Invalid audio sound mode"
@int[opt] u32EXFlag whether 8-bit samples are extended to 16 bits
@int[opt] u32FrmNum frames the device buffers
@int[opt] u32PtNumPerFrm samples per frame
@int[opt] u32ChnCnt channels; the device's `MaxEnabledChannels` after `SetPubAttr` (halved in
stereo)
@int[opt] u32ClkChnCnt channels the clock is shared by
@int[opt] u32ClkSel clock selection
*/

/***
The voice quality enhancement of an input channel, for `AIChannel:SetVqeAttr`. The switches,
the work sample rate and the frame size may be left out (0); the echo, noise, recording-noise,
equaliser and dynamic-range configurations are not part of the table: they go as zero and are
not read back. A value that is not a table fails with
`"AI_VQE_CONFIG_S must be a table for structure convension"`.
Read back, the switches are numbers, `enWorkstate` is **a number (0 to 2), not a name** (left out
for another value), and the keys of the filter and gain sub-tables begin with a blank.
@table AI_VQE_CONFIG_S
@int[opt] bHpfOpen 1 to switch the high-pass filter on; the switches are numbers, and
__a boolean is ignored__ (0, off)
@int[opt] bAecOpen echo cancellation
@int[opt] bAnrOpen noise reduction
@int[opt] bRnrOpen recording noise reduction
@int[opt] bAgcOpen automatic gain control
@int[opt] bEqOpen equaliser
@int[opt] bHdrOpen dynamic-range processing
@int[opt] s32WorkSampleRate the sample rate the enhancement works at, in hertz
@int[opt] s32FrameSample samples per frame
@tparam string|int enWorkstate "COMMON", "MUSIC" or "NOISY" (any case), or the platform's number;
required: a missing value or another name fails with "Invalid audio vqe workstate mode"
@tparam[opt] AUDIO_HPF_CONFIG_S stHpfCfg the high-pass filter
@tparam[opt] AUDIO_AGC_CONFIG_S stAgcCfg the automatic gain control
*/

/***
The high-pass filter of the voice quality enhancement (`stHpfCfg` of `AI_VQE_CONFIG_S`). A value
that is not a table leaves the filter zero without complaint. **Read back, the keys begin with a
blank**: `" bUsrMode"` (0 or 1) and `" enHpfFreq"`, so the table read back is not one to hand in
again; build that one with the plain keys.
@table AUDIO_HPF_CONFIG_S
@tparam[opt] bool|int bUsrMode true (or a non-zero number) to use `enHpfFreq` rather than the
default; any other value fails with "Invalid audio vqe workstate mode" (sic: the work-state text)
@int[opt] enHpfFreq the corner frequency in hertz, 80, 120 or 150 (the platform judges the
number); a value that is not a number fails with "Invalid audio hpf freq model"
*/

/***
The automatic gain control of the voice quality enhancement (`stAgcCfg` of `AI_VQE_CONFIG_S`). A
value that is not a table leaves it zero without complaint; the numbers are copied when they are
numbers and otherwise left 0, and the `s8` ones are stored in 8 bits. **Read back, the keys begin
with a blank** (`" bUsrMode"` as 0 or 1, `" s8TargetLevel"` ...), so the table read back is not one
to hand in again; build that one with the plain keys.
@table AUDIO_AGC_CONFIG_S
@tparam[opt] bool|int bUsrMode true (or a non-zero number) to use the values below rather than the
defaults; any other value fails with "Invalid audio agc config mode"
@int[opt] s8TargetLevel the level to reach, in dB
@int[opt] s8NoiseFloor the noise floor, in dB
@int[opt] s8MaxGain the largest gain, in dB
@int[opt] s8AdjustSpeed how fast the gain follows
@int[opt] s8ImproveSNR
@int[opt] s8UseHighPassFilt
@int[opt] s8OutputMode
@int[opt] s16NoiseSupSwitch noise suppression switch
@int[opt] s32Reserved
*/
namespace Tessel {

constexpr int kAudioMaxDevices = 2;
constexpr int kAudioMaxChannels = 16;

// Throws the conversion's text unless rate is a sample rate the platform has.
void check_AUDIO_SAMPLE_RATE_E(lua_Integer rate);

// Resampling to or from rate through enable(rate): -1 without a platform
// call, after a diagnostic line under EnableReSmp, when rate is no sample rate.
template <class Enable>
int enableResampling(lua_Integer rate, Enable&& enable) {
  try {
    check_AUDIO_SAMPLE_RATE_E(rate);
  } catch (MPPConvException& e) {
    TESSEL_DIAG_AS("EnableReSmp", "Convert sample rate error:" << e.m_msg);
    return -1;
  }
  return enable(static_cast<AUDIO_SAMPLE_RATE_E>(rate));
}

// The channels a device enables with attr: its channel count, halved in
// stereo.
inline int enabledChannels(const AIO_ATTR_S& attr) {
  return static_cast<int>(attr.enSoundmode == AUDIO_SOUND_MODE_STEREO ? attr.u32ChnCnt / 2 : attr.u32ChnCnt);
}

/***
One audio input channel (module "AI", id 21; device and channel numbers as given to
`AIDevice:GetChannel`), with its resampling and voice quality enhancement (VQE).

The object only names the channel: **when Lua collects it the channel stays enabled**.
@type AIChannel
*/
class AIChannel : public Channel, public RefCountedObjectType<int> {
 public:
  AIChannel(int dev, int chn) : Channel(HI_ID_AI, dev, chn) {}

  /*** Enables the channel (`HI_MPI_AI_EnableChn`), once its device is enabled.
  @function Enable
  @treturn int 0 or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_AI_EnableChn(m_devId, m_chnId); }
  /*** Disables the channel (`HI_MPI_AI_DisableChn`).
  @function Disable
  @treturn int 0 or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_AI_DisableChn(m_devId, m_chnId); }
  /*** Sets the channel parameters (`HI_MPI_AI_SetChnParam`).
  @function SetParam
  @tparam AI_CHN_PARAM_S param `{u32UsrFrmDepth = n}`, the depth of the user frame queue
  @return `true`, or `nil` and "Invalid attrs" (not a table) or "Set channel attributes fail" with
  the code
  @usage chn:SetParam{u32UsrFrmDepth = 4}
  */
  int SetParam(lua_State* L);
  /*** Reads the channel parameters (`HI_MPI_AI_GetChnParam`).
  @function GetParam
  @treturn AI_CHN_PARAM_S `{u32UsrFrmDepth = n}`, or `nil` and "Get AI channel parameter fail" with
  the code
  */
  int GetParam(lua_State* L);
  /*** Resamples the channel's frames to another rate (`HI_MPI_AI_EnableReSmp`).
  @function EnableReSmp
  @int rate the output rate in hertz: 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100 or 48000
  @treturn int 0 or the platform's error code (negative); -1 for any other rate, without calling
  the platform, after "Convert sample rate error:Invalid audio sample rate" on standard error
  @usage chn:EnableReSmp(16000)
  */
  int EnableReSmp(lua_Integer rate);
  /*** Stops resampling (`HI_MPI_AI_DisableReSmp`).
  @function DisableReSmp
  @treturn int 0 or the platform's error code (negative)
  */
  int DisableReSmp() { return HI_MPI_AI_DisableReSmp(m_devId, m_chnId); }
  /*** Sets the voice quality enhancement (`HI_MPI_AI_SetVqeAttr`), with the output device and
  channel of the same numbers as echo reference.
  @function SetVqeAttr
  @tparam AI_VQE_CONFIG_S cfg the switches `bHpfOpen`, `bAecOpen`, `bAnrOpen`, `bRnrOpen`,
  `bAgcOpen`, `bEqOpen`, `bHdrOpen` (0 or 1), `s32WorkSampleRate`, `s32FrameSample`, `enWorkstate`
  ("COMMON", "MUSIC", "NOISY"; required), `stHpfCfg` (`bUsrMode`, `enHpfFreq` 80, 120 or 150 as a
  number) and `stAgcCfg` (`bUsrMode`, `s8TargetLevel`, `s8NoiseFloor`, `s8MaxGain`, `s8AdjustSpeed`,
  `s8ImproveSNR`, `s8UseHighPassFilt`, `s8OutputMode`, `s16NoiseSupSwitch`, `s32Reserved`).
  The echo, noise, equaliser and dynamic-range configurations are not read: they go as zero
  @return `true`, or `nil` and a conversion message
  (`"AI_VQE_CONFIG_S must be a table for structure convension"`, "Invalid audio vqe workstate mode",
  also for a `stHpfCfg.bUsrMode` that is neither boolean nor number, "Invalid audio agc config mode",
  "Invalid audio hpf freq model"), or "\*\*\*\*\*\* Set Vqe Attr fail" with the code
  @usage assert(chn:SetVqeAttr{bHpfOpen = 1, s32WorkSampleRate = 8000, s32FrameSample = 320,
  enWorkstate = "COMMON", stHpfCfg = {bUsrMode = true, enHpfFreq = 150}})
  */
  int SetVqeAttr(lua_State* L);
  /*** Reads the voice quality enhancement (`HI_MPI_AI_GetVqeAttr`). Mind the keys: **in the
  filter and gain sub-tables they begin with a blank** (`stHpfCfg[" bUsrMode"]`,
  `stHpfCfg[" enHpfFreq"]`, `stAgcCfg[" s8TargetLevel"]` ...), so a table read back is not a table to
  hand to `SetVqeAttr` again: build that one with the plain keys. `enWorkstate` comes back as a
  number (0 to 2).
  @function GetVqeAttr
  @treturn AI_VQE_CONFIG_S the configuration, or `nil` and "\*\*\*\*\*\* Get Vqe Attr fail" with the
  code
  */
  int GetVqeAttr(lua_State* L);
  /*** Switches the voice quality enhancement on (`HI_MPI_AI_EnableVqe`), after `SetVqeAttr`.
  @function EnableVqe
  @return `true`; **on failure a single result, the message**
  "\*\*\*\*\*\*\*\*\*\*\*\*\* Enable vqe failed" with the code (no `nil` before it): test the result with
  `== true`
  */
  int EnableVqe(lua_State* L);
  /*** Switches the voice quality enhancement off (`HI_MPI_AI_DisableVqe`).
  @function DisableVqe
  @return `true`; **on failure a single result, the message of the enabling path**,
  "\*\*\*\*\*\*\*\*\*\*\*\*\* Enable vqe failed" with the code: test the result with `== true`
  */
  int DisableVqe(lua_State* L);
  /*** Sets the volume of the enhanced signal (`HI_MPI_AI_SetVqeVolume`). The name is **spelled
  "Veq"**, letters transposed, as scripts have always called it.
  @function SetVeqVolume
  @int db the volume in decibels
  @treturn int 0 or the platform's error code (negative)
  */
  int SetVeqVolume(int db) { return HI_MPI_AI_SetVqeVolume(m_devId, m_chnId, db); }
  /*** Reads the volume of the enhanced signal (`HI_MPI_AI_GetVqeVolume`); spelled "Veq" as well.
  @function GetVeqVolume
  @treturn int **the volume, or the platform's error code in its place** when the call fails (a
  large negative number)
  */
  int GetVeqVolume();
  /*** Takes the next captured frame (`HI_MPI_AI_GetFrame`), copies its samples and gives it back
  at once (`HI_MPI_AI_ReleaseFrame`, exactly once, before anything that can raise is built). The
  channel needs a user frame depth (`SetParam{u32UsrFrmDepth = n}`) for frames to wait for it.
  @function GetFrame
  @int[opt=-1] timeout milliseconds to wait for a frame: -1 as long as it takes, 0 not at all; a
  value that is no integer raises
  @treturn string the samples as the platform gives them, interleaved for a stereo frame (left,
  right): 16-bit little-endian samples for the usual width
  @treturn table `pts` (microseconds), `seq`, `bitWidth` (8, 16 or 24, as in `AIO_ATTR_S`),
  `soundMode` ("MONO" or "STEREO"), `samples` (per channel). On failure the results are `nil` and
  "Fail to get AI frame" with the code (A015800E, an empty buffer, when no frame came in time),
  "Fail to release AI frame" with the code (the samples are then lost), or "Invalid AI frame" for a
  frame whose samples cannot be read (given back all the same)
  @usage local pcm, info = chn:GetFrame(1000)
  if pcm then file:write(pcm) end
  */
  int GetFrame(lua_State* L);
  /*** The channel's file descriptor (`HI_MPI_AI_GetFd`), to wait for frames with `select`.
  @function GetFd
  @treturn int the descriptor, or the platform's error code (negative)
  */
  int GetFd() { return HI_MPI_AI_GetFd(m_devId, m_chnId); }
};

/***
One audio input device, made by `Tessel.AI.GetDevice`.

The object remembers how many channels its own last accepted `SetPubAttr` enables: **another
object for the same device does not share that count** (it reads 0 until its own `SetPubAttr`
succeeds). **When Lua collects the object the device stays enabled**: call `Disable` yourself.
@type AIDevice
*/
class AIDevice : public RefCountedObjectType<int> {
 public:
  explicit AIDevice(int dev) : m_devId(dev) {}

  /*** The number of channels of a device: 16.
  @tfield int MaxChannels
  */
  int get_MaxChannels() const { return kAudioMaxChannels; }
  /*** The channels this object's last accepted attributes enable: `u32ChnCnt`, halved in stereo;
  0 before `SetPubAttr` succeeded on this object.
  @tfield int MaxEnabledChannels
  */
  int get_MaxEnabledChannels() const { return m_enabled; }
  /*** Enables the device (`HI_MPI_AI_Enable`), once it has its attributes.
  @function Enable
  @treturn int 0 or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_AI_Enable(m_devId); }
  /*** Disables the device (`HI_MPI_AI_Disable`); disable its channels first.
  @function Disable
  @treturn int 0 or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_AI_Disable(m_devId); }
  /*** Sets the public attributes (`HI_MPI_AI_SetPubAttr`) while the device is disabled; on
  success this object's `MaxEnabledChannels` becomes the channels they enable.
  Lenient on purpose: **a bit width other than 8, 16 or 24 and an unknown sound-mode name are sent
  as the platform's end marker without complaint**, for the platform to refuse (a width below 3 is
  taken as the platform's own value); the second spellings `"PCM_SLAVE"` and `"PCM_MASTER"` are
  not accepted.
  @function SetPubAttr
  @tparam AIO_ATTR_S attrs `enSamplerate` (hertz), `enBitwidth` (bits), `enWorkmode`
  (`"I2S_MASTER"`, `"I2S_SLAVE"`, `"PCM_SLAVE_STD"`, `"PCM_SLAVE_NSTD"`, `"PCM_MASTER_STD"`,
  `"PCM_MASTER_NSTD"`), `enSoundmode` ("MONO", "STEREO"), all required; `u32EXFlag`, `u32FrmNum`,
  `u32PtNumPerFrm`, `u32ChnCnt`, `u32ClkChnCnt`, `u32ClkSel`, 0 when absent
  @return `true`, or `nil` and "Invalid attrs" (not a table), a conversion message
  ("Invalid audio sample rate", "Invalid audio bitwidth", "Invalid audio IO mode",
  "Invalid audio sound mode"), or "Set device pub attributes fail" with the code
  @usage assert(Tessel.AI.GetDevice(0):SetPubAttr{enSamplerate = 8000, enBitwidth = 16,
  enWorkmode = "I2S_MASTER", enSoundmode = "MONO", u32FrmNum = 30, u32PtNumPerFrm = 320, u32ChnCnt = 2})
  */
  int SetPubAttr(lua_State* L);
  /*** Reads the public attributes (`HI_MPI_AI_GetPubAttr`).
  @function GetPubAttr
  @treturn AIO_ATTR_S the attributes, with rates and widths as numbers and modes as names; **on
  failure a single result, the message** "Get AI device attributes fail" with the code (no `nil`
  before it): test `type(result) == "table"`
  */
  int GetPubAttr(lua_State* L);
  /*** Sets the track mode (`HI_MPI_AI_SetTrackMode`) of the enabled device.
  @function SetTrackMode
  @tparam string|int mode `"NORMAL"`, `"BOTH_LEFT"`, `"BOTH_RIGHT"`, `"EXCHANGE"`, `"MIX"`,
  `"LEFT_MUTE"`, `"RIGHT_MUTE"` or `"BOTH_MUTE"` (not the second spellings "DEFAULT" and "MUTE"),
  or the number
  @return `true`, or `nil` and "Invalid audio track mode" or "Fail to set AI device track mode" with
  the code
  */
  int SetTrackMode(lua_State* L);
  /*** Reads the track mode (`HI_MPI_AI_GetTrackMode`).
  @function GetTrackMode
  @treturn string the mode's name, or `nil` and "Fail to get AI device track mode" with the code
  */
  int GetTrackMode(lua_State* L);
  /*** Clears the public attributes (`HI_MPI_AI_ClrPubAttr`) of the disabled device. This
  object's `MaxEnabledChannels` keeps its value.
  @function ClrPubAttr
  @treturn int 0 or the platform's error code (negative)
  */
  int ClrPubAttr() { return HI_MPI_AI_ClrPubAttr(m_devId); }
  /*** An object for input channel `chn` of this device (no platform call). Mind the warning: **the
  channel is returned whatever the number**; one this object's attributes do not enable (negative,
  or not below `MaxEnabledChannels`, which is 0 before `SetPubAttr`) comes with
  "WARNING! Invalid audio channel ID for device (ID=0), valid channel ID is [0,2). You can get the
  channel but may it will not work correctly!" on standard error, and its calls fail on the platform.
  @function GetChannel
  @int chn channel number
  @treturn AIChannel the channel
  */
  RefCountedObjectPtr<AIChannel> GetChannel(int chn);

 private:
  int m_devId;
  int m_enabled = 0;
};

/***
One audio output channel (module "AO", id 22; device and channel numbers as given to
`AODevice:GetChannel`).

The object only names the channel: **when Lua collects it the channel stays enabled**.
@type AOChannel
*/
class AOChannel : public Channel, public RefCountedObjectType<int> {
 public:
  AOChannel(int dev, int chn) : Channel(HI_ID_AO, dev, chn) {}

  /*** Enables the channel (`HI_MPI_AO_EnableChn`), once its device is enabled.
  @function Enable
  @treturn int 0 or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_AO_EnableChn(m_devId, m_chnId); }
  /*** Disables the channel (`HI_MPI_AO_DisableChn`).
  @function Disable
  @treturn int 0 or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_AO_DisableChn(m_devId, m_chnId); }
  /*** Pauses playback (`HI_MPI_AO_PauseChn`).
  @function Pause
  @treturn int 0 or the platform's error code (negative)
  */
  int Pause() { return HI_MPI_AO_PauseChn(m_devId, m_chnId); }
  /*** Resumes playback (`HI_MPI_AO_ResumeChn`).
  @function Resume
  @treturn int 0 or the platform's error code (negative)
  */
  int Resume() { return HI_MPI_AO_ResumeChn(m_devId, m_chnId); }
  /*** Resamples frames arriving at another rate to the device's (`HI_MPI_AO_EnableReSmp`).
  @function EnableReSmp
  @int rate the incoming rate in hertz: 8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100 or
  48000
  @treturn int 0 or the platform's error code (negative); -1 for any other rate, without calling
  the platform, after "Convert sample rate error:Invalid audio sample rate" on standard error
  */
  int EnableReSmp(lua_Integer rate);
  /*** Stops resampling (`HI_MPI_AO_DisableReSmp`).
  @function DisableReSmp
  @treturn int 0 or the platform's error code (negative)
  */
  int DisableReSmp() { return HI_MPI_AO_DisableReSmp(m_devId, m_chnId); }
  /*** Empties the channel's buffer (`HI_MPI_AO_ClearChnBuf`).
  @function ClearBuf
  @treturn int 0 or the platform's error code (negative)
  */
  int ClearBuf() { return HI_MPI_AO_ClearChnBuf(m_devId, m_chnId); }
  /*** Hands a frame of samples to the channel for playing (`HI_MPI_AO_SendFrame`).
  @function SendFrame
  @string pcm the samples, interleaved (left, right) for a stereo frame; another type raises
  @tparam[opt] table info `bitWidth` (8, 16 or 24; 16 when absent), `soundMode` ("MONO" or
  "STEREO"; "MONO" when absent), `pts`, `seq`: a table from `GetFrame` fits as it is
  @int[opt=-1] timeout milliseconds to wait for room: -1 as long as it takes, 0 not at all
  @return `true`, or `nil` and "Invalid PCM data" (empty, longer than 16384 bytes, or not whole
  samples of every channel), a conversion message ("Invalid audio bitwidth",
  "Invalid audio sound mode"), or "Fail to send AO frame" with the code (A016800F when the buffer
  stayed full)
  @usage ao:SendFrame(ai:GetFrame())
  */
  int SendFrame(lua_State* L);
  /*** The channel's file descriptor (`HI_MPI_AO_GetFd`).
  @function GetFd
  @treturn int the descriptor, or the platform's error code (negative)
  */
  int GetFd() { return HI_MPI_AO_GetFd(m_devId, m_chnId); }

  /*** Placeholder, for symmetry with input: **output has no voice quality enhancement**; accepts
  anything, calls nothing.
  @function SetVqeAttr
  @treturn int 0
  */
  /*** Placeholder, for symmetry with input: calls nothing.
  @function GetVqeAttr
  @treturn int 0, not a table
  */
  /*** Placeholder, for symmetry with input: calls nothing.
  @function EnableVqe
  @treturn int 0
  */
  /*** Placeholder, for symmetry with input: calls nothing.
  @function DisableVqe
  @treturn int 0
  */
  int Nothing(lua_State* L) {
    lua_pushinteger(L, 0);
    return 1;
  }
};

/***
One audio output device, made by `Tessel.AO.GetDevice`, with its volume and mute.

As for input, the object remembers the channels its own last accepted `SetPubAttr` enables, and
it **hands out no channel before that** (`GetChannel` gives `nil`); another object for the same
device does not share the count. **When Lua collects the object the device stays enabled**: call
`Disable` yourself.
@type AODevice
*/
class AODevice : public RefCountedObjectType<int> {
 public:
  explicit AODevice(int dev) : m_devId(dev) {}

  /*** The number of channels of a device: 16.
  @tfield int MaxChannels
  */
  int get_MaxChannels() const { return kAudioMaxChannels; }
  /*** The channels this object's last accepted attributes enable: `u32ChnCnt`, halved in stereo;
  0 before `SetPubAttr` succeeded on this object.
  @tfield int MaxEnabledChannels
  */
  int get_MaxEnabledChannels() const { return m_enabled; }
  /*** Enables the device (`HI_MPI_AO_Enable`), once it has its attributes.
  @function Enable
  @treturn int 0 or the platform's error code (negative)
  */
  int Enable() { return HI_MPI_AO_Enable(m_devId); }
  /*** Disables the device (`HI_MPI_AO_Disable`); disable its channels first.
  @function Disable
  @treturn int 0 or the platform's error code (negative)
  */
  int Disable() { return HI_MPI_AO_Disable(m_devId); }
  /*** Sets the public attributes (`HI_MPI_AO_SetPubAttr`) while the device is disabled; on
  success this object's `MaxEnabledChannels` becomes the channels they enable. The table and its
  lenient values are as for `AIDevice:SetPubAttr`.
  @function SetPubAttr
  @tparam AIO_ATTR_S attrs
  @return `true`, or `nil` and "Invalid attrs" (not a table), a conversion message, or
  "Set device pub attributes fail" with the code
  */
  int SetPubAttr(lua_State* L);
  /*** Reads the public attributes (`HI_MPI_AO_GetPubAttr`).
  @function GetPubAttr
  @treturn AIO_ATTR_S the attributes; **on failure a single result, the message**
  "Get AO device attributes fail" with the code (no `nil` before it): test
  `type(result) == "table"`
  */
  int GetPubAttr(lua_State* L);
  /*** Sets the track mode (`HI_MPI_AO_SetTrackMode`) of the enabled device; the names are those of
  `AIDevice:SetTrackMode`.
  @function SetTrackMode
  @tparam string|int mode
  @return `true`, or `nil` and "Invalid audio track mode" or "Fail to set AO device track mode" with
  the code
  */
  int SetTrackMode(lua_State* L);
  /*** Reads the track mode (`HI_MPI_AO_GetTrackMode`).
  @function GetTrackMode
  @treturn string the mode's name, or `nil` and "Fail to get AO device track mode" with the code
  */
  int GetTrackMode(lua_State* L);
  /*** Clears the public attributes (`HI_MPI_AO_ClrPubAttr`) of the disabled device. This
  object's `MaxEnabledChannels` keeps its value.
  @function ClrPubAttr
  @treturn int 0 or the platform's error code (negative); a failure also writes
  "Fail to clear pub attributes of device:0" to standard error
  */
  int ClrPubAttr();
  /*** An object for output channel `chn` of this device (no platform call).
  @function GetChannel
  @int chn channel number, below this object's `MaxEnabledChannels`
  @treturn AOChannel the channel; `nil` for any other number (**every number until this object's
  own attributes are accepted**), with "Invalid audio channel ID for device (ID=0), valid channel
  ID is [0,2)" on standard error
  */
  RefCountedObjectPtr<AOChannel> GetChannel(int chn);
  /*** The device's volume (`HI_MPI_AO_GetVolume`).
  @function GetVolume
  @treturn int the volume in decibels; **0 when the call fails**, after
  "Fail to get AO device volume of device:0" on standard error
  */
  int GetVolume();
  /*** Sets the device's volume (`HI_MPI_AO_SetVolume`).
  @function SetVolume
  @int db the volume in decibels, passed as it is (the platform takes -121 to 6)
  @treturn int 0 or the platform's error code (negative)
  */
  int SetVolume(int db) { return HI_MPI_AO_SetVolume(m_devId, db); }
  /*** Whether the device is muted (`HI_MPI_AO_GetMute`).
  @function GetMute
  @treturn bool true when muted; **false also when the call fails**, after
  "Fail to get AO device mute status of device:0" on standard error
  */
  bool GetMute();
  /*** Mutes or unmutes the device (`HI_MPI_AO_SetMute`), fading when the **last argument** is a
  table: its `in` and `out` numbers are the platform's fade-rate values (not names), 0 when absent.
  Without the table the change is immediate.
  @function SetMute
  @bool enable mute (true) or unmute (false), Lua truth
  @tparam[opt] table fade `{["in"] = rate, out = rate}`
  @treturn int 0 or the platform's error code (negative)
  @usage dev:SetMute(true, {["in"] = 2, out = 2})
  */
  int SetMute(lua_State* L);

 private:
  int m_devId;
  int m_enabled = 0;
};

/***
The module class `Tessel.AI`: the audio input devices.
@type AI
*/
class AI {
 public:
  /*** The number of audio input devices: 2.
  @tfield int MaxDevices
  */
  static int get_MaxDevices() { return kAudioMaxDevices; }
  /*** An object for input device `dev` (no platform call); each call makes a fresh object, with
  its own enabled-channel count of 0.
  @function GetDevice
  @static
  @int dev device number, 0 or 1
  @treturn AIDevice the device; `nil` out of range, with
  "Invalid AI device ID, valid number is [0,2)" on standard error
  */
  static RefCountedObjectPtr<AIDevice> GetDevice(int dev);
};

/***
The module class `Tessel.AO`: the audio output devices.
@type AO
*/
class AO {
 public:
  /*** The number of audio output devices: 2.
  @tfield int MaxDevices
  */
  static int get_MaxDevices() { return kAudioMaxDevices; }
  /*** An object for output device `dev` (no platform call); each call makes a fresh object, with
  its own enabled-channel count of 0.
  @function GetDevice
  @static
  @int dev device number, 0 or 1
  @treturn AODevice the device; `nil` out of range, with
  "Invalid AO device ID, valid number is [0,2)" on standard error
  */
  static RefCountedObjectPtr<AODevice> GetDevice(int dev);
};

// The shapes both devices share: the attribute setter (which answers the
// channels the attributes enable, or -1), the getter whose failure is its
// message alone, and the track mode.
int setAudioPubAttr(lua_State* L, const char* func, int line, int dev,
                    HI_S32 (*fn)(AUDIO_DEV, const AIO_ATTR_S*), int* enabled);
int getAudioPubAttr(lua_State* L, const char* func, int line, const char* failText, int dev,
                    HI_S32 (*fn)(AUDIO_DEV, AIO_ATTR_S*));
int setAudioTrackMode(lua_State* L, const char* func, int line, const char* failText, int dev,
                      HI_S32 (*fn)(AUDIO_DEV, AUDIO_TRACK_MODE_E));
int getAudioTrackMode(lua_State* L, const char* func, int line, const char* failText, int dev,
                      HI_S32 (*fn)(AUDIO_DEV, AUDIO_TRACK_MODE_E*));

}  // namespace Tessel
