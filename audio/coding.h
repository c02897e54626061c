// Audio encoding (AENC) and decoding (ADEC): channels and their attributes,
// over the HI_MPI_AENC_* and HI_MPI_ADEC_* calls.
#pragma once

#include <lua.hpp>

#include "platform/mpp.h"

#include "frame/binding.h"
#include "frame/channel.h"
#include "frame/convert.h"
#include "frame/ref_counted.h"

namespace Tessel {

// Channel attributes with room for the codec member their pValue points at.
struct AencChnAttr {
  AENC_CHN_ATTR_S head;
  union {
    AENC_ATTR_G711_S g711;
    AENC_ATTR_G726_S g726;
    AENC_ATTR_ADPCM_S adpcm;
    AENC_ATTR_LPCM_S lpcm;
  } codec;
};

struct AdecChnAttr {
  ADEC_CHN_ATTR_S head;
  union {
    ADEC_ATTR_G711_S g711;
    ADEC_ATTR_G726_S g726;
    ADEC_ATTR_ADPCM_S adpcm;
    ADEC_ATTR_LPCM_S lpcm;
  } codec;
};

}  // namespace Tessel

TESSEL_DECLARE_STRUCT(AencChnAttr)
TESSEL_DECLARE_STRUCT(AdecChnAttr)
TESSEL_DECLARE_ENUM(G726_BPS_E)
TESSEL_DECLARE_ENUM(ADPCM_TYPE_E)
TESSEL_DECLARE_ENUM(ADEC_MODE_E)
TESSEL_DECLARE_STRUCT(AENC_ATTR_G711_S)
TESSEL_DECLARE_STRUCT(AENC_ATTR_G726_S)
TESSEL_DECLARE_STRUCT(AENC_ATTR_ADPCM_S)
TESSEL_DECLARE_STRUCT(AENC_ATTR_LPCM_S)
TESSEL_DECLARE_STRUCT(ADEC_ATTR_G711_S)
TESSEL_DECLARE_STRUCT(ADEC_ATTR_G726_S)
TESSEL_DECLARE_STRUCT(ADEC_ATTR_ADPCM_S)
TESSEL_DECLARE_STRUCT(ADEC_ATTR_LPCM_S)

/***
Audio encoding and decoding: `Tessel.AENC`, `Tessel.ADEC` and their channels.

An encoder channel turns frames of samples into a voice stream: frames come from an input channel
bound to it (`Tessel.SYS.Bind(aiChannel, aencChannel)`) or from the script (`SendFrame`), and the
stream is read frame by frame with `GetStream`. A decoder channel turns a stream the script sends
(`SendStream`) back into frames, read with `GetFrame` or played by an output channel bound to it
(`Tessel.SYS.Bind(adecChannel, aoChannel)`). The payload is chosen by name: "G711A", "G711U",
"G726", "ADPCMA" or "LPCM", the codecs the platform has built in.
@module acoding
*/

/***
The attributes of an audio encoder channel (`AENC_CHN_ATTR_S`), with the codec's own member under
`pValue`. A value that is not a table fails with "AENC_CHN_ATTR_S must be a table for structure
convension"; missing keys are 0.
@table AENC_CHN_ATTR_S
@tparam string|int enType the payload: "G711A", "G711U", "G726", "ADPCMA" or "LPCM" (any payload
name of the platform is accepted, for the platform to judge), or its number; an unknown name fails
with "Unknown payload type", a value neither string nor number with "Invalid payload type"
@int u32PtNumPerFrm samples per frame (80 to 2048), as the input device's `u32PtNumPerFrm`
@int u32BufSize frames the stream buffer holds (2 to 300)
@tab[opt] pValue the codec's member: `{enG726bps = "G726_16K" | "G726_24K" | "G726_32K" |
"G726_40K" | "MEDIA_G726_16K" | "MEDIA_G726_24K" | "MEDIA_G726_32K" | "MEDIA_G726_40K"}` for
"G726" (`AENC_ATTR_G726_S`), `{enADPCMType = "DVI4" | "IMA" | "ORG_DVI4"}` for "ADPCMA"
(`AENC_ATTR_ADPCM_S`); "G711A", "G711U" and "LPCM" have nothing to set (`{resv = 0}`); other
payloads read no member. An unknown name fails with "Invalid G726 bit rate" or
"Invalid ADPCM type"
*/

