// Table forms of the audio structures and enumerations, shared by input and
// output.
#include <strings.h>

#include "audio/aio.h"

namespace Tessel {
namespace {

// ---- enumerations -------------------------------------------------------------------

const lua_Integer kSampleRates[] = {8000, 11025, 12000, 16000, 22050, 24000, 32000, 44100, 48000};

// A name table with a second spelling on some rows. Input compares the
// first spelling only (a row's second spelling is listed, not accepted), as
// scripts have always been matched.
struct AudioName {
  int value;
  const char* name;
  const char* alias;
};

const AudioName kIoModes[] = {
    {AIO_MODE_I2S_MASTER, "I2S_MASTER", nullptr},          {AIO_MODE_I2S_SLAVE, "I2S_SLAVE", nullptr},
    {AIO_MODE_PCM_SLAVE_STD, "PCM_SLAVE_STD", "PCM_SLAVE"}, {AIO_MODE_PCM_SLAVE_NSTD, "PCM_SLAVE_NSTD", nullptr},
    {AIO_MODE_PCM_MASTER_STD, "PCM_MASTER_STD", "PCM_MASTER"}, {AIO_MODE_PCM_MASTER_NSTD, "PCM_MASTER_NSTD", nullptr},
};

const AudioName kTrackModes[] = {
    {AUDIO_TRACK_NORMAL, "NORMAL", "DEFAULT"},       {AUDIO_TRACK_BOTH_LEFT, "BOTH_LEFT", nullptr},
    {AUDIO_TRACK_BOTH_RIGHT, "BOTH_RIGHT", nullptr}, {AUDIO_TRACK_EXCHANGE, "EXCHANGE", nullptr},
    {AUDIO_TRACK_MIX, "MIX", nullptr},               {AUDIO_TRACK_LEFT_MUTE, "LEFT_MUTE", nullptr},
    {AUDIO_TRACK_RIGHT_MUTE, "RIGHT_MUTE", nullptr}, {AUDIO_TRACK_BOTH_MUTE, "BOTH_MUTE", "MUTE"},
};

const AudioName kSoundModes[] = {{AUDIO_SOUND_MODE_MONO, "MONO", nullptr},
                                 {AUDIO_SOUND_MODE_STEREO, "STEREO", nullptr}};

const AudioName kWorkstates[] = {{VQE_WORKSTATE_COMMON, "COMMON", nullptr},
                                 {VQE_WORKSTATE_MUSIC, "MUSIC", nullptr},
                                 {VQE_WORKSTATE_NOISY, "NOISY", nullptr}};

template <std::size_t N>
const AudioName* byName(const AudioName (&table)[N], const char* name) {
  for (const AudioName& n : table)
    if (strcasecmp(name, n.name) == 0) return &n;
  return nullptr;
}

template <std::size_t N>
const char* nameOf(const AudioName (&table)[N], int value) {
  for (const AudioName& n : table)
    if (n.value == value) return n.name;
  return nullptr;
}

// A number as it stands or a name of the table; anything else fails with text.
template <std::size_t N>
int readNamed(lua_State* L, int idx, const AudioName (&table)[N], const char* text) {
  if (lua_type(L, idx) == LUA_TNUMBER) return static_cast<int>(toInteger(L, idx));
  if (lua_type(L, idx) == LUA_TSTRING)
    if (const AudioName* n = byName(table, lua_tostring(L, idx))) return n->value;
  convFail(text);
}

template <std::size_t N>
void pushNamed(lua_State* L, const AudioName (&table)[N], int value) {
  const char* name = nameOf(table, value);
  if (name) lua_pushstring(L, name);
  else lua_pushnil(L);
}

// A sample rate in hertz; a missing value counts as 0.
void readSampleRate(lua_State* L, int idx, AUDIO_SAMPLE_RATE_E* out) {
  lua_Integer rate = lua_type(L, idx) == LUA_TNUMBER ? toInteger(L, idx) : 0;
  check_AUDIO_SAMPLE_RATE_E(rate);
  *out = static_cast<AUDIO_SAMPLE_RATE_E>(rate);
}

void pushSampleRate(lua_State* L, const AUDIO_SAMPLE_RATE_E& v) { lua_pushinteger(L, v); }

// Bits: below 3 the platform's value itself, 8/16/24 their values, any
// other number the end marker.
void readBitWidth(lua_State* L, int idx, AUDIO_BIT_WIDTH_E* out) {
  if (lua_type(L, idx) != LUA_TNUMBER) convFail("Invalid audio bitwidth");
  lua_Integer bits = toInteger(L, idx);
  int v = AUDIO_BIT_WIDTH_BUTT;
  if (bits < 3) v = static_cast<int>(bits);
  else if (bits == 8) v = AUDIO_BIT_WIDTH_8;
  else if (bits == 16) v = AUDIO_BIT_WIDTH_16;
  else if (bits == 24) v = AUDIO_BIT_WIDTH_24;
  *out = static_cast<AUDIO_BIT_WIDTH_E>(v);
}

void pushBitWidth(lua_State* L, const AUDIO_BIT_WIDTH_E& v) {
  lua_pushinteger(L, v == AUDIO_BIT_WIDTH_8 ? 8 : v == AUDIO_BIT_WIDTH_16 ? 16 : v == AUDIO_BIT_WIDTH_24 ? 24 : 0);
}

void readIoMode(lua_State* L, int idx, AIO_MODE_E* out) {
  *out = static_cast<AIO_MODE_E>(readNamed(L, idx, kIoModes, "Invalid audio IO mode"));
}
void pushIoMode(lua_State* L, const AIO_MODE_E& v) { pushNamed(L, kIoModes, v); }

// An unknown name is the end marker, without complaint.
void readSoundMode(lua_State* L, int idx, AUDIO_SOUND_MODE_E* out) {
  if (lua_type(L, idx) == LUA_TSTRING && !byName(kSoundModes, lua_tostring(L, idx))) {
    *out = AUDIO_SOUND_MODE_BUTT;
    return;
  }
  *out = static_cast<AUDIO_SOUND_MODE_E>(readNamed(L, idx, kSoundModes, "Invalid audio sound mode"));
}
void pushSoundMode(lua_State* L, const AUDIO_SOUND_MODE_E& v) { pushNamed(L, kSoundModes, v); }

void readTrackMode(lua_State* L, int idx, AUDIO_TRACK_MODE_E* out) {
  *out = static_cast<AUDIO_TRACK_MODE_E>(readNamed(L, idx, kTrackModes, "Invalid audio track mode"));
}
void pushTrackMode(lua_State* L, const AUDIO_TRACK_MODE_E& v) { pushNamed(L, kTrackModes, v); }

// Read by name, written as the number.
void readWorkstate(lua_State* L, int idx, VQE_WORKSTATE_E* out) {
  *out = static_cast<VQE_WORKSTATE_E>(readNamed(L, idx, kWorkstates, "Invalid audio vqe workstate mode"));
}
void pushWorkstate(lua_State* L, const VQE_WORKSTATE_E& v) {
  if (v >= VQE_WORKSTATE_COMMON && v <= VQE_WORKSTATE_NOISY) lua_pushinteger(L, v);
  else lua_pushnil(L);
}

// The corner frequency in hertz (80, 120 or 150), a number taken as it
// stands: the platform judges the value.
void readHpfFreq(lua_State* L, int idx, AUDIO_HPF_FREQ_E* out) {
  if (lua_type(L, idx) != LUA_TNUMBER) convFail("Invalid audio hpf freq model");
  *out = static_cast<AUDIO_HPF_FREQ_E>(toInteger(L, idx));
}
void pushHpfFreq(lua_State* L, const AUDIO_HPF_FREQ_E& v) { lua_pushinteger(L, v); }

// ---- structures -----------------------------------------------------------------------

// Reads key through T's converter, the value nil included (a required key).
template <class T>
void required(lua_State* L, int t, const char* key, T* out) {
  lua_getfield(L, t, key);
  try {
    read(L, -1, out);
  } catch (...) {
    lua_pop(L, 1);
    throw;
  }
  lua_pop(L, 1);
}

// Copies key into *out when it holds a number (a fraction is a Lua error).
template <class T>
void optional(lua_State* L, int t, const char* key, T* out) {
  lua_Integer v;
  if (getInteger(L, t, key, &v)) *out = static_cast<T>(v);
}

template <class T>
void setInt(lua_State* L, const char* key, T v) {
  lua_pushinteger(L, static_cast<lua_Integer>(v));
  lua_setfield(L, -2, key);
}

const char* const kAioCounts[] = {"u32EXFlag", "u32FrmNum", "u32PtNumPerFrm", "u32ChnCnt", "u32ClkChnCnt",
                                  "u32ClkSel"};

HI_U32* aioCounts(AIO_ATTR_S* a, int i) {
  HI_U32* fields[] = {&a->u32EXFlag, &a->u32FrmNum, &a->u32PtNumPerFrm, &a->u32ChnCnt, &a->u32ClkChnCnt, &a->u32ClkSel};
  return fields[i];
}

void readAioAttr(lua_State* L, int idx, AIO_ATTR_S* a) {
  std::memset(a, 0, sizeof *a);
  if (lua_type(L, idx) != LUA_TTABLE) convFail("AIO_ATTR_S must be a table for structure convension");
  required(L, idx, "enSamplerate", &a->enSamplerate);
  required(L, idx, "enBitwidth", &a->enBitwidth);
  required(L, idx, "enWorkmode", &a->enWorkmode);
  required(L, idx, "enSoundmode", &a->enSoundmode);
  for (int i = 0; i < 6; ++i) optional(L, idx, kAioCounts[i], aioCounts(a, i));
}

void pushAioAttr(lua_State* L, const AIO_ATTR_S& a) {
  lua_createtable(L, 0, 10);
  push(L, a.enSamplerate);
  lua_setfield(L, -2, "enSamplerate");
  push(L, a.enBitwidth);
  lua_setfield(L, -2, "enBitwidth");
  push(L, a.enWorkmode);
  lua_setfield(L, -2, "enWorkmode");
  push(L, a.enSoundmode);
  lua_setfield(L, -2, "enSoundmode");
  AIO_ATTR_S copy = a;
  for (int i = 0; i < 6; ++i) setInt(L, kAioCounts[i], *aioCounts(&copy, i));
}

// bUsrMode: a boolean, or a number that is true when non-zero; absent stays
// false; anything else fails with text.
void readUserMode(lua_State* L, int t, HI_BOOL* out, const char* text) {
  int type = lua_getfield(L, t, "bUsrMode");
  bool on = false;
  if (type == LUA_TBOOLEAN) on = lua_toboolean(L, -1);
  else if (type == LUA_TNUMBER) on = toInteger(L, -1) != 0;
  else if (type != LUA_TNIL) {
    lua_pop(L, 1);
    convFail(text);
  }
  lua_pop(L, 1);
  *out = on ? HI_TRUE : HI_FALSE;
}

// A value that is not a table leaves the configuration zero.
void readHpf(lua_State* L, int idx, AUDIO_HPF_CONFIG_S* h) {
  std::memset(h, 0, sizeof *h);
  if (lua_type(L, idx) != LUA_TTABLE) return;
  readUserMode(L, idx, &h->bUsrMode, "Invalid audio vqe workstate mode");
  if (lua_getfield(L, idx, "enHpfFreq") != LUA_TNIL) {
    try {
      read(L, -1, &h->enHpfFreq);
    } catch (...) {
      lua_pop(L, 1);
      throw;
    }
  }
  lua_pop(L, 1);
}

// Output keys begin with a blank, as scripts have always read them.
void pushHpf(lua_State* L, const AUDIO_HPF_CONFIG_S& h) {
  lua_createtable(L, 0, 2);
  setInt(L, " bUsrMode", h.bUsrMode);
  setInt(L, " enHpfFreq", h.enHpfFreq);
}

void readAgc(lua_State* L, int idx, AUDIO_AGC_CONFIG_S* a) {
  std::memset(a, 0, sizeof *a);
  if (lua_type(L, idx) != LUA_TTABLE) return;
  readUserMode(L, idx, &a->bUsrMode, "Invalid audio agc config mode");
  optional(L, idx, "s8TargetLevel", &a->s8TargetLevel);
  optional(L, idx, "s8NoiseFloor", &a->s8NoiseFloor);
  optional(L, idx, "s8MaxGain", &a->s8MaxGain);
  optional(L, idx, "s8AdjustSpeed", &a->s8AdjustSpeed);
  optional(L, idx, "s8ImproveSNR", &a->s8ImproveSNR);
  optional(L, idx, "s8UseHighPassFilt", &a->s8UseHighPassFilt);
  optional(L, idx, "s8OutputMode", &a->s8OutputMode);
  optional(L, idx, "s16NoiseSupSwitch", &a->s16NoiseSupSwitch);
  optional(L, idx, "s32Reserved", &a->s32Reserved);
}

void pushAgc(lua_State* L, const AUDIO_AGC_CONFIG_S& a) {
  lua_createtable(L, 0, 10);
  setInt(L, " bUsrMode", a.bUsrMode);
  setInt(L, " s8TargetLevel", a.s8TargetLevel);
  setInt(L, " s8NoiseFloor", a.s8NoiseFloor);
  setInt(L, " s8MaxGain", a.s8MaxGain);
  setInt(L, " s8AdjustSpeed", a.s8AdjustSpeed);
  setInt(L, " s8ImproveSNR", a.s8ImproveSNR);
  setInt(L, " s8UseHighPassFilt", a.s8UseHighPassFilt);
  setInt(L, " s8OutputMode", a.s8OutputMode);
  setInt(L, " s16NoiseSupSwitch", a.s16NoiseSupSwitch);
  setInt(L, " s32Reserved", a.s32Reserved);
}

const char* const kVqeFlags[] = {"bHpfOpen", "bAecOpen", "bAnrOpen", "bRnrOpen", "bAgcOpen", "bEqOpen", "bHdrOpen"};

HI_S32* vqeFlag(AI_VQE_CONFIG_S* c, int i) {
  HI_S32* flags[] = {&c->bHpfOpen, &c->bAecOpen, &c->bAnrOpen, &c->bRnrOpen, &c->bAgcOpen, &c->bEqOpen, &c->bHdrOpen};
  return flags[i];
}

// The echo, noise, recording-noise, equaliser and dynamic-range
// configurations are not part of the table form: they stay zero.
void readVqe(lua_State* L, int idx, AI_VQE_CONFIG_S* c) {
  std::memset(c, 0, sizeof *c);
  if (lua_type(L, idx) != LUA_TTABLE) convFail("AI_VQE_CONFIG_S must be a table for structure convension");
  for (int i = 0; i < 7; ++i) optional(L, idx, kVqeFlags[i], vqeFlag(c, i));
  optional(L, idx, "s32WorkSampleRate", &c->s32WorkSampleRate);
  optional(L, idx, "s32FrameSample", &c->s32FrameSample);
  required(L, idx, "enWorkstate", &c->enWorkstate);
  required(L, idx, "stHpfCfg", &c->stHpfCfg);
  required(L, idx, "stAgcCfg", &c->stAgcCfg);
}

void pushVqe(lua_State* L, const AI_VQE_CONFIG_S& c) {
  lua_createtable(L, 0, 12);
  AI_VQE_CONFIG_S copy = c;
  for (int i = 0; i < 7; ++i) setInt(L, kVqeFlags[i], *vqeFlag(&copy, i));
  setInt(L, "s32WorkSampleRate", c.s32WorkSampleRate);
  setInt(L, "s32FrameSample", c.s32FrameSample);
  push(L, c.enWorkstate);
  lua_setfield(L, -2, "enWorkstate");
  push(L, c.stHpfCfg);
  lua_setfield(L, -2, "stHpfCfg");
  push(L, c.stAgcCfg);
  lua_setfield(L, -2, "stAgcCfg");
}

}  // namespace

void check_AUDIO_SAMPLE_RATE_E(lua_Integer rate) {
  for (lua_Integer r : kSampleRates)
    if (r == rate) return;
  convFail("Invalid audio sample rate");
}

}  // namespace Tessel