/***
The attributes of an audio decoder channel (`ADEC_CHN_ATTR_S`), with the codec's own member under
`pValue` as for `AENC_CHN_ATTR_S`. A value that is not a table fails with "ADEC_CHN_ATTR_S must be
a table for structure convension".
@table ADEC_CHN_ATTR_S
@tparam string|int enType the payload, as for `AENC_CHN_ATTR_S`
@int u32BufSize frames the decoded-frame buffer holds (2 to 300)
@tparam[opt="PACK"] string|int enMode "PACK" (each `SendStream` is whole frames) or "STREAM" (any
chunking), or the number; another name fails with "Invalid ADEC mode"
@tab[opt] pValue the codec's member, as for `AENC_CHN_ATTR_S` (`ADEC_ATTR_G726_S`,
`ADEC_ATTR_ADPCM_S`, ...)
*/
namespace Tessel {

constexpr int kAencMaxChannels = AENC_MAX_CHN_NUM;
constexpr int kAdecMaxChannels = ADEC_MAX_CHN_NUM;

/***
One audio encoder channel (module "AENC", device 0, channel 0 to 48).

The object whose `Create` succeeded owns the platform channel: **when Lua collects it, the channel
is destroyed** (`HI_MPI_AENC_DestroyChn`). An object from `GetChannel` never destroys it.
@type AENCChannel
*/
class AENCChannel : public Channel, public RefCountedObjectType<int> {
 public:
  explicit AENCChannel(int chn) : Channel(HI_ID_AENC, 0, chn) {}
  ~AENCChannel() override { Destroy(); }

  /*** Creates the platform channel (`HI_MPI_AENC_CreateChn`); on success this object owns it.
  @function Create
  @tparam AENC_CHN_ATTR_S attrs read from the last argument
  @return `true`, or `nil` and "Invalid attributes for creating AENC channel!" (not a table), a
  conversion message, or "Fail to create AENC channel" with the code
  @usage assert(Tessel.AENC.GetChannel(0):Create{enType = "G711A", u32PtNumPerFrm = 320,
  u32BufSize = 30})
  */
  int Create(lua_State* L);
  /*** Destroys the channel (`HI_MPI_AENC_DestroyChn`) when this object created it.
  @function Destroy
  @treturn int 0 or the platform's error code; 0 without a call when this object did not create
  the channel or destroyed it already
  */
  int Destroy();
  /*** Hands a frame of samples to the encoder (`HI_MPI_AENC_SendFrame`, without an echo reference
  frame).
  @function SendFrame
  @string pcm the samples, as `AOChannel:SendFrame` takes them; another type raises
  @tparam[opt] table info `bitWidth`, `soundMode`, `pts`, `seq` (a table from `GetFrame` fits)
  @return `true`, or `nil` and "Invalid PCM data", a conversion message, or
  "Fail to send AENC frame" with the code
  */
  int SendFrame(lua_State* L);
  /*** Reads the next encoded frame (`HI_MPI_AENC_GetStream`), copies it and gives it back
  (`HI_MPI_AENC_ReleaseStream`) exactly once, also when building the result fails.
  @function GetStream
  @int[opt=-1] timeout milliseconds to wait: -1 as long as it takes, 0 not at all; a value that is
  no integer raises
  @treturn string the frame's bytes as the platform gives them (G.711, G.726 and ADPCM frames
  begin with the platform's 4-byte voice frame header)
  @treturn table `pts` (microseconds) and `seq`. On failure the results are `nil` and
  "Fail to get AENC stream" with the code (A017800E, an empty buffer, when nothing came in time),
  or "Fail to release AENC stream" with the code (the frame is then lost)
  @usage local data = chn:GetStream(1000); if data then file:write(data) end
  */
  int GetStream(lua_State* L);
  /*** The channel's descriptor (`HI_MPI_AENC_GetFd`), readable while a frame waits;
  `Tessel.SYS.Poll` waits on it.
  @function GetFd
  @treturn int the descriptor, or the platform's error code (negative)
  */
  int GetFd() { return HI_MPI_AENC_GetFd(m_chnId); }

 private:
  bool m_created = false;
};

/***
One audio decoder channel (module "ADEC", device 0, channel 0 to 31).

As for encoders, the object whose `Create` succeeded destroys the channel when Lua collects it
(`HI_MPI_ADEC_DestroyChn`).
@type ADECChannel
*/
class ADECChannel : public Channel, public RefCountedObjectType<int> {
 public:
  explicit ADECChannel(int chn) : Channel(HI_ID_ADEC, 0, chn) {}
  ~ADECChannel() override { Destroy(); }