TESSEL_CUSTOM(AUDIO_SAMPLE_RATE_E, readSampleRate, pushSampleRate)
TESSEL_CUSTOM(AUDIO_BIT_WIDTH_E, readBitWidth, pushBitWidth)
TESSEL_CUSTOM(AIO_MODE_E, readIoMode, pushIoMode)
TESSEL_CUSTOM(AUDIO_SOUND_MODE_E, readSoundMode, pushSoundMode)
TESSEL_CUSTOM(AUDIO_TRACK_MODE_E, readTrackMode, pushTrackMode)
TESSEL_CUSTOM(VQE_WORKSTATE_E, readWorkstate, pushWorkstate)
TESSEL_CUSTOM(AUDIO_HPF_FREQ_E, readHpfFreq, pushHpfFreq)
TESSEL_CUSTOM(AIO_ATTR_S, readAioAttr, pushAioAttr)
TESSEL_STRUCT(AI_CHN_PARAM_S, F(u32UsrFrmDepth))
TESSEL_CUSTOM_EX(AUDIO_HPF_CONFIG_S, readHpf, pushHpf, true)
TESSEL_CUSTOM_EX(AUDIO_AGC_CONFIG_S, readAgc, pushAgc, true)
TESSEL_CUSTOM(AI_VQE_CONFIG_S, readVqe, pushVqe)