  /*** Creates the platform channel (`HI_MPI_ADEC_CreateChn`); on success this object owns it.
  @function Create
  @tparam ADEC_CHN_ATTR_S attrs read from the last argument
  @return `true`, or `nil` and "Invalid attributes for creating ADEC channel!" (not a table), a
  conversion message, or "Fail to create ADEC channel" with the code
  */
  int Create(lua_State* L);
  /*** Destroys the channel (`HI_MPI_ADEC_DestroyChn`) when this object created it.
  @function Destroy
  @treturn int 0 or the platform's error code; 0 without a call when this object did not create
  the channel or destroyed it already
  */
  int Destroy();
  /*** Hands encoded bytes to the decoder (`HI_MPI_ADEC_SendStream`): whole frames as `GetStream`
  gives them in "PACK" mode, any chunk in "STREAM" mode.
  @function SendStream
  @string data the bytes; another type raises
  @tparam[opt=true] bool|int block wait for room (a boolean, or a number: non-zero is true)
  @return `true`, or `nil` and "Invalid stream data" (empty, or longer than 16384 bytes) or
  "Fail to send ADEC stream" with the code (A018800F when the buffer is full and `block` is false)
  */
  int SendStream(lua_State* L);
  /*** Takes the next decoded frame (`HI_MPI_ADEC_GetFrame`), copies its samples and gives it back
  (`HI_MPI_ADEC_ReleaseFrame`) exactly once, before anything that can raise is built.
  @function GetFrame
  @tparam[opt=true] bool|int block wait for a frame
  @treturn string the samples, as `AIChannel:GetFrame` gives them
  @treturn table `pts`, `seq`, `bitWidth`, `soundMode`, `samples`. On failure the results are `nil`
  and "Fail to get ADEC frame" with the code (A018800E when no frame waits), "Fail to release ADEC
  frame" with the code, or "Invalid ADEC frame"
  */
  int GetFrame(lua_State* L);
  /*** Drops what waits in the channel's buffers (`HI_MPI_ADEC_ClearChnBuf`).
  @function ClearChnBuf
  @treturn int 0 or the platform's error code
  */
  int ClearChnBuf() { return HI_MPI_ADEC_ClearChnBuf(m_chnId); }
  /*** Tells the decoder the stream has ended (`HI_MPI_ADEC_SendEndOfStream`), so that it gives out
  what it still holds.
  @function SendEndOfStream
  @bool[opt=false] instant Lua truth: end at once rather than after what waits
  @treturn int 0 or the platform's error code
  */
  int SendEndOfStream(bool instant) { return HI_MPI_ADEC_SendEndOfStream(m_chnId, instant ? HI_TRUE : HI_FALSE); }

 private:
  bool m_created = false;
};

/***
The module class `Tessel.AENC`: audio encoder channels.
@type AENC
*/
class AENC {
 public:
  /*** The number of encoder channels: 49.
  @tfield int MaxChannels
  */
  static int get_MaxChannels() { return kAencMaxChannels; }
  /*** Creates encoder channel `chn` (see `AENCChannel:Create`) and returns its object, which owns
  the channel when creation succeeded. The object is returned **whether or not the platform created
  the channel**: use `Tessel.AENC.GetChannel(chn):Create(attrs)` to receive the reason.
  @function CreateChannel
  @static
  @int chn channel number, 0 to 48
  @tparam AENC_CHN_ATTR_S attrs
  @treturn AENCChannel the channel; `nil` out of range, with
  "Invalid AENC channel ID. Valid range is [0,49)" on standard error
  */
  static RefCountedObjectPtr<AENCChannel> CreateChannel(int chn, lua_State* L);
  /*** An object for encoder channel `chn`, made elsewhere: it neither creates nor destroys it.
  @function GetChannel
  @static
  @int chn channel number, 0 to 48
  @treturn AENCChannel the channel; `nil` out of range, with the diagnostic of `CreateChannel`
  */
  static RefCountedObjectPtr<AENCChannel> GetChannel(int chn);
};

/***
The module class `Tessel.ADEC`: audio decoder channels.
@type ADEC
*/
class ADEC {
 public:
  /*** The number of decoder channels: 32.
  @tfield int MaxChannels
  */
  static int get_MaxChannels() { return kAdecMaxChannels; }
  /*** Creates decoder channel `chn` (see `ADECChannel:Create`) and returns its object, whether or
  not the platform created the channel.
  @function CreateChannel
  @static
  @int chn channel number, 0 to 31
  @tparam ADEC_CHN_ATTR_S attrs
  @treturn ADECChannel the channel; `nil` out of range, with
  "Invalid ADEC channel ID. Valid range is [0,32)" on standard error
  */
  static RefCountedObjectPtr<ADECChannel> CreateChannel(int chn, lua_State* L);
  /*** An object for decoder channel `chn`, made elsewhere: it neither creates nor destroys it.
  @function GetChannel
  @static
  @int chn channel number, 0 to 31
  @treturn ADECChannel the channel; `nil` out of range
  */
  static RefCountedObjectPtr<ADECChannel> GetChannel(int chn);
};

}  // namespace Tessel
